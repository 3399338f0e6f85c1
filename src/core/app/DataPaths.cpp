#include "app/DataPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <sys/stat.h>

namespace DataPaths {

namespace {
QString inDataLocation(const QString& relative)
{
    return QDir::toNativeSeparators(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + relative);
}
} // namespace

QString dataFolder()
{
    return inDataLocation(QStringLiteral("/VerrinPlus"));
}

QString iniFile()
{
    return inDataLocation(QStringLiteral("/VerrinPlus/verrinplus.ini"));
}

QString databaseFile()
{
    return inDataLocation(QStringLiteral("/VerrinPlus/verrinplus.sqlite"));
}

QString debugLogFile()
{
    return inDataLocation(QStringLiteral("/VerrinPlus/debug.log"));
}

void keepPrivate()
{
    // Everything the program creates from here on is its user's alone: the folder 0700, the files
    // 0600 (SQLite gives its -wal and -shm files the database's mode).
    ::umask(S_IRWXG | S_IRWXO);
    const QString folder = dataFolder();
    if (!QFileInfo::exists(folder)) {
        return;
    }
    // A folder from before (or made by hand) may be readable by others: titles and secrets are in it.
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const QString& file : {iniFile(), databaseFile(), databaseFile() + QStringLiteral("-wal"),
                                databaseFile() + QStringLiteral("-shm"), debugLogFile()}) {
        if (QFileInfo::exists(file)) {
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
        }
    }
}

} // namespace DataPaths
