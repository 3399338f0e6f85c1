#pragma once

#include "recording/AppStruct.h"

#include <QDateTime>
#include <QHash>
#include <QPair>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>

#include <optional>

class QSqlError;

// Stores recorded stretches: one `applications` row per distinct (path, name) pair and one `entries`
// row per stretch, on the default connection with every text bound as a parameter. Failures are
// logged with a fixed prefix and the driver's text and answered with id 0; recording goes on.
class EntryWriter
{
public:
    // The application's id, or 0 when it is not stored yet (or the look-up failed).
    int findDbApp(const AppStruct& app) const;
    // Inserts the application; its new id, or 0 on failure.
    int addDbApp(const AppStruct& app) const;
    // Inserts one stretch; the new entry's id, or 0 on failure.
    int addDbEntry(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId) const;
    // Finds or adds the application, then inserts the stretch: (application id, entry id). Application
    // rows are never removed, so their ids are remembered and a window switch costs one statement.
    QPair<int, int> addDbTime(const QDateTime& start, const QDateTime& end, const AppStruct& app) const;
    enum class RowChange
    {
        Done,
        Gone,  // the row is linked to a task or no longer exists: left untouched
        Failed // database error (logged)
    };
    // Moves the end of a stretch already stored (the open stretch grows at each checkpoint). Rows linked
    // to a task are never changed: their time may already be on the service.
    RowChange updateDbEntryEnd(int entryId, const QDateTime& end) const;
    // Removes a stored stretch that turned out empty (unless it was linked meanwhile).
    RowChange removeDbEntry(int entryId) const;

    // The away-time pseudo-application's id, or 0 when no away time was ever stored.
    static int idleAppId();

    // The driver's text of the last failed statement (empty before any failure).
    const QString& lastError() const { return error; }

private:
    // A window switch inserts a row and a checkpoint moves an end: their statements are prepared once
    // and kept, as parsing one costs more than running it.
    struct KeptStatement
    {
        QString sql;
        std::optional<QSqlQuery> query;
    };
    // Runs the statement with the values bound in order; a failure is remembered under `what`.
    bool run(KeptStatement& kept, const QVariantList& values, const QString& what) const;

    void remember(const QString& what, const QSqlError& failure) const;

    mutable QString error;
    mutable QHash<QPair<QString, QString>, int> appIds; // (path, name) -> id
    mutable KeptStatement insertEntry{
        QStringLiteral("INSERT INTO entries (title, start_time, end_time, application_id) VALUES (?, ?, ?, ?) "), {}};
    mutable KeptStatement moveEnd{
        QStringLiteral("UPDATE entries SET end_time = ? WHERE id = ? AND ext_task_id IS NULL "), {}};
};
