#include "platform/ApplicationResolver.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>

#include <limits.h>
#include <unistd.h>

namespace {
constexpr qint64 maxEnvironSize = 1024 * 1024;
constexpr int maxCachedProcesses = 512;

QByteArray readSmallFile(const QString& path, qint64 limit)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    return file.read(limit); // /proc files report size 0, so read up to the limit
}
} // namespace

ApplicationResolver::ApplicationResolver(DesktopEntryIndex* index, QString procRoot)
    : index(index), procRoot(std::move(procRoot)), locale(QLocale::system().name())
{
}

QString ApplicationResolver::executableOf(qint64 pid) const
{
    if (pid <= 0) {
        return QString();
    }
    const QByteArray link = QFile::encodeName(procRoot + QLatin1Char('/') + QString::number(pid) + "/exe");
    char buffer[PATH_MAX + 16];
    const ssize_t length = ::readlink(link.constData(), buffer, sizeof(buffer) - 1);
    if (length <= 0) {
        return QString();
    }
    QString target = QFile::decodeName(QByteArray(buffer, length));
    // The executable was replaced or removed while running (an update, typically).
    const QLatin1String deleted(" (deleted)");
    if (target.endsWith(deleted)) {
        target.chop(deleted.size());
    }
    return target;
}

QByteArray ApplicationResolver::environOf(qint64 pid) const
{
    if (pid <= 0) {
        return QByteArray();
    }
    return readSmallFile(procRoot + QLatin1Char('/') + QString::number(pid) + "/environ", maxEnvironSize);
}

QString ApplicationResolver::commandOf(qint64 pid) const
{
    if (pid <= 0) {
        return QString();
    }
    const QByteArray cmdline =
        readSmallFile(procRoot + QLatin1Char('/') + QString::number(pid) + "/cmdline", 64 * 1024);
    const qsizetype end = cmdline.indexOf('\0');
    const QString argv0 = QFile::decodeName(end < 0 ? cmdline : cmdline.left(end));
    if (argv0.isEmpty()) {
        return QString();
    }
    if (QFileInfo(argv0).isAbsolute()) {
        const QString canonical = QFileInfo(argv0).canonicalFilePath();
        return canonical.isEmpty() ? argv0 : canonical;
    }
    if (!argv0.contains(QLatin1Char('/'))) {
        const QString found = QStandardPaths::findExecutable(argv0);
        if (!found.isEmpty()) {
            return QFileInfo(found).canonicalFilePath();
        }
    }
    return QString();
}

ApplicationIdentity ApplicationResolver::resolve(qint64 pid, const QString& wmInstance, const QString& wmClass)
{
    // A rescanned index may know entries it did not know when the cached answers were made.
    if (index && index->scanCount() != indexScans) {
        cache.clear();
        indexScans = index->scanCount();
    }
    if (pid > 0) {
        auto it = cache.constFind(pid);
        if (it != cache.constEnd() && it->wmClass == wmClass && it->wmInstance == wmInstance) {
            return it->identity;
        }
    }
    ApplicationIdentity identity = lookUp(pid, wmInstance, wmClass);
    if (index && index->scanCount() != indexScans) {
        cache.clear();
        indexScans = index->scanCount();
    }
    if (pid > 0) {
        if (cache.size() >= maxCachedProcesses) {
            cache.clear();
        }
        cache.insert(pid, Cached{wmInstance, wmClass, identity});
    }
    return identity;
}

ApplicationIdentity ApplicationResolver::lookUp(qint64 pid, const QString& wmInstance, const QString& wmClass)
{
    ApplicationIdentity identity;
    identity.executable = executableOf(pid);
    if (identity.executable.isEmpty() && pid > 0) {
        identity.executable = commandOf(pid);
        if (!reportedUnreadable.contains(pid)) {
            if (reportedUnreadable.size() >= maxCachedProcesses) {
                reportedUnreadable.clear();
            }
            reportedUnreadable.insert(pid);
            qWarning().noquote() << QStringLiteral(
                                        "Cannot read the executable of process %1 (another user's?); using %2")
                                        .arg(pid)
                                        .arg(identity.executable.isEmpty() ? QStringLiteral("its window class")
                                                                           : identity.executable);
        }
    }

    const DesktopEntry* entry = nullptr;
    if (index) {
        DesktopEntryIndex::Query query;
        query.pid = pid;
        query.environ = environOf(pid);
        query.wmInstance = wmInstance;
        query.wmClass = wmClass;
        query.executable = identity.executable;
        entry = index->find(query);
    }

    if (entry) {
        identity.path = entry->path;
        identity.name = entry->displayName(locale);
        identity.iconName = entry->icon;
    } else if (!identity.executable.isEmpty()) {
        identity.path = identity.executable;
    } else if (!wmClass.isEmpty()) {
        // Neither a process nor an entry is known: the window class is the best key left.
        identity.path = QStringLiteral("x11-class:") + wmClass;
    }
    if (identity.name.isEmpty()) {
        identity.name = !wmClass.isEmpty() ? wmClass : QFileInfo(identity.executable).fileName();
    }
    return identity;
}
