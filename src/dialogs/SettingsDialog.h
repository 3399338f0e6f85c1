#pragma once

#include "app/SettingsFile.h"

#include <QDialog>

class QCheckBox;
class QDialogButtonBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSpinBox;

// Account, connection, away-time and tray preferences. The dialog edits its own members; the caller
// copies them from and back into the registry.
class SettingsDialog : public QDialog
{
    Q_OBJECT
public:
    explicit SettingsDialog(QWidget* parent = nullptr);

    void putData();
    void getData();

    void setValues(const EditableSettings& values);
    EditableSettings values() const;

    bool idleEnabled = true;
    int idleLimit = 5;
    QString username;
    QString password;
    bool proxyEnabled = false;
    QString proxyHost;
    QString proxyPort;
    bool sslEnabled = true;
    bool closeToTray = true;
    bool minimizeToTray = false;
    bool singleClickTrayOpen = true;

public slots:
    void on_checkAwayEnabled_toggled(bool on);
    void on_checkProxyEnabled_toggled(bool on);
    void on_editProxyHost_textChanged(const QString& text);
    void on_editProxyPort_textChanged(const QString& text);
    void on_checkSslEnabled_toggled(bool on);

private:
    QGroupBox* buildAccountGroup();
    QGroupBox* buildConnectionGroup();
    QGroupBox* buildAwayGroup();
    QGroupBox* buildUiGroup();
    void showProxyNote();

    QLineEdit* editUsername = nullptr;
    QLineEdit* editPassword = nullptr;
    QCheckBox* checkSslEnabled = nullptr;
    QCheckBox* checkProxyEnabled = nullptr;
    QLineEdit* editProxyHost = nullptr;
    QLineEdit* editProxyPort = nullptr;
    QLabel* labelProxyNote = nullptr;
    QCheckBox* checkAwayEnabled = nullptr;
    QWidget* inactivityGroup = nullptr;
    QSpinBox* spinAwayLimit = nullptr;
    QCheckBox* checkCloseToTray = nullptr;
    QCheckBox* checkMinimizeToTray = nullptr;
    QCheckBox* checkSingleClickTrayOpen = nullptr;
    QDialogButtonBox* buttonBox = nullptr;
};
