// The local Verrin service itself: its command line, and what it keeps that the program's own
// tests do not already show.
#include "ServiceFixture.h"
#include "TestMain.h"
#include "verrin/ApiRequest.h"
#include "verrin/ServiceXml.h"

#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using Params = ApiRequest::Params;

class TestVerrinService : public ServiceTest
{
    Q_OBJECT

    QDomDocument document;

    // Calls a method and returns the root of its reply with its status.
    QDomElement call(const QString& method, const QString& verb, const Params& params, QString* status = nullptr)
    {
        ApiRequest request(&manager, true);
        QString reply;
        if (!request.call(method, verb, params, reply, true) || !servicexml::load(reply, document, nullptr))
            return QDomElement();
        if (status)
            *status = document.documentElement().attribute("status");
        return document.documentElement();
    }

    static Params session(const Params& own, const QString& key = QStringLiteral("test-api-key"))
    {
        return Params{{"api_key", key}, {"auth_token", "valid-token"}} + own;
    }

private slots:
    void commandLineRefusals_data()
    {
        QTest::addColumn<QStringList>("arguments"); // SEED: a file holding `seed`; BUSY: a port in use
        QTest::addColumn<QByteArray>("seed");
        QTest::addColumn<QString>("expectedMessage");
        const QStringList withSeed{"--port", "0", "--seed", "SEED"};
        const auto seeded = [&](const char* name, const QByteArray& seed, const char* message) {
            QTest::newRow(name) << withSeed << seed << QString(message);
        };
        const auto args = [](const char* name, const QStringList& arguments, const char* message) {
            QTest::newRow(name) << arguments << QByteArray() << QString(message);
        };
        seeded("seed not JSON", "{\"users\": [", "is not valid JSON");
        seeded("task without name",
               "{\"users\": [{\"email\": \"a@b\", \"password\": \"p\", \"api_key\": \"k\", \"clients\": [{\"name\": "
               "\"c\", \"projects\": [{\"name\": \"p\", \"task_lists\": [{\"name\": \"l\", \"tasks\": [{}]}]}]}]}]}",
               "users[0].clients[0].projects[0].task_lists[0].tasks[0]: \"name\"");
        args("missing seed file", {"--port", "0", "--seed", "/nonexistent/seed.json"},
             "cannot read seed file /nonexistent/seed.json");
        args("bad port", {"--port", "http"}, "bad port \"http\"");
        args("certificate without key", {"--port", "0", "--tls-cert", "/nonexistent.pem"}, "cannot read");
        args("port in use", {"--port", "BUSY"}, "cannot listen on 127.0.0.1:");
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
        QVERIFY2(stderrText.startsWith("verrin-service: ") && stderrText.contains(expectedMessage),
                 qPrintable(stderrText));
        QCOMPARE(process.readAllStandardOutput(), QByteArray());
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
        call("verrin.projects.findByUser", "get",
             session({{"user_id", "1"}, {"include_task_lists", taskLists}, {"include_tasks", tasks}}));
        // Only the signed-in user's projects; completed tasks are listed too.
        QCOMPARE(document.elementsByTagName("project").size(), 3);
        QCOMPARE(document.elementsByTagName("task_list").size(), expectedLists);
        QCOMPARE(document.elementsByTagName("task").size(), expectedTasks);
    }

    void bulkEntriesSurviveARestart()
    {
        // Two entries in one call, each its own run of date, duration, task and description.
        const QDomNodeList entries = call("verrin.entries.addBulk", "post",
                                          session({{"date", "2026-11-16"},
                                                   {"duration", "3600"},
                                                   {"task_id", "1010"},
                                                   {"description", "one"},
                                                   {"date", "2026-11-17"},
                                                   {"duration", "90"},
                                                   {"task_id", "1011"},
                                                   {"description", "two"}}))
                                         .elementsByTagName("entry");
        QCOMPARE(entries.size(), 2);
        const QString second = entries.at(1).toElement().attribute("id");
        QVERIFY(!entries.at(0).toElement().attribute("updated").isEmpty());

        // Someone else's entry is as good as missing.
        QString status;
        call("verrin.entries.getInfo", "get", session({{"entry_id", second}}, "other-api-key"), &status);
        QCOMPARE(status, QStringLiteral("error"));

        // A restarted service keeps its data and does not seed twice.
        service->stop();
        QVERIFY2(service->start(), qPrintable(service->error()));
        const QDomElement root = call("verrin.entries.getInfo", "get", session({{"entry_id", second}}), &status);
        QCOMPARE(status, QStringLiteral("ok"));
        QCOMPARE(root.firstChildElement("entry").firstChildElement("description").text(), QStringLiteral("two"));
        QCOMPARE(root.firstChildElement("entry").firstChildElement("duration").text(), QStringLiteral("90"));
    }

    void expiredTokensAreRefused() // kept last: the seed's token stays expired
    {
        QVERIFY(service->expireTokens());
        const QDomElement root = call("verrin.auth.checkToken", "get", {{"auth_token", "valid-token"}});
        QCOMPARE(root.firstChildElement("error").attribute("code"), QStringLiteral("103"));
    }
};

VERRIN_TEST(TestVerrinService)
#include "TestVerrinService.moc"
