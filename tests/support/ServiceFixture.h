#pragma once

#include "FakePrompter.h"
#include "TestKit.h"
#include "app/Registry.h"

#include <QNetworkAccessManager>
#include <QUrl>

// The built verrin-service on 127.0.0.1 with a throwaway database, and its control surface.
class ServiceFixture
{
public:
    struct FaultOptions
    {
        int ms = 0;    // delay before the fault (or the normal reply) is played
        int times = 0; // 0 = every call until cleared
        QString code{};
        QString message{};
        QByteArray body{};  // the reply of a "raw" fault, sent as it is
        bool after = false; // carry the call out, then play the fault
    };

    // The service with the test seed; extraArguments go on its command line.
    explicit ServiceFixture(const QStringList& extraArguments = {});
    ~ServiceFixture() { stop(); }

    // False, with the reason in error(), when the service did not come up.
    bool isRunning() const { return process.state() == QProcess::Running && listenPort != 0; }
    QString error() const { return lastError; }
    // "http://127.0.0.1:PORT/service/" (https with TLS).
    QString baseUrl() const { return base; }
    // Stops the service; start() brings it back on the same port with the same database.
    void stop();
    bool start();

    // kind: delay, error, error-bare, http500, reset, close, raw, none. method "*" means every method.
    bool setFault(const QString& method, const QString& kind, const FaultOptions& options);
    bool setFault(const QString& method, const QString& kind) { return setFault(method, kind, FaultOptions()); }
    bool clearFaults() { return control("clear-faults"); }
    bool expireTokens() { return control("expire-tokens"); }
    // Calls so far, oldest first: "method", "verb", "query", "body", "contentType", "userAgent", "params".
    QJsonArray receivedRequests();
    // The value of `name` in each call of `method` received so far, oldest first.
    QStringList sentValues(const QString& method, const QString& name);
    bool clearRequests() { return control("clear-requests"); }
    // Running again if a test stopped it, no faults, no requests remembered.
    bool reset();
    // A fresh registry that reaches this service, as the settings of a signed-out program would.
    void pointRegistryHere() const;

private:
    bool control(const char* command, const QByteArray& form = {}, QByteArray* reply = nullptr);

    QTemporaryDir dataDir;
    QStringList extraArgs;
    QProcess process;
    QString base;
    quint16 listenPort = 0;
    QString lastError;
};

// One service per test class, reset before each case with the registry pointed at it.
class ServiceTest : public QObject
{
    Q_OBJECT

protected:
    virtual void initCase() {}
    virtual void initEach() {}
    virtual void cleanupEach() {}
    // Calls of `method` the service received since the case began.
    int callsOf(const QString& method) { return service->sentValues(method, QString()).size(); }
    static Registry& registry() { return *Registry::instance(); }
    // The seeded user's sign-in, stored as the settings of a signed-out program keep it.
    static void storeCredentials(const QString& user = tester, const QString& password = testerPassword)
    {
        registry().setUsername(user);
        registry().setPassword(password);
    }
    static inline const QString tester = QStringLiteral("tester@verrin.test");
    static inline const QString testerPassword = QStringLiteral("p+ss &=w%rd ü/?#");

    std::unique_ptr<ServiceFixture> service;
    QNetworkAccessManager manager;
    FakePrompter prompter;

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup() { cleanupEach(); }
};
