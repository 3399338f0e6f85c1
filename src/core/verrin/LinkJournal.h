#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

// The service's ids and the names of a task, as the rows keep them once linked.
struct TaskNames
{
    QString taskId;
    QString projectId;
    QString tasklistId;
    QString taskName;
    QString projectName;
    QString tasklistName;

    // From the catalogue maps in the registry; missing keys give empty texts.
    static TaskNames fromCatalogue(const QString& taskId);
};

// What linking meant to do on the service, written down before the request goes out, so that a
// lost answer, a crash or a second run can never make the same time count twice. An intent stays
// open until the service's answer (or the user's word) has been written together with the rows'
// marks; while open, its rows are pending: neither free to link again nor settled.
class LinkJournal
{
public:
    enum class Action
    {
        Add,     // create one service entry for the rows of one task and day
        Shorten, // take the rows' seconds off an entry (to `newEnd`) and unlink the rows
        Delete,  // delete an entry whose rows are all unlinked
        Adjust,  // set an entry's end to `newEnd`, rows stay linked (a repair)
    };

    struct Intent
    {
        qint64 id = 0;
        Action action = Action::Add;
        TaskNames task;
        QDate day;
        int seconds = 0;
        QString notes;
        qint64 extEntryId = 0;
        // For Add: the highest service entry id known when it was sent. Ids only grow, so a lost
        // entry can only be found above it.
        qint64 afterExtId = 0;
        QDateTime newEnd;
        QList<int> entryIds;
        QString created;
    };

    // The two tables; harmless when they exist.
    static const QStringList& schemaStatements();
    static bool createSchema(QString* error = nullptr);

    // Writes the intent and claims its rows in one transaction. Refused (false, with the reason) when
    // one of the rows belongs to another open intent, or is linked already (Add) or no longer linked
    // to the entry (Shorten, Delete).
    static bool open(Intent* intent, QString* error);
    // Closes the intent without touching the rows: the service refused, the request never left, or the
    // user decided the rows stay as they are.
    static bool close(qint64 intentId, const QString& outcome, QString* error);
    // Marks the rows as linked to `extEntryId` and closes the intent, in one transaction.
    static bool closeLinked(const Intent& intent, qint64 extEntryId, const QString& outcome, QString* error);
    // Clears the rows' link marks and closes the intent, in one transaction.
    static bool closeUnlinked(const Intent& intent, const QString& outcome, QString* error);

    static QList<Intent> openIntents();
    // Rows of open intents.
    static QSet<int> pendingEntryIds();
    // The highest service entry id this data folder has been told of.
    static qint64 highestKnownExtId();
    // True when a row or an intent already points at this service entry.
    static bool isClaimed(qint64 extEntryId);

    // Intents whose request is under way in this process right now; they are not pending yet.
    static QSet<qint64>& inFlight();

    static QString actionName(Action action);
};
