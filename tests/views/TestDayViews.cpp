#include "DayFixture.h"
#include "FakePrompter.h"
#include "ManualClock.h"
#include "TestKit.h"
#include "recording/AppStruct.h"
#include "store/util.h"
#include "views/CalendarWidget.h"
#include "views/DayTimeline.h"
#include "views/EntriesList.h"
#include "views/LineEdit.h"
#include "views/StableColour.h"
#include "views/TimeTree.h"
#include "views/TotalTimeLabel.h"
#include "window/DayViews.h"
#include "window/MainWindowForm.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QHelpEvent>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QToolButton>
#include <QToolTip>

namespace {
QStringList drawn(const DayTimeline* line)
{
    QStringList list;
    for (const DayTimeline::Segment& segment : line->segments()) {
        list << QStringLiteral("%1:%2-%3%4")
                    .arg(segment.id)
                    .arg(segment.start)
                    .arg(segment.end)
                    .arg(segment.linked ? QStringLiteral(" linked") : QString());
    }
    return list;
}

QStringList selectedTitles(const QTreeView* view)
{
    QStringList titles;
    for (const QModelIndex& index : view->selectionModel()->selectedRows()) {
        titles << index.data().toString();
    }
    titles.sort();
    return titles;
}
} // namespace

// The day shown in the main window, driven through the window's own widgets on a real database.
class TestDayViews : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(fixture.open());
        const int editor = editorId = DayFixture::addApp("/usr/bin/editor", "Editor");
        const int browser = DayFixture::addApp("/usr/bin/browser", "Browser");
        DayFixture::addEntry(editor, "budget report", "2026-11-16 09:00:00", "2026-11-16 09:00:50");
        DayFixture::addEntry(editor, "budget report", "2026-11-16 14:00:00", "2026-11-16 14:00:20");
        DayFixture::addEntry(editor, "notes", "2026-11-16 14:10:00", "2026-11-16 14:10:30");
        DayFixture::addEntry(browser, "budget forum", "2026-11-16 10:00:00", "2026-11-16 10:05:00");
        const int linked = DayFixture::addEntry(browser, "ticket", "2026-11-16 11:00:00", "2026-11-16 11:10:00");
        DayFixture::link(linked, 7, 1, 2, "Task", "Project", "List");
        DayFixture::addEntry(editor, "other day", "2026-11-17 09:00:00", "2026-11-17 09:01:00");

        window = std::make_unique<QMainWindow>();
        ui = MainWindowForm();
        ui.setupUi(window.get());
        ui.calendar->setSelectedDate(day);
        views = new DayViews(&ui, &prompter, window.get());
        views->initTrees();
    }

    void cleanup()
    {
        window.reset();
        fixture.close();
        prompter.calls.clear();
        prompter.answers.clear();
    }

    void hideUnderAndGroupByHourAreKept()
    {
        // 50 s in the morning and 20 s in the afternoon make 70 s: over a minute together, under five.
        ui.cbHideUnder->setCurrentIndex(4);
        emit ui.cbHideUnder->activated(4);
        QCOMPARE(Registry::instance()->hideUnder(), 300);
        QCOMPARE(views->linkedModel()->getHideUnder(), 300);
        QCOMPARE(DayFixture::rows(views->unlinkedModel()), QStringList{"Browser"});
        ui.checkGroupByHour->click();
        QVERIFY(Registry::instance()->groupByHour());
        QCOMPARE(DayFixture::rows(views->unlinkedModel()), QStringList{"10:00 - 11:00"});
    }

    void filtersKeptInStep()
    {
        // Typing rebuilds once, at the pause.
        QSignalSpy rebuilds(views->unlinkedModel(), &TreeModel::setTotalTimeText);
        QTest::keyClicks(ui.editFilter, "budge");
        QCOMPARE(rebuilds.count(), 0);
        QVERIFY(views->filterTimer()->isActive());
        QTRY_COMPARE(rebuilds.count(), 1);
        QCOMPARE(views->unlinkedModel()->getTotalTime(), 370);
        ui.editFilter->clear();
        QTRY_COMPARE(views->unlinkedModel()->getFilter(), QString());

        ui.editFilterProjects->setText("alpha");
        QCOMPARE(ui.editFilter->text(), QString());
        ui.btnSyncFilters->setChecked(true);
        QCOMPARE(ui.editFilter->text(), QString("alpha"));
        QCOMPARE(views->unlinkedModel()->getFilter(), QString("alpha"));

        ui.editFilter->setText("budget");
        QCOMPARE(ui.editFilterProjects->text(), QString("budget"));
        ui.editFilterProjects->clear();
        QCOMPARE(ui.editFilter->text(), QString());
        QTRY_COMPARE(views->unlinkedModel()->getFilter(), QString());
        QCOMPARE(views->unlinkedModel()->getTotalTime(), 400);

        // Filtering from the projects side leaves the day tree's open and closed nodes as they were.
        ui.appList->expandAll();
        ui.appList->collapse(appNode("Editor"));
        ui.editFilterProjects->setText("budget");
        QTRY_COMPARE(views->unlinkedModel()->getFilter(), QString("budget"));
        QVERIFY(!ui.appList->isExpanded(appNode("Editor")));
        QVERIFY(ui.appList->isExpanded(appNode("Browser")));
    }

    void calendarDayPicksBothTreesAndTodayFollowsMidnight()
    {
        QCOMPARE(ui.labelTotalTime->text(), util::format_time(400));
        QCOMPARE(ui.labelTotalLinkedTime->text(), util::format_time(600));
        ManualClock clock(QDateTime(day, QTime(23, 59, 50)));
        views->setClock(&clock);
        ui.calendar->setSelectedDate(day);
        QCOMPARE(ui.calendar->getCurrentDate(), day);
        QVERIFY(ui.btToday->isHidden());
        QVERIFY(views->dayCheckTimer()->isActive());

        views->checkDayChange(); // nothing to do before midnight, but look again just after it
        QCOMPARE(ui.calendar->getCurrentDate(), day);
        QCOMPARE(views->dayCheckTimer()->interval(), 11000);
        clock.advance(20);
        views->checkDayChange();
        QCOMPARE(ui.calendar->getCurrentDate(), day.addDays(1));
        QCOMPARE(ui.calendar->selectedDate(), day); // the user's day stays on screen
        QVERIFY(!ui.btToday->isHidden());
        ui.btToday->click();
        QCOMPARE(ui.calendar->selectedDate(), day.addDays(1));
        QVERIFY(ui.btToday->isHidden());
        QCOMPARE(ui.labelHeaderDate->text(), QLocale::system().toString(day.addDays(1), QLocale::LongFormat));
        QCOMPARE(ui.labelTotalTime->text(), util::format_time(60));
        QCOMPARE(ui.labelTotalLinkedTime->text(), util::format_time(0));
    }

    void longTimesShowWhole()
    {
        const int editor = DayFixture::addApp("/usr/bin/long", "Long");
        DayFixture::addEntry(editor, "a whole day and more", "2026-11-16 00:00:00", "2026-11-17 01:00:00");
        QVERIFY(DayFixture::shown(window.get(), 1100, 700));
        views->refreshUnlinked();
        QCOMPARE(views->unlinkedModel()->getTotalTime(), 90000 + 400);
        TimeTree* view = ui.appList;
        const QFontMetrics metrics(view->font());
        // The day's longest text (more than 25 hours) fits whole, with no elision.
        const QString longest = appNode("Long").siblingAtColumn(1).data().toString();
        QCOMPARE(longest, util::format_time(90000));
        QVERIFY(view->columnWidth(1) > metrics.horizontalAdvance(longest));
        QVERIFY(view->columnWidth(1) < 3 * metrics.horizontalAdvance(longest));
        // The title column takes all the rest.
        int used = 0;
        for (int column = 0; column < view->header()->count(); ++column) {
            used += view->header()->isSectionHidden(column) ? 0 : view->columnWidth(column);
        }
        QCOMPARE(used, view->viewport()->width());
        // Back to short times, the column shrinks again.
        ui.calendar->setSelectedDate(day.addDays(1));
        QVERIFY(ui.appList->columnWidth(1) <
                QFontMetrics(ui.appList->font()).horizontalAdvance(util::format_time(90000)));

        // The total's label keeps its size between texts (no relayout per stretch) but grows for a longer one.
        TotalTimeLabel* label = ui.labelTotalTime;
        for (const QString& text :
             {QStringLiteral("0:00:01"), QStringLiteral("9:59:59"), QStringLiteral("1234:56:58")}) {
            label->setTotal(text);
            QTRY_VERIFY2(label->contentsRect().width() >= label->fontMetrics().horizontalAdvance(text),
                         qPrintable(text));
        }
        const int widest = label->width();
        label->setTotal(QStringLiteral("0:00:02"));
        QCOMPARE(label->width(), widest);
    }

    // Excluding or unlinking rebuilds the linked tree too, keeping the nodes the user closed there.
    void excludeAndUnlinkKeepTheLinkedOpenNodes()
    {
        QAbstractItemModel* model = ui.linkedEntries->model();
        const auto listOpen = [&] { return ui.linkedEntries->isExpanded(model->index(0, 0, model->index(0, 0))); };
        QVERIFY(listOpen());
        ui.linkedEntries->collapse(model->index(0, 0, model->index(0, 0)));
        QSignalSpy marks(views, &DayViews::calendarMarksStale);
        ui.appList->selectionModel()->select(appNode("Editor"), QItemSelectionModel::ClearAndSelect);
        ui.appList->action("actionExclude")->trigger();
        QCOMPARE(marks.count(), 1);
        QVERIFY(ui.linkedEntries->isExpanded(model->index(0, 0)));
        QVERIFY(!listOpen());
        views->refreshAfterUnlink();
        QVERIFY(ui.linkedEntries->isExpanded(model->index(0, 0)));
        QVERIFY(!listOpen());
    }

    void unlinkAsksAndHandsTheEntriesOn_data()
    {
        QTest::addColumn<bool>("yes");
        QTest::newRow("yes") << true;
        QTest::newRow("no") << false;
    }

    void unlinkAsksAndHandsTheEntriesOn()
    {
        QFETCH(bool, yes);
        EntriesList* view = ui.linkedEntries;
        TreeModel* linked = views->linkedModel();
        QSignalSpy unlink(views, &DayViews::unlinkRequested);
        view->onMenuUnlink(); // nothing selected: nothing asked
        QVERIFY(prompter.calls.isEmpty());
        const QModelIndex task = linked->indexForItem(linked->findTaskItem("7"));
        const QModelIndex app = linked->findItemIndex("app", "app_path", "/usr/bin/browser", task);
        // Only time can be unlinked, and only by a signed-in user.
        QCOMPARE(view->menuActions(app).size(), 4);
        QCOMPARE(view->menuActions(task).size(), 2);
        QVERIFY(!view->action("actionUnlink")->isEnabled());
        Registry::instance()->setLoggedIn(true);
        view->menuActions(app);
        QVERIFY(view->action("actionUnlink")->isEnabled());

        view->selectionModel()->select(app, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        prompter.answers.enqueue(yes);
        view->onMenuUnlink();
        QCOMPARE(prompter.calls.size(), 1);
        QVERIFY(prompter.calls.first().defaultYes);
        QCOMPARE(prompter.calls.first().text, "Are you sure you want to unlink selected entry?\n\nTime: 10 m 0 s");
        QCOMPARE(EntriesList::unlinkQuestion(4, 3600),
                 "Are you sure you want to unlink these 4 entries?\n\nCumulated time: 1 h 0 m 0 s");
        QCOMPARE(unlink.count(), yes ? 1 : 0);
        if (yes) {
            QCOMPARE(unlink.first().at(0).toStringList(), QStringList{"5"});
        }
        // Unlinked, the project goes with its only task.
        QCOMPARE(linked->rowCount(), yes ? 0 : 1);
        QCOMPARE(ui.labelTotalLinkedTime->text(), util::format_time(yes ? 0 : 600));
    }

    void timelineDrawsWhatTheTreesShow()
    {
        DayTimeline* line = ui.timeline;
        line->rebuild();
        const QStringList all{"1:32400-32450", "4:36000-36300", "5:39600-40200 linked", "2:50400-50420",
                              "3:51000-51030"};
        QCOMPARE(drawn(line), all);
        QCOMPARE(line->firstSecond(), 32400); // whole minutes around what was recorded
        QCOMPARE(line->lastSecond(), 51060);
        // An application's colour is the same in every run of the program, not only within one.
        QCOMPARE(stableColour(QStringLiteral("/usr/share/applications/firefox.desktop")).hue(), 222);
        // It follows the trees when they are rebuilt, here for the title filter.
        ui.editFilter->setText(QStringLiteral("forum"));
        QTRY_COMPARE(drawn(line), (QStringList{"4:36000-36300", "5:39600-40200 linked"}));
    }

    void timelinePicksWhatIsClickedOrSpanned()
    {
        QVERIFY(DayFixture::shown(window.get(), 1000, 700));
        DayTimeline* line = ui.timeline;
        line->rebuild();
        const auto rectOf = [line](int id) {
            for (const DayTimeline::Segment& segment : line->segments()) {
                if (segment.id == id) {
                    return line->segmentRect(segment);
                }
            }
            return QRect();
        };
        const QRect forum = rectOf(4);
        QVERIFY(forum.width() > 3);

        QHelpEvent hover(QEvent::ToolTip, forum.center(), line->mapToGlobal(forum.center()));
        QApplication::sendEvent(line, &hover);
        QVERIFY2(QToolTip::text().contains("Browser") && QToolTip::text().contains("10:00:00 \u2013 10:05:00"),
                 qPrintable(QToolTip::text()));
        QToolTip::hideText();

        QTest::mouseClick(line, Qt::LeftButton, {}, forum.center());
        QCOMPARE(selectedTitles(ui.appList), QStringList{"budget forum"});
        QVERIFY(ui.linkedEntries->selectionModel()->selectedRows().isEmpty());

        // A drag from before the linked stretch to past the second "budget report" picks all in between.
        const int y = forum.center().y();
        QTest::mousePress(line, Qt::LeftButton, {}, QPoint(rectOf(5).left() - 1, y));
        QTest::mouseRelease(line, Qt::LeftButton, {}, QPoint(rectOf(2).right() + 1, y));
        QCOMPARE(selectedTitles(ui.appList), QStringList{"budget report"});
        QCOMPARE(selectedTitles(ui.linkedEntries), QStringList{"ticket"});
    }

    // A recorded row: taken at once while the strip is shown, caught up at the first paint when hidden.
    void timelineFollowsRecordingAndCatchesUpWhenShown_data()
    {
        QTest::addColumn<bool>("shown");
        QTest::addColumn<bool>("newRow"); // else the recorder lengthens "notes" (entry 3)
        QTest::newRow("shown, new row") << true << true;
        QTest::newRow("shown, row grows") << true << false;
        QTest::newRow("hidden") << false << true;
    }

    void timelineFollowsRecordingAndCatchesUpWhenShown()
    {
        QFETCH(bool, shown);
        QFETCH(bool, newRow);
        DayTimeline* line = ui.timeline;
        if (shown) {
            QVERIFY(DayFixture::shown(window.get(), 1000, 700));
            QTRY_VERIFY(!line->isStale()); // the first paint read the trees
        }
        QCOMPARE(line->isStale(), !shown);
        const QString start = newRow ? "2026-11-16 14:20:00" : "2026-11-16 14:10:00";
        const QString end = newRow ? "2026-11-16 14:21:00" : "2026-11-16 14:11:30";
        const QString title = newRow ? "letter" : "notes";
        const int entryId = newRow ? DayFixture::addEntry(editorId, title, start, end) : 3;
        DayFixture::setEnd(entryId, end);
        views->unlinkedModel()->addTime(util::sql_to_datetime(start), util::sql_to_datetime(end),
                                        AppStruct{"Editor", "/usr/bin/editor", "Editor", title, QIcon()}, editorId,
                                        entryId);
        QCOMPARE(line->isStale(), !shown);
        if (!shown) {
            QVERIFY(DayFixture::shown(window.get(), 1000, 700));
            // Nothing but the paint on showing reads the trees again.
            QTRY_VERIFY(!line->isStale());
        }
        const QStringList live = drawn(line);
        const QString expected = QStringLiteral("%1:%2").arg(entryId).arg(newRow ? "51600-51660" : "51000-51090");
        QVERIFY2(live.contains(expected), qPrintable(live.join(", ")));
        line->rebuild();
        QCOMPARE(live, drawn(line));
    }

private:
    QModelIndex appNode(const QString& name) const
    {
        QAbstractItemModel* model = ui.appList->model();
        return model->match(model->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly).value(0);
    }

    DayFixture fixture;
    std::unique_ptr<QMainWindow> window;
    MainWindowForm ui;
    FakePrompter prompter;
    DayViews* views = nullptr;
    const QDate day{2026, 11, 16};
    int editorId = 0;
};

VERRIN_TEST(TestDayViews)
#include "TestDayViews.moc"
