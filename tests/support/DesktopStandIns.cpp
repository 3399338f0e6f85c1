#include "DesktopStandIns.h"

#include "TestKit.h"
#include "WaylandTestWindows.h"

PrivateBus::~PrivateBus()
{
    for (const QString& name : std::as_const(names)) {
        QDBusConnection::disconnectFromBus(name);
    }
    endProcess(daemon);
}

bool PrivateBus::start(QString* whyNot)
{
    daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address=1"});
    busAddress = QString::fromLocal8Bit(waitForLine(daemon, 10000));
    if (busAddress.isEmpty()) {
        *whyNot = QStringLiteral("dbus-daemon did not start (is it installed?)");
    }
    return !busAddress.isEmpty();
}

void GnomeShellExtensionStandIn::focus(const QString& newTitle, const QString& newClass, uint newPid)
{
    QMetaObject::invokeMethod(this, [=, this] {
        title = newTitle;
        wmClass = newClass;
        pid = newPid;
        emit Changed(newTitle, newClass, newPid);
    });
}

void IdleMonitorStandIn::idleFor(qint64 ms)
{
    QMetaObject::invokeMethod(this, [ms, this] {
        const bool back = ms == 0 && idleMs > 0;
        idleMs = ms;
        for (auto it = watches.begin(); it != watches.end();) {
            const bool active = it.value() == 0;
            if (active ? back : quint64(ms) >= it.value()) {
                emit WatchFired(it.key());
            }
            it = active && back ? watches.erase(it) : std::next(it);
        }
    });
}

int IdleMonitorStandIn::watchCount()
{
    int count = 0;
    QMetaObject::invokeMethod(
        this, [this] { return int(watches.size()); }, Qt::BlockingQueuedConnection, &count);
    return count;
}

DesktopStandIns::DesktopStandIns(const QString& address, int services)
    : connectionName(QStringLiteral("verrin-desktop-stand-ins-%1").arg(quintptr(this))),
      connection(QDBusConnection::connectToBus(address, connectionName)), kwin(*new KWinScriptingStandIn),
      shell(*new GnomeShellExtensionStandIn), idle(*new IdleMonitorStandIn)
{
    kwin.refuse = services & KWinRefusesScripts;
    const auto exported = QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals;
    ready = connection.isConnected();
    const auto serve = [&](int service, const char* path, QObject* object, const char* name) {
        ready = ready && (!(services & service) ||
                          (connection.registerObject(path, object, exported) && connection.registerService(name)));
    };
    serve(KWin, "/Scripting", &kwin, "org.kde.KWin");
    serve(GnomeShell, "/com/verrin/VerrinPlus/ActiveWindow", &shell, "org.gnome.Shell");
    serve(IdleMonitor, "/org/gnome/Mutter/IdleMonitor/Core", &idle, "org.gnome.Mutter.IdleMonitor");
    // Moved only now: registering creates helper objects as their children, which must move along.
    for (QObject* object : std::initializer_list<QObject*>{&kwin, &shell, &idle}) {
        object->moveToThread(&thread);
    }
    thread.start();
}

DesktopStandIns::~DesktopStandIns()
{
    for (QObject* object : std::initializer_list<QObject*>{&kwin, &shell, &idle}) {
        QMetaObject::invokeMethod(
            object, [object] { delete object; }, Qt::BlockingQueuedConnection);
    }
    thread.quit();
    thread.wait();
    QDBusConnection::disconnectFromBus(connectionName);
}
