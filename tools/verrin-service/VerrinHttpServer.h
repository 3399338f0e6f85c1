#pragma once

#include "FaultTable.h"
#include "MethodHandlers.h"

#include <QAbstractHttpServer>
#include <QJsonArray>

class QTcpSocket;

// Serves the protocol under /service/<method> and a small control surface for tests under
// /control/: set and clear faults, read back the requests as they arrived, expire tokens.
class VerrinHttpServer : public QAbstractHttpServer
{
    Q_OBJECT

public:
    explicit VerrinHttpServer(MethodHandlers& handlers, ServiceStore& store, QObject* parent = nullptr);

    FaultTable& faultTable() { return faults; }

    // Form and query decoding as the service sees it: "+" is a blank, %XX a byte, order kept.
    static QList<QPair<QByteArray, QByteArray>> decodeForm(const QByteArray& text);

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    void serveMethod(const QString& method, const QHttpServerRequest& request, QTcpSocket* socket);
    void serveControl(const QString& command, const QHttpServerRequest& request, QTcpSocket* socket);
    void playFault(const Fault& fault, const QByteArray& normalReply, QTcpSocket* socket);
    void record(const QString& method, const QHttpServerRequest& request, const ServiceCall& call);

    static void send(QTcpSocket* socket, int status, const QByteArray& contentType, const QByteArray& body);

    MethodHandlers& handlers;
    ServiceStore& store;
    FaultTable faults;
    QJsonArray received;
};
