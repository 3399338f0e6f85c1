#include "TempDataFolder.h"
#include "TestKit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

// The real program beside a real system tray under Xvfb and openbox: an XEmbed tray (trayer) and a
// StatusNotifier watcher on the session bus. Closing or hiding the window must leave the tray icon,
// the only way back to a program that goes on recording.
namespace {

// A StatusNotifier watcher as desktop panels run it: it only has to exist and take registrations for
// Qt to put its icon on D-Bus instead of into an XEmbed tray.
class Watcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ registeredItems)

public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList registeredItems() const { return items; }
    QStringList items;

public slots:
    void RegisterStatusNotifierItem(const QString& service) { items << service; }
    void RegisterStatusNotifierHost(const QString&) {}

signals:
    void StatusNotifierItemRegistered(const QString& service);
    void StatusNotifierHostRegistered();
};

QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// The program's mapped windows: the main window by its title, the rest (the XEmbed tray icon) by class.
bool mainWindowShown()
{
    return !run(QStringLiteral("xdotool"), {"search", "--onlyvisible", "--name", "^Verrin Plus$"}).isEmpty();
}

int shownWindowsOfTheProgram()
{
    return int(run(QStringLiteral("xdotool"), {"search", "--onlyvisible", "--classname", "verrinplus"})
                   .split(QLatin1Char('\n'), Qt::SkipEmptyParts)
                   .size());
}

} // namespace

class TestTray : public QObject
{
    Q_OBJECT

private slots:
    void closingKeepsTheTrayIcon_data()
    {
        QTest::addColumn<bool>("statusNotifier");
        // The XEmbed row first: once a watcher is on the bus, every tray icon goes there.
        QTest::newRow("XEmbed tray") << false;
        QTest::newRow("StatusNotifier watcher") << true;
    }

    void closingKeepsTheTrayIcon()
    {
        QFETCH(bool, statusNotifier);
        TempDataFolder data;
        QDir().mkpath(data.dataFolder());
        {
            QSettings ini(data.dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
            ini.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
            ini.setValue(QStringLiteral("Application/Started"), false);
        }

        QProcess tray;
        Watcher watcher;
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (statusNotifier) {
            QVERIFY(bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher")));
            QVERIFY(bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                                       QDBusConnection::ExportAllContents));
        } else {
            tray.start(QStringLiteral("trayer"), {"--edge", "top", "--align", "right", "--height", "24"});
            QVERIFY2(tray.waitForStarted(10000), qPrintable(tray.errorString()));
            // The tray is there once it owns the tray selection of the screen.
            QTRY_VERIFY_WITH_TIMEOUT(!run(QStringLiteral("xdotool"), {"search", "--classname", "trayer"}).isEmpty(),
                                     10000);
        }

        QProcess program;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("VERRINPLUS_UPDATE_FEED"), QString());
        program.setProcessEnvironment(env);
        program.start(QStringLiteral(VERRINPLUS_BINARY), QStringList());
        QTRY_VERIFY_WITH_TIMEOUT(mainWindowShown(), 20000);
        if (statusNotifier) {
            QTRY_VERIFY_WITH_TIMEOUT(!watcher.items.isEmpty(), 10000);
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(shownWindowsOfTheProgram(), 2, 10000);
        }

        // Closed by the user through the window manager: the window goes, the tray icon stays.
        run(QStringLiteral("wmctrl"), {"-c", "Verrin Plus"});
        QTRY_VERIFY_WITH_TIMEOUT(!mainWindowShown(), 10000);
        QCOMPARE(program.state(), QProcess::Running);
        if (statusNotifier) {
            QString service = watcher.items.first();
            service = service.section(QLatin1Char('/'), 0, 0);
            QVERIFY2(bus.interface()->isServiceRegistered(service), qPrintable(service));
            // A click on the icon brings the window back.
            QDBusMessage activate = QDBusMessage::createMethodCall(service, QStringLiteral("/StatusNotifierItem"),
                                                                   QStringLiteral("org.kde.StatusNotifierItem"),
                                                                   QStringLiteral("Activate"));
            activate << 0 << 0;
            bus.call(activate, QDBus::NoBlock);
        } else {
            QCOMPARE(shownWindowsOfTheProgram(), 1);
            const QString icon =
                run(QStringLiteral("xdotool"), {"search", "--onlyvisible", "--classname", "verrinplus"});
            run(QStringLiteral("xdotool"), {"mousemove", "--window", icon, "5", "5", "click", "1"});
        }
        QTRY_VERIFY_WITH_TIMEOUT(mainWindowShown(), 10000);

        // Waited for with the event loop running: the program talks to this test's watcher as it ends.
        program.terminate();
        QTRY_VERIFY_WITH_TIMEOUT(program.state() == QProcess::NotRunning, 20000);
        QCOMPARE(program.exitCode(), 0);
        if (statusNotifier) {
            bus.unregisterObject(QStringLiteral("/StatusNotifierWatcher"));
            bus.unregisterService(QStringLiteral("org.kde.StatusNotifierWatcher"));
        } else {
            tray.kill();
            tray.waitForFinished(10000);
        }
    }
};

QTEST_GUILESS_MAIN(TestTray)
#include "TestTray.moc"
