#include "FakePrompter.h"
#include "app/Registry.h"
#include "rules/RuleApplier.h"
#include "rules/RuleDescription.h"
#include "rules/RuleStore.h"
#include "rules/TaskLinker.h"
#include "store/Database.h"
#include "store/util.h"

#include <QSignalSpy>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Records the link calls and marks the rows linked the way real linking does, so a later run can
// show that linked entries are left alone.
class RecordingLinker : public TaskLinker
{
public:
    struct Call
    {
        QList<int> entryIds;
        int taskId;
        QString notes;
    };

    bool connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes) override
    {
        calls << Call{entryIds, taskId, notes};
        if (refuseTask == taskId) {
            return false;
        }
        QStringList ids;
        for (int id : entryIds) {
            ids << QString::number(id);
        }
        QSqlQuery mark;
        mark.exec(QStringLiteral("UPDATE entries SET ext_task_id = %1, ext_entry_id = %2 WHERE id IN (%3)")
                      .arg(taskId)
                      .arg(1000 + calls.size())
                      .arg(ids.join(QLatin1Char(','))));
        return true;
    }

    QList<Call> calls;
    int refuseTask = -1;
};

const QDate kFrom(2026, 1, 1);
const QDate kTo(2026, 12, 31);

} // namespace

class TestRuleStore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void addAndReadBack();
    void sequencesGrowPastDeletions();
    void moving_data();
    void moving();
    void duplicateOfInactiveRuleIsActiveAtTheEnd();
    void ruleWithoutApplicationsIsInvisible();
    void updateKeepsPositionAndState();
    void valuesFromOutsideAreBound();
    void nextRuleNumber();

    void lowerSeqWins();
    void sameTitleOnTwoDaysLinkedInOneCall();
    void linkedEntriesAreNeverOfferedAgain();
    void noActiveRulesSaysSo();
    void refusedLinkIsCounted();

    void descriptionAgreesWithMatching();

private:
    int addApp(const QString& name);
    int addEntry(int appId, const QString& title, const QString& start, int seconds);
    QList<int> seqs();

    QTemporaryDir dir;
    Database db;
    RuleStore store;
};

void TestRuleStore::initTestCase()
{
    QString error;
    QVERIFY2(db.open(dir.filePath(QStringLiteral("verrinplus.sqlite")), &error), qPrintable(error));
}

void TestRuleStore::init()
{
    QSqlQuery q;
    for (const char* table : {"rules", "rules_apps", "entries", "applications", "sqlite_sequence"}) {
        q.exec(QStringLiteral("DELETE FROM %1").arg(QLatin1String(table)));
    }
    Registry::drop();
}

int TestRuleStore::addApp(const QString& name)
{
    QSqlQuery q;
    q.prepare(QStringLiteral("INSERT INTO applications (path, name) VALUES (:path, :name)"));
    q.bindValue(QStringLiteral(":path"), QStringLiteral("/usr/share/applications/") + name + ".desktop");
    q.bindValue(QStringLiteral(":name"), name);
    q.exec();
    return q.lastInsertId().toInt();
}

int TestRuleStore::addEntry(int appId, const QString& title, const QString& start, int seconds)
{
    const QDateTime begin = util::sql_to_datetime(start);
    QSqlQuery q;
    q.prepare(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time) VALUES (:t, :a, :s, "
                             ":e)"));
    q.bindValue(QStringLiteral(":t"), title);
    q.bindValue(QStringLiteral(":a"), appId);
    q.bindValue(QStringLiteral(":s"), start);
    q.bindValue(QStringLiteral(":e"), util::datetime_to_sql(begin.addSecs(seconds)));
    q.exec();
    return q.lastInsertId().toInt();
}

QList<int> TestRuleStore::seqs()
{
    QList<int> result;
    QSqlQuery q(QStringLiteral("SELECT seq FROM rules ORDER BY id"));
    while (q.next()) {
        result << q.value(0).toInt();
    }
    return result;
}

void TestRuleStore::addAndReadBack()
{
    const int id =
        store.addDbRule(QStringLiteral("Office"), {4, 2}, QStringLiteral("exact"), QStringLiteral("Budget 2026.ods"),
                        QStringLiteral("between"), QDate(2026, 3, 3), QDate(2026, 3, 10), 11, 22);
    QCOMPARE(id, 1);
    const QVariantMap rule = store.readDbRule(id);
    QCOMPARE(rule.value("id").toInt(), 1);
    QCOMPARE(rule.value("name").toString(), QStringLiteral("Office"));
    QCOMPARE(rule.value("title_rule").toString(), QStringLiteral("exact"));
    QCOMPARE(rule.value("title").toString(), QStringLiteral("Budget 2026.ods"));
    QCOMPARE(rule.value("date_rule").toString(), QStringLiteral("between"));
    QCOMPARE(rule.value("date_from").toDate(), QDate(2026, 3, 3));
    QCOMPARE(rule.value("date_to").toDate(), QDate(2026, 3, 10));
    QCOMPARE(rule.value("project_id").toInt(), 11);
    QCOMPARE(rule.value("task_id").toInt(), 22);
    QCOMPARE(rule.value("seq").toInt(), 1);
    QCOMPARE(rule.value("active").toInt(), 1);
    QStringList apps = rule.value("app_ids").toStringList();
    apps.sort();
    QCOMPARE(apps, (QStringList{"2", "4"}));

    QSqlQuery stored(QStringLiteral("SELECT date_from, date_to FROM rules"));
    QVERIFY(stored.next());
    QCOMPARE(stored.value(0).toString(), QStringLiteral("2026-03-03"));

    // A missing rule reads as nulls rather than failing.
    const QVariantMap missing = store.readDbRule(99);
    QCOMPARE(missing.value("id").toInt(), 0);
    QVERIFY(missing.value("app_ids").toStringList().isEmpty());
    QVERIFY(!missing.value("date_from").toDate().isValid());
}

void TestRuleStore::sequencesGrowPastDeletions()
{
    const QDate d(2026, 1, 1);
    const int a = store.addDbRule("a", {1}, "and", "", "always", d, d, 0, 0);
    const int b = store.addDbRule("b", {1}, "and", "", "always", d, d, 0, 0);
    store.addDbRule("c", {1}, "and", "", "always", d, d, 0, 0);
    store.removeDbRule(b);
    store.addDbRule("d", {1}, "and", "", "always", d, d, 0, 0);
    QCOMPARE(seqs(), (QList<int>{1, 3, 4}));
    store.removeDbRule(a);
    QSqlQuery orphans(QStringLiteral("SELECT COUNT(*) FROM rules_apps WHERE rule_id IN (1, 2)"));
    QVERIFY(orphans.next());
    QCOMPARE(orphans.value(0).toInt(), 0);
}

void TestRuleStore::moving_data()
{
    QTest::addColumn<QList<int>>("startSeqs");
    QTest::addColumn<int>("moveIndex");
    QTest::addColumn<int>("direction");
    QTest::addColumn<QList<int>>("expected");

    QTest::newRow("top rule up reaches 0") << QList<int>{1, 2, 3} << 0 << -1 << QList<int>{0, 2, 3};
    QTest::newRow("rule at 0 stays") << QList<int>{0, 2, 3} << 0 << -1 << QList<int>{0, 2, 3};
    QTest::newRow("bottom rule down stays") << QList<int>{1, 2, 3} << 2 << 1 << QList<int>{1, 2, 3};
    QTest::newRow("middle up swaps") << QList<int>{1, 2, 3} << 1 << -1 << QList<int>{2, 1, 3};
    QTest::newRow("middle down swaps") << QList<int>{1, 2, 3} << 1 << 1 << QList<int>{1, 3, 2};
    QTest::newRow("9 up over a gap") << QList<int>{1, 4, 9} << 2 << -1 << QList<int>{1, 9, 4};
    QTest::newRow("1 down over a gap") << QList<int>{1, 4, 9} << 0 << 1 << QList<int>{4, 1, 9};
}

void TestRuleStore::moving()
{
    QFETCH(QList<int>, startSeqs);
    QFETCH(int, moveIndex);
    QFETCH(int, direction);
    QFETCH(QList<int>, expected);
    const QDate d(2026, 1, 1);
    QList<int> ids;
    for (int i = 0; i < startSeqs.size(); ++i) {
        ids << store.addDbRule(QStringLiteral("r%1").arg(i), {1}, "and", "", "always", d, d, 0, 0);
        QSqlQuery set;
        set.exec(QStringLiteral("UPDATE rules SET seq = %1 WHERE id = %2").arg(startSeqs[i]).arg(ids.last()));
    }
    store.moveDbRule(ids[moveIndex], direction);
    QCOMPARE(seqs(), expected);
}

void TestRuleStore::duplicateOfInactiveRuleIsActiveAtTheEnd()
{
    const QDate from(2026, 2, 1);
    const QDate to(2026, 2, 5);
    const int office = store.addDbRule("Office", {3, 5}, "or", "sheet", "before", from, to, 7, 8);
    store.addDbRule("Other", {1}, "and", "", "always", from, to, 0, 0);
    store.activateDbRule(office, false);
    QCOMPARE(store.readDbRule(office).value("active").toInt(), 0);

    const int copy = store.duplicateDbRule(office);
    QCOMPARE(copy, 3);
    const QVariantMap rule = store.readDbRule(copy);
    QCOMPARE(rule.value("name").toString(), QStringLiteral("Copy of Office"));
    QCOMPARE(rule.value("active").toInt(), 1);
    QCOMPARE(rule.value("seq").toInt(), 3);
    QCOMPARE(rule.value("title_rule").toString(), QStringLiteral("or"));
    QCOMPARE(rule.value("title").toString(), QStringLiteral("sheet"));
    QCOMPARE(rule.value("date_rule").toString(), QStringLiteral("before"));
    QCOMPARE(rule.value("date_from").toDate(), from);
    QCOMPARE(rule.value("date_to").toDate(), to);
    QCOMPARE(rule.value("project_id").toInt(), 7);
    QCOMPARE(rule.value("task_id").toInt(), 8);
    QStringList apps = rule.value("app_ids").toStringList();
    apps.sort();
    QCOMPARE(apps, (QStringList{"3", "5"}));

    // The inactive source is not applied; the copy is.
    QList<int> active;
    for (const QVariant& r : store.readDbRules()) {
        active << r.toMap().value("id").toInt();
    }
    QCOMPARE(active, (QList<int>{2, 3}));
}

void TestRuleStore::ruleWithoutApplicationsIsInvisible()
{
    const QDate d(2026, 1, 1);
    const int none = store.addDbRule("none", {}, "and", "", "always", d, d, 0, 0);
    const int emptied = store.addDbRule("emptied", {4}, "and", "", "always", d, d, 0, 0);
    const int kept = store.addDbRule("kept", {4}, "and", "", "always", d, d, 0, 0);
    QVERIFY(none > 0);
    store.updateDbRule(emptied, "emptied", {}, "and", "", "always", d, d, 0, 0);
    const QList<QVariant> rules = store.readDbRules();
    QCOMPARE(rules.size(), 1);
    QCOMPARE(rules.first().toMap().value("id").toInt(), kept);
}

void TestRuleStore::updateKeepsPositionAndState()
{
    const QDate d(2026, 1, 1);
    store.addDbRule("first", {1}, "and", "", "always", d, d, 0, 0);
    const int id = store.addDbRule("second", {1, 2}, "and", "", "always", d, d, 0, 0);
    store.activateDbRule(id, false);
    store.updateDbRule(id, "renamed", {9}, "regexp", "^x", "after", QDate(2026, 5, 1), QDate(2026, 5, 2), 3, 4);
    const QVariantMap rule = store.readDbRule(id);
    QCOMPARE(rule.value("name").toString(), QStringLiteral("renamed"));
    QCOMPARE(rule.value("app_ids").toStringList(), QStringList{"9"});
    QCOMPARE(rule.value("title").toString(), QStringLiteral("^x"));
    QCOMPARE(rule.value("date_from").toDate(), QDate(2026, 5, 1));
    QCOMPARE(rule.value("task_id").toInt(), 4);
    QCOMPARE(rule.value("seq").toInt(), 2);
    QCOMPARE(rule.value("active").toInt(), 0);
}

void TestRuleStore::valuesFromOutsideAreBound()
{
    const QDate d(2026, 1, 1);
    const QString name = QStringLiteral("Bob's \"rule\"; DROP TABLE rules; --");
    const QString title = QStringLiteral("it's ' OR '1'='1");
    const int id = store.addDbRule(name, {1}, "exact", title, "always", d, d, 0, 0);
    QVERIFY(id > 0);
    QCOMPARE(store.readDbRule(id).value("name").toString(), name);
    store.updateDbRule(id, title, {1}, "exact", name, "always", d, d, 0, 0);
    QCOMPARE(store.readDbRule(id).value("title").toString(), name);
    QCOMPARE(store.duplicateDbRule(id), id + 1);
    QCOMPARE(store.readDbRule(id + 1).value("name").toString(), QStringLiteral("Copy of ") + title);
}

void TestRuleStore::nextRuleNumber()
{
    QCOMPARE(store.nextRuleNumber(), 1);
    const QDate d(2026, 1, 1);
    for (int i = 0; i < 7; ++i) {
        store.addDbRule("r", {1}, "and", "", "always", d, d, 0, 0);
    }
    store.removeDbRule(7);
    store.removeDbRule(3);
    QCOMPARE(store.nextRuleNumber(), 7);
}

void TestRuleStore::lowerSeqWins()
{
    const int app = addApp("Editor");
    const int report = addEntry(app, "Quarterly report", "2026-11-16 09:00:00", 600);
    const QDate d(2026, 1, 1);
    const int broad = store.addDbRule("broad", {app}, "or", "report", "always", d, d, 1, 100);
    const int narrow = store.addDbRule("narrow", {app}, "exact", "Quarterly report", "always", d, d, 1, 200);
    RecordingLinker linker;
    FakePrompter prompter;
    RuleApplier applier(&store, &linker, &prompter);

    // Move the narrow rule in front: it now decides, the broad one is not asked.
    store.moveDbRule(narrow, -1);
    ApplyRulesSummary summary = applier.applyRules(QDate(2026, 11, 16), QDate(2026, 11, 16));
    QCOMPARE(linker.calls.size(), 1);
    QCOMPARE(linker.calls[0].taskId, 200);
    QCOMPARE(linker.calls[0].entryIds, QList<int>{report});
    QCOMPARE(linker.calls[0].notes, QString());
    QCOMPARE(summary.groups, 1);
    QCOMPARE(summary.matchedGroups, 1);
    QCOMPARE(summary.tasks, 1);
    QCOMPARE(summary.seconds, 600);
    QVERIFY(prompter.calls.isEmpty());
    Q_UNUSED(broad);
}

void TestRuleStore::sameTitleOnTwoDaysLinkedInOneCall()
{
    const int editor = addApp("Editor");
    const int browser = addApp("Browser");
    const int monday = addEntry(editor, "notes.txt", "2026-11-16 09:00:00", 60);
    const int mondayAgain = addEntry(editor, "notes.txt", "2026-11-16 15:00:00", 30);
    const int tuesday = addEntry(editor, "notes.txt", "2026-11-17 10:00:00", 120);
    addEntry(editor, "notes.txt", "2026-11-18 10:00:00", 120); // outside the range
    const int web = addEntry(browser, "Mail - Inbox", "2026-11-17 11:00:00", 45);
    addEntry(browser, "News", "2026-11-17 12:00:00", 45); // no rule matches
    const QDate d(2026, 1, 1);
    store.addDbRule("notes", {editor}, "and", "notes", "always", d, d, 1, 20);
    store.addDbRule("mail", {browser}, "regexp", "^mail", "always", d, d, 1, 9);
    RecordingLinker linker;
    FakePrompter prompter;
    RuleApplier applier(&store, &linker, &prompter);
    QSignalSpy started(&applier, &RuleApplier::progressStarted);
    QSignalSpy refresh(&applier, &RuleApplier::viewsNeedRefresh);
    QSignalSpy finished(&applier, &RuleApplier::progressFinished);

    const ApplyRulesSummary summary = applier.applyRules(QDate(2026, 11, 16), QDate(2026, 11, 17));
    // One call per task, in task id order.
    QCOMPARE(linker.calls.size(), 2);
    QCOMPARE(linker.calls[0].taskId, 9);
    QCOMPARE(linker.calls[0].entryIds, QList<int>{web});
    QCOMPARE(linker.calls[1].taskId, 20);
    QList<int> ids = linker.calls[1].entryIds;
    std::sort(ids.begin(), ids.end());
    QCOMPARE(ids, (QList<int>{monday, mondayAgain, tuesday}));
    QCOMPARE(summary.groups, 4);
    QCOMPARE(summary.matchedGroups, 3);
    QCOMPARE(summary.tasks, 2);
    QCOMPARE(summary.linkedTasks, 2);
    QCOMPARE(summary.seconds, 60 + 30 + 120 + 45);
    QCOMPARE(summaryText(summary), QStringLiteral("Rules applied: 3 of 4 groups matched, 2 tasks linked, 4 m 15 s (255 "
                                                  "seconds)"));
    QCOMPARE(started.size(), 1);
    QCOMPARE(started.first().first().toInt(), 4);
    QCOMPARE(refresh.size(), 1);
    QCOMPARE(finished.size(), 1);
}

void TestRuleStore::linkedEntriesAreNeverOfferedAgain()
{
    const int editor = addApp("Editor");
    addEntry(editor, "plan", "2026-11-16 09:00:00", 60);
    const QDate d(2026, 1, 1);
    store.addDbRule("plan", {editor}, "and", "", "always", d, d, 1, 5);
    RecordingLinker linker;
    RuleApplier applier(&store, &linker, nullptr);
    applier.applyRules(kFrom, kTo);
    QCOMPARE(linker.calls.size(), 1);

    const int later = addEntry(editor, "plan", "2026-11-16 10:00:00", 60);
    const ApplyRulesSummary second = applier.applyRules(kFrom, kTo);
    QCOMPARE(linker.calls.size(), 2);
    QCOMPARE(linker.calls[1].entryIds, QList<int>{later});
    QCOMPARE(second.groups, 1);

    const ApplyRulesSummary third = applier.applyRules(kFrom, kTo);
    QCOMPARE(third.groups, 0);
    QCOMPARE(third.tasks, 0);
    QCOMPARE(linker.calls.size(), 2);
}

void TestRuleStore::noActiveRulesSaysSo()
{
    const int editor = addApp("Editor");
    addEntry(editor, "plan", "2026-11-16 09:00:00", 60);
    const QDate d(2026, 1, 1);
    const int id = store.addDbRule("plan", {editor}, "and", "", "always", d, d, 1, 5);
    store.activateDbRule(id, false);
    RecordingLinker linker;
    FakePrompter prompter;
    RuleApplier applier(&store, &linker, &prompter);
    QSignalSpy started(&applier, &RuleApplier::progressStarted);
    const ApplyRulesSummary summary = applier.applyRules(kFrom, kTo);
    QVERIFY(summary.noRules);
    QCOMPARE(summaryText(summary), QStringLiteral("No rules to apply"));
    QVERIFY(linker.calls.isEmpty());
    QVERIFY(started.isEmpty());
    QCOMPARE(prompter.calls.size(), 1);
    QCOMPARE(prompter.calls[0].kind, QStringLiteral("inform"));
    QCOMPARE(prompter.calls[0].title, QStringLiteral("Information"));
    QCOMPARE(prompter.calls[0].text, QStringLiteral("No rules to apply"));
}

void TestRuleStore::refusedLinkIsCounted()
{
    const int editor = addApp("Editor");
    addEntry(editor, "a", "2026-11-16 09:00:00", 60);
    addEntry(editor, "b", "2026-11-16 10:00:00", 90);
    const QDate d(2026, 1, 1);
    store.addDbRule("a", {editor}, "exact", "a", "always", d, d, 1, 1);
    store.addDbRule("b", {editor}, "exact", "b", "always", d, d, 1, 2);
    RecordingLinker linker;
    linker.refuseTask = 1;
    RuleApplier applier(&store, &linker, nullptr);
    const ApplyRulesSummary summary = applier.applyRules(kFrom, kTo);
    QCOMPARE(summary.linkedTasks, 1);
    QCOMPARE(summary.failedTasks, 1);
    QCOMPARE(summary.seconds, 90);
    QCOMPARE(summaryText(summary),
             QStringLiteral("Rules applied: 2 of 2 groups matched, 1 tasks linked, 1 failed, 1 m 30 s (90 seconds)"));
    // What the service refused is offered again next time.
    QCOMPARE(applier.applyRules(kFrom, kTo).groups, 1);
}

void TestRuleStore::descriptionAgreesWithMatching()
{
    const int editor = addApp("Editor");
    const int browser = addApp("Browser <web>");
    // The catalogue may keep its maps as any associative container of texts.
    (*Registry::instance())["mapTaskNames"] = QVariant::fromValue(QMap<QString, QString>{{"22", "Write docs"}});
    (*Registry::instance())["mapProjectNames"] = QVariantHash{{"11", "Manual"}};
    const int id = store.addDbRule("docs", {editor, browser}, "and", "\"user guide\" draft", "between",
                                   QDate(2026, 3, 3), QDate(2026, 3, 10), 11, 22);
    const QString from = QLocale::system().toString(QDate(2026, 3, 3), QLocale::LongFormat);
    const QString to = QLocale::system().toString(QDate(2026, 3, 10), QLocale::LongFormat);
    QString html = RuleDescription::describe(id);
    QVERIFY2(html.startsWith("Apply this rule for time entries<br/>"), qPrintable(html));
    QVERIFY2(html.contains("Where Application is <a href='#'>'Browser &lt;web&gt;' or 'Editor'</a><br/>"),
             qPrintable(html));
    QVERIFY2(html.contains("contains 'user guide' and 'draft'</a>"), qPrintable(html));
    QVERIFY2(html.contains("between '" + from + "' and '" + to + "'"), qPrintable(html));
    QVERIFY2(html.endsWith("Link with task <a href='#'>'Write docs'</a> from project <a href='#'>'Manual'</a><br/>"),
             qPrintable(html));

    store.updateDbRule(id, "docs", {editor}, "or", "   ", "before", QDate(2026, 3, 3), QDate(2026, 3, 10), 12, 23);
    store.activateDbRule(id, false);
    html = RuleDescription::describe(id);
    QVERIFY2(html.startsWith("This rule is currently turned off.<br/>"), qPrintable(html));
    // "before" reaches up to date_to, and a blank "or" pattern never matches.
    QVERIFY2(html.contains("on or before '" + to + "'"), qPrintable(html));
    QVERIFY2(!html.contains("contains anything"), qPrintable(html));
    QVERIFY2(html.contains("task <a href='#'>'#23'</a> from project <a href='#'>'#12'</a>"), qPrintable(html));

    store.updateDbRule(id, "docs", {editor}, "and", "", "after", QDate(2026, 3, 3), QDate(2026, 3, 10), 12, 23);
    html = RuleDescription::describe(id);
    QVERIFY2(html.contains("contains anything"), qPrintable(html));
    QVERIFY2(html.contains("on or after '" + from + "'"), qPrintable(html));
    QVERIFY(RuleDescription::describe(999).isEmpty());
}

QTEST_GUILESS_MAIN(TestRuleStore)
#include "TestRuleStore.moc"
