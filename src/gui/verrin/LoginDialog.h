#pragma once

#include <QDialog>

class QCheckBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;

// Asks for the Verrin credentials, showing the previous attempt's error above the fields.
class LoginDialog : public QDialog
{
    Q_OBJECT
public:
    explicit LoginDialog(QWidget* parent = nullptr);

    void putData();
    void getData();

    QString username;
    QString password;
    bool remember = false;
    QString error;

private:
    QLabel* labelError = nullptr;
    QLabel* label = nullptr;
    QLineEdit* editUsername = nullptr;
    QLineEdit* editPassword = nullptr;
    QCheckBox* checkRemember = nullptr;
    QDialogButtonBox* buttonBox = nullptr;
};
