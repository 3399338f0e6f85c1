#include "app/SingleInstance.h"

#include "app/DataFolderLock.h"

#include <QDebug>
#include <QLocalServer>
#include <QLocalSocket>

namespace {
constexpr int kConnectTimeoutMs = 2000;
const QByteArray kShowCommand = QByteArrayLiteral("show\n");
} // namespace

SingleInstance::SingleInstance(const QString& dataFolder, QObject* parent)
    : QObject(parent), name(DataFolderLock::nameFor(dataFolder)), lock(std::make_unique<DataFolderLock>(dataFolder))
{
}

bool SingleInstance::windowIsRunning(const QString& dataFolder)
{
    QLocalSocket socket;
    socket.connectToServer(DataFolderLock::nameFor(dataFolder));
    return socket.waitForConnected(kConnectTimeoutMs);
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::claim(int waitForRunMs)
{
    if (lock->tryLock(0)) {
        listen();
        return true;
    }
    if (!lock->canLock()) {
        // The lock cannot be written at all (read-only runtime folder): better to run than to refuse.
        qWarning() << "Could not check for another running VerrinPlus:" << name;
        listen();
        return true;
    }
    if (notifyRunningInstance()) {
        return false;
    }
    // Nobody answers: a command-line run (rules, a check) is linking on this folder. It ends by itself.
    qWarning() << "Waiting for another VerrinPlus run on this data folder to finish";
    if (lock->tryLock(waitForRunMs)) {
        listen();
        return true;
    }
    qWarning() << "Another VerrinPlus is running on this data folder but did not answer";
    return false;
}

bool SingleInstance::notifyRunningInstance()
{
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(kConnectTimeoutMs)) {
        return false;
    }
    socket.write(kShowCommand);
    const bool written = socket.waitForBytesWritten(kConnectTimeoutMs);
    socket.disconnectFromServer();
    return written;
}

void SingleInstance::listen()
{
    server = new QLocalServer(this);
    server->setSocketOptions(QLocalServer::UserAccessOption);
    // A socket file left by a crashed instance would make listen() fail.
    QLocalServer::removeServer(name);
    if (!server->listen(name)) {
        qWarning() << "Could not listen for other starts of VerrinPlus:" << server->errorString();
        return;
    }
    connect(server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (socket->readAll().contains("show")) {
                    emit activationRequested();
                }
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}
