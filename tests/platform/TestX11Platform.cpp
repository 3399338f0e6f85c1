// The X11 backend against a real X server with a real window manager (run under run-x11.sh).
#include "platform/x11/X11Platform.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include <memory>
#include <vector>

namespace {
// One x11_test_window process; ended by the test at the latest in cleanup().
class TestWindow
{
public:
    bool start(const QStringList& args, const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
    {
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(X11_TEST_WINDOW), args);
        if (!process.waitForStarted(10000)) {
            return false;
        }
        const QByteArray line = readLine();
        if (!line.startsWith("window ")) {
            return false;
        }
        id = line.mid(7).trimmed().toUInt();
        return id != 0;
    }
    bool command(const QString& text)
    {
        process.write(text.toUtf8() + '\n');
        return readLine() == "ok";
    }
    void stop()
    {
        if (process.state() == QProcess::NotRunning) {
            return;
        }
        process.closeWriteChannel();
        if (!process.waitForFinished(5000)) {
            process.kill();
            process.waitForFinished(5000);
        }
    }
    qint64 pid() const { return process.processId(); }

    QProcess process;
    xcb_window_t id = 0;

private:
    QByteArray readLine()
    {
        for (int i = 0; i < 100 && !process.canReadLine(); ++i) {
            if (!process.waitForReadyRead(100) && process.state() == QProcess::NotRunning) {
                break;
            }
        }
        return process.readLine().trimmed();
    }
};

bool runTool(const QStringList& args)
{
    QProcess tool;
    tool.start(QStringLiteral("xdotool"), args);
    if (!tool.waitForFinished(10000)) {
        tool.kill();
        tool.waitForFinished(5000);
        return false;
    }
    if (tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0) {
        qWarning() << "xdotool" << args << "failed:" << tool.readAllStandardError();
        return false;
    }
    return true;
}

bool requestActivation(xcb_window_t window)
{
    return runTool({QStringLiteral("windowactivate"), QString::number(window)});
}

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

private slots:
    void initTestCase();
    void cleanup();
    void frontWindowOfAnotherProcess_data();
    void frontWindowOfAnotherProcess();
    void launchedDesktopFileWins();
    void ownWindowAndTitleChange();
    void switchingWindows();
    void noActiveWindow();
    void vanishedWindowIsSkipped();
    void inputFocusWithoutActiveWindowProperty();
    void idleGrowsAndResets_data();
    void idleGrowsAndResets();
    void icons();
    void hideApplication();
    void factoryChoosesBySession();

private:
    xcb_window_t frontWindowId()
    {
        platform->foregroundWindow();
        return platform->lastWindow();
    }
    // Asks the window manager to activate the window and waits (bounded) until the backend sees it in
    // front. The request is repeated now and then: a window manager busy mapping windows may drop one.
    bool bringToFront(xcb_window_t window)
    {
        for (int attempt = 0; attempt < 40; ++attempt) {
            if (requestActivation(window) && QTest::qWaitFor([&] { return frontWindowId() == window; }, 500)) {
                return true;
            }
        }
        qWarning() << "window" << Qt::hex << window << "did not come to the front;" << describeFront();
        return false;
    }
    // The probe of the given window once it is steadily in front (window managers pass through
    // "nothing active" while switching); an invalid result when it never is.
    ForegroundWindow frontOf(xcb_window_t window)
    {
        ForegroundWindow front;
        (void)QTest::qWaitFor(
            [&] {
                front = platform->foregroundWindow();
                return front.valid && platform->lastWindow() == window;
            },
            5000);
        return front;
    }
    // What is in front, for failure messages.
    QByteArray describeFront()
    {
        const ForegroundWindow w = platform->foregroundWindow();
        return QStringLiteral("front: window 0x%1 valid %2 pid %3 name \"%4\" title \"%5\"")
            .arg(platform->lastWindow(), 0, 16)
            .arg(w.valid)
            .arg(w.pid)
            .arg(w.name, w.title.left(80))
            .toUtf8();
    }
    TestWindow* startWindow(const QStringList& args,
                            const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment());

    QTemporaryDir apps;
    QString helperExe;
    std::unique_ptr<X11Platform> platform;
    std::vector<std::unique_ptr<TestWindow>> windows;
};

void TestX11Platform::initTestCase()
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
    writeFile(apps.filePath(QStringLiteral("no-icon.desktop")), "[Desktop Entry]\nType=Application\nName=No Icon\n");

    helperExe = QFileInfo(QStringLiteral(X11_TEST_WINDOW)).canonicalFilePath();
    QVERIFY(!helperExe.isEmpty());
    platform = std::make_unique<X11Platform>(X11Platform::qtConnection(), QStringList{apps.path()});
    QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));

    // The window manager may still be starting up; once it has activated a window it is ready.
    TestWindow* warmUp = startWindow({"--title", "Warming up"});
    QVERIFY(warmUp);
    QVERIFY(bringToFront(warmUp->id));
    warmUp->stop();
    windows.clear();
}

void TestX11Platform::cleanup()
{
    for (auto& window : windows) {
        window->stop();
    }
    windows.clear();
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        widget->close();
    }
}

TestWindow* TestX11Platform::startWindow(const QStringList& args, const QProcessEnvironment& env)
{
    windows.push_back(std::make_unique<TestWindow>());
    TestWindow* window = windows.back().get();
    if (!window->start(args, env)) {
        qWarning() << "test window did not start:" << window->process.readAllStandardError();
        return nullptr;
    }
    return window;
}

void TestX11Platform::frontWindowOfAnotherProcess_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("path"); // "" means the helper's executable
    QTest::addColumn<QString>("name");

    const QString helperClass = QStringLiteral("probe,VerrinPlainHelper");
    QTest::newRow("plain") << QStringList{"--class", helperClass, "--title", "Plain window"} << "Plain window"
                           << QString() << "VerrinPlainHelper";
    const QString unicode = QStringLiteral("Zeit \u2014 \u6642\u9593 \u2713 \u00dcn\u00efc\u00f6d\u00e9 \U0001F600");
    QTest::newRow("unicode") << QStringList{"--class", helperClass, "--title", unicode} << unicode << QString()
                             << "VerrinPlainHelper";
    const QString quoted = QStringLiteral("It's \"quoted\"; DROP TABLE entries; --");
    QTest::newRow("quote") << QStringList{"--class", helperClass, "--title", quoted} << quoted << QString()
                           << "VerrinPlainHelper";
    QString longTitle;
    for (int i = 0; longTitle.size() < 20000; ++i) {
        longTitle += QStringLiteral("segment %1 \u00e9 ").arg(i);
    }
    QTest::newRow("long title") << QStringList{"--class", helperClass, "--title", longTitle} << longTitle << QString()
                                << "VerrinPlainHelper";
    QTest::newRow("WM_NAME only") << QStringList{"--class", helperClass, "--wm-name", "Caf\u00e9 in Latin-1"}
                                  << QStringLiteral("Caf\u00e9 in Latin-1") << QString() << "VerrinPlainHelper";
    QTest::newRow("no _NET_WM_PID") << QStringList{"--class", helperClass, "--no-pid", "--title", "Pid from X-Resource"}
                                    << "Pid from X-Resource" << QString() << "VerrinPlainHelper";
    QTest::newRow("StartupWMClass") << QStringList{"--class", "probe,VerrinProbeApp", "--title", "Entry"} << "Entry"
                                    << apps.filePath(QStringLiteral("verrin-probe.desktop")) << "Probe Application";
    QTest::newRow("desktop id") << QStringList{"--class", "probe,VERRIN-PROBE", "--title", "Id"} << "Id"
                                << apps.filePath(QStringLiteral("verrin-probe.desktop")) << "Probe Application";
    QTest::newRow("no class") << QStringList{"--class", "", "--title", "Classless"} << "Classless" << QString()
                              << QFileInfo(helperExe).fileName();
}

void TestX11Platform::frontWindowOfAnotherProcess()
{
    QFETCH(QStringList, args);
    QFETCH(QString, title);
    QFETCH(QString, path);
    QFETCH(QString, name);

    TestWindow* window = startWindow(args);
    QVERIFY(window);
    QVERIFY(bringToFront(window->id));
    const ForegroundWindow front = frontOf(window->id);
    QVERIFY(front.valid);
    QCOMPARE(front.title, title);
    QCOMPARE(front.pid, window->pid());
    QCOMPARE(front.path, path.isEmpty() ? helperExe : path);
    QCOMPARE(front.name, name);
}

void TestX11Platform::launchedDesktopFileWins()
{
    const QString launched = apps.filePath(QStringLiteral("launched.desktop"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("GIO_LAUNCHED_DESKTOP_FILE"), launched);
    // Even with a matching StartupWMClass, the file the launcher used says best what was started.
    TestWindow* window = startWindow({"--class", "probe,VerrinProbeApp", "--title", "Launched"}, env);
    QVERIFY(window);
    QVERIFY(bringToFront(window->id));
    const ForegroundWindow front = frontOf(window->id);
    QCOMPARE(front.title, QStringLiteral("Launched"));
    QCOMPARE(front.path, launched);
    QCOMPARE(front.name, QStringLiteral("Launched Application"));
}

void TestX11Platform::ownWindowAndTitleChange()
{
    QWidget widget;
    widget.setWindowTitle(QStringLiteral("In-process \u00fcnic\u00f6de"));
    widget.resize(200, 100);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    QVERIFY(bringToFront(xcb_window_t(widget.winId())));
    const ForegroundWindow front = frontOf(xcb_window_t(widget.winId()));
    QCOMPARE(front.title, widget.windowTitle());
    QCOMPARE(front.pid, QCoreApplication::applicationPid());
    QCOMPARE(front.path, QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());

    widget.setWindowTitle(QStringLiteral("Renamed"));
    QTRY_COMPARE(platform->foregroundWindow().title, QStringLiteral("Renamed"));

    TestWindow* other = startWindow({"--title", "Before"});
    QVERIFY(other);
    QVERIFY(bringToFront(other->id));
    QTRY_COMPARE(platform->foregroundWindow().title, QStringLiteral("Before"));
    QVERIFY(other->command(QStringLiteral("title After \u2192 change")));
    QTRY_COMPARE(platform->foregroundWindow().title, QStringLiteral("After \u2192 change"));
    QVERIFY(other->command(QStringLiteral("title ")));
    QTRY_VERIFY(platform->foregroundWindow().valid && platform->foregroundWindow().title.isEmpty());
}

void TestX11Platform::switchingWindows()
{
    TestWindow* first = startWindow({"--class", "first,VerrinFirst", "--title", "First"});
    TestWindow* second = startWindow({"--class", "second,VerrinSecond", "--title", "Second"});
    QVERIFY(first && second);
    for (int round = 0; round < 3; ++round) {
        QVERIFY(bringToFront(first->id));
        const ForegroundWindow a = frontOf(first->id);
        QCOMPARE(a.title, QStringLiteral("First"));
        QCOMPARE(a.pid, first->pid());
        QCOMPARE(a.name, QStringLiteral("VerrinFirst"));
        QVERIFY(bringToFront(second->id));
        const ForegroundWindow b = frontOf(second->id);
        QCOMPARE(b.title, QStringLiteral("Second"));
        QCOMPARE(b.pid, second->pid());
        QCOMPARE(b.name, QStringLiteral("VerrinSecond"));
    }
}

void TestX11Platform::noActiveWindow()
{
    TestWindow* window = startWindow({"--title", "Going away"});
    QVERIFY(window);
    QVERIFY(bringToFront(window->id));
    QTRY_VERIFY(platform->foregroundWindow().valid);
    QVERIFY(window->command(QStringLiteral("unmap")));
    QTRY_VERIFY(!platform->foregroundWindow().valid);
    QCOMPARE(platform->foregroundWindow().title, QString());

    QVERIFY(window->command(QStringLiteral("map")));
    QVERIFY(bringToFront(window->id));
    QTRY_VERIFY(platform->foregroundWindow().valid);
    // Destroyed: openbox may still name it as active; the questions about it then fail with BadWindow
    // (logged; the exact lines depend on when the window goes, see vanishedWindowIsSkipped).
    window->stop();
    QTRY_VERIFY(!platform->foregroundWindow().valid && platform->lastWindow() == XCB_NONE);
}

void TestX11Platform::vanishedWindowIsSkipped()
{
    // The active window disappears between the two round trips of a probe: here a window id that
    // does not exist stands in the root property, so every request about it fails with BadWindow.
    xcb_connection_t* conn = platform->connection();
    xcb_intern_atom_reply_t* atom =
        xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
    QVERIFY(atom);
    const xcb_atom_t activeAtom = atom->atom;
    free(atom);
    const xcb_window_t gone = xcb_generate_id(conn); // allocated but never created
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, platform->rootWindow(), activeAtom, XCB_ATOM_WINDOW, 32, 1, &gone);
    xcb_flush(conn);

    // A platform of its own, so warnings of earlier tests do not mute this one's.
    X11Platform probe(X11Platform::qtConnection(), QStringList{apps.path()});
    const QRegularExpression badWindow(QStringLiteral("X error 3 .* of window 0x%1").arg(gone, 0, 16));
    for (int i = 0; i < 5; ++i) { // pid, both titles, the class and the attributes
        QTest::ignoreMessage(QtWarningMsg, badWindow);
    }
    QVERIFY(!probe.foregroundWindow().valid);
    // The next probes neither crash nor repeat the warnings.
    QTest::failOnWarning(QRegularExpression(QStringLiteral("X error")));
    QVERIFY(!probe.foregroundWindow().valid);
    QVERIFY(!probe.foregroundWindow().valid);
    QVERIFY(probe.idleSeconds() >= 0);

    TestWindow* window = startWindow({"--title", "Back"});
    QVERIFY(window);
    QVERIFY(bringToFront(window->id));
    QTRY_COMPARE(platform->foregroundWindow().title, QStringLiteral("Back"));
}

void TestX11Platform::inputFocusWithoutActiveWindowProperty()
{
    // Without an EWMH window manager there is no _NET_ACTIVE_WINDOW; the input focus tells instead.
    TestWindow* window = startWindow({"--title", "Focused"});
    QVERIFY(window);
    QVERIFY(bringToFront(window->id));
    xcb_connection_t* conn = platform->connection();
    const auto focus = [conn] {
        xcb_get_input_focus_reply_t* reply = xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr);
        const xcb_window_t window = reply ? reply->focus : XCB_NONE;
        free(reply);
        return window;
    };
    QTRY_COMPARE(focus(), window->id);

    xcb_intern_atom_reply_t* atom =
        xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
    QVERIFY(atom);
    xcb_delete_property(conn, platform->rootWindow(), atom->atom);
    free(atom);
    QCOMPARE(focus(), window->id); // also makes sure the server has deleted the property

    const ForegroundWindow front = platform->foregroundWindow();
    QCOMPARE(platform->lastWindow(), window->id);
    QCOMPARE(front.title, QStringLiteral("Focused"));
    QCOMPARE(front.pid, window->pid());
}

void TestX11Platform::idleGrowsAndResets_data()
{
    QTest::addColumn<QStringList>("input");
    QTest::newRow("pointer") << QStringList{"mousemove_relative", "--", "7", "7"};
    QTest::newRow("keyboard") << QStringList{"key", "shift"};
}

void TestX11Platform::idleGrowsAndResets()
{
    QFETCH(QStringList, input);
    QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, 15000);
    QVERIFY(runTool(input));
    QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, 5000);
}

void TestX11Platform::icons()
{
    TestWindow* window = startWindow({"--class", "iconic,VerrinIconic", "--icon", "--title", "Icon"});
    QVERIFY(window);
    QVERIFY(bringToFront(window->id));
    const ForegroundWindow front = frontOf(window->id);
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

void TestX11Platform::hideApplication()
{
    QWidget first;
    QWidget second;
    first.show();
    second.show();
    QVERIFY(QTest::qWaitForWindowExposed(&second));
    platform->hideApplication();
    QVERIFY(!first.isVisible());
    QVERIFY(!second.isVisible());
}

void TestX11Platform::factoryChoosesBySession()
{
    std::unique_ptr<Platform> x11 = createPlatform();
    QVERIFY(x11->isSupported());
    QVERIFY(dynamic_cast<X11Platform*>(x11.get()));

    qputenv("WAYLAND_DISPLAY", "wayland-0");
    QTest::ignoreMessage(QtWarningMsg, "Recording is not supported in a Wayland session yet");
    std::unique_ptr<Platform> wayland = createPlatform();
    qunsetenv("WAYLAND_DISPLAY");
    QVERIFY(!wayland->isSupported());
    QCOMPARE(wayland->unsupportedReason(), QStringLiteral("Recording is not supported in a Wayland session yet"));
    QVERIFY(!wayland->foregroundWindow().valid);
    QCOMPARE(wayland->idleSeconds(), 0);
}

QTEST_MAIN(TestX11Platform)
#include "TestX11Platform.moc"
