#include "X11TestWindow.h"

#include "WaylandTestWindows.h"

#include <QDebug>

bool TestWindow::start(const QString& program, const QStringList& args)
{
    process.start(program, args);
    const QByteArray line = readLine();
    id = line.startsWith("window ") ? line.mid(7).toUInt() : 0;
    return id != 0;
}

bool TestWindow::command(const QString& text)
{
    process.write(text.toUtf8() + '\n');
    return readLine() == "ok";
}

void TestWindow::stop()
{
    endProcess(process, true);
}

QByteArray TestWindow::readLine()
{
    for (int i = 0; i < 100 && !process.canReadLine(); ++i) {
        if (!process.waitForReadyRead(100) && process.state() == QProcess::NotRunning) {
            break;
        }
    }
    return process.readLine().trimmed();
}

bool runXdotool(const QStringList& args)
{
    QProcess tool;
    tool.start(QStringLiteral("xdotool"), args);
    if (!tool.waitForFinished(10000) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0) {
        qWarning() << "xdotool" << args << "failed:" << tool.readAllStandardError();
        endProcess(tool);
        return false;
    }
    return true;
}
