#pragma once

#include "verrin/LinkJournal.h"

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

class TimeEntryApi;

// Compares the service entries that linked rows of some days point to with the rows' own time, and
// lists what is pending, so the user can see that each second is booked once, and repair what is not.
class LinkCheck
{
public:
    enum class Verdict
    {
        Agree,
        Longer,     // the service holds more time than the rows
        Shorter,    // the service holds less
        Missing,    // the service no longer has the entry
        Pending,    // an answer was lost; the rows wait for a decision
        Unreadable, // the service did not answer about it
    };

    struct Line
    {
        Verdict verdict = Verdict::Agree;
        qint64 extEntryId = 0;
        QString taskId;
        QString taskName;
        QDate day;
        int localSeconds = 0;
        int serviceSeconds = 0;
        QStringList entryIds;
        QString detail;
    };

    explicit LinkCheck(TimeEntryApi* api) : api(api) {}

    QList<Line> check(const QDate& from, const QDate& to);

    // Sets a service entry that is longer or shorter than its rows to the rows' time (journaled).
    bool adjust(const Line& line, QString* error);

    static bool allAgree(const QList<Line>& lines);
    static QString verdictName(Verdict verdict);
    // One line for the terminal: verdict, day, entry, task and both times.
    static QString lineText(const Line& line);

private:
    TimeEntryApi* api;
};
