// The backend choice outside an X11 session (offscreen Qt stands in for "no X11 display").
#include "DesktopStandIns.h"
#include "PrivateBus.h"
#include "TestKit.h"
#include "platform/Platform.h"
#include "wayland/GnomeShellPlatform.h"
#include "wayland/KWinPlatform.h"
#include "wayland/WlrootsPlatform.h"

#include <QApplication>
#include <QWidget>

class TestPlatformFactory : public QObject
{
    Q_OBJECT

private:
    // The session bus the factory asks is the test's own, where the test puts desktop stand-ins.
    PrivateBus bus;
    QTemporaryDir noSockets; // no compositor can answer from an empty runtime folder

private slots:
    void initTestCase()
    {
        QString whyNot;
        QVERIFY2(bus.start(&whyNot), qPrintable(whyNot));
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toLocal8Bit());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(noSockets.path()));
        qputenv("XDG_DATA_HOME", QFile::encodeName(noSockets.path()));
        qputenv("XDG_CURRENT_DESKTOP", "");
    }

    void unsupportedSessions_data()
    {
        QTest::addColumn<QByteArray>("sessionType");
        QTest::addColumn<QByteArray>("waylandDisplay");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no display") << QByteArray("x11") << QByteArray() << "Recording needs an X11 display";
        // A Wayland session never falls back to X11; without a compositor to ask, nothing is recorded.
        QTest::newRow("wayland session") << QByteArray("wayland") << QByteArray()
                                         << "Cannot connect to the Wayland compositor (wayland-0): recording is off";
        QTest::newRow("wayland display")
            << QByteArray() << QByteArray("verrin-none-9")
            << "Cannot connect to the Wayland compositor (verrin-none-9): recording is off";
    }

    void unsupportedSessions()
    {
        QFETCH(QByteArray, sessionType);
        QFETCH(QByteArray, waylandDisplay);
        QFETCH(QString, reason);
        qputenv("XDG_SESSION_TYPE", sessionType);
        qputenv("WAYLAND_DISPLAY", waylandDisplay);
        static bool first = true;
        if (first) { // the reason is logged once per run, not at every start of recording
            QTest::ignoreMessage(QtWarningMsg, qPrintable(reason));
            first = false;
        } else {
            QTest::failOnWarning(QRegularExpression(QStringLiteral("^Recording|recording is off")));
        }
        std::unique_ptr<Platform> platform = createPlatform();
        QVERIFY(!platform->isSupported());
        QCOMPARE(platform->unsupportedReason(), reason);
        // Nothing wrong is recorded: no window in front, never idle.
        QVERIFY(!platform->foregroundWindow().valid);
        QCOMPARE(platform->idleSeconds(), 0);
    }

    void desktopBackends_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<int>("services");
        QTest::addColumn<bool>("kwinRefuses");
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("reason");
        const int kwin = DesktopStandIns::KWin;
        const int gnome = DesktopStandIns::GnomeShell | DesktopStandIns::IdleMonitor;
        const int mutterOnly = DesktopStandIns::IdleMonitor;
        const QString noCompositor = "Cannot connect to the Wayland compositor";
        const auto row = [](const char* tag, const char* desktop, int services, bool refuses, const char* chosen,
                            const QString& reason) {
            QTest::newRow(tag) << QByteArray(desktop) << services << refuses << QString(chosen) << reason;
        };
        row("plasma", "KDE", kwin, false, "kwin", "");
        row("plasma, script refused", "KDE", kwin, true, "", "KWin did not take VerrinPlus's window script");
        // Another compositor in a session that calls itself KDE: the wlroots path decides.
        row("plasma without kwin", "KDE", 0, false, "", noCompositor);
        row("gnome", "ubuntu:GNOME", gnome, false, "gnome", "");
        row("gnome without extension", "GNOME", mutterOnly, false, "",
            "Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell extension");
        // KWin on the bus but not the desktop named: not asked.
        row("sway beside kwin", "sway", kwin, false, "", noCompositor);
    }

    void desktopBackends()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(int, services);
        QFETCH(bool, kwinRefuses);
        QFETCH(QString, chosen);
        QFETCH(QString, reason);
        qputenv("XDG_SESSION_TYPE", "wayland");
        qputenv("WAYLAND_DISPLAY", "verrin-none-9");
        qputenv("XDG_CURRENT_DESKTOP", desktop);
        DesktopStandIns standIns(bus.address(), services);
        QVERIFY(standIns.isReady());
        standIns.kwin.refuseScripts(kwinRefuses);
        std::unique_ptr<Platform> platform = createPlatform();
        QCOMPARE(platform->isSupported(), !chosen.isEmpty());
        QCOMPARE(dynamic_cast<KWinPlatform*>(platform.get()) != nullptr, chosen == "kwin");
        QCOMPARE(dynamic_cast<GnomeShellPlatform*>(platform.get()) != nullptr, chosen == "gnome");
        QVERIFY2(reason.isEmpty() ? platform->unsupportedReason().isEmpty()
                                  : platform->unsupportedReason().startsWith(reason),
                 qPrintable(platform->unsupportedReason()));
        if (chosen == "kwin") {
            QCOMPARE(standIns.kwin.loadedPlugins(),
                     QStringList{static_cast<KWinPlatform*>(platform.get())->pluginName()});
            platform.reset(); // and the script leaves with it
            QCOMPARE(standIns.kwin.loadedPlugins(), QStringList());
        }
        qputenv("XDG_CURRENT_DESKTOP", "");
    }

    void waylandDesktopsAreNamed_data()
    {
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QByteArrayList>("offered");
        QTest::addColumn<QString>("start");
        const QString own = QStringLiteral("This Wayland compositor does not tell which window is in front");
        QTest::newRow("plasma") << "KDE" << QByteArrayList{"wl_seat"} << "Recording on KDE Plasma (Wayland)";
        QTest::newRow("kwin by protocol")
            << "" << QByteArrayList{"org_kde_plasma_window_management"} << "Recording on KDE Plasma (Wayland)";
        QTest::newRow("ubuntu gnome") << "ubuntu:GNOME" << QByteArrayList{} << "Recording on GNOME (Wayland)";
        QTest::newRow("mutter by protocol") << "" << QByteArrayList{"gtk_shell1"} << "Recording on GNOME (Wayland)";
        QTest::newRow("other compositor") << "weston" << QByteArrayList{"wl_seat"} << own;
    }

    void waylandDesktopsAreNamed()
    {
        QFETCH(QString, desktop);
        QFETCH(QByteArrayList, offered);
        QFETCH(QString, start);
        const QSet<QByteArray> interfaces(offered.begin(), offered.end());
        const QString reason = WlrootsPlatform::sessionReason(
            desktop, interfaces, QStringLiteral("This Wayland compositor does not tell which window is in front"));
        QVERIFY2(reason.startsWith(start), qPrintable(reason));
    }

    void unsupportedStandInHides()
    {
        QWidget window;
        window.show();
        QVERIFY(window.isVisible());
        createPlatform()->hideApplication();
        QVERIFY(!window.isVisible());
    }
};

QTEST_MAIN(TestPlatformFactory)
#include "TestPlatformFactory.moc"
