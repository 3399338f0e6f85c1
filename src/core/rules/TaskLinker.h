#pragma once

#include <QList>
#include <QString>

// Sends the time of a set of entries to one task of the service as one time entry and marks the
// rows as linked. Rule application talks to linking only through this.
class TaskLinker
{
public:
    virtual ~TaskLinker() = default;
    // True when the service took the entry and the rows were marked.
    virtual bool connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes) = 0;
};
