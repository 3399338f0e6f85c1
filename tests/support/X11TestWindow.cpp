#include "X11TestWindow.h"

#include "TestTools.h"

bool TestWindow::start(const QString& program, const QStringList& args)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, args);
    const QByteArray line = waitForLine(process, 10000);
    id = line.startsWith("window ") ? line.mid(7).toUInt() : 0;
    return id != 0;
}

void TestWindow::stop()
{
    endProcess(process, true);
}

bool runXdotool(const QStringList& args)
{
    return runTool(QStringLiteral("xdotool"), args);
}
