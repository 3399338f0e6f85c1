#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPair>
#include <QSslError>
#include <QString>

class Prompter;
class QNetworkAccessManager;

// One blocking call of a service method. The call waits in a local event loop, so the interface
// stays live, until the reply finishes, fails, meets SSL errors or runs out of time; transport
// failures and the service's own refusals are reported to the user through the prompter unless
// the request is quiet. Lives on the caller's stack for one call.
class ApiRequest : public QObject
{
    Q_OBJECT

public:
    // Parameters of a method call, in the order they go on the wire.
    using Params = QList<QPair<QString, QString>>;

    static constexpr int defaultTimeoutMs = 20000;
    // Far above the largest catalogue; a reply beyond it fails the call with a clear message.
    static constexpr qint64 defaultMaxReplyBytes = 64 * 1024 * 1024;

    // `prompter` may be null: failures are then only logged.
    ApiRequest(QNetworkAccessManager* manager, bool quiet, Prompter* prompter = nullptr);

    void setTimeout(int ms);
    int getTimeout() const { return timeout; }
    // Time-out every new request starts with; tests shorten it for classes that make their own requests.
    static void setDefaultTimeout(int ms);
    // For tests of the limit.
    static void setMaxReplyBytes(qint64 bytes);

    // Sends `request` ("post" in any case posts `data`, any other word is a GET) and waits.
    // `reply` receives the reply text up to its first zero byte. A status "error" reply fails the
    // call with a "Verrin API Error" box, unless `callerChecksApiErrors` (then it is the caller's).
    bool makeRequest(QNetworkRequest& request, const QString& method, const QByteArray& data, QString& reply,
                     bool callerChecksApiErrors);

    // True when the reply's root has status "error"; code and message come from its first "error"
    // element (empty when there is none). Text that is not XML is no error here.
    bool isError(const QString& xml, QString& code, QString& message);

    // The wire format: the method name appended to Registry::apiBaseUrl(); for "get" the
    // parameters as the URL query, for "post" as a form-encoded body in `body`.
    static QNetworkRequest methodRequest(const QString& apiMethod, const QString& verb, const Params& params,
                                         QByteArray* body);
    // "name=value" pairs joined by "&"; every byte of a UTF-8 value other than letters, digits and
    // "-._~" is percent-encoded, so "+", "&" and "=" in a password survive any form decoder.
    static QByteArray encodeParams(const Params& params);

    // "api_key" and "auth_token" of the signed-in session (Registry::apiKey(), authToken()), the
    // first two parameters of every call made on the user's behalf.
    static Params sessionCredentials();

    // methodRequest + makeRequest.
    bool call(const QString& apiMethod, const QString& verb, const Params& params, QString& reply,
              bool callerChecksApiErrors);

    // The user-facing text for a transport error; the decimal code for one not in the table.
    static QString networkErrorMessage(int code);

    // How the last call ended, for callers that must tell a refusal from a lost answer: the transport
    // error (0 for none), whether it ran out of time, and the code of a status "error" reply.
    int networkError() const { return lastNetworkError; }
    bool timedOut() const { return timeoutHit; }
    QString apiErrorCode() const { return lastApiCode; }
    QString apiErrorMessage() const { return lastApiMessage; }

public slots:
    void onError(QNetworkReply::NetworkError code);
    void onSslErrors(const QList<QSslError>& errors);
    void onTimeout();
    void onFinished();
    void onDownloadProgress(qint64 received, qint64 total);
    void onUploadProgress(qint64 sent, qint64 total);

private:
    QNetworkAccessManager* manager;
    int timeout;
    bool success = true;
    bool quiet;
    Prompter* prompter;
    int lastNetworkError = 0;
    bool timeoutHit = false;
    bool replyTooLarge = false;
    QString lastApiCode;
    QString lastApiMessage;
};
