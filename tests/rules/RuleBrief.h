#pragma once

#include <QDate>
#include <QStringList>
#include <QVariantMap>

// A rule record in one line, so a test compares all of it at once: name, title rule and pattern,
// date rule and dates, project/task, seq, active and the sorted application ids.
inline QString brief(const QVariantMap& rule)
{
    QStringList apps = rule.value("app_ids").toStringList();
    apps.sort();
    return QStringLiteral("%1|%2 %3|%4 %5 %6|%7/%8|seq %9|")
               .arg(rule.value("name").toString(), rule.value("title_rule").toString(), rule.value("title").toString(),
                    rule.value("date_rule").toString(), rule.value("date_from").toDate().toString(Qt::ISODate),
                    rule.value("date_to").toDate().toString(Qt::ISODate), rule.value("project_id").toString(),
                    rule.value("task_id").toString(), rule.value("seq").toString()) +
           QStringLiteral("active %1|apps %2").arg(rule.value("active").toInt()).arg(apps.join(QLatin1Char(',')));
}
