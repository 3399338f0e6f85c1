#pragma once

#include <QDate>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

// One selected row while linking: "id", "title", "application_id", "start_time", "end_time",
// "app_path", "app_name", "ext_entry_id", all as text.
using EntryRecord = QMap<QString, QString>;

// The reads of recorded rows that linking, unlinking and the link check make, in one place beside
// the link journal's writes. Ids come as decimal texts; only those that read as integers reach a
// statement (anything else is left out), everything else is bound.
class LinkedRows
{
public:
    // A row linked to a service entry.
    struct Row
    {
        int id = 0;
        qint64 extEntryId = 0;
        QString taskId;
        QString taskName;
        QString start; // "yyyy-MM-dd hh:mm:ss"
        QString end;
    };

    // The rows with their application, oldest first, as "id", "title", "application_id",
    // "start_time", "end_time", "app_path", "app_name" and "ext_entry_id".
    static QList<EntryRecord> records(const QStringList& ids);
    // Which of these rows are linked to a service entry. False (with the driver's words) when the
    // database cannot be read.
    static bool linkedAmong(const QStringList& ids, QList<Row>* rows, QString* error);
    // Every row of each service entry that has a row in [first, last], also rows of other days,
    // ordered by entry and start.
    static bool ofEntriesTouching(const QString& first, const QString& last, QList<Row>* rows, QString* error);
    // The first day in [first, last] on which one of these rows starts; invalid when none does.
    static QDate firstDayWithin(const QStringList& ids, const QString& first, const QString& last);
};
