#pragma once

#include <QObject>
#include <QStringList>

#include "rules/TaskLinker.h"
#include "service/EntryLinker.h"

class Prompter;
class TimeEntryApi;

// Linking and unlinking as the window and the rules use them: runs EntryLinker against the service's
// time-entry calls, tells the user what could not be done, and announces what changed so the two day
// trees can follow.
class Linking : public QObject, public TaskLinker
{
    Q_OBJECT
public:
    Linking(TimeEntryApi* api, Prompter* prompter, QObject* parent = nullptr);

    EntryLinker::LinkResult link(const QStringList& entryIds, const QString& taskId, const QString& notes);
    EntryLinker::UnlinkResult unlink(const QStringList& entryIds);

    // For the rules: link without notes and say whether it worked.
    bool connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes) override;

signals:
    // Rows now linked to `taskId`, grouped by application and title, for the linked tree.
    void linked(const QList<QList<EntryRecord>>& groups, const QString& taskId);
    // Rows now unlinked again, for the unlinked tree.
    void unlinked(const QStringList& entryIds);
    void progress(int done, int total);

private:
    EntryLinker linker;
    Prompter* prompter;
};
