#include "app/UnixSignalWatcher.h"

#include <QDebug>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The handler may only write to a descriptor; the event loop reads the other end.
int signalPipe[2] = {-1, -1};
constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
} // namespace

UnixSignalWatcher::UnixSignalWatcher(QObject* parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) {
        qWarning() << "Could not watch for termination signals";
        return;
    }
    ::fcntl(signalPipe[0], F_SETFL, O_NONBLOCK);
    ::fcntl(signalPipe[1], F_SETFL, O_NONBLOCK);
    notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &UnixSignalWatcher::readSignal);

    struct sigaction action = {};
    action.sa_handler = &UnixSignalWatcher::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int sig : kSignals) {
        ::sigaction(sig, &action, nullptr);
    }
}

UnixSignalWatcher::~UnixSignalWatcher()
{
    for (int sig : kSignals) {
        ::signal(sig, SIG_DFL);
    }
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void UnixSignalWatcher::handle(int signalNumber)
{
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] ssize_t written = ::write(signalPipe[0], &byte, 1);
}

void UnixSignalWatcher::readSignal()
{
    unsigned char byte = 0;
    while (::read(signalPipe[1], &byte, 1) == 1) {
        qDebug() << "Received signal" << int(byte) << "- shutting down";
        pending = true;
        emit terminationRequested(int(byte));
    }
}
