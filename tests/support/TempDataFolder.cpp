#include "TempDataFolder.h"

#include <QDir>
#include <QFile>
#include <QSettings>

TempDataFolder::TempDataFolder() : oldDataHome(qgetenv("XDG_DATA_HOME")), oldRuntimeDir(qgetenv("XDG_RUNTIME_DIR"))
{
    QDir(dir.path()).mkpath(QStringLiteral("data"));
    QDir(dir.path()).mkpath(QStringLiteral("runtime"));
    QFile::setPermissions(dir.path() + QStringLiteral("/runtime"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_DATA_HOME", QFile::encodeName(dir.path() + QStringLiteral("/data")));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(dir.path() + QStringLiteral("/runtime")));
}

TempDataFolder::~TempDataFolder()
{
    qputenv("XDG_DATA_HOME", oldDataHome);
    qputenv("XDG_RUNTIME_DIR", oldRuntimeDir);
}

QString TempDataFolder::dataFolder() const
{
    return dir.path() + QStringLiteral("/data/VerrinPlus");
}

void TempDataFolder::writeSettings(const QVariantMap& keys) const
{
    QDir().mkpath(dataFolder());
    QSettings ini(dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
    ini.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
    ini.setValue(QStringLiteral("Application/Started"), false);
    for (auto it = keys.begin(); it != keys.end(); ++it) {
        ini.setValue(it.key(), it.value());
    }
}
