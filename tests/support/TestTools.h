#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

// Helper processes and files, as the tests start, end and read them.

// Ends a helper process: end of its input (closeInput) or SIGTERM first, SIGKILL when it lingers.
void endProcess(QProcess& process, bool closeInput = false);
// The next line a helper process prints, trimmed; empty when none comes within `timeoutMs` or it ends.
QByteArray waitForLine(QProcess& process, int timeoutMs);
// Runs a tool to its end, bounded in time; false, with a warning of its output, when it failed.
bool runTool(const QString& program, const QStringList& args,
             const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment());
// Writes `data` into a new file at `path`, making its folder.
bool writeFile(const QString& path, const QByteArray& data, bool executable = false);
// A file's bytes; empty when it cannot be read.
QByteArray fileContents(const QString& path);
