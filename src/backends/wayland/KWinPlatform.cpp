#include "wayland/KWinPlatform.h"

#include "ApplicationWindows.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDebug>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

namespace {
const QString kwinService = QStringLiteral("org.kde.KWin");
const QString scriptingPath = QStringLiteral("/Scripting");
const QString scriptingInterface = QStringLiteral("org.kde.kwin.Scripting");
// Only at start and exit: KWin answers at once when it runs at all.
constexpr int callTimeoutMs = 2000;

QDBusMessage scripting(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(kwinService, scriptingPath, scriptingInterface, method);
    call.setArguments(arguments);
    return call;
}
} // namespace

void KWinScriptReceiver::activeWindowChanged(const QString& caption, const QString& resourceClass, const QString& pid)
{
    if (calledFromDBus() && message().service() != kwinName) {
        qWarning().noquote() << "Ignored a window report that did not come from KWin but from" << message().service();
        return;
    }
    bool ok = false;
    const qint64 number = pid.toLongLong(&ok);
    window->report(caption, resourceClass, ok ? number : 0);
}

KWinPlatform::KWinPlatform(const QDBusConnection& bus, const QByteArray& waylandDisplay,
                           const QStringList& applicationFolders)
    : bus(bus), window(applicationFolders), receiver(std::make_unique<KWinScriptReceiver>(&window))
{
    QString error;
    if (!loadScript(&error)) {
        reason = QStringLiteral("KWin did not take VerrinPlus's window script (%1): nothing is recorded").arg(error);
        return;
    }
    supported = true;
    idle = std::make_unique<WaylandIdleConnection>(waylandDisplay);
    if (!idle->isConnected()) {
        qWarning("Cannot connect to KWin's Wayland display: idle time cannot be detected");
    }
    // A KWin that goes away takes the script with it; what it last said must not be recorded on.
    auto* watcher = new QDBusServiceWatcher(kwinService, this->bus, QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(watcher, &QDBusServiceWatcher::serviceUnregistered,
                     [this] { fail(QStringLiteral("KWin left the session bus: recording is off")); });
    kwinWatcher.reset(watcher);
}

KWinPlatform::~KWinPlatform()
{
    kwinWatcher.reset();
    if (loaded) {
        // Without this the script would go on calling a name that no longer exists.
        bus.call(scripting(QStringLiteral("unloadScript"), {plugin}), QDBus::Block, callTimeoutMs);
    }
    if (bus.isConnected()) {
        bus.unregisterObject(QString::fromLatin1(objectPath));
    }
}

QByteArray KWinPlatform::scriptText(const QString& receiverName)
{
    QFile resource(QStringLiteral(":/desktops/kwin/verrinplus-active-window.js"));
    if (!resource.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    // A JSON string is a valid JavaScript string literal, so the name is quoted whatever it holds.
    QByteArray quoted = QJsonDocument(QJsonArray{receiverName}).toJson(QJsonDocument::Compact);
    quoted = quoted.mid(1, quoted.size() - 2);
    return resource.readAll().replace("\"@RECEIVER@\"", quoted);
}

bool KWinPlatform::loadScript(QString* error)
{
    if (!bus.isConnected()) {
        *error = QStringLiteral("no session bus");
        return false;
    }
    const QString kwinName = bus.interface()->serviceOwner(kwinService).value();
    if (kwinName.isEmpty()) {
        *error = QStringLiteral("KWin does not answer on the session bus");
        return false;
    }
    receiver->setKWinName(kwinName);
    if (!bus.registerObject(QString::fromLatin1(objectPath), receiver.get(), QDBusConnection::ExportScriptableSlots)) {
        *error = QStringLiteral("cannot register %1 on the session bus").arg(QString::fromLatin1(objectPath));
        return false;
    }
    const QString path = scriptFolder.filePath(QStringLiteral("verrinplus-active-window.js"));
    QFile file(path);
    const QByteArray text = scriptText(bus.baseService());
    if (!scriptFolder.isValid() || text.isEmpty() || !file.open(QIODevice::WriteOnly) ||
        file.write(text) != text.size()) {
        *error = QStringLiteral("cannot write the script to %1").arg(path);
        return false;
    }
    file.close();
    plugin = QStringLiteral("verrinplus-") + bus.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('-'));
    const QDBusMessage loadedReply =
        bus.call(scripting(QStringLiteral("loadScript"), {path, plugin}), QDBus::Block, callTimeoutMs);
    if (loadedReply.type() != QDBusMessage::ReplyMessage || loadedReply.arguments().value(0).toInt() < 0) {
        *error = loadedReply.type() == QDBusMessage::ErrorMessage ? loadedReply.errorMessage()
                                                                  : QStringLiteral("loadScript refused it");
        return false;
    }
    loaded = true;
    // start() runs every loaded script that is not running yet, on KWin 5 and 6 alike (the path of
    // one script's own object differs between them).
    const QDBusMessage started = bus.call(scripting(QStringLiteral("start"), {}), QDBus::Block, callTimeoutMs);
    if (started.type() != QDBusMessage::ReplyMessage) {
        *error = started.errorMessage();
        return false;
    }
    return true;
}

void KWinPlatform::fail(const QString& why)
{
    if (supported) {
        qWarning().noquote() << why;
    }
    supported = false;
    reason = why;
    window.clear();
}

ForegroundWindow KWinPlatform::foregroundWindow()
{
    return supported ? window.foreground() : ForegroundWindow();
}

int KWinPlatform::idleSeconds()
{
    return supported && idle ? idle->idleSeconds() : 0;
}

QIcon KWinPlatform::iconForPath(const QString& path)
{
    return window.iconForPath(path);
}

void KWinPlatform::hideApplication()
{
    ApplicationWindows::hide();
}
