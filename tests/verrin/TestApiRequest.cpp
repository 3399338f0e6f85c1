// ApiRequest against the real local service over HTTP on 127.0.0.1: what goes on the wire, how
// replies and refusals are read, and every transport failure the service can be made to play.
#include "FakePrompter.h"
#include "ServiceFixture.h"
#include "TestMain.h"
#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/ServiceXml.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

using Params = ApiRequest::Params;
Q_DECLARE_METATYPE(ApiRequest::Params)

namespace {

const QString userAgent = QStringLiteral("VerrinPlus/1.0.10 Linux");

Params withSession(const Params& own)
{
    Params params{{QStringLiteral("api_key"), QStringLiteral("test-api-key")},
                  {QStringLiteral("auth_token"), QStringLiteral("valid-token")}};
    return params + own;
}

Params fromJson(const QJsonArray& pairs)
{
    Params params;
    for (const QJsonValue& pair : pairs)
        params.append({pair.toArray().at(0).toString(), pair.toArray().at(1).toString()});
    return params;
}

QString boxes(const FakePrompter& prompter)
{
    QStringList shown;
    for (const FakePrompter::Call& call : prompter.calls)
        shown << call.kind + QLatin1Char('|') + call.title + QLatin1Char('|') + call.text;
    return shown.join(QLatin1Char('\n'));
}

} // namespace

class TestApiRequest : public QObject
{
    Q_OBJECT

private:
    void useService(const ServiceFixture& fixture) { Registry::instance()->setApiBaseUrl(fixture.baseUrl()); }

    ServiceFixture* service = nullptr;
    QNetworkAccessManager manager;
    FakePrompter prompter;

private slots:
    void initTestCase()
    {
        service = new ServiceFixture();
        QVERIFY2(service->isRunning(), qPrintable(service->error()));
        Registry::instance()->setUserAgent(userAgent);
    }

    void cleanupTestCase()
    {
        delete service;
        Registry::drop();
    }

    void init()
    {
        useService(*service);
        QVERIFY(service->clearFaults());
        QVERIFY(service->clearRequests());
        prompter.calls.clear();
        ApiRequest::setDefaultTimeout(ApiRequest::defaultTimeoutMs);
    }

    void requestOnTheWire_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("verbWord");
        QTest::addColumn<Params>("params");
        QTest::addColumn<QString>("expectedVerb");

        const QString get = QStringLiteral("get");
        const QString post = QStringLiteral("post");
        QTest::newRow("test.null") << "verrin.test.null" << get << Params{{"api_key", "test-api-key"}} << "GET";
        QTest::newRow("auth.login, awkward password")
            << "verrin.auth.login" << get << Params{{"email", "tester@verrin.test"}, {"password", "p+ss &=w%rd ü/?#"}}
            << "GET";
        QTest::newRow("auth.checkToken") << "verrin.auth.checkToken" << get << Params{{"auth_token", "valid-token"}}
                                         << "GET";
        QTest::newRow("auth.logout") << "verrin.auth.logout" << get
                                     << Params{{"api_key", "test-api-key"}, {"auth_token", "spare-token"}} << "GET";
        QTest::newRow("projects.findByUser")
            << "verrin.projects.findByUser" << get
            << withSession({{"user_id", "1"}, {"include_task_lists", "1"}, {"include_tasks", "1"}}) << "GET";
        QTest::newRow("tasks.add") << "verrin.tasks.add" << post
                                   << withSession({{"name", "Café & co"},
                                                   {"project_id", "10"},
                                                   {"tasklist_id", "100"},
                                                   {"description", "line one\nline two"},
                                                   {"billable", "true"}})
                                   << "POST";
        QTest::newRow("tasklists.add") << "verrin.tasklists.add" << post
                                       << withSession({{"name", "Review"}, {"project_id", "10"}}) << "POST";
        QTest::newRow("tasks.update") << "verrin.tasks.update" << post
                                      << withSession({{"task_id", "1010"}, {"complete", "1"}}) << "POST";
        QTest::newRow("entries.addBulk, pre-encoded notes") << "verrin.entries.addBulk" << post
                                                            << withSession({{"date", "2026-11-21"},
                                                                            {"duration", "5400"},
                                                                            {"task_id", "1000"},
                                                                            {"description", "fixed%20the%20bug"}})
                                                            << "POST";
        QTest::newRow("entries.getInfo") << "verrin.entries.getInfo" << get << withSession({{"entry_id", "500"}})
                                         << "GET";
        QTest::newRow("entries.update") << "verrin.entries.update" << post
                                        << withSession({{"entry_id", "500"},
                                                        {"start", "2026-11-20 09:00:00"},
                                                        {"end", "2026-11-20 09:30:00"}})
                                        << "POST";
        QTest::newRow("entries.delete") << "verrin.entries.delete" << post << withSession({{"entry_id", "500"}})
                                        << "POST";
        QTest::newRow("capitals still post") << "verrin.tasks.update"
                                             << "POST" << withSession({{"task_id", "1011"}}) << "POST";
        QTest::newRow("any other word gets") << "verrin.test.null"
                                             << "put" << Params{{"api_key", ""}} << "GET";
    }

    void requestOnTheWire()
    {
        QFETCH(QString, method);
        QFETCH(QString, verbWord);
        QFETCH(Params, params);
        QFETCH(QString, expectedVerb);

        ApiRequest request(&manager, false, &prompter);
        QString reply;
        QVERIFY(request.call(method, verbWord, params, reply, true));
        QCOMPARE(servicexml::status(reply), QStringLiteral("ok"));
        QCOMPARE(boxes(prompter), QString());

        const QJsonArray received = service->receivedRequests();
        QCOMPARE(received.size(), 1);
        const QJsonObject seen = received.at(0).toObject();
        QCOMPARE(seen.value("method").toString(), method);
        QCOMPARE(seen.value("verb").toString(), expectedVerb);
        QCOMPARE(seen.value("userAgent").toString(), userAgent);
        QCOMPARE(fromJson(seen.value("params").toArray()), params);
        const QString wire = QString::fromLatin1(ApiRequest::encodeParams(params));
        if (expectedVerb == QLatin1String("POST")) {
            QCOMPARE(seen.value("body").toString(), wire);
            QCOMPARE(seen.value("query").toString(), QString());
            QCOMPARE(seen.value("contentType").toString(), QStringLiteral("application/x-www-form-urlencoded"));
        } else {
            QCOMPARE(seen.value("query").toString(), wire);
            QCOMPARE(seen.value("body").toString(), QString());
        }
    }

    void notesKeepTheirDoubleEncoding()
    {
        // The caller encodes the notes once, the form encoding does it again; the service must
        // hand back exactly what the caller put in the parameter.
        ApiRequest add(&manager, false, &prompter);
        QString reply;
        QVERIFY(add.call(
            QStringLiteral("verrin.entries.addBulk"), QStringLiteral("post"),
            withSession(
                {{"date", "2026-11-21"}, {"duration", "60"}, {"task_id", "1000"}, {"description", "a%20b%2Bc"}}),
            reply, false));
        QDomDocument document;
        QString error;
        QVERIFY2(servicexml::load(reply, document, &error), qPrintable(error));
        const QString id = document.documentElement().firstChildElement("entry").attribute("id");
        QVERIFY(!id.isEmpty());

        ApiRequest info(&manager, false, &prompter);
        QVERIFY(info.call(QStringLiteral("verrin.entries.getInfo"), QStringLiteral("get"),
                          withSession({{"entry_id", id}}), reply, false));
        QVERIFY(servicexml::load(reply, document, &error));
        const QDomElement entry = document.documentElement().firstChildElement("entry");
        QCOMPARE(entry.firstChildElement("description").text(), QStringLiteral("a%20b%2Bc"));
        QCOMPARE(entry.firstChildElement("start").text(), QStringLiteral("2026-11-21 00:00:00"));
        QCOMPARE(entry.firstChildElement("end").text(), QStringLiteral("2026-11-21 00:01:00"));
    }

    void serviceRefusals_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("verb");
        QTest::addColumn<Params>("params");
        QTest::addColumn<bool>("callerChecks");
        QTest::addColumn<bool>("expectedSuccess");
        QTest::addColumn<QString>("expectedBoxes");

        const QString apiBox = QStringLiteral("critical|Verrin API Error|Code: %1\nMessage: %2");
        QTest::newRow("wrong password, caller checks")
            << "verrin.auth.login"
            << "get" << Params{{"email", "tester@verrin.test"}, {"password", "nope"}} << true << true << QString();
        QTest::newRow("wrong password, boxed") << "verrin.auth.login"
                                               << "get" << Params{{"email", "tester@verrin.test"}, {"password", "nope"}}
                                               << false << false << apiBox.arg("104", "Invalid email or password");
        QTest::newRow("expired token") << "verrin.auth.checkToken"
                                       << "get" << Params{{"auth_token", "expired-token"}} << false << false
                                       << apiBox.arg("103", "Auth token expired");
        QTest::newRow("unknown token") << "verrin.entries.getInfo"
                                       << "get"
                                       << Params{{"api_key", "test-api-key"},
                                                 {"auth_token", "nobody"},
                                                 {"entry_id", "500"}}
                                       << false << false << apiBox.arg("102", "Invalid auth token");
        QTest::newRow("wrong api key") << "verrin.entries.getInfo"
                                       << "get"
                                       << Params{{"api_key", "other-api-key"},
                                                 {"auth_token", "valid-token"},
                                                 {"entry_id", "500"}}
                                       << false << false << apiBox.arg("101", "Invalid API key");
        QTest::newRow("missing parameter")
            << "verrin.entries.delete"
            << "post" << withSession({}) << false << false << apiBox.arg("100", "Missing parameter: entry_id");
        QTest::newRow("unknown entry") << "verrin.entries.delete"
                                       << "post" << withSession({{"entry_id", "999"}}) << false << false
                                       << apiBox.arg("114", "Unknown entry: 999");
        QTest::newRow("someone else's task") << "verrin.tasks.update"
                                             << "post" << withSession({{"task_id", "3000"}, {"complete", "1"}}) << false
                                             << false << apiBox.arg("113", "Unknown task: 3000");
        QTest::newRow("task list of another project")
            << "verrin.tasks.add"
            << "post" << withSession({{"name", "x"}, {"project_id", "11"}, {"tasklist_id", "100"}}) << false << false
            << apiBox.arg("112", "Unknown task list: 100");
        QTest::newRow("post method called with get")
            << "verrin.entries.delete"
            << "get" << withSession({{"entry_id", "500"}}) << false << false
            << apiBox.arg("105", "Method verrin.entries.delete must be called with POST");
        QTest::newRow("end before start")
            << "verrin.entries.update"
            << "post"
            << withSession({{"entry_id", "600"}, {"start", "2026-11-20 09:00:00"}, {"end", "2026-11-20 08:00:00"}})
            << false << false << apiBox.arg("120", "Invalid value for end");
    }

    void serviceRefusals()
    {
        QFETCH(QString, method);
        QFETCH(QString, verb);
        QFETCH(Params, params);
        QFETCH(bool, callerChecks);
        QFETCH(bool, expectedSuccess);
        QFETCH(QString, expectedBoxes);

        ApiRequest request(&manager, false, &prompter);
        QString reply;
        QCOMPARE(request.call(method, verb, params, reply, callerChecks), expectedSuccess);
        QCOMPARE(boxes(prompter), expectedBoxes);
        // Even a refused call hands its text to the caller.
        QCOMPARE(servicexml::status(reply), QStringLiteral("error"));
    }

    void faults_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("quiet");
        QTest::addColumn<bool>("expectedSuccess");
        QTest::addColumn<QString>("expectedReply");
        QTest::addColumn<QString>("expectedBoxes");

        const QString refusedNote = ApiRequest::networkErrorMessage(QNetworkReply::RemoteHostClosedError);
        QTest::newRow("error with code and UTF-8 message")
            << "error" << 0 << QByteArray() << false << false << "*"
            << "critical|Verrin API Error|Code: 42\nMessage: Böse Überraschung";
        QTest::newRow("error without an error element") << "error-bare" << 0 << QByteArray() << false << false << "*"
                                                        << "critical|Verrin API Error|Code: \nMessage: ";
        QTest::newRow("error element deeper down")
            << "raw" << 0 << QByteArray("<rsp status=\"error\"><x><error code=\"7\" message=\"deep\"/></x></rsp>")
            << false << false << "*"
            << "critical|Verrin API Error|Code: 7\nMessage: deep";
        QTest::newRow("HTTP 500 is told as the service failing")
            << "http500" << 0 << QByteArray() << false << false << ""
            << "warn|Network error|The Verrin service failed while handling the request (HTTP 500, internal server "
               "error). Try again later.";
        QTest::newRow("answer over the size limit")
            << "raw" << 0 << QByteArray("<rsp status=\"ok\">" + QByteArray(2 * 1024 * 1024, 'x') + "</rsp>") << false
            << false << ""
            << "warn|Network error|The Verrin service sent an answer larger than 1 MiB; it was not read.";
        QTest::newRow("connection reset") << "reset" << 0 << QByteArray() << false << false << ""
                                          << "warn|Network error|" + refusedNote;
        QTest::newRow("connection closed") << "close" << 0 << QByteArray() << false << false << ""
                                           << "warn|Network error|" + refusedNote;
        QTest::newRow("connection reset, quiet") << "reset" << 0 << QByteArray() << true << false << ""
                                                 << "";
        QTest::newRow("time-out") << "delay" << 5000 << QByteArray() << false << false << ""
                                  << "warn|Network Error|Connection Timeout";
        QTest::newRow("time-out, quiet") << "delay" << 5000 << QByteArray() << true << false << ""
                                         << "";
        QTest::newRow("delay within the time-out") << "delay" << 50 << QByteArray() << false << true << "*"
                                                   << "";
        QTest::newRow("zero byte cuts the text")
            << "raw" << 0 << QByteArray("<rsp status=\"ok\">A</rsp>\0<rsp status=\"error\"/>", 45) << false << true
            << "<rsp status=\"ok\">A</rsp>"
            << "";
        QTest::newRow("not XML is no error here") << "raw" << 0 << QByteArray("<rsp status=\"error\"><error code='1'")
                                                  << false << true << "<rsp status=\"error\"><error code='1'"
                                                  << "";
        QTest::newRow("entity bomb")
            << "raw" << 0
            << QByteArray("<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\">"
                          "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
                          "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
                          "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">]>"
                          "<rsp status=\"error\"><error code=\"&f;\" message=\"&f;\"/></rsp>")
            << false << true << "*"
            << "";
        QTest::newRow("endless nesting") << "raw" << 0
                                         << QByteArray("<rsp status=\"error\">") + QByteArray("<a>").repeated(200000)
                                         << false << true << "*"
                                         << "";
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
        QVERIFY(service->setFault(QStringLiteral("verrin.test.null"), kind, options));

        // A small limit stands in for the real one, far above any reply.
        ApiRequest::setMaxReplyBytes(1024 * 1024);
        ApiRequest request(&manager, quiet, &prompter);
        request.setTimeout(delayMs > 1000 ? 300 : 10000);
        QString reply;
        QCOMPARE(request.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"),
                              {{QStringLiteral("api_key"), QString()}}, reply, false),
                 expectedSuccess);
        ApiRequest::setMaxReplyBytes(ApiRequest::defaultMaxReplyBytes);
        QCOMPARE(boxes(prompter), expectedBoxes);
        if (expectedReply != QLatin1String("*"))
            QCOMPARE(reply, expectedReply);
    }

    void isError_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("message");

        QTest::newRow("empty") << "" << false << ""
                               << "";
        QTest::newRow("ok") << "<rsp status=\"ok\"><error code=\"1\" message=\"m\"/></rsp>" << false << ""
                            << "";
        QTest::newRow("no status") << "<rsp/>" << false << ""
                                   << "";
        QTest::newRow("first of two errors")
            << "<rsp status=\"error\"><error code=\"1\" message=\"one\"/><error code=\"2\"/></rsp>" << true << "1"
            << "one";
        QTest::newRow("UTF-8 read as 8-bit") << QString::fromLatin1("<rsp status=\"error\"><error code=\"3\" message=\""
                                                                    "\xC3\xBC\"/></rsp>")
                                             << true << "3"
                                             << "ü";
        QTest::newRow("plain text") << "Service Unavailable" << false << ""
                                    << "";
        QTest::newRow("status spelled differently") << "<rsp status=\"Error\"/>" << false << ""
                                                    << "";
    }

    void isError()
    {
        QFETCH(QString, xml);
        QFETCH(bool, expected);
        QFETCH(QString, code);
        QFETCH(QString, message);

        ApiRequest request(&manager, true);
        QString gotCode;
        QString gotMessage;
        QCOMPARE(request.isError(xml, gotCode, gotMessage), expected);
        QCOMPARE(gotCode, code);
        QCOMPARE(gotMessage, message);
    }

    void serviceDownThenUp()
    {
        service->stop();
        ApiRequest down(&manager, false, &prompter);
        QString reply;
        QVERIFY(!down.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"), {{"api_key", ""}}, reply, true));
        QCOMPARE(boxes(prompter), QStringLiteral("warn|Network error|The remote server refused the connection."));

        QVERIFY2(service->start(), qPrintable(service->error()));
        prompter.calls.clear();
        ApiRequest up(&manager, false, &prompter);
        QVERIFY(up.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"), {{"api_key", ""}}, reply, true));
        QCOMPARE(servicexml::status(reply), QStringLiteral("ok"));
        QCOMPARE(boxes(prompter), QString());
    }

    void selfSignedCertificateFails()
    {
        QTemporaryDir folder;
        QString cert, key, error;
        QVERIFY2(ServiceFixture::makeSelfSignedCertificate(folder.path(), &cert, &key, &error), qPrintable(error));
        ServiceFixture secure(ServiceFixture::testSeed(),
                              {QStringLiteral("--tls-cert"), cert, QStringLiteral("--tls-key"), key});
        QVERIFY2(secure.isRunning(), qPrintable(secure.error()));
        QVERIFY(secure.baseUrl().startsWith(QLatin1String("https://127.0.0.1:")));
        useService(secure);

        // Not quiet: an untrusted certificate fails the call without a box of its own.
        ApiRequest request(&manager, false, &prompter);
        QString reply;
        QVERIFY(
            !request.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"), {{"api_key", ""}}, reply, true));
        QCOMPARE(reply, QString());
        QCOMPARE(boxes(prompter), QString());
        // The service itself works: the fixture's control client, which trusts it, gets through,
        // and no call reached it.
        QVERIFY(secure.receivedRequests().isEmpty());
        QVERIFY2(secure.clearRequests(), qPrintable(secure.error()));
    }
};

VERRIN_TEST(TestApiRequest)
#include "TestApiRequest.moc"
