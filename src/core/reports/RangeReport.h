#pragma once

#include "reports/DayReport.h"

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

// Recorded time over a range of days, summed by day, application, title or task, with the linked
// and unlinked share of each row. Seconds are whole and the rows add up exactly to the total; a
// stretch that runs past midnight counts on the day it started, as in the day trees.
class RangeReport
{
public:
    enum class By
    {
        Day,
        Application,
        Title,
        Task,
    };

    struct Row
    {
        QStringList keys; // day; application; application and title; or task, its project and list
        qint64 linked = 0;
        qint64 unlinked = 0;
        qint64 total() const { return linked + unlinked; }
    };

    // The task key of time that is linked to no task.
    static QString notLinkedKey() { return QStringLiteral("(not linked)"); }

    // "day", "application", "title" or "task".
    static bool parseBy(const QString& name, By* by);
    static QString byName(By by);

    // Rows in a stable order: days in order, everything else by most time first, then by name.
    // Works on the default database connection, which must be open.
    static QList<Row> rows(const QDate& from, const QDate& to, By by, QString* error);
    static QString render(const QDate& from, const QDate& to, By by, DayReport::Format format, QString* error);
};
