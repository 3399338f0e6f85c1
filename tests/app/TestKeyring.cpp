#include "TempDataFolder.h"
#include "TestKit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <signal.h>

// The password and token of the window's start and close (keyring_helper) and of a command-line run
// (the real program), with a real gnome-keyring-daemon on a private D-Bus session, with that daemon
// hung, without any session bus (as from cron), and with the keyring switched off.
namespace {
const QString kPassword = QStringLiteral("Päßwört 密码 🔑");
const QString kToken = QStringLiteral("token-4711-f00d");

enum class Keyring
{
    Running,
    // Without a login keyring: reading finds nothing, and a write needs a prompt to make one, which
    // cannot be shown here, so the keyring refuses it.
    NoCollection,
    Hung, // owns the bus name but never answers, like one waiting behind an unlock prompt
    NoBus,
    Off,
};

struct Case
{
    Keyring keyring;
    bool olderFile; // an older version left them in the settings file
    bool inFile;    // where they end up: the settings file, else the keyring
    bool told;      // the user is told once why they stay in the file
};
} // namespace
Q_DECLARE_METATYPE(Case)

class TestKeyring : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TempDataFolder> home;
    QProcess daemon;
    qint64 daemonPid = 0;
    QString busAddress;

    QProcessEnvironment environment(Keyring keyring) const
    {
        QProcessEnvironment env = home->environment(false);
        env.insert("HOME", home->path());
        env.insert("XDG_CONFIG_HOME", home->path() + "/config");
        // The program takes each of these as unset when empty.
        const bool bus = keyring != Keyring::NoBus && keyring != Keyring::Off;
        env.insert("DBUS_SESSION_BUS_ADDRESS", bus ? busAddress : QString());
        env.insert("VERRINPLUS_KEYRING", keyring == Keyring::Off ? "off" : "");
        env.insert("VERRINPLUS_KEYRING_WAIT_MS", keyring == Keyring::Hung ? "300" : "");
        return env;
    }

    // gnome-keyring-daemon in a dbus-run-session of its own, its login keyring made and unlocked
    // with a test password on standard input (unless `locked`); ready once it owns the Secret Service
    // name.
    void startKeyring(bool locked)
    {
        daemon.setProcessEnvironment(environment(Keyring::NoBus));
        daemon.start("dbus-run-session", {"--", "sh", "-c",
                                          QString("echo \"$DBUS_SESSION_BUS_ADDRESS $$\"; "
                                                  "exec gnome-keyring-daemon --foreground %1 --components=secrets")
                                              .arg(locked ? "" : "--unlock")});
        QVERIFY(daemon.waitForStarted());
        daemon.write("keyring-test-password"); // read only with --unlock
        daemon.closeWriteChannel();
        const QList<QByteArray> fields = waitForLine(daemon, 20000).split(' ');
        QCOMPARE(fields.size(), 2);
        busAddress = QString::fromUtf8(fields[0]);
        daemonPid = fields[1].toLongLong();
        {
            QDBusConnection bus = QDBusConnection::connectToBus(busAddress, "keyring-test");
            QVERIFY(bus.isConnected());
            QTRY_VERIFY_WITH_TIMEOUT(bus.interface()->isServiceRegistered("org.freedesktop.secrets"), 20000);
        }
        QDBusConnection::disconnectFromBus("keyring-test");
    }

private slots:
    void init() { home = std::make_unique<TempDataFolder>(); }

    void cleanup()
    {
        // The daemon's end ends its dbus-run-session, which ends the bus.
        if (daemonPid > 0) {
            ::kill(pid_t(daemonPid), SIGCONT);
            ::kill(pid_t(daemonPid), SIGTERM);
        }
        TempDataFolder::finish(daemon);
        daemonPid = 0;
        home.reset();
    }

    void secretsAcrossRestarts_data()
    {
        QTest::addColumn<Case>("c");
        QTest::newRow("keyring: saved at close") << Case{Keyring::Running, false, false, false};
        QTest::newRow("keyring: an older file moves") << Case{Keyring::Running, true, false, false};
        QTest::newRow("keyring refuses the write: the file keeps them")
            << Case{Keyring::NoCollection, true, true, true};
        QTest::newRow("keyring hung: the file keeps them") << Case{Keyring::Hung, true, true, true};
        QTest::newRow("no session bus: saved at close") << Case{Keyring::NoBus, false, true, true};
        QTest::newRow("switched off: nobody told") << Case{Keyring::Off, false, true, false};
    }

    void secretsAcrossRestarts()
    {
        QFETCH(Case, c);
        if (c.keyring != Keyring::NoBus && c.keyring != Keyring::Off) {
            startKeyring(c.keyring == Keyring::NoCollection);
            if (QTest::currentTestFailed()) {
                return;
            }
        }
        if (c.keyring == Keyring::Hung) {
            ::kill(pid_t(daemonPid), SIGSTOP);
        }
        QString said; // the helper tells on standard output, as the window would in a box
        if (c.olderFile) {
            home->writeSettings({{"API/Username", "ann@example.com"},
                                 {"API/Password", QString::fromLatin1(kPassword.toUtf8().toBase64())},
                                 {"API/AuthToken", kToken}});
        } else {
            said += home->run(KEYRING_HELPER, {"save", kPassword, kToken}, environment(c.keyring)).out;
        }
        // The first start moves what it can (and tells); the second finds it where the first left it.
        const QString found =
            QString("place=%1\npassword=%2\ntoken=%3\n").arg(c.inFile ? "file" : "keyring", kPassword, kToken);
        for (int start = 0; start < 2; ++start) {
            const QString output = home->run(KEYRING_HELPER, {"load"}, environment(c.keyring)).out;
            said += output;
            QVERIFY2(output.endsWith(found), qPrintable(output));
        }
        QCOMPARE(said.count("verrinplus: Keyring:"), c.told ? 1 : 0);

        const QByteArray bytes = fileContents(home->dataFolder() + "/verrinplus.ini");
        QCOMPARE(bytes.contains(kPassword.toUtf8().toBase64()), c.inFile);
        QCOMPARE(bytes.contains(kToken.toUtf8()), c.inFile);
        QVERIFY(!bytes.contains(kPassword.toUtf8()));

        if (c.keyring == Keyring::Running && c.olderFile) {
            // A command-line run finds them in the keyring (without rules it is done then); from cron,
            // without a session bus, it says why it cannot sign in.
            const QStringList args{"--apply-rules", "2026-11-20"};
            QCOMPARE(home->run(VERRINPLUS_BINARY, args, environment(Keyring::Running)).exitCode, 0);
            const ProgramRun cron = home->run(VERRINPLUS_BINARY, args, environment(Keyring::NoBus));
            QCOMPARE(cron.exitCode, 3);
            QVERIFY2(cron.err.contains("keyring") && cron.err.contains("DBUS_SESSION_BUS_ADDRESS"),
                     qPrintable(cron.err));
        }
    }
};

QTEST_GUILESS_MAIN(TestKeyring)
#include "TestKeyring.moc"
