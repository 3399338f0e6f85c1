// The X11 backend against a real X server with a real window manager (run under run-x11.sh).
#include "TestKit.h"
#include "X11TestWindow.h"
#include "x11/X11Platform.h"

#include <QApplication>
#include <QImage>
#include <QWidget>

namespace {
void writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(data);
}

QImage pixels(const QIcon& icon)
{
    const QList<QSize> sizes = icon.availableSizes();
    return icon.pixmap(sizes.isEmpty() ? QSize(32, 32) : sizes.first())
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
}
} // namespace

class TestX11Platform : public QObject
{
    Q_OBJECT

    QTemporaryDir apps;
    QString helperExe;
    std::unique_ptr<X11Platform> platform;
    std::vector<std::unique_ptr<TestWindow>> windows;

    // Asks the window manager to activate the window and probes it once the backend sees it steadily in
    // front (window managers pass through "nothing active" while switching); invalid when it never is.
    // The request is repeated now and then: a window manager busy mapping windows may drop one.
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

    // Starts a test window, brings it to the front and probes it there (invalid when any step failed).
    ForegroundWindow showInFront(const QStringList& args, TestWindow** started = nullptr,
                                 const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
    {
        TestWindow* window = windows.emplace_back(std::make_unique<TestWindow>()).get();
        if (started) {
            *started = window;
        }
        if (!window->start(QStringLiteral(X11_TEST_WINDOW), args, env)) {
            qWarning() << "test window did not start:" << window->process.readAllStandardError();
            return ForegroundWindow{};
        }
        return bringToFront(window->id);
    }

    xcb_atom_t activeWindowAtom()
    {
        xcb_connection_t* conn = platform->connection();
        xcb_intern_atom_reply_t* reply =
            xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
        const xcb_atom_t atom = reply ? reply->atom : XCB_NONE;
        free(reply);
        return atom;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(apps.isValid());
        writeFile(apps.filePath(QStringLiteral("verrin-probe.desktop")),
                  "[Desktop Entry]\nType=Application\nName=Probe Application\nExec=/nonexistent/probe %U\n"
                  "StartupWMClass=VerrinProbeApp\nIcon=" +
                      apps.filePath(QStringLiteral("probe.png")).toUtf8() + "\n");
        QImage green(24, 24, QImage::Format_ARGB32);
        green.fill(Qt::green);
        QVERIFY(green.save(apps.filePath(QStringLiteral("probe.png"))));
        writeFile(apps.filePath(QStringLiteral("launched.desktop")),
                  "[Desktop Entry]\nType=Application\nName=Launched Application\nExec=launched\n");
        writeFile(apps.filePath(QStringLiteral("no-icon.desktop")),
                  "[Desktop Entry]\nType=Application\nName=No Icon\n");

        helperExe = QFileInfo(QStringLiteral(X11_TEST_WINDOW)).canonicalFilePath();
        QVERIFY(!helperExe.isEmpty());
        // The program's way: a connection of its own, which keeps its answer until told of a change.
        platform = X11Platform::withOwnConnection(QStringList{apps.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
        // The window manager may still be starting up; once it has activated a window it is ready.
        QVERIFY(showInFront({"--title", "Warming up"}).valid);
        cleanup();
    }

    void cleanup()
    {
        windows.clear();
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            widget->close();
        }
    }

    void frontWindowOfAnotherProcess()
    {
        QString longTitle;
        for (int i = 0; longTitle.size() < 20000; ++i) {
            longTitle += QStringLiteral("segment %1 \u00e9 ").arg(i);
        }
        // The probe reads 16 KiB of a title, far more than is stored, and never cuts a character.
        QString readPart = longTitle;
        while (readPart.toUtf8().size() > 16 * 1024) {
            readPart.chop(1);
        }
        const QString unicode =
            QStringLiteral("Zeit \u2014 \u6642\u9593 \u2713 \u00dcn\u00efc\u00f6d\u00e9 \U0001F600");
        const QString quoted = QStringLiteral("It's \"quoted\"; DROP TABLE entries; --");
        const QString latin1 = QStringLiteral("Caf\u00e9 in Latin-1");
        const QString probe = apps.filePath(QStringLiteral("verrin-probe.desktop"));
        const QString launched = apps.filePath(QStringLiteral("launched.desktop"));
        const QString plain = "probe,VerrinPlainHelper";
        const struct
        {
            QStringList args;
            QString title;
            QString launchedFile; // GIO_LAUNCHED_DESKTOP_FILE in the window's environment
            QString path;         // "" means the helper's executable
            QString name;
        } cases[] = {
            {{"--class", plain, "--title", "Plain window"}, "Plain window", "", "", "VerrinPlainHelper"},
            {{"--class", plain, "--title", unicode}, unicode, "", "", "VerrinPlainHelper"},
            {{"--class", plain, "--title", quoted}, quoted, "", "", "VerrinPlainHelper"},
            {{"--class", plain, "--title", longTitle}, readPart, "", "", "VerrinPlainHelper"},
            // WM_NAME typed STRING is Latin-1: each UTF-8 byte the helper wrote is one character.
            {{"--class", plain, "--wm-name", latin1},
             QString::fromLatin1(latin1.toUtf8()),
             "",
             "",
             "VerrinPlainHelper"},
            // Without _NET_WM_PID the pid comes from the X-Resource extension.
            {{"--class", plain, "--no-pid", "--title", "No pid"}, "No pid", "", "", "VerrinPlainHelper"},
            {{"--class", "probe,VerrinProbeApp", "--title", "Entry"}, "Entry", "", probe, "Probe Application"},
            {{"--class", "probe,VERRIN-PROBE", "--title", "Id"}, "Id", "", probe, "Probe Application"},
            // Even with a matching StartupWMClass, the file the launcher used says best what was started.
            {{"--class", "probe,VerrinProbeApp", "--title", "Launched"},
             "Launched",
             launched,
             launched,
             "Launched Application"},
            {{"--class", "", "--title", "Classless"}, "Classless", "", "", QFileInfo(helperExe).fileName()},
        };
        for (const auto& c : cases) {
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            if (!c.launchedFile.isEmpty()) {
                env.insert(QStringLiteral("GIO_LAUNCHED_DESKTOP_FILE"), c.launchedFile);
            }
            TestWindow* window = nullptr;
            const ForegroundWindow front = showInFront(c.args, &window, env);
            QVERIFY2(front.valid, qPrintable(c.title.left(80)));
            QCOMPARE(front.title, c.title);
            QCOMPARE(front.pid, window->pid());
            QCOMPARE(front.path, c.path.isEmpty() ? helperExe : c.path);
            QCOMPARE(front.name, c.name);
            cleanup();
        }
    }

    void ownWindowAndTitleChange()
    {
        QWidget widget;
        widget.setWindowTitle(QStringLiteral("In-process \u00fcnic\u00f6de"));
        widget.resize(200, 100);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const ForegroundWindow front = bringToFront(xcb_window_t(widget.winId()));
        QCOMPARE(front.title, widget.windowTitle());
        QCOMPARE(front.pid, QCoreApplication::applicationPid());
        QCOMPARE(front.path, QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
        widget.setWindowTitle(QStringLiteral("Renamed"));
        QTRY_COMPARE(platform->foregroundWindow().title, QStringLiteral("Renamed"));

        TestWindow* other = nullptr;
        QCOMPARE(showInFront({"--title", "Before"}, &other).title, QStringLiteral("Before"));
        QVERIFY(other->command(QStringLiteral("title After \u2192 change")));
        QTRY_COMPARE(platform->foregroundWindow().title, QStringLiteral("After \u2192 change"));
        QVERIFY(other->command(QStringLiteral("title ")));
        QTRY_VERIFY(platform->foregroundWindow().valid && platform->foregroundWindow().title.isEmpty());

        // Back to a window seen before: its own answer, not the last one's.
        const ForegroundWindow back = bringToFront(xcb_window_t(widget.winId()));
        QCOMPARE(back.title, QStringLiteral("Renamed"));
        QCOMPARE(back.pid, QCoreApplication::applicationPid());
    }

    void noActiveWindow()
    {
        TestWindow* window = nullptr;
        QVERIFY(showInFront({"--title", "Going away"}, &window).valid);
        QVERIFY(window->command(QStringLiteral("unmap")));
        QTRY_VERIFY(!platform->foregroundWindow().valid);
        QCOMPARE(platform->foregroundWindow().title, QString());

        QVERIFY(window->command(QStringLiteral("map")));
        QVERIFY(bringToFront(window->id).valid);
        // Destroyed: openbox may still name it as active; the questions about it then fail with BadWindow
        // (logged; the exact lines depend on when the window goes, see vanishedWindowIsSkipped).
        window->stop();
        QTRY_VERIFY(!platform->foregroundWindow().valid && platform->lastWindow() == XCB_NONE);
    }

    void vanishedWindowIsSkipped()
    {
        // The active window disappears between the two round trips of a probe: here a window id that
        // does not exist stands in the root property, so every request about it fails with BadWindow.
        // The probe talks over a connection that holds the server grabbed meanwhile, so the window
        // manager cannot name another window (or one an earlier test destroyed) in between.
        const xcb_atom_t activeAtom = activeWindowAtom();
        QVERIFY(activeAtom != XCB_NONE);
        xcb_connection_t* held = xcb_connect(nullptr, nullptr);
        QVERIFY(held && !xcb_connection_has_error(held));
        xcb_grab_server(held);
        const xcb_window_t gone = xcb_generate_id(held); // allocated but never created
        xcb_change_property(held, XCB_PROP_MODE_REPLACE, platform->rootWindow(), activeAtom, XCB_ATOM_WINDOW, 32, 1,
                            &gone);
        xcb_flush(held);
        {
            // A platform of its own, so warnings of earlier tests do not mute this one's.
            X11Platform probe(held, QStringList{apps.path()});
            const QRegularExpression badWindow(QStringLiteral("X error 3 .* of window 0x%1").arg(gone, 0, 16));
            for (int i = 0; i < 5; ++i) { // pid, both titles, the class and the attributes
                QTest::ignoreMessage(QtWarningMsg, badWindow);
            }
            const bool firstInvalid = !probe.foregroundWindow().valid;
            // The next probes neither crash nor repeat the warnings.
            QTest::failOnWarning(QRegularExpression(QStringLiteral("X error")));
            const bool laterInvalid = !probe.foregroundWindow().valid && !probe.foregroundWindow().valid;
            const bool idleRead = probe.idleSeconds() >= 0;
            xcb_ungrab_server(held);
            xcb_flush(held);
            QVERIFY(firstInvalid && laterInvalid && idleRead);
        }
        xcb_disconnect(held);
        QCOMPARE(showInFront({"--title", "Back"}).title, QStringLiteral("Back"));
    }

    void inputFocusWithoutActiveWindowProperty()
    {
        // Without an EWMH window manager there is no _NET_ACTIVE_WINDOW; the input focus tells instead.
        TestWindow* window = nullptr;
        QVERIFY(showInFront({"--title", "Focused"}, &window).valid);
        xcb_connection_t* conn = platform->connection();
        const auto focus = [conn] {
            xcb_get_input_focus_reply_t* reply = xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr);
            const xcb_window_t window = reply ? reply->focus : XCB_NONE;
            free(reply);
            return window;
        };
        QTRY_COMPARE(focus(), window->id);
        xcb_delete_property(conn, platform->rootWindow(), activeWindowAtom());
        QCOMPARE(focus(), window->id); // also makes sure the server has deleted the property

        const ForegroundWindow front = platform->foregroundWindow();
        QCOMPARE(platform->lastWindow(), window->id);
        QCOMPARE(front.title, QStringLiteral("Focused"));
        QCOMPARE(front.pid, window->pid());
    }

    void idleGrowsAndResets()
    {
        for (const QStringList& input : {QStringList{"mousemove_relative", "--", "7", "7"}, {"key", "shift"}}) {
            QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, 15000);
            QVERIFY(runXdotool(input));
            QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, 5000);
        }
    }

    void icons()
    {
        const ForegroundWindow front = showInFront({"--class", "iconic,VerrinIconic", "--icon", "--title", "Icon"});
        QCOMPARE(front.title, QStringLiteral("Icon"));
        const QIcon fromWindow = platform->iconForPath(front.path);
        QCOMPARE(fromWindow.availableSizes(), QList<QSize>{QSize(48, 48)});
        QCOMPARE(pixels(fromWindow).pixel(5, 5), qRgb(0, 0, 255));
        const QIcon fromEntry = platform->iconForPath(apps.filePath(QStringLiteral("verrin-probe.desktop")));
        QCOMPARE(pixels(fromEntry).pixel(5, 5), qRgb(0, 255, 0));

        // An icon name goes through the icon theme.
        QVERIFY(QDir().mkpath(apps.filePath(QStringLiteral("icons/verrintest/48x48/apps"))));
        writeFile(apps.filePath(QStringLiteral("icons/verrintest/index.theme")),
                  "[Icon Theme]\nName=verrintest\nDirectories=48x48/apps\n\n[48x48/apps]\nSize=48\nType=Fixed\n");
        QImage red(48, 48, QImage::Format_ARGB32);
        red.fill(Qt::red);
        QVERIFY(red.save(apps.filePath(QStringLiteral("icons/verrintest/48x48/apps/verrin-themed.png"))));
        writeFile(apps.filePath(QStringLiteral("themed.desktop")),
                  "[Desktop Entry]\nType=Application\nName=Themed\nIcon=verrin-themed\n");
        const QStringList savedPaths = QIcon::themeSearchPaths();
        const QString savedTheme = QIcon::themeName();
        QIcon::setThemeSearchPaths({apps.filePath(QStringLiteral("icons"))});
        QIcon::setThemeName(QStringLiteral("verrintest"));
        const QImage themed = pixels(platform->iconForPath(apps.filePath(QStringLiteral("themed.desktop"))));
        QIcon::setThemeSearchPaths(savedPaths);
        QIcon::setThemeName(savedTheme);
        QCOMPARE(themed.pixel(5, 5), qRgb(255, 0, 0));

        const QImage generic = pixels(QIcon(QStringLiteral(":/icons/res/app.png")));
        QVERIFY(!generic.isNull());
        QCOMPARE(pixels(platform->iconForPath(QStringLiteral("/usr/bin/never-seen-here"))), generic);
        QCOMPARE(pixels(platform->iconForPath(apps.filePath(QStringLiteral("no-icon.desktop")))), generic);
    }

    void hideApplicationAndFactory()
    {
        QWidget first;
        QWidget second;
        first.show();
        second.show();
        QVERIFY(QTest::qWaitForWindowExposed(&second));
        platform->hideApplication();
        QVERIFY(!first.isVisible() && !second.isVisible());
        // In an X11 session the factory gives this backend (a Wayland session never gets it, see
        // TestPlatformFactory).
        std::unique_ptr<Platform> x11 = createPlatform();
        QVERIFY(x11->isSupported() && dynamic_cast<X11Platform*>(x11.get()));
    }
};

QTEST_MAIN(TestX11Platform)
#include "TestX11Platform.moc"
