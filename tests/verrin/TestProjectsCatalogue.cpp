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
        QVERIFY(task.isOpen());
        QVERIFY(catalogue.findTask(303, &task));
        QCOMPARE(task.description, QStringLiteral("Colours & fonts <v2>"));
        QVERIFY(catalogue.findTask(308, &task));
        QCOMPARE(task.description, QStringLiteral("Deutsch → English"));

        // Completed tasks go from the open view; empty lists stay so tasks can be added to them.
        const Catalogue open = catalogue.openTasksOnly();
        QCOMPARE(taskIds(open), (QList<int>{301, 303, 304, 305, 306, 308, 309}));
        QVERIFY(open.taskList(102, 204) && open.taskList(102, 204)->tasks.isEmpty());
        QCOMPARE(taskIds(catalogue).size(), 10);
    }

    void mapsNameEveryTask()
    {
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        const struct
        {
            const QVariantMap& map;
            const char* id;
            QString value;
        } rows[] = {
            {maps().projectNames, "103", "Café Menü"},
            {maps().tasklistNames, "206", "Admin"},
            {maps().tasklistNames, "204", "Backlog"}, // an empty list
            {maps().taskNames, "308", "Speisekarte übersetzen"},
            {maps().taskNames, "302", "Logo refresh"}, // completed: linked time may still point at it
            {maps().taskParentProjects, "307", "102"},
            {maps().taskParentTasklists, "305", "202"},
        };
        for (const auto& row : rows)
            QCOMPARE(row.map.value(row.id).toString(), row.value);
        QCOMPARE(maps().taskNames.size(), 10);
    }

    void refusesBrokenAndHostileText_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char* name, const QString& xml, const char* reason) {
            QTest::newRow(name) << xml << QString(reason);
        };
        const QString sample = sampleCatalogueReply();
        row("empty", QString(), "empty");
        row("blank", "  \n ", "empty");
        row("not xml", "<html><body>502 Bad Gateway", "well-formed");
        row("truncated", sample.left(sample.size() / 2), "well-formed");
        row("no status", "<projects><project id=\"1\" name=\"x\"/></projects>", "status");
        row("status error", reply("<error code=\"98\" message=\"Invalid token\"/>", "error"), "status");
        row("two roots", reply(QString()) + reply(QString()), "well-formed");
        row("entity expansion",
            "<?xml version=\"1.0\"?><!DOCTYPE rsp [<!ENTITY a \"aaaaaaaaaa\">"
            "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
            "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
            "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\"><!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\">"
            "]><rsp status=\"ok\"><projects><project id=\"1\" name=\"&g;\"/></projects></rsp>",
            "document type");
        row("external entity",
            "<?xml version=\"1.0\"?><!DOCTYPE rsp [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
            "<rsp status=\"ok\"><projects><project id=\"1\" name=\"&x;\"/></projects></rsp>",
            "document type");
        row("deep nesting",
            "<rsp status=\"ok\">" + QString("<a>").repeated(100000) + QString("</a>").repeated(100000) + "</rsp>",
            "nested");
        row("control characters", "<rsp status=\"ok\">\x01\x02</rsp>", "well-formed");
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

    void skipsElementsWithoutUsableIds_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QList<int>>("tasks");
        QTest::addColumn<int>("problems");
        const auto row = [](const char* name, const QString& projects, const QList<int>& tasks, int problems) {
            const QString good = QStringLiteral("<task id=\"7\" name=\"kept\" complete=\"0\"/>");
            QTest::newRow(name) << reply(projects.arg(good)) << tasks << problems;
        };
        row("project without id",
            "<projects><project name=\"p\"><task_lists><task_list id=\"2\"><tasks>%1</tasks></task_list></task_lists>"
            "</project></projects>",
            {}, 1);
        row("task list with a word for id",
            "<projects><project id=\"1\" name=\"p\"><task_lists><task_list id=\"two\"><tasks><task id=\"8\" "
            "name=\"lost\"/></tasks></task_list><task_list id=\"3\"><tasks>%1</tasks></task_list></task_lists>"
            "</project></projects>",
            {7}, 1);
        row("tasks with negative, empty and missing ids",
            "<projects><project id=\"1\" name=\"p\"><task_lists><task_list id=\"3\"><tasks><task id=\"-4\" "
            "name=\"a\"/><task id=\"\" name=\"b\"/><task name=\"c\"/>%1</tasks></task_list></task_lists></project>"
            "</projects>",
            {7}, 3);
        row("no projects element", "%1", {}, 0);
    }

    void skipsElementsWithoutUsableIds()
    {
        QFETCH(QString, xml);
        QFETCH(QList<int>, tasks);
        QFETCH(int, problems);
        Catalogue catalogue;
        QVERIFY(ProjectsCatalogue::parse(xml, catalogue));
        QCOMPARE(taskIds(catalogue), tasks);
        QCOMPARE(catalogue.problems.size(), problems);
    }

    void refusesEditsOfUnknownParents_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<int>("projectId");
        QTest::addColumn<int>("tasklistId");
        QTest::newRow("task, unknown project") << "task" << 999 << 201;
        QTest::newRow("task, list of another project") << "task" << 101 << 203;
        QTest::newRow("task list, unknown project") << "tasklist" << 999 << 0;
        QTest::newRow("complete, unknown task") << "complete" << 0 << 0;
    }

    void refusesEditsOfUnknownParents()
    {
        QFETCH(QString, what);
        QFETCH(int, projectId);
        QFETCH(int, tasklistId);
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        const Catalogue& catalogue = Registry::instance()->catalogue();
        const QList<int> before = taskIds(catalogue);
        const qsizetype lists = catalogue.project(101)->taskLists.size();
        QString error;
        bool done = true;
        if (what == QLatin1String("task"))
            done = ProjectsCatalogue::recordAddedTask(projectId, tasklistId, 900, "x", QString(), false, &error);
        else if (what == QLatin1String("tasklist"))
            done = ProjectsCatalogue::recordAddedTaskList(projectId, 900, "x", &error);
        else
            done = ProjectsCatalogue::recordCompletedTask(999, &error);
        QVERIFY(!done);
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
        QVERIFY(list);
        QCOMPARE(list->name, QStringLiteral("Année 2027"));
        QCOMPARE(list->tasks.size(), 1);
        QCOMPARE(list->tasks.first().id, 950);
        QCOMPARE(fields(list->tasks.first()), QStringLiteral("250|Budget|1|Q1||"));
        QVERIFY(list->tasks.first().isOpen());

        QCOMPARE(maps().tasklistNames.value("250").toString(), QStringLiteral("Année 2027"));
        QCOMPARE(maps().taskNames.value("950").toString(), QStringLiteral("Budget"));
        QCOMPARE(maps().taskParentProjects.value("950").toString(), QStringLiteral("104"));
        QCOMPARE(maps().taskParentTasklists.value("950").toString(), QStringLiteral("250"));
        // What was there before is untouched.
        QCOMPARE(maps().taskNames.value("309").toString(), QStringLiteral("Quarterly report"));
        QCOMPARE(maps().projectNames.size(), 4);
        // Maps rebuilt from the updated catalogue agree with the maps updated in place.
        const CatalogueMaps rebuilt = ProjectsCatalogue::buildMaps(after);
        QCOMPARE(rebuilt.taskNames, maps().taskNames);
        QCOMPARE(rebuilt.tasklistNames, maps().tasklistNames);
        QCOMPARE(rebuilt.taskParentTasklists, maps().taskParentTasklists);
    }

    void addedTaskStillNamedWhenCacheIsEmpty()
    {
        QString error;
        QVERIFY(!ProjectsCatalogue::recordAddedTask(101, 201, 960, QStringLiteral("Orphan"), QString(), false, &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(maps().taskNames.value("960").toString(), QStringLiteral("Orphan"));
        QVERIFY(!Registry::instance()->catalogueLoaded());
    }

    void recordsCompletedTask()
    {
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        QVERIFY(ProjectsCatalogue::recordCompletedTask(304));
        const Catalogue& after = Registry::instance()->catalogue();
        CatalogueTask task;
        QVERIFY(after.findTask(304, &task));
        QCOMPARE(task.complete, QStringLiteral("1"));
        QVERIFY(!taskIds(after.openTasksOnly()).contains(304));
        QCOMPARE(maps().taskNames.value("304").toString(), QStringLiteral("Landing page"));
    }

    void readsIdsOfAddReplies()
    {
        const struct
        {
            QString reply;
            int taskId;
            int tasklistId;
        } rows[] = {
            {reply("<task id=\"77\" name=\"n\"/>"), 77, 0},
            {reply("<tasklist id=\"55\" name=\"n\"/>"), 0, 55},
            {reply("<task id=\"77\"/><error code=\"4\" message=\"no\"/>", "error"), 0, 0}, // refused
            {reply("<task id=\"7x\"/>"), 0, 0},                                            // id not a number
            {"<rsp status=\"ok\"><task id=\"77\"", 0, 0},                                  // cut off
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
            {"Plain", "Plain"},
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
