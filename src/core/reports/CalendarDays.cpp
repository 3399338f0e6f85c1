#include "reports/CalendarDays.h"

#include "app/Registry.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

namespace {

// Ids of the applications with these paths; each path is bound, the ids are the database's integers.
QStringList applicationIds(const QStringList& paths)
{
    QStringList ids;
    if (paths.isEmpty()) {
        return ids;
    }
    QStringList placeholders;
    for (int i = 0; i < paths.size(); ++i) {
        placeholders << QStringLiteral("?");
    }
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT id FROM applications WHERE path IN (") + placeholders.join(QLatin1Char(',')) +
                  QStringLiteral(") "));
    for (const QString& path : paths) {
        query.addBindValue(path);
    }
    if (!query.exec()) {
        qDebug() << "query error: " << query.lastError().text();
        return ids;
    }
    while (query.next()) {
        ids << QString::number(query.value(0).toLongLong());
    }
    return ids;
}

} // namespace

QList<QDate> CalendarDays::daysWithUnlinkedTime(const QDate& from, const QDate& to)
{
    return daysWithUnlinkedTime(from, to, Registry::instance()->ignoredApps());
}

QList<QDate> CalendarDays::daysWithUnlinkedTime(const QDate& from, const QDate& to, const QStringList& ignoredPaths)
{
    QList<QDate> days;
    if (!from.isValid() || !to.isValid() || from > to) {
        return days;
    }
    const QStringList ignoredIds = applicationIds(ignoredPaths);
    const QString notIgnored = ignoredIds.isEmpty() ? QString()
                                                    : QStringLiteral("AND application_id NOT IN(") +
                                                          ignoredIds.join(QLatin1Char(',')) + QStringLiteral(") ");
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT 1 FROM entries WHERE ext_task_id IS NULL AND start_time >= :day_start AND "
                                 "start_time <= :day_end ") +
                  notIgnored + QStringLiteral("LIMIT 1"));
    for (QDate day = from; day <= to; day = day.addDays(1)) {
        query.bindValue(QStringLiteral(":day_start"), day.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
        query.bindValue(QStringLiteral(":day_end"), day.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
        if (!query.exec()) {
            qDebug() << "query error: " << query.lastError().text();
            return {};
        }
        if (query.next()) {
            days << day;
        }
        query.finish();
    }
    return days;
}

void CalendarDays::shownRange(int year, int month, QDate* from, QDate* to)
{
    const QDate first(year, month, 1);
    *from = first.addDays(-7);
    *to = first.addDays(42);
}
