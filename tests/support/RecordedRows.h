#pragma once

#include "store/util.h"

#include <QSqlQuery>
#include <QStringList>

// Rows written the way the recorder leaves them, on the default connection.
namespace RecordedRows {

// An application known by its desktop file, as the platform reports it.
inline int addApp(const QString& name)
{
    QSqlQuery query;
    query.prepare(QStringLiteral("INSERT INTO applications (path, name) VALUES (:path, :name)"));
    query.bindValue(QStringLiteral(":path"), QStringLiteral("/usr/share/applications/%1.desktop").arg(name));
    query.bindValue(QStringLiteral(":name"), name);
    query.exec();
    return query.lastInsertId().toInt();
}

// One stretch of `seconds` from `start` ("yyyy-MM-dd hh:mm:ss").
inline int addEntry(int appId, const QString& title, const QString& start, int seconds)
{
    QSqlQuery query;
    query.prepare(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time) "
                                 "VALUES (:title, :app_id, :start, :end)"));
    query.bindValue(QStringLiteral(":title"), title);
    query.bindValue(QStringLiteral(":app_id"), appId);
    query.bindValue(QStringLiteral(":start"), start);
    query.bindValue(QStringLiteral(":end"), util::datetime_to_sql(util::sql_to_datetime(start).addSecs(seconds)));
    query.exec();
    return query.lastInsertId().toInt();
}

// The first column of every row `sql` returns, as text.
inline QStringList column(const QString& sql)
{
    QStringList values;
    QSqlQuery query(sql);
    while (query.next()) {
        values << query.value(0).toString();
    }
    return values;
}

// Empties the recorded and rule tables between test cases.
inline void clearAll()
{
    QSqlQuery query;
    for (const char* table : {"rules", "rules_apps", "entries", "applications", "sqlite_sequence"}) {
        query.exec(QStringLiteral("DELETE FROM %1").arg(QLatin1String(table)));
    }
}

} // namespace RecordedRows
