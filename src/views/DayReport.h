#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

// The day's unlinked and linked trees with their times as text, without a window or display: the
// same trees and times the main window shows for that day.
class DayReport
{
public:
    enum class Format
    {
        Text,
        Json,
        Csv
    };

    struct Options
    {
        int hideUnder = 0;
        bool groupByHour = false;
        QString filter;
        // "HideUnder" and "GroupByHour" from the registry; no title filter.
        static Options fromRegistry();
    };

    // "text", "json" or "csv" (case ignored).
    static bool parseFormat(const QString& name, Format* format);

    // Reads "--report [yyyy-MM-dd] [--format text|json|csv]" (also "--format=json") out of the whole
    // command line; other arguments are left alone. Without a date the report is for `today`.
    // False with a message for a bad date or format.
    static bool parseArguments(const QStringList& arguments, const QDate& today, QDate* date, Format* format,
                               QString* error);

    // Works on the default database connection, which must be open.
    static QString render(const QDate& date, Format format, QString* error);
    static QString render(const QDate& date, Format format, const Options& options, QString* error);
};
