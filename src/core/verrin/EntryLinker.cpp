#include "verrin/EntryLinker.h"

#include "store/util.h"
#include "verrin/LinkJournal.h"
#include "verrin/LinkedRows.h"
#include "verrin/TimeEntryApi.h"

#include <QDebug>
#include <QUrl>

namespace {

int secondsOf(const EntryRecord& record)
{
    const qint64 seconds = util::sql_to_datetime(record.value(QStringLiteral("start_time")))
                               .secsTo(util::sql_to_datetime(record.value(QStringLiteral("end_time"))));
    return int(qMax<qint64>(0, seconds));
}

// The rows grouped by application and title, in the order the groups first appear.
QList<QList<EntryRecord>> groupsOf(const QList<EntryRecord>& records)
{
    QList<QList<EntryRecord>> groups;
    QMap<QPair<QString, QString>, int> index;
    for (const EntryRecord& record : records) {
        const QPair<QString, QString> key{record.value(QStringLiteral("application_id")),
                                          record.value(QStringLiteral("title"))};
        auto it = index.find(key);
        if (it == index.end()) {
            it = index.insert(key, int(groups.size()));
            groups.append(QList<EntryRecord>());
        }
        groups[it.value()] << record;
    }
    return groups;
}

QString dayText(const QDate& day)
{
    return day.toString(Qt::ISODate);
}

QList<int> toInts(const QStringList& ids)
{
    QList<int> numbers;
    for (const QString& id : ids) {
        numbers << id.toInt();
    }
    return numbers;
}

} // namespace

EntryLinker::EntryLinker(TimeEntryApi* api, QObject* parent) : QObject(parent), api(api) {}

QStringList EntryLinker::numericIds(const QStringList& ids)
{
    QStringList numeric;
    for (const QString& id : ids) {
        bool ok = false;
        const qlonglong value = id.trimmed().toLongLong(&ok);
        if (ok) {
            numeric << QString::number(value);
        }
    }
    return numeric;
}

QString EntryLinker::encodeNotes(const QString& notes)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(notes));
}

EntryLinker::LinkResult EntryLinker::connectEntriesWithTask(const QStringList& entryIds, const QString& taskId,
                                                            const QString& notes)
{
    qDebug().noquote() << "connect entries with task (" + taskId + "): " + entryIds.join(QStringLiteral(", ")) +
                              ", notes: " + notes;
    LinkResult result;
    const QStringList ids = numericIds(entryIds);
    if (ids.isEmpty()) {
        return result;
    }
    // Rows linked or pending already are never sent again: that is how time got booked twice.
    const QSet<int> pending = LinkJournal::pendingEntryIds();
    QMap<QDate, QList<EntryRecord>> byDay;
    for (const EntryRecord& record : LinkedRows::records(ids)) {
        const QString id = record.value(QStringLiteral("id"));
        if (!record.value(QStringLiteral("ext_entry_id")).isEmpty() || pending.contains(id.toInt())) {
            result.skippedIds << id;
            continue;
        }
        byDay[util::sql_to_date(record.value(QStringLiteral("start_time")).left(10))] << record;
    }
    if (byDay.isEmpty()) {
        qDebug() << "no entries to link";
        return result;
    }

    const TaskNames task = TaskNames::fromCatalogue(taskId);
    const QString encodedNotes = encodeNotes(notes);
    int done = 0;
    emit progress(done, int(byDay.size()));
    // One service entry per day, dated that day: a timesheet shows each day's own time.
    for (auto day = byDay.cbegin(); day != byDay.cend(); ++day) {
        LinkJournal::Intent intent;
        intent.action = LinkJournal::Action::Add;
        intent.task = task;
        intent.day = day.key();
        intent.notes = encodedNotes;
        intent.afterExtId = LinkJournal::highestKnownExtId();
        QStringList dayIds;
        for (const EntryRecord& record : day.value()) {
            intent.seconds += secondsOf(record);
            dayIds << record.value(QStringLiteral("id"));
        }
        intent.entryIds = toInts(dayIds);
        QString error;
        if (!LinkJournal::open(&intent, &error)) {
            result.problems << QStringLiteral("%1: not sent, %2.").arg(dayText(day.key()), error);
            emit progress(++done, int(byDay.size()));
            continue;
        }
        LinkJournal::inFlight().insert(intent.id);
        QString extEntryId;
        const CallOutcome outcome = api->addBulk(intent.day, intent.seconds, taskId, encodedNotes, &extEntryId);
        LinkJournal::inFlight().remove(intent.id);

        if (outcome.ok()) {
            if (LinkJournal::closeLinked(intent, extEntryId.toLongLong(), QStringLiteral("linked"), &error)) {
                qDebug().noquote() << "db update successful for entries " + dayIds.join(QLatin1Char(','));
                result.linked = true;
                result.extEntryIds << extEntryId;
                result.seconds += intent.seconds;
                result.linkedIds << dayIds;
                result.groups << groupsOf(day.value());
            } else {
                qDebug() << "db error: " + error;
                // The service would carry time the rows do not know of: take it back. Deleting is safe to
                // repeat, and the intent stays open for the check if even that fails.
                const bool withdrawn = api->remove(extEntryId.toLongLong()).ok();
                if (withdrawn) {
                    LinkJournal::close(intent.id, QStringLiteral("withdrawn: ") + error, nullptr);
                }
                result.problems << QStringLiteral("%1: the service took the time, but the database could not be "
                                                  "written (%2); the service entry was %3.")
                                       .arg(dayText(day.key()), error,
                                            withdrawn ? QStringLiteral("taken back")
                                                      : QStringLiteral("left and the entries stay pending"));
                if (!withdrawn) {
                    result.pendingIds << dayIds;
                }
            }
        } else if (outcome.refused() || outcome.notSent) {
            LinkJournal::close(intent.id, QStringLiteral("not linked: ") + outcome.message, nullptr);
            result.tokenExpired = result.tokenExpired || outcome.tokenExpired();
            result.problems << QStringLiteral("%1: not linked, %2.").arg(dayText(day.key()), outcome.message);
        } else {
            result.pendingIds << dayIds;
            result.problems << QStringLiteral("%1: no answer from the service (%2). The entries stay pending until "
                                              "it is known whether the service took them.")
                                   .arg(dayText(day.key()), outcome.message);
        }
        emit progress(++done, int(byDay.size()));
    }
    return result;
}

EntryLinker::UnlinkResult EntryLinker::unlinkEntries(const QStringList& entryIds)
{
    qDebug().noquote() << "unlink entries: " + entryIds.join(QStringLiteral(", "));
    UnlinkResult result;
    const QStringList ids = numericIds(entryIds);
    if (ids.isEmpty()) {
        return result;
    }

    // Seconds to take off each service entry, and which rows belong to it.
    struct ServiceEntry
    {
        int seconds = 0;
        QStringList rows;
        QString taskId;
    };
    QMap<qint64, ServiceEntry> byExtEntry;
    const QSet<int> pending = LinkJournal::pendingEntryIds();
    QList<LinkedRows::Row> rows;
    QString error;
    if (!LinkedRows::linkedAmong(ids, &rows, &error)) {
        result.problems << QStringLiteral("The database could not be read: ") + error;
        return result;
    }
    for (const LinkedRows::Row& row : rows) {
        if (pending.contains(row.id)) {
            continue;
        }
        ServiceEntry& entry = byExtEntry[row.extEntryId];
        const qint64 seconds = util::sql_to_datetime(row.start).secsTo(util::sql_to_datetime(row.end));
        entry.seconds += int(qMax<qint64>(0, seconds));
        entry.rows << QString::number(row.id);
        entry.taskId = row.taskId;
    }

    const int total = int(byExtEntry.size());
    int done = 0;
    emit progress(done, total);
    for (auto it = byExtEntry.cbegin(); it != byExtEntry.cend(); ++it, emit progress(++done, total)) {
        const qint64 extId = it.key();
        const ServiceEntry& entry = it.value();
        ServiceEntryInfo info;
        const CallOutcome read = api->getInfo(extId, &info);
        if (read.unknownEntry()) {
            result.goneEntries.insert(extId, entry.rows);
            continue;
        }
        if (!read.ok()) {
            result.tokenExpired = result.tokenExpired || read.tokenExpired();
            result.failedExtEntryIds << int(extId);
            result.problems << QStringLiteral("Service entry %1 could not be read: %2.").arg(extId).arg(read.message);
            continue;
        }
        if (!info.taskId.isEmpty() && !entry.taskId.isEmpty() && info.taskId != entry.taskId) {
            // Not the entry these rows were linked to: never change someone else's time.
            result.failedExtEntryIds << int(extId);
            result.problems
                << QStringLiteral("Service entry %1 now belongs to another task; it was left as it is.").arg(extId);
            continue;
        }
        LinkJournal::Intent intent;
        intent.extEntryId = extId;
        intent.seconds = entry.seconds;
        intent.entryIds = toInts(entry.rows);
        intent.task.taskId = entry.taskId;
        intent.day = info.start.date();
        intent.newEnd = info.end.addSecs(-entry.seconds);
        intent.action = info.start < intent.newEnd ? LinkJournal::Action::Shorten : LinkJournal::Action::Delete;
        QString error;
        if (!LinkJournal::open(&intent, &error)) {
            result.failedExtEntryIds << int(extId);
            result.problems << QStringLiteral("Service entry %1 was not changed: %2.").arg(extId).arg(error);
            continue;
        }
        LinkJournal::inFlight().insert(intent.id);
        CallOutcome outcome;
        if (intent.action == LinkJournal::Action::Shorten) {
            outcome = api->update(extId, info.start, intent.newEnd);
        } else {
            qDebug() << "WARNING: entry is shorter than duration. Deleting entry";
            outcome = api->remove(extId);
        }
        LinkJournal::inFlight().remove(intent.id);

        if (outcome.ok()) {
            if (LinkJournal::closeUnlinked(intent, QStringLiteral("unlinked"), &error)) {
                result.unlinkedIds << entry.rows;
            } else {
                result.pendingIds << entry.rows;
                result.problems << QStringLiteral("Service entry %1 was changed, but the database could not be "
                                                  "written (%2); its entries stay pending.")
                                       .arg(extId)
                                       .arg(error);
            }
        } else if (outcome.unknownEntry()) {
            LinkJournal::close(intent.id, QStringLiteral("gone on the service"), nullptr);
            result.goneEntries.insert(extId, entry.rows);
        } else if (outcome.refused() || outcome.notSent) {
            LinkJournal::close(intent.id, QStringLiteral("not changed: ") + outcome.message, nullptr);
            result.tokenExpired = result.tokenExpired || outcome.tokenExpired();
            result.failedExtEntryIds << int(extId);
            result.problems << QStringLiteral("Service entry %1 was not changed: %2.").arg(extId).arg(outcome.message);
        } else {
            result.pendingIds << entry.rows;
            result.problems << QStringLiteral("No answer from the service about entry %1 (%2); its entries stay "
                                              "pending until it is known whether the change was made.")
                                   .arg(extId)
                                   .arg(outcome.message);
        }
    }
    return result;
}

bool EntryLinker::unlinkGoneEntry(qint64 extEntryId, const QStringList& entryIds, QString* error)
{
    LinkJournal::Intent intent;
    intent.action = LinkJournal::Action::Delete;
    intent.extEntryId = extEntryId;
    intent.entryIds = toInts(numericIds(entryIds));
    return LinkJournal::open(&intent, error) &&
           LinkJournal::closeUnlinked(intent, QStringLiteral("gone on the service; unlinked here"), error);
}
