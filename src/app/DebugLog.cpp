#include "app/DebugLog.h"

#include <QFile>
#include <QTextStream>

#include <cstdlib>

namespace {
QFile log_file;
QTextStream log_file_stream;

void SimpleLoggingHandler(QtMsgType type, const QMessageLogContext&, const QString& msg)
{
    log_file_stream << DebugLog::formatLine(QDateTime::currentDateTime(), type, msg);
    if (type == QtFatalMsg) {
        log_file_stream.flush();
        abort();
    }
}
} // namespace

namespace DebugLog {

QString formatLine(const QDateTime& when, QtMsgType type, const QString& text)
{
    QString marker;
    switch (type) {
    case QtDebugMsg:
    case QtInfoMsg:
        marker = QStringLiteral(" ");
        break;
    case QtWarningMsg:
        marker = QStringLiteral(" Warning: ");
        break;
    case QtCriticalMsg:
        marker = QStringLiteral(" Critical: ");
        break;
    case QtFatalMsg:
        marker = QStringLiteral(" Fatal: ");
        break;
    }
    return when.toString(QStringLiteral("dd-MM-yyyy hh:mm:ss")) + marker + text + QLatin1Char('\n');
}

void install(const QString& path)
{
    log_file.setFileName(path);
    log_file.open(QIODevice::Append | QIODevice::Text);
    log_file_stream.setDevice(&log_file);
    qInstallMessageHandler(SimpleLoggingHandler);
}

void close()
{
    if (!log_file.isOpen()) {
        return;
    }
    log_file_stream.flush();
    log_file.close();
}

} // namespace DebugLog
