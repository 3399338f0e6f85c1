// ApiRequest against the local service: the wire, replies, refusals and every transport failure.
#include "ServiceFixture.h"
#include "TestKit.h"
#include "TestTools.h"
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
    const char* method;
    const char* verb;
    Params params;
    const char* sentAs; // "GET" or "POST"; null: the service refuses the call
};

struct Fault
{
    const char* kind;
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

    // The caller checks the reply: no box for a refusal.
    QString call(const QString& method, const QString& verb, const Params& params, bool* ok)
    {
        ApiRequest request(&manager, false, &prompter);
        QString reply;
        *ok = request.call(method, verb, params, reply, true);
        return reply;
    }

private slots:
    void calls_data()
    {
        QTest::addColumn<Call>("c");
        const auto row = [](const char* name, const char* method, const char* verb, const Params& params,
                            const char* sentAs) {
            QTest::newRow(name) << Call{method, verb, params, sentAs};
        };
        row("get with text to encode", "verrin.auth.login", "get",
            {{"email", "tester@verrin.test"}, {"password", "p+ss &=w%rd ü/?#"}}, "GET");
        row("post with text to encode", "verrin.tasks.add", "post",
            withSession({{"name", "Café & co\nline two"}, {"project_id", "10"}, {"tasklist_id", "100"}}), "POST");
        row("capitals still post", "verrin.tasks.update", "POST", withSession({{"task_id", "1011"}}), "POST");
        // The refusals that box are faults().
        row("wrong password", "verrin.auth.login", "get", {{"email", "tester@verrin.test"}, {"password", "nope"}},
            nullptr);
    }

    void calls()
    {
        QFETCH(Call, c);
        bool ok = false;
        // Even a refused call hands its text to the caller.
        const QString status = servicexml::status(call(c.method, c.verb, c.params, &ok));
        QCOMPARE(status, QString(c.sentAs ? "ok" : "error"));
        QVERIFY(ok);
        QCOMPARE(prompter.shown(), QString());
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
        // The parameters travel in the body of a POST only, in the query of a GET only.
        const bool post = QLatin1String(c.sentAs) == QLatin1String("POST");
        QCOMPARE(seen.value(post ? "query" : "body").toString(), QString());
        if (post)
            QCOMPARE(seen.value("contentType").toString(), QStringLiteral("application/x-www-form-urlencoded"));
    }

    void faults_data()
    {
        QTest::addColumn<Fault>("c");
        const auto row = [](const char* name, const char* kind, const QByteArray& body, int delayMs, bool quiet,
                            bool success, const QString& reply, const QString& boxes) {
            QTest::newRow(name) << Fault{kind, body, delayMs, quiet, success, reply, boxes};
        };
        row("error with code and UTF-8 message", "error", {}, 0, false, false, "*",
            apiBox.arg("42", "Böse Überraschung"));
        row("error without an error element", "error-bare", {}, 0, false, false, "*", apiBox.arg("", ""));
        row("first error element, deeper down", "raw",
            "<rsp status=\"error\"><x><error code=\"7\" message=\"deep\"/></x><error code=\"8\"/></rsp>", 0, false,
            false, "*", apiBox.arg("7", "deep"));
        row("error element of an ok reply", "raw", "<rsp status=\"ok\"><error code=\"1\"/></rsp>", 0, false, true, "*",
            "");
        row("HTTP 500 is told as the service failing", "http500", {}, 0, false, false, "",
            netBox + "The Verrin service failed while handling the request (HTTP 500, internal server error). Try "
                     "again later.");
        row("answer over the size limit", "raw", "<rsp status=\"ok\">" + QByteArray(2 * 1024 * 1024, 'x') + "</rsp>", 0,
            false, false, "", netBox + "The Verrin service sent an answer larger than 1 MiB; it was not read.");
        row("connection reset, quiet", "reset", {}, 0, true, false, "", "");
        row("time-out", "delay", {}, 5000, false, false, "", "warn|Network Error|Connection Timeout");
        row("time-out, quiet", "delay", {}, 5000, true, false, "", "");
        row("zero byte cuts the text", "raw", QByteArray("<rsp status=\"ok\">A</rsp>\0<rsp status=\"error\"/>", 45), 0,
            false, true, "<rsp status=\"ok\">A</rsp>", "");
        row("not XML is no error here", "raw", "<rsp status=\"error\"><error code='1'", 0, false, true,
            "<rsp status=\"error\"><error code='1'", "");
    }

    void faults()
    {
        QFETCH(Fault, c);
        QVERIFY(service->setFault(QStringLiteral("verrin.test.null"), c.kind,
                                  {.ms = c.delayMs, .code = "42", .message = "Böse Überraschung", .body = c.body}));
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
        // A self-signed certificate for 127.0.0.1.
        QTemporaryDir folder;
        QVERIFY(
            runTool("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
                                "-keyout", folder.filePath("key.pem"), "-out", folder.filePath("cert.pem")}));
        ServiceFixture secure({"--tls-cert", folder.filePath("cert.pem"), "--tls-key", folder.filePath("key.pem")});
        QVERIFY2(secure.isRunning(), qPrintable(secure.error()));
        registry().setApiBaseUrl(secure.baseUrl());
        // Not quiet: an untrusted certificate fails the call without a box of its own.
        bool ok = true;
        QCOMPARE(call("verrin.test.null", "get", noKey, &ok), QString());
        QVERIFY(!ok);
        QCOMPARE(prompter.shown(), QString());
        // The fixture's own client trusts the service: no call reached it.
        QVERIFY(secure.receivedRequests().isEmpty());
    }
};

VERRIN_TEST(TestApiRequest)
#include "TestApiRequest.moc"
