#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariant>

// Small helpers for the text forms of time the database stores and the durations the views show.
namespace util {

// Local date-time texts as stored in the database ("yyyy-MM-dd hh:mm:ss").
inline constexpr const char* kSqlDateTimeFormat = "yyyy-MM-dd hh:mm:ss";
inline constexpr const char* kSqlDateFormat = "yyyy-MM-dd";

// Reads "yyyy-MM-dd hh:mm:ss" back. An empty text gives a null value; malformed parts convert to 0
// and give an invalid date or time rather than an error, so one bad row never stops a whole day.
QDateTime sql_to_datetime(const QString& text);
// Real seconds elapsed between two stored local wall-clock times (day number and second of the
// day), read in the system time zone: across a daylight-saving change this is not the difference
// of the two texts. Where the two ends can be read with one offset (the hour the clock passes twice
// in autumn), they are, as the recorder never lets a row span a change; otherwise the shortest
// reading that is not negative. A reading in the hour skipped in spring counts with the offset from
// before the change. Never negative.
qint64 elapsed_seconds(qint64 startJulianDay, int startSecond, qint64 endJulianDay, int endSecond);
qint64 elapsed_seconds(const QDateTime& start, const QDateTime& end);
QDate sql_to_date(const QString& text);

QString datetime_to_sql(const QDateTime& dateTime);
QString date_to_sql(const QDate& date);

QString implode(const QString& separator, const QList<QVariant>& items);
QString implode(const QString& separator, const QStringList& items);

// "1 h 2 m 5 s", "2 m 5 s" or "5 s", without padding.
QString format_time(int seconds);
// "h:mm:ss" with the hours unpadded, for lines a terminal shows in columns.
QString clock_time(qint64 seconds);

// Splits a search pattern into words and "quoted phrases" (quotes removed), as typed into the filters
// and rule titles. An unclosed quote is skipped and the words after it are taken one by one.
QStringList extractWords(const QString& pattern);

// `text` on one line: each line break (a window title can hold them) becomes a visible " ⏎ ", so a
// view that shows one line does not silently drop what follows.
QString one_line(const QString& text);

// One CSV cell of text (RFC 4180): quoted when it holds a comma, quote or line break, or begins or
// ends with a blank. A text a spreadsheet would run as a formula (leading =, +, -, @, tab or carriage
// return: a window title can be anything) gets a leading apostrophe, as spreadsheets expect.
QString csv_cell(const QString& text);

} // namespace util
