#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QString>

// A D-Bus session bus of a test's own, ended by the destructor, so tests never meet the real session.
class PrivateBus
{
public:
    ~PrivateBus();

    bool start(QString* whyNot);
    QString address() const { return busAddress; }
    // A connection of its own to this bus under `name` (one per name and process).
    QDBusConnection connect(const QString& name) const { return QDBusConnection::connectToBus(busAddress, name); }

private:
    QProcess daemon;
    QString busAddress;
};
