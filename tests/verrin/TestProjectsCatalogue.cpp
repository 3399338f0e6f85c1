#include "CatalogueSample.h"
#include "TestMain.h"
#include "app/Registry.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ServiceXml.h"

#include <QTest>

namespace {
QList<int> taskIds(const Catalogue& catalogue)
{
    QList<int> ids;
    for (const CatalogueProject& project : catalogue.projects) {
        for (const CatalogueTaskList& list : project.taskLists) {
            for (const CatalogueTask& task : list.tasks) {
                ids << task.id;
            }
        }
    }
    return ids;
}

QString reply(const QString& body, const QString& status = QStringLiteral("ok"))
{
    return QStringLiteral("<?xml version=\"1.0\"?><rsp status=\"%1\">%2</rsp>").arg(status, body);
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
        QCOMPARE(cafe->name, QStringLiteral("Café Menü"));
        QCOMPARE(cafe->clientName, QStringLiteral("Globex Bäckerei"));
        QCOMPARE(cafe->clientId, 12);
        QCOMPARE(cafe->taskLists.value(0).name, QStringLiteral("Übersetzung"));

        CatalogueTask task;
        int projectId = 0;
        int tasklistId = 0;
        QVERIFY(catalogue.findTask(301, &task, &projectId, &tasklistId));
        QCOMPARE(projectId, 101);
        QCOMPARE(tasklistId, 201);
        QCOMPARE(task.name, QStringLiteral("Homepage mockup"));
        QCOMPARE(task.tasklistId, 201);
        QCOMPARE(task.billable, QStringLiteral("1"));
        QCOMPARE(task.description, QStringLiteral("First draft for the board"));
        QCOMPARE(task.pricePerHour, QStringLiteral("85.00"));
        QCOMPARE(task.dueDate, QStringLiteral("2026-12-01"));
        QVERIFY(task.isOpen());

        QVERIFY(catalogue.findTask(303, &task));
        QCOMPARE(task.description, QStringLiteral("Colours & fonts <v2>"));
        QVERIFY(catalogue.findTask(308, &task));
        QCOMPARE(task.description, QStringLiteral("Deutsch → English"));
    }

    void openTasksOnlyDropsCompletedButKeepsEmptyLists()
    {
        Catalogue catalogue;
        QVERIFY(ProjectsCatalogue::parse(sampleCatalogueReply(), catalogue));
        const Catalogue open = catalogue.openTasksOnly();
        QCOMPARE(taskIds(open), (QList<int>{301, 303, 304, 305, 306, 308, 309}));
        QVERIFY(open.taskList(102, 204));
        QVERIFY(open.taskList(102, 204)->tasks.isEmpty());
        QCOMPARE(taskIds(catalogue).size(), 10);
    }

    void mapsNameEveryTask_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("value");
        QTest::newRow("project name") << "mapProjectNames"
                                      << "103"
                                      << "Café Menü";
        QTest::newRow("task list name") << "mapTasklistNames"
                                        << "206"
                                        << "Admin";
        QTest::newRow("empty task list") << "mapTasklistNames"
                                         << "204"
                                         << "Backlog";
        QTest::newRow("open task") << "mapTaskNames"
                                   << "308"
                                   << "Speisekarte übersetzen";
        // Linked time may point at a task completed since, so it must still have a name.
        QTest::newRow("completed task") << "mapTaskNames"
                                        << "302"
                                        << "Logo refresh";
        QTest::newRow("task's project") << "mapTaskParentProjects"
                                        << "307"
                                        << "102";
        QTest::newRow("task's list") << "mapTaskParentTasklists"
                                     << "305"
                                     << "202";
    }

    void mapsNameEveryTask()
    {
        QFETCH(QString, key);
        QFETCH(QString, id);
        QFETCH(QString, value);
        QVERIFY(ProjectsCatalogue::keep(sampleCatalogueReply()));
        const CatalogueMaps& maps = Registry::instance()->catalogueMaps();
        const QHash<QString, QVariantMap> byKey{{"mapProjectNames", maps.projectNames},
                                                {"mapTasklistNames", maps.tasklistNames},
                                                {"mapTaskNames", maps.taskNames},
                                                {"mapTaskParentProjects", maps.taskParentProjects},
                                                {"mapTaskParentTasklists", maps.taskParentTasklists}};
        QCOMPARE(byKey.value(key).value(id).toString(), value);
        QCOMPARE(maps.taskNames.size(), 10);
    }

    void refusesBrokenAndHostileText_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QString>("reason");
        const QString sample = sampleCatalogueReply();
        QTest::newRow("empty") << QString() << "empty";
        QTest::newRow("blank") << QStringLiteral("  \n ") << "empty";
        QTest::newRow("not xml") << QStringLiteral("<html><body>502 Bad Gateway") << "well-formed";
        QTest::newRow("truncated") << sample.left(sample.size() / 2) << "well-formed";
        QTest::newRow("no status") << QStringLiteral("<projects><project id=\"1\" name=\"x\"/></projects>") << "status";
        QTest::newRow("status error") << reply(QStringLiteral("<error code=\"98\" message=\"Invalid token\"/>"),
                                               QStringLiteral("error"))
                                      << "status";
        QTest::newRow("two roots") << reply(QString()) + reply(QString()) << "well-formed";
        QTest::newRow("entity expansion")
            << QStringLiteral(
                   "<?xml version=\"1.0\"?><!DOCTYPE rsp [<!ENTITY a \"aaaaaaaaaa\">"
                   "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
                   "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
                   "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\"><!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\">"
                   "]><rsp status=\"ok\"><projects><project id=\"1\" name=\"&g;\"/></projects></rsp>")
            << "document type";
        QTest::newRow("external entity")
            << QStringLiteral("<?xml version=\"1.0\"?><!DOCTYPE rsp [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
                              "<rsp status=\"ok\"><projects><project id=\"1\" name=\"&x;\"/></projects></rsp>")
            << "document type";
        QTest::newRow("deep nesting") << QStringLiteral("<rsp status=\"ok\">") +
                                             QStringLiteral("<a>").repeated(100000) +
                                             QStringLiteral("</a>").repeated(100000) + QStringLiteral("</rsp>")
                                      << "nested";
        QTest::newRow("control characters") << QStringLiteral("<rsp status=\"ok\">\x01\x02</rsp>") << "well-formed";
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
        QCOMPARE(Registry::instance()->catalogueMaps().taskNames.size(), 10);
    }

    void skipsElementsWithoutUsableIds_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QList<int>>("tasks");
        QTest::addColumn<int>("problems");
        const QString good = QStringLiteral("<task id=\"7\" name=\"kept\" complete=\"0\"/>");
        QTest::newRow("project without id")
            << reply(QStringLiteral("<projects><project name=\"p\"><task_lists><task_list id=\"2\"><tasks>%1"
                                    "</tasks></task_list></task_lists></project></projects>")
                         .arg(good))
            << QList<int>{} << 1;
        QTest::newRow("task list with a word for id")
            << reply(QStringLiteral("<projects><project id=\"1\" name=\"p\"><task_lists>"
                                    "<task_list id=\"two\"><tasks><task id=\"8\" name=\"lost\"/></tasks></task_list>"
                                    "<task_list id=\"3\"><tasks>%1</tasks></task_list>"
                                    "</task_lists></project></projects>")
                         .arg(good))
            << QList<int>{7} << 1;
        QTest::newRow("tasks with negative, empty and missing ids")
            << reply(QStringLiteral("<projects><project id=\"1\" name=\"p\"><task_lists><task_list id=\"3\"><tasks>"
                                    "<task id=\"-4\" name=\"a\"/><task id=\"\" name=\"b\"/><task name=\"c\"/>%1"
                                    "</tasks></task_list></task_lists></project></projects>")
                         .arg(good))
            << QList<int>{7} << 3;
        QTest::newRow("no projects element") << reply(QString()) << QList<int>{} << 0;
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
        if (what == QLatin1String("task")) {
            done = ProjectsCatalogue::recordAddedTask(projectId, tasklistId, 900, "x", QString(), false, &error);
        } else if (what == QLatin1String("tasklist")) {
            done = ProjectsCatalogue::recordAddedTaskList(projectId, 900, "x", &error);
        } else {
            done = ProjectsCatalogue::recordCompletedTask(999, &error);
        }
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
        const CatalogueTask& task = list->tasks.first();
        QCOMPARE(task.id, 950);
        QCOMPARE(task.tasklistId, 250);
        QCOMPARE(task.description, QStringLiteral("Q1"));
        QCOMPARE(task.billable, QStringLiteral("1"));
        QVERIFY(task.isOpen());
        QVERIFY(task.pricePerHour.isEmpty() && task.dueDate.isEmpty());

        const CatalogueMaps& maps = Registry::instance()->catalogueMaps();
        QCOMPARE(maps.tasklistNames.value("250").toString(), QStringLiteral("Année 2027"));
        QCOMPARE(maps.taskNames.value("950").toString(), QStringLiteral("Budget"));
        QCOMPARE(maps.taskParentProjects.value("950").toString(), QStringLiteral("104"));
        QCOMPARE(maps.taskParentTasklists.value("950").toString(), QStringLiteral("250"));
        // What was there before is untouched.
        QCOMPARE(maps.taskNames.value("309").toString(), QStringLiteral("Quarterly report"));
        QCOMPARE(maps.projectNames.size(), 4);
        // Maps rebuilt from the updated catalogue agree with the maps updated in place.
        const CatalogueMaps rebuilt = ProjectsCatalogue::buildMaps(after);
        QCOMPARE(rebuilt.taskNames, maps.taskNames);
        QCOMPARE(rebuilt.tasklistNames, maps.tasklistNames);
        QCOMPARE(rebuilt.taskParentTasklists, maps.taskParentTasklists);
    }

    void addedTaskStillNamedWhenCacheIsEmpty()
    {
        QString error;
        QVERIFY(!ProjectsCatalogue::recordAddedTask(101, 201, 960, QStringLiteral("Orphan"), QString(), false, &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(Registry::instance()->catalogueMaps().taskNames.value("960").toString(), QStringLiteral("Orphan"));
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
        QCOMPARE(Registry::instance()->catalogueMaps().taskNames.value("304").toString(),
                 QStringLiteral("Landing page"));
    }

    void readsIdsOfAddReplies_data()
    {
        QTest::addColumn<QString>("reply");
        QTest::addColumn<int>("taskId");
        QTest::addColumn<int>("tasklistId");
        QTest::newRow("task") << reply(QStringLiteral("<task id=\"77\" name=\"n\"/>")) << 77 << 0;
        QTest::newRow("task list") << reply(QStringLiteral("<tasklist id=\"55\" name=\"n\"/>")) << 0 << 55;
        QTest::newRow("refused") << reply(QStringLiteral("<task id=\"77\"/><error code=\"4\" message=\"no\"/>"),
                                          QStringLiteral("error"))
                                 << 0 << 0;
        QTest::newRow("id not a number") << reply(QStringLiteral("<task id=\"7x\"/>")) << 0 << 0;
        QTest::newRow("cut off") << QStringLiteral("<rsp status=\"ok\"><task id=\"77\"") << 0 << 0;
    }

    void readsIdsOfAddReplies()
    {
        QFETCH(QString, reply);
        QFETCH(int, taskId);
        QFETCH(int, tasklistId);
        QCOMPARE(ProjectsCatalogue::addedTaskId(reply), taskId);
        QCOMPARE(ProjectsCatalogue::addedTaskListId(reply), tasklistId);
    }

    void decodesEightBitText_data()
    {
        QTest::addColumn<QString>("wire");
        QTest::addColumn<QString>("text");
        QTest::newRow("ascii") << "Plain"
                               << "Plain";
        QTest::newRow("utf-8 bytes") << QString::fromLatin1(QStringLiteral("Zoë → ok").toUtf8()) << "Zoë → ok";
        QTest::newRow("already decoded, wide") << "Zoë → ok"
                                               << "Zoë → ok";
        QTest::newRow("latin-1, not utf-8") << QString::fromLatin1("Caf\xe9") << QString::fromLatin1("Caf\xe9");
    }

    void decodesEightBitText()
    {
        QFETCH(QString, wire);
        QFETCH(QString, text);
        QCOMPARE(servicexml::decode8Bit(wire), text);
        if (wire != text) {
            QCOMPARE(servicexml::encode8Bit(text), wire);
        }
    }
};

VERRIN_TEST(TestProjectsCatalogue)
#include "TestProjectsCatalogue.moc"
