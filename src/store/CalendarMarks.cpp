#include "store/CalendarMarks.h"

#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

namespace CalendarMarks {

namespace {
// Application ids of the excluded paths; the ids are then pasted as integers the program holds.
QStringList ignoredAppIds(const QStringList& ignoredPaths)
{
    QStringList ids;
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT id FROM applications WHERE path = :path "));
    for (const QString& path : ignoredPaths) {
        query.bindValue(QStringLiteral(":path"), path);
        if (!query.exec()) {
            qDebug() << "Database error:" << query.lastError().text();
            continue;
        }
        while (query.next()) {
            ids << QString::number(query.value(0).toLongLong());
        }
    }
    return ids;
}
} // namespace

QList<QDate> datesWithUnlinkedTime(const QStringList& ignoredPaths, const QDate& from, const QDate& to)
{
    QString sql = QStringLiteral("SELECT DISTINCT(DATE(start_time)) AS d FROM entries WHERE ext_task_id IS NULL "
                                 "AND start_time >= :from AND start_time <= :to ");
    const QStringList ids = ignoredAppIds(ignoredPaths);
    if (!ids.isEmpty()) {
        sql += QStringLiteral("AND application_id NOT IN(") + ids.join(QLatin1Char(',')) + QStringLiteral(") ");
    }
    QSqlQuery query;
    query.prepare(sql);
    query.bindValue(QStringLiteral(":from"), util::date_to_sql(from) + QStringLiteral(" 00:00:00"));
    query.bindValue(QStringLiteral(":to"), util::date_to_sql(to) + QStringLiteral(" 23:59:59"));
    QList<QDate> dates;
    if (!query.exec()) {
        qDebug() << "Database error:" << query.lastError().text();
        return dates;
    }
    while (query.next()) {
        dates << util::sql_to_date(query.value(0).toString());
    }
    return dates;
}

} // namespace CalendarMarks
