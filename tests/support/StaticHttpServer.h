#pragma once

#include <QByteArray>
#include <QTcpServer>
#include <QUrl>

// A tiny HTTP server on 127.0.0.1 that answers every request with one fixed reply, for clients
// that fetch a single document (such as the update feed).
class StaticHttpServer : public QTcpServer
{
    Q_OBJECT
public:
    explicit StaticHttpServer(QObject* parent = nullptr);

    bool start() { return listen(QHostAddress::LocalHost, 0); }
    QUrl url(const QString& path = QStringLiteral("/appcast.xml")) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
    }

    // A negative status keeps every connection open without ever answering.
    void setReply(int newStatus, const QByteArray& newBody, const QByteArray& newContentType = "application/xml")
    {
        status = newStatus;
        body = newBody;
        contentType = newContentType;
    }
    int requestCount() const { return requests; }
    QByteArray lastRequest() const { return lastRequestText; }

private:
    void answer();

    int status = 200;
    QByteArray body;
    QByteArray contentType;
    int requests = 0;
    QByteArray lastRequestText;
};
