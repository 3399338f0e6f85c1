#pragma once

#include "verrin/LinkJournal.h"

#include <QList>
#include <QString>
#include <QStringList>

class Prompter;
class TimeEntryApi;

// Settles the open intents of the link journal: an answer was lost, the program died mid-request,
// or the database could not be written after the service said yes. First it asks the service what
// became of each (reads only: nothing is ever sent a second time); what the service cannot tell is
// left pending for the user, who may check again, keep or put back.
class LinkRecovery
{
public:
    explicit LinkRecovery(TimeEntryApi* api) : api(api) {}

    struct Unsettled
    {
        LinkJournal::Intent intent;
        QString why;
        bool gone = false; // the service no longer has the entry the rows are linked to
    };

    struct Report
    {
        int settled = 0;
        QList<Unsettled> unsettled;
        bool serviceAnswered = true;
    };

    // Settles whatever the service's answers prove.
    Report settle();
    // settle(), then asks the user about each intent still open. Returns what is left.
    Report resolveWithUser(Prompter* prompter);

    // How far above the last known id a lost entry is looked for.
    static constexpr int kMaxScan = 500;
    static constexpr int kMaxMissesInARow = 25;
    static constexpr int kMaxBlindScan = 1000;

    // One line for a pending intent, for lists and questions.
    static QString describe(const LinkJournal::Intent& intent);

private:
    enum class Verdict
    {
        Settled,
        Unsettled,
        Unreachable,
    };
    Verdict settleOne(const LinkJournal::Intent& intent, Unsettled* unsettled);
    Verdict findLostEntry(const LinkJournal::Intent& intent, Unsettled* unsettled);
    Verdict settleChange(const LinkJournal::Intent& intent, Unsettled* unsettled);
    enum class Answer
    {
        Closed,
        CheckAgain,
        Later,
    };
    Answer askUser(Prompter* prompter, const Unsettled& item);

    TimeEntryApi* api;
};
