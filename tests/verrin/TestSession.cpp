// The session against the local service: connecting with retries, signing in and out.
#include "ManualClock.h"
#include "ServiceFixture.h"
#include "TestKit.h"
#include "verrin/LoginPrompt.h"
#include "verrin/Session.h"

#include <QQueue>

namespace {

const QString tessIndicator = QStringLiteral("Signed in as Tess Tester <img src=':/icons/res/online.png'>");

// Answers the form from "user|password" (none left: cancel), never remembering; records "user|password|error".
class FakeLoginPrompt : public LoginPrompt
{
public:
    bool run(QString& username, QString& password, bool& /*remember*/, const QString& error) override
    {
        shown << username + QLatin1Char('|') + password + QLatin1Char('|') + error;
        if (answers.isEmpty())
            return false;
        const QStringList answer = answers.dequeue().split(QLatin1Char('|'));
        username = answer.value(0);
        password = answer.value(1);
        return true;
    }

    QQueue<QString> answers;
    QStringList shown;
};

struct Login
{
    QString storedUser;
    QString storedPassword;
    QStringList answers; // of the form
    QStringList forms;   // as the form was shown
    QString passwordAfter;
    QString indicator;           // empty: not signed in
    bool transportFails = false; // the first sign-in call, which the transport tells in a box
};

} // namespace

Q_DECLARE_METATYPE(Login)

class TestSession : public ServiceTest
{
    Q_OBJECT

    QStringList messages;

    // A session on the test's network and prompter whose status messages land in `messages`.
    std::unique_ptr<Session> makeSession(ManualClock* clock = nullptr)
    {
        auto session = std::make_unique<Session>(&manager, &prompter, clock);
        connect(session.get(), &Session::statusMessage, this, [this](const QString& text) { messages << text; });
        return session;
    }

private slots:
    void getApiBaseUrl()
    {
        const struct
        {
            const char* url;
            bool ssl;
            const char* expected;
        } rows[] = {
            {"https://www.verrin.com/service/", false, "http://www.verrin.com/service/"}, // ssl off drops the scheme
            {"HTTPS://Verrin.com/service/", false, "http://Verrin.com/service/"},         // in capitals too
            {"http://127.0.0.1:8765/s/", false, "http://127.0.0.1:8765/s/"},
            {"https://www.verrin.com/service/", true, "https://www.verrin.com/service/"},
        };
        for (const auto& row : rows)
            QCOMPARE(Session::getApiBaseUrl(row.url, row.ssl), QString(row.expected));
    }

    void initNetwork_data()
    {
        QTest::addColumn<int>("failures"); // -1: every attempt fails
        QTest::addColumn<bool>("expected");
        QTest::newRow("answers at once") << 0 << true;
        QTest::newRow("answers on the third attempt") << 2 << true;
        QTest::newRow("never answers") << -1 << false;
    }

    void initNetwork()
    {
        QFETCH(int, failures);
        QFETCH(bool, expected);
        if (failures != 0)
            QVERIFY(service->setFault(QStringLiteral("verrin.test.null"), QStringLiteral("http500"),
                                      {.times = qMax(0, failures)}));
        auto session = makeSession();
        session->setRetryInterval(20);
        QCOMPARE(session->initNetwork(), expected);
        QCOMPARE(session->isNetworkAvailable(), expected);
        QCOMPARE(prompter.shown(), QString()); // connectivity tests are quiet
        QCOMPARE(service->receivedRequests().size(), failures < 0 ? 3 : failures + 1);
    }

    void countdown()
    {
        // The offline line counts down the seconds to the next attempt; when due it says nothing.
        for (int secondsLeft : {1, 0}) {
            messages.clear();
            ManualClock clock;
            auto session = makeSession(&clock);
            session->setRetryTime(clock.now().addSecs(secondsLeft));
            session->onStatusbarUpdateTimer();
            const QString line = QString("Could not connect to Verrin. Working offline. Retrying in %1 sec...");
            QCOMPARE(messages.join('+'), secondsLeft > 0 ? line.arg(secondsLeft) : QString());
        }
    }

    void login_data()
    {
        QTest::addColumn<Login>("c");
        const QString refused = QStringLiteral("Invalid email or password");
        const QString typed = tester + "|" + testerPassword;
        QTest::newRow("nothing stored, not remembered") << Login{"", "", {typed}, {"||"}, "", tessIndicator};
        QTest::newRow("refused twice, then cancelled")
            << Login{"", "", {"a|b", "c|d"}, {"||", "||" + refused, "||" + refused}, "", ""};
        QTest::newRow("no real name shows the user name") << Login{
            "other@verrin.test", "other", {}, {}, "other", "Signed in as other <img src=':/icons/res/online.png'>"};
        // The transport's own box, then the form again with an empty error line.
        QTest::newRow("transport failure")
            << Login{tester, testerPassword, {typed}, {typed + "|"}, testerPassword, tessIndicator, true};
    }

    void login()
    {
        QFETCH(Login, c);
        const bool expected = !c.indicator.isEmpty();
        if (c.transportFails)
            QVERIFY(service->setFault(QStringLiteral("verrin.auth.login"), QStringLiteral("http500"), {.times = 1}));

        storeCredentials(c.storedUser, c.storedPassword);
        FakeLoginPrompt form;
        form.answers.append(c.answers);
        auto session = makeSession();
        QSignalSpy signedIn(session.get(), &Session::signedIn);
        QSignalSpy loggedInChanged(session.get(), &Session::loggedInChanged);
        QSignalSpy indicator(session.get(), &Session::indicatorChanged);

        QCOMPARE(session->login(&form), expected);
        QCOMPARE(form.shown, c.forms);
        QCOMPARE(registry().password(), c.passwordAfter);
        QCOMPARE(session->isLoggedIn(), expected);
        QCOMPARE(registry().isLoggedIn(), expected);
        QCOMPARE(signedIn.count(), expected ? 1 : 0);
        QCOMPARE(loggedInChanged.count(), expected ? 1 : 0);
        QCOMPARE(indicator.isEmpty() ? QString() : indicator.last().at(0).toString(), c.indicator);
        QCOMPARE(prompter.calls.size(), c.transportFails ? 1 : 0);
        QCOMPARE(registry().authToken().isEmpty() || registry().authUser().id.isEmpty(), !expected);
    }

    void logout_data()
    {
        QTest::addColumn<bool>("serviceFails"); // in transport, with a box; the token lives on there
        QTest::newRow("service agrees") << false;
        QTest::newRow("service fails") << true;
    }

    void logout()
    {
        QFETCH(bool, serviceFails);
        storeCredentials();
        auto session = makeSession();
        QVERIFY(session->login(nullptr));
        const QString token = registry().authToken();
        if (serviceFails)
            QVERIFY(service->setFault(QStringLiteral("verrin.auth.logout"), QStringLiteral("http500")));
        session->logout();
        // The session is gone locally whatever the service said; the window's side is TestVerrinController's.
        QVERIFY(!session->isLoggedIn() && !registry().isLoggedIn());
        QVERIFY(registry().authToken().isEmpty() && registry().authUser().id.isEmpty());
        QCOMPARE(prompter.calls.size(), serviceFails ? 1 : 0);

        QVERIFY(service->clearFaults());
        QMap<QString, QVariant> user;
        QCOMPARE(session->checkToken(token, user), serviceFails);
    }
};

QTEST_GUILESS_MAIN(TestSession)
#include "TestSession.moc"
