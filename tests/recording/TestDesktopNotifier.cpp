#include "recording/DesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTest>

namespace {
// A notification service on its own bus connection, so the program's call really crosses the bus.
class FakeNotificationService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QString summary;
    QString body;
    QString appName;
    int timeout = 0;
    int calls = 0;

public slots:
    uint Notify(const QString& app, uint, const QString&, const QString& title, const QString& text, const QStringList&,
                const QVariantMap&, int expire)
    {
        appName = app;
        summary = title;
        body = text;
        timeout = expire;
        ++calls;
        return uint(calls);
    }
};
} // namespace

class TestDesktopNotifier : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void withoutAServiceTheCallerFallsBack();
    void theServiceReceivesTheMessage();
};

void TestDesktopNotifier::initTestCase()
{
    if (!QDBusConnection::sessionBus().isConnected()) {
        QSKIP("no session bus (the test runs under dbus-run-session)");
    }
    if (QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.Notifications"))) {
        QSKIP("a real notification service is running on this bus");
    }
}

void TestDesktopNotifier::withoutAServiceTheCallerFallsBack()
{
    QVERIFY(!DesktopNotifier::isAvailable());
    QVERIFY(!DesktopNotifier::notify(QStringLiteral("Away time detected"), QStringLiteral("x"), 10000));
}

void TestDesktopNotifier::theServiceReceivesTheMessage()
{
    QDBusConnection serviceBus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake"));
    QVERIFY(serviceBus.isConnected());
    FakeNotificationService service;
    QVERIFY(serviceBus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &service,
                                      QDBusConnection::ExportAllSlots));
    QVERIFY(serviceBus.registerService(QStringLiteral("org.freedesktop.Notifications")));

    QVERIFY(DesktopNotifier::isAvailable());
    const QString text = QStringLiteral("Duration: 20 m 0 s\nInactivity period: 09:10:00 - 09:30:00");
    QVERIFY(DesktopNotifier::notify(QStringLiteral("Away time detected"), text, 10000));
    QTRY_COMPARE(service.calls, 1);
    QCOMPARE(service.summary, QStringLiteral("Away time detected"));
    QCOMPARE(service.body, text);
    QCOMPARE(service.timeout, 10000);
    QCOMPARE(service.appName, QStringLiteral("VerrinPlus"));

    serviceBus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
    QDBusConnection::disconnectFromBus(QStringLiteral("fake"));
}

QTEST_GUILESS_MAIN(TestDesktopNotifier)
#include "TestDesktopNotifier.moc"
