#pragma once

#include <QString>

#include <array>

class Prompter;
struct StoredSettings;
class QSettings;
class SecretStore;

// Where the Verrin password and session token of a data folder are kept: the desktop keyring when
// one answers, the settings file (as before) when none does. Works on the registry's password and
// token, which SettingsFile::readIntoRegistry has already filled from the settings file.
//
// A value found in the settings file is the newer one (an older version wrote it there, or it was
// written while no keyring answered), so it moves into the keyring and leaves the file; it leaves
// only once the keyring has taken it, so a failing keyring never loses a password.
class CredentialStore
{
public:
    enum class Place
    {
        Keyring,
        SettingsFile,
    };

    // `account` tells the entries of one data folder from another's (its path).
    CredentialStore(QSettings& settings, SecretStore& keyring, const QString& account);

    // At the window's start: fills the registry from the keyring and moves values of the settings
    // file into it.
    Place load();
    // For command-line runs, which must not rewrite the settings file the window owns: fills the
    // registry from the keyring where the file has no value, and moves nothing.
    Place read();
    // At the window's close: writes what changed to where it belongs.
    void save();

    Place place() const { return where; }
    // True when the secrets were kept in the keyring once, so a run that cannot reach it knows why
    // it has no password.
    bool keptInKeyringBefore() const;
    // Why the keyring is not used; empty when it is, or when it is switched off on purpose.
    QString keyringProblem() const;
    // Tells the user once per data folder (remembered in the settings file) that no keyring answered
    // and the settings file keeps the secrets.
    void tellOnceIfMissing(Prompter* prompter);

private:
    struct Secret
    {
        QString StoredSettings::*field;
        const char* iniKey;
        bool base64; // the password is kept as Base64 of its UTF-8 in the file
        QString keyringKey;
        QString kept;             // what the keyring holds, as far as this run knows
        bool fromKeyring = false; // read from the keyring (so never to be copied into the file)
    };

    QString iniValue(const Secret& secret) const;
    void writeToFile(const Secret& secret, const QString& value);
    void fallBack();

    QSettings& settings;
    SecretStore& keyring;
    std::array<Secret, 2> secrets;
    Place where = Place::SettingsFile;
};
