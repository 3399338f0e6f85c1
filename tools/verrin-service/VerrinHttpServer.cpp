#include "VerrinHttpServer.h"

#include <QHttpServerRequest>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

namespace {

const QByteArray xmlType = QByteArrayLiteral("text/xml; charset=utf-8");
const QByteArray textType = QByteArrayLiteral("text/plain; charset=utf-8");

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 400:
        return QByteArrayLiteral("Bad Request");
    case 404:
        return QByteArrayLiteral("Not Found");
    case 500:
        return QByteArrayLiteral("Internal Server Error");
    default:
        return QByteArrayLiteral("Status");
    }
}

QByteArray headerValue(const QHttpServerRequest& request, const QByteArray& name)
{
    for (const auto& header : request.headers()) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QByteArray();
}

QString verbOf(const QHttpServerRequest& request)
{
    switch (request.method()) {
    case QHttpServerRequest::Method::Get:
        return QStringLiteral("GET");
    case QHttpServerRequest::Method::Post:
        return QStringLiteral("POST");
    default:
        return QStringLiteral("OTHER");
    }
}

} // namespace

VerrinHttpServer::VerrinHttpServer(MethodHandlers& handlers, ServiceStore& store, QObject* parent)
    : QAbstractHttpServer(parent), handlers(handlers), store(store)
{
}

QList<QPair<QByteArray, QByteArray>> VerrinHttpServer::decodeForm(const QByteArray& text)
{
    QList<QPair<QByteArray, QByteArray>> pairs;
    if (text.isEmpty())
        return pairs;
    for (const QByteArray& part : text.split('&')) {
        if (part.isEmpty())
            continue;
        const qsizetype eq = part.indexOf('=');
        QByteArray name = eq < 0 ? part : part.left(eq);
        QByteArray value = eq < 0 ? QByteArray() : part.mid(eq + 1);
        name.replace('+', ' ');
        value.replace('+', ' ');
        pairs.append({QByteArray::fromPercentEncoding(name), QByteArray::fromPercentEncoding(value)});
    }
    return pairs;
}

void VerrinHttpServer::send(QTcpSocket* socket, int status, const QByteArray& contentType, const QByteArray& body)
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    head += "Content-Type: " + contentType + "\r\n";
    head += "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
    socket->write(head + body);
}

bool VerrinHttpServer::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket)
{
    const QString path = request.url().path();
    static const QString servicePrefix = QStringLiteral("/service/");
    static const QString controlPrefix = QStringLiteral("/control/");
    if (path.startsWith(servicePrefix)) {
        serveMethod(path.mid(servicePrefix.size()), request, socket);
        return true;
    }
    if (path.startsWith(controlPrefix)) {
        serveControl(path.mid(controlPrefix.size()), request, socket);
        return true;
    }
    return false;
}

void VerrinHttpServer::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket)
{
    send(socket, 404, textType, "No such path: " + request.url().path().toUtf8() + '\n');
}

void VerrinHttpServer::record(const QString& method, const QHttpServerRequest& request, const ServiceCall& call)
{
    QJsonArray params;
    for (const auto& param : call.params)
        params.append(QJsonArray{param.first, param.second});
    received.append(QJsonObject{
        {QStringLiteral("method"), method},
        {QStringLiteral("verb"), call.verb},
        {QStringLiteral("query"), request.url().query(QUrl::FullyEncoded)},
        {QStringLiteral("body"), QString::fromLatin1(request.body())},
        {QStringLiteral("contentType"), QString::fromLatin1(headerValue(request, "Content-Type"))},
        {QStringLiteral("userAgent"), QString::fromLatin1(headerValue(request, "User-Agent"))},
        {QStringLiteral("params"), params},
    });
}

void VerrinHttpServer::serveMethod(const QString& method, const QHttpServerRequest& request, QTcpSocket* socket)
{
    ServiceCall call;
    call.method = method;
    call.verb = verbOf(request);
    // A GET carries its parameters in the query, a POST in the form body.
    const QByteArray encoded =
        call.verb == QLatin1String("POST") ? request.body() : request.url().query(QUrl::FullyEncoded).toLatin1();
    for (const auto& pair : decodeForm(encoded))
        call.params.append({QString::fromUtf8(pair.first), QString::fromUtf8(pair.second)});
    record(method, request, call);

    const Fault fault = faults.take(method);
    if (fault.kind == Fault::Kind::None || fault.kind == Fault::Kind::Delay || fault.afterHandling) {
        // Unknown methods are refused like any other bad call, in the protocol's own terms.
        const QByteArray reply = handlers.handle(call);
        playFault(fault, reply, socket);
        return;
    }
    playFault(fault, QByteArray(), socket);
}

void VerrinHttpServer::playFault(const Fault& fault, const QByteArray& normalReply, QTcpSocket* socket)
{
    QPointer<QTcpSocket> target(socket);
    auto act = [fault, normalReply, target]() {
        if (!target)
            return; // the client gave up while we waited
        switch (fault.kind) {
        case Fault::Kind::None:
        case Fault::Kind::Delay:
            send(target, 200, xmlType, normalReply);
            break;
        case Fault::Kind::Error:
            send(target, 200, xmlType,
                 MethodHandlers::errorReply(fault.code.isEmpty() ? QStringLiteral("99") : fault.code,
                                            fault.message.isEmpty() ? QStringLiteral("Injected failure")
                                                                    : fault.message));
            break;
        case Fault::Kind::BareError:
            send(target, 200, xmlType, MethodHandlers::bareErrorReply());
            break;
        case Fault::Kind::Http500:
            send(target, 500, textType, QByteArrayLiteral("Internal Server Error\n"));
            break;
        case Fault::Kind::Reset:
            target->abort();
            break;
        case Fault::Kind::Close:
            target->disconnectFromHost();
            break;
        case Fault::Kind::Raw:
            send(target, 200, xmlType, fault.body);
            break;
        }
    };
    if (fault.delayMs > 0)
        QTimer::singleShot(fault.delayMs, this, act);
    else
        act();
}

void VerrinHttpServer::serveControl(const QString& command, const QHttpServerRequest& request, QTcpSocket* socket)
{
    const QList<QPair<QByteArray, QByteArray>> form = decodeForm(
        request.method() == QHttpServerRequest::Method::Post ? request.body()
                                                             : request.url().query(QUrl::FullyEncoded).toLatin1());
    auto field = [&form](const char* name) {
        for (const auto& pair : form) {
            if (pair.first == name)
                return pair.second;
        }
        return QByteArray();
    };

    if (command == QLatin1String("requests")) {
        send(socket, 200, "application/json", QJsonDocument(received).toJson(QJsonDocument::Compact));
    } else if (command == QLatin1String("clear-requests")) {
        received = QJsonArray();
        send(socket, 200, textType, "ok\n");
    } else if (command == QLatin1String("fault")) {
        Fault fault;
        const QString method = QString::fromUtf8(field("method"));
        if (method.isEmpty() || !Fault::parseKind(QString::fromUtf8(field("kind")), &fault.kind)) {
            send(socket, 400, textType, "fault needs method and a known kind\n");
            return;
        }
        fault.delayMs = field("ms").toInt();
        fault.remaining = field("times").toInt();
        fault.afterHandling = field("after") == "1";
        fault.code = QString::fromUtf8(field("code"));
        fault.message = QString::fromUtf8(field("message"));
        fault.body = field("body");
        faults.set(method, fault);
        send(socket, 200, textType, "ok\n");
    } else if (command == QLatin1String("clear-faults")) {
        faults.clear();
        send(socket, 200, textType, "ok\n");
    } else if (command == QLatin1String("expire-tokens")) {
        store.expireAllTokens();
        send(socket, 200, textType, "ok\n");
    } else {
        send(socket, 404, textType, "unknown control command\n");
    }
}
