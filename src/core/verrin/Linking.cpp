#include "verrin/Linking.h"

#include "app/Prompter.h"

#include <QDebug>

Linking::Linking(TimeEntryApi* api, Prompter* prompter, QObject* parent)
    : QObject(parent), linker(api), prompter(prompter)
{
    connect(&linker, &EntryLinker::progress, this, &Linking::progress);
}

void Linking::tell(const QString& what, const QStringList& problems)
{
    if (problems.isEmpty() || !prompter) {
        return;
    }
    prompter->warn(QStringLiteral("Verrin API Error"),
                   what + QStringLiteral("\n\n") + problems.join(QLatin1Char('\n')));
}

EntryLinker::LinkResult Linking::link(const QStringList& entryIds, const QString& taskId, const QString& notes)
{
    EntryLinker::LinkResult result = linker.connectEntriesWithTask(entryIds, taskId, notes);
    if (result.linked) {
        emit linked(result.groups, taskId);
    }
    if (!result.pendingIds.isEmpty()) {
        emit pendingChanged();
    }
    if (result.tokenExpired) {
        emit sessionExpired();
    }
    tell(result.linked ? QStringLiteral("Part of the time was linked; some days were not:")
                       : QStringLiteral("The time was not linked:"),
         result.problems);
    return result;
}

EntryLinker::UnlinkResult Linking::unlink(const QStringList& entryIds)
{
    EntryLinker::UnlinkResult result = linker.unlinkEntries(entryIds);
    if (!result.goneEntries.isEmpty()) {
        QStringList ids;
        int rows = 0;
        for (auto it = result.goneEntries.cbegin(); it != result.goneEntries.cend(); ++it) {
            ids << QString::number(it.key());
            rows += int(it.value().size());
        }
        const bool unlinkHere =
            prompter &&
            prompter->askDefaultYes(QStringLiteral("Confirm unlink"),
                                    QStringLiteral("The service no longer has time entry %1 (deleted on the web?). "
                                                   "Unlink its %2 entries here? Nothing is changed on the service.")
                                        .arg(ids.join(QStringLiteral(", ")))
                                        .arg(rows));
        for (auto it = result.goneEntries.cbegin(); it != result.goneEntries.cend(); ++it) {
            QString error;
            if (!unlinkHere) {
                result.failedExtEntryIds << int(it.key());
            } else if (EntryLinker::unlinkGoneEntry(it.key(), it.value(), &error)) {
                result.unlinkedIds << it.value();
            } else {
                result.problems << QStringLiteral("The entries of service entry %1 could not be unlinked here: %2")
                                       .arg(it.key())
                                       .arg(error);
            }
        }
    }
    if (!result.unlinkedIds.isEmpty()) {
        emit unlinked(result.unlinkedIds);
    }
    if (!result.pendingIds.isEmpty()) {
        emit pendingChanged();
    }
    if (result.tokenExpired) {
        emit sessionExpired();
    }
    tell(QStringLiteral("Not everything could be unlinked:"), result.problems);
    return result;
}

bool Linking::connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes)
{
    QStringList ids;
    for (int id : entryIds) {
        ids << QString::number(id);
    }
    EntryLinker::LinkResult result = linker.connectEntriesWithTask(ids, QString::number(taskId), notes);
    if (result.linked) {
        emit linked(result.groups, QString::number(taskId));
    }
    if (!result.pendingIds.isEmpty()) {
        emit pendingChanged();
    }
    if (result.tokenExpired) {
        emit sessionExpired();
    }
    for (const QString& problem : std::as_const(result.problems)) {
        runProblems << QStringLiteral("task %1, %2").arg(taskId).arg(problem);
    }
    return result.linked && result.problems.isEmpty();
}

QStringList Linking::takeRunProblems()
{
    QStringList problems;
    problems.swap(runProblems);
    return problems;
}
