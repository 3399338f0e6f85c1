#include "PrivateBus.h"

#include "TestKit.h"
#include "WaylandTestWindows.h"

PrivateBus::~PrivateBus()
{
    endProcess(daemon);
}

bool PrivateBus::start(QString* whyNot)
{
    daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address=1"});
    if (!QTest::qWaitFor([&] { return daemon.canReadLine() || daemon.state() == QProcess::NotRunning; }, 10000) ||
        !daemon.canReadLine()) {
        *whyNot = QStringLiteral("dbus-daemon did not start (is it installed?)");
        return false;
    }
    busAddress = QString::fromLocal8Bit(daemon.readLine().trimmed());
    return !busAddress.isEmpty();
}
