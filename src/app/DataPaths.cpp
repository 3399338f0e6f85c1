#include "app/DataPaths.h"

#include <QDir>
#include <QStandardPaths>

namespace DataPaths {

namespace {
QString inDataLocation(const QString& relative)
{
    return QDir::toNativeSeparators(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + relative);
}
} // namespace

QString dataFolder()
{
    return inDataLocation(QStringLiteral("/VerrinPlus"));
}

QString iniFile()
{
    return inDataLocation(QStringLiteral("/VerrinPlus/verrinplus.ini"));
}

QString databaseFile()
{
    return inDataLocation(QStringLiteral("/VerrinPlus/verrinplus.sqlite"));
}

QString debugLogFile()
{
    return inDataLocation(QStringLiteral("/VerrinPlus/debug.log"));
}

} // namespace DataPaths
