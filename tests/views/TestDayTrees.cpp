#include "DayFixture.h"
#include "TestKit.h"
#include "reports/CalendarDays.h"
#include "reports/DayReport.h"
#include "reports/RangeReport.h"
#include "store/util.h"

#include <QAbstractItemModelTester>

namespace {
const QDate kDay(2026, 11, 15);
const QString kEditorPath = QStringLiteral("/usr/share/applications/editor.desktop");

// Every node shows its own time, and inner nodes hold the sum of their children.
bool consistent(const TreeItem* parent, int* sum = nullptr)
{
    int total = 0;
    for (int i = 0; i < parent->childCount(); ++i) {
        const TreeItem* item = parent->child(i);
        const int time = item->hiddenData(QStringLiteral("time")).toInt();
        int childSum = 0;
        if (item->data(1).toString() != util::format_time(time) ||
            (item->childCount() > 0 && (!consistent(item, &childSum) || childSum != time))) {
            qWarning() << item->data(0) << "shows" << item->data(1) << "for" << time << "children sum" << childSum;
            return false;
        }
        total += time;
    }
    if (sum) {
        *sum = total;
    }
    return true;
}

struct DayCase
{
    int hideUnder;
    bool byHour;
    QString filter;
    QStringList ignored;
    QString expected;
};
} // namespace
Q_DECLARE_METATYPE(DayCase)

// The day trees built from a real SQLite file, kept up to date while recording and linking, and the
// reports made from them.
class TestDayTrees : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(fixture.open());
        editor = DayFixture::addApp(kEditorPath, QStringLiteral("Editor"));
        terminal = DayFixture::addApp(QStringLiteral("/usr/bin/term"), QStringLiteral("Terminal"));
        away = DayFixture::addApp(QStringLiteral("verrin://idle"), QStringLiteral("Away Time"));
    }

    void cleanup()
    {
        models.clear();
        fixture.close();
    }

    void buildsTheDay_data()
    {
        QTest::addColumn<DayCase>("c");
        const QString editorAll = "Editor=240[draft=50#3; notes.txt=70#1,2; red big dog=120#7]";
        const QString terminalAll = "Terminal=132[it's a quote=100#5; make test=32#4]";
        const QString quote = "Terminal=100[it's a quote=100#5]";
        const QString dog = "Editor=120[red big dog=120#7]";
        const QString away = "Away Time=1800[Lunch=1800#6]";
        QTest::newRow("whole day; a stretch over midnight keeps its start day")
            << DayCase{0, false, "", {}, away + "; " + editorAll + "; " + terminalAll};
        const QString hidden = away + "; Editor=190[notes.txt=70#1,2; red big dog=120#7]; " + quote;
        const QString fromTen = "10:00 - 11:00=100[" + quote + "]; 12:00 - 13:00=1800[" + away +
                                "]; 14:00 - 15:00=20[Editor=20[notes.txt=20#2]]; 23:00 - 24:00=120[" + dog + "]; ";
        QTest::newRow("titles under a minute in all are hidden, 50 s + 20 s is not")
            << DayCase{60, false, "", {}, hidden};
        const QString nine = "9:00 - 10:00=132[Editor=100[draft=50#3; notes.txt=50#1]; Terminal=32[make test=32#4]]";
        QTest::newRow("by hour; an entry crossing the hour counts under its start")
            << DayCase{0, true, "", {}, fromTen + nine};
        QTest::newRow("by hour, a title over the threshold has each piece under its own hour")
            << DayCase{60, true, "", {}, fromTen + "9:00 - 10:00=50[Editor=50[notes.txt=50#1]]"};
        QTest::newRow("two words must both match") << DayCase{0, false, "dog red", {}, dog};
        QTest::newRow("two words, one not there") << DayCase{0, false, "dog cat", {}, ""};
        QTest::newRow("a quoted phrase") << DayCase{0, false, "\"big dog\"", {}, dog};
        QTest::newRow("a word with a quote") << DayCase{0, false, "it's", {}, quote};
        QTest::newRow("a word of the application's name") << DayCase{0, false, "TERM", {}, terminalAll};
        QTest::newRow("filter and threshold") << DayCase{60, false, "term", {}, quote};
        QTest::newRow("ignored applications never show")
            << DayCase{0, false, "", {"verrin://idle", "/usr/bin/term"}, editorAll};
    }

    void buildsTheDay()
    {
        QFETCH(DayCase, c);
        Registry::instance()->setIgnoredApps(c.ignored);
        // Recorded live into the empty day, the rows make the same tree as read back from the database.
        TreeModel& live = day(false, c.hideUnder, c.byHour);
        live.setFilter(c.filter);
        addStandardDay(&live);
        TreeModel model(false);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setGroupByHour(c.byHour);
        model.setFilter(c.filter);
        QSignalSpy totalText(&model, &TreeModel::setTotalTimeText);
        model.initTree(kDay, c.hideUnder);
        QCOMPARE(DayFixture::outline(model.root()), c.expected);
        QCOMPARE(DayFixture::outline(live.root()), c.expected);
        QVERIFY(consistent(live.root()));
        QCOMPARE(live.getTotalTime(), model.getTotalTime());
        int sum = 0;
        QVERIFY(consistent(model.root(), &sum));
        QCOMPARE(model.getTotalTime(), sum);
        QCOMPARE(totalText.count(), 1);
        QCOMPARE(totalText.last().at(0).toString(), util::format_time(sum));
    }

    // Announced again (as record() does), a row adds nothing; grown, only the difference: whether read from
    // the database, recorded here, or the piece that made its title cross the threshold.
    void anEntryAnnouncedAgainCountsOnce()
    {
        const int built = DayFixture::addEntry(editor, "notes.txt", "2026-11-15 09:00:00", "2026-11-15 09:00:50");
        TreeModel& model = day(false);
        announce(model, editor, built, "notes.txt", "2026-11-15 09:00:00", "2026-11-15 09:00:50");
        const int open = record(model, editor, "notes.txt", "2026-11-15 10:00:00", "2026-11-15 10:01:00");
        QCOMPARE(model.getTotalTime(), 110);
        DayFixture::setEnd(built, "2026-11-15 09:01:10");
        announce(model, editor, built, "notes.txt", "2026-11-15 09:00:00", "2026-11-15 09:01:10");
        DayFixture::setEnd(open, "2026-11-15 10:02:30");
        announce(model, editor, open, "notes.txt", "2026-11-15 10:00:00", "2026-11-15 10:02:30");
        QCOMPARE(DayFixture::outline(model.root()), "Editor=220[notes.txt=220#1,2]");
        QVERIFY(consistent(model.root()));
        TreeModel& hiding = day(false, 300);
        const int late = record(hiding, editor, "notes.txt", "2026-11-15 11:00:00", "2026-11-15 11:01:30");
        QCOMPARE(hiding.getTotalTime(), 310);
        DayFixture::setEnd(late, "2026-11-15 11:01:40");
        announce(hiding, editor, late, "notes.txt", "2026-11-15 11:00:00", "2026-11-15 11:01:40");
        QCOMPARE(hiding.getTotalTime(), 320);
        QVERIFY(consistent(hiding.root()));
    }

    void removingBottomUpEmptiesAncestorsAndTotals()
    {
        TreeModel& model = day(false, 0, true);
        QSignalSpy zero(&model, &TreeModel::datesWithZeroTimeChanged);
        model.updateTotalTime(0); // still nothing: the calendar's marks stay
        QCOMPARE(zero.count(), 0);
        record(model, editor, "notes.txt", "2026-11-15 09:59:59", "2026-11-15 10:00:00"); // one second is time
        const int b = record(model, editor, "notes.txt", "2026-11-15 10:00:00", "2026-11-15 10:00:05");
        const int c = record(model, terminal, "make", "2026-11-15 10:30:00", "2026-11-15 10:30:07");
        // Removed the way the views delete: emptied ancestors go too, the others keep their sums.
        const auto remove = [&model](const QString& title, const QString& hour) {
            const QModelIndex entry =
                model.findItemIndex("entry", "title", title, model.findItemIndex("hour", "hour", hour));
            const int time = model.hiddenData(entry, "time").toInt();
            model.updateTimeInParentNodes(entry, -time);
            model.propagateRemoveRow(entry);
            model.updateTotalTime(-time);
        };
        QSignalSpy changed(&model, &TreeModel::dataChanged);
        remove("notes.txt", "9");
        remove("notes.txt", "10");
        QVERIFY(changed.count() >= 2); // the hour's time, so the views repaint it
        QCOMPARE(DayFixture::outline(model.root()), QStringLiteral("10:00 - 11:00=7[Terminal=7[make=7#%1]]").arg(c));
        QVERIFY(consistent(model.root()));
        QCOMPARE(zero.count(), 1);
        remove("make", "10");
        QCOMPARE(model.rowCount(), 0);
        QCOMPARE(zero.count(), 2);
        // Rows that left the tree count afresh when they come back.
        announce(model, editor, b, "notes.txt", "2026-11-15 10:00:00", "2026-11-15 10:00:05");
        QCOMPARE(model.getTotalTime(), 5);
    }

    void iconLookupsRolesAndSort()
    {
        addStandardDay();
        QStringList asked;
        TreeModel model(false);
        model.setIconProvider([&asked](const QString& path) {
            asked << path;
            return QIcon();
        });
        model.initTree(kDay, 0);
        model.refreshTree();
        // Each path is looked up once, whatever the rebuilds: a lookup asks the desktop platform.
        asked.sort();
        QCOMPARE(asked, (QStringList{"/usr/bin/term", kEditorPath, "verrin://idle"}));
        const QModelIndex terminalNode = model.findItemIndex("app", "app_path", "/usr/bin/term");
        const QModelIndex notes = model.findItemIndex("entry", "title", "notes.txt");
        const QModelIndex quote = model.findItemIndex("entry", "title", "it's a quote", terminalNode);
        // Times are right-aligned; entries drag but never edit.
        QCOMPARE(model.data(notes.siblingAtColumn(1), Qt::TextAlignmentRole).toInt(), int(Qt::AlignRight));
        QVERIFY((model.flags(notes) & (Qt::ItemIsDragEnabled | Qt::ItemIsEditable)) == Qt::ItemIsDragEnabled);
        // The linking dialog offers the applications of a selection, each once.
        const QModelIndexList rows{notes, notes.siblingAtColumn(1), terminalNode, quote};
        QCOMPARE(model.extractAppIdsFromSelection(rows), (QList<int>{editor, terminal}));

        // A sort moves kept indexes with their rows.
        const QPersistentModelIndex kept(quote.siblingAtColumn(1));
        QCOMPARE(kept.row(), 1); // built after "make test"
        model.sort(0, Qt::AscendingOrder);
        QCOMPARE(kept.data().toString(), QStringLiteral("1 m 40 s"));
        QCOMPARE(kept.row(), 0);
        QCOMPARE(kept.parent().data().toString(), QStringLiteral("Terminal"));
    }

    // Without a catalogue the names stored with the entries; the hour grouping never applies here.
    void linkedTreeGroupsAndNames()
    {
        const int a = DayFixture::addEntry(editor, "linked one", "2026-11-15 09:00:00", "2026-11-15 09:05:00");
        const int b = DayFixture::addEntry(editor, "linked one", "2026-11-15 15:00:00", "2026-11-15 15:01:00");
        const int c = DayFixture::addEntry(terminal, "x", "2026-11-15 16:00:00", "2026-11-15 16:01:00");
        DayFixture::addEntry(terminal, "not linked", "2026-11-15 16:00:00", "2026-11-15 16:01:00");
        DayFixture::link(a, 30, 10, 20, "Stored task", "Stored project", "Stored list");
        DayFixture::link(b, 30, 10, 20, "Stored task", "Stored project", "Stored list");
        DayFixture::link(c, 31, 10, 20, "Task 31", "Stored project", "Stored list");
        TreeModel& model = day(true, 0, true);
        QCOMPARE(DayFixture::outline(model.root()),
                 "Stored project=420[Stored list=420[Stored task=360[Editor=360[linked one=360#1,2]]; "
                 "Task 31=60[Terminal=60[x=60#3]]]]");
        QVERIFY(consistent(model.root()));
        QCOMPARE(model.getTotalTime(), 420);
    }

    void linkingLiveGroupsByTask()
    {
        Registry::instance()->setCatalogueMaps({{{"10", "Website"}},
                                                {{"20", "Design"}},
                                                {{"30", "Logo"}},
                                                {{"30", "10"}, {"31", "10"}},
                                                {{"30", "20"}, {"31", "20"}}});
        TreeModel& model = day(true);
        QSignalSpy expand(&model, &TreeModel::expandNode);
        QList<QVariantMap> batch;
        for (const auto& [start, end] : {std::pair{"2026-11-15 09:00:00", "2026-11-15 09:01:00"},
                                         {"2026-11-15 10:00:00", "2026-11-15 10:00:30"},
                                         {"2026-11-14 10:00:00", "2026-11-14 10:00:30"}}) {
            const int id = DayFixture::addEntry(editor, "logo.svg", start, end);
            DayFixture::link(id, 30, 10, 20);
            QVariantMap row{{"id", id}, {"application_id", editor}, {"app_path", "/e"}, {"app_name", "Editor"}};
            row.insert({{"title", "logo.svg"}, {"start_time", start}, {"end_time", end}});
            batch << row;
        }
        model.addLinkedTimeBatch(batch, "30");
        const int c = DayFixture::addEntry(editor, "palette", "2026-11-15 11:00:00", "2026-11-15 11:00:10");
        DayFixture::link(c, 31, 10, 20, "Stored name"); // the catalogue lacks it: no name, not the stored one
        model.addLinkedTime(c, "31");
        announce(model, editor, 99, "t", "2026-11-15 08:00:00", "2026-11-15 08:01:00"); // recorded time never comes in
        const QString expected =
            "Website=100[Design=100[=10[Editor=10[palette=10#4]]; Logo=90[Editor=90[logo.svg=90#1,2]]]]";
        QCOMPARE(DayFixture::outline(model.root()), expected);
        QVERIFY(consistent(model.root()));
        QCOMPARE(model.getTotalTime(), 100);
        QVERIFY(expand.count() >= 5);
        // The unlinked model refuses linked additions; a rebuild of the linked one agrees.
        TreeModel& unlinked = day(false);
        unlinked.addLinkedTime(c, "31");
        QCOMPARE(unlinked.rowCount(), 0);
        model.refreshTree();
        QCOMPARE(DayFixture::outline(model.root()), expected);
        // Under a threshold a linked title stays out until its pieces of the day together reach it.
        TreeModel& hiding = day(true, 120);
        const int more = DayFixture::addEntry(editor, "logo.svg", "2026-11-15 12:00:00", "2026-11-15 12:00:40");
        DayFixture::link(more, 30, 10, 20);
        hiding.addLinkedTime(c, "31");
        QCOMPARE(hiding.rowCount(), 0);
        hiding.addLinkedTime(more, "30");
        QCOMPARE(hiding.getTotalTime(), 130);
        QVERIFY(consistent(hiding.root()));
    }

    void titleEditAndDeleteBindTheirValues()
    {
        const int a = DayFixture::addEntry(editor, "old", "2026-11-15 09:00:00", "2026-11-15 09:01:00");
        const int b = DayFixture::addEntry(editor, "old", "2026-11-15 10:00:00", "2026-11-15 10:01:00");
        const QString odd = QStringLiteral("it's \"quoted\"); DROP TABLE entries; --");
        QVERIFY(TreeModel::updateDbEntriesTitle({QString::number(a), QString::number(b), "1) OR (1=1"}, odd));
        TreeModel model(false);
        QCOMPARE(model.getEntriesWithTitle(kDay, odd, editor, false),
                 (QStringList{QString::number(a), QString::number(b)}));
        QCOMPARE(model.getTotalTimeForTitle(kDay, odd, editor, false), 120);
        QCOMPARE(model.getTotalTimeForTitle(kDay, odd, editor, true), 0);
        model.setFilter(QStringLiteral("\"quoted\")"));
        QCOMPARE(model.getTotalTimeForTitle(kDay, odd, editor, false), 120);
        QVERIFY(TreeModel::deleteDbEntries({QString::number(a)}));
        QVERIFY(!TreeModel::deleteDbEntries({"x"}));
        QCOMPARE(model.getEntriesWithTitle(kDay, odd, editor, false), QStringList{QString::number(b)});
    }

    void reportShowsBothTrees()
    {
        addStandardDay();
        Registry::instance()->setIgnoredApps(QStringList{"verrin://idle"});
        Registry::instance()->setHideUnder(60);
        QString error;
        const QString text = DayReport::render(kDay, DayReport::Format::Text, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QVERIFY(text.startsWith("VerrinPlus day report: 2026-11-15\n\nEntries not linked with Verrin: 4 m 50 s\n"));
        QVERIFY(text.contains("\n  Editor  3 m 10 s\n    notes.txt  1 m 10 s\n"));
        // Linked rows without stored names and no catalogue: nameless project, task list and task.
        QVERIFY(text.endsWith("\nEntries linked with Verrin: 10 m 0 s\n  (unnamed)  10 m 0 s\n    (unnamed)  10 m 0 s\n"
                              "      (unnamed)  10 m 0 s\n        Editor  10 m 0 s\n          linked one  10 m 0 s\n"));

        const QJsonObject json =
            QJsonDocument::fromJson(DayReport::render(kDay, DayReport::Format::Json, &error).toUtf8()).object();
        QCOMPARE(json["date"].toString(), QStringLiteral("2026-11-15"));
        QCOMPARE(json["unlinked"]["total_seconds"].toInt(), 290);
        QCOMPARE(json["linked"]["nodes"][0]["type"].toString(), QStringLiteral("project"));
        QCOMPARE(json["linked"]["nodes"][0]["id"].toString(), QStringLiteral("10"));

        const QStringList csv =
            DayReport::render(kDay, DayReport::Format::Csv, &error).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        QCOMPARE(csv.first(), QStringLiteral("tree,depth,type,path,name,seconds,time"));
        QVERIFY(csv.contains("unlinked,0,total,,Entries not linked with Verrin,290,4 m 50 s"));
        QVERIFY(csv.contains("linked,5,entry,\" >  >  > Editor\",linked one,600,10 m 0 s"));

        DayReport::Format format;
        QVERIFY(!DayReport::parseFormat("xml", &format));
        fixture.database->close();
        QVERIFY(DayReport::render(kDay, DayReport::Format::Text, &error).isEmpty());
        QVERIFY(!error.isEmpty());
        error.clear();
        QVERIFY(RangeReport::rows(kDay, kDay, RangeReport::By::Title, &error).isEmpty());
        QVERIFY(!error.isEmpty());
    }

    void rangeReportsAddUp_data()
    {
        QTest::addColumn<QString>("how");          // grouping and format
        QTest::addColumn<QStringList>("expected"); // lines that must be there
        QTest::newRow("by day, text") << "day text"
                                      << QStringList{"2026-11-15       0:46:12    0:10:00    0:36:12",
                                                     "Total            0:47:52    0:10:00    0:37:52"};
        QTest::newRow("by title, csv quotes")
            << "title csv"
            << QStringList{"application,title,total_seconds,linked_seconds,unlinked_seconds\r",
                           "Editor,\"say \"\"hi\"\", then go\",10,0,10\r"};
        QTest::newRow("by task, json") << "task json"
                                       << QStringList{"\"task\": \"(not linked)\"", "\"total_seconds\": 2872"};
    }

    void rangeReportsAddUp()
    {
        QFETCH(QString, how);
        QFETCH(QStringList, expected);
        addStandardDay();
        DayFixture::addEntry(editor, "say \"hi\", then go", "2026-11-16 10:00:00", "2026-11-16 10:00:10");
        RangeReport::By grouping = RangeReport::By::Day;
        QVERIFY(RangeReport::parseBy(how.section(' ', 0, 0), &grouping));
        DayReport::Format output = DayReport::Format::Text;
        QVERIFY(DayReport::parseFormat(how.section(' ', 1), &output));
        QString error;
        const QString text = RangeReport::render(QDate(2026, 11, 14), QDate(2026, 11, 16), grouping, output, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        const QStringList lines = text.split(QLatin1Char('\n'));
        for (const QString& line : expected) {
            QVERIFY2(lines.contains(line) || text.contains(line), qPrintable(line + "\n---\n" + text));
        }
        // Whole seconds that add up to the total, whatever the grouping.
        qint64 sum = 0;
        for (const RangeReport::Row& row :
             RangeReport::rows(QDate(2026, 11, 14), QDate(2026, 11, 16), grouping, &error)) {
            sum += row.total();
        }
        QCOMPARE(sum, qint64(2872));
    }

    // The days the calendar marks: unlinked time of applications that are not excluded.
    void calendarMarksOnlyUnlinkedTimeOfShownApplications()
    {
        const int excluded = DayFixture::addApp("/it's \"excluded\"", "Excluded");
        DayFixture::addEntry(editor, "a", "2026-11-02 09:00:00", "2026-11-02 09:01:00");
        DayFixture::addEntry(excluded, "b", "2026-11-03 09:00:00", "2026-11-03 09:01:00");
        const int linked = DayFixture::addEntry(editor, "c", "2026-11-04 09:00:00", "2026-11-04 09:01:00");
        DayFixture::link(linked, 1, 2, 3);
        DayFixture::addEntry(editor, "d", "2026-11-05 23:59:59", "2026-11-06 00:30:00");
        DayFixture::addEntry(terminal, "f", "2026-11-07 00:00:00", "2026-11-07 00:00:10");
        DayFixture::addEntry(editor, "e", "2026-12-01 00:00:00", "2026-12-01 00:00:10");
        Registry::instance()->setIgnoredApps(QStringList{"/it's \"excluded\"", "/usr/bin/term"});
        QCOMPARE(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 1), QDate(2026, 11, 30)),
                 (QList<QDate>{QDate(2026, 11, 2), QDate(2026, 11, 5)}));
        QCOMPARE(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 3), QDate(2026, 12, 1), {"/usr/bin/term"}),
                 (QList<QDate>{QDate(2026, 11, 3), QDate(2026, 11, 5), QDate(2026, 12, 1)}));
        QVERIFY(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 30), QDate(2026, 11, 1), {}).isEmpty());
    }

    void calendarRangeCoversSixWeeks()
    {
        // Whatever the first day of the week: six days before the 1st, six weeks from the first row.
        for (int month = 1; month <= 12; ++month) {
            QDate from;
            QDate to;
            CalendarDays::shownRange(2027, month, &from, &to);
            const QDate first(2027, month, 1);
            QVERIFY(from <= first.addDays(-6));
            QVERIFY(to >= first.addDays(-6 + 41));
        }
    }

private:
    // A model of kDay that Qt's model tester watches until the test ends.
    TreeModel& day(bool linked, int hideUnder = 0, bool byHour = false)
    {
        auto& model = *models.emplace_back(std::make_unique<TreeModel>(linked));
        new QAbstractItemModelTester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest, &model);
        model.setGroupByHour(byHour);
        model.initTree(kDay, hideUnder);
        return model;
    }

    // Announces a row to the model as the recorder does after writing it.
    void announce(TreeModel& model, int appId, int id, const QString& title, const QString& start, const QString& end)
    {
        const QString path = appId == terminal ? "/usr/bin/term" : appId == away ? "verrin://idle" : kEditorPath;
        const QString name = appId == terminal ? "Terminal" : appId == away ? "Away Time" : "Editor";
        model.addTime(util::sql_to_datetime(start), util::sql_to_datetime(end),
                      AppStruct{name, path, name, title, QIcon()}, appId, id);
    }

    // Writes a row and announces it twice: announced again, a row must not count again.
    int record(TreeModel& model, int appId, const QString& title, const QString& start, const QString& end)
    {
        const int id = DayFixture::addEntry(appId, title, start, end);
        announce(model, appId, id, title, start, end);
        announce(model, appId, id, title, start, end);
        return id;
    }

    // Ids 1 to 10 in order; each announced to live as it is written, except the one linked at once.
    void addStandardDay(TreeModel* live = nullptr)
    {
        const auto add = [&](int app, const QString& title, const QString& start, const QString& end) {
            return live ? record(*live, app, title, start, end) : DayFixture::addEntry(app, title, start, end);
        };
        add(editor, "notes.txt", "2026-11-15 09:00:00", "2026-11-15 09:00:50");
        add(editor, "notes.txt", "2026-11-15 14:00:00", "2026-11-15 14:00:20");
        add(editor, "draft", "2026-11-15 09:10:00", "2026-11-15 09:10:50");
        add(terminal, "make test", "2026-11-15 09:59:58", "2026-11-15 10:00:30");
        add(terminal, "it's a quote", "2026-11-15 10:05:00", "2026-11-15 10:06:40");
        add(away, "Lunch", "2026-11-15 12:00:00", "2026-11-15 12:30:00");
        add(editor, "red big dog", "2026-11-15 23:59:00", "2026-11-16 00:01:00");
        add(editor, "tomorrow", "2026-11-16 00:00:30", "2026-11-16 00:01:00");
        DayFixture::link(DayFixture::addEntry(editor, "linked one", "2026-11-15 11:00:00", "2026-11-15 11:10:00"), 30,
                         10, 20);
        add(editor, "yesterday", "2026-11-14 23:59:30", "2026-11-15 00:00:30");
    }

    DayFixture fixture;
    std::vector<std::unique_ptr<TreeModel>> models;
    int editor = 0;
    int terminal = 0;
    int away = 0;
};

VERRIN_TEST(TestDayTrees)
#include "TestDayTrees.moc"
