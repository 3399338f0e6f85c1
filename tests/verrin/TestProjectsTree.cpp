// The projects catalogue read from the service's reply, shown in the projects tree and offered by its dialogs.
#include "CatalogueSample.h"
#include "FakePrompter.h"
#include "ModalDialogHelper.h"
#include "app/Registry.h"
#include "verrin/AddTaskDialog.h"
#include "verrin/AddTaskListDialog.h"
#include "verrin/LinkTimeDialog.h"
#include "verrin/ServiceXml.h"

#include <QPlainTextEdit>

namespace {
QList<int> taskIds(const Catalogue& catalogue)
{
    QList<int> ids;
    for (const CatalogueProject& project : catalogue.projects) {
        for (const CatalogueTaskList& list : project.taskLists) {
            for (const CatalogueTask& task : list.tasks)
                ids << task.id;
        }
    }
    return ids;
}

QString reply(const QString& body, const QString& status = QStringLiteral("ok"))
{
    return QStringLiteral("<?xml version=\"1.0\"?><rsp status=\"%1\">%2</rsp>").arg(status, body);
}

// One project whose single list holds `tasks`.
QString oneList(const QString& tasks, const QString& listId = "3", const QString& projectId = "1")
{
    return reply(QStringLiteral("<projects><project id=\"%1\" name=\"p\"><task_lists><task_list id=\"%2\"><tasks>%3"
                                "</tasks></task_list></task_lists></project></projects>")
                     .arg(projectId, listId, tasks));
}

// A task's own attributes, "|"-separated: list, name, billable, description, price, due date.
QString fields(const CatalogueTask& task)
{
    return QStringList{
        QString::number(task.tasklistId), task.name, task.billable, task.description, task.pricePerHour, task.dueDate}
        .join('|');
}

const CatalogueMaps& maps()
{
    return Registry::instance()->catalogueMaps();
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
        Registry::instance()->setLoggedIn(true);
        tree->showCatalogueReply(true, sampleCatalogueReply());
    }

    void cleanup()
    {
        cancelModalHandlers();
        tree.reset();
    }

    void cleanupTestCase() { Registry::drop(); }

    void readsEveryLevelIntoCatalogueMapsAndTree()
    {
        const Catalogue catalogue = sampleCatalogue();
        QVERIFY(catalogue.problems.isEmpty());
        QCOMPARE(catalogue.projects.size(), 3);
        QCOMPARE(taskIds(catalogue).size(), 8);
        const CatalogueProject* cafe = catalogue.project(103);
        QVERIFY(cafe);
        // The reply's bytes are UTF-8: names come back decoded, not as 8-bit characters.
        QCOMPARE(cafe->name + '|' + cafe->clientName + '|' + QString::number(cafe->clientId) + '|' +
                     cafe->taskLists.value(0).name,
                 QStringLiteral("Café Menü|Globex Bäckerei|12|Übersetzung"));
        // Latin-1 bytes are no UTF-8, and text with wide characters was decoded already: both stay as they are.
        const QString latin1 = QString::fromLatin1("Caf\xe9");
        QCOMPARE(servicexml::decode8Bit(latin1), latin1);
        QCOMPARE(servicexml::decode8Bit(QStringLiteral("Zoë → ok")), QStringLiteral("Zoë → ok"));
        CatalogueTask task;
        int projectId = 0;
        int tasklistId = 0;
        QVERIFY(catalogue.findTask(301, &task, &projectId, &tasklistId));
        QCOMPARE(QPair(projectId, tasklistId), QPair(101, 201));
        QCOMPARE(fields(task), QStringLiteral("201|Homepage mockup|1|First draft for the board|85.00|2026-12-01"));

        // The maps name every task, completed ones too: linked time may still point at them.
        const QStringList named{maps().projectNames.value("103").toString(),
                                maps().tasklistNames.value("204").toString(), // an empty list
                                maps().taskNames.value("302").toString(),
                                maps().taskParentProjects.value("307").toString(),
                                maps().taskParentTasklists.value("305").toString()};
        QCOMPARE(named, (QStringList{"Café Menü", "Backlog", "Logo refresh", "102", "202"}));
        QCOMPARE(maps().taskNames.size(), 8);

        QCOMPARE(tree->topLevelItemCount(), 2);
        QTreeWidgetItem* acme = tree->topLevelItem(0);
        QCOMPARE(acme->text(0) + '|' + ProjectsTree::kindOf(acme), QStringLiteral("Acme Corp|client"));
        QCOMPARE(acme->childCount(), 2);
        QVERIFY(tree->locateTask(103, 205, 308));
        QVERIFY(tree->locateTaskList(102, 204)); // empty, shown so tasks can be added to it
        QVERIFY(Registry::instance()->catalogueLoaded());
        // A failed request keeps the tree and says nothing: the transport told the user.
        tree->showCatalogueReply(false, QString());
        QVERIFY(prompter.calls.isEmpty());
        QVERIFY(tree->topLevelItemCount() > 0);
        QVERIFY(!Registry::instance()->catalogueLoaded());
    }

    void filtersByWordsAndPhrases_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QStringList>("tasks");
        QTest::newRow("no filter, no completed tasks") << "" << QStringList{"301", "303", "304", "305", "306", "308"};
        QTest::newRow("two words, either may match") << "mockup LANDING" << QStringList{"301", "304"};
        QTest::newRow("quoted phrase") << "\"contact form\"" << QStringList{"305"};
        QTest::newRow("client or project name") << "globex" << QStringList{"308"};
        QTest::newRow("task list name") << "build" << QStringList{"304", "305"};
        QTest::newRow("only a completed task matches") << "logo" << QStringList{};
    }

    void filtersByWordsAndPhrases()
    {
        QFETCH(QString, filter);
        QFETCH(QStringList, tasks);
        tree->applyFilter(filter);
        QCOMPARE(shown(*tree, "task", true), tasks);
        if (tasks.isEmpty())
            QCOMPARE(tree->topLevelItemCount(), 0);
        // Filtering hides, it never forgets: the maps still name everything.
        QCOMPARE(maps().taskNames.size(), 8);
        // A matching empty list shows, and its project with it.
        tree->applyFilter(QStringLiteral("backlog"));
        QCOMPARE(shown(*tree, "tasklist", true), QStringList{"204"});
        QCOMPARE(shown(*tree, "project", true), QStringList{"102"});
    }

    void selectionGivesTheIdsAboveIt()
    {
        const struct
        {
            const char* kind;
            int id;
            const char* expected; // project, list, task
        } rows[] = {
            {"client", 11, "0 0 0"},
            {"project", 102, "102 0 0"},
            {"tasklist", 204, "102 204 0"},
            {"task", 303, "101 201 303"},
        };
        for (const auto& row : rows) {
            tree->setCurrentItem(itemOf(*tree, row.kind, row.id));
            const QString ids = QStringLiteral("%1 %2 %3")
                                    .arg(tree->getSelectedProjectId())
                                    .arg(tree->getSelectedTasklistId())
                                    .arg(tree->getSelectedTaskId());
            QCOMPARE(ids, QString(row.expected));
        }
    }

    void completeAsksAndRemoves_data()
    {
        QTest::addColumn<bool>("done");
        QTest::newRow("service completes it") << true;
        QTest::newRow("service refuses") << false;
    }

    void completeAsksAndRemoves()
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
        tree->onMenuComplete();
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first().first().toInt(), 303);

        // Done, the task leaves the tree and the catalogue knows; refused, it stays open.
        tree->taskCompleted(303, done);
        if (done)
            QTRY_VERIFY(!task());
        QTest::qWait(0); // let a wrongly scheduled removal run
        QCOMPARE(task() != nullptr, !done);
        CatalogueTask stored;
        QVERIFY(Registry::instance()->catalogue().findTask(303, &stored));
        QCOMPARE(stored.isOpen(), !done);
        QCOMPARE(maps().taskNames.value("303").toString(), QStringLiteral("Style guide"));
    }

    void addTaskDialogOffersTheCatalogue()
    {
        // Known ids are the tree's to pass (below); unknown ones fall back to the first entries.
        AddTaskDialog dialog;
        dialog.populateData(sampleCatalogue());
        auto* projects = dialog.findChild<QComboBox*>("cbProjects");
        QCOMPARE(comboTexts(projects), (QStringList{"Website Relaunch", "Mobile App", "Café Menü"}));
        dialog.projectId = 999;
        dialog.tasklistId = 999;
        dialog.putData();
        dialog.getData();
        QCOMPARE(QPair(dialog.projectId, dialog.tasklistId), QPair(101, 201));
        // Choosing another project offers its lists.
        projects->setCurrentIndex(2);
        dialog.on_cbProjects_activated(2);
        QCOMPARE(comboTexts(dialog.findChild<QComboBox*>("cbTaskLists")), QStringList{"Übersetzung"});
        AddTaskListDialog listDialog;
        listDialog.populateData(sampleCatalogue());
        listDialog.putData();
        listDialog.getData();
        QCOMPARE(listDialog.projectId, 101);
    }

    void linkTimeDialogListsOpenTasksUnderHeaders()
    {
        LinkTimeDialog dialog;
        dialog.populateData(sampleCatalogue());
        auto* tasks = dialog.findChild<QComboBox*>("cbTasks");
        dialog.populateTasks(101);
        QCOMPARE(comboTexts(tasks), (QStringList{"Design", "  Homepage mockup", "  Style guide", "Build",
                                                 "  Landing page", "  Contact form"}));
        // A header cannot stay selected: the task after it is taken.
        QCOMPARE(tasks->currentText(), QStringLiteral("  Homepage mockup"));

        // An unknown project falls back to the first, if there is one.
        Catalogue one = sampleCatalogue();
        one.projects = one.projects.mid(0, 1);
        for (const Catalogue& catalogue : {one, Catalogue()}) {
            LinkTimeDialog fallback;
            fallback.populateData(catalogue);
            fallback.projectId = 999;
            fallback.taskId = 1000;
            fallback.putData();
            fallback.getData();
            QCOMPARE(fallback.findChild<QComboBox*>("cbTasks")->count(), catalogue.projects.isEmpty() ? 0 : 6);
            QCOMPARE(fallback.taskId, catalogue.projects.isEmpty() ? 0 : 301);
        }
    }

    void addTaskAndListAskThenShowTheNewOnes()
    {
        QSignalSpy taskSpy(tree.get(), &ProjectsTree::signalAddTask);
        tree->setCurrentItem(tree->locateTask(101, 202, 305));
        // The dialog opens on the selected task's list; the name untouched, the suggestion is submitted.
        onNextModal([](QWidget* dialog) {
            dialog->findChild<QPlainTextEdit*>("textTaskDescription")->setPlainText(QStringLiteral("Two\nlines"));
            dialog->findChild<QCheckBox*>("checkBillable")->setChecked(true);
            press(dialog, QDialogButtonBox::Ok);
        });
        tree->onMenuAddTask();
        QCOMPARE(taskSpy.size(), 1);
        QCOMPARE(taskSpy.first(), (QVariantList{101, 202, "Task Name", "Two\nlines", true}));
        tree->taskAdded(101, 202, 400, QStringLiteral("Task Name"), QString(), false);
        QVERIFY(tree->locateTask(101, 202, 400));
        QVERIFY(!tree->locateTask(101, 202, 400)->icon(0).pixmap(16).isNull());
        QCOMPARE(maps().taskParentTasklists.value("400").toString(), QStringLiteral("202"));

        QSignalSpy listSpy(tree.get(), &ProjectsTree::signalAddTaskList);
        tree->setCurrentItem(tree->locateTaskList(103, 205));
        onNextModal([](QWidget* dialog) {
            // A blank name keeps the dialog open; the name is taken without its outer blanks.
            auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("editTaskListName"));
            name->setText(QStringLiteral("\t"));
            press(dialog, QDialogButtonBox::Ok);
            QVERIFY(dialog->isVisible());
            name->setText(QStringLiteral("Getränke "));
            press(dialog, QDialogButtonBox::Ok);
        });
        tree->onMenuAddTaskList();
        QCOMPARE(listSpy.size(), 1);
        QCOMPARE(listSpy.first(), (QVariantList{103, "Getränke"}));
        tree->taskListAdded(103, 260, QStringLiteral("Getränke"));
        tree->taskAdded(103, 260, 950, QStringLiteral("Budget"), QStringLiteral("Q1"), true);
        QCOMPARE(maps().tasklistNames.value("260").toString(), QStringLiteral("Getränke"));
        CatalogueTask task;
        QVERIFY(Registry::instance()->catalogue().findTask(950, &task));
        QCOMPARE(fields(task), QStringLiteral("260|Budget|1|Q1||"));
        QVERIFY(task.isOpen());
        // A rebuild from the cache keeps them, and maps rebuilt from it agree with those updated in place.
        tree->applyFilter(QString());
        QVERIFY(tree->locateTask(101, 202, 400) && tree->locateTask(103, 260, 950));
        const CatalogueMaps rebuilt = ProjectsCatalogue::buildMaps(Registry::instance()->catalogue());
        for (auto map : {&CatalogueMaps::projectNames, &CatalogueMaps::tasklistNames, &CatalogueMaps::taskNames,
                         &CatalogueMaps::taskParentProjects, &CatalogueMaps::taskParentTasklists})
            QCOMPARE(rebuilt.*map, maps().*map);
        // A task added to a filtered-out project shows, alone in it.
        tree->applyFilter(QStringLiteral("globex"));
        QVERIFY(!tree->locateProject(101));
        tree->taskAdded(101, 201, 401, QStringLiteral("Favicon"), QString(), true);
        QVERIFY(tree->locateTask(101, 201, 401));
        QCOMPARE(tree->locateClient(QStringLiteral("Acme Corp"))->childCount(), 1);

        // With no catalogue kept a task is refused but still named, for time linked to it.
        Registry::drop();
        QString error;
        QVERIFY(!ProjectsCatalogue::recordAddedTask(101, 201, 960, QStringLiteral("Orphan"), QString(), false, &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(maps().taskNames.value("960").toString(), QStringLiteral("Orphan"));
        QVERIFY(!Registry::instance()->catalogueLoaded());
    }

    void parsesWhatItCanAndRefusesTheRest_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QString>("reason"); // empty: parsed
        QTest::addColumn<QList<int>>("tasks");
        QTest::addColumn<int>("problems");
        const auto row = [](const char* name, const QString& xml, const char* reason, const QList<int>& tasks = {},
                            int problems = 0) { QTest::newRow(name) << xml << QString(reason) << tasks << problems; };
        const QString sample = sampleCatalogueReply();
        row("blank", "  \n ", "empty");
        row("truncated", sample.left(sample.size() / 2), "well-formed");
        row("no status", "<projects/>", "status");
        row("refused", "<rsp status=\"error\"><error code=\"98\"/></rsp>", "not \"ok\"");
        row("entities", "<!DOCTYPE rsp [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><rsp status=\"ok\">&x;</rsp>",
            "document type");
        row("deep nesting", reply(QString("<a>").repeated(100000) + QString("</a>").repeated(100000)), "nested");
        // Elements without usable ids are skipped, each one a problem; their tasks go with them.
        const QString kept = QStringLiteral("<task id=\"7\" name=\"kept\"/>");
        row("project without id", oneList(kept, "3", ""), "", {}, 1);
        row("list id not a number", oneList(kept, "two"), "", {}, 1);
        row("tasks without ids", oneList("<task id=\"-4\"/><task id=\"\"/><task/>" + kept), "", {7}, 3);
        row("no projects element", reply(kept), "");
    }

    void parsesWhatItCanAndRefusesTheRest()
    {
        QFETCH(QString, xml);
        QFETCH(QString, reason);
        QFETCH(QList<int>, tasks);
        QFETCH(int, problems);
        Catalogue catalogue;
        catalogue.projects << CatalogueProject{};
        QString error;
        QCOMPARE(ProjectsCatalogue::parse(xml, catalogue, &error), reason.isEmpty());
        QVERIFY2(error.contains(reason), qPrintable(error));
        QCOMPARE(taskIds(catalogue), tasks);
        QCOMPARE(catalogue.problems.size(), problems);
        if (reason.isEmpty())
            return;
        QVERIFY(catalogue.projects.isEmpty());
        // Shown, such text forgets the catalogue and empties the tree; the maps still name linked time.
        tree->showCatalogueReply(true, xml);
        QCOMPARE(tree->topLevelItemCount(), 0);
        QCOMPARE(prompter.shown(), QStringLiteral("warn|Error|Could not load projects tree"));
        QVERIFY(!Registry::instance()->catalogueLoaded());
        QVERIFY(Registry::instance()->catalogue().projects.isEmpty());
        QCOMPARE(maps().taskNames.size(), 8);
        tree->applyFilter(QStringLiteral("x")); // over a bad cache, quietly
        QCOMPARE(prompter.calls.size(), 1);
    }

    void refusesEditsOfUnknownParents()
    {
        const Catalogue& catalogue = Registry::instance()->catalogue();
        const QList<int> before = taskIds(catalogue);
        const qsizetype lists = catalogue.project(101)->taskLists.size();
        QString error;
        QVERIFY(!ProjectsCatalogue::recordAddedTask(999, 201, 900, "x", QString(), false, &error)); // unknown project
        QVERIFY(!ProjectsCatalogue::recordAddedTask(101, 203, 900, "x", QString(), false, &error)); // another's list
        QVERIFY(!ProjectsCatalogue::recordAddedTaskList(999, 900, "x", &error));
        QVERIFY(!ProjectsCatalogue::recordCompletedTask(999, &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(taskIds(catalogue), before);
        QCOMPARE(catalogue.project(101)->taskLists.size(), lists);
    }
};

VERRIN_TEST(TestProjectsTree)
#include "TestProjectsTree.moc"
