#pragma once

#include <QDialog>

class QLabel;

// Names the program and its version, shows where its two data files lie, and offers an update check.
class AboutDialog : public QDialog
{
    Q_OBJECT
public:
    explicit AboutDialog(QWidget* parent = nullptr);

    static QString filesText();

signals:
    void checkForUpdates();

public slots:
    void on_btnCheckForUpdates_clicked();
};
