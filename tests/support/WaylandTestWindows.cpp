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

bool writeEditorEntry(const QString& folder)
{
    QFile entry(folder + "/verrin-test-editor.desktop");
    return entry.open(QIODevice::WriteOnly) &&
           entry.write("[Desktop Entry]\nType=Application\nName=Test Editor\nExec=/bin/true\n") > 0;
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
    QProcessEnvironment env = environment;
    env.insert("QT_QPA_PLATFORM", "wayland");
    env.remove("DISPLAY");
    window->setProcessEnvironment(env);
    window->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    window->start(program, {appId, title});
    if (!QTest::qWaitFor([&] { return window->canReadLine() || window->state() == QProcess::NotRunning; }, timeoutMs) ||
        !window->readLine().startsWith("mapped")) {
        qWarning() << "the test window" << appId << "did not map";
        return false;
    }
    return true;
}

void WaylandTestWindows::close(const QString& appId)
{
    endProcess(*windows.at(appId), true); // end of input closes it
    windows.erase(appId);
}
