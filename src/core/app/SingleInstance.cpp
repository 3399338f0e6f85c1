#include "app/SingleInstance.h"

#include "app/DataFolderLock.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTextStream>
#include <QTimer>

#include <algorithm>

namespace {
constexpr int kConnectTimeoutMs = 2000;
constexpr int kRunInWindowMs = 30 * 60 * 1000;
constexpr int kRetryWhileBusyMs = 200;
const QByteArray kShowCommand = QByteArrayLiteral("show\n");
} // namespace

SingleInstance::SingleInstance(const QString& dataFolder, QObject* parent)
    : QObject(parent), name(DataFolderLock::socketFor(dataFolder)), lock(std::make_unique<DataFolderLock>(dataFolder))
{
}

bool SingleInstance::windowIsRunning(const QString& dataFolder)
{
    QLocalSocket socket;
    socket.connectToServer(DataFolderLock::socketFor(dataFolder));
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
    // Nobody answers yet: a window that took the lock a moment ago and is about to listen, or a
    // command-line run (rules, a check) linking on this folder, which ends by itself. Ask again
    // between waits, so a starting window is found as soon as it listens.
    qWarning() << "Waiting for another VerrinPlus run on this data folder to finish";
    const QDeadlineTimer deadline(waitForRunMs);
    do {
        if (lock->tryLock(std::min<qint64>(kRetryWhileBusyMs, deadline.remainingTime()))) {
            listen();
            return true;
        }
        if (notifyRunningInstance()) {
            return false;
        }
    } while (!deadline.hasExpired());
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
                while (socket->canReadLine()) {
                    handleLine(socket, QString::fromUtf8(socket->readLine()).trimmed());
                }
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

SingleInstance::Request SingleInstance::parseLine(const QString& line)
{
    Request request;
    if (line == QLatin1String("show")) {
        request.kind = Request::Show;
        return request;
    }
    // "run COMMAND FROM TO": a command-line run hands its work to this window, the folder's one writer.
    const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() != 4 || words.at(0) != QLatin1String("run")) {
        return request;
    }
    request.kind = Request::Run;
    request.command = words.at(1);
    request.from = QDate::fromString(words.at(2), Qt::ISODate);
    request.to = QDate::fromString(words.at(3), Qt::ISODate);
    return request;
}

void SingleInstance::handleLine(QLocalSocket* socket, const QString& line)
{
    const Request request = parseLine(line);
    if (request.kind == Request::Show) {
        emit activationRequested();
    } else if (request.kind == Request::Run) {
        runHandedOver(QPointer<QLocalSocket>(socket), request.command, request.from, request.to);
    }
}

void SingleInstance::runHandedOver(QPointer<QLocalSocket> target, const QString& command, const QDate& from,
                                   const QDate& to)
{
    // Run outside the socket's signal: the work waits for the service in local event loops.
    QTimer::singleShot(kRetryWhileBusyMs, this, [this, target, command, from, to] {
        if (!target) {
            return;
        }
        QString outText;
        QString errText;
        int status = 1;
        {
            QTextStream out(&outText);
            QTextStream err(&errText);
            if (commandHandler && from.isValid() && to.isValid()) {
                status = commandHandler(command, from, to, out, err);
            } else {
                err << "verrinplus: the open VerrinPlus cannot run this" << Qt::endl;
            }
        }
        if (status == kBusy) {
            // The window is linking right now; the run follows when it is done, never beside it.
            runHandedOver(target, command, from, to);
            return;
        }
        if (!target) {
            return;
        }
        QByteArray reply;
        for (const QString& text : outText.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            reply += "out " + text.toUtf8() + '\n';
        }
        for (const QString& text : errText.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            reply += "err " + text.toUtf8() + '\n';
        }
        reply += "exit " + QByteArray::number(status) + '\n';
        target->write(reply);
        target->flush();
        target->disconnectFromServer();
    });
}

bool SingleInstance::runInWindow(const QString& dataFolder, const QString& command, const QDate& from, const QDate& to,
                                 QTextStream& out, QTextStream& err, int* exitCode)
{
    QLocalSocket socket;
    socket.connectToServer(DataFolderLock::socketFor(dataFolder));
    if (!socket.waitForConnected(kConnectTimeoutMs)) {
        return false;
    }
    socket.write(
        QStringLiteral("run %1 %2 %3\n").arg(command, from.toString(Qt::ISODate), to.toString(Qt::ISODate)).toUtf8());
    // A long range of rules may take a while; the window keeps the socket open until it is done.
    const QDeadlineTimer deadline(kRunInWindowMs);
    while (!deadline.hasExpired()) {
        while (socket.canReadLine()) {
            const QString line = QString::fromUtf8(socket.readLine()).chopped(1);
            if (line.startsWith(QLatin1String("out "))) {
                out << line.mid(4) << Qt::endl;
            } else if (line.startsWith(QLatin1String("err "))) {
                err << line.mid(4) << Qt::endl;
            } else if (line.startsWith(QLatin1String("exit "))) {
                *exitCode = line.mid(5).toInt();
                return true;
            }
        }
        if (socket.state() != QLocalSocket::ConnectedState && socket.bytesAvailable() == 0) {
            break;
        }
        socket.waitForReadyRead(int(qMin<qint64>(deadline.remainingTime(), 1000)));
    }
    err << "verrinplus: the open VerrinPlus did not finish the run" << Qt::endl;
    *exitCode = 1;
    return true;
}
