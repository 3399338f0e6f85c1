#pragma once

#include <QDate>
#include <QList>
#include <QStringList>

// The days that hold unlinked time of applications the user has not excluded: they are marked in the
// calendar. Only the range the calendar shows is read, so a long history costs nothing extra.
namespace CalendarMarks {
QList<QDate> datesWithUnlinkedTime(const QStringList& ignoredPaths, const QDate& from, const QDate& to);
}
