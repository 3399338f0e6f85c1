#pragma once

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>

class Clock;
class LoginPrompt;
class Prompter;
class QNetworkAccessManager;

// The connection to the service and the one signed-in session: the start-up connectivity test with
// its retries and countdown, the quiet watch that notices the service coming back, signing in with
// stored credentials or the login form, checking a stored token, and signing out. The sign-in state
// lives in the Registry (authToken(), authUser(), isLoggedIn(), apiKey()) where other parts read it;
// the window learns about changes through the signals.
class Session : public QObject
{
    Q_OBJECT

public:
    Session(QNetworkAccessManager* manager, Prompter* prompter, Clock* clock, QObject* parent = nullptr);

    // The effective base URL: without SSL an "https://" address (any case) is reached over "http://".
    static QString getApiBaseUrl(const QString& url, bool sslEnabled);
    // Installs the application-wide proxy from the registry's proxy settings.
    static void applyProxy();

    // Pauses; the defaults are 30 s between start-up attempts, a 1 s countdown tick and 5 min between
    // the watch's quiet tests. Tests shorten them.
    void setRetryInterval(int ms) { retryIntervalMs = ms; }
    void setCountdownInterval(int ms) { countdownIntervalMs = ms; }
    void setWatchInterval(int ms);

    // Proxy, then up to three quiet connectivity tests, the later ones after a pause with a countdown
    // in the status bar; networkChecked() tells the outcome. The user interface stays live in the
    // pauses. Then a quiet watch keeps testing: losing the service shows the offline text, and when
    // it answers again while nobody is signed in, serviceAvailable() asks for a sign-in.
    void startNetwork();
    // startNetwork, waiting for the outcome in a local event loop; returns whether the service
    // answered. False at once when the program quits meanwhile.
    bool initNetwork();
    // One quiet connectivity test; sets and returns networkAvailable.
    bool networkTest();
    bool isNetworkAvailable() const { return networkAvailable; }
    bool isLoggedIn() const { return loggedIn; }

    // At start-up: resume the stored token or sign in through `prompt`.
    void initLogin(LoginPrompt* prompt);
    // Signs in, first with stored credentials when there are both, then through `prompt` until it
    // succeeds or the user cancels. Returns whether signed in.
    bool login(LoginPrompt* prompt);
    bool apiLogin(const QString& email, const QString& password, QString& token, QMap<QString, QVariant>& user,
                  QString& error);
    bool checkToken(const QString& token, QMap<QString, QVariant>& user);
    // Drops the session locally whatever the service answers.
    void logout();
    // The service said the token has run out: signs in again with the stored credentials, else asks
    // once through `prompt`; signed out when that fails too.
    void renew(LoginPrompt* prompt);
    bool apiLogout(const QString& token);

    static QString signedInIndicator(const QMap<QString, QVariant>& user);
    static QString signedOutIndicator();

    // When the next start-up attempt is due; the countdown counts down to it.
    QDateTime retryTime() const { return retryAt; }
    void setRetryTime(const QDateTime& when) { retryAt = when; }

signals:
    // Text for the status bar, shown until replaced.
    void statusMessage(const QString& text);
    // Rich text for the sign-in indicator of the status bar.
    void indicatorChanged(const QString& html);
    // Signed in (login action off, logout action on) or signed out (the reverse).
    void loggedInChanged(bool loggedIn);
    // A sign-in succeeded: time to load the projects catalogue.
    void signedIn();
    // Signed out: the projects tree is to be cleared.
    void signedOut();
    // The start-up connectivity tests are over: the service answered, or it did not after three tries.
    void networkChecked(bool available);
    // The service answers again after being unreachable: time to sign in (initLogin).
    void serviceAvailable();

public slots:
    void onStatusbarUpdateTimer();

private slots:
    void onWatchTimer();
    void nextAttempt();

private:
    void setSignedIn(const QString& token, const QMap<QString, QVariant>& user);

    QNetworkAccessManager* manager;
    Prompter* prompter;
    Clock* clock;
    bool networkAvailable = false;
    bool loggedIn = false;
    QDateTime retryAt;
    int retryIntervalMs = 30000;
    int countdownIntervalMs = 1000;
    int attempt = 0;
    QTimer retryTimer;
    QTimer countdownTimer;
    QTimer watchTimer;
    bool watching = false;
};
