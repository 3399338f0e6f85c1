#include "PrivateBus.h"

#include "TestKit.h"

PrivateBus::~PrivateBus()
{
    if (daemon.state() != QProcess::NotRunning) {
        daemon.terminate();
        if (!daemon.waitForFinished(5000)) {
            daemon.kill();
            daemon.waitForFinished(5000);
        }
    }
}

bool PrivateBus::start(QString* whyNot)
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty()) {
        *whyNot = QStringLiteral("dbus-daemon is not installed");
        return false;
    }
    daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address=1"});
    if (!QTest::qWaitFor([&] { return daemon.canReadLine() || daemon.state() == QProcess::NotRunning; }, 10000) ||
        !daemon.canReadLine()) {
        *whyNot = QStringLiteral("dbus-daemon did not start");
        return false;
    }
    busAddress = QString::fromLocal8Bit(daemon.readLine().trimmed());
    return !busAddress.isEmpty();
}

QDBusConnection PrivateBus::connect(const QString& name) const
{
    return QDBusConnection::connectToBus(busAddress, name);
}
