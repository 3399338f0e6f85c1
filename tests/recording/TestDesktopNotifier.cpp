#include "TestKit.h"
#include "recording/DesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

namespace {
// A notification service on its own bus connection, so the program's call really crosses the bus.
class FakeNotificationService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QStringList calls; // "application|summary|body|timeout"

public slots:
    uint Notify(const QString& app, uint, const QString&, const QString& title, const QString& text, const QStringList&,
                const QVariantMap&, int expire)
    {
        calls << QStringList{app, title, text, QString::number(expire)}.join(QLatin1Char('|'));
        return uint(calls.size());
    }
};
} // namespace

class TestDesktopNotifier : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!QDBusConnection::sessionBus().isConnected()) {
            QSKIP("no session bus (the test runs under dbus-run-session)");
        }
        if (QDBusConnection::sessionBus().interface()->isServiceRegistered(
                QStringLiteral("org.freedesktop.Notifications"))) {
            QSKIP("a real notification service is running on this bus");
        }
    }

    void theServiceReceivesTheMessage()
    {
        // Without a service the caller falls back to its own message.
        QVERIFY(!DesktopNotifier::notify(QStringLiteral("Away time detected"), QStringLiteral("x"), 10000));
        QDBusConnection serviceBus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake"));
        QVERIFY(serviceBus.isConnected());
        FakeNotificationService service;
        QVERIFY(serviceBus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &service,
                                          QDBusConnection::ExportAllSlots));
        QVERIFY(serviceBus.registerService(QStringLiteral("org.freedesktop.Notifications")));

        const QString text = QStringLiteral("Duration: 20 m 0 s\nInactivity period: 09:10:00 - 09:30:00");
        QVERIFY(DesktopNotifier::notify(QStringLiteral("Away time detected"), text, 10000));
        QTRY_COMPARE(service.calls.size(), 1);
        QCOMPARE(service.calls[0], QStringLiteral("VerrinPlus|Away time detected|") + text + QStringLiteral("|10000"));

        serviceBus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        QDBusConnection::disconnectFromBus(QStringLiteral("fake"));
    }
};

QTEST_GUILESS_MAIN(TestDesktopNotifier)
#include "TestDesktopNotifier.moc"
