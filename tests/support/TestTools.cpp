#include "TestTools.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>

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

QByteArray waitForLine(QProcess& process, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!process.canReadLine() && process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        process.waitForReadyRead(100);
    }
    return process.readLine().trimmed();
}

bool runTool(const QString& program, const QStringList& args, const QProcessEnvironment& env)
{
    QProcess tool;
    tool.setProcessEnvironment(env);
    tool.start(program, args);
    if (!tool.waitForFinished(30000) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0) {
        qWarning() << program << args << "failed:" << tool.readAllStandardOutput() << tool.readAllStandardError();
        endProcess(tool);
        return false;
    }
    return true;
}

bool writeFile(const QString& path, const QByteArray& data, bool executable)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size()) {
        return false;
    }
    return !executable || file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
}

QByteArray fileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
