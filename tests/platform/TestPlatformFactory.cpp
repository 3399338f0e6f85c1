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

    void unsupportedSessions()
    {
        // A Wayland session never falls back to X11; without a compositor to ask, nothing is recorded.
        const struct
        {
            const char* sessionType;
            const char* waylandDisplay;
            const char* reason;
        } cases[] = {
            {"x11", "", "Recording needs an X11 display"},
            {"wayland", "", "Cannot connect to the Wayland compositor (wayland-0): recording is off"},
            {"", "verrin-none-9", "Cannot connect to the Wayland compositor (verrin-none-9): recording is off"},
        };
        // The reason is logged once per run, not at every start of recording.
        QTest::ignoreMessage(QtWarningMsg, cases[0].reason);
        for (const auto& c : cases) {
            qputenv("XDG_SESSION_TYPE", c.sessionType);
            qputenv("WAYLAND_DISPLAY", c.waylandDisplay);
            std::unique_ptr<Platform> platform = createPlatform();
            QTest::failOnWarning(QRegularExpression(QStringLiteral("^Recording|recording is off")));
            QCOMPARE(platform->unsupportedReason(), QString(c.reason));
            // Nothing wrong is recorded: no window in front, never idle.
            QVERIFY(!platform->isSupported() && !platform->foregroundWindow().valid);
            QCOMPARE(platform->idleSeconds(), 0);
        }
    }

    void desktopBackends()
    {
        const int kwin = DesktopStandIns::KWin;
        const int gnome = DesktopStandIns::GnomeShell | DesktopStandIns::IdleMonitor;
        const QString noCompositor = "Cannot connect to the Wayland compositor";
        const struct
        {
            const char* desktop;
            int services;
            const char* chosen;
            QString reason;
        } cases[] = {
            {"KDE", kwin, "kwin", ""},
            {"KDE", kwin | DesktopStandIns::KWinRefusesScripts, "", "KWin did not take VerrinPlus's window script"},
            // Another compositor in a session that calls itself KDE: the wlroots path decides.
            {"KDE", 0, "", noCompositor},
            {"ubuntu:GNOME", gnome, "gnome", ""},
            {"GNOME", DesktopStandIns::IdleMonitor, "",
             "Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell extension"},
            // KWin on the bus but not the desktop named: not asked.
            {"sway", kwin, "", noCompositor},
        };
        qputenv("XDG_SESSION_TYPE", "wayland");
        qputenv("WAYLAND_DISPLAY", "verrin-none-9");
        for (const auto& c : cases) {
            const QString chosen = c.chosen;
            qputenv("XDG_CURRENT_DESKTOP", c.desktop);
            DesktopStandIns standIns(bus.address(), c.services);
            QVERIFY(standIns.isReady());
            std::unique_ptr<Platform> platform = createPlatform();
            QVERIFY2(c.reason.isEmpty() ? platform->unsupportedReason().isEmpty()
                                        : platform->unsupportedReason().startsWith(c.reason),
                     qPrintable(c.desktop + (": " + platform->unsupportedReason())));
            QCOMPARE(platform->isSupported(), !chosen.isEmpty());
            QCOMPARE(dynamic_cast<KWinPlatform*>(platform.get()) != nullptr, chosen == "kwin");
            QCOMPARE(dynamic_cast<GnomeShellPlatform*>(platform.get()) != nullptr, chosen == "gnome");
            if (chosen == "kwin") {
                QCOMPARE(standIns.kwinPlugins(), QStringList{static_cast<KWinPlatform*>(platform.get())->pluginName()});
                platform.reset(); // and the script leaves with it
                QCOMPARE(standIns.kwinPlugins(), QStringList());
            }
        }
        qputenv("XDG_CURRENT_DESKTOP", "");
    }

    void waylandDesktopsAreNamed()
    {
        const QString own = QStringLiteral("This Wayland compositor does not tell which window is in front");
        const struct
        {
            const char* desktop;
            QSet<QByteArray> offered;
            QString start;
        } cases[] = {
            {"KDE", {"wl_seat"}, "Recording on KDE Plasma (Wayland)"},
            {"", {"org_kde_plasma_window_management"}, "Recording on KDE Plasma (Wayland)"},
            {"ubuntu:GNOME", {}, "Recording on GNOME (Wayland)"},
            {"", {"gtk_shell1"}, "Recording on GNOME (Wayland)"},
            {"weston", {"wl_seat"}, own},
        };
        for (const auto& c : cases) {
            const QString reason = WlrootsPlatform::sessionReason(c.desktop, c.offered, own);
            QVERIFY2(reason.startsWith(c.start), qPrintable(reason));
        }
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
