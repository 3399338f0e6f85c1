#pragma once

#include <QDBusConnection>
#include <QString>

class Platform;
class Prompter;

// The GNOME Shell extension VerrinPlus ships (resources/gnome-shell/): installed for the user only
// after they agree, into ~/.local/share/gnome-shell/extensions/<uuid>/, then switched on with
// gnome-extensions. On Wayland GNOME Shell loads a new extension only at the next login.
class GnomeShellExtension
{
public:
    static QString uuid() { return QStringLiteral("verrinplus@verrin.com"); }
    // Where the extension lives for this user (XDG_DATA_HOME is honoured).
    static QString installFolder();
    static bool isInstalled();
    // Copies metadata.json and the extension.js fitting this major shell version (before 45 shell
    // extensions were not modules) into installFolder(). 0 means unknown: the current kind.
    static bool install(int shellMajor, QString* error);
    // The running GNOME Shell's major version from its D-Bus property; 0 when unknown.
    static int runningShellMajor(const QDBusConnection& bus = QDBusConnection::sessionBus());

    // True in a GNOME Wayland session that cannot record because the extension is not installed.
    static bool isWanted(const Platform& platform);
    // Asks the user; on yes installs, switches the extension on and says when it takes effect.
    // True when it was installed.
    static bool offer(Prompter* prompter, const QDBusConnection& bus = QDBusConnection::sessionBus());
};
