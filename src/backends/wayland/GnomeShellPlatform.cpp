#include "wayland/GnomeShellPlatform.h"

#include "ApplicationWindows.h"
#include "wayland/GnomeShellExtension.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDebug>

#include <algorithm>

namespace {
const QString idleService = QStringLiteral("org.gnome.Mutter.IdleMonitor");
const QString idlePath = QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core");
const QString idleInterface = QStringLiteral("org.gnome.Mutter.IdleMonitor");
// Only at start: the shell answers at once when it runs and the extension is on.
constexpr int callTimeoutMs = 1000;
// Like the Wayland idle protocols: reported after a second, so the idle time is within a second.
constexpr quint64 idleThresholdMs = 1000;

QDBusMessage idleCall(const QString& method, const QVariantList& arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(idleService, idlePath, idleInterface, method);
    call.setArguments(arguments);
    return call;
}
} // namespace

MutterIdleMonitor::MutterIdleMonitor(const QDBusConnection& bus) : bus(bus)
{
    clock.start();
    // Connected before the watch exists, so no firing can be missed.
    this->bus.connect(idleService, idlePath, idleInterface, QStringLiteral("WatchFired"), this,
                      SLOT(onWatchFired(uint)));
    const QDBusMessage added = this->bus.call(
        idleCall(QStringLiteral("AddIdleWatch"), {QVariant::fromValue(idleThresholdMs)}), QDBus::Block, callTimeoutMs);
    if (added.type() != QDBusMessage::ReplyMessage) {
        qWarning().noquote() << "Mutter's IdleMonitor does not answer, idle time cannot be detected:"
                             << added.errorMessage();
        return;
    }
    idleWatch = added.arguments().value(0).toUInt();
    const QDBusMessage now = this->bus.call(idleCall(QStringLiteral("GetIdletime")), QDBus::Block, callTimeoutMs);
    if (const qint64 idleMs = now.arguments().value(0).toLongLong(); idleMs >= qint64(idleThresholdMs)) {
        becameIdle(idleMs);
    }
}

MutterIdleMonitor::~MutterIdleMonitor()
{
    // A watch asked for would outlive us on the shell's side: its answer is awaited (the call's own
    // time limit bounds that) and read here, since its finished signal may still wait in the queue.
    if (activityCall) {
        activityCall->waitForFinished(); // may hand the answer to its handler, which clears activityCall
    }
    if (activityCall) {
        if (const QDBusPendingReply<uint> reply = *activityCall; reply.isValid()) {
            activeWatch = reply.value();
        }
    }
    for (uint id : {idleWatch, activeWatch}) {
        if (id != 0) {
            bus.call(idleCall(QStringLiteral("RemoveWatch"), {id}), QDBus::NoBlock);
        }
    }
}

void MutterIdleMonitor::becameIdle(qint64 idleMs)
{
    if (!idle) {
        idleSinceMs = clock.elapsed() - idleMs;
        idle = true;
    }
    watchForActivity();
}

void MutterIdleMonitor::watchForActivity()
{
    if (activeWatch != 0 || activityCall) {
        return;
    }
    // Asynchronous. The bus sends the answer before any firing of the new watch, but Qt may hand the
    // firing over first: onWatchFired keeps such firings until the answer names the watch.
    activityCall =
        new QDBusPendingCallWatcher(bus.asyncCall(idleCall(QStringLiteral("AddUserActiveWatch")), callTimeoutMs), this);
    connect(activityCall, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        const QDBusPendingReply<uint> reply = *call;
        if (reply.isValid() && firedBeforeAnswer.contains(reply.value())) {
            idle = false; // the user came back already; Mutter removed the one-shot watch
        } else if (reply.isValid()) {
            activeWatch = reply.value();
        } else {
            qWarning().noquote() << "Mutter's IdleMonitor refused to watch for activity:" << reply.error().message();
        }
        activityCall = nullptr;
        firedBeforeAnswer.clear();
        call->deleteLater();
    });
}

void MutterIdleMonitor::onWatchFired(uint id)
{
    if (id == idleWatch && idleWatch != 0) {
        becameIdle(idleThresholdMs);
    } else if (id == activeWatch && activeWatch != 0) {
        activeWatch = 0; // one-shot: Mutter removes it after it fired
        idle = false;
    } else if (activityCall) {
        firedBeforeAnswer.append(id);
    }
}

int MutterIdleMonitor::idleSeconds() const
{
    return idle ? int(std::max<qint64>(0, clock.elapsed() - idleSinceMs) / 1000) : 0;
}

GnomeShellPlatform::GnomeShellPlatform(const QDBusConnection& bus, const QStringList& applicationFolders)
    : bus(bus), window(applicationFolders), listener(std::make_unique<GnomeShellListener>(&window))
{
    const QString path = QString::fromLatin1(objectPath);
    const QString iface = QString::fromLatin1(interface);
    // Connected before asking, so a change between the answer and the connection is not lost.
    this->bus.connect(QString::fromLatin1(service), path, iface, QStringLiteral("Changed"), listener.get(),
                      SLOT(onChanged(QString, QString, uint)));
    const QDBusMessage answer =
        this->bus.call(QDBusMessage::createMethodCall(QString::fromLatin1(service), path, iface, QStringLiteral("Get")),
                       QDBus::Block, callTimeoutMs);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.signature() != QLatin1String("ssu")) {
        reason = GnomeShellExtension::isInstalled()
                     ? QStringLiteral("The VerrinPlus GNOME Shell extension is not active yet: log out and back in "
                                      "(or turn it on in Extensions). Until then nothing is recorded")
                     : QStringLiteral("Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell extension: "
                                      "nothing is recorded until it is installed (see README)");
        return;
    }
    const QVariantList values = answer.arguments();
    window.report(values.value(0).toString(), values.value(1).toString(), values.value(2).toUInt());
    idle = std::make_unique<MutterIdleMonitor>(this->bus);
    supported = true;
}

GnomeShellPlatform::~GnomeShellPlatform() = default;

ForegroundWindow GnomeShellPlatform::foregroundWindow()
{
    return supported ? window.foreground() : ForegroundWindow();
}

int GnomeShellPlatform::idleSeconds()
{
    return supported ? idle->idleSeconds() : 0;
}

QIcon GnomeShellPlatform::iconForPath(const QString& path)
{
    return window.iconForPath(path);
}

void GnomeShellPlatform::hideApplication()
{
    ApplicationWindows::hide();
}
