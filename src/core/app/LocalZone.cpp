#include "app/LocalZone.h"

#include <QFileInfo>

#include <ctime>

namespace {
const char* const kZoneFile = "/etc/localtime";
bool managing = false;
QString lastSeen;

QString fingerprint()
{
    const QFileInfo file(QString::fromLatin1(kZoneFile));
    return file.symLinkTarget() + QLatin1Char('|') + file.lastModified().toString(Qt::ISODateWithMs) +
           QLatin1Char('|') + QString::number(file.size());
}
} // namespace

namespace LocalZone {

void readOnce()
{
    if (qEnvironmentVariableIsSet("TZ")) {
        return;
    }
    managing = true;
    lastSeen = fingerprint();
    qputenv("TZ", QByteArray(":") + kZoneFile);
    tzset();
}

bool followChanges()
{
    if (!managing) {
        return false;
    }
    const QString now = fingerprint();
    if (now == lastSeen) {
        return false;
    }
    lastSeen = now;
    // Unset, the C library reads the file afresh; set again, it stops looking.
    qunsetenv("TZ");
    tzset();
    qputenv("TZ", QByteArray(":") + kZoneFile);
    tzset();
    return true;
}

} // namespace LocalZone
