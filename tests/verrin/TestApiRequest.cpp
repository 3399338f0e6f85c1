// ApiRequest against the local service: the wire, replies, refusals and every transport failure.
#include "ServiceFixture.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/ServiceXml.h"

using Params = ApiRequest::Params;

namespace {

Params withSession(const Params& own)
{
    return Params{{"api_key", "test-api-key"}, {"auth_token", "valid-token"}} + own;
}

const Params noKey{{"api_key", ""}};
const QString apiBox = QStringLiteral("critical|Verrin API Error|Code: %1\nMessage: %2");
const QString netBox = QStringLiteral("warn|Network error|");

struct Call
{
    const char* name;
    const char* method;
    const char* verb;
    Params params;
    const char* sentAs; // "GET" or "POST"; null: the service refuses the call
    QString box;        // of a refusal; empty: the caller checks it
};

struct Fault
{
    const char* name;
    const char* kind; // "stopped": no service at all
    QByteArray body;
    int delayMs;
    bool quiet;
    bool success;
    QString reply; // "*": any
    QString boxes;
};

} // namespace

Q_DECLARE_METATYPE(Call)
Q_DECLARE_METATYPE(Fault)

class TestApiRequest : public ServiceTest
{
    Q_OBJECT

    QString call(const QString& method, const QString& verb, const Params& params, bool callerChecks = true,
                 bool* ok = nullptr)
    {
        ApiRequest request(&manager, false, &prompter);
        QString reply;
        const bool done = request.call(method, verb, params, reply, callerChecks);
        if (ok)
            *ok = done;
        return reply;
    }

    void initEach() override { ApiRequest::setDefaultTimeout(ApiRequest::defaultTimeoutMs); }

private slots:
    void calls_data()
    {
        QTest::addColumn<Call>("c");
        const Params wrongPassword{{"email", "tester@verrin.test"}, {"password", "nope"}};
        const auto row = [](const char* name, const char* method, const char* verb, const Params& params,
                            const char* sentAs, const QString& box = {}) {
            QTest::newRow(name) << Call{name, method, verb, params, sentAs, box};
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
        row("pre-encoded notes, times with blanks", "verrin.entries.update", "post",
            withSession({{"entry_id", "500"},
                         {"start", "2026-11-20 09:00:00"},
                         {"end", "2026-11-20 09:30:00"},
                         {"description", "a%20b"}}),
            "POST");
        row("capitals still post", "verrin.tasks.update", "POST", withSession({{"task_id", "1011"}}), "POST");
        row("any other word gets", "verrin.test.null", "put", noKey, "GET");
        row("wrong password, caller checks", "verrin.auth.login", "get", wrongPassword, nullptr);
        row("wrong password, boxed", "verrin.auth.login", "get", wrongPassword, nullptr,
            apiBox.arg("104", "Invalid email or password"));
        row("expired token", "verrin.auth.checkToken", "get", {{"auth_token", "expired-token"}}, nullptr,
            apiBox.arg("103", "Auth token expired"));
        row("wrong api key", "verrin.entries.getInfo", "get",
            {{"api_key", "other-api-key"}, {"auth_token", "valid-token"}, {"entry_id", "500"}}, nullptr,
            apiBox.arg("101", "Invalid API key"));
        row("unknown entry", "verrin.entries.delete", "post", withSession({{"entry_id", "999"}}), nullptr,
            apiBox.arg("114", "Unknown entry: 999"));
        row("post method called with get", "verrin.entries.delete", "get", withSession({{"entry_id", "500"}}), nullptr,
            apiBox.arg("105", "Method verrin.entries.delete must be called with POST"));
        row("end before start", "verrin.entries.update", "post",
            withSession({{"entry_id", "600"}, {"start", "2026-11-20 09:00:00"}, {"end", "2026-11-20 08:00:00"}}),
            nullptr, apiBox.arg("120", "Invalid value for end"));
    }

    void calls()
    {
        QFETCH(Call, c);
        bool ok = false;
        // Even a refused call hands its text to the caller.
        const QString status = servicexml::status(call(c.method, c.verb, c.params, c.box.isEmpty(), &ok));
        QCOMPARE(status, QString(c.sentAs ? "ok" : "error"));
        QCOMPARE(ok, c.box.isEmpty());
        QCOMPARE(prompter.shown(), c.box);
        if (!c.sentAs)
            return;
        const QJsonArray received = service->receivedRequests();
        QCOMPARE(received.size(), 1);
        const QJsonObject seen = received.at(0).toObject();
        QCOMPARE(seen.value("method").toString(), QString(c.method));
        QCOMPARE(seen.value("verb").toString(), QString(c.sentAs));
        QCOMPARE(seen.value("userAgent").toString(), QStringLiteral("VerrinPlus/1.0.10 Linux"));
        Params got;
        for (const QJsonValue& pair : seen.value("params").toArray())
            got.append({pair.toArray().at(0).toString(), pair.toArray().at(1).toString()});
        QCOMPARE(got, c.params);
        const QString wire = QString::fromLatin1(ApiRequest::encodeParams(c.params));
        const bool post = QLatin1String(c.sentAs) == QLatin1String("POST");
        QCOMPARE(seen.value("body").toString(), post ? wire : QString());
        QCOMPARE(seen.value("query").toString(), post ? QString() : wire);
        if (post)
            QCOMPARE(seen.value("contentType").toString(), QStringLiteral("application/x-www-form-urlencoded"));
    }

    void faults_data()
    {
        QTest::addColumn<Fault>("c");
        const QString closed = netBox + ApiRequest::networkErrorMessage(QNetworkReply::RemoteHostClosedError);
        const auto row = [](const char* name, const char* kind, const QByteArray& body, int delayMs, bool quiet,
                            bool success, const QString& reply, const QString& boxes) {
            QTest::newRow(name) << Fault{name, kind, body, delayMs, quiet, success, reply, boxes};
        };
        row("error with code and UTF-8 message", "error", {}, 0, false, false, "*",
            apiBox.arg("42", "Böse Überraschung"));
        row("error without an error element", "error-bare", {}, 0, false, false, "*", apiBox.arg("", ""));
        row("first error element, deeper down", "raw",
            "<rsp status=\"error\"><x><error code=\"7\" message=\"deep\"/></x><error code=\"8\"/></rsp>", 0, false,
            false, "*", apiBox.arg("7", "deep"));
        row("error element of an ok reply", "raw", "<rsp status=\"ok\"><error code=\"1\"/></rsp>", 0, false, true, "*",
            "");
        row("status in capitals", "raw", "<rsp status=\"Error\"/>", 0, false, true, "*", "");
        row("HTTP 500 is told as the service failing", "http500", {}, 0, false, false, "",
            netBox + "The Verrin service failed while handling the request (HTTP 500, internal server error). Try "
                     "again later.");
        row("answer over the size limit", "raw", "<rsp status=\"ok\">" + QByteArray(2 * 1024 * 1024, 'x') + "</rsp>", 0,
            false, false, "", netBox + "The Verrin service sent an answer larger than 1 MiB; it was not read.");
        row("connection reset", "reset", {}, 0, false, false, "", closed);
        row("connection closed", "close", {}, 0, false, false, "", closed);
        row("connection reset, quiet", "reset", {}, 0, true, false, "", "");
        row("service stopped", "stopped", {}, 0, false, false, "",
            netBox + "The remote server refused the connection.");
        row("time-out", "delay", {}, 5000, false, false, "", "warn|Network Error|Connection Timeout");
        row("time-out, quiet", "delay", {}, 5000, true, false, "", "");
        row("delay within the time-out", "delay", {}, 50, false, true, "*", "");
        row("zero byte cuts the text", "raw", QByteArray("<rsp status=\"ok\">A</rsp>\0<rsp status=\"error\"/>", 45), 0,
            false, true, "<rsp status=\"ok\">A</rsp>", "");
        row("not XML is no error here", "raw", "<rsp status=\"error\"><error code='1'", 0, false, true,
            "<rsp status=\"error\"><error code='1'", "");
        row("entities", "raw", "<!DOCTYPE r [<!ENTITY a \"1\">]><rsp status=\"error\"><error code=\"&a;\"/></rsp>", 0,
            false, true, "*", "");
        row("endless nesting", "raw", "<rsp status=\"error\">" + QByteArray("<a>").repeated(200000), 0, false, true,
            "*", "");
    }

    void faults()
    {
        QFETCH(Fault, c);
        ServiceFixture::FaultOptions options;
        options.ms = c.delayMs;
        options.body = c.body;
        options.code = QStringLiteral("42");
        options.message = QStringLiteral("Böse Überraschung");
        if (QLatin1String(c.kind) == QLatin1String("stopped"))
            service->stop();
        else
            QVERIFY(service->setFault(QStringLiteral("verrin.test.null"), c.kind, options));
        // A small limit stands in for the real one, far above any reply.
        ApiRequest::setMaxReplyBytes(1024 * 1024);
        ApiRequest request(&manager, c.quiet, &prompter);
        request.setTimeout(c.delayMs > 1000 ? 300 : 10000);
        QString reply;
        const bool done = request.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"), noKey, reply, false);
        ApiRequest::setMaxReplyBytes(ApiRequest::defaultMaxReplyBytes);
        QCOMPARE(done, c.success);
        QCOMPARE(prompter.shown(), c.boxes);
        if (c.reply != QLatin1String("*"))
            QCOMPARE(reply, c.reply);
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
        // The fixture's own client trusts the service: no call reached it.
        QVERIFY(secure.receivedRequests().isEmpty());
    }
};

VERRIN_TEST(TestApiRequest)
#include "TestApiRequest.moc"
