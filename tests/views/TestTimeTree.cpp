#include "DayFixture.h"
#include "FakePrompter.h"
#include "TestKit.h"
#include "store/util.h"
#include "views/TimeTree.h"
#include "views/TimestampsDialog.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QHelpEvent>
#include <QMenu>
#include <QToolTip>

namespace {
const QDate kDay(2026, 11, 15);

int countEntries()
{
    QSqlQuery query(QStringLiteral("SELECT COUNT(*) FROM entries"));
    return query.next() ? query.value(0).toInt() : -1;
}

const QStringList kEntryMenu{"Link",    "Delete",    "-", "RuleFromEntry", "-",
                             "Details", "CopyTitle", "-", "ExpandAll",     "CollapseAll"};

QStringList names(const QList<QAction*>& actions)
{
    QStringList list;
    for (QAction* act : actions) {
        list << (act && !act->isSeparator() ? act->objectName().mid(6) : QStringLiteral("-"));
    }
    return list;
}
} // namespace

// Reads the context menu instead of running it.
class MenuReadingTree : public TimeTree
{
public:
    QStringList shown;

protected:
    void execMenu(QMenu* menu, const QPoint&) override { shown = names(menu->actions()); }
};

// The unlinked view on a real database: its menus, deleting, linking, excluding and open nodes.
class TestTimeTree : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(fixture.open());
        editor = DayFixture::addApp("/e", "Editor");
        shell = DayFixture::addApp("/s", "Shell");
        away = DayFixture::addApp("verrin://idle", "Away Time");
        DayFixture::addEntry(editor, "notes", "2026-11-15 09:00:00", "2026-11-15 09:02:03");
        DayFixture::addEntry(editor, "notes", "2026-11-15 11:00:00", "2026-11-15 11:00:10");
        DayFixture::addEntry(editor, "plan", "2026-11-15 09:30:00", "2026-11-15 09:31:00");
        DayFixture::addEntry(shell, "make", "2026-11-15 10:00:00", "2026-11-15 10:00:30");
        DayFixture::addEntry(away, "Lunch", "2026-11-15 12:00:00", "2026-11-15 12:30:00");
        model = std::make_unique<TreeModel>(false);
        view = std::make_unique<MenuReadingTree>();
        view->setModel(model.get());
        view->setPrompter(&prompter);
        model->initTree(kDay, 0);
        model->sort(0, Qt::AscendingOrder); // Away Time, Editor, Shell
        view->expandAll();
        prompter.answers.clear();
        prompter.calls.clear();
    }

    void cleanup()
    {
        view.reset();
        model.reset();
        fixture.close();
    }

    void deleteQuestionTexts()
    {
        const QStringList apps{"App 1", "App 2", "App 3", "App 4",  "App 5", "App 6",
                               "App 7", "App 8", "App 9", "App 10", "App 11"};
        QCOMPARE(TimeTree::deleteQuestion(1, 123, apps.mid(0, 1)),
                 "Are you sure you want to delete selected entry?\n\nTime: 2 m 3 s\n\nEntry is from this application:\n"
                 "    App 1");
        // Ten names, then the rest counted.
        QVERIFY(!TimeTree::deleteQuestion(10, 10, apps.mid(0, 10)).contains("more"));
        const QString eleven = TimeTree::deleteQuestion(11, 11, apps);
        QVERIFY2(eleven.startsWith("Are you sure you want to delete these 11 entries from 11 applications?\n\n"
                                   "Cumulated time: 11 s\n\nEntries are from these applications:\n    App 1\n") &&
                     eleven.endsWith("\n    App 9\n    App 10\n    (1 more)") && !eleven.contains("App 11"),
                 qPrintable(eleven));
    }

    void deletingAnApplicationRemovesItsEntries_data()
    {
        QTest::addColumn<QString>("selected"); // an application's path, or an hour
        QTest::addColumn<bool>("yes");
        QTest::addColumn<int>("questions");
        QTest::newRow("an application, yes") << "/e" << true << 1;
        QTest::newRow("an application, no") << "/s" << false << 1;
        // An hour node is not widened to its entries: nothing to delete, nothing asked.
        QTest::newRow("an hour") << "9" << true << 0;
    }

    void deletingAnApplicationRemovesItsEntries()
    {
        QFETCH(QString, selected);
        QFETCH(bool, yes);
        QFETCH(int, questions);
        if (!selected.startsWith('/')) {
            model->setGroupByHour(true);
            model->refreshTree();
        }
        select({selected.startsWith('/') ? appAt(selected) : model->findItemIndex("hour", "hour", selected)});
        prompter.answers.enqueue(yes);
        const int before = model->getTotalTime();
        QSignalSpy totals(model.get(), &TreeModel::setTotalTimeText);
        view->onMenuDelete();
        QCOMPARE(prompter.calls.size(), questions);
        const bool deleted = yes && questions;
        QCOMPARE(countEntries(), deleted ? 2 : 5);
        QCOMPARE(model->getTotalTime(), before - (deleted ? 193 : 0));
        if (deleted) {
            QCOMPARE(prompter.calls.first().title, QStringLiteral("Confirm delete"));
            QVERIFY(prompter.calls.first().defaultYes);
            QVERIFY(prompter.calls.first().text.startsWith(
                "Are you sure you want to delete these 2 entries?\n\nCumulated time: 3 m 13 s\n\n"
                "Entries are from this application:\n    Editor"));
            QVERIFY(!appAt("/e").isValid());
            QCOMPARE(totals.last().at(0).toString(), util::format_time(before - 193));
        }
    }

    void linkingHandsTheEntriesOnAndRemovesThem_data()
    {
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QString>("taskId");
        QTest::addColumn<bool>("linked");
        QTest::newRow("a task chosen") << true << "42" << true;
        QTest::newRow("cancelled") << false << "42" << false;
        QTest::newRow("accepted without a task") << true << "0" << false;
    }

    void linkingHandsTheEntriesOnAndRemovesThem()
    {
        QFETCH(bool, accepted);
        QFETCH(QString, taskId);
        QFETCH(bool, linked);
        int askedSeconds = -1;
        view->setLinkChooser([&](int seconds, QString* task, QString* notes) {
            askedSeconds = seconds;
            *task = taskId;
            *notes = "notes";
            return accepted;
        });
        const QModelIndex editorNode = appAt("/e");
        const QModelIndex plan = model->index(1, 0, editorNode);
        select({plan, appAt("/s")});
        const int before = model->getTotalTime();
        QSignalSpy link(view.get(), &TimeTree::signalConnectEntriesWithTask);
        view->onMenuLink();
        QCOMPARE(askedSeconds, 90);
        QCOMPARE(link.count(), linked ? 1 : 0);
        QCOMPARE(model->getTotalTime(), before - (linked ? 90 : 0));
        if (linked) {
            QStringList ids = link.first().at(0).toStringList();
            ids.sort();
            QCOMPARE(ids, (QStringList{"3", "4"}));
            QCOMPARE(link.first().at(1).toString(), taskId);
            QCOMPARE(link.first().at(2).toString(), QStringLiteral("notes"));
            QVERIFY(!appAt("/s").isValid());
            QCOMPARE(model->hiddenData(appAt("/e"), "time").toInt(), 133);
        }
    }

    // Excluding rebuilds the day once, here by hour, with the nodes the user opened and closed as they were.
    void excludingHidesTheApplication()
    {
        Registry::instance()->setIgnoredApps(QStringList{"/OTHER"});
        model->setGroupByHour(true);
        model->refreshTree();
        view->expandAll();
        const auto hour = [this](const char* h) { return model->findItemIndex("hour", "hour", h); };
        select({appAt("/s", hour("10"))});
        view->collapse(appAt("/e", hour("9")));
        view->collapse(hour("12"));
        QSignalSpy builds(model.get(), &TreeModel::modelReset);
        view->onMenuExclude();
        QCOMPARE(Registry::instance()->ignoredApps(), (QStringList{"/OTHER", "/s"}));
        QCOMPARE(model->rowCount(), 3);
        QCOMPARE(builds.count(), 1);
        QCOMPARE(countEntries(), 5);
        QVERIFY(view->isExpanded(hour("9")) && !view->isExpanded(appAt("/e", hour("9"))));
        QVERIFY(view->isExpanded(appAt("/e", hour("11"))));
        QVERIFY(!view->isExpanded(hour("12")));
        // A path differing only in case counts as already excluded here.
        model->refreshTree();
        Registry::instance()->setIgnoredApps(QStringList{"VERRIN://IDLE"});
        model->refreshTree();
        select({appAt("verrin://idle", hour("12"))});
        view->onMenuExclude();
        QCOMPARE(Registry::instance()->ignoredApps(), QStringList{"VERRIN://IDLE"});
    }

    void copyTitleTimestampsAndAwayDescription()
    {
        const QModelIndex editorNode = appAt("/e");
        const QModelIndex notes = model->index(0, 0, editorNode);
        select({notes, appAt("/s")});
        view->onCopyTitle();
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("notes\nShell"));

        QSignalSpy timestamps(view.get(), &TimeTree::signalShowTimestamps);
        view->setCurrentIndex(notes);
        view->onTimestamps();
        QCOMPARE(timestamps.first().at(0).toDate(), kDay);
        QCOMPARE(timestamps.first().at(2).toString(), QStringLiteral("/e"));

        // Describing away time renames the entries in the database and in the tree.
        const QModelIndex lunch = model->index(0, 0, appAt("verrin://idle"));
        view->setAwayEditor([](const QStringList& ids, QString* title) {
            *title = ids.join(",") + " it's a meeting";
            return true;
        });
        view->setCurrentIndex(lunch);
        view->onEditAwayEntry();
        QCOMPARE(model->data(lunch, Qt::DisplayRole).toString(), QStringLiteral("5 it's a meeting"));
        QCOMPARE(model->getEntriesWithTitle(kDay, "5 it's a meeting", away, false), QStringList{"5"});
    }

    void menuActsOnTheRowUnderThePointer_data()
    {
        QTest::addColumn<QString>("row"); // title or application under the pointer; empty for blank space
        QTest::addColumn<QStringList>("menu");
        QTest::newRow("empty space") << QString() << QStringList{"ExpandAll", "CollapseAll"};
        QTest::newRow("another entry") << "plan" << kEntryMenu;
        QTest::newRow("the current entry") << "make" << kEntryMenu;
        QTest::newRow("an application") << "Editor"
                                        << QStringList{"Link",    "Delete",    "-", "RuleFromApp", "Exclude",    "-",
                                                       "Details", "CopyTitle", "-", "ExpandAll",   "CollapseAll"};
        QTest::newRow("away time") << "Lunch" << QStringList{"EditDescription", "-"} + kEntryMenu;
    }

    void menuActsOnTheRowUnderThePointer()
    {
        QFETCH(QString, row);
        QFETCH(QStringList, menu);
        QVERIFY(DayFixture::shown(view.get(), 500, 600));
        const QModelIndex make = model->index(0, 0, appAt("/s"));
        select({make});
        QPoint where(20, view->viewport()->height() - 5);
        const QModelIndexList targets = model->match(model->index(0, 0), Qt::DisplayRole, row, 1, Qt::MatchRecursive);
        if (!row.isEmpty()) {
            QCOMPARE(targets.size(), 1);
            where = view->visualRect(targets.first()).center();
        }
        QContextMenuEvent event(QContextMenuEvent::Mouse, where, view->viewport()->mapToGlobal(where));
        QApplication::sendEvent(view->viewport(), &event);
        QCOMPARE(view->shown, menu);
        if (row.isEmpty()) {
            // Nothing under the pointer: the earlier row stays as it was and the menu offers nothing for it.
            QCOMPARE(view->currentIndex(), make);
            return;
        }
        QCOMPARE(view->selectionModel()->selectedRows(), targets);
        QSignalSpy fromEntry(view.get(), &TimeTree::signalCreateRuleFromEntry);
        view->action("actionRuleFromEntry")->trigger();
        QCOMPARE(fromEntry.size(), menu.contains("RuleFromEntry") ? 1 : 0);
        if (!fromEntry.isEmpty()) {
            QCOMPARE(fromEntry.first().at(1).toString(), row);
            QCOMPARE(fromEntry.first().at(0).toInt(), model->hiddenData(targets.first().parent(), "app_id").toInt());
        }
        QSignalSpy fromApp(view.get(), &TimeTree::signalCreateRuleFromApp);
        view->action("actionRuleFromApp")->trigger();
        QCOMPARE(fromApp.size(), menu.contains("RuleFromApp") ? 1 : 0);
        QVERIFY(fromApp.isEmpty() || fromApp.first().at(0).toInt() == editor);
        // Linking needs a signed-in user; the keys act on the tree only.
        QVERIFY(!view->action("actionLink")->isEnabled());
        Registry::instance()->setLoggedIn(true);
        view->menuActions(targets.first());
        QVERIFY(view->action("actionLink")->isEnabled());
        QCOMPARE(view->action("actionLink")->shortcutContext(), Qt::WidgetShortcut);
    }

    void headerClicksSortKeepingOpenNodes()
    {
        const int tool = DayFixture::addApp("/z", "zeta tool");
        DayFixture::addEntry(tool, "alpha", "2026-11-15 13:00:00", "2026-11-15 13:00:05");
        DayFixture::addEntry(tool, "Beta", "2026-11-15 13:01:00", "2026-11-15 13:01:05");
        DayFixture::addEntry(tool, "gamma", "2026-11-15 13:02:00", "2026-11-15 13:02:05");
        model->refreshTree();
        QVERIFY(DayFixture::shown(view.get(), 500, 600));
        view->collapseAll();
        view->expand(appAt("/z"));
        const auto clickHeader = [this](int section) {
            QHeaderView* header = view->header();
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              QPoint(header->sectionViewportPosition(section) + 5, header->height() / 2));
        };

        clickHeader(0); // names, ignoring case
        QCOMPARE(childNames(QModelIndex()), (QStringList{"Away Time", "Editor", "Shell", "zeta tool"}));
        QCOMPARE(childNames(appAt("/z")), (QStringList{"alpha", "Beta", "gamma"}));
        clickHeader(0);
        QCOMPARE(childNames(appAt("/z")), (QStringList{"gamma", "Beta", "alpha"}));
        clickHeader(1); // time, most first; equal times keep their order
        QCOMPARE(childNames(QModelIndex()), (QStringList{"Away Time", "Editor", "Shell", "zeta tool"}));
        QCOMPARE(childNames(appAt("/z")), (QStringList{"gamma", "Beta", "alpha"}));
        clickHeader(1);
        QCOMPARE(childNames(QModelIndex()), (QStringList{"zeta tool", "Shell", "Editor", "Away Time"}));
        QVERIFY(view->isExpanded(appAt("/z")));
        QVERIFY(!view->isExpanded(appAt("/e")));

        // A rebuilt day keeps the chosen order.
        model->refreshTree();
        QCOMPARE(childNames(QModelIndex()), (QStringList{"zeta tool", "Shell", "Editor", "Away Time"}));
    }

    void cutOrFoldedTitlesShowWholeOnHover_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<bool>("tip");
        QTest::newRow("fits: no tip") << "short"
                                      << "short" << false;
        QTest::newRow("line breaks: marked, whole on hover")
            << "first\r\nsecond\nthird" << QStringLiteral("first \u23CE second \u23CE third") << true;
        const QString longTitle = QStringLiteral("a long title ").repeated(30);
        QTest::newRow("cut: whole on hover") << longTitle << longTitle << true;
    }

    void cutOrFoldedTitlesShowWholeOnHover()
    {
        QFETCH(QString, title);
        QFETCH(QString, shown);
        QFETCH(bool, tip);
        DayFixture::addEntry(shell, title, "2026-11-15 13:00:00", "2026-11-15 13:00:05");
        model->refreshTree();
        view->expandAll();
        QVERIFY(DayFixture::shown(view.get(), 400, 300));
        const QModelIndex entry = model->findItemIndex("entry", "title", title);
        QVERIFY(entry.isValid());
        QCOMPARE(entry.data().toString(), shown);
        view->scrollTo(entry);
        const QPoint at = view->visualRect(entry).center();
        QHelpEvent hover(QEvent::ToolTip, at, view->viewport()->mapToGlobal(at));
        QToolTip::hideText();
        QApplication::sendEvent(view->viewport(), &hover);
        QCOMPARE(QToolTip::isVisible(), tip);
        if (tip) {
            QVERIFY2(QToolTip::text().contains(title.toHtmlEscaped()), qPrintable(QToolTip::text()));
        }
        QToolTip::hideText();
    }

    // The intervals behind a node, with titles and paths that hold quotes.
    void timestampsListTheIntervalsOfANode_data()
    {
        QTest::addColumn<QString>("title"); // empty: the application node
        QTest::addColumn<QStringList>("rows");
        const QString quoted = "it's \"done\"";
        const QString twoLines = QStringLiteral("two \u23CE lines|14:00:00|14:00:01|1 s");
        QTest::newRow("an entry whose title holds quotes")
            << quoted << QStringList{quoted + "|09:00:00|09:01:00|1 m 0 s", quoted + "|23:59:00|00:01:05|2 m 5 s"};
        QTest::newRow("an application: every title")
            << QString()
            << QStringList{quoted + "|09:00:00|09:01:00|1 m 0 s", "other|10:00:00|10:00:05|5 s", twoLines,
                           quoted + "|23:59:00|00:01:05|2 m 5 s"};
    }

    void timestampsListTheIntervalsOfANode()
    {
        QFETCH(QString, title);
        QFETCH(QStringList, rows);
        const int app = DayFixture::addApp("/it's/app", "App");
        const QString quoted = "it's \"done\"";
        DayFixture::addEntry(app, quoted, "2026-11-15 23:59:00", "2026-11-16 00:01:05");
        DayFixture::addEntry(app, quoted, "2026-11-15 09:00:00", "2026-11-15 09:01:00");
        DayFixture::addEntry(app, "other", "2026-11-15 10:00:00", "2026-11-15 10:00:05");
        DayFixture::addEntry(app, "two\nlines", "2026-11-15 14:00:00", "2026-11-15 14:00:01");
        DayFixture::addEntry(editor, quoted, "2026-11-15 11:00:00", "2026-11-15 11:00:05");
        DayFixture::addEntry(app, quoted, "2026-11-16 09:00:00", "2026-11-16 09:01:00");
        const int linked = DayFixture::addEntry(app, quoted, "2026-11-15 12:00:00", "2026-11-15 12:01:00");
        DayFixture::link(linked, 1, 2, 3);

        TimestampsDialog dialog;
        dialog.setDate(QDate(2026, 11, 15));
        dialog.setAppPath("/it's/app");
        dialog.setTitle(title);
        dialog.PopulateData();
        QCOMPARE(DayFixture::rows(dialog.list()->model(), 4), rows);
    }

private:
    QModelIndex appAt(const QString& path, const QModelIndex& parent = {}) const
    {
        return model->findItemIndex("app", "app_path", path, parent);
    }

    void select(const QModelIndexList& indexes)
    {
        view->selectionModel()->clearSelection();
        for (const QModelIndex& index : indexes) {
            view->selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        if (!indexes.isEmpty()) {
            view->selectionModel()->setCurrentIndex(indexes.first(), QItemSelectionModel::NoUpdate);
        }
    }

    QStringList childNames(const QModelIndex& parent) const { return DayFixture::rows(model.get(), 1, parent); }

    DayFixture fixture;
    std::unique_ptr<TreeModel> model;
    std::unique_ptr<MenuReadingTree> view;
    FakePrompter prompter;
    int editor = 0;
    int shell = 0;
    int away = 0;
};

VERRIN_TEST(TestTimeTree)
#include "TestTimeTree.moc"
