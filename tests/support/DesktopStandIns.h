#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QProcess>
#include <QSet>
#include <QStringList>
#include <QThread>

#include <algorithm>

// A D-Bus session bus of a test's own, ended by the destructor, so tests never meet the real session.
class PrivateBus
{
public:
    ~PrivateBus();

    bool start(QString* whyNot);
    QString address() const { return busAddress; }
    // A connection of its own to this bus under `name` (one per name and process). It is closed with the
    // bus: Qt would otherwise hand the dead connection to the next bus asking under the same name.
    QDBusConnection connect(const QString& name) const
    {
        names.insert(name);
        return QDBusConnection::connectToBus(busAddress, name);
    }

private:
    QProcess daemon;
    QString busAddress;
    mutable QSet<QString> names;
};

// Stand-ins for the desktop services of the KWin and GNOME backends. They live in a thread of their own, so a
// backend's blocking call on the test's thread gets its answer; their state is only touched there.

// org.kde.KWin /Scripting: takes scripts (KWin answers -1 for one it refuses) and runs nothing.
class KWinScriptingStandIn : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.kwin.Scripting")

public:
    bool refuse = false;

public slots:
    Q_SCRIPTABLE int loadScript(const QString&, const QString&) { return refuse ? -1 : 1; }
    Q_SCRIPTABLE void start() {}
    Q_SCRIPTABLE bool unloadScript(const QString&) { return true; }
};

// The VerrinPlus GNOME Shell extension's object on org.gnome.Shell.
class GnomeShellExtensionStandIn : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.verrin.VerrinPlus.ActiveWindow")

public:
    // Sets the focused window and signals the change, as the extension does.
    void focus(const QString& title, const QString& wmClass, uint pid);

public slots:
    Q_SCRIPTABLE QString Get(QString& outClass, uint& outPid)
    {
        outClass = wmClass;
        outPid = pid;
        return title;
    }

signals:
    Q_SCRIPTABLE void Changed(const QString& title, const QString& wmClass, uint pid);

private:
    QString title;
    QString wmClass;
    uint pid = 0;
};

// org.gnome.Mutter.IdleMonitor /org/gnome/Mutter/IdleMonitor/Core with its watches.
class IdleMonitorStandIn : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Mutter.IdleMonitor")

public:
    // The user has not touched anything for `ms` (0: is back): idle watches of that length or less
    // fire; on return the user-active watches fire and are gone. Tests go idle only from being back.
    void idleFor(qint64 ms);
    int watchCount();

public slots:
    Q_SCRIPTABLE uint AddIdleWatch(quint64 interval) { return addWatch(std::max<quint64>(1, interval)); }
    Q_SCRIPTABLE uint AddUserActiveWatch() { return addWatch(0); }
    Q_SCRIPTABLE void RemoveWatch(uint id) { watches.remove(id); }
    Q_SCRIPTABLE quint64 GetIdletime() { return quint64(idleMs); }

signals:
    Q_SCRIPTABLE void WatchFired(uint id);

private:
    uint addWatch(quint64 interval)
    {
        watches.insert(nextId, interval);
        return nextId++;
    }

    qint64 idleMs = 0;
    uint nextId = 1;
    QHash<uint, quint64> watches; // id → interval; 0 for user-active watches
};

class DesktopStandIns
{
public:
    // The services to stand in for (KWin may refuse scripts).
    static constexpr int KWin = 1, GnomeShell = 2, IdleMonitor = 4, KWinRefusesScripts = 8;

    DesktopStandIns(const QString& address, int services);
    ~DesktopStandIns();
    bool isReady() const { return ready; }

private:
    // Declared first: the connection and the thread outlive the stand-ins, which are deleted in
    // their own thread.
    QString connectionName;
    QDBusConnection connection;
    QThread thread;
    bool ready = false;

public:
    KWinScriptingStandIn& kwin;
    GnomeShellExtensionStandIn& shell;
    IdleMonitorStandIn& idle;
};
