#include "rules/RuleDescription.h"

#include "app/Registry.h"
#include "rules/RuleStore.h"
#include "store/util.h"

#include <QLocale>
#include <QStringList>
#include <QVariantMap>

namespace {

QString longDate(const QString& stored)
{
    return QLocale::system().toString(util::sql_to_date(stored), QLocale::LongFormat);
}

QString nameFromMap(const QVariantMap& names, const QString& id)
{
    if (names.contains(id)) {
        return names.value(id).toString();
    }
    return QLatin1Char('#') + id;
}

QString link(const QString& text)
{
    return QStringLiteral("<a href='#'>") + text + QStringLiteral("</a><br/>");
}

} // namespace

namespace RuleDescription {

QString describe(int ruleId)
{
    RuleStore store;
    const QVariantMap rule = store.readRuleRow(ruleId);
    if (rule.isEmpty()) {
        return QString();
    }
    const auto column = [&rule](const char* name) { return rule.value(QLatin1String(name)).toString(); };

    QString html;
    html += rule.value(QStringLiteral("active")).toBool() ? QStringLiteral("Apply this rule for time entries<br/>")
                                                          : QStringLiteral("This rule is currently turned off.<br/>");

    QStringList appNames;
    for (const QString& name : store.applicationNames(ruleId)) {
        appNames << name.toHtmlEscaped();
    }
    html += QStringLiteral("Where Application is ") + QStringLiteral("<a href='#'>'") +
            appNames.join(QStringLiteral("' or '")) + QStringLiteral("'</a><br/>");

    html += QStringLiteral("&nbsp;&nbsp;and Where the window title ");
    const QString titleRule = column("title_rule");
    const QString title = column("title");
    if (titleRule == QLatin1String("and") || titleRule == QLatin1String("or")) {
        QStringList words;
        for (const QString& word : util::extractWords(title)) {
            words << word.toHtmlEscaped();
        }
        // An empty pattern matches every title whatever the mode; a blank one only with "and".
        if (title.isEmpty() || (words.isEmpty() && titleRule == QLatin1String("and"))) {
            html += link(QStringLiteral("contains anything"));
        } else if (words.isEmpty()) {
            html += link(QStringLiteral("contains nothing it could match"));
        } else {
            const QString joiner =
                titleRule == QLatin1String("and") ? QStringLiteral("' and '") : QStringLiteral("' or '");
            html += link(QStringLiteral("contains '") + words.join(joiner) + QLatin1Char('\''));
        }
    } else if (titleRule == QLatin1String("exact")) {
        html += title.isEmpty() ? link(QStringLiteral("is anything"))
                                : link(QStringLiteral("is '") + title.toHtmlEscaped() + QLatin1Char('\''));
    } else if (titleRule == QLatin1String("regexp")) {
        html += title.isEmpty()
                    ? link(QStringLiteral("is anything"))
                    : link(QStringLiteral("matches regular expression '") + title.toHtmlEscaped() + QLatin1Char('\''));
    } else {
        // Matching lets an unknown title rule through, so say so.
        html += link(QStringLiteral("contains anything"));
    }

    html += QStringLiteral("&nbsp;&nbsp;and Where entry date is ");
    const QString dateRule = column("date_rule");
    const QString dateFrom = longDate(column("date_from"));
    const QString dateTo = longDate(column("date_to"));
    if (dateRule == QLatin1String("before")) {
        html += link(QStringLiteral("on or before '") + dateTo + QLatin1Char('\''));
    } else if (dateRule == QLatin1String("between")) {
        html += link(QStringLiteral("between '") + dateFrom + QStringLiteral("' and '") + dateTo +
                     QStringLiteral("', both included"));
    } else if (dateRule == QLatin1String("after")) {
        html += link(QStringLiteral("on or after '") + dateFrom + QLatin1Char('\''));
    } else {
        html += link(QStringLiteral("any date"));
    }

    const QString taskName =
        nameFromMap(Registry::instance()->catalogueMaps().taskNames, column("task_id")).toHtmlEscaped();
    const QString projectName =
        nameFromMap(Registry::instance()->catalogueMaps().projectNames, column("project_id")).toHtmlEscaped();
    html += QStringLiteral("Link with task <a href='#'>'") + taskName +
            QStringLiteral("'</a> from project <a href='#'>'") + projectName + QStringLiteral("'</a><br/>");
    return html;
}

} // namespace RuleDescription
