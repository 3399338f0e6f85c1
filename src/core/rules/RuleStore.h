#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>

// The stored rules: one row of `rules` plus its applications in `rules_apps`, kept in the user's
// order (`seq`, lower first). Works on the default database connection; every change that touches
// several rows is one transaction. Failures are written to the debug output with a fixed prefix and
// the driver's text, and kept in lastError() for the caller to tell the user.
//
// A rule record is a QVariantMap with the column names of `rules` ("id", "name", "title_rule",
// "title", "date_rule", "date_from", "date_to" as QDate, "project_id", "task_id", "seq", "active")
// plus "app_ids", the application ids as a QStringList.
class RuleStore
{
public:
    struct ListedRule
    {
        int id = 0;
        QString name;
        bool active = false;
    };
    struct ListedApplication
    {
        int id = 0;
        QString path;
        QString name;
    };

    // The new rule's id, 0 on failure. New rules go to the end of the order and are active.
    int addDbRule(const QString& name, const QList<int>& appIds, const QString& titleRule, const QString& title,
                  const QString& dateRule, const QDate& dateFrom, const QDate& dateTo, int projectId, int taskId);
    // Changes everything but the position and the active state.
    bool updateDbRule(int ruleId, const QString& name, const QList<int>& appIds, const QString& titleRule,
                      const QString& title, const QString& dateRule, const QDate& dateFrom, const QDate& dateTo,
                      int projectId, int taskId);
    bool removeDbRule(int ruleId);
    void activateDbRule(int ruleId, bool active);
    // direction -1 moves the rule up (towards lower seq), +1 down.
    bool moveDbRule(int ruleId, int direction);
    // An active copy named "Copy of <name>" at the end of the order; its id.
    int duplicateDbRule(int ruleId);
    // One rule; a rule that does not exist or has no applications gives a record of null values.
    QVariantMap readDbRule(int ruleId);
    // The active rules that have at least one application, in order; each QVariant holds a record.
    QList<QVariant> readDbRules();
    // One rule for the editor, also when it has no applications; empty when there is no such rule.
    QVariantMap readRuleForEditing(int ruleId);

    // One rule's row with its values as stored (dates as text); empty when there is no such rule.
    QVariantMap readRuleRow(int ruleId);
    // The names of a rule's applications, sorted.
    QStringList applicationNames(int ruleId);

    // Every rule, in order, for the rules list.
    QList<ListedRule> listRules();
    // Every recorded application, by name, for the rule editor to choose from.
    QList<ListedApplication> listApplications();

    // The number a new rule is named after ("Rule #" + n): the highest id plus 1, or 1.
    int nextRuleNumber();

    // What the rules are tried on: each distinct (day, application, title) of the unlinked entries
    // from `from` to `to` that no open link intent holds, day by day, with its entry ids. False when
    // the query fails.
    using GroupVisitor =
        std::function<void(const QString& title, const QString& appId, const QString& day, const QString& entryIds)>;
    static bool forEachUnlinkedGroup(const QDate& from, const QDate& to, const GroupVisitor& visit);
    // The recorded seconds of these entries.
    static qint64 secondsOf(const QList<int>& entryIds);
    // How many (day, application, title) groups these entries fall into.
    static int groupCount(const QList<int>& entryIds);

    // The driver's text of the last failed change.
    QString lastError() const { return lastErrorText; }

private:
    QString lastErrorText;
};
