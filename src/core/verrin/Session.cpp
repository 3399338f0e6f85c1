#include "Session.h"

#include "app/Clock.h"
#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/LoginPrompt.h"
#include "verrin/ServiceXml.h"

#include <QDebug>
#include <QEventLoop>
#include <QNetworkProxy>

namespace {

Registry& registry()
{
    return *Registry::instance();
}

// Reads the root element of an "ok" reply; false (with a log line) for anything else.
bool okRoot(const QString& reply, QDomDocument* document, QDomElement* root)
{
    if (reply.isEmpty())
        return false;
    QString error;
    if (!servicexml::load(reply, *document, &error)) {
        qWarning().noquote() << "service reply not understood:" << error;
        return false;
    }
    *root = document->documentElement();
    return root->attribute(QStringLiteral("status")) == QLatin1String("ok");
}

QMap<QString, QVariant> userFrom(const QDomElement& root)
{
    const QDomElement user = root.firstChildElement(QStringLiteral("user"));
    return {{QStringLiteral("id"), user.attribute(QStringLiteral("id"))},
            {QStringLiteral("username"), servicexml::decode8Bit(user.attribute(QStringLiteral("username")))},
            {QStringLiteral("realname"), servicexml::decode8Bit(user.attribute(QStringLiteral("realname")))}};
}

void takeApiKey(const QDomElement& root)
{
    const QDomElement key = root.firstChildElement(QStringLiteral("api_key"));
    if (!key.isNull())
        registry().setApiKey(key.text());
}

} // namespace

Session::Session(QNetworkAccessManager* manager, Prompter* prompter, Clock* clock, QObject* parent)
    : QObject(parent), manager(manager), prompter(prompter), clock(clock ? clock : SystemClock::shared())
{
    watchTimer.setInterval(5 * 60 * 1000);
    connect(&watchTimer, &QTimer::timeout, this, &Session::onWatchTimer);
    retryTimer.setSingleShot(true);
    connect(&retryTimer, &QTimer::timeout, this, &Session::nextAttempt);
    connect(&countdownTimer, &QTimer::timeout, this, &Session::onStatusbarUpdateTimer);
}

void Session::setWatchInterval(int ms)
{
    watchTimer.setInterval(ms);
}

QString Session::getApiBaseUrl(const QString& url, bool sslEnabled)
{
    if (sslEnabled)
        return url;
    if (!url.startsWith(QLatin1String("https://"), Qt::CaseInsensitive))
        return url;
    return QStringLiteral("http://") + url.mid(8);
}

void Session::applyProxy()
{
    QNetworkProxy proxy;
    if (registry().proxyEnabled()) {
        proxy.setType(QNetworkProxy::HttpProxy);
        proxy.setHostName(registry().proxyHost());
        proxy.setPort(quint16(registry().proxyPort().toInt()));
    } else {
        proxy.setType(QNetworkProxy::NoProxy);
    }
    QNetworkProxy::setApplicationProxy(proxy);
}

void Session::startNetwork()
{
    applyProxy();
    retryTimer.stop();
    attempt = 0;
    nextAttempt();
}

void Session::nextAttempt()
{
    countdownTimer.stop();
    ++attempt;
    emit statusMessage(QStringLiteral("Connecting to Verrin..."));
    qDebug() << "connecting...";
    if (networkTest()) {
        emit statusMessage(QStringLiteral("Ready"));
        watchTimer.start();
        emit networkChecked(true);
        return;
    }
    if (attempt == 3) {
        emit statusMessage(QStringLiteral("Could not connect to Verrin. Working offline."));
        // Offline is not final: keep testing quietly and sign in once the service answers.
        watchTimer.start();
        emit networkChecked(false);
        return;
    }
    emit statusMessage(QStringLiteral("Could not connect to Verrin"));
    countdownTimer.start(countdownIntervalMs);
    retryAt = clock->now().addMSecs(retryIntervalMs);
    retryTimer.start(retryIntervalMs);
}

bool Session::initNetwork()
{
    QEventLoop loop;
    bool finished = false;
    const QMetaObject::Connection done = connect(this, &Session::networkChecked, &loop, [&] {
        finished = true;
        loop.quit();
    });
    startNetwork();
    if (!finished)
        loop.exec();
    disconnect(done);
    if (!finished) {
        // The program is quitting (its exit ends every running loop): no more attempts.
        retryTimer.stop();
        countdownTimer.stop();
        qDebug() << "connection attempts abandoned";
    }
    return finished && networkAvailable;
}

void Session::onStatusbarUpdateTimer()
{
    const qint64 seconds = clock->now().secsTo(retryAt);
    if (seconds < 1)
        return;
    emit statusMessage(
        QStringLiteral("Could not connect to Verrin. Working offline. Retrying in %1 sec...").arg(seconds));
}

void Session::onWatchTimer()
{
    // A test runs a nested event loop; a tick arriving meanwhile must not start a second one.
    if (watching)
        return;
    watching = true;
    const bool wasAvailable = networkAvailable;
    const bool available = networkTest();
    watching = false;
    if (available == wasAvailable)
        return;
    if (!available) {
        qDebug() << "service no longer reachable";
        emit statusMessage(QStringLiteral("Could not connect to Verrin. Working offline."));
        return;
    }
    qDebug() << "service reachable again";
    emit statusMessage(QStringLiteral("Ready"));
    if (!loggedIn)
        emit serviceAvailable();
}

bool Session::networkTest()
{
    ApiRequest request(manager, true, prompter);
    QString reply;
    const bool ok = request.call(QStringLiteral("verrin.test.null"), QStringLiteral("get"),
                                 {{QStringLiteral("api_key"), registry().apiKey()}}, reply, true);
    QDomDocument document;
    QDomElement root;
    networkAvailable = ok && okRoot(reply, &document, &root);
    return networkAvailable;
}

void Session::initLogin(LoginPrompt* prompt)
{
    const QString token = registry().authToken();
    registry().setLoggedIn(false);
    loggedIn = false;
    if (!token.isEmpty()) {
        QMap<QString, QVariant> user;
        if (checkToken(token, user)) {
            setSignedIn(token, user);
        } else {
            qDebug() << "auth token not valid";
            registry().setAuthToken(QString());
        }
    }
    if (!loggedIn) {
        login(prompt);
        return;
    }
    emit statusMessage(QStringLiteral("Loading projects..."));
    emit signedIn();
}

bool Session::login(LoginPrompt* prompt)
{
    emit statusMessage(QStringLiteral("Signing in..."));
    QString error;
    bool success = false;
    for (int attempt = 0; !success; ++attempt) {
        QString username = registry().username();
        QString password = registry().password();
        if (attempt > 0 || username.isEmpty() || password.isEmpty()) {
            bool remember = false;
            if (!prompt || !prompt->run(username, password, remember, error))
                break;
            if (remember) {
                registry().setUsername(username);
                registry().setPassword(password);
            }
        }
        QString token;
        QMap<QString, QVariant> user;
        error.clear();
        success = apiLogin(username, password, token, user, error);
        if (success)
            setSignedIn(token, user);
    }
    if (success) {
        emit statusMessage(QStringLiteral("Loading projects..."));
        emit signedIn();
    }
    emit statusMessage(QStringLiteral("Ready"));
    return success;
}

void Session::setSignedIn(const QString& token, const QMap<QString, QVariant>& user)
{
    loggedIn = true;
    registry().setLoggedIn(true);
    registry().setAuthToken(token);
    registry().setAuthUser(ServiceUser{user.value(QStringLiteral("id")).toString(),
                                       user.value(QStringLiteral("username")).toString(),
                                       user.value(QStringLiteral("realname")).toString()});
    emit loggedInChanged(true);
}

bool Session::apiLogin(const QString& email, const QString& password, QString& token, QMap<QString, QVariant>& user,
                       QString& error)
{
    emit statusMessage(QStringLiteral("Signing into Verrin..."));
    qDebug().noquote() << "login, username =" << email;
    ApiRequest request(manager, false, prompter);
    QString reply;
    const bool ok =
        request.call(QStringLiteral("verrin.auth.login"), QStringLiteral("get"),
                     {{QStringLiteral("email"), email}, {QStringLiteral("password"), password}}, reply, true);
    QDomDocument document;
    QDomElement root;
    if (ok && okRoot(reply, &document, &root)) {
        takeApiKey(root);
        token = root.firstChildElement(QStringLiteral("token")).text();
        user = userFrom(root);
        emit indicatorChanged(signedInIndicator(user));
        emit statusMessage(QStringLiteral("Ready"));
        return true;
    }
    QString code;
    request.isError(reply, code, error);
    emit statusMessage(QStringLiteral("Ready"));
    return false;
}

bool Session::checkToken(const QString& token, QMap<QString, QVariant>& user)
{
    emit statusMessage(QStringLiteral("Verifying session..."));
    qDebug().noquote() << "check token" << token;
    ApiRequest request(manager, false, prompter);
    QString reply;
    const bool ok = request.call(QStringLiteral("verrin.auth.checkToken"), QStringLiteral("get"),
                                 {{QStringLiteral("auth_token"), token}}, reply, true);
    QDomDocument document;
    QDomElement root;
    if (!ok || !okRoot(reply, &document, &root))
        return false;
    takeApiKey(root);
    user = userFrom(root);
    emit indicatorChanged(signedInIndicator(user));
    emit statusMessage(QStringLiteral("Ready"));
    return true;
}

void Session::renew(LoginPrompt* prompt)
{
    registry().setAuthToken(QString());
    initLogin(prompt);
    if (loggedIn) {
        return;
    }
    // Not signed in again: the session ends as a sign-out would, without asking the service to forget
    // a token it no longer knows.
    registry().setAuthUser(ServiceUser());
    registry().setLoggedIn(false);
    emit loggedInChanged(false);
    emit signedOut();
    emit indicatorChanged(signedOutIndicator());
    emit statusMessage(QStringLiteral("The Verrin session has expired. Log in again to link time."));
}

void Session::logout()
{
    apiLogout(registry().authToken());
    registry().setAuthToken(QString());
    registry().setAuthUser(ServiceUser());
    registry().setLoggedIn(false);
    loggedIn = false;
    emit loggedInChanged(false);
    emit signedOut();
    emit indicatorChanged(signedOutIndicator());
}

bool Session::apiLogout(const QString& token)
{
    emit statusMessage(QStringLiteral("Signing out from Verrin..."));
    ApiRequest request(manager, false, prompter);
    QString reply;
    request.call(QStringLiteral("verrin.auth.logout"), QStringLiteral("get"),
                 {{QStringLiteral("api_key"), registry().apiKey()}, {QStringLiteral("auth_token"), token}}, reply,
                 false);
    emit statusMessage(QStringLiteral("Ready"));
    return servicexml::status(reply) == QLatin1String("ok");
}

QString Session::signedInIndicator(const QMap<QString, QVariant>& user)
{
    QString name = user.value(QStringLiteral("realname")).toString();
    if (name.isEmpty())
        name = user.value(QStringLiteral("username")).toString();
    return QStringLiteral("Signed in as ") + name + QStringLiteral(" <img src=':/icons/res/online.png'>");
}

QString Session::signedOutIndicator()
{
    return QStringLiteral("Not signed in <img src=':/icons/res/offline.png'>");
}
