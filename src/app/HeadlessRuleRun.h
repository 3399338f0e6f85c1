#pragma once

#include <QDate>
#include <QNetworkAccessManager>
#include <QString>

class Prompter;
class QTextStream;

// "--apply-rules FROM [TO]": applies the active rules to the unlinked entries of those days with the
// session stored in the data folder, and prints what went to which task. Meant for cron jobs and
// timers, so it never opens a window or asks anything: what stops it is said on the error stream,
// and the exit status tells the cases apart.
class HeadlessRuleRun
{
public:
    enum ExitStatus
    {
        Done = 0,        // linked what matched, or there was nothing to link
        Failed = 1,      // a link call failed, or the database could not be opened
        NotSignedIn = 3, // no stored session, or the service refused it
        Offline = 4,     // the service did not answer, or sent no catalogue
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

    int run(const QDate& from, const QDate& to);

    // "h:mm:ss", hours unpadded.
    static QString clockTime(qint64 seconds);
    // The task's name with its project and task list from the catalogue maps, and its id.
    static QString taskLabel(int taskId);

private:
    int signIn(Prompter* prompter);
    int fail(int status, const QString& message);

    QTextStream& out;
    QTextStream& err;
    QNetworkAccessManager manager;
};
