#include "recording/DesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QVariantMap>

namespace {
const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
} // namespace

bool DesktopNotifier::isAvailable()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()) {
        return false;
    }
    QDBusConnectionInterface* daemon = bus.interface();
    return daemon->isServiceRegistered(kService).value() ||
           daemon->activatableServiceNames().value().contains(kService);
}

bool DesktopNotifier::notify(const QString& title, const QString& text, int timeoutMs)
{
    if (!isAvailable()) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("Notify"));
    QVariantMap hints;
    hints.insert(QStringLiteral("urgency"), QVariant::fromValue<uchar>(1));
    hints.insert(QStringLiteral("desktop-entry"), QStringLiteral("verrinplus"));
    call << QStringLiteral("VerrinPlus") << uint(0) << QStringLiteral("dialog-information") << title << text
         << QStringList() << hints << qint32(timeoutMs);
    return QDBusConnection::sessionBus().send(call);
}
