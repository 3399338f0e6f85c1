#include "app/DebugLog.h"

#include <QFile>
#include <QMutex>
#include <QTextStream>

#include <cstdlib>

namespace {
QFile log_file;
QTextStream log_file_stream;
QMutex log_mutex;

void SimpleLoggingHandler(QtMsgType type, const QMessageLogContext&, const QString& msg)
{
    const QString line = DebugLog::formatLine(QDateTime::currentDateTime(), type, msg);
    // Messages come from any thread; and each line goes out at once, so a crash, a kill or a hang
    // leaves in the file everything said before it.
    QMutexLocker lock(&log_mutex);
    log_file_stream << line;
    log_file_stream.flush();
    if (type == QtFatalMsg) {
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
    QMutexLocker lock(&log_mutex);
    if (!log_file.isOpen()) {
        return;
    }
    log_file_stream.flush();
    log_file.close();
}

} // namespace DebugLog
