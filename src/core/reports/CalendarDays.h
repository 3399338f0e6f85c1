#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

// Which days hold unlinked time of applications that are not excluded: the days the calendar
// marks. Asked for the days the calendar shows rather than the whole history, with one index seek
// per day, so marking stays fast on years of entries.
class CalendarDays
{
public:
    // Days from `from` to `to` (both included) with at least one unlinked entry starting on them
    // whose application's path is not in `ignoredPaths`. An empty list on error (logged).
    static QList<QDate> daysWithUnlinkedTime(const QDate& from, const QDate& to, const QStringList& ignoredPaths);
    // The same with "IgnoredApps" from the registry.
    static QList<QDate> daysWithUnlinkedTime(const QDate& from, const QDate& to);

    // A range that covers every day a month calendar can show for that month (six weeks of rows,
    // whatever the first day of the week).
    static void shownRange(int year, int month, QDate* from, QDate* to);
};
