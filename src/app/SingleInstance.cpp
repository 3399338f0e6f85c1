#include "app/SingleInstance.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {
constexpr int kConnectTimeoutMs = 2000;
const QByteArray kShowCommand = QByteArrayLiteral("show\n");
} // namespace

SingleInstance::SingleInstance(const QString& dataFolder, QObject* parent) : QObject(parent)
{
    const QByteArray hash =
        QCryptographicHash::hash(QDir::cleanPath(dataFolder).toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    name = QStringLiteral("verrinplus-") + QString::fromLatin1(hash);
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::claim()
{
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty()) {
        runtime = QDir::tempPath();
    }
    QDir().mkpath(runtime);
    lock = std::make_unique<QLockFile>(runtime + QLatin1Char('/') + name + QStringLiteral(".lock"));
    // A lock left by a crashed instance is taken over: QLockFile checks whether its process is alive.
    lock->setStaleLockTime(0);
    if (lock->tryLock(0)) {
        listen();
        return true;
    }
    if (lock->error() != QLockFile::LockFailedError) {
        // The lock cannot be written at all (read-only runtime folder): better to run than to refuse.
        qWarning() << "Could not check for another running VerrinPlus:" << lock->fileName();
        listen();
        return true;
    }
    if (!notifyRunningInstance()) {
        qWarning() << "Another VerrinPlus is running on this data folder but did not answer";
    }
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
