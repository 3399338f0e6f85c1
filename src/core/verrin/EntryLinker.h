#pragma once

#include "verrin/LinkedRows.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QStringList>

class TimeEntryApi;
struct CallOutcome;

// Sends recorded entries to the service, one time entry per task and day, and marks the local rows;
// and takes them back again. Every request is written to the link journal first and settled together
// with the rows' marks, so local rows and service entries never disagree: a refusal leaves the rows as
// they were, a lost answer leaves them pending until the outcome is known, and nothing is sent twice.
class EntryLinker : public QObject
{
    Q_OBJECT
public:
    explicit EntryLinker(TimeEntryApi* api, QObject* parent = nullptr);

    struct LinkResult
    {
        bool linked = false; // at least one day's entry was made and its rows marked
        QStringList extEntryIds;
        int seconds = 0; // of the rows now linked
        // The linked rows grouped by application and title, ready for the linked tree.
        QList<QList<EntryRecord>> groups;
        QStringList linkedIds;
        QStringList pendingIds; // the answer was lost: neither linked nor free
        QStringList skippedIds; // linked or pending already, so not sent again
        QStringList problems;   // one line per day that did not link, for the user
        bool tokenExpired = false;
    };

    struct UnlinkResult
    {
        QStringList unlinkedIds;      // rows that are unlinked now
        QList<int> failedExtEntryIds; // service entries that could not be shortened or deleted
        QStringList pendingIds;
        // Service entries the service no longer knows, with their rows: only the user can say
        // whether those rows should be unlinked here.
        QMap<qint64, QStringList> goneEntries;
        QStringList problems;
        bool tokenExpired = false;
    };

    LinkResult connectEntriesWithTask(const QStringList& entryIds, const QString& taskId, const QString& notes);
    UnlinkResult unlinkEntries(const QStringList& entryIds);

    // Unlinks the rows of a service entry that is gone from the service, here only; journaled so the
    // history tells why.
    static bool unlinkGoneEntry(qint64 extEntryId, const QStringList& entryIds, QString* error);

    // Notes are percent-encoded here and then once more by the form encoding of the request; the
    // service decodes twice.
    static QString encodeNotes(const QString& notes);

    // Only whole numbers may be pasted into statements; anything else in a list of ids is dropped.
    static QStringList numericIds(const QStringList& ids);

signals:
    // Progress of a long run, for the status bar: `done` of `total` requests.
    void progress(int done, int total);

private:
    TimeEntryApi* api;
};
