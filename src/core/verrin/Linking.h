#pragma once

#include "rules/TaskLinker.h"
#include "verrin/EntryLinker.h"

#include <QObject>
#include <QStringList>

class Prompter;
class TimeEntryApi;

// Linking and unlinking as the window and the rules use them: runs EntryLinker against the service's
// time-entry calls, tells the user once per action what could not be done, asks about entries gone
// from the service, and announces what changed so the two day trees can follow.
class Linking : public QObject, public TaskLinker
{
    Q_OBJECT
public:
    Linking(TimeEntryApi* api, Prompter* prompter, QObject* parent = nullptr);

    EntryLinker::LinkResult link(const QStringList& entryIds, const QString& taskId, const QString& notes);
    EntryLinker::UnlinkResult unlink(const QStringList& entryIds);

    // For the rules: link without a box per task; what failed is kept for one summary of the run.
    bool connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes) override;
    // What went wrong since the last call, one line each, and forgets it.
    QStringList takeRunProblems();

signals:
    // Rows now linked to `taskId`, grouped by application and title, for the linked tree.
    void linked(const QList<QList<EntryRecord>>& groups, const QString& taskId);
    // Rows now unlinked again, for the unlinked tree.
    void unlinked(const QStringList& entryIds);
    // Rows whose answer was lost: they now wait for a decision.
    void pendingChanged();
    // The service said the session's token has run out.
    void sessionExpired();
    void progress(int done, int total);

private:
    void tell(const QString& what, const QStringList& problems);

    EntryLinker linker;
    Prompter* prompter;
    QStringList runProblems;
};
