#include "ApiRequest.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "verrin/ServiceXml.h"

#include <QDebug>
#include <QEventLoop>
#include <QHash>
#include <QNetworkAccessManager>
#include <QTimer>
#include <QUrl>

namespace {

int startingTimeout = ApiRequest::defaultTimeoutMs;
qint64 replyLimit = ApiRequest::defaultMaxReplyBytes;

// A request body that can be read once only. The network stack silently sends a request again when
// a connection drops before the answer; for a POST that creates a time entry that books the time
// twice. A body that cannot be rewound turns that resend into an error the caller sees instead.
class OneShotBody : public QIODevice
{
public:
    explicit OneShotBody(const QByteArray& data) : data(data) { open(QIODevice::ReadOnly); }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return data.size() - offset + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char* out, qint64 max) override
    {
        const qint64 count = qMin(max, qint64(data.size()) - offset);
        memcpy(out, data.constData() + offset, size_t(count));
        offset += count;
        return count;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray data;
    qint64 offset = 0;
};

} // namespace

ApiRequest::ApiRequest(QNetworkAccessManager* manager, bool quiet, Prompter* prompter)
    : manager(manager), timeout(startingTimeout), quiet(quiet), prompter(prompter)
{
}

void ApiRequest::setTimeout(int ms)
{
    timeout = ms;
}

void ApiRequest::setDefaultTimeout(int ms)
{
    startingTimeout = ms;
}

void ApiRequest::setMaxReplyBytes(qint64 bytes)
{
    replyLimit = bytes;
}

QByteArray ApiRequest::encodeParams(const Params& params)
{
    QByteArray encoded;
    for (const auto& param : params) {
        if (!encoded.isEmpty())
            encoded += '&';
        encoded += QUrl::toPercentEncoding(param.first) + '=' + QUrl::toPercentEncoding(param.second);
    }
    return encoded;
}

QNetworkRequest ApiRequest::methodRequest(const QString& apiMethod, const QString& verb, const Params& params,
                                          QByteArray* body)
{
    QUrl url(Registry::instance()->apiBaseUrl() + apiMethod);
    const QByteArray encoded = encodeParams(params);
    if (verb.compare(QLatin1String("post"), Qt::CaseInsensitive) == 0) {
        QNetworkRequest request(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
        if (body)
            *body = encoded;
        return request;
    }
    if (!encoded.isEmpty())
        url.setQuery(QString::fromLatin1(encoded), QUrl::StrictMode);
    if (body)
        body->clear();
    return QNetworkRequest(url);
}

ApiRequest::Params ApiRequest::sessionCredentials()
{
    const Registry* registry = Registry::instance();
    return {{QStringLiteral("api_key"), registry->apiKey()}, {QStringLiteral("auth_token"), registry->authToken()}};
}

bool ApiRequest::call(const QString& apiMethod, const QString& verb, const Params& params, QString& reply,
                      bool callerChecksApiErrors)
{
    QByteArray body;
    QNetworkRequest request = methodRequest(apiMethod, verb, params, &body);
    return makeRequest(request, verb, body, reply, callerChecksApiErrors);
}

bool ApiRequest::makeRequest(QNetworkRequest& request, const QString& method, const QByteArray& data, QString& reply,
                             bool callerChecksApiErrors)
{
    success = true;
    lastNetworkError = 0;
    timeoutHit = false;
    lastApiCode.clear();
    lastApiMessage.clear();
    reply.clear();
    const QString verb = method.toLower();
    request.setRawHeader(QByteArrayLiteral("User-Agent"), Registry::instance()->userAgent().toUtf8());
    if (!manager) {
        qWarning() << "api request without a network manager";
        return success = false;
    }

    QNetworkReply* networkReply = nullptr;
    if (verb == QLatin1String("post")) {
        // A kept-alive connection may have been closed by the server meanwhile; sent on it, the request
        // would fail without telling whether it arrived. A fresh connection either reaches the service
        // or is refused outright, and the caller knows which.
        manager->clearConnectionCache();
        auto* body = new OneShotBody(data);
        request.setHeader(QNetworkRequest::ContentLengthHeader, data.size());
        request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
        networkReply = manager->post(request, body);
        body->setParent(networkReply);
    } else {
        networkReply = manager->get(request);
    }

    QEventLoop loop;
    connect(networkReply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    connect(networkReply, &QNetworkReply::errorOccurred, &loop, &QEventLoop::quit);
    connect(networkReply, &QNetworkReply::errorOccurred, this, &ApiRequest::onError);
    connect(networkReply, &QNetworkReply::sslErrors, &loop, &QEventLoop::quit);
    connect(networkReply, &QNetworkReply::sslErrors, this, &ApiRequest::onSslErrors);
    // No real reply comes near the limit; a larger one is not read, so it cannot exhaust memory.
    replyTooLarge = false;
    connect(networkReply, &QNetworkReply::downloadProgress, this, [this, networkReply](qint64 received, qint64) {
        if (received > replyLimit && !replyTooLarge) {
            replyTooLarge = true;
            networkReply->abort();
        }
    });

    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(&timer, &QTimer::timeout, this, &ApiRequest::onTimeout);
    timer.start(timeout);

    if (!networkReply->isFinished())
        loop.exec();
    timer.stop();
    if (replyTooLarge && success) {
        // Everything came at once before the abort could stop it; it is refused all the same.
        onError(QNetworkReply::OperationCanceledError);
    }

    if (success) {
        QByteArray bytes = networkReply->readAll();
        // The service's text ends at a zero byte; anything after it is not part of the reply.
        const qsizetype zero = bytes.indexOf('\0');
        if (zero >= 0)
            bytes.truncate(zero);
        reply = QString::fromLatin1(bytes);
        QString code;
        QString message;
        const bool refused = isError(reply, code, message);
        if (refused) {
            lastApiCode = code;
            lastApiMessage = message;
        }
        if (refused && !callerChecksApiErrors) {
            success = false;
            qWarning().noquote() << "api error: code" << code << "message" << message;
            if (prompter)
                prompter->critical(QStringLiteral("Verrin API Error"),
                                   QStringLiteral("Code: ") + code + QStringLiteral("\nMessage: ") + message);
        }
    }

    // Abandon a request still under way (time-out) without its cancellation counting as a failure.
    disconnect(networkReply, nullptr, this, nullptr);
    disconnect(networkReply, nullptr, &loop, nullptr);
    // A reply that already failed is over; aborting it again only makes Qt complain.
    if (!networkReply->isFinished() && networkReply->error() == QNetworkReply::NoError)
        networkReply->abort();
    networkReply->deleteLater();
    return success;
}

bool ApiRequest::isError(const QString& xml, QString& code, QString& message)
{
    if (xml.isEmpty())
        return false;
    QDomDocument document;
    QString parseError;
    if (!servicexml::load(xml, document, &parseError)) {
        qDebug().noquote() << "reply not parsed:" << parseError;
        return false;
    }
    const QDomElement root = document.documentElement();
    if (root.attribute(QStringLiteral("status")) != QLatin1String("error"))
        return false;
    const QDomNodeList errors = root.elementsByTagName(QStringLiteral("error"));
    if (!errors.isEmpty()) {
        const QDomElement error = errors.at(0).toElement();
        code = error.attribute(QStringLiteral("code"));
        // The text was read as 8-bit characters; the message is UTF-8 underneath.
        message = servicexml::decode8Bit(error.attribute(QStringLiteral("message")));
    }
    return true;
}

QString ApiRequest::networkErrorMessage(int code)
{
    static const QHash<int, QString> messages = {
        {0, QStringLiteral("No error condition.")},
        {1, QStringLiteral("The remote server refused the connection.")},
        {2, QStringLiteral("The remote server closed the connection prematurely, before the entire reply was "
                           "received and processed.")},
        {3, QStringLiteral("The remote host name was not found.")},
        {4, QStringLiteral("The connection to the remote server timed out.")},
        {5, QStringLiteral("The operation was canceled via calls to abort() or close() before it was finished.")},
        {6, QStringLiteral("The SSL/TLS handshake failed and the encrypted channel could not be established.")},
        {99, QStringLiteral("An unknown network-related error was detected.")},
        {101, QStringLiteral("The connection to the proxy server was refused.")},
        {102, QStringLiteral("The proxy server closed the connection prematurely, before the entire reply was "
                             "received and processed.")},
        {103, QStringLiteral("The proxy host name was not found.")},
        {104, QStringLiteral("The connection to the proxy timed out or the proxy did not reply in time to the "
                             "request sent.")},
        {105, QStringLiteral("The proxy requires authentication in order to honour the request but did not accept "
                             "any credentials offered.")},
        {199, QStringLiteral("An unknown proxy-related error was detected.")},
        {201, QStringLiteral("The access to the remote content was denied.")},
        {202, QStringLiteral("The operation requested on the remote content is not permitted.")},
        {203, QStringLiteral("The remote content was not found at the server.")},
        {204, QStringLiteral("The remote server requires authentication to serve the content but the credentials "
                             "provided were not accepted.")},
        {205, QStringLiteral("The request needed to be sent again, but this failed for example because the upload "
                             "data could not be read a second time.")},
        {299, QStringLiteral("An unknown error related to the remote content was detected.")},
        {401, QStringLiteral("The Verrin service failed while handling the request (HTTP 500, internal server "
                             "error). Try again later.")},
        {402, QStringLiteral("The Verrin service does not support this request (HTTP 501).")},
        {403, QStringLiteral("The Verrin service is unavailable at the moment (HTTP 503). Try again later.")},
        {499, QStringLiteral("The Verrin service answered with an unexpected server error.")},
        {301, QStringLiteral("The Network Access API cannot honor the request because the protocol is not known.")},
        {302, QStringLiteral("The requested operation is invalid for this protocol.")},
        {399, QStringLiteral("A breakdown in protocol was detected (parsing error, invalid or unexpected responses, "
                             "etc.).")},
    };
    return messages.value(code, QString::number(code));
}

void ApiRequest::onError(QNetworkReply::NetworkError code)
{
    qDebug() << "on error. code:" << int(code);
    success = false;
    lastNetworkError = int(code);
    const QString message =
        replyTooLarge ? QStringLiteral("The Verrin service sent an answer larger than %1 MiB; it was not read.")
                            .arg(replyLimit / (1024 * 1024))
                      : networkErrorMessage(int(code));
    if (!quiet && prompter)
        prompter->warn(QStringLiteral("Network error"), message);
    qWarning().noquote() << "network error:" << message;
}

void ApiRequest::onSslErrors(const QList<QSslError>& errors)
{
    qDebug() << "on ssl errors";
    for (const QSslError& error : errors)
        qDebug().noquote() << "  " << error.errorString();
    // Not ignored: the connection is not trusted, so the call fails.
    success = false;
}

void ApiRequest::onTimeout()
{
    // "Network Error" with a capital E here, unlike transport errors: the program always said so.
    if (!quiet && prompter)
        prompter->warn(QStringLiteral("Network Error"), QStringLiteral("Connection Timeout"));
    qDebug() << "on timeout";
    timeoutHit = true;
    success = false;
}

void ApiRequest::onFinished()
{
    qDebug() << "on finished";
}

void ApiRequest::onDownloadProgress(qint64 received, qint64 total)
{
    qDebug() << "on download progress. received" << received << ", total:" << total;
}

void ApiRequest::onUploadProgress(qint64 sent, qint64 total)
{
    qDebug() << "on upload progress. sent:" << sent << ", total:" << total;
}
