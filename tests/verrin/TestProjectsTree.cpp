#include "CatalogueSample.h"
#include "FakePrompter.h"
#include "ModalDialogHelper.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ProjectsTree.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidgetItemIterator>

namespace {
QList<int> shownIds(const ProjectsTree& tree, const QString& kind)
{
    QList<int> ids;
    for (QTreeWidgetItemIterator it(const_cast<ProjectsTree*>(&tree)); *it; ++it) {
        if (ProjectsTree::kindOf(*it) == kind)
            ids << ProjectsTree::idOf(*it);
    }
    return ids;
}

void signIn(bool on)
{
    Registry::instance()->setLoggedIn(on);
}

void pressOk(QWidget* dialog)
{
    dialog->findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"))->button(QDialogButtonBox::Ok)->click();
}
} // namespace

class TestProjectsTree : public QObject
{
    Q_OBJECT

    FakePrompter prompter;
    std::unique_ptr<ProjectsTree> tree;

private slots:
    void init()
    {
        Registry::drop();
        prompter = FakePrompter();
        tree = std::make_unique<ProjectsTree>();
        tree->setPrompter(&prompter);
        tree->setCompletedRemovalDelay(0);
        signIn(true);
        tree->showCatalogueReply(true, sampleCatalogueReply());
    }

    void cleanup()
    {
        cancelModalHandlers();
        tree.reset();
    }

    void cleanupTestCase() { Registry::drop(); }

    void buildsClientsProjectsListsAndOpenTasks()
    {
        QCOMPARE(tree->topLevelItemCount(), 2);
        QTreeWidgetItem* acme = tree->topLevelItem(0);
        QCOMPARE(acme->text(0), QStringLiteral("Acme Corp"));
        QCOMPARE(ProjectsTree::kindOf(acme), QStringLiteral("client"));
        QCOMPARE(acme->childCount(), 2);
        QCOMPARE(tree->topLevelItem(1)->text(0), QStringLiteral("Globex Bäckerei"));

        QTreeWidgetItem* task = tree->locateTask(103, 205, 308);
        QVERIFY(task);
        // Name, id and kind of the task and the kinds of its parents, as drops and menus read them.
        QCOMPARE(QStringList({task->text(0), task->data(0, Qt::UserRole + 1).toString(),
                              task->data(0, Qt::UserRole + 2).toString(),
                              task->parent()->data(0, Qt::UserRole + 2).toString(),
                              task->parent()->parent()->data(0, Qt::UserRole + 2).toString()}),
                 (QStringList{"Speisekarte übersetzen", "308", "task", "tasklist", "project"}));
        for (QTreeWidgetItemIterator it(tree.get()); *it; ++it)
            QVERIFY2(!(*it)->icon(0).pixmap(16).isNull(), qPrintable((*it)->text(0)));
        QVERIFY(tree->topLevelItem(0)->isExpanded());

        // Completed tasks never show; the empty backlog does, so tasks can be added to it.
        QCOMPARE(shownIds(*tree, "task"), (QList<int>{301, 303, 304, 305, 306, 308, 309}));
        QVERIFY(tree->locateTaskList(102, 204));
        QVERIFY(Registry::instance()->catalogueLoaded());
        QCOMPARE(Registry::instance()->catalogueMaps().taskNames.size(), 10);
    }

    void filtersByWordsAndPhrases_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QList<int>>("tasks");
        const auto row = [](const char* name, const char* filter, const QList<int>& tasks) {
            QTest::newRow(name) << QString(filter) << tasks;
        };
        row("no filter", "", {301, 303, 304, 305, 306, 308, 309});
        row("two words, either may match", "mockup LANDING", {301, 304});
        row("quoted phrase", "\"contact form\"", {305});
        row("phrase in the wrong order", "\"form contact\"", {});
        row("phrase and word", "\"quarterly report\" landing", {304, 309});
        row("client name", "globex", {308, 309});
        row("project name", "mobile", {306});
        row("task list name", "build", {304, 305});
        row("non-ascii", "ÜBERSETZ", {308});
        row("only a completed task matches", "logo", {});
        row("nothing matches", "zebra", {});
    }

    void filtersByWordsAndPhrases()
    {
        QFETCH(QString, filter);
        QFETCH(QList<int>, tasks);
        tree->applyFilter(filter);
        QCOMPARE(shownIds(*tree, "task"), tasks);
        if (tasks.isEmpty())
            QCOMPARE(tree->topLevelItemCount(), 0);
        // Filtering hides, it never forgets: the maps still name everything.
        QCOMPARE(Registry::instance()->catalogueMaps().taskNames.size(), 10);
        tree->applyFilter(QString());
        QCOMPARE(shownIds(*tree, "task").size(), 7);
    }

    void filterShowsMatchingEmptyListsOnly()
    {
        tree->applyFilter(QStringLiteral("backlog"));
        QCOMPARE(shownIds(*tree, "tasklist"), QList<int>{204});
        QCOMPARE(shownIds(*tree, "project"), QList<int>{102});
    }

    void refusedCatalogueWarnsAndStillCaches()
    {
        const QString refused = QStringLiteral("<rsp status=\"error\"><error code=\"98\" message=\"x\"/></rsp>");
        tree->showCatalogueReply(true, refused);
        QCOMPARE(tree->topLevelItemCount(), 0);
        QCOMPARE(prompter.shown(), QStringLiteral("warn|Error|Could not load projects tree"));
        QVERIFY(!Registry::instance()->catalogueLoaded());
        // Typing a filter over a bad cache stays quiet.
        tree->applyFilter(QStringLiteral("x"));
        QCOMPARE(prompter.calls.size(), 1);
    }

    void failedRequestKeepsTreeAndCachesEmptyText()
    {
        tree->showCatalogueReply(false, QString());
        QVERIFY(prompter.calls.isEmpty());
        QVERIFY(tree->topLevelItemCount() > 0);
        QVERIFY(!Registry::instance()->catalogueLoaded());
    }

    void selectionGivesIds()
    {
        // The selected item's own and enclosing ids as "project list task", 0 where there is none.
        const struct
        {
            const char* kind;
            int id;
            const char* ids;
        } rows[] = {{"client", 11, "0 0 0"},
                    {"project", 102, "102 0 0"},
                    {"tasklist", 202, "101 202 0"},
                    {"task", 303, "101 201 303"}};
        for (const auto& row : rows) {
            QTreeWidgetItem* item = itemOf(*tree, row.kind, row.id);
            QVERIFY(item);
            tree->setCurrentItem(item);
            QCOMPARE(QStringLiteral("%1 %2 %3")
                         .arg(tree->getSelectedProjectId())
                         .arg(tree->getSelectedTasklistId())
                         .arg(tree->getSelectedTaskId()),
                     QString(row.ids));
        }
    }

    void menuEnablesWhatFits_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("enabled"); // initials of the enabled service commands
        const auto row = [](const char* name, bool signedIn, const char* kind, int id, const char* enabled) {
            QTest::newRow(name) << signedIn << QString(kind) << id << QString(enabled);
        };
        row("client", true, "client", 11, "R");
        row("project", true, "project", 101, "TLR");
        row("task list", true, "tasklist", 204, "TLR");
        row("task", true, "task", 301, "TLCR");
        row("empty space", true, "", 0, "R");
        row("signed out, task", false, "task", 301, "");
    }

    void menuEnablesWhatFits()
    {
        QFETCH(bool, signedIn);
        QFETCH(QString, kind);
        QFETCH(int, id);
        QFETCH(QString, enabled);
        signIn(signedIn);
        tree->prepareMenu(kind.isEmpty() ? nullptr : itemOf(*tree, kind, id));
        const auto isOn = [this](const char* name) { return tree->findChild<QAction*>(name)->isEnabled(); };
        QString got;
        got += isOn("actionAddTask") ? "T" : "";
        got += isOn("actionAddTaskList") ? "L" : "";
        got += isOn("actionComplete") ? "C" : "";
        got += isOn("actionRefresh") ? "R" : "";
        QCOMPARE(got, enabled);
        QVERIFY(!isOn("actionDelete"));
        QVERIFY(isOn("actionExpandAll") && isOn("actionCollapseAll"));
    }

    void projectWithoutListsOffersNoAddTask()
    {
        ProjectsCatalogue::keep(QStringLiteral("<rsp status=\"ok\"><projects><project id=\"5\" name=\"Bare\">"
                                               "<client name=\"C\"/></project></projects></rsp>"));
        tree->applyFilter(QString());
        tree->prepareMenu(tree->locateProject(5));
        QVERIFY(!tree->findChild<QAction*>("actionAddTask")->isEnabled());
        QVERIFY(tree->findChild<QAction*>("actionAddTaskList")->isEnabled());
    }

    void completeAsksStrikesOutAndRemoves_data()
    {
        QTest::addColumn<bool>("done");
        QTest::newRow("service completes it") << true;
        QTest::newRow("service refuses") << false;
    }

    void completeAsksStrikesOutAndRemoves()
    {
        QFETCH(bool, done);
        QSignalSpy spy(tree.get(), &ProjectsTree::signalCompleteTask);
        const auto task = [this] { return tree->locateTask(101, 201, 303); };
        tree->setCurrentItem(task());
        prompter.answers << false << true;
        tree->onMenuComplete();
        QCOMPARE(spy.size(), 0);
        QCOMPARE(prompter.shown(), QStringLiteral("ask|Confirm complete|Are you sure you want to mark task \"Style "
                                                  "guide\" as complete?"));
        QVERIFY(!task()->font(0).strikeOut());
        tree->onMenuComplete();
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first().first().toInt(), 303);
        QVERIFY(task()->font(0).strikeOut());

        // Done, the task leaves the tree and the catalogue knows; refused, it stays struck out and open.
        tree->taskCompleted(303, done);
        if (done)
            QTRY_VERIFY(!task());
        QTest::qWait(0); // let a wrongly scheduled removal run
        QCOMPARE(task() && task()->font(0).strikeOut(), !done);
        CatalogueTask stored;
        QVERIFY(Registry::instance()->catalogue().findTask(303, &stored));
        QCOMPARE(stored.isOpen(), !done);
        tree->applyFilter(QString());
        QCOMPARE(task() != nullptr, !done);
    }

    void addTaskAsksThenShowsTheNewTask()
    {
        QSignalSpy spy(tree.get(), &ProjectsTree::signalAddTask);
        tree->setCurrentItem(tree->locateTask(101, 202, 305));
        QString projectShown;
        QString listShown;
        onNextModal([&](QWidget* dialog) {
            projectShown = dialog->findChild<QComboBox*>(QStringLiteral("cbProjects"))->currentText();
            listShown = dialog->findChild<QComboBox*>(QStringLiteral("cbTaskLists"))->currentText();
            pressOk(dialog); // name untouched: the suggestion is submitted
        });
        tree->onMenuAddTask();
        QCOMPARE(projectShown, QStringLiteral("Website Relaunch"));
        QCOMPARE(listShown, QStringLiteral("Build"));
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first(), (QVariantList{101, 202, "Task Name", "", false}));

        tree->taskAdded(101, 202, 400, QStringLiteral("Task Name"), QString(), false);
        QTreeWidgetItem* added = tree->locateTask(101, 202, 400);
        QVERIFY(added);
        QVERIFY(!added->icon(0).pixmap(16).isNull());
        QCOMPARE(Registry::instance()->catalogueMaps().taskParentTasklists.value("400").toString(),
                 QStringLiteral("202"));
        // A rebuild from the cache keeps it.
        tree->applyFilter(QString());
        QVERIFY(tree->locateTask(101, 202, 400));
    }

    void addTaskListAsksThenShowsTheNewList()
    {
        QSignalSpy spy(tree.get(), &ProjectsTree::signalAddTaskList);
        tree->setCurrentItem(tree->locateTaskList(103, 205));
        onNextModal([](QWidget* dialog) {
            auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("editTaskListName"));
            edit->setText(QStringLiteral("Getränke"));
            pressOk(dialog);
        });
        tree->onMenuAddTaskList();
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first(), (QVariantList{103, "Getränke"}));

        tree->taskListAdded(103, 260, QStringLiteral("Getränke"));
        QVERIFY(tree->locateTaskList(103, 260));
        QCOMPARE(Registry::instance()->catalogueMaps().tasklistNames.value("260").toString(),
                 QStringLiteral("Getränke"));
        tree->applyFilter(QString());
        QCOMPARE(tree->locateTaskList(103, 260)->text(0), QStringLiteral("Getränke"));
    }

    void addedTaskShowsEvenWhenFilteredOut()
    {
        tree->applyFilter(QStringLiteral("globex"));
        QVERIFY(!tree->locateProject(101));
        tree->taskAdded(101, 201, 401, QStringLiteral("Favicon"), QString(), true);
        QVERIFY(tree->locateTask(101, 201, 401));
        QCOMPARE(tree->locateClient(QStringLiteral("Acme Corp"))->childCount(), 1);
    }
};

VERRIN_TEST(TestProjectsTree)
#include "TestProjectsTree.moc"
