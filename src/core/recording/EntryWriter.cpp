#include "recording/EntryWriter.h"

#include "recording/AppIcons.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

namespace {
constexpr qsizetype kRememberedApps = 1024;
} // namespace

void EntryWriter::remember(const QString& what, const QSqlError& failure) const
{
    qDebug() << qPrintable(what) << failure.text();
    // The driver's own words are what the user can act on ("database or disk is full").
    error = failure.databaseText().isEmpty() ? failure.text() : failure.databaseText();
}

int EntryWriter::findDbApp(const AppStruct& app) const
{
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT id FROM applications WHERE path = :path AND name = :name "));
    query.bindValue(QStringLiteral(":path"), app.path);
    query.bindValue(QStringLiteral(":name"), app.name);
    if (!query.exec()) {
        remember(QStringLiteral("find app db error: "), query.lastError());
        return 0;
    }
    return query.next() ? query.value(0).toInt() : 0;
}

int EntryWriter::addDbApp(const AppStruct& app) const
{
    QSqlQuery query;
    query.prepare(QStringLiteral("INSERT INTO applications (path, name) VALUES (:path, :name) "));
    query.bindValue(QStringLiteral(":path"), app.path);
    query.bindValue(QStringLiteral(":name"), app.name);
    if (!query.exec()) {
        remember(QStringLiteral("add app db error: "), query.lastError());
        return 0;
    }
    return query.lastInsertId().toInt();
}

int EntryWriter::addDbEntry(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId) const
{
    if (!run(insertEntry, {app.title, util::datetime_to_sql(start), util::datetime_to_sql(end), appId},
             QStringLiteral("add entry db error: "))) {
        return 0;
    }
    return insertEntry.query->lastInsertId().toInt();
}

bool EntryWriter::run(KeptStatement& kept, const QVariantList& values, const QString& what) const
{
    bool ok = true;
    if (!kept.query) {
        kept.query.emplace();
        ok = kept.query->prepare(kept.sql);
    }
    if (ok) {
        for (qsizetype i = 0; i < values.size(); ++i) {
            kept.query->bindValue(int(i), values.at(i));
        }
        ok = kept.query->exec();
    }
    if (!ok) {
        remember(what, kept.query->lastError());
        // Prepared afresh next time, in case the database was closed and opened again since.
        kept.query.reset();
    }
    return ok;
}

QPair<int, int> EntryWriter::addDbTime(const QDateTime& start, const QDateTime& end, const AppStruct& app) const
{
    const QPair<QString, QString> key(app.path, app.name);
    int appId = appIds.value(key);
    if (appId == 0) {
        appId = findDbApp(app);
        if (appId == 0) {
            appId = addDbApp(app);
        }
        if (appId != 0) {
            if (appIds.size() >= kRememberedApps) {
                appIds.clear();
            }
            appIds.insert(key, appId);
        }
    }
    const int entryId = addDbEntry(start, end, app, appId);
    return qMakePair(appId, entryId);
}

EntryWriter::RowChange EntryWriter::updateDbEntryEnd(int entryId, const QDateTime& end) const
{
    if (!run(moveEnd, {util::datetime_to_sql(end), entryId}, QStringLiteral("update entry db error: "))) {
        return RowChange::Failed;
    }
    return moveEnd.query->numRowsAffected() > 0 ? RowChange::Done : RowChange::Gone;
}

EntryWriter::RowChange EntryWriter::removeDbEntry(int entryId) const
{
    QSqlQuery query;
    query.prepare(QStringLiteral("DELETE FROM entries WHERE id = :id AND ext_task_id IS NULL "));
    query.bindValue(QStringLiteral(":id"), entryId);
    if (!query.exec()) {
        remember(QStringLiteral("delete entry db error: "), query.lastError());
        return RowChange::Failed;
    }
    return query.numRowsAffected() > 0 ? RowChange::Done : RowChange::Gone;
}

int EntryWriter::idleAppId()
{
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT id FROM applications WHERE path = :path "));
    query.bindValue(QStringLiteral(":path"), QString::fromLatin1(util::kIdleAppPath));
    if (!query.exec()) {
        qDebug() << "find idle app db error: " << query.lastError().text();
        return 0;
    }
    return query.next() ? query.value(0).toInt() : 0;
}
