#include "WaylandTestWindows.h"

#include "TestKit.h"

#include <QDebug>

void endProcess(QProcess& process, bool closeInput)
{
    if (process.state() == QProcess::NotRunning) {
        return;
    }
    if (closeInput) {
        process.closeWriteChannel();
    } else {
        process.terminate();
    }
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(5000);
    }
}

void WaylandTestWindows::closeAll()
{
    while (!windows.empty()) {
        close(windows.front().get());
    }
}

WaylandTestWindows::Window* WaylandTestWindows::open(const QString& appId, const QString& title)
{
    Window* window = windows.emplace_back(std::make_unique<Window>()).get();
    window->appId = appId;
    window->process = std::make_unique<QProcess>();
    QProcessEnvironment env = environment;
    env.insert("QT_QPA_PLATFORM", "wayland");
    env.remove("DISPLAY");
    window->process->setProcessEnvironment(env);
    window->process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    window->process->start(program, {appId, title});
    if (!QTest::qWaitFor(
            [&] { return window->process->canReadLine() || window->process->state() == QProcess::NotRunning; },
            timeoutMs) ||
        !window->process->readLine().startsWith("mapped")) {
        qWarning() << "the test window" << appId << "did not map";
        return nullptr;
    }
    return window;
}

WaylandTestWindows::Window* WaylandTestWindows::find(const QString& appId) const
{
    for (const auto& window : windows) {
        if (window->appId == appId) {
            return window.get();
        }
    }
    return nullptr;
}

void WaylandTestWindows::retitle(const QString& appId, const QString& title)
{
    if (Window* w = find(appId)) {
        w->process->write("title " + title.toUtf8() + "\n");
    }
}

void WaylandTestWindows::close(Window* window)
{
    endProcess(*window->process, true); // end of input closes it
    std::erase_if(windows, [window](const auto& w) { return w.get() == window; });
}
