// The X11 backend against a real X server with a real window manager (run under run-x11.sh).
#include "TestKit.h"
#include "TestTools.h"
#include "X11TestWindow.h"
#include "x11/X11Platform.h"

#include <QScreen>

class TestX11Platform : public QObject
{
    Q_OBJECT

    QTemporaryDir apps; // no desktop entries: the names come from the windows
    QString helperExe;
    std::unique_ptr<X11Platform> platform;
    std::vector<std::unique_ptr<TestWindow>> windows;

    // Probes the window once the backend sees it in front; invalid when it never is. The request is
    // repeated: a window manager busy mapping windows may drop one.
    ForegroundWindow bringToFront(xcb_window_t window)
    {
        ForegroundWindow front;
        const auto inFront = [&] {
            front = platform->foregroundWindow();
            return front.valid && platform->lastWindow() == window;
        };
        for (int attempt = 0; attempt < 40; ++attempt) {
            if (runXdotool({"windowactivate", QString::number(window)}) && QTest::qWaitFor(inFront, 500)) {
                return front;
            }
        }
        qWarning() << "window" << window << "did not come to the front; front:" << platform->lastWindow();
        return ForegroundWindow{};
    }

    // Changes a property of the window from another client, as its own program would; xprop has ended once
    // the server has the change. `format` as xprop takes it: 8u a UTF-8 text, 32c a number.
    static bool setProperty(const TestWindow* window, const char* name, const char* format, const QString& value)
    {
        return runTool("xprop", {"-id", QString::number(window->id), "-f", name, format, "-set", name, value});
    }

    // Starts a test window (then windows.back()), brings it to the front and probes it there (invalid when any
    // step failed).
    ForegroundWindow showInFront(const QStringList& args)
    {
        TestWindow* window = windows.emplace_back(std::make_unique<TestWindow>()).get();
        return window->start(QStringLiteral(X11_TEST_WINDOW), args) ? bringToFront(window->id) : ForegroundWindow{};
    }

private slots:
    void initTestCase()
    {
        helperExe = QFileInfo(QStringLiteral(X11_TEST_WINDOW)).canonicalFilePath();
        QVERIFY(!helperExe.isEmpty());
        // The program's way: a connection of its own, which keeps its answer until told of a change.
        platform = X11Platform::withOwnConnection(QStringList{apps.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
    }

    void cleanup() { windows.clear(); }

    void frontWindowOfAnotherProcess()
    {
        // The probe reads 16 KiB of a title (more than is stored) and never cuts a character: 5461 "éa" of three
        // bytes fit, and the next é would pass 16 KiB by one byte.
        const QString longTitle = QStringLiteral("\u00e9a").repeated(8000);
        const QString readPart = longTitle.left(2 * 5461);
        const QString latin1 = QStringLiteral("Caf\u00e9 in Latin-1");
        const QString plain = "probe,VerrinPlainHelper";
        // The window's arguments, then its title and application name.
        const std::tuple<QStringList, QString, QString> cases[] = {
            {{"--class", plain, "--title", longTitle}, readPart, "VerrinPlainHelper"},
            // WM_NAME typed STRING is Latin-1: each UTF-8 byte the helper wrote is one character.
            {{"--class", plain, "--wm-name", latin1}, QString::fromLatin1(latin1.toUtf8()), "VerrinPlainHelper"},
            // Without _NET_WM_PID the pid comes from the X-Resource extension; without a class the name from the file.
            {{"--class", "", "--no-pid", "--title", "Classless"}, "Classless", QFileInfo(helperExe).fileName()},
        };
        for (const auto& [args, title, name] : cases) {
            const ForegroundWindow front = showInFront(args);
            QVERIFY2(front.valid, qPrintable(title.left(80)));
            QCOMPARE(front.title, title);
            QCOMPARE(front.pid, windows.back()->pid());
            QCOMPARE(front.path, helperExe);
            QCOMPARE(front.name, name);
            cleanup();
        }
    }

    void titleChangesAndWindowsGoing()
    {
        QVERIFY(showInFront({"--title", "First"}).valid);
        TestWindow* first = windows.back().get();
        QCOMPARE(showInFront({"--title", "Before"}).title, QStringLiteral("Before"));
        TestWindow* other = windows.back().get();
        // While the recorder listens, the change is announced and no sample is needed before it.
        int announced = 0;
        QVERIFY(platform->announceChanges([&announced] { ++announced; }));
        // Under load the window manager may still be finishing the switch; a probe takes in its last change.
        QTRY_VERIFY((platform->foregroundWindow(), !platform->answerMayHaveChanged()));
        announced = 0;
        QVERIFY(setProperty(other, "_NET_WM_NAME", "8u", QStringLiteral("After \u2192 change")));
        QTRY_VERIFY(announced > 0);
        QVERIFY(platform->answerMayHaveChanged());
        // Only the two title properties are asked again.
        xcb_connection_t* conn = platform->connection();
        const auto beforeTitle = xcb_no_operation(conn).sequence;
        QCOMPARE(platform->foregroundWindow().title, QStringLiteral("After \u2192 change"));
        QCOMPARE(xcb_no_operation(conn).sequence - beforeTitle, 3u);
        QVERIFY(!platform->answerMayHaveChanged());
        // Other properties of the front window change all the time (GTK's user time at every key press); they
        // cost no request and announce nothing. The round trip makes sure the change's event is in first.
        QVERIFY(setProperty(other, "_NET_WM_USER_TIME", "32c", "1"));
        const auto cookie = xcb_get_input_focus(conn);
        free(xcb_get_input_focus_reply(conn, cookie, nullptr));
        QVERIFY(!platform->answerMayHaveChanged());
        QCOMPARE(platform->foregroundWindow().title, QStringLiteral("After \u2192 change"));
        QCOMPARE(xcb_no_operation(conn).sequence, cookie.sequence + 1);
        // A change read while waiting for another answer counts as well.
        QVERIFY(setProperty(other, "_NET_WM_NAME", "8u", ""));
        free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr));
        QVERIFY(platform->answerMayHaveChanged());
        QTRY_VERIFY(platform->foregroundWindow().valid && platform->foregroundWindow().title.isEmpty());

        // Back to a window seen before: its own answer, not the last one's, and what changed behind. A
        // window behind changing its title announces nothing; another window coming to the front does.
        QVERIFY(setProperty(first, "_NET_WM_NAME", "8u", "First, renamed behind"));
        free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr));
        QVERIFY(!platform->answerMayHaveChanged());
        announced = 0;
        QVERIFY(runXdotool({"windowactivate", QString::number(first->id)}));
        QTRY_VERIFY(announced > 0);
        QCOMPARE(bringToFront(first->id).title, QStringLiteral("First, renamed behind"));
        QVERIFY(platform->announceChanges({}));
        // Back to a window unchanged since: asking which window is active, but not about the window.
        const auto before = xcb_no_operation(conn).sequence;
        QCOMPARE(bringToFront(other->id).title, QString());
        QVERIFY2(xcb_no_operation(conn).sequence - before < 5, "the window was asked about again");
        first->stop(); // so that nothing else takes the front when the other window goes
        QVERIFY(bringToFront(other->id).valid);
        QVERIFY(runXdotool({"windowunmap", QString::number(other->id)}));
        QTRY_VERIFY(!platform->foregroundWindow().valid);
        QVERIFY(runXdotool({"windowmap", QString::number(other->id)}));
        QVERIFY(bringToFront(other->id).valid);
        // Destroyed: openbox may still name it as active; the questions about it then fail with BadWindow.
        other->stop();
        QTRY_VERIFY(!platform->foregroundWindow().valid && platform->lastWindow() == XCB_NONE);
    }

    void activeWindowPropertyMissing()
    {
        // Without an EWMH window manager there is no _NET_ACTIVE_WINDOW; the input focus tells instead.
        QVERIFY(showInFront({"--title", "Focused"}).valid);
        TestWindow* window = windows.back().get();
        xcb_connection_t* conn = platform->connection();
        const auto focus = [conn] {
            xcb_get_input_focus_reply_t* reply = xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr);
            const xcb_window_t window = reply ? reply->focus : XCB_NONE;
            free(reply);
            return window;
        };
        QTRY_COMPARE(focus(), window->id);
        QVERIFY(runTool("xprop", {"-root", "-remove", "_NET_ACTIVE_WINDOW"}));
        QCOMPARE(focus(), window->id); // also makes sure the deletion's event is in

        QCOMPARE(platform->foregroundWindow().title, QStringLiteral("Focused"));
        QCOMPARE(platform->lastWindow(), window->id);
    }

    void idleGrowsAndResets()
    {
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, 15000);
        QVERIFY(runXdotool({"key", "shift"}));
        QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, 5000);
    }

    void windowIconOfAtLeast32Pixels()
    {
        // The helper offers 16 and 48 pixels.
        const ForegroundWindow front = showInFront({"--class", "iconic,VerrinIconic", "--icon", "--title", "Icon"});
        QCOMPARE(platform->iconForPath(front.path).availableSizes(), QList<QSize>{QSize(48, 48)});
    }

    void factoryInAnX11Session()
    {
        // A Wayland session never gets this backend, see TestPlatformFactory.
        std::unique_ptr<Platform> x11 = createPlatform();
        QVERIFY(x11->isSupported() && dynamic_cast<X11Platform*>(x11.get()));
    }

    // A switch of windows changes root properties that Qt's own connection no longer hears; the work area still
    // reaches Qt through the probe's connection, and Qt listens again once the platform is gone.
    void qtHearsOnlyTheRootChangesItActsOn()
    {
        xcb_connection_t* qt = X11Platform::qtConnection();
        const xcb_window_t root = platform->rootWindow();
        const auto qtListens = [qt, root] {
            auto* reply = xcb_get_window_attributes_reply(qt, xcb_get_window_attributes(qt, root), nullptr);
            const bool listens = reply && (reply->your_event_mask & XCB_EVENT_MASK_PROPERTY_CHANGE);
            free(reply);
            return listens;
        };
        QVERIFY(!qtListens());

        QScreen* screen = QGuiApplication::primaryScreen();
        const QRect narrower = screen->geometry().adjusted(0, 0, -100, -50); // the one screen starts at 0,0
        const QString value = QStringLiteral("0,0,%1,%2").arg(narrower.width()).arg(narrower.height());
        QVERIFY(runTool("xprop", {"-root", "-f", "_NET_WORKAREA", "32c", "-set", "_NET_WORKAREA", value}));
        // A probe reads what the server announced.
        QTRY_COMPARE((platform->foregroundWindow(), screen->availableGeometry()), narrower);

        platform.reset();
        QVERIFY(qtListens());
    }
};

QTEST_MAIN(TestX11Platform)
#include "TestX11Platform.moc"
