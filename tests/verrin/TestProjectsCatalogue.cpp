#include "CatalogueSample.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ServiceXml.h"

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

class TestProjectsCatalogue : public QObject
{
    Q_OBJECT

private slots:
    void init() { Registry::drop(); }
    void cleanupTestCase() { Registry::drop(); }

    void readsEveryLevelAndAttribute()
    {
        Catalogue catalogue;
        QString error;
        QVERIFY2(ProjectsCatalogue::parse(sampleCatalogueReply(), catalogue, &error), qPrintable(error));
        QVERIFY(catalogue.problems.isEmpty());
        QCOMPARE(catalogue.projects.size(), 4);
        const CatalogueProject* cafe = catalogue.project(103);
        QVERIFY(cafe);
        // The reply's bytes are UTF-8: names come back decoded, not as 8-bit characters.
        QCOMPARE(cafe->name + '|' + cafe->clientName + '|' + QString::number(cafe->clientId) + '|' +
                     cafe->taskLists.value(0).name,
                 QStringLiteral("Café Menü|Globex Bäckerei|12|Übersetzung"));
        CatalogueTask task;
        int projectId = 0;
        int tasklistId = 0;
        QVERIFY(catalogue.findTask(301, &task, &projectId, &tasklistId));
        QCOMPARE(QPair(projectId, tasklistId), QPair(101, 201));
        QCOMPARE(fields(task), QStringLiteral("201|Homepage mockup|1|First draft for the board|85.00|2026-12-01"));
        QVERIFY(catalogue.findTask(303, &task));
        QCOMPARE(task.description, QStringLiteral("Colours & fonts <v2>"));
        QVERIFY(catalogue.findTask(308, &task));
        QCOMPARE(task.description, QStringLiteral("Deutsch → English"));

        // Completed tasks go from the open view; empty lists stay so tasks can be added to them.
        const Catalogue open = catalogue.openTasksOnly();
        QCOMPARE(taskIds(open), (QList<int>{301, 303, 304, 305, 306, 308, 309}));
        QVERIFY(open.taskList(102, 204) && open.taskList(102, 204)->tasks.isEmpty());
        QCOMPARE(taskIds(catalogue).size(), 10);

        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        const QStringList named{maps().projectNames.value("103").toString(),
                                maps().tasklistNames.value("204").toString(), // an empty list
                                maps().taskNames.value("302").toString(),     // completed: still linkable
                                maps().taskParentProjects.value("307").toString(),
                                maps().taskParentTasklists.value("305").toString()};
        QCOMPARE(named, (QStringList{"Café Menü", "Backlog", "Logo refresh", "102", "202"}));
        QCOMPARE(maps().taskNames.size(), 10);
    }

    void refusesBrokenAndHostileText_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QString>("reason");
        const QString sample = sampleCatalogueReply();
        QTest::newRow("empty") << QString() << "empty";
        QTest::newRow("blank") << "  \n "
                               << "empty";
        QTest::newRow("not xml") << "<html><body>502 Bad Gateway"
                                 << "well-formed";
        QTest::newRow("truncated") << sample.left(sample.size() / 2) << "well-formed";
        QTest::newRow("no status") << "<projects/>"
                                   << "status";
        QTest::newRow("status error") << reply("<error code=\"98\" message=\"x\"/>", "error") << "status";
        QTest::newRow("two roots") << reply(QString()) + reply(QString()) << "well-formed";
        QTest::newRow("entities")
            << "<!DOCTYPE rsp [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><rsp status=\"ok\">&x;</rsp>"
            << "document type";
        QTest::newRow("deep nesting") << reply(QString("<a>").repeated(100000) + QString("</a>").repeated(100000))
                                      << "nested";
        QTest::newRow("control characters") << reply("\x01\x02") << "well-formed";
    }

    void refusesBrokenAndHostileText()
    {
        QFETCH(QString, xml);
        QFETCH(QString, reason);
        Catalogue catalogue;
        catalogue.projects << CatalogueProject{};
        QString error;
        QVERIFY(!ProjectsCatalogue::parse(xml, catalogue, &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        QVERIFY(catalogue.projects.isEmpty());
        // Kept as a reply, such text forgets the catalogue; the maps still name linked time.
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        QVERIFY(!ProjectsCatalogue::keep(xml));
        QVERIFY(!Registry::instance()->catalogueLoaded());
        QVERIFY(Registry::instance()->catalogue().projects.isEmpty());
        QCOMPARE(maps().taskNames.size(), 10);
    }

    void skipsElementsWithoutUsableIds()
    {
        const QString kept = QStringLiteral("<task id=\"7\" name=\"kept\"/>");
        const struct
        {
            QString xml;
            QList<int> tasks;
            int problems;
        } rows[] = {
            {oneList(kept, "3", ""), {}, 1},
            {oneList(kept, "two"), {}, 1},
            {oneList("<task id=\"-4\"/><task id=\"\"/><task/>" + kept), {7}, 3},
            {reply(kept), {}, 0}, // no projects element
        };
        for (const auto& row : rows) {
            Catalogue catalogue;
            QVERIFY(ProjectsCatalogue::parse(row.xml, catalogue));
            QCOMPARE(taskIds(catalogue), row.tasks);
            QCOMPARE(catalogue.problems.size(), row.problems);
        }
    }

    void refusesEditsOfUnknownParents()
    {
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
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

    void recordsAddedTaskListThenTask()
    {
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        QVERIFY(ProjectsCatalogue::recordAddedTaskList(104, 250, QStringLiteral("Année 2027")));
        QVERIFY(
            ProjectsCatalogue::recordAddedTask(104, 250, 950, QStringLiteral("Budget"), QStringLiteral("Q1"), true));
        const Catalogue& after = Registry::instance()->catalogue();
        const CatalogueTaskList* list = after.taskList(104, 250);
        QVERIFY(list && list->tasks.size() == 1);
        QCOMPARE(list->name, QStringLiteral("Année 2027"));
        QCOMPARE(list->tasks.first().id, 950);
        QCOMPARE(fields(list->tasks.first()), QStringLiteral("250|Budget|1|Q1||"));
        QVERIFY(list->tasks.first().isOpen());
        QCOMPARE(maps().taskParentProjects.value("950").toString(), QStringLiteral("104"));
        QCOMPARE(maps().taskNames.value("309").toString(), QStringLiteral("Quarterly report"));
        // Maps rebuilt from the updated catalogue agree with the maps updated in place.
        const CatalogueMaps rebuilt = ProjectsCatalogue::buildMaps(after);
        QCOMPARE(rebuilt.taskNames, maps().taskNames);
        QCOMPARE(rebuilt.tasklistNames, maps().tasklistNames);
        QCOMPARE(rebuilt.taskParentTasklists, maps().taskParentTasklists);
        QCOMPARE(rebuilt.projectNames, maps().projectNames);

        // With no catalogue kept the task is refused but still named, for time linked to it.
        Registry::drop();
        QString error;
        QVERIFY(!ProjectsCatalogue::recordAddedTask(101, 201, 960, QStringLiteral("Orphan"), QString(), false, &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(maps().taskNames.value("960").toString(), QStringLiteral("Orphan"));
        QVERIFY(!Registry::instance()->catalogueLoaded());
    }

    void readsIdsOfAddReplies()
    {
        const struct
        {
            QString reply;
            int taskId;
            int tasklistId;
        } rows[] = {
            {reply("<task id=\"77\"/>"), 77, 0},
            {reply("<tasklist id=\"55\"/>"), 0, 55},
            {reply("<task id=\"77\"/><error code=\"4\"/>", "error"), 0, 0}, // refused
            {reply("<task id=\"7x\"/>"), 0, 0},
            {"<rsp status=\"ok\"><task id=\"77\"", 0, 0}, // cut off
        };
        for (const auto& row : rows) {
            QCOMPARE(ProjectsCatalogue::addedTaskId(row.reply), row.taskId);
            QCOMPARE(ProjectsCatalogue::addedTaskListId(row.reply), row.tasklistId);
        }
    }

    void decodesEightBitText()
    {
        const QString wide = QStringLiteral("Zoë → ok");
        const struct
        {
            QString wire;
            QString text;
        } rows[] = {
            {QString::fromLatin1(wide.toUtf8()), wide},                       // UTF-8 bytes
            {wide, wide},                                                     // already decoded
            {QString::fromLatin1("Caf\xe9"), QString::fromLatin1("Caf\xe9")}, // Latin-1, not UTF-8
        };
        for (const auto& row : rows) {
            QCOMPARE(servicexml::decode8Bit(row.wire), row.text);
            if (row.wire != row.text)
                QCOMPARE(servicexml::encode8Bit(row.text), row.wire);
        }
    }
};

VERRIN_TEST(TestProjectsCatalogue)
#include "TestProjectsCatalogue.moc"
