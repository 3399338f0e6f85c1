#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

// What the away dialog shows about a group of entries: the span they cover, their summed duration and
// the (last) title they carry.
struct AwayEntries
{
    QDateTime firstStart;
    QDateTime lastEnd;
    int seconds = 0;
    QString title;
    int rows = 0;

    // Reads the entries with these ids from the default connection (rows in table order).
    static AwayEntries read(const QList<int>& ids);
};
