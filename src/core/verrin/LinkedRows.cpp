#include "verrin/LinkedRows.h"

#include "reports/DayQueries.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

namespace {
LinkedRows::Row rowOf(const QSqlQuery& query)
{
    LinkedRows::Row row;
    row.id = query.value(0).toInt();
    row.extEntryId = query.value(1).toLongLong();
    row.taskId = query.value(2).toString();
    row.taskName = query.value(3).toString();
    row.start = query.value(4).toString();
    row.end = query.value(5).toString();
    return row;
}

bool readRows(QSqlQuery& query, QList<LinkedRows::Row>* rows, QString* error)
{
    if (!query.exec()) {
        qDebug() << "db error:" << query.lastError().text();
        if (error) {
            *error = query.lastError().text();
        }
        return false;
    }
    while (query.next()) {
        rows->append(rowOf(query));
    }
    return true;
}
} // namespace

QList<EntryRecord> LinkedRows::records(const QStringList& ids)
{
    QList<EntryRecord> records;
    const QString list = DayQueries::idList(ids);
    QSqlQuery query;
    if (list.isEmpty() ||
        !query.exec(QStringLiteral("SELECT entries.id, entries.title, entries.application_id, entries.start_time, "
                                   "entries.end_time, applications.path AS app_path, applications.name AS app_name, "
                                   "entries.ext_entry_id FROM entries, applications WHERE entries.application_id = "
                                   "applications.id AND entries.id IN (") +
                    list + QStringLiteral(") ORDER BY entries.start_time, entries.id"))) {
        if (!list.isEmpty()) {
            qDebug() << "db error:" << query.lastError().text();
        }
        return records;
    }
    const QStringList keys = {
        QStringLiteral("id"),         QStringLiteral("title"),       QStringLiteral("application_id"),
        QStringLiteral("start_time"), QStringLiteral("end_time"),    QStringLiteral("app_path"),
        QStringLiteral("app_name"),   QStringLiteral("ext_entry_id")};
    while (query.next()) {
        EntryRecord record;
        for (int i = 0; i < keys.size(); ++i) {
            record.insert(keys.at(i), query.value(i).toString());
        }
        records << record;
    }
    return records;
}

bool LinkedRows::linkedAmong(const QStringList& ids, QList<Row>* rows, QString* error)
{
    const QString list = DayQueries::idList(ids);
    if (list.isEmpty()) {
        return true;
    }
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT id, ext_entry_id, ext_task_id, ext_task_name, start_time, end_time FROM "
                                 "entries WHERE id IN (") +
                  list + QStringLiteral(") AND ext_entry_id IS NOT NULL"));
    return readRows(query, rows, error);
}

bool LinkedRows::ofEntriesTouching(const QString& first, const QString& last, QList<Row>* rows, QString* error)
{
    QSqlQuery query;
    query.prepare(QStringLiteral(
        "SELECT id, ext_entry_id, ext_task_id, ext_task_name, start_time, end_time FROM entries WHERE ext_entry_id IN "
        "(SELECT DISTINCT ext_entry_id FROM entries WHERE start_time >= :from AND start_time <= :to AND ext_entry_id "
        "IS NOT NULL) ORDER BY ext_entry_id, start_time"));
    query.bindValue(QStringLiteral(":from"), first);
    query.bindValue(QStringLiteral(":to"), last);
    return readRows(query, rows, error);
}

QDate LinkedRows::firstDayWithin(const QStringList& ids, const QString& first, const QString& last)
{
    const QString list = DayQueries::idList(ids);
    if (list.isEmpty()) {
        return {};
    }
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT MIN(DATE(start_time)) FROM entries WHERE id IN (") + list +
                  QStringLiteral(") AND start_time >= :from AND start_time <= :to"));
    query.bindValue(QStringLiteral(":from"), first);
    query.bindValue(QStringLiteral(":to"), last);
    if (!query.exec() || !query.next() || query.value(0).isNull()) {
        return {};
    }
    return util::sql_to_date(query.value(0).toString());
}
