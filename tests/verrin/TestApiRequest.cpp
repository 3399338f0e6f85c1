// ApiRequest against the real local service over HTTP on 127.0.0.1: what goes on the wire, how
// replies and refusals are read, and every transport failure the service can be made to play; and
// what the service itself does that the program's other tests do not show.
#include "ServiceFixture.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/ServiceXml.h"

#include <QTcpServer>

using Params = ApiRequest::Params;
Q_DECLARE_METATYPE(ApiRequest::Params)

namespace {

Params withSession(const Params& own)
{
    return Params{{"api_key", "test-api-key"}, {"auth_token", "valid-token"}} + own;
}

const Params noKey{{"api_key", ""}};

} // namespace

class TestApiRequest : public ServiceTest
{
    Q_OBJECT

    QString call(const QString& method, const QString& verb, const Params& params, bool callerChecks = true,
                 bool* ok = nullptr, bool quiet = false)
    {
        ApiRequest request(&manager, quiet, &prompter);
        QString reply;
        const bool done = request.call(method, verb, params, reply, callerChecks);
        if (ok)
            *ok = done;
        return reply;
    }

    void initEach() override { ApiRequest::setDefaultTimeout(ApiRequest::defaultTimeoutMs); }

private slots:
    void requestOnTheWire_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("verbWord");
        QTest::addColumn<Params>("params");
        QTest::addColumn<QString>("expectedVerb");
        const auto row = [](const char* name, const char* method, const char* verb, const Params& params,
                            const char* expected) {
            QTest::newRow(name) << QString(method) << QString(verb) << params << QString(expected);
        };
        row("plain get", "verrin.test.null", "get", {{"api_key", "test-api-key"}}, "GET");
        row("awkward password", "verrin.auth.login", "get",
            {{"email", "tester@verrin.test"}, {"password", "p+ss &=w%rd ü/?#"}}, "GET");
        row("post with text to encode", "verrin.tasks.add", "post",
            withSession({{"name", "Café & co"},
                         {"project_id", "10"},
                         {"tasklist_id", "100"},
                         {"description", "line one\nline two"},
                         {"billable", "true"}}),
            "POST");
        row("pre-encoded notes", "verrin.entries.addBulk", "post",
            withSession({{"date", "2026-11-21"}, {"duration", "5400"}, {"task_id", "1000"}, {"description", "a%20b"}}),
            "POST");
        row("times with blanks", "verrin.entries.update", "post",
            withSession({{"entry_id", "500"}, {"start", "2026-11-20 09:00:00"}, {"end", "2026-11-20 09:30:00"}}),
            "POST");
        row("capitals still post", "verrin.tasks.update", "POST", withSession({{"task_id", "1011"}}), "POST");
        row("any other word gets", "verrin.test.null", "put", noKey, "GET");
    }

    void requestOnTheWire()
    {
        QFETCH(QString, method);
        QFETCH(QString, verbWord);
        QFETCH(Params, params);
        QFETCH(QString, expectedVerb);

        QCOMPARE(servicexml::status(call(method, verbWord, params)), QStringLiteral("ok"));
        QCOMPARE(prompter.shown(), QString());
        const QJsonArray received = service->receivedRequests();
        QCOMPARE(received.size(), 1);
        const QJsonObject seen = received.at(0).toObject();
        QCOMPARE(seen.value("method").toString(), method);
        QCOMPARE(seen.value("verb").toString(), expectedVerb);
        QCOMPARE(seen.value("userAgent").toString(), QStringLiteral("VerrinPlus/1.0.10 Linux"));
        Params got;
        for (const QJsonValue& pair : seen.value("params").toArray())
            got.append({pair.toArray().at(0).toString(), pair.toArray().at(1).toString()});
        QCOMPARE(got, params);
        const QString wire = QString::fromLatin1(ApiRequest::encodeParams(params));
        const bool post = expectedVerb == QLatin1String("POST");
        QCOMPARE(seen.value("body").toString(), post ? wire : QString());
        QCOMPARE(seen.value("query").toString(), post ? QString() : wire);
        if (post)
            QCOMPARE(seen.value("contentType").toString(), QStringLiteral("application/x-www-form-urlencoded"));
    }

    void serviceRefusals_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("verb");
        QTest::addColumn<Params>("params");
        QTest::addColumn<bool>("callerChecks");
        QTest::addColumn<QString>("expectedBox"); // empty: the call succeeds without one
        const auto row = [](const char* name, const char* method, const char* verb, const Params& params,
                            bool callerChecks, const char* code = "", const char* message = "") {
            QTest::newRow(name)
                << QString(method) << QString(verb) << params << callerChecks
                << (callerChecks
                        ? QString()
                        : QStringLiteral("critical|Verrin API Error|Code: %1\nMessage: %2").arg(code, message));
        };
        const Params wrongPassword{{"email", "tester@verrin.test"}, {"password", "nope"}};
        row("wrong password, caller checks", "verrin.auth.login", "get", wrongPassword, true);
        row("wrong password, boxed", "verrin.auth.login", "get", wrongPassword, false, "104",
            "Invalid email or password");
        row("expired token", "verrin.auth.checkToken", "get", {{"auth_token", "expired-token"}}, false, "103",
            "Auth token expired");
        row("wrong api key", "verrin.entries.getInfo", "get",
            {{"api_key", "other-api-key"}, {"auth_token", "valid-token"}, {"entry_id", "500"}}, false, "101",
            "Invalid API key");
        row("unknown entry", "verrin.entries.delete", "post", withSession({{"entry_id", "999"}}), false, "114",
            "Unknown entry: 999");
        row("post method called with get", "verrin.entries.delete", "get", withSession({{"entry_id", "500"}}), false,
            "105", "Method verrin.entries.delete must be called with POST");
        row("end before start", "verrin.entries.update", "post",
            withSession({{"entry_id", "600"}, {"start", "2026-11-20 09:00:00"}, {"end", "2026-11-20 08:00:00"}}), false,
            "120", "Invalid value for end");
    }

    void serviceRefusals()
    {
        QFETCH(QString, method);
        QFETCH(QString, verb);
        QFETCH(Params, params);
        QFETCH(bool, callerChecks);
        QFETCH(QString, expectedBox);

        bool ok = false;
        // Even a refused call hands its text to the caller.
        QCOMPARE(servicexml::status(call(method, verb, params, callerChecks, &ok)), QStringLiteral("error"));
        QCOMPARE(ok, callerChecks);
        QCOMPARE(prompter.shown(), expectedBox);
    }

    void faults_data()
    {
        QTest::addColumn<QString>("kind"); // "stopped": no service at all
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("quiet");
        QTest::addColumn<bool>("expectedSuccess");
        QTest::addColumn<QString>("expectedReply"); // "*": any
        QTest::addColumn<QString>("expectedBoxes");
        const auto row = [](const char* name, const char* kind, int delayMs, const QByteArray& body, bool quiet,
                            bool success, const QString& reply, const QString& boxes) {
            QTest::newRow(name) << QString(kind) << delayMs << body << quiet << success << reply << boxes;
        };
        const QString apiBox = QStringLiteral("critical|Verrin API Error|Code: %1\nMessage: %2");
        const QString netBox = QStringLiteral("warn|Network error|");
        const QString closed = netBox + ApiRequest::networkErrorMessage(QNetworkReply::RemoteHostClosedError);
        const QByteArray none;
        row("error with code and UTF-8 message", "error", 0, none, false, false, "*",
            apiBox.arg("42", "Böse Überraschung"));
        row("error without an error element", "error-bare", 0, none, false, false, "*", apiBox.arg("", ""));
        row("error element deeper down", "raw", 0,
            "<rsp status=\"error\"><x><error code=\"7\" message=\"deep\"/></x></rsp>", false, false, "*",
            apiBox.arg("7", "deep"));
        row("HTTP 500 is told as the service failing", "http500", 0, none, false, false, "",
            netBox + "The Verrin service failed while handling the request (HTTP 500, internal server error). Try "
                     "again later.");
        row("answer over the size limit", "raw", 0, "<rsp status=\"ok\">" + QByteArray(2 * 1024 * 1024, 'x') + "</rsp>",
            false, false, "", netBox + "The Verrin service sent an answer larger than 1 MiB; it was not read.");
        row("connection reset", "reset", 0, none, false, false, "", closed);
        row("connection closed", "close", 0, none, false, false, "", closed);
        row("connection reset, quiet", "reset", 0, none, true, false, "", "");
        row("service stopped", "stopped", 0, none, false, false, "",
            netBox + "The remote server refused the connection.");
        row("time-out", "delay", 5000, none, false, false, "", "warn|Network Error|Connection Timeout");
        row("time-out, quiet", "delay", 5000, none, true, false, "", "");
        row("delay within the time-out", "delay", 50, none, false, true, "*", "");
        row("zero byte cuts the text", "raw", 0, QByteArray("<rsp status=\"ok\">A</rsp>\0<rsp status=\"error\"/>", 45),
            false, true, "<rsp status=\"ok\">A</rsp>", "");
        row("not XML is no error here", "raw", 0, "<rsp status=\"error\"><error code='1'", false, true,
            "<rsp status=\"error\"><error code='1'", "");
        row("entity bomb", "raw", 0,
            "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\">"
            "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
            "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
            "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">]>"
            "<rsp status=\"error\"><error code=\"&f;\" message=\"&f;\"/></rsp>",
            false, true, "*", "");
        row("endless nesting", "raw", 0, "<rsp status=\"error\">" + QByteArray("<a>").repeated(200000), false, true,
            "*", "");
    }

    void faults()
    {
        QFETCH(QString, kind);
        QFETCH(int, delayMs);
        QFETCH(QByteArray, body);
        QFETCH(bool, quiet);
        QFETCH(bool, expectedSuccess);
        QFETCH(QString, expectedReply);
        QFETCH(QString, expectedBoxes);

        ServiceFixture::FaultOptions options;
        options.ms = delayMs;
        options.body = body;
        options.code = QStringLiteral("42");
        options.message = QStringLiteral("Böse Überraschung");
        if (kind == QLatin1String("stopped"))
            service->stop();
        else
            QVERIFY(service->setFault(QStringLiteral("verrin.test.null"), kind, options));

        // A small limit stands in for the real one, far above any reply.
        ApiRequest::setMaxReplyBytes(1024 * 1024);
        ApiRequest request(&manager, quiet, &prompter);
        request.setTimeout(delayMs > 1000 ? 300 : 10000);
        QString reply;
        const bool done = request.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"), noKey, reply, false);
        ApiRequest::setMaxReplyBytes(ApiRequest::defaultMaxReplyBytes);
        QCOMPARE(done, expectedSuccess);
        QCOMPARE(prompter.shown(), expectedBoxes);
        if (expectedReply != QLatin1String("*"))
            QCOMPARE(reply, expectedReply);
    }

    void isError()
    {
        const struct
        {
            QString xml;
            QString expected; // "code|message" of an error, empty otherwise
        } rows[] = {
            {"", ""},
            {"<rsp status=\"ok\"><error code=\"1\" message=\"m\"/></rsp>", ""},
            {"<rsp/>", ""},
            {"<rsp status=\"error\"><error code=\"1\" message=\"one\"/><error code=\"2\"/></rsp>", "1|one"},
            {QString::fromLatin1("<rsp status=\"error\"><error code=\"3\" message=\"\xC3\xBC\"/></rsp>"),
             "3|ü"}, // UTF-8 read as 8-bit
            {"Service Unavailable", ""},
            {"<rsp status=\"Error\"/>", ""},
        };
        for (const auto& [xml, expected] : rows) {
            ApiRequest request(&manager, true);
            QString code;
            QString message;
            QCOMPARE(request.isError(xml, code, message), !expected.isEmpty());
            QCOMPARE(expected.isEmpty() ? code + message : code + '|' + message, expected);
        }
    }

    void selfSignedCertificateFails()
    {
        QTemporaryDir folder;
        QString cert, key, error;
        QVERIFY2(ServiceFixture::makeSelfSignedCertificate(folder.path(), &cert, &key, &error), qPrintable(error));
        ServiceFixture secure(ServiceFixture::testSeed(), {"--tls-cert", cert, "--tls-key", key});
        QVERIFY2(secure.isRunning(), qPrintable(secure.error()));
        QVERIFY(secure.baseUrl().startsWith(QLatin1String("https://127.0.0.1:")));
        Registry::instance()->setApiBaseUrl(secure.baseUrl());

        // Not quiet: an untrusted certificate fails the call without a box of its own.
        bool ok = true;
        QCOMPARE(call("verrin.test.null", "get", noKey, true, &ok), QString());
        QVERIFY(!ok);
        QCOMPARE(prompter.shown(), QString());
        // The service works for the fixture's own client, which trusts it; no call reached it.
        QVERIFY(secure.receivedRequests().isEmpty());
        QVERIFY2(secure.clearRequests(), qPrintable(secure.error()));
    }

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

    void serviceKeepsBulkEntriesOverARestart()
    {
        // Two entries in one call, each its own run of date, duration, task and description.
        const Params two{{"date", "2026-11-16"}, {"duration", "3600"}, {"task_id", "1010"}, {"description", "one"},
                         {"date", "2026-11-17"}, {"duration", "90"},   {"task_id", "1011"}, {"description", "two"}};
        QDomDocument document;
        QVERIFY(servicexml::load(call("verrin.entries.addBulk", "post", withSession(two)), document, nullptr));
        const QDomNodeList entries = document.elementsByTagName("entry");
        QCOMPARE(entries.size(), 2);
        const Params second{{"entry_id", entries.at(1).toElement().attribute("id")}};
        QVERIFY(!entries.at(0).toElement().attribute("updated").isEmpty());
        // Someone else's entry is as good as missing.
        const Params otherKey{{"api_key", "other-api-key"}, {"auth_token", "valid-token"}};
        QCOMPARE(servicexml::status(call("verrin.entries.getInfo", "get", otherKey + second)), QStringLiteral("error"));

        // A restarted service keeps its data.
        service->stop();
        QVERIFY2(service->start(), qPrintable(service->error()));
        QVERIFY(servicexml::load(call("verrin.entries.getInfo", "get", withSession(second)), document, nullptr));
        const QDomElement entry = document.documentElement().firstChildElement("entry");
        QCOMPARE(entry.firstChildElement("description").text() + ' ' + entry.firstChildElement("duration").text(),
                 QStringLiteral("two 90"));
    }
};

VERRIN_TEST(TestApiRequest)
#include "TestApiRequest.moc"
