#pragma once

#include <QDate>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

class Prompter;
class RuleStore;
class TaskLinker;

// What one run of the rules did, for the status bar and the command line.
struct ApplyRulesSummary
{
    bool noRules = false;   // there was no active rule with applications
    bool signedOut = false; // nothing was sent: there is no signed-in session
    int groups = 0;         // unlinked (day, application, title) groups looked at
    int matchedGroups = 0;  // groups some rule matched
    int tasks = 0;          // tasks the matched groups went to (one link call each)
    int linkedTasks = 0;    // link calls that succeeded
    int failedTasks = 0;    // link calls that failed
    qint64 seconds = 0;     // seconds of the entries of the successful link calls
};

// One line for the command line and the status bar, such as
// "Rules applied: 3 of 12 groups matched, 2 tasks linked, 1 h 2 m 5 s (3725 seconds)".
QString summaryText(const ApplyRulesSummary& summary);

// The entries that rules matched, collected per task before any linking.
struct RuleMatches
{
    int groups = 0;
    int matchedGroups = 0;
    // Task id -> entry ids, in the order the groups came; the map keeps the task ids in order.
    QMap<int, QList<int>> entriesByTask;
};

// Applies the active rules to the unlinked entries of a range of days: the entries are grouped by
// day, application and title, each group goes to the task of the first matching rule (lowest seq),
// and each task gets one link call with all its entries.
class RuleApplier : public QObject
{
    Q_OBJECT
public:
    RuleApplier(RuleStore* store, TaskLinker* linker, Prompter* prompter, QObject* parent = nullptr);

    ApplyRulesSummary applyRules(const QDate& from, const QDate& to);

    // Groups and matches without linking anything. `rules` as readDbRules returns them.
    static RuleMatches collectMatches(const QList<QVariant>& rules, const QDate& from, const QDate& to);

signals:
    // A run with active rules started, before any link: the moment to remember which tree nodes are
    // expanded and to show the progress, which goes from 0 to `maximum` (tasks + 2).
    void progressStarted(int maximum);
    void progressChanged(int value);
    // The links are done: both day trees should be rebuilt now. The progress then reaches its maximum.
    void viewsNeedRefresh();
    void progressFinished();

private:
    RuleStore* store;
    TaskLinker* linker;
    Prompter* prompter;
};
