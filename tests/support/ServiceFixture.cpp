#include "ServiceFixture.h"

#include "TestTools.h"

#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

const int startLimitMs = 15000;
const int controlLimitMs = 10000;

QByteArray formPair(const char* name, const QByteArray& value)
{
    return QByteArray(name) + '=' + value.toPercentEncoding();
}

} // namespace

ServiceFixture::ServiceFixture(const QStringList& extraArguments) : extraArgs(extraArguments)
{
    start();
}

bool ServiceFixture::start()
{
    if (process.state() != QProcess::NotRunning)
        return isRunning();
    const QStringList args{"--host", "127.0.0.1",
                           "--port", QString::number(listenPort),
                           "--db",   dataDir.filePath("service.sqlite"),
                           "--seed", QStringLiteral(VERRIN_SERVICE_SEEDS "/test-seed.json")};
    process.start(QStringLiteral(VERRIN_SERVICE_BINARY), args + extraArgs);
    process.waitForStarted(startLimitMs);
    // The first line on stdout names the address once the service listens.
    const QString line = QString::fromUtf8(waitForLine(process, startLimitMs));
    static const QString prefix = QStringLiteral("Listening on ");
    const int port = QUrl(line.mid(prefix.size())).port();
    if (!line.startsWith(prefix) || port <= 0) {
        lastError = QStringLiteral("verrin-service did not come up: [%1] %2 %3")
                        .arg(line, process.errorString(), QString::fromLocal8Bit(process.readAllStandardError()));
        stop();
        return false;
    }
    base = line.mid(prefix.size());
    listenPort = quint16(port);
    return true;
}

void ServiceFixture::stop()
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished(startLimitMs);
}

bool ServiceFixture::control(const char* command, const QByteArray& form, QByteArray* reply)
{
    if (!isRunning())
        return false;
    QUrl url(base);
    url.setPath(QStringLiteral("/control/") + QLatin1String(command));
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
    QNetworkAccessManager manager;
    QNetworkReply* networkReply = manager.post(request, form);
    // The control surface may run over TLS with a self-signed certificate: it is our own.
    QObject::connect(networkReply, &QNetworkReply::sslErrors, networkReply,
                     [networkReply](const QList<QSslError>&) { networkReply->ignoreSslErrors(); });
    QSignalSpy finished(networkReply, &QNetworkReply::finished);
    if (!networkReply->isFinished())
        finished.wait(controlLimitMs);
    const bool ok = networkReply->isFinished() && networkReply->error() == QNetworkReply::NoError;
    if (ok && reply)
        *reply = networkReply->readAll();
    if (!ok)
        lastError = QStringLiteral("control %1 failed: %2").arg(QLatin1String(command), networkReply->errorString());
    return ok; // the manager takes its reply with it
}

bool ServiceFixture::setFault(const QString& method, const QString& kind, const FaultOptions& options)
{
    // The service takes an empty field as one not given.
    const QByteArrayList form{formPair("method", method.toUtf8()),
                              formPair("kind", kind.toUtf8()),
                              formPair("ms", QByteArray::number(options.ms)),
                              formPair("times", QByteArray::number(options.times)),
                              formPair("code", options.code.toUtf8()),
                              formPair("message", options.message.toUtf8()),
                              formPair("body", options.body),
                              formPair("after", options.after ? "1" : "")};
    return control("fault", form.join('&'));
}

QJsonArray ServiceFixture::receivedRequests()
{
    QByteArray json; // stays empty, so no calls, if the service cannot be asked
    control("requests", QByteArray(), &json);
    return QJsonDocument::fromJson(json).array();
}

QStringList ServiceFixture::sentValues(const QString& method, const QString& name)
{
    QStringList values;
    for (const QJsonValue& request : receivedRequests()) {
        if (request.toObject().value(QStringLiteral("method")).toString() != method)
            continue;
        QString value;
        for (const QJsonValue& pair : request.toObject().value(QStringLiteral("params")).toArray()) {
            if (pair.toArray().at(0).toString() == name)
                value = pair.toArray().at(1).toString();
        }
        values << value;
    }
    return values;
}

bool ServiceFixture::reset()
{
    return (isRunning() || start()) && clearFaults() && clearRequests();
}

void ServiceFixture::pointRegistryHere() const
{
    Registry::drop();
    Registry::instance()->setApiBaseUrl(base);
    Registry::instance()->setUserAgent(QStringLiteral("VerrinPlus/1.0.10 Linux"));
}

void ServiceTest::initTestCase()
{
    service = std::make_unique<ServiceFixture>();
    QVERIFY2(service->isRunning(), qPrintable(service->error()));
    initCase();
}

void ServiceTest::cleanupTestCase()
{
    service.reset();
    Registry::drop();
}

void ServiceTest::init()
{
    QVERIFY2(service->reset(), qPrintable(service->error()));
    service->pointRegistryHere();
    prompter = FakePrompter();
    initEach();
}
