#include "rules/RuleMatcher.h"

#include "store/util.h"

#include <QDebug>

RuleMatcher::RuleMatcher(const QVariantMap& rule)
{
    const QStringList ids = rule.value(QStringLiteral("app_ids")).toStringList();
    appIds = QSet<QString>(ids.begin(), ids.end());
    task = rule.value(QStringLiteral("task_id")).toInt();

    dateRule = rule.value(QStringLiteral("date_rule")).toString();
    dateStart = QDateTime(rule.value(QStringLiteral("date_from")).toDate(), QTime(0, 0, 0));
    dateEnd = QDateTime(rule.value(QStringLiteral("date_to")).toDate(), QTime(23, 59, 59));

    pattern = rule.value(QStringLiteral("title")).toString();
    const QString mode = rule.value(QStringLiteral("title_rule")).toString();
    if (pattern.isEmpty()) {
        titleMode = TitleMode::Any;
    } else if (mode == QLatin1String("and")) {
        titleMode = TitleMode::AllWords;
        words = util::extractWords(pattern);
    } else if (mode == QLatin1String("or")) {
        titleMode = TitleMode::AnyWord;
        words = util::extractWords(pattern);
    } else if (mode == QLatin1String("exact")) {
        titleMode = TitleMode::Exact;
    } else if (mode == QLatin1String("regexp")) {
        titleMode = TitleMode::RegExp;
        expression = QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption);
        expressionValid = expression.isValid();
        if (!expressionValid) {
            qWarning() << "rule" << rule.value(QStringLiteral("id")).toInt() << "has an invalid regular expression"
                       << pattern << ":" << expression.errorString() << "- it matches nothing";
        } else {
            expression.optimize();
        }
    }
}

bool RuleMatcher::matches(const QString& title, const QString& appId, const QDateTime& when) const
{
    if (!appIds.contains(appId)) {
        return false;
    }
    if (dateRule == QLatin1String("after")) {
        if (when < dateStart) {
            return false;
        }
    } else if (dateRule == QLatin1String("before")) {
        if (when > dateEnd) {
            return false;
        }
    } else if (dateRule == QLatin1String("between")) {
        if (when < dateStart || when > dateEnd) {
            return false;
        }
    }
    return titleMatches(title);
}

bool RuleMatcher::titleMatches(const QString& title) const
{
    switch (titleMode) {
    case TitleMode::Any:
        return true;
    case TitleMode::AllWords:
        for (const QString& word : words) {
            if (!title.contains(word, Qt::CaseInsensitive)) {
                return false;
            }
        }
        return true;
    case TitleMode::AnyWord:
        for (const QString& word : words) {
            if (title.contains(word, Qt::CaseInsensitive)) {
                return true;
            }
        }
        return false;
    case TitleMode::Exact:
        return title == pattern;
    case TitleMode::RegExp:
        return expressionValid && expression.match(title).hasMatch();
    }
    return true;
}

bool ruleApplies(const QVariantMap& rule, const QString& title, const QString& appId, const QDateTime& when)
{
    return RuleMatcher(rule).matches(title, appId, when);
}
