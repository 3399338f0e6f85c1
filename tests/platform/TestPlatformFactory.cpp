// The backend choice outside an X11 session (offscreen Qt stands in for "no X11 display").
#include "DesktopStandIns.h"
#include "TestKit.h"
#include "platform/Platform.h"
#include "wayland/GnomeShellPlatform.h"
#include "wayland/KWinPlatform.h"
#include "wayland/WlrootsPlatform.h"

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
    }

    void choice()
    {
        const int kwin = DesktopStandIns::KWin;
        const int gnome = DesktopStandIns::GnomeShell | DesktopStandIns::IdleMonitor;
        const QString noCompositor = "Cannot connect to the Wayland compositor (verrin-none-9): recording is off";
        // XDG_SESSION_TYPE, WAYLAND_DISPLAY, XDG_CURRENT_DESKTOP and the desktop services on the bus, then the
        // backend chosen ("" for none) and the start of the reason it gives.
        const std::tuple<const char*, const char*, const char*, int, QString, QString> cases[] = {
            {"x11", "", "", 0, "", "Recording needs an X11 display"},
            // A Wayland session never falls back to X11; without a compositor to ask, nothing is recorded.
            {"wayland", "", "", 0, "", "Cannot connect to the Wayland compositor (wayland-0): recording is off"},
            {"", "verrin-none-9", "", 0, "", noCompositor},
            {"wayland", "verrin-none-9", "KDE", kwin, "kwin", ""},
            {"wayland", "verrin-none-9", "KDE", kwin | DesktopStandIns::KWinRefusesScripts, "",
             "KWin did not take VerrinPlus's window script"},
            // Another compositor in a session that calls itself KDE: the wlroots path decides.
            {"wayland", "verrin-none-9", "KDE", 0, "", noCompositor},
            {"wayland", "verrin-none-9", "ubuntu:GNOME", gnome, "gnome", ""},
            // KWin on the bus but not the desktop named: not asked.
            {"wayland", "verrin-none-9", "sway", kwin, "", noCompositor},
        };
        // The reason is logged once per run, not at every start of recording.
        QTest::ignoreMessage(QtWarningMsg, "Recording needs an X11 display");
        for (const auto& [session, display, desktop, services, chosen, reason] : cases) {
            qputenv("XDG_SESSION_TYPE", session);
            qputenv("WAYLAND_DISPLAY", display);
            qputenv("XDG_CURRENT_DESKTOP", desktop);
            DesktopStandIns standIns(bus.address(), services);
            QVERIFY(standIns.isReady());
            std::unique_ptr<Platform> platform = createPlatform();
            QTest::failOnWarning(QRegularExpression(QStringLiteral("^Recording|recording is off")));
            QVERIFY2(reason.isEmpty() ? platform->unsupportedReason().isEmpty()
                                      : platform->unsupportedReason().startsWith(reason),
                     qPrintable(desktop + (": " + platform->unsupportedReason())));
            QCOMPARE(platform->isSupported(), !chosen.isEmpty());
            QCOMPARE(dynamic_cast<KWinPlatform*>(platform.get()) != nullptr, chosen == "kwin");
            QCOMPARE(dynamic_cast<GnomeShellPlatform*>(platform.get()) != nullptr, chosen == "gnome");
            // Nothing wrong is recorded without a backend: no window in front, never idle.
            QVERIFY(!chosen.isEmpty() || (!platform->foregroundWindow().valid && platform->idleSeconds() == 0));
        }
    }

    void waylandDesktopsAreNamed()
    {
        const QString own = QStringLiteral("This Wayland compositor does not tell which window is in front");
        const std::tuple<const char*, QSet<QByteArray>, QString> cases[] = {
            {"KDE", {"wl_seat"}, "Recording on KDE Plasma (Wayland)"},
            {"", {"org_kde_plasma_window_management"}, "Recording on KDE Plasma (Wayland)"},
            {"ubuntu:GNOME", {}, "Recording on GNOME (Wayland)"},
            {"", {"gtk_shell1"}, "Recording on GNOME (Wayland)"},
            {"weston", {"wl_seat"}, own},
        };
        for (const auto& [desktop, offered, start] : cases) {
            const QString reason = WlrootsPlatform::sessionReason(desktop, offered, own);
            QVERIFY2(reason.startsWith(start), qPrintable(reason));
        }
    }
};

QTEST_MAIN(TestPlatformFactory)
#include "TestPlatformFactory.moc"
