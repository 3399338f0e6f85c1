#include "FakePrompter.h"
#include "RecordedRows.h"
#include "RuleBrief.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "rules/DatePresets.h"
#include "rules/RuleApplier.h"
#include "rules/RuleDescription.h"
#include "rules/RuleMatcher.h"
#include "rules/TaskLinker.h"

namespace {

// Records the link calls as "task:entry ids" and marks the rows linked the way real linking does, so
// a later run can show that linked entries are left alone.
class RecordingLinker : public TaskLinker
{
public:
    bool connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes) override
    {
        QStringList ids;
        for (int id : entryIds) {
            ids << QString::number(id);
        }
        ids.sort();
        calls << QStringLiteral("%1:%2%3").arg(taskId).arg(ids.join(QLatin1Char(',')), notes);
        if (refuseTask == taskId) {
            return false;
        }
        QSqlQuery mark;
        mark.exec(QStringLiteral("UPDATE entries SET ext_task_id = %1, ext_entry_id = %2 WHERE id IN (%3)")
                      .arg(taskId)
                      .arg(1000 + calls.size())
                      .arg(ids.join(QLatin1Char(','))));
        return true;
    }

    QStringList calls;
    int refuseTask = -1;
};

QVariantMap rule(const QString& titleRule, const QString& title, const QString& dateRule = QStringLiteral("always"),
                 const QDate& from = QDate(), const QDate& to = QDate())
{
    return {{"app_ids", QStringList{"3", "12"}},
            {"title_rule", titleRule},
            {"title", title},
            {"date_rule", dateRule},
            {"date_from", from},
            {"date_to", to}};
}

const QDateTime kDay(QDate(2026, 11, 16), QTime(0, 0, 0));

struct TitleCase
{
    QString mode;
    QString pattern;
    QString title;
    bool expected;
    QString app = QStringLiteral("12");
};

} // namespace

Q_DECLARE_METATYPE(TitleCase)

class TestRuleStore : public QObject, RuleDatabase
{
    Q_OBJECT

    // The rules' positions in the order they were made: "1 3 4".
    static QString seqs()
    {
        return RecordedRows::column(QStringLiteral("SELECT seq FROM rules ORDER BY id")).join(' ');
    }

private slots:
    void initTestCase() { QVERIFY2(opened, qPrintable(error)); }

    void init()
    {
        RecordedRows::clearAll();
        Registry::drop();
        // Rules send time only for a signed-in session.
        Registry::instance()->setLoggedIn(true);
    }

    void aFailedWriteLeavesNoHalfRule()
    {
        const int id = store.addDbRule("Office", {4, 2}, "exact", "Budget", "always", QDate(), QDate(), 11, 22);
        const QString before = brief(store.readDbRule(id));
        // The applications cannot be written (as on a full disk): nothing of the change may stay.
        QSqlQuery trigger;
        QVERIFY(trigger.exec("CREATE TEMP TRIGGER no_apps BEFORE INSERT ON rules_apps BEGIN SELECT RAISE(ABORT, "
                             "'disk is full'); END"));
        QCOMPARE(store.addDbRule("Half", {7}, "exact", "x", "always", QDate(), QDate(), 1, 2), 0);
        QVERIFY(!store.updateDbRule(id, "renamed", {9}, "regexp", "^x", "always", QDate(), QDate(), 3, 4));
        QVERIFY2(store.lastError().contains("disk is full"), qPrintable(store.lastError()));
        QVERIFY(trigger.exec("DROP TRIGGER no_apps"));
        QCOMPARE(brief(store.readDbRule(id)), before);
        QCOMPARE(RecordedRows::column("SELECT id FROM rules"), QStringList{QString::number(id)});
    }

    // An update keeping the position and the active state is checked through the rule dialogs.
    void onlyActiveRulesWithApplicationsAreApplied()
    {
        // Quotes and SQL in names and patterns are values, never statements.
        const int id = store.addDbRule("it's renamed", {9}, "regexp", "^x' OR '1'='1", "after", QDate(2026, 5, 1),
                                       QDate(2026, 5, 2), 3, 4);
        add("none", {});
        const int emptied = add("emptied", {4});
        store.updateDbRule(emptied, "emptied", {}, "and", "", "always", QDate(), QDate(), 0, 0);
        store.activateDbRule(id, false);
        // The copy of an inactive rule is active and goes to the end; the source stays off.
        QCOMPARE(
            brief(store.readDbRule(store.duplicateDbRule(id))),
            QStringLiteral("Copy of it's renamed|regexp ^x' OR '1'='1|after 2026-05-01 2026-05-02|3/4|seq 4|active 1|"
                           "apps 9"));
        const QVariantList applied = store.readDbRules();
        QCOMPARE(applied.size(), 1);
        QCOMPARE(applied[0].toMap().value("id").toInt(), 4);
        QCOMPARE(store.readRuleForEditing(emptied).value("name").toString(), QStringLiteral("emptied"));
    }

    void sequencesAndNumbersGrowPastDeletions()
    {
        QCOMPARE(store.nextRuleNumber(), 1);
        const int a = add("a", {1});
        const int b = add("b", {1});
        add("c", {1});
        store.removeDbRule(b);
        add("d", {1});
        QCOMPARE(seqs(), "1 3 4");
        store.removeDbRule(a);
        QCOMPARE(RecordedRows::column("SELECT rule_id FROM rules_apps WHERE rule_id IN (1, 2)"), QStringList());
        QCOMPARE(store.nextRuleNumber(), 5);
        store.removeDbRule(4);
        QCOMPARE(store.nextRuleNumber(), 4);
    }

    void moving()
    {
        const struct
        {
            QList<int> seqs;
            int index;
            int direction;
            const char* expected;
        } rows[] = {
            {{1, 2, 3}, 0, -1, "0 2 3"}, // the top rule goes up to 0, and no further
            {{0, 2, 3}, 0, -1, "0 2 3"}, {{1, 2, 3}, 2, 1, "1 2 3"}, {{1, 4, 9}, 2, -1, "1 9 4"}, // over gaps
            {{1, 4, 9}, 0, 1, "4 1 9"},
        };
        for (const auto& row : rows) {
            RecordedRows::clearAll();
            QList<int> ids;
            for (int seq : row.seqs) {
                ids << add(QStringLiteral("r"), {1});
                QSqlQuery(QStringLiteral("UPDATE rules SET seq = %1 WHERE id = %2").arg(seq).arg(ids.last()));
            }
            store.moveDbRule(ids[row.index], row.direction);
            QCOMPARE(seqs(), QLatin1String(row.expected));
        }
    }

    // Entries are "application|title|start|seconds", rules "application|title rule|pattern|task[|seq]"
    // (a leading "-" switches the rule off). Entry ids count from 1 in the listed order; each run is
    // followed by a second one, which must only offer what the first left unlinked.
    void applying_data()
    {
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QStringList>("rules");
        QTest::addColumn<int>("refusedTask");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<int>("groupsAgain");

        QTest::newRow("lower seq wins over the older rule")
            << QStringList{"Editor|Quarterly report|2026-11-16 09:00:00|600"}
            << QStringList{"Editor|or|report|100", "Editor|exact|Quarterly report|200|0"} << 0 << QStringList{"200:1"}
            << "Rules applied: 1 of 1 groups matched, 1 tasks linked, 10 m 0 s (600 seconds)" << 0;
        QTest::newRow("same title on two days linked in one call per task")
            << QStringList{"Editor|notes.txt|2026-11-16 09:00:00|60",     "Editor|notes.txt|2026-11-16 15:00:00|30",
                           "Editor|notes.txt|2026-11-17 10:00:00|120",    "Editor|notes.txt|2026-11-18 10:00:00|120",
                           "Browser|Mail - Inbox|2026-11-17 11:00:00|45", "Browser|News|2026-11-17 12:00:00|45"}
            << QStringList{"Editor|and|notes|20", "Browser|regexp|^mail|9"} << 0 << QStringList{"9:5", "20:1,2,3"}
            << "Rules applied: 3 of 4 groups matched, 2 tasks linked, 4 m 15 s (255 seconds)" << 1;
        QTest::newRow("refused link is counted and offered again")
            << QStringList{"Editor|a|2026-11-16 09:00:00|60", "Editor|b|2026-11-16 10:00:00|90"}
            << QStringList{"Editor|exact|a|1", "Editor|exact|b|2"} << 1 << QStringList{"1:1", "2:2"}
            << "Rules applied: 2 of 2 groups matched, 1 tasks linked, 1 failed, 1 m 30 s (90 seconds)" << 1;
        QTest::newRow("no active rule") << QStringList{"Editor|plan|2026-11-16 09:00:00|60"}
                                        << QStringList{"-Editor|and||5"} << 0 << QStringList() << "No rules to apply"
                                        << 0;
    }

    void applying()
    {
        QFETCH(QStringList, entries);
        QFETCH(QStringList, rules);
        QFETCH(int, refusedTask);
        QFETCH(QStringList, calls);
        QFETCH(QString, summary);
        QFETCH(int, groupsAgain);
        const QMap<QString, int> apps{{"Editor", RecordedRows::addApp("Editor")},
                                      {"Browser", RecordedRows::addApp("Browser")}};
        for (const QString& entry : entries) {
            const QStringList f = entry.split(QLatin1Char('|'));
            RecordedRows::addEntry(apps[f[0]], f[1], f[2], f[3].toInt());
        }
        for (QString text : rules) {
            const bool off = text.startsWith(QLatin1Char('-'));
            const QStringList f = text.remove(0, off ? 1 : 0).split(QLatin1Char('|'));
            const int id = add(f[2], {apps[f[0]]}, f[1], f[2], f[3].toInt());
            store.activateDbRule(id, !off);
            if (f.size() > 4) {
                QSqlQuery(QStringLiteral("UPDATE rules SET seq = %1 WHERE id = %2").arg(f[4].toInt()).arg(id));
            }
        }
        RecordingLinker linker;
        linker.refuseTask = refusedTask;
        FakePrompter prompter;
        RuleApplier applier(&store, &linker, &prompter);
        QSignalSpy started(&applier, &RuleApplier::progressStarted);
        QSignalSpy refresh(&applier, &RuleApplier::viewsNeedRefresh);
        QSignalSpy finished(&applier, &RuleApplier::progressFinished);

        const ApplyRulesSummary first = applier.applyRules(QDate(2026, 11, 16), QDate(2026, 11, 17));
        QCOMPARE(linker.calls, calls);
        QCOMPARE(summaryText(first), summary);
        // Only an empty rule list is worth a message; otherwise the progress runs once, over the tasks.
        QCOMPARE(prompter.calls.size(), first.noRules ? 1 : 0);
        if (first.noRules) {
            QCOMPARE(prompter.calls[0].kind + ' ' + prompter.calls[0].text, "inform " + summary);
        } else {
            QCOMPARE(QList<qsizetype>({started.size(), refresh.size(), finished.size()}), QList<qsizetype>({1, 1, 1}));
            QCOMPARE(started[0][0].toInt(), first.tasks + 2);
        }
        QCOMPARE(applier.applyRules(QDate(2026, 11, 16), QDate(2026, 11, 17)).groups, groupsAgain);
    }

    void descriptionAgreesWithMatching()
    {
        const int editor = RecordedRows::addApp("Editor");
        const int browser = RecordedRows::addApp("Browser <web>");
        CatalogueMaps& maps = Registry::instance()->editCatalogueMaps();
        maps.taskNames = QVariantMap{{"22", "Write docs"}};
        maps.projectNames = QVariantMap{{"11", "Manual"}};
        const QDate from(2026, 3, 3);
        const QDate to(2026, 3, 10);
        const int id =
            store.addDbRule("docs", {editor, browser}, "and", "\"user guide\" draft", "between", from, to, 11, 22);
        const QString fromText = QLocale::system().toString(from, QLocale::LongFormat);
        const QString toText = QLocale::system().toString(to, QLocale::LongFormat);
        // Each state of the rule and the parts its description must hold.
        const auto check = [&](const QStringList& parts) {
            const QString html = RuleDescription::describe(id);
            for (const QString& part : parts) {
                QVERIFY2(part.startsWith('!') ? !html.contains(part.mid(1)) : html.contains(part), qPrintable(html));
            }
        };
        check({"Where Application is <a href='#'>'Browser &lt;web&gt;' or 'Editor'</a><br/>",
               "contains 'user guide' and 'draft'</a>", "between '" + fromText + "' and '" + toText + "'",
               "Link with task <a href='#'>'Write docs'</a> from project <a href='#'>'Manual'</a><br/>"});

        store.updateDbRule(id, "docs", {editor}, "or", "   ", "before", from, to, 12, 23);
        store.activateDbRule(id, false);
        // "before" reaches up to date_to, and a blank "or" pattern never matches.
        check({"This rule is currently turned off.<br/>", "on or before '" + toText + "'", "!contains anything",
               "task <a href='#'>'#23'</a> from project <a href='#'>'#12'</a>"});

        store.updateDbRule(id, "docs", {editor}, "and", "", "after", from, to, 12, 23);
        check({"contains anything", "on or after '" + fromText + "'"});
        QVERIFY(RuleDescription::describe(999).isEmpty());
    }

    // Matching works on the rule record as read, without the database.
    void title_data()
    {
        QTest::addColumn<TitleCase>("c");
        const auto row = [](const char* tag, const TitleCase& c) { QTest::newRow(tag) << c; };
        const QString summary = QStringLiteral("Report - Summary");
        row("empty pattern matches in any mode", {"or", "", summary, true});
        row("and, all words", {"and", "summary REPORT", summary, true});
        row("and, one word missing", {"and", "report budget", summary, false});
        row("and, blanks only", {"and", "   ", summary, true});
        row("or, blanks only", {"or", "   ", summary, false});
        row("or, one of two", {"or", "budget summary", summary, true});
        row("or, none", {"or", "budget plan", summary, false});
        row("and, quoted phrase words apart", {"and", "\"big dog\" cat", "big red dog and cat", false});
        row("exact, case differs", {"exact", "report - summary", summary, false});
        row("exact, part only", {"exact", "Report", summary, false});
        row("exact, whole title", {"exact", summary, summary, true});
        row("regexp, unanchored ignoring case", {"regexp", "sum+ary$", summary, true});
        row("regexp, no match", {"regexp", "^Summary", summary, false});
        row("regexp, invalid", {"regexp", "(unclosed", "(unclosed", false});
        row("unknown mode matches", {"nearly", "zzz", summary, true});
        // The application must be one of the rule's, compared as the exact id text.
        row("other application", {"and", "", summary, false, "1"});
        row("application id with a leading zero", {"and", "", summary, false, "03"});
    }

    void title()
    {
        QFETCH(TitleCase, c);
        QCOMPARE(ruleApplies(rule(c.mode, c.pattern), c.title, c.app, kDay), c.expected);
    }

    void date()
    {
        // Each date rule against these days, with the rule's dates the 3rd and the 10th of March: "+" applies.
        const QList<QDate> days{QDate(1999, 1, 1),  QDate(2026, 3, 2),  QDate(2026, 3, 3), QDate(2026, 3, 7),
                                QDate(2026, 3, 10), QDate(2026, 3, 11), QDate(2027, 1, 1)};
        const QList<QPair<QString, QString>> rows{
            {"after", "--+++++"}, {"before", "+++++--"}, {"between", "--+++--"}, {"always", "+++++++"}};
        for (const auto& [dateRule, expected] : rows) {
            const QVariantMap r =
                rule(QStringLiteral("and"), QString(), dateRule, QDate(2026, 3, 3), QDate(2026, 3, 10));
            // Groups are tested at the start of their day; the last second of a day still belongs to it.
            for (const QTime& time : {QTime(0, 0, 0), QTime(23, 59, 59)}) {
                QString got;
                for (const QDate& day : days) {
                    got += ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), QDateTime(day, time)) ? '+' : '-';
                }
                QCOMPARE(dateRule + ' ' + got, dateRule + ' ' + expected);
            }
        }
    }

    void presets()
    {
        const QDate sunday(2026, 11, 22);
        const QDate monday(2026, 11, 16);
        const QDate wednesday(2026, 11, 18);
        const struct
        {
            const char* value;
            QDate today;
            QDate from;
            QDate to;
        } rows[] = {
            {"today", wednesday, wednesday, wednesday},
            {"yesterday", QDate(2026, 3, 1), QDate(2026, 2, 28), QDate(2026, 2, 28)},
            {"3 days back", wednesday, QDate(2026, 11, 15), wednesday},
            {"this week", sunday, monday, sunday},
            {"this week", monday, monday, sunday},
            {"prev week", sunday, QDate(2026, 11, 9), QDate(2026, 11, 15)},
            {"this month", QDate(2028, 2, 10), QDate(2028, 2, 1), QDate(2028, 2, 29)},
            {"prev month", QDate(2026, 3, 31), QDate(2026, 2, 1), QDate(2026, 2, 28)},
            {"prev month", QDate(2027, 1, 15), QDate(2026, 12, 1), QDate(2026, 12, 31)},
            {"custom", wednesday, QDate(2020, 1, 1), QDate(2020, 1, 2)}, // no range: the dates stay
        };
        for (const auto& r : rows) {
            QDate from(2020, 1, 1);
            QDate to(2020, 1, 2);
            const bool isRange = DatePresets::range(QString::fromLatin1(r.value), r.today, &from, &to);
            const QString what = QStringLiteral("%1 on %2").arg(QLatin1String(r.value), r.today.toString(Qt::ISODate));
            QVERIFY2(isRange == (QLatin1String(r.value) != QLatin1String("custom")), qPrintable(what));
            QVERIFY2(from == r.from && to == r.to, qPrintable(what + ": " + from.toString() + " - " + to.toString()));
        }
    }
};

QTEST_MAIN(TestRuleStore)
#include "TestRuleStore.moc"
