#pragma once

#include <QDate>
#include <QDateTime>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// One rule prepared for testing many entry groups: the pattern is split or compiled once.
//
// Dates mean what the rule says: "after" matches from date_from on, "before" up to date_to,
// "between" from date_from to date_to, all inclusive; "always" (or anything else) any date.
// Titles: an empty pattern matches everything; "and" needs every word (a pattern without words
// matches), "or" any word (a pattern without words matches nothing), both ignoring case; "exact" is
// the whole title, case-sensitive; "regexp" is an unanchored case-insensitive expression, and an
// invalid one matches nothing; any other title rule matches every title.
class RuleMatcher
{
public:
    explicit RuleMatcher(const QVariantMap& rule);

    bool matches(const QString& title, const QString& appId, const QDateTime& when) const;
    // The same for a whole day. Bounds are whole days too, so only the date of a moment counts; comparing
    // dates also keeps time-zone look-ups out of a loop over a year of groups.
    bool matches(const QString& title, const QString& appId, const QDate& day) const;
    int taskId() const { return task; }
    const QSet<QString>& applicationIds() const { return appIds; }

private:
    enum class TitleMode
    {
        Any,
        AllWords,
        AnyWord,
        Exact,
        RegExp
    };
    enum class DateMode
    {
        Any,
        After,
        Before,
        Between
    };

    bool titleMatches(const QString& title) const;

    QSet<QString> appIds;
    DateMode dateMode = DateMode::Any;
    QDate dateFrom;
    QDate dateTo;
    TitleMode titleMode = TitleMode::Any;
    QString pattern;
    QStringList words;
    QRegularExpression expression;
    bool expressionValid = false;
    int task = 0;
};

// Whether `rule` (a rule record) matches an entry group with this title, application id and moment.
bool ruleApplies(const QVariantMap& rule, const QString& title, const QString& appId, const QDateTime& when);
