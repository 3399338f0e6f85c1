#include "verrin/LinkJournal.h"

#include "app/Registry.h"
#include "store/WriteTransaction.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace {

QString mapValue(const QVariantMap& map, const QString& key)
{
    return map.value(key).toString();
}

QVariant idOrNull(const QString& id)
{
    bool ok = false;
    const qlonglong value = id.toLongLong(&ok);
    return ok ? QVariant(value) : QVariant(QMetaType(QMetaType::LongLong));
}

// The row ids are integers the program holds, so they may be written into the statement.
QString idList(const QList<int>& ids)
{
    QStringList texts;
    for (int id : ids) {
        texts << QString::number(id);
    }
    return texts.join(QLatin1Char(','));
}

bool run(QSqlQuery& query, QString* error)
{
    if (query.exec()) {
        return true;
    }
    if (error) {
        *error = query.lastError().text();
    }
    qDebug() << "Database error:" << query.lastError().text();
    return false;
}

bool runText(const QString& statement, QString* error)
{
    QSqlQuery query;
    if (query.exec(statement)) {
        return true;
    }
    if (error) {
        *error = query.lastError().text();
    }
    qDebug() << "Database error:" << query.lastError().text();
    return false;
}

bool closeIntent(qint64 intentId, const QString& outcome, qint64 extEntryId, QString* error)
{
    QSqlQuery query;
    query.prepare(QStringLiteral("UPDATE link_journal SET state = 'closed', outcome = :outcome, settled = :settled, "
                                 "ext_entry_id = COALESCE(:ext, ext_entry_id) WHERE id = :id AND state = 'open'"));
    query.bindValue(QStringLiteral(":outcome"), outcome);
    query.bindValue(QStringLiteral(":settled"), util::datetime_to_sql(QDateTime::currentDateTime()));
    query.bindValue(QStringLiteral(":ext"),
                    extEntryId > 0 ? QVariant(extEntryId) : QVariant(QMetaType(QMetaType::LongLong)));
    query.bindValue(QStringLiteral(":id"), intentId);
    if (!run(query, error)) {
        return false;
    }
    if (query.numRowsAffected() != 1) {
        if (error) {
            *error = QStringLiteral("link %1 was settled already").arg(intentId);
        }
        return false;
    }
    return true;
}

} // namespace

TaskNames TaskNames::fromCatalogue(const QString& taskId)
{
    const CatalogueMaps& maps = Registry::instance()->catalogueMaps();
    TaskNames names;
    names.taskId = taskId;
    names.projectId = mapValue(maps.taskParentProjects, taskId);
    names.tasklistId = mapValue(maps.taskParentTasklists, taskId);
    names.taskName = mapValue(maps.taskNames, taskId);
    names.projectName = mapValue(maps.projectNames, names.projectId);
    names.tasklistName = mapValue(maps.tasklistNames, names.tasklistId);
    return names;
}

const QStringList& LinkJournal::schemaStatements()
{
    static const QStringList statements = {
        QStringLiteral("CREATE TABLE IF NOT EXISTS `link_journal` ( `id` INTEGER PRIMARY KEY AUTOINCREMENT, "
                       "`action` TEXT NOT NULL, `state` TEXT NOT NULL DEFAULT 'open', `task_id` INTEGER, "
                       "`project_id` INTEGER, `tasklist_id` INTEGER, `task_name` VARCHAR, `project_name` VARCHAR, "
                       "`tasklist_name` VARCHAR, `day` DATE, `seconds` INTEGER NOT NULL DEFAULT 0, `notes` TEXT, "
                       "`ext_entry_id` INTEGER, `after_ext_id` INTEGER NOT NULL DEFAULT 0, `new_end` DATETIME, "
                       "`created` DATETIME NOT NULL, `settled` DATETIME, `outcome` TEXT ) "),
        QStringLiteral("CREATE TABLE IF NOT EXISTS `link_journal_rows` ( `journal_id` INTEGER NOT NULL, "
                       "`entry_id` INTEGER NOT NULL ) "),
        QStringLiteral("CREATE INDEX IF NOT EXISTS `link_journal_rows_entry_idx` ON link_journal_rows (entry_id) "),
        QStringLiteral("CREATE INDEX IF NOT EXISTS `link_journal_rows_journal_idx` ON link_journal_rows (journal_id) "),
        QStringLiteral("CREATE INDEX IF NOT EXISTS `link_journal_state_idx` ON link_journal (state) "),
    };
    return statements;
}

bool LinkJournal::createSchema(QString* error)
{
    bool ok = true;
    for (const QString& statement : schemaStatements()) {
        ok = runText(statement, error) && ok;
    }
    return ok;
}

QString LinkJournal::actionName(Action action)
{
    switch (action) {
    case Action::Add:
        return QStringLiteral("add");
    case Action::Shorten:
        return QStringLiteral("shorten");
    case Action::Delete:
        return QStringLiteral("delete");
    case Action::Adjust:
        return QStringLiteral("adjust");
    }
    return QString();
}

QSet<qint64>& LinkJournal::inFlight()
{
    static QSet<qint64> intents;
    return intents;
}

bool LinkJournal::open(Intent* intent, QString* error)
{
    if (intent->entryIds.isEmpty() && intent->action != Action::Adjust) {
        if (error) {
            *error = QStringLiteral("no rows");
        }
        return false;
    }
    WriteTransaction transaction;
    if (!transaction.begun()) {
        if (error) {
            *error = transaction.error();
        }
        return false;
    }
    const QString ids = idList(intent->entryIds);
    if (!ids.isEmpty()) {
        // Checked inside the transaction that claims them, so two runs can never claim the same row.
        QString rowsFree = QStringLiteral("SELECT COUNT(*) FROM entries WHERE id IN (%1) AND (id IN (SELECT entry_id "
                                          "FROM link_journal_rows JOIN link_journal ON link_journal.id = journal_id "
                                          "WHERE state = 'open') OR ")
                               .arg(ids);
        rowsFree += intent->action == Action::Add ? QStringLiteral("ext_entry_id IS NOT NULL)")
                                                  : QStringLiteral("ext_entry_id IS NOT :ext)");
        QSqlQuery check;
        check.prepare(rowsFree);
        if (intent->action != Action::Add) {
            check.bindValue(QStringLiteral(":ext"), intent->extEntryId);
        }
        if (!run(check, error) || !check.next()) {
            return false;
        }
        if (check.value(0).toInt() > 0) {
            if (error) {
                *error = QStringLiteral("%1 of the entries are being linked or unlinked already")
                             .arg(check.value(0).toInt());
            }
            return false;
        }
    }
    intent->created = util::datetime_to_sql(QDateTime::currentDateTime());
    QSqlQuery insert;
    insert.prepare(QStringLiteral(
        "INSERT INTO link_journal (action, state, task_id, project_id, tasklist_id, task_name, project_name, "
        "tasklist_name, day, seconds, notes, ext_entry_id, after_ext_id, new_end, created) VALUES (:action, 'open', "
        ":task, :project, :tasklist, :task_name, :project_name, :tasklist_name, :day, :seconds, :notes, :ext, "
        ":after, :new_end, :created)"));
    insert.bindValue(QStringLiteral(":action"), actionName(intent->action));
    insert.bindValue(QStringLiteral(":task"), idOrNull(intent->task.taskId));
    insert.bindValue(QStringLiteral(":project"), idOrNull(intent->task.projectId));
    insert.bindValue(QStringLiteral(":tasklist"), idOrNull(intent->task.tasklistId));
    insert.bindValue(QStringLiteral(":task_name"), intent->task.taskName);
    insert.bindValue(QStringLiteral(":project_name"), intent->task.projectName);
    insert.bindValue(QStringLiteral(":tasklist_name"), intent->task.tasklistName);
    insert.bindValue(QStringLiteral(":day"), util::date_to_sql(intent->day));
    insert.bindValue(QStringLiteral(":seconds"), intent->seconds);
    insert.bindValue(QStringLiteral(":notes"), intent->notes);
    insert.bindValue(QStringLiteral(":ext"),
                     intent->extEntryId > 0 ? QVariant(intent->extEntryId) : QVariant(QMetaType(QMetaType::LongLong)));
    insert.bindValue(QStringLiteral(":after"), intent->afterExtId);
    insert.bindValue(QStringLiteral(":new_end"),
                     intent->newEnd.isValid() ? util::datetime_to_sql(intent->newEnd) : QString());
    insert.bindValue(QStringLiteral(":created"), intent->created);
    if (!run(insert, error)) {
        return false;
    }
    intent->id = insert.lastInsertId().toLongLong();
    QSqlQuery row;
    row.prepare(QStringLiteral("INSERT INTO link_journal_rows (journal_id, entry_id) VALUES (:journal, :entry)"));
    for (int entryId : intent->entryIds) {
        row.bindValue(QStringLiteral(":journal"), intent->id);
        row.bindValue(QStringLiteral(":entry"), entryId);
        if (!run(row, error)) {
            return false;
        }
    }
    return transaction.commit(error);
}

bool LinkJournal::close(qint64 intentId, const QString& outcome, QString* error)
{
    WriteTransaction transaction;
    return closeIntent(intentId, outcome, 0, error) && transaction.commit(error);
}

bool LinkJournal::closeLinked(const Intent& intent, qint64 extEntryId, const QString& outcome, QString* error)
{
    WriteTransaction transaction;
    QSqlQuery update;
    update.prepare(QStringLiteral("UPDATE entries SET ext_task_id = :task, ext_entry_id = :ext, ext_project_id = "
                                  ":project, ext_tasklist_id = :tasklist, ext_task_name = :task_name , "
                                  "ext_project_name = :project_name , ext_tasklist_name = :tasklist_name  WHERE id IN "
                                  "(") +
                   idList(intent.entryIds) + QStringLiteral(") AND ext_entry_id IS NULL"));
    update.bindValue(QStringLiteral(":task"), idOrNull(intent.task.taskId));
    update.bindValue(QStringLiteral(":ext"), extEntryId);
    update.bindValue(QStringLiteral(":project"), idOrNull(intent.task.projectId));
    update.bindValue(QStringLiteral(":tasklist"), idOrNull(intent.task.tasklistId));
    update.bindValue(QStringLiteral(":task_name"), intent.task.taskName);
    update.bindValue(QStringLiteral(":project_name"), intent.task.projectName);
    update.bindValue(QStringLiteral(":tasklist_name"), intent.task.tasklistName);
    return run(update, error) && closeIntent(intent.id, outcome, extEntryId, error) && transaction.commit(error);
}

bool LinkJournal::closeUnlinked(const Intent& intent, const QString& outcome, QString* error)
{
    WriteTransaction transaction;
    QSqlQuery update;
    update.prepare(QStringLiteral("UPDATE entries SET ext_entry_id = NULL , ext_task_id = NULL , ext_tasklist_id = "
                                  "NULL , ext_project_id = NULL , ext_task_name = NULL , ext_tasklist_name = NULL , "
                                  "ext_project_name = NULL WHERE id IN ( ") +
                   idList(intent.entryIds) + QStringLiteral(") "));
    return run(update, error) && closeIntent(intent.id, outcome, 0, error) && transaction.commit(error);
}

QList<LinkJournal::Intent> LinkJournal::openIntents()
{
    QList<Intent> intents;
    QSqlQuery query;
    if (!query.exec(QStringLiteral("SELECT id, action, task_id, project_id, tasklist_id, task_name, project_name, "
                                   "tasklist_name, day, seconds, notes, ext_entry_id, after_ext_id, new_end, created "
                                   "FROM link_journal WHERE state = 'open' ORDER BY id"))) {
        qDebug() << "Database error:" << query.lastError().text();
        return intents;
    }
    while (query.next()) {
        Intent intent;
        intent.id = query.value(0).toLongLong();
        const QString action = query.value(1).toString();
        for (Action candidate : {Action::Add, Action::Shorten, Action::Delete, Action::Adjust}) {
            if (actionName(candidate) == action) {
                intent.action = candidate;
            }
        }
        intent.task.taskId = query.value(2).toString();
        intent.task.projectId = query.value(3).toString();
        intent.task.tasklistId = query.value(4).toString();
        intent.task.taskName = query.value(5).toString();
        intent.task.projectName = query.value(6).toString();
        intent.task.tasklistName = query.value(7).toString();
        intent.day = util::sql_to_date(query.value(8).toString());
        intent.seconds = query.value(9).toInt();
        intent.notes = query.value(10).toString();
        intent.extEntryId = query.value(11).toLongLong();
        intent.afterExtId = query.value(12).toLongLong();
        intent.newEnd = util::sql_to_datetime(query.value(13).toString());
        intent.created = query.value(14).toString();
        intents << intent;
    }
    QSqlQuery rows;
    rows.prepare(QStringLiteral("SELECT entry_id FROM link_journal_rows WHERE journal_id = :id ORDER BY entry_id"));
    for (Intent& intent : intents) {
        rows.bindValue(QStringLiteral(":id"), intent.id);
        if (rows.exec()) {
            while (rows.next()) {
                intent.entryIds << rows.value(0).toInt();
            }
        }
    }
    return intents;
}

QSet<int> LinkJournal::pendingEntryIds()
{
    QSet<int> ids;
    QSqlQuery query;
    if (query.exec(QStringLiteral("SELECT entry_id FROM link_journal_rows JOIN link_journal ON link_journal.id = "
                                  "journal_id WHERE state = 'open'"))) {
        while (query.next()) {
            ids.insert(query.value(0).toInt());
        }
    }
    return ids;
}

qint64 LinkJournal::highestKnownExtId()
{
    QSqlQuery query;
    if (!query.exec(QStringLiteral("SELECT MAX(COALESCE((SELECT MAX(ext_entry_id) FROM entries), 0), "
                                   "COALESCE((SELECT MAX(ext_entry_id) FROM link_journal), 0), "
                                   "COALESCE((SELECT MAX(after_ext_id) FROM link_journal), 0))")) ||
        !query.next()) {
        return 0;
    }
    return query.value(0).toLongLong();
}

bool LinkJournal::isClaimed(qint64 extEntryId)
{
    QSqlQuery query;
    query.prepare(
        QStringLiteral("SELECT (SELECT COUNT(*) FROM entries WHERE ext_entry_id = :a) + (SELECT COUNT(*) "
                       "FROM link_journal WHERE ext_entry_id = :b AND COALESCE(outcome, '') NOT LIKE 'withdrawn%')"));
    query.bindValue(QStringLiteral(":a"), extEntryId);
    query.bindValue(QStringLiteral(":b"), extEntryId);
    return !query.exec() || !query.next() || query.value(0).toInt() > 0;
}
