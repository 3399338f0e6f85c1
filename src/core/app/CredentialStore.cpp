#include "app/CredentialStore.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"

#include <QSettings>

namespace {
const QString kKeptInKeyring = QStringLiteral("API/SecretsInKeyring");
const QString kNoticeGiven = QStringLiteral("Application/KeyringNoticeShown");

QString& reg(QString StoredSettings::*field)
{
    return Registry::instance()->settings().*field;
}
} // namespace

CredentialStore::CredentialStore(QSettings& settings, SecretStore& keyring, const QString& account)
    : settings(settings), keyring(keyring), secrets{Secret{&StoredSettings::password, "API/Password", true,
                                                           QStringLiteral("password ") + account, QString(), false},
                                                    Secret{&StoredSettings::authToken, "API/AuthToken", false,
                                                           QStringLiteral("token ") + account, QString(), false}}
{
}

QString CredentialStore::iniValue(const Secret& secret) const
{
    const QString stored = settings.value(QLatin1String(secret.iniKey)).toString();
    return secret.base64 ? SettingsFile::decodePassword(stored) : stored;
}

void CredentialStore::writeToFile(const Secret& secret, const QString& value)
{
    settings.setValue(QLatin1String(secret.iniKey), secret.base64 ? SettingsFile::encodePassword(value) : value);
}

void CredentialStore::fallBack()
{
    where = Place::SettingsFile;
}

CredentialStore::Place CredentialStore::load()
{
    where = Place::Keyring;
    for (Secret& secret : secrets) {
        const QString inFile = iniValue(secret);
        QString inKeyring;
        const SecretStore::Outcome found = keyring.read(secret.keyringKey, &inKeyring);
        if (found == SecretStore::Outcome::Unavailable) {
            fallBack();
            break;
        }
        if (!inFile.isEmpty()) {
            if (inFile != inKeyring && keyring.write(secret.keyringKey, inFile) != SecretStore::Outcome::Done) {
                // The file keeps it.
                fallBack();
                break;
            }
            reg(secret.field) = inFile;
        } else {
            reg(secret.field) = found == SecretStore::Outcome::Done ? inKeyring : QString();
        }
        secret.kept = reg(secret.field);
        secret.fromKeyring = true;
        settings.remove(QLatin1String(secret.iniKey));
    }
    if (where == Place::Keyring) {
        settings.setValue(kKeptInKeyring, true);
    }
    settings.sync();
    return where;
}

CredentialStore::Place CredentialStore::read()
{
    where = Place::Keyring;
    for (Secret& secret : secrets) {
        if (!iniValue(secret).isEmpty()) {
            continue;
        }
        QString inKeyring;
        const SecretStore::Outcome found = keyring.read(secret.keyringKey, &inKeyring);
        if (found == SecretStore::Outcome::Unavailable) {
            fallBack();
            break;
        }
        if (found == SecretStore::Outcome::Done) {
            reg(secret.field) = inKeyring;
        }
    }
    return where;
}

void CredentialStore::save()
{
    for (Secret& secret : secrets) {
        const QString value = reg(secret.field);
        if (where == Place::Keyring) {
            if (value == secret.kept) {
                continue;
            }
            const SecretStore::Outcome done =
                value.isEmpty() ? keyring.remove(secret.keyringKey) : keyring.write(secret.keyringKey, value);
            if (done == SecretStore::Outcome::Done) {
                secret.kept = value;
                settings.remove(QLatin1String(secret.iniKey));
                continue;
            }
            // Never lost: the file keeps what the keyring would not take, and the next start moves it.
            writeToFile(secret, value);
        } else if (!secret.fromKeyring || value != secret.kept) {
            writeToFile(secret, value);
        }
    }
    settings.sync();
}

bool CredentialStore::keptInKeyringBefore() const
{
    return settings.value(kKeptInKeyring).toBool();
}

QString CredentialStore::keyringProblem() const
{
    return where == Place::Keyring || keyring.switchedOff() ? QString() : keyring.problem();
}

void CredentialStore::tellOnceIfMissing(Prompter* prompter)
{
    if (!prompter || keyringProblem().isEmpty() || settings.value(kNoticeGiven).toBool()) {
        return;
    }
    prompter->inform(QStringLiteral("Keyring"),
                     QStringLiteral("VerrinPlus could not use a desktop keyring (%1), so it keeps your Verrin "
                                    "password and session in its settings file %2, which only you can read.\n\n"
                                    "With a keyring that offers the Secret Service (such as GNOME Keyring or "
                                    "KWallet) installed and unlocked, VerrinPlus moves them there at its next "
                                    "start. This is said only once.")
                         .arg(keyringProblem(), settings.fileName()));
    settings.setValue(kNoticeGiven, true);
    settings.sync();
}
