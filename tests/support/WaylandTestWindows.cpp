#include "WaylandTestWindows.h"

#include "TestKit.h"
#include "platform/Platform.h"

bool writeEditorEntry(const QString& folder)
{
    return writeFile(folder + "/verrin-test-editor.desktop",
                     "[Desktop Entry]\nType=Application\nName=Test Editor\nExec=/bin/true\n");
}

namespace {
constexpr char editorTitle[] = "Notes — draft 1";
constexpr char viewerTitle[] = "Report 'Q3' \"final\"";
} // namespace

void checkFrontWindows(WaylandTestWindows& windows,
                       const std::function<bool(const char* appId, const char* title)>& toFront,
                       const QList<std::tuple<Platform*, QString, bool>>& backends)
{
    const QString entry = windows.applications.filePath("verrin-test-editor.desktop");
    for (const auto& [appId, title] :
         {std::pair{"verrin-test-editor", editorTitle}, std::pair{"verrin-test-viewer", viewerTitle},
          std::pair{"verrin-test-editor", editorTitle}}) {
        QVERIFY(toFront(appId, title));
        const bool editor = QString(appId) == "verrin-test-editor";
        for (const auto& [platform, viewerPath, knowsPid] : backends) {
            QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString(title), windows.timeoutMs);
            const ForegroundWindow front = platform->foregroundWindow();
            QCOMPARE(front.name, editor ? QString("Test Editor") : QString(appId));
            QCOMPARE(front.path, editor ? entry : viewerPath);
            QCOMPARE(front.pid, knowsPid ? windows.pid(appId) : 0);
        }
    }
    windows.retitle("verrin-test-editor", "Notes — draft 2 ✓");
    for (const auto& [platform, viewerPath, knowsPid] : backends) {
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Notes — draft 2 ✓"), windows.timeoutMs);
        QCOMPARE(platform->foregroundWindow().path, entry);
    }
}

bool WaylandTestWindows::openEditorAndViewer()
{
    return writeEditorEntry(applications.path()) && open("verrin-test-editor", editorTitle) &&
           open("verrin-test-viewer", viewerTitle);
}

void WaylandTestWindows::closeAll()
{
    while (!windows.empty()) {
        close(windows.begin()->first);
    }
}

bool WaylandTestWindows::open(const QString& appId, const QString& title)
{
    QProcess* window = (windows[appId] = std::make_unique<QProcess>()).get();
    window->setProcessEnvironment(environment);
    window->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    window->start(program, {appId, title});
    if (waitForLine(*window, timeoutMs) == "mapped") {
        return true;
    }
    qWarning() << "the test window" << appId << "did not map";
    return false;
}

void WaylandTestWindows::close(const QString& appId)
{
    endProcess(*windows.at(appId), true); // end of input closes it
    windows.erase(appId);
}

HeadlessCompositor::~HeadlessCompositor()
{
    windows.closeAll();
    endProcess(compositor);
}

bool HeadlessCompositor::launch(const QString& program, const QStringList& args, QProcessEnvironment env,
                                const std::function<bool()>& ready, QString* whyNot)
{
    env.insert("PATH", qEnvironmentVariable("PATH"));
    env.insert("HOME", runtime.path());
    env.insert("XDG_RUNTIME_DIR", runtime.path());
    compositor.setProcessEnvironment(env);
    compositor.setProcessChannelMode(QProcess::MergedChannels);
    compositor.start(program, args);
    if (!QTest::qWaitFor([&] { return ready() || compositor.state() == QProcess::NotRunning; }, windows.timeoutMs) ||
        compositor.state() == QProcess::NotRunning) {
        *whyNot = program + " cannot start here: " + QString::fromLocal8Bit(compositor.readAll().right(2000));
        endProcess(compositor);
        return false;
    }
    windows.environment = QProcessEnvironment::systemEnvironment();
    windows.environment.insert("WAYLAND_DISPLAY", wayland);
    windows.environment.insert("QT_QPA_PLATFORM", "wayland");
    windows.environment.insert("XDG_RUNTIME_DIR", clientRuntime.path());
    windows.environment.remove("DISPLAY");
    return true;
}
