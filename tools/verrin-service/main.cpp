// verrin-service: a local implementation of the Verrin protocol for tests and demos.
#include "FaultTable.h"
#include "MethodHandlers.h"
#include "ServiceStore.h"
#include "VerrinHttpServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QHostAddress>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>

#include <cstdio>

namespace {

int fail(const QString& message)
{
    std::fprintf(stderr, "verrin-service: %s\n", qPrintable(message));
    return 1;
}

bool readFile(const QString& name, QByteArray* bytes, QString* error)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(name, file.errorString());
        return false;
    }
    *bytes = file.readAll();
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("verrin-service"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "A local Verrin service: the protocol's twelve methods over HTTP, with its own SQLite store.\n"
        "Methods are served under http://HOST:PORT/service/. Tests may steer it through /control/:\n"
        "  POST /control/fault          method=NAME|* kind=delay|error|error-bare|http500|reset|close|raw|none\n"
        "                               [ms=N] [times=N] [code=C] [message=M] [body=BYTES]\n"
        "  POST /control/clear-faults   POST /control/expire-tokens\n"
        "  GET  /control/requests       the requests received so far, as JSON\n"
        "  POST /control/clear-requests"));
    parser.addHelpOption();
    const QCommandLineOption portOption(QStringLiteral("port"),
                                        QStringLiteral("Port to listen on; 0 picks a free one."), QStringLiteral("N"),
                                        QStringLiteral("8765"));
    const QCommandLineOption hostOption(QStringLiteral("host"), QStringLiteral("Address to listen on."),
                                        QStringLiteral("ADDRESS"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption seedOption(QStringLiteral("seed"),
                                        QStringLiteral("JSON seed file (users, clients, projects, task lists, "
                                                       "tasks, entries); used when the database is empty."),
                                        QStringLiteral("FILE"));
    const QCommandLineOption dbOption(QStringLiteral("db"), QStringLiteral("SQLite file; in memory when not given."),
                                      QStringLiteral("FILE"));
    const QCommandLineOption tokenOption(QStringLiteral("token-lifetime"),
                                         QStringLiteral("Seconds a sign-in token stays valid."), QStringLiteral("S"),
                                         QStringLiteral("2592000"));
    const QCommandLineOption faultOption(QStringLiteral("fault"),
                                         QStringLiteral("Fault to play, METHOD:KIND[:MS]; may be repeated."),
                                         QStringLiteral("SPEC"));
    const QCommandLineOption certOption(QStringLiteral("tls-cert"),
                                        QStringLiteral("Serve TLS with this PEM certificate."), QStringLiteral("FILE"));
    const QCommandLineOption keyOption(QStringLiteral("tls-key"), QStringLiteral("PEM private key for --tls-cert."),
                                       QStringLiteral("FILE"));
    parser.addOptions({portOption, hostOption, seedOption, dbOption, tokenOption, faultOption, certOption, keyOption});
    parser.process(app);

    bool ok = false;
    const int port = parser.value(portOption).toInt(&ok);
    if (!ok || port < 0 || port > 65535)
        return fail(QStringLiteral("bad port \"%1\"").arg(parser.value(portOption)));
    const QString hostText = parser.value(hostOption);
    const QHostAddress host = hostText.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0
                                  ? QHostAddress(QHostAddress::LocalHost)
                                  : QHostAddress(hostText);
    if (host.isNull())
        return fail(QStringLiteral("bad host address \"%1\"").arg(parser.value(hostOption)));
    const int tokenLifetime = parser.value(tokenOption).toInt(&ok);
    if (!ok || tokenLifetime <= 0)
        return fail(QStringLiteral("bad token lifetime \"%1\"").arg(parser.value(tokenOption)));

    QString error;
    QJsonObject seed;
    if (parser.isSet(seedOption) && !ServiceStore::readSeedFile(parser.value(seedOption), &seed, &error))
        return fail(error);

    ServiceStore store;
    if (!store.open(parser.value(dbOption), &error))
        return fail(error);
    if (parser.isSet(seedOption) && store.isEmpty() && !store.loadSeed(seed, &error))
        return fail(QStringLiteral("bad seed file %1: %2").arg(parser.value(seedOption), error));

    MethodHandlers handlers(store, tokenLifetime);
    VerrinHttpServer server(handlers, store);
    for (const QString& spec : parser.values(faultOption)) {
        QString method;
        Fault fault;
        if (!FaultTable::parseSpec(spec, &method, &fault, &error))
            return fail(error);
        server.faultTable().set(method, fault);
    }

    // Bind our own listener so a port in use is reported rather than silently replaced.
    QTcpServer* listener = nullptr;
    QString scheme = QStringLiteral("http");
    if (parser.isSet(certOption) || parser.isSet(keyOption)) {
        if (!QSslSocket::supportsSsl())
            return fail(QStringLiteral("TLS requested but this Qt has no TLS backend"));
        QByteArray certBytes, keyBytes;
        if (!readFile(parser.value(certOption), &certBytes, &error) ||
            !readFile(parser.value(keyOption), &keyBytes, &error))
            return fail(error);
        const QSslCertificate certificate(certBytes, QSsl::Pem);
        const QSslKey key(keyBytes, QSsl::Rsa, QSsl::Pem);
        if (certificate.isNull())
            return fail(QStringLiteral("%1 holds no PEM certificate").arg(parser.value(certOption)));
        if (key.isNull())
            return fail(QStringLiteral("%1 holds no PEM RSA private key").arg(parser.value(keyOption)));
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(certificate);
        configuration.setPrivateKey(key);
        auto* sslListener = new QSslServer(&server);
        sslListener->setSslConfiguration(configuration);
        listener = sslListener;
        scheme = QStringLiteral("https");
    } else {
        listener = new QTcpServer(&server);
    }
    if (!listener->listen(host, static_cast<quint16>(port)))
        return fail(
            QStringLiteral("cannot listen on %1:%2: %3").arg(host.toString()).arg(port).arg(listener->errorString()));
    server.bind(listener);

    const QString shownHost = host.protocol() == QAbstractSocket::IPv6Protocol
                                  ? QStringLiteral("[%1]").arg(host.toString())
                                  : host.toString();
    std::printf("Listening on %s://%s:%u/service/\n", qPrintable(scheme), qPrintable(shownHost),
                unsigned(listener->serverPort()));
    std::fflush(stdout);
    return app.exec();
}
