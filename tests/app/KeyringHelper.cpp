// The window's start and close as far as the password and token go, in a process of its own: the
// keyring library keeps one connection to the session bus per process, so each keyring (or none)
// the test sets up needs a fresh process. Works on the data folder XDG_DATA_HOME points at.
//   keyring_helper load                 start: read, move, tell once; print where and what
//   keyring_helper save PASSWORD TOKEN  start, then close with these values
#include "app/CredentialStore.h"
#include "app/DataPaths.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"
#include "app/StreamPrompter.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>
#include <QTextStream>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    QTextStream out(stdout);
    QDir().mkpath(DataPaths::dataFolder());
    QSettings settings(DataPaths::iniFile(), QSettings::IniFormat);
    SettingsFile::readIntoRegistry(settings);
    SecretStore keyring;
    CredentialStore credentials(settings, keyring, DataPaths::dataFolder());
    const bool inKeyring = credentials.load() == CredentialStore::Place::Keyring;
    StreamPrompter prompter(out);
    credentials.tellOnceIfMissing(&prompter);
    if (args.value(1) == QLatin1String("save")) {
        Registry::instance()->setPassword(args.value(2));
        Registry::instance()->setAuthToken(args.value(3));
        SettingsFile::writeBack(settings, false, WindowLayout{});
        credentials.save();
    }
    out << "place=" << (inKeyring ? "keyring" : "file") << "\n";
    out << "password=" << Registry::instance()->password() << "\n";
    out << "token=" << Registry::instance()->authToken() << "\n";
    return 0;
}
