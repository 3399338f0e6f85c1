#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

// The one lock every writer of a data folder holds: the window for as long as it runs, and the
// command-line runs that link time. Two writers would each link the same unlinked rows.
class DataFolderLock
{
public:
    explicit DataFolderLock(const QString& dataFolder);

    // Waits up to `waitMs` for the lock. A lock left by a process that died is taken over.
    bool tryLock(int waitMs);
    // False when the lock cannot even be written (read-only runtime folder), as opposed to held.
    bool canLock() const;
    void unlock();

    // "verrinplus-" and a hash of the folder: the lock's and the window's socket's name.
    QString name() const { return lockName; }
    static QString nameFor(const QString& dataFolder);
    // Where the window of that folder listens for later starts.
    static QString socketFor(const QString& dataFolder);
    // $XDG_RUNTIME_DIR, else the temporary folder.
    static QString runtimeFolder();

private:
    QString lockName;
    std::unique_ptr<QLockFile> lock;
};
