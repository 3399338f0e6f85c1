#include "app/DataFolderLock.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStandardPaths>

QString DataFolderLock::nameFor(const QString& dataFolder)
{
    const QByteArray hash =
        QCryptographicHash::hash(QDir::cleanPath(dataFolder).toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return QStringLiteral("verrinplus-") + QString::fromLatin1(hash);
}

QString DataFolderLock::runtimeFolder()
{
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty()) {
        runtime = QDir::tempPath();
    }
    return runtime;
}

QString DataFolderLock::socketFor(const QString& dataFolder)
{
    // In the user's runtime folder, which the session empties: no stale sockets pile up in /tmp.
    return runtimeFolder() + QLatin1Char('/') + nameFor(dataFolder) + QStringLiteral(".socket");
}

DataFolderLock::DataFolderLock(const QString& dataFolder) : lockName(nameFor(dataFolder))
{
    const QString runtime = runtimeFolder();
    QDir().mkpath(runtime);
    lock = std::make_unique<QLockFile>(runtime + QLatin1Char('/') + lockName + QStringLiteral(".lock"));
    // QLockFile checks whether the process named in an old lock is alive.
    lock->setStaleLockTime(0);
}

bool DataFolderLock::tryLock(int waitMs)
{
    return lock->isLocked() || lock->tryLock(waitMs);
}

bool DataFolderLock::canLock() const
{
    return lock->isLocked() || lock->error() == QLockFile::NoError || lock->error() == QLockFile::LockFailedError;
}

void DataFolderLock::unlock()
{
    lock->unlock();
}
