#pragma once

#include <QDate>
#include <QNetworkAccessManager>
#include <QString>

#include <memory>

class DataFolderLock;
class HeadlessDataFolder;
class Linking;
class TimeEntryApi;
class Prompter;
class QTextStream;

// "--apply-rules FROM [TO]": applies the active rules to the unlinked entries of those days with the
// session stored in the data folder, and prints what went to which task. "--check-links FROM [TO]":
// compares the service entries those days' rows point to with the rows. Meant for cron jobs and
// timers, so neither opens a window or asks anything: what stops them is said on the error stream,
// and the exit status tells the cases apart. Both first settle what the service's answers prove
// about links whose answer was lost, and both hold the data folder's writer lock.
class HeadlessRuleRun
{
public:
    enum ExitStatus
    {
        Done = 0,        // linked what matched, or there was nothing to link
        Failed = 1,      // a link call failed, or the database could not be opened
        NotSignedIn = 3, // no stored session, or the service refused it
        Offline = 4,     // the service did not answer, or sent no catalogue
        Busy = 5,        // another VerrinPlus is working on this data folder
    };

    // What one task got: one link call with all its entries.
    struct TaskResult
    {
        int taskId = 0;
        int entries = 0;
        int groups = 0; // (day, application, title) groups the entries came from
        qint64 seconds = 0;
        bool linked = false;
    };

    HeadlessRuleRun(QTextStream& out, QTextStream& err);
    ~HeadlessRuleRun();

    int run(const QDate& from, const QDate& to);
    // Exit 0 only when every entry agrees and nothing is pending.
    int checkLinks(const QDate& from, const QDate& to);

    // The task's name with its project and task list from the catalogue maps, and its id.
    static QString taskLabel(int taskId);

    // The work itself, also for the window when a run is handed to it: applies the rules (or checks
    // the links) after settling what the service's answers prove, and prints the lines.
    static int applyAndReport(Linking* linking, const QDate& from, const QDate& to, QTextStream& out, QTextStream& err);
    static int checkAndReport(TimeEntryApi* api, const QDate& from, const QDate& to, QTextStream& out,
                              QTextStream& err);
    static void settlePending(TimeEntryApi* api, QTextStream& out, QTextStream& err);

private:
    // The writer lock (or the open window, which then does the run: `handedOff`), the settings, the
    // database and the sign-in, in that order; Done when all are there.
    int prepare(Prompter* prompter, bool* noRules, const QString& command, const QDate& from, const QDate& to,
                bool* handedOff);
    int signIn(Prompter* prompter);
    int fail(int status, const QString& message);

    QTextStream& out;
    QTextStream& err;
    QNetworkAccessManager manager;
    std::unique_ptr<HeadlessDataFolder> folder;
    std::unique_ptr<DataFolderLock> lock;
};
