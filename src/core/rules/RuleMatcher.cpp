#include "rules/RuleMatcher.h"

#include "store/util.h"

#include <QDebug>

RuleMatcher::RuleMatcher(const QVariantMap& rule)
{
    const QStringList ids = rule.value(QStringLiteral("app_ids")).toStringList();
    appIds = QSet<QString>(ids.begin(), ids.end());
    task = rule.value(QStringLiteral("task_id")).toInt();

    const QString dateRule = rule.value(QStringLiteral("date_rule")).toString();
    if (dateRule == QLatin1String("after")) {
        dateMode = DateMode::After;
    } else if (dateRule == QLatin1String("before")) {
        dateMode = DateMode::Before;
    } else if (dateRule == QLatin1String("between")) {
        dateMode = DateMode::Between;
    }
    dateFrom = rule.value(QStringLiteral("date_from")).toDate();
    dateTo = rule.value(QStringLiteral("date_to")).toDate();

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
    return matches(title, appId, when.date());
}

bool RuleMatcher::matches(const QString& title, const QString& appId, const QDate& day) const
{
    if (!appIds.contains(appId)) {
        return false;
    }
    // From the first second of date_from to the last second of date_to, both days included.
    switch (dateMode) {
    case DateMode::After:
        if (day < dateFrom) {
            return false;
        }
        break;
    case DateMode::Before:
        if (day > dateTo) {
            return false;
        }
        break;
    case DateMode::Between:
        if (day < dateFrom || day > dateTo) {
            return false;
        }
        break;
    case DateMode::Any:
        break;
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
