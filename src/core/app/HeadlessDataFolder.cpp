#include "app/HeadlessDataFolder.h"

#include "app/CredentialStore.h"
#include "app/DataPaths.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"

#include <QFileInfo>
#include <QSettings>

bool HeadlessDataFolder::readSettings(QString* error)
{
    const QString path = DataPaths::iniFile();
    if (!QFileInfo(path).isFile()) {
        *error = QStringLiteral("there is no settings file %1; start VerrinPlus once to set it up").arg(path);
        return false;
    }
    const QSettings settings(path, QSettings::IniFormat);
    if (settings.status() != QSettings::NoError) {
        *error = QStringLiteral("the settings file %1 cannot be read").arg(path);
        return false;
    }
    Registry::instance()->setUserAgent(SettingsFile::userAgent());
    SettingsFile::readIntoRegistry(settings);
    return true;
}

QString HeadlessDataFolder::readCredentials()
{
    QSettings settings(DataPaths::iniFile(), QSettings::IniFormat);
    SecretStore keyring;
    CredentialStore credentials(settings, keyring, DataPaths::dataFolder());
    credentials.read();
    if (!credentials.keptInKeyringBefore() || credentials.keyringProblem().isEmpty()) {
        return QString();
    }
    return QStringLiteral("VerrinPlus keeps the password and session in the desktop keyring, which this run cannot "
                          "use: %1. Run it while you are logged in to your desktop, with DBUS_SESSION_BUS_ADDRESS "
                          "set to that session's bus (from cron: unix:path=/run/user/<uid>/bus)")
        .arg(credentials.keyringProblem());
}

bool HeadlessDataFolder::openDatabase(QString* error)
{
    QString driverError;
    if (!database.open(DataPaths::databaseFile(), &driverError)) {
        *error = QStringLiteral("the database %1 cannot be opened: %2").arg(DataPaths::databaseFile(), driverError);
        return false;
    }
    return true;
}
