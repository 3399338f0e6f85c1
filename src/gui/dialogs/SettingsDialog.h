#pragma once

#include "app/SettingsFile.h"

#include <QDialog>

#include <functional>

class QSettings;

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

    // The dialog as VerrinPlus's first start shows it: centred on the screen, saying what the program
    // does and needs, and writing what the user chose into `settings` unless `stillWanted` says the
    // program is ending meanwhile. True when the user pressed OK.
    static bool runFirstStart(QSettings& settings, const QString& dataFolder, const std::function<bool()>& stillWanted);
    // The welcome at the top and its title, for the first start.
    void setFirstStart(const QString& dataFolder);

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

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fitHeight();
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
