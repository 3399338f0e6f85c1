#include "dialogs/SettingsDialog.h"

#include "app/Named.h"
#include "app/SettingsFile.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QSettings>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QLabel* note(const QString& text)
{
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    return label;
}
} // namespace

SettingsDialog::SettingsDialog(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("SettingsDialog"));
    setWindowTitle(QStringLiteral("Settings"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildAccountGroup());
    layout->addWidget(buildConnectionGroup());
    layout->addWidget(buildAwayGroup());
    layout->addWidget(buildUiGroup());
    buttonBox = named(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel), "buttonBox");
    layout->addWidget(buttonBox);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);

    connect(checkAwayEnabled, &QCheckBox::toggled, this, &SettingsDialog::on_checkAwayEnabled_toggled);
    connect(checkProxyEnabled, &QCheckBox::toggled, this, &SettingsDialog::on_checkProxyEnabled_toggled);
    connect(editProxyHost, &QLineEdit::textChanged, this, &SettingsDialog::on_editProxyHost_textChanged);
    connect(editProxyPort, &QLineEdit::textChanged, this, &SettingsDialog::on_editProxyPort_textChanged);
    connect(checkSslEnabled, &QCheckBox::toggled, this, &SettingsDialog::on_checkSslEnabled_toggled);
    setMinimumWidth(460);
}

void SettingsDialog::setFirstStart(const QString& dataFolder)
{
    setWindowTitle(QStringLiteral("Welcome to VerrinPlus"));
    auto* welcome = named(
        new QLabel(QStringLiteral("<p><b>This is the first start of VerrinPlus.</b></p><p>While recording is on, "
                                  "VerrinPlus notes once a second which application and window title are in front, "
                                  "and keeps that on this computer in %1.</p><p>To link the recorded time to tasks "
                                  "of Verrin it needs your Verrin email and password; you can also leave them empty "
                                  "and sign in later. Check the settings below and press OK to start.</p>")
                       .arg(dataFolder.toHtmlEscaped())),
        "labelWelcome");
    welcome->setWordWrap(true);
    static_cast<QVBoxLayout*>(layout())->insertWidget(0, welcome);
}

bool SettingsDialog::runFirstStart(QSettings& settings, const QString& dataFolder,
                                   const std::function<bool()>& stillWanted)
{
    SettingsDialog dialog;
    dialog.setFirstStart(dataFolder);
    dialog.setValues(SettingsFile::readEditable(settings));
    dialog.putData();
    dialog.adjustSize();
    dialog.fitHeight();
    // No window is shown yet to centre on, so the screen is the reference.
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        dialog.move(screen->availableGeometry().center() - dialog.rect().center());
    }
    const bool accepted = dialog.exec() == QDialog::Accepted;
    if (!stillWanted()) {
        return false;
    }
    dialog.getData();
    SettingsFile::writeFirstRun(settings, dialog.values());
    return accepted;
}

QGroupBox* SettingsDialog::buildAccountGroup()
{
    auto* group = new QGroupBox(QStringLiteral("Verrin Account"));
    auto* form = new QFormLayout(group);
    editUsername = named(new QLineEdit, "editUsername");
    editPassword = named(new QLineEdit, "editPassword");
    editPassword->setEchoMode(QLineEdit::Password);
    form->addRow(QStringLiteral("Email"), editUsername);
    form->addRow(QStringLiteral("Password"), editPassword);
    form->addRow(note(QStringLiteral("This application does not support 3rd party logins (Google/Google Apps/Yahoo!). "
                                     "\nYou need to use your Verrin credentials which can be set up on the "
                                     "\"My Account\" page.")));
    form->addRow(note(QStringLiteral("Note: If you chose not to enter Username or Password, you will be prompted "
                                     "to enter them every time the application starts.")));
    return group;
}

QGroupBox* SettingsDialog::buildConnectionGroup()
{
    auto* group = new QGroupBox(QStringLiteral("Connection and Proxy Settings"));
    auto* form = new QFormLayout(group);
    checkSslEnabled = named(new QCheckBox(QStringLiteral("Use SSL communication with Verrin")), "checkSslEnabled");
    checkProxyEnabled = named(new QCheckBox(QStringLiteral("Use a proxy server")), "checkProxyEnabled");
    editProxyHost = named(new QLineEdit, "editProxyHost");
    editProxyPort = named(new QLineEdit, "editProxyPort");
    editProxyPort->setValidator(new QIntValidator(1, 65535, editProxyPort));
    labelProxyNote = named(note(QStringLiteral("Note: Changes to the connection settings will only take effect "
                                               "after restarting the application.")),
                           "labelProxyNote");
    labelProxyNote->setStyleSheet(QStringLiteral("color: #a05a00;"));
    labelProxyNote->hide();
    form->addRow(checkSslEnabled);
    form->addRow(checkProxyEnabled);
    form->addRow(QStringLiteral("Address:"), editProxyHost);
    form->addRow(QStringLiteral("Port:"), editProxyPort);
    form->addRow(labelProxyNote);
    return group;
}

QGroupBox* SettingsDialog::buildAwayGroup()
{
    auto* group = new QGroupBox(QStringLiteral("Away Time"));
    auto* layout = new QVBoxLayout(group);
    checkAwayEnabled = named(new QCheckBox(QStringLiteral("Detection Enabled")), "checkAwayEnabled");
    inactivityGroup = named(new QWidget, "inactivityGroup");
    auto* row = new QHBoxLayout(inactivityGroup);
    row->setContentsMargins(0, 0, 0, 0);
    spinAwayLimit = named(new QSpinBox, "spinAwayLimit");
    spinAwayLimit->setRange(1, 24 * 60);
    row->addWidget(new QLabel(QStringLiteral("Inactivity")));
    row->addWidget(spinAwayLimit);
    row->addWidget(new QLabel(QStringLiteral("minutes")));
    row->addStretch();
    layout->addWidget(checkAwayEnabled);
    layout->addWidget(inactivityGroup);
    return group;
}

QGroupBox* SettingsDialog::buildUiGroup()
{
    auto* group = new QGroupBox(QStringLiteral("UI Settings"));
    auto* layout = new QVBoxLayout(group);
    checkCloseToTray = named(new QCheckBox(QStringLiteral("Close to tray")), "checkCloseToTray");
    checkMinimizeToTray = named(new QCheckBox(QStringLiteral("Minimize to tray")), "checkMinimizeToTray");
    checkSingleClickTrayOpen =
        named(new QCheckBox(QStringLiteral("Single click on tray icon to open")), "checkSingleClickTrayOpen");
    layout->addWidget(checkCloseToTray);
    layout->addWidget(checkMinimizeToTray);
    layout->addWidget(checkSingleClickTrayOpen);
    return group;
}

void SettingsDialog::putData()
{
    checkAwayEnabled->setChecked(idleEnabled);
    spinAwayLimit->setValue(idleLimit);
    on_checkAwayEnabled_toggled(idleEnabled);
    editUsername->setText(username);
    editPassword->setText(password);
    checkProxyEnabled->setChecked(proxyEnabled);
    editProxyHost->setText(proxyHost);
    // A stored port out of range (edited by hand) is no port: shown empty, so it is not saved back.
    bool numeric = false;
    const int port = proxyPort.trimmed().toInt(&numeric);
    editProxyPort->setText(numeric && port >= 1 && port <= 65535 ? QString::number(port) : QString());
    on_checkProxyEnabled_toggled(proxyEnabled);
    // Filling the fields is not a change the user made.
    labelProxyNote->hide();
    checkSslEnabled->blockSignals(true);
    checkSslEnabled->setChecked(sslEnabled);
    checkSslEnabled->blockSignals(false);
    checkCloseToTray->setChecked(closeToTray);
    checkMinimizeToTray->setChecked(minimizeToTray);
    checkSingleClickTrayOpen->setChecked(singleClickTrayOpen);
}

void SettingsDialog::getData()
{
    idleEnabled = checkAwayEnabled->isChecked();
    idleLimit = spinAwayLimit->value();
    username = editUsername->text();
    password = editPassword->text();
    proxyEnabled = checkProxyEnabled->isChecked();
    proxyHost = editProxyHost->text();
    proxyPort = editProxyPort->hasAcceptableInput() ? editProxyPort->text() : QString();
    sslEnabled = checkSslEnabled->isChecked();
    closeToTray = checkCloseToTray->isChecked();
    minimizeToTray = checkMinimizeToTray->isChecked();
    singleClickTrayOpen = checkSingleClickTrayOpen->isChecked();
}

void SettingsDialog::setValues(const EditableSettings& v)
{
    idleEnabled = v.idleEnabled;
    idleLimit = v.idleLimit;
    username = v.username;
    password = v.password;
    proxyEnabled = v.proxyEnabled;
    proxyHost = v.proxyHost;
    proxyPort = v.proxyPort;
    sslEnabled = v.sslEnabled;
    closeToTray = v.closeToTray;
    minimizeToTray = v.minimizeToTray;
    singleClickTrayOpen = v.singleClickTrayOpen;
}

EditableSettings SettingsDialog::values() const
{
    EditableSettings v;
    v.idleEnabled = idleEnabled;
    v.idleLimit = idleLimit;
    v.username = username;
    v.password = password;
    v.proxyEnabled = proxyEnabled;
    v.proxyHost = proxyHost;
    v.proxyPort = proxyPort;
    v.sslEnabled = sslEnabled;
    v.closeToTray = closeToTray;
    v.minimizeToTray = minimizeToTray;
    v.singleClickTrayOpen = singleClickTrayOpen;
    return v;
}

void SettingsDialog::on_checkAwayEnabled_toggled(bool on)
{
    inactivityGroup->setEnabled(on);
}

void SettingsDialog::on_checkProxyEnabled_toggled(bool on)
{
    editProxyHost->setEnabled(on);
    editProxyPort->setEnabled(on);
    showProxyNote();
}

void SettingsDialog::on_editProxyHost_textChanged(const QString&)
{
    showProxyNote();
}

void SettingsDialog::on_editProxyPort_textChanged(const QString&)
{
    showProxyNote();
}

void SettingsDialog::on_checkSslEnabled_toggled(bool)
{
    showProxyNote();
}

void SettingsDialog::showProxyNote()
{
    if (labelProxyNote->isVisible()) {
        return;
    }
    labelProxyNote->show();
    if (isVisible()) {
        fitHeight();
    }
}

void SettingsDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    fitHeight();
}

void SettingsDialog::fitHeight()
{
    // Wrapped notes need more height than the dialog's first guess; grow to it rather than clip them.
    layout()->activate();
    const int needed = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width()) : sizeHint().height();
    if (height() < needed) {
        resize(width(), needed);
    }
}
