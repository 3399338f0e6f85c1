#include "X11TestWindow.h"

#include <QDebug>

bool TestWindow::start(const QString& program, const QStringList& args, const QProcessEnvironment& env)
{
    process.setProcessEnvironment(env);
    process.start(program, args);
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

bool TestWindow::command(const QString& text)
{
    process.write(text.toUtf8() + '\n');
    return readLine() == "ok";
}

void TestWindow::stop()
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

bool requestActivation(uint32_t window)
{
    return runXdotool({QStringLiteral("windowactivate"), QString::number(window)});
}
