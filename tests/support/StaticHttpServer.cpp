#include "StaticHttpServer.h"

#include <QTcpSocket>

StaticHttpServer::StaticHttpServer(QObject* parent) : QTcpServer(parent)
{
    connect(this, &QTcpServer::newConnection, this, &StaticHttpServer::answer);
}

void StaticHttpServer::answer()
{
    while (QTcpSocket* socket = nextPendingConnection()) {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
            lastRequestText += socket->readAll();
            if (!lastRequestText.contains("\r\n\r\n"))
                return;
            ++requests;
            if (status < 0)
                return;
            QByteArray reply = "HTTP/1.1 " + QByteArray::number(status) + " X\r\n";
            reply += "Content-Type: " + contentType + "\r\n";
            reply += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
            reply += "Connection: close\r\n\r\n" + body;
            socket->write(reply);
            socket->disconnectFromHost();
        });
    }
}
