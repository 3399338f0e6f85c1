#include "rules/RuleApplier.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "reports/DayQueries.h"
#include "rules/RuleMatcher.h"
#include "rules/RuleStore.h"
#include "rules/TaskLinker.h"
#include "store/util.h"

#include <QDebug>
#include <QHash>

#include <vector>

QString summaryText(const ApplyRulesSummary& summary)
{
    if (summary.noRules) {
        return QStringLiteral("No rules to apply");
    }
    if (summary.signedOut) {
        return QStringLiteral("Rules not applied: sign in to Verrin first");
    }
    QString text = QStringLiteral("Rules applied: %1 of %2 groups matched, %3 tasks linked")
                       .arg(summary.matchedGroups)
                       .arg(summary.groups)
                       .arg(summary.linkedTasks);
    if (summary.failedTasks > 0) {
        text += QStringLiteral(", %1 failed").arg(summary.failedTasks);
    }
    return text + QStringLiteral(", %1 (%2 seconds)").arg(util::format_time(int(summary.seconds))).arg(summary.seconds);
}

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
    // A rule only ever matches its own applications, so each group needs to meet only the rules of
    // its application, still in their order.
    QHash<QString, QList<const RuleMatcher*>> rulesByApp;
    for (const RuleMatcher& matcher : matchers) {
        for (const QString& appId : matcher.applicationIds()) {
            rulesByApp[appId] << &matcher;
        }
    }

    // One test per distinct (day, application, title), not per entry. Linked entries are never
    // candidates again.
    // Groups come day by day, so each day's text is converted once.
    QString dayText;
    QDate day;
    RuleStore::forEachUnlinkedGroup(
        from, to, [&](const QString& title, const QString& appId, const QString& groupDay, const QString& entryIds) {
            ++result.groups;
            const auto candidates = rulesByApp.constFind(appId);
            if (candidates == rulesByApp.cend()) {
                return;
            }
            if (groupDay != dayText) {
                dayText = groupDay;
                day = util::sql_to_date(dayText);
            }
            for (const RuleMatcher* matcher : *candidates) {
                if (!matcher->matches(title, appId, day)) {
                    continue;
                }
                ++result.matchedGroups;
                QList<int>& ids = result.entriesByTask[matcher->taskId()];
                for (const QString& id : entryIds.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
                    ids << id.toInt();
                }
                break;
            }
        });
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

    if (!Registry::instance()->isLoggedIn()) {
        // Nothing could be linked, and a run that tries anyway only collects failures.
        summary.signedOut = true;
        if (prompter) {
            prompter->inform(QStringLiteral("Information"), summaryText(summary));
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
        const qint64 seconds = RuleStore::secondsOf(it.value());
        if (linker && linker->connectEntriesWithTask(it.value(), it.key(), QString())) {
            ++summary.linkedTasks;
            summary.seconds += seconds;
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
