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
        // The hide-under threshold and hour grouping from the registry; no title filter.
        static Options fromRegistry();
    };

    // "text", "json" or "csv" (case ignored).
    static bool parseFormat(const QString& name, Format* format);

    // Works on the default database connection, which must be open.
    static QString render(const QDate& date, Format format, QString* error);
    static QString render(const QDate& date, Format format, const Options& options, QString* error);
};
