#include "DesktopStandIns.h"

#include <QMetaObject>
#include <QMutexLocker>

#include <algorithm>

void KWinScriptingStandIn::refuseScripts(bool value)
{
    QMutexLocker lock(&mutex);
    refuse = value;
}

QStringList KWinScriptingStandIn::loadedPlugins() const
{
    QMutexLocker lock(&mutex);
    return plugins;
}

int KWinScriptingStandIn::loadScript(const QString& filePath, const QString& pluginName)
{
    QMutexLocker lock(&mutex);
    // KWin answers -1 for a refused script and for a name already loaded.
    if (refuse || plugins.contains(pluginName)) {
        return -1;
    }
    plugins.append(pluginName);
    scriptPath = filePath;
    return plugins.size();
}

bool KWinScriptingStandIn::unloadScript(const QString& pluginName)
{
    QMutexLocker lock(&mutex);
    return plugins.removeOne(pluginName);
}

void GnomeShellExtensionStandIn::focus(const QString& newTitle, const QString& newClass, uint newPid)
{
    QMetaObject::invokeMethod(this, "setFocus", Qt::QueuedConnection, Q_ARG(QString, newTitle),
                              Q_ARG(QString, newClass), Q_ARG(uint, newPid));
}

void GnomeShellExtensionStandIn::setFocus(const QString& newTitle, const QString& newClass, uint newPid)
{
    {
        QMutexLocker lock(&mutex);
        title = newTitle;
        wmClass = newClass;
        pid = newPid;
    }
    emit Changed(newTitle, newClass, newPid);
}

QString GnomeShellExtensionStandIn::Get(QString& outClass, uint& outPid)
{
    QMutexLocker lock(&mutex);
    outClass = wmClass;
    outPid = pid;
    return title;
}

void IdleMonitorStandIn::idleFor(qint64 ms)
{
    QMetaObject::invokeMethod(this, "setIdle", Qt::QueuedConnection, Q_ARG(qint64, ms));
}

void IdleMonitorStandIn::userActive()
{
    QMetaObject::invokeMethod(this, "setIdle", Qt::QueuedConnection, Q_ARG(qint64, 0));
}

int IdleMonitorStandIn::watchCount() const
{
    QMutexLocker lock(&mutex);
    return int(idleWatches.size());
}

void IdleMonitorStandIn::setIdle(qint64 ms)
{
    QList<uint> fire;
    {
        QMutexLocker lock(&mutex);
        const bool backFromIdle = ms == 0 && idleMs > 0;
        idleMs = ms;
        for (auto it = idleWatches.begin(); it != idleWatches.end();) {
            if (it.value() == 0 && backFromIdle) {
                fire.append(it.key());
                it = idleWatches.erase(it);
                continue;
            }
            if (it.value() > 0 && quint64(ms) >= it.value() && !firedIdle.contains(it.key())) {
                fire.append(it.key());
                firedIdle.insert(it.key());
            }
            ++it;
        }
        if (ms == 0) {
            firedIdle.clear();
        }
    }
    for (uint id : fire) {
        emit WatchFired(id);
    }
}

uint IdleMonitorStandIn::AddIdleWatch(quint64 interval)
{
    QMutexLocker lock(&mutex);
    idleWatches.insert(nextId, std::max<quint64>(1, interval));
    return nextId++;
}

uint IdleMonitorStandIn::AddUserActiveWatch()
{
    QMutexLocker lock(&mutex);
    idleWatches.insert(nextId, 0);
    return nextId++;
}

void IdleMonitorStandIn::RemoveWatch(uint id)
{
    QMutexLocker lock(&mutex);
    idleWatches.remove(id);
}

quint64 IdleMonitorStandIn::GetIdletime()
{
    QMutexLocker lock(&mutex);
    return quint64(idleMs);
}

DesktopStandIns::DesktopStandIns(const QString& address, int services)
    : connectionName(QStringLiteral("verrin-desktop-stand-ins-%1").arg(quintptr(this))),
      connection(QDBusConnection::connectToBus(address, connectionName)), kwin(*new KWinScriptingStandIn),
      shell(*new GnomeShellExtensionStandIn), idle(*new IdleMonitorStandIn)
{
    QDBusConnection& bus = connection;
    const auto exported = QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals;
    ready = bus.isConnected();
    if (services & KWin) {
        ready = ready && bus.registerObject(QStringLiteral("/Scripting"), &kwin, exported) &&
                bus.registerService(QStringLiteral("org.kde.KWin"));
    }
    if (services & GnomeShell) {
        ready = ready && bus.registerObject(QStringLiteral("/com/verrin/VerrinPlus/ActiveWindow"), &shell, exported) &&
                bus.registerService(QStringLiteral("org.gnome.Shell"));
    }
    if (services & IdleMonitor) {
        ready = ready && bus.registerObject(QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core"), &idle, exported) &&
                bus.registerService(QStringLiteral("org.gnome.Mutter.IdleMonitor"));
    }
    // Moved only now: registering creates helper objects as their children, which must move along.
    for (QObject* object : std::initializer_list<QObject*>{&kwin, &shell, &idle}) {
        object->moveToThread(&thread);
    }
    thread.start();
}

DesktopStandIns::~DesktopStandIns()
{
    for (const char* path :
         {"/Scripting", "/com/verrin/VerrinPlus/ActiveWindow", "/org/gnome/Mutter/IdleMonitor/Core"}) {
        connection.unregisterObject(QString::fromLatin1(path));
    }
    for (QObject* object : std::initializer_list<QObject*>{&kwin, &shell, &idle}) {
        QMetaObject::invokeMethod(
            object, [object] { delete object; }, Qt::BlockingQueuedConnection);
    }
    thread.quit();
    thread.wait();
    QDBusConnection::disconnectFromBus(connectionName);
}
