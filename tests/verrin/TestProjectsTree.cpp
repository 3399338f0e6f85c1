#include "CatalogueSample.h"
#include "FakePrompter.h"
#include "ModalDialogHelper.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ProjectsTree.h"

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>

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

    bool menuAction(const char* name) const { return tree->findChild<QAction*>(name)->isEnabled(); }

private slots:
    void init()
    {
        Registry::drop();
        prompter = FakePrompter();
        tree = std::make_unique<ProjectsTree>();
        tree->setPrompter(&prompter);
        tree->setCompletedRemovalDelay(0);
        Registry::instance()->setLoggedIn(true);
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
        QCOMPARE(acme->text(0) + '|' + ProjectsTree::kindOf(acme), QStringLiteral("Acme Corp|client"));
        QCOMPARE(acme->childCount(), 2);
        QVERIFY(acme->isExpanded());
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
        QVERIFY(tree->locateTaskList(102, 204)); // empty, shown so tasks can be added to it
        QVERIFY(Registry::instance()->catalogueLoaded());
    }

    void filtersByWordsAndPhrases_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QList<int>>("tasks");
        QTest::newRow("no filter, no completed tasks") << "" << QList<int>{301, 303, 304, 305, 306, 308, 309};
        QTest::newRow("two words, either may match") << "mockup LANDING" << QList<int>{301, 304};
        QTest::newRow("quoted phrase") << "\"contact form\"" << QList<int>{305};
        QTest::newRow("phrase in the wrong order") << "\"form contact\"" << QList<int>{};
        QTest::newRow("phrase and word") << "\"quarterly report\" landing" << QList<int>{304, 309};
        QTest::newRow("client name") << "globex" << QList<int>{308, 309};
        QTest::newRow("project name") << "mobile" << QList<int>{306};
        QTest::newRow("task list name") << "build" << QList<int>{304, 305};
        QTest::newRow("non-ascii") << "ÜBERSETZ" << QList<int>{308};
        QTest::newRow("only a completed task matches") << "logo" << QList<int>{};
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
        // A matching empty list shows, and its project with it.
        tree->applyFilter(QStringLiteral("backlog"));
        QCOMPARE(shownIds(*tree, "tasklist"), QList<int>{204});
        QCOMPARE(shownIds(*tree, "project"), QList<int>{102});
    }

    void failedOrRefusedCatalogue()
    {
        // A failed request keeps the tree and says nothing: the transport told the user.
        tree->showCatalogueReply(false, QString());
        QVERIFY(prompter.calls.isEmpty());
        QVERIFY(tree->topLevelItemCount() > 0);
        QVERIFY(!Registry::instance()->catalogueLoaded());
        tree->showCatalogueReply(true, QStringLiteral("<rsp status=\"error\"><error code=\"98\"/></rsp>"));
        QCOMPARE(tree->topLevelItemCount(), 0);
        QCOMPARE(prompter.shown(), QStringLiteral("warn|Error|Could not load projects tree"));
        QVERIFY(!Registry::instance()->catalogueLoaded());
        tree->applyFilter(QStringLiteral("x")); // over a bad cache, quietly
        QCOMPARE(prompter.calls.size(), 1);
    }

    void selectionGivesIdsAndMenuEnablesWhatFits()
    {
        // The selected item's ids as "project list task", then the initials of the enabled commands.
        const struct
        {
            bool signedIn;
            const char* kind;
            int id;
            const char* expected;
        } rows[] = {
            {true, "client", 11, "0 0 0 R"},
            {true, "project", 102, "102 0 0 TLR"},
            {true, "tasklist", 204, "102 204 0 TLR"},
            {true, "task", 303, "101 201 303 TLCR"},
            {true, "", 0, "R"},
            {false, "task", 301, "101 201 301 "},
        };
        for (const auto& row : rows) {
            Registry::instance()->setLoggedIn(row.signedIn);
            QTreeWidgetItem* item = *row.kind ? itemOf(*tree, row.kind, row.id) : nullptr;
            QString got;
            if (item) {
                tree->setCurrentItem(item);
                got = QStringLiteral("%1 %2 %3 ")
                          .arg(tree->getSelectedProjectId())
                          .arg(tree->getSelectedTasklistId())
                          .arg(tree->getSelectedTaskId());
            }
            tree->prepareMenu(item);
            got += QString(menuAction("actionAddTask") ? "T" : "") + (menuAction("actionAddTaskList") ? "L" : "") +
                   (menuAction("actionComplete") ? "C" : "") + (menuAction("actionRefresh") ? "R" : "");
            QCOMPARE(got, QString(row.expected));
            QVERIFY(!menuAction("actionDelete"));
            QVERIFY(menuAction("actionExpandAll") && menuAction("actionCollapseAll"));
        }
        // A project without lists has nowhere to add a task.
        Registry::instance()->setLoggedIn(true);
        ProjectsCatalogue::keep(QStringLiteral("<rsp status=\"ok\"><projects><project id=\"5\" name=\"Bare\">"
                                               "<client name=\"C\"/></project></projects></rsp>"));
        tree->applyFilter(QString());
        tree->prepareMenu(tree->locateProject(5));
        QVERIFY(!menuAction("actionAddTask") && menuAction("actionAddTaskList"));
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
        QCOMPARE(Registry::instance()->catalogueMaps().taskNames.value("303").toString(),
                 QStringLiteral("Style guide"));
        tree->applyFilter(QString());
        QCOMPARE(task() != nullptr, !done);
    }

    void addTaskAndListAskThenShowTheNewOnes()
    {
        QSignalSpy taskSpy(tree.get(), &ProjectsTree::signalAddTask);
        tree->setCurrentItem(tree->locateTask(101, 202, 305));
        QString shown;
        onNextModal([&](QWidget* dialog) {
            shown = dialog->findChild<QComboBox*>(QStringLiteral("cbProjects"))->currentText() + '|' +
                    dialog->findChild<QComboBox*>(QStringLiteral("cbTaskLists"))->currentText();
            pressOk(dialog); // name untouched: the suggestion is submitted
        });
        tree->onMenuAddTask();
        QCOMPARE(shown, QStringLiteral("Website Relaunch|Build"));
        QCOMPARE(taskSpy.size(), 1);
        QCOMPARE(taskSpy.first(), (QVariantList{101, 202, "Task Name", "", false}));
        tree->taskAdded(101, 202, 400, QStringLiteral("Task Name"), QString(), false);
        QVERIFY(tree->locateTask(101, 202, 400));
        QVERIFY(!tree->locateTask(101, 202, 400)->icon(0).pixmap(16).isNull());
        QCOMPARE(Registry::instance()->catalogueMaps().taskParentTasklists.value("400").toString(),
                 QStringLiteral("202"));

        QSignalSpy listSpy(tree.get(), &ProjectsTree::signalAddTaskList);
        tree->setCurrentItem(tree->locateTaskList(103, 205));
        onNextModal([](QWidget* dialog) {
            dialog->findChild<QLineEdit*>(QStringLiteral("editTaskListName"))->setText(QStringLiteral("Getränke"));
            pressOk(dialog);
        });
        tree->onMenuAddTaskList();
        QCOMPARE(listSpy.size(), 1);
        QCOMPARE(listSpy.first(), (QVariantList{103, "Getränke"}));
        tree->taskListAdded(103, 260, QStringLiteral("Getränke"));
        QVERIFY(tree->locateTaskList(103, 260));
        QCOMPARE(Registry::instance()->catalogueMaps().tasklistNames.value("260").toString(),
                 QStringLiteral("Getränke"));
        // A rebuild from the cache keeps both.
        tree->applyFilter(QString());
        QVERIFY(tree->locateTask(101, 202, 400));
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
