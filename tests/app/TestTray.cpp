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

// A tool's output lines.
QStringList run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
}

// The program's mapped windows: the main window by its title, the rest (the XEmbed tray icon) by class.
bool mainWindowShown()
{
    return !run("xdotool", {"search", "--onlyvisible", "--name", "^Verrin Plus$"}).isEmpty();
}

QStringList shownWindowsOfTheProgram()
{
    return run("xdotool", {"search", "--onlyvisible", "--classname", "verrinplus"});
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
            QSettings ini(data.dataFolder() + "/verrinplus.ini", QSettings::IniFormat);
            ini.setValue("API/Url", "http://127.0.0.1:9/service/");
            ini.setValue("Application/Started", false);
        }
        QProcess tray;
        Watcher watcher;
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (statusNotifier) {
            QVERIFY(bus.registerService("org.kde.StatusNotifierWatcher"));
            QVERIFY(bus.registerObject("/StatusNotifierWatcher", &watcher, QDBusConnection::ExportAllContents));
        } else {
            tray.start("trayer", {"--edge", "top", "--align", "right", "--height", "24"});
            QVERIFY2(tray.waitForStarted(10000), qPrintable(tray.errorString()));
            // The tray is there once it owns the tray selection of the screen.
            QTRY_VERIFY_WITH_TIMEOUT(!run("xdotool", {"search", "--classname", "trayer"}).isEmpty(), 10000);
        }

        QProcess program;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VERRINPLUS_UPDATE_FEED", QString());
        program.setProcessEnvironment(env);
        program.start(VERRINPLUS_BINARY, QStringList());
        QTRY_VERIFY_WITH_TIMEOUT(mainWindowShown(), 20000);
        if (statusNotifier) {
            QTRY_VERIFY_WITH_TIMEOUT(!watcher.items.isEmpty(), 10000);
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(shownWindowsOfTheProgram().size(), 2, 10000);
        }

        // Closed by the user through the window manager: the window goes, the tray icon stays.
        run("wmctrl", {"-c", "Verrin Plus"});
        QTRY_VERIFY_WITH_TIMEOUT(!mainWindowShown(), 10000);
        QCOMPARE(program.state(), QProcess::Running);
        if (statusNotifier) {
            const QString service = watcher.items.first().section('/', 0, 0);
            QVERIFY2(bus.interface()->isServiceRegistered(service), qPrintable(service));
            // A click on the icon brings the window back.
            QDBusMessage activate = QDBusMessage::createMethodCall(service, "/StatusNotifierItem",
                                                                   "org.kde.StatusNotifierItem", "Activate");
            activate << 0 << 0;
            bus.call(activate, QDBus::NoBlock);
        } else {
            const QStringList icon = shownWindowsOfTheProgram();
            QCOMPARE(icon.size(), 1);
            run("xdotool", {"mousemove", "--window", icon.first(), "5", "5", "click", "1"});
        }
        QTRY_VERIFY_WITH_TIMEOUT(mainWindowShown(), 10000);

        // Waited for with the event loop running: the program talks to this test's watcher as it ends.
        program.terminate();
        QTRY_VERIFY_WITH_TIMEOUT(program.state() == QProcess::NotRunning, 20000);
        QCOMPARE(program.exitCode(), 0);
        if (statusNotifier) {
            bus.unregisterObject("/StatusNotifierWatcher");
            bus.unregisterService("org.kde.StatusNotifierWatcher");
        } else {
            tray.kill();
            tray.waitForFinished(10000);
        }
    }
};

QTEST_GUILESS_MAIN(TestTray)
#include "TestTray.moc"
