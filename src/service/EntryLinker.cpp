#include "service/EntryLinker.h"

#include "app/Registry.h"
#include "service/TimeEntryApi.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>

namespace {
QString mapValue(const char* map, const QString& key)
{
    return Registry::instance()->value(QLatin1String(map)).toMap().value(key).toString();
}

// An id pasted into a statement: a number, or NULL when the catalogue did not know it.
QString sqlId(const QString& id)
{
    bool ok = false;
    const qlonglong value = id.toLongLong(&ok);
    return ok ? QString::number(value) : QStringLiteral("NULL");
}

QList<EntryRecord> readRecords(const QString& idList)
{
    QList<EntryRecord> records;
    QSqlQuery query;
    if (!query.exec(QStringLiteral("SELECT entries.id, entries.title, entries.application_id, entries.start_time, "
                                   "entries.end_time, applications.path AS app_path, applications.name AS app_name "
                                   "FROM entries, applications WHERE entries.application_id = applications.id AND "
                                   "entries.id IN (") +
                    idList + QStringLiteral(") "))) {
        qDebug() << "db error:" << query.lastError().text();
        return records;
    }
    const QStringList keys = {
        QStringLiteral("id"),         QStringLiteral("title"),    QStringLiteral("application_id"),
        QStringLiteral("start_time"), QStringLiteral("end_time"), QStringLiteral("app_path"),
        QStringLiteral("app_name")};
    while (query.next()) {
        EntryRecord record;
        for (int i = 0; i < keys.size(); ++i) {
            record.insert(keys.at(i), query.value(i).toString());
        }
        records << record;
    }
    return records;
}

QList<QPair<QString, QString>> readGroups(const QString& idList)
{
    QList<QPair<QString, QString>> groups;
    QSqlQuery query;
    if (query.exec(QStringLiteral("SELECT application_id, title FROM entries WHERE id IN (") + idList +
                   QStringLiteral(") GROUP BY application_id, title "))) {
        while (query.next()) {
            groups.append({query.value(0).toString(), query.value(1).toString()});
        }
    }
    return groups;
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
    const QString idList = ids.join(QLatin1Char(','));
    const QList<EntryRecord> records = readRecords(idList);
    if (records.isEmpty()) {
        qDebug() << "no entries to link";
        return result;
    }
    const QList<QPair<QString, QString>> groups = readGroups(idList);

    for (const EntryRecord& record : records) {
        result.seconds += int(util::sql_to_datetime(record.value(QStringLiteral("start_time")))
                                  .secsTo(util::sql_to_datetime(record.value(QStringLiteral("end_time")))));
    }
    const QDate date = util::sql_to_datetime(records.first().value(QStringLiteral("start_time"))).date();

    if (!api->addBulk(date, result.seconds, taskId, encodeNotes(notes), &result.extEntryId)) {
        qDebug() << "FAILED: verrin.entries.addBulk";
        return result;
    }
    qDebug().noquote() << "API add entry result: ext_entry_id = " + result.extEntryId;

    const QString projectId = mapValue("mapTaskParentProjects", taskId);
    const QString tasklistId = mapValue("mapTaskParentTasklists", taskId);
    QSqlQuery update;
    update.prepare(QStringLiteral("UPDATE entries SET ext_task_id = ") + sqlId(taskId) +
                   QStringLiteral(", ext_entry_id = ") + sqlId(result.extEntryId) +
                   QStringLiteral(", ext_project_id = ") + sqlId(projectId) + QStringLiteral(", ext_tasklist_id = ") +
                   sqlId(tasklistId) +
                   QStringLiteral(", ext_task_name = :task_name , ext_project_name = :project_name , "
                                  "ext_tasklist_name = :tasklist_name  WHERE id IN (") +
                   idList + QStringLiteral(")"));
    update.bindValue(QStringLiteral(":task_name"), mapValue("mapTaskNames", taskId));
    update.bindValue(QStringLiteral(":project_name"), mapValue("mapProjectNames", projectId));
    update.bindValue(QStringLiteral(":tasklist_name"), mapValue("mapTasklistNames", tasklistId));
    if (!update.exec()) {
        qDebug() << "db error: " + update.lastError().databaseText();
        qDebug() << "driver error: " + update.lastError().driverText();
        // The service entry would carry time the local rows do not know of: take it back.
        bool ok = false;
        const int extId = result.extEntryId.toInt(&ok);
        if (!ok || !api->remove(extId)) {
            qWarning() << "Could not withdraw service entry" << result.extEntryId << "after the local update failed";
        }
        result.extEntryId.clear();
        return result;
    }
    qDebug().noquote() << "db update successful for entries " + idList;
    result.linked = true;
    for (const auto& [appId, title] : groups) {
        QList<EntryRecord> group;
        for (const EntryRecord& record : records) {
            if (record.value(QStringLiteral("application_id")) == appId &&
                record.value(QStringLiteral("title")) == title) {
                group << record;
            }
        }
        result.groups << group;
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
    const QString idList = ids.join(QLatin1Char(','));

    // Seconds to take off each service entry, and which rows belong to it.
    QMap<int, int> secondsByExtEntry;
    QMap<int, QStringList> rowsByExtEntry;
    QSqlQuery query;
    if (!query.exec(QStringLiteral("SELECT id, ext_entry_id, strftime( '%s', end_time ) - strftime( '%s', "
                                   "start_time ) AS duration FROM entries WHERE id IN (") +
                    idList + QStringLiteral(") AND ext_entry_id IS NOT NULL "))) {
        qDebug() << "db error:" << query.lastError().text();
        return result;
    }
    while (query.next()) {
        const int extId = query.value(1).toInt();
        secondsByExtEntry[extId] += query.value(2).toInt();
        rowsByExtEntry[extId] << query.value(0).toString();
    }

    const int total = int(secondsByExtEntry.size());
    int done = 0;
    emit progress(done, total);
    for (auto it = secondsByExtEntry.cbegin(); it != secondsByExtEntry.cend(); ++it) {
        const int extId = it.key();
        QDateTime start;
        QDateTime end;
        bool serviceOk = api->getInfo(extId, &start, &end);
        if (serviceOk) {
            const QDateTime newEnd = end.addSecs(-it.value());
            if (start < newEnd) {
                serviceOk = api->update(extId, start, newEnd);
            } else {
                qDebug() << "WARNING: entry is shorter than duration. Deleting entry";
                serviceOk = api->remove(extId);
            }
        }
        if (serviceOk && unlinkDbEntries(rowsByExtEntry.value(extId))) {
            result.unlinkedIds << rowsByExtEntry.value(extId);
        } else {
            // Its rows stay linked, so local and remote still tell the same story.
            result.failedExtEntryIds << extId;
        }
        emit progress(++done, total);
    }
    return result;
}

bool EntryLinker::unlinkDbEntries(const QStringList& entryIds)
{
    const QStringList ids = numericIds(entryIds);
    if (ids.isEmpty()) {
        return true;
    }
    QSqlQuery query;
    if (!query.exec(QStringLiteral("UPDATE entries SET ext_entry_id = NULL , ext_task_id = NULL , ext_tasklist_id = "
                                   "NULL , ext_project_id = NULL , ext_task_name = NULL , ext_tasklist_name = NULL , "
                                   "ext_project_name = NULL WHERE id IN ( ") +
                    ids.join(QLatin1Char(',')) + QStringLiteral(") "))) {
        qDebug() << "db error:" << query.lastError().text();
        return false;
    }
    return true;
}
