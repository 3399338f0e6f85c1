#pragma once

#include "platform/DesktopEntryIndex.h"

#include <QHash>
#include <QSet>
#include <QString>

// Who an application is: the key it is recorded under, the name it is shown with, and where its icon
// comes from.
struct ApplicationIdentity
{
    QString path;       // its .desktop file when one is found, else its executable
    QString name;       // the entry's Name, else the WM_CLASS class, else the executable's file name
    QString iconName;   // the entry's Icon (a theme name or an absolute file); empty without an entry
    QString executable; // resolved executable ("" when the process cannot be read)
};

// Turns a window's process id and WM_CLASS into an application identity by reading /proc and the
// desktop-entry index. Results are cached per process, so the once-a-second probe reads /proc only
// when a new process comes to the front.
class ApplicationResolver
{
public:
    explicit ApplicationResolver(DesktopEntryIndex* index, QString procRoot = QStringLiteral("/proc"));

    ApplicationIdentity resolve(qint64 pid, const QString& wmInstance, const QString& wmClass);

    // The executable a process runs, with the kernel's " (deleted)" mark removed; "" when unreadable.
    QString executableOf(qint64 pid) const;
    // The process's environment block ("" when unreadable, e.g. another user's process).
    QByteArray environOf(qint64 pid) const;
    // argv[0] of the process, resolved through PATH when it is a bare name: readable for any process,
    // so it stands in when /proc/PID/exe is closed to us.
    QString commandOf(qint64 pid) const;

    void clearCache() { cache.clear(); }
    void setLocale(const QString& locale) { this->locale = locale; }

private:
    struct Cached
    {
        QString wmInstance;
        QString wmClass;
        ApplicationIdentity identity;
    };

    ApplicationIdentity lookUp(qint64 pid, const QString& wmInstance, const QString& wmClass);

    DesktopEntryIndex* index;
    QString procRoot;
    QString locale;
    QHash<qint64, Cached> cache;
    QSet<qint64> reportedUnreadable;
    int indexScans = -1;
};
