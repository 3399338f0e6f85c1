#pragma once

#include <QDateTime>
#include <QString>
#include <QtGlobal>

// The "-debug" log: every debug, warning, critical and fatal message of the run goes, one line each,
// into debug.log in the data folder (appended; nothing ever truncates it).
namespace DebugLog {

// "dd-MM-yyyy hh:mm:ss" + a marker for the type + the text + "\n".
QString formatLine(const QDateTime& when, QtMsgType type, const QString& text);

// Opens the log file for appending and installs the message handler. The open may fail (on a first
// run the data folder does not exist yet); the handler is installed anyway and its lines are lost.
void install(const QString& path);

// Flushes and closes the log at the end of the run.
void close();

} // namespace DebugLog
