#include "wayland/GnomeShellExtension.h"

#include "app/Prompter.h"
#include "platform/Platform.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>

namespace {
const QString title = QStringLiteral("VerrinPlus");
constexpr int toolTimeoutMs = 10000;

QString resource(const QString& name)
{
    return QStringLiteral(":/desktops/gnome-shell/") + GnomeShellExtension::uuid() + QLatin1Char('/') + name;
}

bool copyResource(const QString& from, const QString& to, QString* error)
{
    QFile source(resource(from));
    QSaveFile target(to);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly)) {
        *error = QStringLiteral("cannot write %1").arg(to);
        return false;
    }
    target.write(source.readAll());
    if (!target.commit()) {
        *error = QStringLiteral("cannot write %1: %2").arg(to, target.errorString());
        return false;
    }
    return true;
}
} // namespace

QString GnomeShellExtension::installFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/gnome-shell/extensions/") + uuid();
}

bool GnomeShellExtension::isInstalled()
{
    return QFile::exists(installFolder() + QStringLiteral("/metadata.json")) &&
           QFile::exists(installFolder() + QStringLiteral("/extension.js"));
}

bool GnomeShellExtension::install(int shellMajor, QString* error)
{
    if (!QDir().mkpath(installFolder())) {
        *error = QStringLiteral("cannot create %1").arg(installFolder());
        return false;
    }
    const QString script =
        shellMajor > 0 && shellMajor < 45 ? QStringLiteral("extension-legacy.js") : QStringLiteral("extension.js");
    return copyResource(QStringLiteral("metadata.json"), installFolder() + QStringLiteral("/metadata.json"), error) &&
           copyResource(script, installFolder() + QStringLiteral("/extension.js"), error);
}

int GnomeShellExtension::runningShellMajor(const QDBusConnection& bus)
{
    QDBusMessage get =
        QDBusMessage::createMethodCall(QStringLiteral("org.gnome.Shell"), QStringLiteral("/org/gnome/Shell"),
                                       QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QStringLiteral("org.gnome.Shell") << QStringLiteral("ShellVersion");
    const QDBusMessage reply = bus.call(get, QDBus::Block, 1000);
    const QString version = reply.arguments().value(0).value<QDBusVariant>().variant().toString();
    return version.section(QLatin1Char('.'), 0, 0).toInt();
}

bool GnomeShellExtension::isWanted(const Platform& platform)
{
    const bool wayland =
        qgetenv("XDG_SESSION_TYPE").trimmed().toLower() == "wayland" || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    return wayland && !platform.isSupported() && !isInstalled() &&
           qEnvironmentVariable("XDG_CURRENT_DESKTOP").contains(QLatin1String("GNOME"), Qt::CaseInsensitive);
}

bool GnomeShellExtension::offer(Prompter* prompter, const QDBusConnection& bus)
{
    const bool yes = prompter->ask(
        title, QStringLiteral("On GNOME (Wayland) VerrinPlus can only see which window is in front through a small "
                              "GNOME Shell extension that comes with it. It tells VerrinPlus the front window's "
                              "title, application and process id, and nothing else.\n\n"
                              "Install it for your user and turn it on now?"));
    if (!yes) {
        return false;
    }
    QString error;
    if (!install(runningShellMajor(bus), &error)) {
        qWarning().noquote() << "Installing the GNOME Shell extension failed:" << error;
        prompter->warn(title, QStringLiteral("The extension could not be installed: %1").arg(error));
        return false;
    }
    QProcess enable;
    enable.start(QStringLiteral("gnome-extensions"), {QStringLiteral("enable"), uuid()});
    const bool enabled =
        enable.waitForFinished(toolTimeoutMs) && enable.exitStatus() == QProcess::NormalExit && enable.exitCode() == 0;
    if (!enabled) {
        enable.kill();
        enable.waitForFinished(toolTimeoutMs);
        qWarning().noquote() << "gnome-extensions enable" << uuid() << "failed:" << enable.errorString()
                             << enable.readAllStandardError().trimmed();
    }
    prompter->inform(title, (enabled ? QStringLiteral("The extension is installed and turned on.")
                                     : QStringLiteral("The extension is installed. Turn on \"VerrinPlus window "
                                                      "reporter\" in the Extensions application.")) +
                                QStringLiteral(" GNOME loads new extensions when you log in: log out and back in, "
                                               "and VerrinPlus records from then on."));
    return true;
}
