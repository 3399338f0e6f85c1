#pragma once

#include "rules/RuleStore.h"
#include "store/Database.h"

#include <QDate>
#include <QStringList>
#include <QTemporaryDir>
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

// A rule store on a database file of its own, opened with the test object.
struct RuleDatabase
{
    // A rule over `apps` for any date, linked to `taskId` when there is one.
    int add(const QString& name, const QList<int>& apps, const QString& titleRule = QStringLiteral("and"),
            const QString& title = QString(), int taskId = 0)
    {
        const QDate day(2026, 1, 1);
        return store.addDbRule(name, apps, titleRule, title, QStringLiteral("always"), day, day, taskId ? 1 : 0,
                               taskId);
    }

    QTemporaryDir dir;
    Database db;
    QString error;
    bool opened = db.open(dir.filePath(QStringLiteral("verrinplus.sqlite")), &error);
    RuleStore store;
};
