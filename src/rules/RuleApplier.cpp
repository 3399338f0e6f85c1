#include "rules/RuleApplier.h"

#include "app/Prompter.h"
#include "rules/RuleMatcher.h"
#include "rules/RuleStore.h"
#include "rules/TaskLinker.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

#include <vector>

RuleApplier::RuleApplier(RuleStore* store, TaskLinker* linker, Prompter* prompter, QObject* parent)
    : QObject(parent), store(store), linker(linker), prompter(prompter)
{
}

RuleMatches RuleApplier::collectMatches(const QList<QVariant>& rules, const QDate& from, const QDate& to)
{
    RuleMatches result;
    std::vector<RuleMatcher> matchers;
    matchers.reserve(rules.size());
    for (const QVariant& rule : rules) {
        matchers.emplace_back(rule.toMap());
    }

    // One test per distinct (day, application, title), not per entry. Linked entries are never
    // candidates again.
    QSqlQuery query;
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
        "SELECT title, application_id, DATE(start_time) AS start_day, GROUP_CONCAT(id) AS entries_ids, "
        "SUM(strftime('%s', end_time) - strftime('%s', start_time)) AS seconds FROM entries WHERE start_time >= "
        ":from     AND start_time <= :to     AND ext_entry_id IS NULL GROUP BY start_day, application_id, title "));
    query.bindValue(QStringLiteral(":from"), from.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
    query.bindValue(QStringLiteral(":to"), to.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
    if (!query.exec()) {
        qDebug() << "apply rules db error: " << query.lastError().databaseText();
        return result;
    }
    while (query.next()) {
        ++result.groups;
        const QString title = query.value(0).toString();
        const QString appId = query.value(1).toString();
        const QDateTime when(util::sql_to_date(query.value(2).toString()), QTime(0, 0, 0));
        for (const RuleMatcher& matcher : matchers) {
            if (!matcher.matches(title, appId, when)) {
                continue;
            }
            ++result.matchedGroups;
            QList<int>& ids = result.entriesByTask[matcher.taskId()];
            const QStringList idTexts = query.value(3).toString().split(QLatin1Char(','), Qt::SkipEmptyParts);
            for (const QString& id : idTexts) {
                ids << id.toInt();
            }
            result.secondsByTask[matcher.taskId()] += query.value(4).toLongLong();
            break;
        }
    }
    return result;
}

ApplyRulesSummary RuleApplier::applyRules(const QDate& from, const QDate& to)
{
    ApplyRulesSummary summary;
    const QList<QVariant> rules = store->readDbRules();
    bool anyActive = false;
    for (const QVariant& rule : rules) {
        anyActive = anyActive || rule.toMap().value(QStringLiteral("active")).toBool();
    }
    if (!anyActive) {
        summary.noRules = true;
        if (prompter) {
            prompter->inform(QStringLiteral("Information"), QStringLiteral("No rules to apply"));
        }
        return summary;
    }

    const RuleMatches matches = collectMatches(rules, from, to);
    summary.groups = matches.groups;
    summary.matchedGroups = matches.matchedGroups;
    summary.tasks = matches.entriesByTask.size();

    int progress = 0;
    emit progressStarted(summary.tasks + 2);
    emit progressChanged(progress);
    for (auto it = matches.entriesByTask.cbegin(); it != matches.entriesByTask.cend(); ++it) {
        if (linker && linker->connectEntriesWithTask(it.value(), it.key(), QString())) {
            ++summary.linkedTasks;
            summary.seconds += matches.secondsByTask.value(it.key());
        } else {
            ++summary.failedTasks;
        }
        emit progressChanged(++progress);
    }
    emit viewsNeedRefresh();
    emit progressChanged(summary.tasks + 2);
    emit progressFinished();
    qDebug() << "rules applied from" << from << "to" << to << ":" << summary.groups << "groups," << summary.tasks
             << "tasks," << summary.seconds << "seconds linked";
    return summary;
}
