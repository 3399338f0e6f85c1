#include "rules/RuleStore.h"

#include "reports/DayQueries.h"
#include "store/WriteTransaction.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

namespace {

QVariantMap recordFromQuery(const QSqlQuery& query)
{
    const QSqlRecord row = query.record();
    QVariantMap rule;
    rule[QStringLiteral("id")] = row.value(QStringLiteral("id")).toInt();
    rule[QStringLiteral("title_rule")] = row.value(QStringLiteral("title_rule")).toString();
    rule[QStringLiteral("title")] = row.value(QStringLiteral("title")).toString();
    rule[QStringLiteral("date_rule")] = row.value(QStringLiteral("date_rule")).toString();
    rule[QStringLiteral("date_from")] = util::sql_to_date(row.value(QStringLiteral("date_from")).toString());
    rule[QStringLiteral("date_to")] = util::sql_to_date(row.value(QStringLiteral("date_to")).toString());
    rule[QStringLiteral("project_id")] = row.value(QStringLiteral("project_id"));
    rule[QStringLiteral("task_id")] = row.value(QStringLiteral("task_id"));
    rule[QStringLiteral("name")] = row.value(QStringLiteral("name"));
    rule[QStringLiteral("seq")] = row.value(QStringLiteral("seq"));
    rule[QStringLiteral("active")] = row.value(QStringLiteral("active"));
    rule[QStringLiteral("app_ids")] =
        row.value(QStringLiteral("app_ids")).toString().split(QLatin1Char(','), Qt::SkipEmptyParts);
    return rule;
}

QString quotedId(int id)
{
    return QLatin1Char('\'') + QString::number(id) + QLatin1Char('\'');
}

void bindRuleFields(QSqlQuery& query, const QString& name, const QString& titleRule, const QString& title,
                    const QString& dateRule, const QDate& dateFrom, const QDate& dateTo, int projectId, int taskId)
{
    query.bindValue(QStringLiteral(":name"), name);
    query.bindValue(QStringLiteral(":title_rule"), titleRule);
    query.bindValue(QStringLiteral(":title"), title);
    query.bindValue(QStringLiteral(":date_rule"), dateRule);
    query.bindValue(QStringLiteral(":date_from"), util::date_to_sql(dateFrom));
    query.bindValue(QStringLiteral(":date_to"), util::date_to_sql(dateTo));
    query.bindValue(QStringLiteral(":project_id"), projectId);
    query.bindValue(QStringLiteral(":task_id"), taskId);
}

// Runs a statement about one rule, its id bound as ":rule_id".
bool execForRule(QSqlQuery& query, const QString& statement, int ruleId)
{
    query.prepare(statement);
    query.bindValue(QStringLiteral(":rule_id"), ruleId);
    return query.exec();
}

bool insertRuleApps(int ruleId, const QList<int>& appIds, QString* error)
{
    QSqlQuery apps;
    apps.prepare(QStringLiteral("INSERT INTO rules_apps (rule_id, app_id) VALUES (:rule_id, :app_id) "));
    for (int appId : appIds) {
        apps.bindValue(QStringLiteral(":rule_id"), ruleId);
        apps.bindValue(QStringLiteral(":app_id"), appId);
        if (!apps.exec()) {
            qDebug() << "add rule db error (add to rules_apps): " << apps.lastError().text();
            *error = apps.lastError().text();
            return false;
        }
    }
    return true;
}

} // namespace

int RuleStore::addDbRule(const QString& name, const QList<int>& appIds, const QString& titleRule, const QString& title,
                         const QString& dateRule, const QDate& dateFrom, const QDate& dateTo, int projectId, int taskId)
{
    // The rule and its applications land together or not at all.
    WriteTransaction transaction;
    int seq = 0;
    QSqlQuery maxSeq;
    if (maxSeq.exec(QStringLiteral("SELECT MAX(seq) AS max_seq FROM rules ")) && maxSeq.next()) {
        // An empty table gives NULL, read as 0, so the first rule gets 1.
        seq = maxSeq.value(0).toInt() + 1;
    }

    QSqlQuery insert;
    insert.prepare(QStringLiteral(
        "INSERT INTO rules (name, title_rule, title, date_rule, date_from, date_to, project_id, task_id, seq, active) "
        "VALUES (:name, :title_rule, :title, :date_rule, :date_from, :date_to, :project_id, :task_id, :seq, "
        ":active) "));
    bindRuleFields(insert, name, titleRule, title, dateRule, dateFrom, dateTo, projectId, taskId);
    insert.bindValue(QStringLiteral(":seq"), seq);
    insert.bindValue(QStringLiteral(":active"), 1);
    if (!insert.exec()) {
        qDebug() << "add rule db error: " << insert.lastError().text();
        lastErrorText = insert.lastError().text();
        return 0;
    }
    const int ruleId = insert.lastInsertId().toInt();
    if (!insertRuleApps(ruleId, appIds, &lastErrorText) || !transaction.commit(&lastErrorText)) {
        return 0;
    }
    return ruleId;
}

bool RuleStore::updateDbRule(int ruleId, const QString& name, const QList<int>& appIds, const QString& titleRule,
                             const QString& title, const QString& dateRule, const QDate& dateFrom, const QDate& dateTo,
                             int projectId, int taskId)
{
    WriteTransaction transaction;
    QSqlQuery update;
    update.prepare(QStringLiteral(
        "UPDATE rules SET name = :name, title_rule = :title_rule, title = :title, date_rule = :date_rule, "
        "date_from = :date_from, date_to = :date_to, project_id = :project_id, task_id = :task_id WHERE id = "
        ":rule_id "));
    bindRuleFields(update, name, titleRule, title, dateRule, dateFrom, dateTo, projectId, taskId);
    update.bindValue(QStringLiteral(":rule_id"), ruleId);
    if (!update.exec()) {
        qDebug() << "update db rule err: " << update.lastError().databaseText();
        lastErrorText = update.lastError().text();
        return false;
    }

    QSqlQuery clear;
    if (!execForRule(clear, QStringLiteral("DELETE FROM rules_apps WHERE rule_id = :rule_id "), ruleId)) {
        qDebug() << "del app rules err: " << clear.lastError().databaseText();
        lastErrorText = clear.lastError().text();
        return false;
    }
    return insertRuleApps(ruleId, appIds, &lastErrorText) && transaction.commit(&lastErrorText);
}

bool RuleStore::removeDbRule(int ruleId)
{
    WriteTransaction transaction;
    QSqlQuery apps;
    if (!execForRule(apps, QStringLiteral("DELETE FROM rules_apps WHERE rule_id = :rule_id "), ruleId)) {
        qDebug() << "error db delete rule apps: " << apps.lastError().databaseText();
        lastErrorText = apps.lastError().text();
        return false;
    }
    QSqlQuery rule;
    if (!execForRule(rule, QStringLiteral("DELETE FROM rules WHERE id = :rule_id "), ruleId)) {
        qDebug() << "error db delete rule: " << rule.lastError().databaseText();
        lastErrorText = rule.lastError().text();
        return false;
    }
    return transaction.commit(&lastErrorText);
}

void RuleStore::activateDbRule(int ruleId, bool active)
{
    QSqlQuery query;
    query.prepare(QStringLiteral("UPDATE rules SET active = :active WHERE id = :rule_id "));
    query.bindValue(QStringLiteral(":active"), active ? 1 : 0);
    query.bindValue(QStringLiteral(":rule_id"), ruleId);
    if (!query.exec()) {
        qDebug() << "error db activate rule: " << query.lastError().databaseText();
    }
}

bool RuleStore::moveDbRule(int ruleId, int direction)
{
    // Two rows swap places: both or neither.
    WriteTransaction transaction;
    // With no rule at all the highest sequence is 0, which turns every move into nothing.
    int highest = 0;
    QSqlQuery maxQuery;
    if (maxQuery.exec(QStringLiteral("SELECT MAX(seq) FROM rules")) && maxQuery.next()) {
        highest = maxQuery.value(0).toInt();
        qDebug() << "max = " << highest;
    }

    QSqlQuery seqQuery;
    if (!execForRule(seqQuery, QStringLiteral("SELECT seq FROM rules WHERE id = :rule_id "), ruleId)) {
        qDebug() << "error db seq move rule: " << seqQuery.lastError().databaseText();
        lastErrorText = seqQuery.lastError().text();
        return false;
    }
    if (!seqQuery.next()) {
        return true;
    }
    const int oldSeq = seqQuery.value(0).toInt();
    int newSeq = oldSeq + direction;
    qDebug() << "old seq = " << oldSeq << ", new seq = " << newSeq;
    newSeq = qBound(0, newSeq, highest);
    if (newSeq == oldSeq) {
        return true;
    }

    // Sequences have gaps after deletions, so the neighbour is the nearest existing one. With none in
    // that direction the aggregate is NULL, read as 0: that is how the top rule reaches 0.
    // The numbers are bound as the texts the statements always compared with.
    QSqlQuery neighbour;
    neighbour.prepare(direction < 0 ? QStringLiteral("SELECT MAX(seq) FROM rules WHERE seq <= :seq ")
                                    : QStringLiteral("SELECT MIN(seq) FROM rules WHERE seq >= :seq "));
    neighbour.bindValue(QStringLiteral(":seq"), QString::number(newSeq));
    if (!neighbour.exec()) {
        qDebug() << "err: " << neighbour.lastError().databaseText();
    } else {
        newSeq = neighbour.next() ? neighbour.value(0).toInt() : 0;
        qDebug() << "new seq = " << newSeq;
    }

    QSqlQuery swapOthers;
    swapOthers.prepare(QStringLiteral("UPDATE rules SET seq = :old_seq WHERE seq = :new_seq "));
    swapOthers.bindValue(QStringLiteral(":old_seq"), QString::number(oldSeq));
    swapOthers.bindValue(QStringLiteral(":new_seq"), QString::number(newSeq));
    if (!swapOthers.exec()) {
        qDebug() << "err: " << swapOthers.lastError().databaseText();
        lastErrorText = swapOthers.lastError().text();
        return false;
    }
    QSqlQuery moveThis;
    moveThis.prepare(QStringLiteral("UPDATE rules SET seq = :seq WHERE id = :rule_id "));
    moveThis.bindValue(QStringLiteral(":seq"), newSeq);
    moveThis.bindValue(QStringLiteral(":rule_id"), ruleId);
    if (!moveThis.exec()) {
        qDebug() << "err2: " << moveThis.lastError().databaseText();
        lastErrorText = moveThis.lastError().text();
        return false;
    }
    return transaction.commit(&lastErrorText);
}

int RuleStore::duplicateDbRule(int ruleId)
{
    const QVariantMap rule = readDbRule(ruleId);
    QList<int> appIds;
    for (const QString& appId : rule.value(QStringLiteral("app_ids")).toStringList()) {
        appIds << appId.toInt(nullptr, 10);
    }
    return addDbRule(QStringLiteral("Copy of ") + rule.value(QStringLiteral("name")).toString(), appIds,
                     rule.value(QStringLiteral("title_rule")).toString(),
                     rule.value(QStringLiteral("title")).toString(), rule.value(QStringLiteral("date_rule")).toString(),
                     rule.value(QStringLiteral("date_from")).toDate(), rule.value(QStringLiteral("date_to")).toDate(),
                     rule.value(QStringLiteral("project_id")).toInt(), rule.value(QStringLiteral("task_id")).toInt());
}

QVariantMap RuleStore::readDbRule(int ruleId)
{
    QSqlQuery query;
    // Aggregating without grouping always gives one row; for a missing rule every value is null.
    query.exec(QStringLiteral("SELECT rules.*, GROUP_CONCAT(rules_apps.app_id) AS app_ids FROM rules, rules_apps "
                              "WHERE rules.id = ") +
               quotedId(ruleId) + QStringLiteral(" AND rules.id = rules_apps.rule_id "));
    if (!query.next()) {
        return recordFromQuery(QSqlQuery());
    }
    return recordFromQuery(query);
}

QList<QVariant> RuleStore::readDbRules()
{
    QList<QVariant> rules;
    QSqlQuery query;
    // The join leaves out rules without applications: they could never match anything.
    if (!query.exec(QStringLiteral(
            "SELECT rules.*, GROUP_CONCAT(rules_apps.app_id) AS app_ids FROM rules, rules_apps WHERE rules.active = "
            "1 AND rules.id = rules_apps.rule_id GROUP BY rules.id ORDER BY rules.seq ASC "))) {
        qDebug() << "read rules db error: " << query.lastError().databaseText();
        return rules;
    }
    while (query.next()) {
        rules << QVariant(recordFromQuery(query));
    }
    return rules;
}

QVariantMap RuleStore::readRuleForEditing(int ruleId)
{
    QSqlQuery rule;
    rule.prepare(QStringLiteral("SELECT * FROM rules WHERE id = :id "));
    rule.bindValue(QStringLiteral(":id"), ruleId);
    if (!rule.exec() || !rule.next()) {
        return QVariantMap();
    }
    QVariantMap record = recordFromQuery(rule);
    QStringList appIds;
    QSqlQuery apps;
    apps.prepare(QStringLiteral("SELECT app_id FROM rules_apps WHERE rule_id = :id "));
    apps.bindValue(QStringLiteral(":id"), ruleId);
    if (apps.exec()) {
        while (apps.next()) {
            appIds << apps.value(0).toString();
        }
    }
    record[QStringLiteral("app_ids")] = appIds;
    return record;
}

QVariantMap RuleStore::readRuleRow(int ruleId)
{
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT * FROM rules WHERE id = :id "));
    query.bindValue(QStringLiteral(":id"), ruleId);
    QVariantMap row;
    if (!query.exec() || !query.next()) {
        return row;
    }
    const QSqlRecord record = query.record();
    for (int i = 0; i < record.count(); ++i) {
        row.insert(record.fieldName(i), query.value(i));
    }
    return row;
}

QStringList RuleStore::applicationNames(int ruleId)
{
    QStringList names;
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT applications.name FROM rules_apps, applications WHERE rules_apps.app_id = "
                                 "applications.id AND rules_apps.rule_id = :id ORDER BY applications.name "));
    query.bindValue(QStringLiteral(":id"), ruleId);
    if (query.exec()) {
        while (query.next()) {
            names << query.value(0).toString();
        }
    }
    return names;
}

bool RuleStore::forEachUnlinkedGroup(const QDate& from, const QDate& to, const GroupVisitor& visit)
{
    QSqlQuery query;
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
        "SELECT title, application_id, DATE(start_time) AS start_day, GROUP_CONCAT(id) AS entries_ids FROM entries "
        "WHERE start_time >= :from     AND start_time <= :to     AND ext_entry_id IS NULL AND id NOT IN (SELECT "
        "entry_id FROM link_journal_rows JOIN link_journal ON link_journal.id = journal_id WHERE state = 'open') GROUP "
        "BY start_day, application_id, title "));
    query.bindValue(QStringLiteral(":from"), from.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
    query.bindValue(QStringLiteral(":to"), to.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
    if (!query.exec()) {
        qDebug() << "apply rules db error: " << query.lastError().databaseText();
        return false;
    }
    while (query.next()) {
        visit(query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
              query.value(3).toString());
    }
    return true;
}

namespace {
// The ids are integers read from the database, so they may be written into the statement.
QString idList(const QList<int>& entryIds)
{
    QStringList ids;
    ids.reserve(entryIds.size());
    for (int id : entryIds) {
        ids << QString::number(id);
    }
    return ids.join(QLatin1Char(','));
}
} // namespace

qint64 RuleStore::secondsOf(const QList<int>& entryIds)
{
    if (entryIds.isEmpty()) {
        return 0;
    }
    QSqlQuery query;
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT start_time, end_time FROM entries WHERE id IN (") + idList(entryIds) +
                    QStringLiteral(") "))) {
        qDebug() << "apply rules db error: " << query.lastError().databaseText();
        return 0;
    }
    // Real seconds, as every view counts them: across a daylight-saving change the texts lie.
    return DayQueries::sumOfRows(query);
}

int RuleStore::groupCount(const QList<int>& entryIds)
{
    QSqlQuery query;
    if (entryIds.isEmpty() ||
        !query.exec(QStringLiteral("SELECT COUNT(*) FROM (SELECT 1 FROM entries WHERE id IN (") + idList(entryIds) +
                    QStringLiteral(") GROUP BY DATE(start_time), application_id, title)")) ||
        !query.next()) {
        return 0;
    }
    return query.value(0).toInt();
}

QList<RuleStore::ListedRule> RuleStore::listRules()
{
    QList<ListedRule> rules;
    QSqlQuery query;
    if (query.exec(QStringLiteral("SELECT id, name, active FROM rules ORDER BY seq ASC "))) {
        while (query.next()) {
            rules << ListedRule{query.value(0).toInt(), query.value(1).toString(), query.value(2).toInt() == 1};
        }
    }
    return rules;
}

QList<RuleStore::ListedApplication> RuleStore::listApplications()
{
    QList<ListedApplication> apps;
    QSqlQuery query;
    if (query.exec(QStringLiteral("SELECT id, path, name FROM applications ORDER BY name ASC "))) {
        while (query.next()) {
            apps << ListedApplication{query.value(0).toInt(), query.value(1).toString(), query.value(2).toString()};
        }
    }
    return apps;
}

int RuleStore::nextRuleNumber()
{
    QSqlQuery query;
    if (query.exec(QStringLiteral("SELECT MAX(id) AS max_id FROM rules ")) && query.next()) {
        return query.value(0).toInt() + 1;
    }
    return 1;
}
