#pragma once

#include <QString>

namespace QKeychain {
class Job;
}

// The desktop keyring (the Secret Service, through QtKeychain) as a few calls that always come back
// soon. A keyring can be missing, locked behind an unlock prompt nobody answers, or hung; each call
// waits at most a bound and then counts as "no keyring", so start-up, closing and command-line runs
// never stall on it. After the first such failure every later call answers "unavailable" at once.
//
// VERRINPLUS_KEYRING=off switches the keyring off (the settings file keeps the secrets and nobody is
// told): the test suite sets it so that tests about other things never start a keyring daemon on
// their D-Bus sessions. VERRINPLUS_KEYRING_WAIT_MS sets the bound (default 5000 ms).
class SecretStore
{
public:
    enum class Outcome
    {
        Done,
        NotFound,
        Unavailable,
    };

    // Reads the switch and the bound from the environment.
    SecretStore();

    bool switchedOff() const { return off; }
    // Why the keyring cannot be used, for the user; empty while it answers (or is switched off).
    QString problem() const { return unavailable; }

    Outcome read(const QString& key, QString* value);
    Outcome write(const QString& key, const QString& value);
    // Deleting an entry that is not there is done as well.
    Outcome remove(const QString& key);

private:
    Outcome run(QKeychain::Job* job, QString* value);

    bool off = false;
    int waitMs = 5000;
    QString unavailable;
};
