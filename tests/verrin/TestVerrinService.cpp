// The local Verrin service itself: its command line, and that its methods keep the catalogue and
// the time entries the way the program relies on.
#include "ServiceFixture.h"
#include "TestMain.h"
#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ServiceXml.h"

#include <QNetworkAccessManager>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using Params = ApiRequest::Params;

namespace {

Params session(const Params& own)
{
    return Params{{"api_key", "test-api-key"}, {"auth_token", "valid-token"}} + own;
}

QStringList attributes(const QDomElement& parent, const QString& tag, const QString& attribute)
{
    QStringList values;
    const QDomNodeList nodes = parent.elementsByTagName(tag);
    for (int i = 0; i < nodes.size(); ++i)
        values << QString::fromUtf8(nodes.at(i).toElement().attribute(attribute).toLatin1());
    return values;
}

} // namespace

class TestVerrinService : public QObject
{
    Q_OBJECT

private:
    ServiceFixture* service = nullptr;
    QNetworkAccessManager manager;
    QDomDocument document;

    // Calls a method and returns the root of its reply, which must have status "ok".
    QDomElement call(const QString& method, const QString& verb, const Params& params, QString* status = nullptr)
    {
        ApiRequest request(&manager, true);
        QString reply;
        QString error;
        if (!request.call(method, verb, params, reply, true) || !servicexml::load(reply, document, &error))
            return QDomElement();
        const QDomElement root = document.documentElement();
        if (status)
            *status = root.attribute("status");
        return root;
    }

    QString catalogue(const QString& taskLists, const QString& tasks)
    {
        call("verrin.projects.findByUser", "get",
             session({{"user_id", "1"}, {"include_task_lists", taskLists}, {"include_tasks", tasks}}));
        return document.toString(-1);
    }

private slots:
    void initTestCase()
    {
        service = new ServiceFixture();
        QVERIFY2(service->isRunning(), qPrintable(service->error()));
        Registry::instance()->setApiBaseUrl(service->baseUrl());
    }

    void cleanupTestCase()
    {
        delete service;
        Registry::drop();
    }

    void commandLineRefusals_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("seed"); // written to SEED when not empty
        QTest::addColumn<QString>("expectedMessage");

        const QStringList withSeed{"--port", "0", "--seed", "SEED"};
        QTest::newRow("seed not JSON") << withSeed << QByteArray("{\"users\": [") << "is not valid JSON";
        QTest::newRow("seed without users") << withSeed << QByteArray("{\"people\": []}") << "\"users\" array";
        QTest::newRow("user without password")
            << withSeed << QByteArray("{\"users\": [{\"email\": \"a@b\", \"api_key\": \"k\"}]}")
            << "users[0]: \"password\" must be a non-empty text";
        QTest::newRow("task without name")
            << withSeed
            << QByteArray("{\"users\": [{\"email\": \"a@b\", \"password\": \"p\", \"api_key\": \"k\", \"clients\": "
                          "[{\"name\": \"c\", \"projects\": [{\"name\": \"p\", \"task_lists\": [{\"name\": \"l\", "
                          "\"tasks\": [{}]}]}]}]}]}")
            << "users[0].clients[0].projects[0].task_lists[0].tasks[0]: \"name\"";
        QTest::newRow("two users, one email")
            << withSeed
            << QByteArray("{\"users\": [{\"email\": \"a@b\", \"password\": \"p\", \"api_key\": \"k\"},"
                          "{\"email\": \"a@b\", \"password\": \"q\", \"api_key\": \"l\"}]}")
            << "users[1]: UNIQUE constraint failed";
        QTest::newRow("missing seed file") << QStringList{"--port", "0", "--seed", "/nonexistent/seed.json"}
                                           << QByteArray() << "cannot read seed file /nonexistent/seed.json";
        QTest::newRow("bad port") << QStringList{"--port", "http"} << QByteArray() << "bad port \"http\"";
        QTest::newRow("bad fault") << QStringList{"--port", "0", "--fault", "verrin.test.null:explode"} << QByteArray()
                                   << "bad fault \"verrin.test.null:explode\"";
        QTest::newRow("certificate without key")
            << QStringList{"--port", "0", "--tls-cert", "/nonexistent.pem"} << QByteArray() << "cannot read";
        QTest::newRow("port in use") << QStringList{"--port", "BUSY"} << QByteArray() << "cannot listen on 127.0.0.1:";
    }

    void commandLineRefusals()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, seed);
        QFETCH(QString, expectedMessage);

        QTemporaryDir folder;
        QTcpServer busy;
        QVERIFY(busy.listen(QHostAddress::LocalHost));
        for (QString& argument : arguments) {
            if (argument == QLatin1String("BUSY"))
                argument = QString::number(busy.serverPort());
            if (argument == QLatin1String("SEED")) {
                argument = folder.filePath("seed.json");
                QFile file(argument);
                QVERIFY(file.open(QIODevice::WriteOnly));
                file.write(seed);
            }
        }
        QProcess process;
        process.start(ServiceFixture::binary(), arguments);
        QVERIFY(process.waitForFinished(15000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        const QString stderrText = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(stderrText.contains(expectedMessage), qPrintable(stderrText));
        QVERIFY2(stderrText.startsWith(QLatin1String("verrin-service: ")), qPrintable(stderrText));
        QCOMPARE(process.readAllStandardOutput(), QByteArray());
    }

    void catalogueOfTheSignedInUserOnly()
    {
        catalogue("1", "1");
        const QDomElement root = document.documentElement();
        QCOMPARE(root.attribute("status"), QStringLiteral("ok"));
        QCOMPARE(attributes(root, "project", "id"), (QStringList{"10", "11", "20"}));
        QCOMPARE(attributes(root, "client", "name"), (QStringList{"Acme Corp", "Acme Corp", "Zürich Bäckerei"}));
        QCOMPARE(attributes(root, "task_list", "name"),
                 (QStringList{"Design", "Build", "Support", "Übersetzung", "Empty list"}));
        // Completed tasks are listed too, marked; hiding them is the program's business.
        QCOMPARE(attributes(root, "task", "id"), (QStringList{"1000", "1001", "1002", "1010", "1011", "1100", "2000"}));
        QCOMPARE(attributes(root, "task", "complete"), (QStringList{"0", "1", "0", "0", "0", "0", "0"}));
        QCOMPARE(attributes(root, "task", "tasklist_id").first(), QStringLiteral("100"));
        QCOMPARE(attributes(root, "task", "name").last(), QStringLiteral("Speisekarte – deutsch"));
    }

    void catalogueDepthFollowsTheFlags_data()
    {
        QTest::addColumn<QString>("taskLists");
        QTest::addColumn<QString>("tasks");
        QTest::addColumn<int>("expectedLists");
        QTest::addColumn<int>("expectedTasks");

        QTest::newRow("everything") << "1"
                                    << "1" << 5 << 7;
        QTest::newRow("no tasks") << "1"
                                  << "0" << 5 << 0;
        QTest::newRow("projects only") << "0"
                                       << "1" << 0 << 0;
    }

    void catalogueDepthFollowsTheFlags()
    {
        QFETCH(QString, taskLists);
        QFETCH(QString, tasks);
        QFETCH(int, expectedLists);
        QFETCH(int, expectedTasks);
        catalogue(taskLists, tasks);
        QCOMPARE(document.elementsByTagName("project").size(), 3);
        QCOMPARE(document.elementsByTagName("task_list").size(), expectedLists);
        QCOMPARE(document.elementsByTagName("task").size(), expectedTasks);
    }

    void addedTasksAndListsShowInTheCatalogue()
    {
        QDomElement root = call("verrin.tasklists.add", "post", session({{"name", "Launch"}, {"project_id", "11"}}));
        const QString listId = root.firstChildElement("tasklist").attribute("id");
        QVERIFY(!listId.isEmpty());
        root = call("verrin.tasks.add", "post",
                    session({{"name", "Go live"},
                             {"project_id", "11"},
                             {"tasklist_id", listId},
                             {"description", "on Friday"},
                             {"billable", "true"}}));
        const QDomElement task = root.firstChildElement("task");
        QCOMPARE(task.attribute("billable"), QStringLiteral("1"));
        QCOMPARE(task.attribute("complete"), QStringLiteral("0"));
        root = call("verrin.tasks.update", "post", session({{"task_id", task.attribute("id")}, {"complete", "1"}}));
        QCOMPARE(root.firstChildElement("task").attribute("complete"), QStringLiteral("1"));

        catalogue("1", "1");
        QVERIFY(attributes(document.documentElement(), "task_list", "name").contains("Launch"));
        const QDomNodeList tasks = document.elementsByTagName("task");
        const QDomElement added = tasks.at(tasks.size() - 2).toElement(); // Intranet comes before Café Menü
        QCOMPARE(added.attribute("name"), QStringLiteral("Go live"));
        QCOMPARE(added.attribute("tasklist_id"), listId);
        QCOMPARE(added.attribute("description"), QStringLiteral("on Friday"));
        QCOMPARE(added.attribute("complete"), QStringLiteral("1"));
    }

    void catalogueReadsAsTheProgramReadsIt()
    {
        // The program's own catalogue reader must understand the service's replies as they are.
        ApiRequest request(&manager, true);
        QString reply;
        QVERIFY(request.call("verrin.projects.findByUser", "get",
                             session({{"user_id", "1"}, {"include_task_lists", "1"}, {"include_tasks", "1"}}), reply,
                             false));
        Catalogue catalogue;
        QString error;
        QVERIFY2(ProjectsCatalogue::parse(reply, catalogue, &error), qPrintable(error));
        QCOMPARE(catalogue.problems, QStringList());
        QCOMPARE(catalogue.projects.size(), 3);
        QCOMPARE(catalogue.projects.at(2).clientName, QStringLiteral("Zürich Bäckerei"));
        QCOMPARE(catalogue.projects.at(2).name, QStringLiteral("Café Menü"));
        CatalogueTask task;
        QVERIFY(catalogue.openTasksOnly().findTask(1000, &task));
        QVERIFY(!catalogue.openTasksOnly().findTask(1001, &task));
        const CatalogueMaps maps = ProjectsCatalogue::buildMaps(catalogue);
        QCOMPARE(maps.taskNames.value("2000").toString(), QStringLiteral("Speisekarte – deutsch"));
        QCOMPARE(maps.taskParentProjects.value("1010").toString(), QStringLiteral("10"));
        QCOMPARE(maps.taskParentTasklists.value("1010").toString(), QStringLiteral("101"));
        QCOMPARE(maps.tasklistNames.value("200").toString(), QStringLiteral("Übersetzung"));

        QVERIFY(request.call("verrin.tasklists.add", "post", session({{"name", "Übrig"}, {"project_id", "20"}}), reply,
                             false));
        const int listId = ProjectsCatalogue::addedTaskListId(reply, &error);
        QVERIFY2(listId > 0, qPrintable(error));
        QVERIFY(request.call("verrin.tasks.add", "post",
                             session({{"name", "Brot"},
                                      {"project_id", "20"},
                                      {"tasklist_id", QString::number(listId)},
                                      {"description", ""},
                                      {"billable", "false"}}),
                             reply, false));
        QVERIFY2(ProjectsCatalogue::addedTaskId(reply, &error) > 0, qPrintable(error));
        QVERIFY(ProjectsCatalogue::isOkReply(reply));
    }

    void entryLifecycle()
    {
        // Two entries in one call, each its own run of date, duration, task and description.
        QDomElement root = call("verrin.entries.addBulk", "post",
                                session({{"date", "2026-11-16"},
                                         {"duration", "3600"},
                                         {"task_id", "1010"},
                                         {"description", "one"},
                                         {"date", "2026-11-17"},
                                         {"duration", "90"},
                                         {"task_id", "1011"},
                                         {"description", "two"}}));
        const QDomNodeList entries = root.elementsByTagName("entry");
        QCOMPARE(entries.size(), 2);
        const QString first = entries.at(0).toElement().attribute("id");
        const QString second = entries.at(1).toElement().attribute("id");
        QVERIFY(!entries.at(0).toElement().attribute("updated").isEmpty());

        root = call("verrin.entries.update", "post",
                    session({{"entry_id", first}, {"start", "2026-11-16 00:00:00"}, {"end", "2026-11-16 00:20:00"}}));
        root = call("verrin.entries.getInfo", "get", session({{"entry_id", first}}));
        const QDomElement entry = root.firstChildElement("entry");
        QCOMPARE(entry.firstChildElement("start").text(), QStringLiteral("2026-11-16 00:00:00"));
        QCOMPARE(entry.firstChildElement("end").text(), QStringLiteral("2026-11-16 00:20:00"));
        QCOMPARE(entry.firstChildElement("duration").text(), QStringLiteral("1200"));
        QCOMPARE(entry.attribute("task_id"), QStringLiteral("1010"));

        QString status;
        call("verrin.entries.delete", "post", session({{"entry_id", first}}), &status);
        QCOMPARE(status, QStringLiteral("ok"));
        root = call("verrin.entries.getInfo", "get", session({{"entry_id", first}}), &status);
        QCOMPARE(status, QStringLiteral("error"));
        QCOMPARE(root.firstChildElement("error").attribute("code"), QStringLiteral("114"));

        // Someone else's entry is as good as missing.
        root = call("verrin.entries.getInfo", "get",
                    {{"api_key", "other-api-key"}, {"auth_token", "valid-token"}, {"entry_id", second}}, &status);
        QCOMPARE(status, QStringLiteral("error"));

        // A restarted service keeps its data and does not seed twice.
        service->stop();
        QVERIFY2(service->start(), qPrintable(service->error()));
        Registry::instance()->setApiBaseUrl(service->baseUrl());
        root = call("verrin.entries.getInfo", "get", session({{"entry_id", second}}), &status);
        QCOMPARE(status, QStringLiteral("ok"));
        QCOMPARE(root.firstChildElement("entry").firstChildElement("description").text(), QStringLiteral("two"));
    }

    void tokensEndWithLogoutAndExpiry()
    {
        QDomElement root = call("verrin.auth.login", "get", {{"email", "tester"}, {"password", "p+ss &=w%rd ü/?#"}});
        const QString token = root.firstChildElement("token").text();
        QVERIFY(!token.isEmpty());
        QCOMPARE(root.firstChildElement("api_key").text(), QStringLiteral("test-api-key"));

        QString status;
        call("verrin.auth.checkToken", "get", {{"auth_token", token}}, &status);
        QCOMPARE(status, QStringLiteral("ok"));
        call("verrin.auth.logout", "get", {{"api_key", "test-api-key"}, {"auth_token", token}}, &status);
        QCOMPARE(status, QStringLiteral("ok"));
        root = call("verrin.auth.checkToken", "get", {{"auth_token", token}}, &status);
        QCOMPARE(root.firstChildElement("error").attribute("code"), QStringLiteral("102"));

        QVERIFY(service->expireTokens());
        root = call("verrin.auth.checkToken", "get", {{"auth_token", "valid-token"}}, &status);
        QCOMPARE(root.firstChildElement("error").attribute("code"), QStringLiteral("103"));
    }
};

VERRIN_TEST(TestVerrinService)
#include "TestVerrinService.moc"
