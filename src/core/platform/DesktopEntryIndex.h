#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QString>
#include <QStringList>

#include <vector>

// One application entry of a desktop file, reduced to what identifying and showing an application needs.
struct DesktopEntry
{
    QString path; // the .desktop file
    QString id;   // desktop file id: its path under the applications folder, '/' turned into '-'
    QString name;
    QMap<QString, QString> localizedNames; // "de_DE" / "de" -> Name[..]
    QString icon;                          // icon name or absolute icon file
    QString startupWMClass;
    QString execProgram;    // first Exec token after env assignments, as written
    QString tryExecProgram; // TryExec, as written
    bool hidden = false;    // Hidden=true: the entry counts as deleted
    bool noDisplay = false;

    // Name in the given locale ("de_DE" tries Name[de_DE], then Name[de]), else Name.
    QString displayName(const QString& locale) const;
};

// Reads desktop files; tolerant of anything odd in them (missing keys, binary garbage, huge files).
namespace desktop_file {
// Parses the [Desktop Entry] group. False when the file is unreadable or holds no application.
bool parse(const QString& path, DesktopEntry* entry);
// The same for the bytes of a desktop file read from `path`.
bool parseData(QByteArray data, const QString& path, DesktopEntry* entry);
// Splits an Exec value into arguments, following the quoting rules of desktop files.
QStringList splitExec(const QString& exec);
// The program an Exec value starts: the first argument after "env" and VAR=value assignments.
QString execProgram(const QString& exec);
// GIO_LAUNCHED_DESKTOP_FILE from a NUL-separated environment block; empty when missing or when the
// environment was only inherited from the process GIO launched (GIO_LAUNCHED_DESKTOP_FILE_PID differs).
QString launchedDesktopFile(const QByteArray& environ, qint64 pid);
} // namespace desktop_file

// An index of the installed applications' desktop files, built once and refreshed only when a lookup
// misses and the folders have changed since, so asking it every second costs a few hash lookups.
class DesktopEntryIndex
{
public:
    // Searches the given folders, earlier folders first (an id found earlier hides later ones).
    explicit DesktopEntryIndex(QStringList folders = defaultFolders());

    // The user's and system applications folders plus the flatpak and snap export folders.
    static QStringList defaultFolders();

    // What is known about a running application, for `find`.
    struct Query
    {
        qint64 pid = 0;
        QByteArray environ; // contents of /proc/PID/environ (may be empty)
        QString wmInstance; // WM_CLASS instance
        QString wmClass;    // WM_CLASS class
        QString executable; // resolved /proc/PID/exe (may be empty)
    };
    // The entry that describes this application, or nullptr. The pointer stays valid until the next
    // call of `find`, `entryForFile` or `rescan`.
    const DesktopEntry* find(const Query& query);
    // The entry stored in the given .desktop file (parsed on demand when it is outside the index).
    const DesktopEntry* entryForFile(const QString& path);

    // Minimum time between two checks of the folders' modification times (default one minute).
    void setRefreshInterval(int msecs) { refreshIntervalMs = msecs; }
    // Where PATH-relative Exec programs are looked up (default: $PATH).
    void setExecutableSearchPath(const QStringList& dirs);
    void rescan();
    int size() const { return int(entries.size()); }
    int scanCount() const { return scans; }

private:
    const DesktopEntry* findInIndex(const Query& query) const;
    const DesktopEntry* findByExecutable(const QString& executable) const;
    const DesktopEntry* pickByExecutable(const QList<int>& candidates, const QString& executable) const;
    bool refreshIfChanged();
    QString resolveProgram(const QString& program) const;
    QHash<QString, QDateTime> folderStamps() const;
    void ensureScanned();

    QStringList folders;
    QStringList searchPath;
    bool searchPathSet = false;
    bool scanned = false;
    std::vector<DesktopEntry> entries;
    QHash<QString, int> byPath;
    QHash<QString, int> byStartupWMClass;
    QHash<QString, int> byIdLower;        // id without ".desktop", lower case
    QHash<QString, QList<int>> byExec;    // resolved Exec program -> entries
    QHash<QString, QList<int>> byTryExec; // resolved TryExec program -> entries
    QHash<QString, QDateTime> stamps;
    QElapsedTimer sinceCheck;
    int refreshIntervalMs = 60 * 1000;
    int scans = 0;
    DesktopEntry outside; // last entry parsed for a file outside the index
};
