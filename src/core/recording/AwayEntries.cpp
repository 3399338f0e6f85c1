#include "recording/AwayEntries.h"

#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

AwayEntries AwayEntries::read(const QList<int>& ids)
{
    AwayEntries result;
    if (ids.isEmpty()) {
        return result;
    }
    // The list is built from integers, so it can be part of the statement.
    QStringList idTexts;
    for (int id : ids) {
        idTexts << QString::number(id);
    }
    QSqlQuery query;
    if (!query.exec(QStringLiteral("SELECT start_time, end_time, title FROM entries WHERE id IN (") +
                    util::implode(QStringLiteral(","), idTexts) + QStringLiteral(")"))) {
        qDebug() << "away entries db error: " << query.lastError().text();
        return result;
    }
    while (query.next()) {
        const QDateTime start = util::sql_to_datetime(query.value(0).toString());
        const QDateTime end = util::sql_to_datetime(query.value(1).toString());
        result.seconds += int(start.secsTo(end));
        if (!result.firstStart.isValid()) {
            result.firstStart = start;
        }
        result.lastEnd = end;
        result.title = query.value(2).toString();
        ++result.rows;
    }
    return result;
}
