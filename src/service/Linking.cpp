#include "service/Linking.h"

#include "app/Prompter.h"

Linking::Linking(TimeEntryApi* api, Prompter* prompter, QObject* parent)
    : QObject(parent), linker(api), prompter(prompter)
{
    connect(&linker, &EntryLinker::progress, this, &Linking::progress);
}

EntryLinker::LinkResult Linking::link(const QStringList& entryIds, const QString& taskId, const QString& notes)
{
    EntryLinker::LinkResult result = linker.connectEntriesWithTask(entryIds, taskId, notes);
    if (result.linked) {
        emit linked(result.groups, taskId);
    }
    return result;
}

EntryLinker::UnlinkResult Linking::unlink(const QStringList& entryIds)
{
    EntryLinker::UnlinkResult result = linker.unlinkEntries(entryIds);
    if (!result.unlinkedIds.isEmpty()) {
        emit unlinked(result.unlinkedIds);
    }
    if (!result.failedExtEntryIds.isEmpty() && prompter) {
        QStringList ids;
        for (int id : result.failedExtEntryIds) {
            ids << QString::number(id);
        }
        prompter->warn(QStringLiteral("Verrin API Error"),
                       QStringLiteral("The service did not accept the change of its time entries %1. Their "
                                      "entries stay linked here, so both sides still show the same time; try "
                                      "again later.")
                           .arg(ids.join(QStringLiteral(", "))));
    }
    return result;
}

bool Linking::connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes)
{
    QStringList ids;
    for (int id : entryIds) {
        ids << QString::number(id);
    }
    return link(ids, QString::number(taskId), notes).linked;
}
