#include "app/SecretStore.h"

#include <QDebug>
#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>
#include <qt6keychain/keychain.h>

namespace {
// One service name for every data folder; the keys name the folder.
const QString kService = QStringLiteral("VerrinPlus");

// Without a session bus GIO would try to autolaunch one (dbus-launch on the X display) or fail
// slowly; a cron job has none, and that is worth saying plainly instead.
bool sessionBusReachable()
{
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        return true;
    }
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/bus"));
}
} // namespace

SecretStore::SecretStore()
{
    off = qEnvironmentVariable("VERRINPLUS_KEYRING").compare(QStringLiteral("off"), Qt::CaseInsensitive) == 0;
    bool ok = false;
    const int wait = qEnvironmentVariableIntValue("VERRINPLUS_KEYRING_WAIT_MS", &ok);
    if (ok && wait > 0) {
        waitMs = wait;
    }
    if (off) {
        unavailable = QStringLiteral("the keyring is switched off (VERRINPLUS_KEYRING=off)");
    } else if (!sessionBusReachable()) {
        unavailable = QStringLiteral("there is no D-Bus session bus (DBUS_SESSION_BUS_ADDRESS is not set)");
    }
}

SecretStore::Outcome SecretStore::read(const QString& key, QString* value)
{
    if (!unavailable.isEmpty()) {
        return Outcome::Unavailable;
    }
    auto* job = new QKeychain::ReadPasswordJob(kService);
    job->setKey(key);
    return run(job, value);
}

SecretStore::Outcome SecretStore::write(const QString& key, const QString& value)
{
    if (!unavailable.isEmpty()) {
        return Outcome::Unavailable;
    }
    auto* job = new QKeychain::WritePasswordJob(kService);
    job->setKey(key);
    job->setTextData(value);
    return run(job, nullptr);
}

SecretStore::Outcome SecretStore::remove(const QString& key)
{
    if (!unavailable.isEmpty()) {
        return Outcome::Unavailable;
    }
    auto* job = new QKeychain::DeletePasswordJob(kService);
    job->setKey(key);
    const Outcome outcome = run(job, nullptr);
    return outcome == Outcome::NotFound ? Outcome::Done : outcome;
}

SecretStore::Outcome SecretStore::run(QKeychain::Job* job, QString* value)
{
    // The job has no parent and deletes itself when it finishes: the keyring library keeps a raw
    // pointer to it until its answer comes, which may be long after this wait has given up.
    job->setAutoDelete(true);
    QEventLoop loop;
    bool answered = false;
    QKeychain::Error error = QKeychain::NoError;
    QString message;
    QString text;
    // The connection belongs to the loop, so a late answer finds nobody waiting and is dropped.
    QObject::connect(job, &QKeychain::Job::finished, &loop, [&](QKeychain::Job* finished) {
        answered = true;
        error = finished->error();
        message = finished->errorString();
        if (auto* reader = qobject_cast<QKeychain::ReadPasswordJob*>(finished)) {
            text = reader->textData();
        }
        loop.quit();
    });
    QTimer::singleShot(waitMs, &loop, &QEventLoop::quit);
    job->start();
    if (!answered) {
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    }
    if (!answered) {
        unavailable = QStringLiteral("the keyring did not answer within %1 s").arg(waitMs / 1000.0);
        qDebug().noquote() << "keyring:" << unavailable;
        return Outcome::Unavailable;
    }
    switch (error) {
    case QKeychain::NoError:
        if (value) {
            *value = text;
        }
        return Outcome::Done;
    case QKeychain::EntryNotFound:
        return Outcome::NotFound;
    default:
        unavailable = QStringLiteral("the keyring answered: %1").arg(message);
        qDebug().noquote() << "keyring:" << unavailable;
        return Outcome::Unavailable;
    }
}
