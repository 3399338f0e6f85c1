// The session against the real local service: connectivity with retries and the quiet watch,
// token checks, sign-in with stored credentials and the login form, sign-out.
#include "FakePrompter.h"
#include "ManualClock.h"
#include "ServiceFixture.h"
#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/LoginPrompt.h"
#include "verrin/Session.h"

#include <QNetworkAccessManager>
#include <QQueue>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString testerEmail = QStringLiteral("tester@verrin.test");
const QString testerPassword = QStringLiteral("p+ss &=w%rd ü/?#");
const QString offlineText = QStringLiteral("Could not connect to Verrin. Working offline.");

// Answers the login form from a queue of "username|password|remember" (an empty queue cancels) and
// records what each form showed as "username|password|error".
class FakeLoginPrompt : public LoginPrompt
{
public:
    bool run(QString& username, QString& password, bool& remember, const QString& error) override
    {
        shown << username + QLatin1Char('|') + password + QLatin1Char('|') + error;
        if (answers.isEmpty())
            return false;
        const QStringList answer = answers.dequeue().split(QLatin1Char('|'));
        username = answer.value(0);
        password = answer.value(1);
        remember = answer.value(2) == QLatin1String("remember");
        return true;
    }

    QQueue<QString> answers;
    QStringList shown;
};

QString boxes(const FakePrompter& prompter)
{
    QStringList shown;
    for (const FakePrompter::Call& call : prompter.calls)
        shown << call.kind + QLatin1Char('|') + call.title + QLatin1Char('|') + call.text;
    return shown.join(QLatin1Char('\n'));
}

Registry& registry()
{
    return *Registry::instance();
}

} // namespace

class TestSession : public QObject
{
    Q_OBJECT

private:
    ServiceFixture* service = nullptr;
    QNetworkAccessManager manager;
    FakePrompter prompter;
    QStringList messages;

    void collectMessages(Session& session)
    {
        connect(&session, &Session::statusMessage, this, [this](const QString& text) { messages << text; });
    }

private slots:
    void initTestCase()
    {
        service = new ServiceFixture();
        QVERIFY2(service->isRunning(), qPrintable(service->error()));
    }

    void cleanupTestCase()
    {
        delete service;
        Registry::drop();
    }

    void init()
    {
        QVERIFY2(service->reset(), qPrintable(service->error()));
        service->pointRegistryHere();
        prompter.calls.clear();
        messages.clear();
    }

    void getApiBaseUrl_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("ssl");
        QTest::addColumn<QString>("expected");

        QTest::newRow("ssl off drops the secure scheme")
            << "https://www.verrin.com/service/" << false << "http://www.verrin.com/service/";
        QTest::newRow("in capitals too") << "HTTPS://Verrin.com/service/" << false << "http://Verrin.com/service/";
        QTest::newRow("plain http stays")
            << "http://127.0.0.1:8765/service/" << false << "http://127.0.0.1:8765/service/";
        QTest::newRow("ssl on keeps everything")
            << "https://www.verrin.com/service/" << true << "https://www.verrin.com/service/";
        QTest::newRow("leading blanks are not a scheme") << " https://x/service/" << false << " https://x/service/";
    }

    void getApiBaseUrl()
    {
        QFETCH(QString, url);
        QFETCH(bool, ssl);
        QFETCH(QString, expected);
        QCOMPARE(Session::getApiBaseUrl(url, ssl), expected);
    }

    void initNetwork_data()
    {
        QTest::addColumn<int>("failures"); // -1: every attempt fails
        QTest::addColumn<bool>("expected");
        QTest::addColumn<QStringList>("expectedMessages");

        const QString connecting = QStringLiteral("Connecting to Verrin...");
        const QString failed = QStringLiteral("Could not connect to Verrin");
        QTest::newRow("answers at once") << 0 << true << QStringList{connecting, "Ready"};
        QTest::newRow("answers on the third attempt")
            << 2 << true << QStringList{connecting, failed, connecting, failed, connecting, "Ready"};
        QTest::newRow("never answers") << -1 << false
                                       << QStringList{connecting, failed, connecting, failed, connecting, offlineText};
    }

    void initNetwork()
    {
        QFETCH(int, failures);
        QFETCH(bool, expected);
        QFETCH(QStringList, expectedMessages);

        ServiceFixture::FaultOptions options;
        options.times = qMax(0, failures);
        if (failures != 0)
            QVERIFY(service->setFault(QStringLiteral("verrin.test.null"), QStringLiteral("http500"), options));
        Session session(&manager, &prompter, nullptr);
        session.setRetryInterval(20);
        collectMessages(session);
        QCOMPARE(session.initNetwork(), expected);
        QCOMPARE(session.isNetworkAvailable(), expected);
        QCOMPARE(messages, expectedMessages);
        QCOMPARE(boxes(prompter), QString()); // connectivity tests are quiet
        QCOMPARE(service->receivedRequests().size(), failures < 0 ? 3 : failures + 1);
    }

    void countdown_data()
    {
        QTest::addColumn<int>("secondsLeft");
        QTest::addColumn<QStringList>("expectedMessages");

        QTest::newRow("30 s") << 30 << QStringList{offlineText + " Retrying in 30 sec..."};
        QTest::newRow("1 s") << 1 << QStringList{offlineText + " Retrying in 1 sec..."};
        QTest::newRow("due now") << 0 << QStringList();
        QTest::newRow("past") << -5 << QStringList();
    }

    void countdown()
    {
        QFETCH(int, secondsLeft);
        QFETCH(QStringList, expectedMessages);

        ManualClock clock;
        Session session(&manager, &prompter, &clock);
        collectMessages(session);
        session.setRetryTime(clock.now().addSecs(secondsLeft));
        session.onStatusbarUpdateTimer();
        QCOMPARE(messages, expectedMessages);
    }

    void watchFollowsTheService()
    {
        service->stop();
        Session session(&manager, &prompter, nullptr);
        session.setRetryInterval(10);
        session.setWatchInterval(20);
        collectMessages(session);
        QSignalSpy available(&session, &Session::serviceAvailable);
        QVERIFY(!session.initNetwork());

        QVERIFY2(service->start(), qPrintable(service->error()));
        QVERIFY(available.wait(10000));
        QVERIFY(session.isNetworkAvailable());
        QCOMPARE(messages.last(), QStringLiteral("Ready"));

        service->stop();
        QTRY_COMPARE_WITH_TIMEOUT(messages.last(), offlineText, 10000);
        QVERIFY(!session.isNetworkAvailable());
        QCOMPARE(available.count(), 1);
        QCOMPARE(boxes(prompter), QString());
    }

    void checkToken_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<QString>("expectedIndicator");

        QTest::newRow("valid") << "valid-token" << true
                               << "Signed in as Tess Tester <img src=':/icons/res/online.png'>";
        QTest::newRow("expired") << "expired-token" << false << "";
        QTest::newRow("unknown") << "made-up" << false << "";
    }

    void checkToken()
    {
        QFETCH(QString, token);
        QFETCH(bool, expected);
        QFETCH(QString, expectedIndicator);

        Session session(&manager, &prompter, nullptr);
        QSignalSpy indicator(&session, &Session::indicatorChanged);
        QMap<QString, QVariant> user;
        QCOMPARE(session.checkToken(token, user), expected);
        QCOMPARE(boxes(prompter), QString()); // refusals are the caller's to handle
        QCOMPARE(indicator.isEmpty() ? QString() : indicator.last().at(0).toString(), expectedIndicator);
        if (expected) {
            QCOMPARE(user.value("id").toString(), QStringLiteral("1"));
            QCOMPARE(user.value("username").toString(), QStringLiteral("tester"));
            QCOMPARE(registry().apiKey(), QStringLiteral("test-api-key"));
        }
    }

    void login_data()
    {
        QTest::addColumn<QString>("storedUser");
        QTest::addColumn<QString>("storedPassword");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<QStringList>("expectedForms");
        QTest::addColumn<QString>("expectedStoredPassword");
        QTest::addColumn<QString>("expectedIndicator");

        const QString refused = QStringLiteral("Invalid email or password");
        const QString tess = QStringLiteral("Signed in as Tess Tester <img src=':/icons/res/online.png'>");
        QTest::newRow("stored credentials, no form")
            << testerEmail << testerPassword << QStringList() << true << QStringList() << testerPassword << tess;
        QTest::newRow("wrong stored password, corrected and remembered")
            << testerEmail << "wrong" << QStringList{testerEmail + "|" + testerPassword + "|remember"} << true
            << QStringList{testerEmail + "|wrong|" + refused} << testerPassword << tess;
        QTest::newRow("nothing stored, not remembered")
            << ""
            << "" << QStringList{testerEmail + "|" + testerPassword + "|"} << true << QStringList{"||"} << "" << tess;
        QTest::newRow("cancelled") << ""
                                   << "" << QStringList() << false << QStringList{"||"} << ""
                                   << "";
        QTest::newRow("refused twice, then cancelled")
            << ""
            << "" << QStringList{"a|b|", "c|d|"} << false << QStringList{"||", "||" + refused, "||" + refused} << ""
            << "";
        QTest::newRow("no real name shows the user name")
            << "other@verrin.test"
            << "other" << QStringList() << true << QStringList() << "other"
            << "Signed in as other <img src=':/icons/res/online.png'>";
    }

    void login()
    {
        QFETCH(QString, storedUser);
        QFETCH(QString, storedPassword);
        QFETCH(QStringList, answers);
        QFETCH(bool, expected);
        QFETCH(QStringList, expectedForms);
        QFETCH(QString, expectedStoredPassword);
        QFETCH(QString, expectedIndicator);

        registry().setUsername(storedUser);
        registry().setPassword(storedPassword);
        FakeLoginPrompt form;
        form.answers.append(answers);
        Session session(&manager, &prompter, nullptr);
        QSignalSpy signedIn(&session, &Session::signedIn);
        QSignalSpy loggedInChanged(&session, &Session::loggedInChanged);
        QSignalSpy indicator(&session, &Session::indicatorChanged);
        collectMessages(session);

        QCOMPARE(session.login(&form), expected);
        QCOMPARE(form.shown, expectedForms);
        QCOMPARE(registry().password(), expectedStoredPassword);
        QCOMPARE(session.isLoggedIn(), expected);
        QCOMPARE(registry().isLoggedIn(), expected);
        QCOMPARE(signedIn.count(), expected ? 1 : 0);
        QCOMPARE(loggedInChanged.count(), expected ? 1 : 0);
        QCOMPARE(indicator.isEmpty() ? QString() : indicator.last().at(0).toString(), expectedIndicator);
        QCOMPARE(messages.last(), QStringLiteral("Ready"));
        QCOMPARE(boxes(prompter), QString());
        if (expected) {
            QVERIFY(!registry().authToken().isEmpty());
            QVERIFY(!registry().authUser().id.isEmpty());
            QVERIFY(messages.contains(QStringLiteral("Loading projects...")));
        }
    }

    void loginAfterTransportFailure()
    {
        ServiceFixture::FaultOptions once;
        once.times = 1;
        QVERIFY(service->setFault(QStringLiteral("verrin.auth.login"), QStringLiteral("http500"), once));
        registry().setUsername(testerEmail);
        registry().setPassword(testerPassword);
        FakeLoginPrompt form;
        form.answers << testerEmail + "|" + testerPassword + "|";
        Session session(&manager, &prompter, nullptr);
        QVERIFY(session.login(&form));
        // The transport's own box, then the form again with an empty error line.
        QCOMPARE(boxes(prompter), QStringLiteral("warn|Network error|The Verrin service failed while handling the "
                                                 "request (HTTP 500, internal server error). Try again later."));
        QCOMPARE(form.shown, QStringList{testerEmail + "|" + testerPassword + "|"});
    }

    void initLogin_data()
    {
        QTest::addColumn<QString>("storedToken");
        QTest::addColumn<int>("expectedForms");
        QTest::addColumn<bool>("tokenKept");

        QTest::newRow("valid token resumes the session") << "valid-token" << 0 << true;
        QTest::newRow("expired token signs in anew") << "expired-token" << 1 << false;
        QTest::newRow("no token") << "" << 1 << false;
    }

    void initLogin()
    {
        QFETCH(QString, storedToken);
        QFETCH(int, expectedForms);
        QFETCH(bool, tokenKept);

        registry().setAuthToken(storedToken);
        FakeLoginPrompt form;
        form.answers << testerEmail + "|" + testerPassword + "|";
        Session session(&manager, &prompter, nullptr);
        QSignalSpy signedIn(&session, &Session::signedIn);
        session.initLogin(&form);

        QCOMPARE(form.shown.size(), expectedForms);
        QVERIFY(session.isLoggedIn());
        QCOMPARE(signedIn.count(), 1);
        QCOMPARE(registry().authToken() == storedToken, tokenKept);
        QCOMPARE(registry().authUser().username, QStringLiteral("tester"));
        QCOMPARE(boxes(prompter), QString());
    }

    void logout_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("expectedBoxes");
        QTest::addColumn<bool>("tokenDeadOnService");

        QTest::newRow("service agrees") << ""
                                        << "" << true;
        QTest::newRow("service fails") << "http500"
                                       << "warn|Network error|The Verrin service failed while handling the request "
                                          "(HTTP 500, internal server error). Try again later."
                                       << false;
        QTest::newRow("service refuses") << "error"
                                         << "critical|Verrin API Error|Code: 99\nMessage: Injected failure" << false;
    }

    void logout()
    {
        QFETCH(QString, fault);
        QFETCH(QString, expectedBoxes);
        QFETCH(bool, tokenDeadOnService);

        registry().setUsername(testerEmail);
        registry().setPassword(testerPassword);
        Session session(&manager, &prompter, nullptr);
        QVERIFY(session.login(nullptr));
        const QString token = registry().authToken();
        if (!fault.isEmpty())
            QVERIFY(service->setFault(QStringLiteral("verrin.auth.logout"), fault));

        QSignalSpy loggedInChanged(&session, &Session::loggedInChanged);
        QSignalSpy signedOut(&session, &Session::signedOut);
        QSignalSpy indicator(&session, &Session::indicatorChanged);
        session.logout();

        // The session is gone locally whatever the service said.
        QVERIFY(!session.isLoggedIn());
        QCOMPARE(registry().isLoggedIn(), false);
        QCOMPARE(registry().authToken(), QString());
        QVERIFY(registry().authUser().id.isEmpty());
        QCOMPARE(loggedInChanged.count(), 1);
        QCOMPARE(loggedInChanged.at(0).at(0).toBool(), false);
        QCOMPARE(signedOut.count(), 1);
        QCOMPARE(indicator.last().at(0).toString(),
                 QStringLiteral("Not signed in <img src=':/icons/res/offline.png'>"));
        QCOMPARE(boxes(prompter), expectedBoxes);

        QVERIFY(service->clearFaults());
        QMap<QString, QVariant> user;
        QCOMPARE(session.checkToken(token, user), !tokenDeadOnService);
    }
};

QTEST_GUILESS_MAIN(TestSession)
#include "TestSession.moc"
