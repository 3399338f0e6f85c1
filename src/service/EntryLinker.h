#pragma once

#include <QList>
#include <QMap>
#include <QObject>
#include <QStringList>

class TimeEntryApi;

// One selected row while linking: "id", "title", "application_id", "start_time", "end_time",
// "app_path", "app_name", all as text.
using EntryRecord = QMap<QString, QString>;

// Sends recorded entries to the service as one time entry on a task and marks the local rows, and
// takes them back again. Local rows and service entries never disagree: when one side fails, the
// other is left (or put back) as it was.
class EntryLinker : public QObject
{
    Q_OBJECT
public:
    explicit EntryLinker(TimeEntryApi* api, QObject* parent = nullptr);

    struct LinkResult
    {
        bool linked = false;
        QString extEntryId;
        int seconds = 0;
        // The linked rows grouped by application and title, ready for the linked tree.
        QList<QList<EntryRecord>> groups;
    };

    struct UnlinkResult
    {
        QStringList unlinkedIds;      // rows that are unlinked now
        QList<int> failedExtEntryIds; // service entries that could not be shortened or deleted
    };

    LinkResult connectEntriesWithTask(const QStringList& entryIds, const QString& taskId, const QString& notes);
    UnlinkResult unlinkEntries(const QStringList& entryIds);

    // Clears the seven service columns of the rows.
    static bool unlinkDbEntries(const QStringList& entryIds);

    // Notes are percent-encoded here and then once more by the form encoding of the request; the
    // service decodes twice.
    static QString encodeNotes(const QString& notes);

    // Only whole numbers may be pasted into statements; anything else in a list of ids is dropped.
    static QStringList numericIds(const QStringList& ids);

signals:
    // Progress of a long unlink, for the status bar: `done` of `total` steps.
    void progress(int done, int total);

private:
    TimeEntryApi* api;
};
