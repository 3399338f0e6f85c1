#include "TestKit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QRegularExpression>

#include <signal.h>

// The password and token of the window's start and close (keyring_helper) and of a command-line run
// (the real program), with a real gnome-keyring-daemon on a private D-Bus session, with that daemon
// hung, without any session bus (as from cron), and with the keyring switched off.
namespace {
const QString kPassword = QStringLiteral("Päßwört 密码 🔑");
const QString kToken = QStringLiteral("token-4711-f00d");
const QByteArray kNotice = QByteArrayLiteral("verrinplus: Keyring:");

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
} // namespace
Q_DECLARE_METATYPE(Keyring)

class TestKeyring : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> home;
    QProcess daemon;
    qint64 daemonPid = 0;
    QString busAddress;

    QString iniPath() const { return home->filePath(QStringLiteral("data/VerrinPlus/verrinplus.ini")); }

    QProcessEnvironment environment(Keyring keyring) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "VERRINPLUS_KEYRING"}) {
            env.remove(QLatin1String(name));
        }
        env.insert(QStringLiteral("HOME"), home->path());
        env.insert(QStringLiteral("XDG_DATA_HOME"), home->filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), home->filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), home->filePath(QStringLiteral("run")));
        if (keyring != Keyring::NoBus && keyring != Keyring::Off) {
            env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
        }
        if (keyring == Keyring::Hung || keyring == Keyring::Off) {
            env.insert(keyring == Keyring::Hung ? QStringLiteral("VERRINPLUS_KEYRING_WAIT_MS")
                                                : QStringLiteral("VERRINPLUS_KEYRING"),
                       keyring == Keyring::Hung ? QStringLiteral("300") : QStringLiteral("off"));
        }
        return env;
    }

    // Runs a program to its end; its output, both channels.
    QByteArray run(const QString& program, const QStringList& args, Keyring keyring, int* status = nullptr)
    {
        QProcess process;
        process.setProcessEnvironment(environment(keyring));
        process.start(program, args);
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
        }
        if (status) {
            *status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        }
        return process.readAllStandardOutput() + process.readAllStandardError();
    }

    static QString field(const QByteArray& output, const char* name)
    {
        const QRegularExpression line(QStringLiteral("^%1=(.*)$").arg(QLatin1String(name)),
                                      QRegularExpression::MultilineOption);
        return line.match(QString::fromUtf8(output)).captured(1);
    }

    // gnome-keyring-daemon in a dbus-run-session of its own, its login keyring made and unlocked
    // with a test password on standard input (unless `locked`); ready once it owns the Secret Service
    // name.
    void startKeyring(bool locked = false)
    {
        daemon.setProcessEnvironment(environment(Keyring::NoBus));
        daemon.start(QStringLiteral("dbus-run-session"),
                     {QStringLiteral("--"), QStringLiteral("sh"), QStringLiteral("-c"),
                      QStringLiteral("echo \"$DBUS_SESSION_BUS_ADDRESS $$\"; "
                                     "exec gnome-keyring-daemon --foreground %1 --components=secrets")
                          .arg(locked ? QString() : QStringLiteral("--unlock"))});
        QVERIFY(daemon.waitForStarted());
        if (!locked) {
            daemon.write("keyring-test-password");
        }
        daemon.closeWriteChannel();
        QTRY_VERIFY_WITH_TIMEOUT(daemon.canReadLine(), 20000);
        const QList<QByteArray> fields = daemon.readLine().trimmed().split(' ');
        QCOMPARE(fields.size(), 2);
        busAddress = QString::fromUtf8(fields[0]);
        daemonPid = fields[1].toLongLong();
        {
            QDBusConnection bus = QDBusConnection::connectToBus(busAddress, QStringLiteral("keyring-test"));
            QVERIFY(bus.isConnected());
            QTRY_VERIFY_WITH_TIMEOUT(bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")),
                                     20000);
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("keyring-test"));
    }

    // As an older version left it: Base64 password and token in the settings file.
    void writeOldSettingsFile()
    {
        QDir().mkpath(QFileInfo(iniPath()).path());
        QSettings ini(iniPath(), QSettings::IniFormat);
        ini.setValue(QStringLiteral("API/Username"), QStringLiteral("ann@example.com"));
        ini.setValue(QStringLiteral("API/Password"), QString::fromLatin1(kPassword.toUtf8().toBase64()));
        ini.setValue(QStringLiteral("API/AuthToken"), kToken);
    }

private slots:
    void init()
    {
        home = std::make_unique<QTemporaryDir>();
        QVERIFY(home->isValid());
        QVERIFY(QDir(home->path()).mkpath(QStringLiteral("run")));
        QFile::setPermissions(home->filePath(QStringLiteral("run")),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    void cleanup()
    {
        // The daemon's end ends its dbus-run-session, which ends the bus.
        if (daemonPid > 0) {
            ::kill(pid_t(daemonPid), SIGCONT);
            ::kill(pid_t(daemonPid), SIGTERM);
        }
        if (daemon.state() != QProcess::NotRunning && !daemon.waitForFinished(20000)) {
            daemon.kill();
            daemon.waitForFinished();
        }
        daemonPid = 0;
        home.reset();
    }

    void secretsAcrossRestarts_data()
    {
        QTest::addColumn<Keyring>("keyring");
        QTest::addColumn<bool>("olderFile");
        QTest::addColumn<QString>("place");
        QTest::addColumn<bool>("told");

        QTest::newRow("keyring: saved at close") << Keyring::Running << false << "keyring" << false;
        QTest::newRow("keyring: an older file moves") << Keyring::Running << true << "keyring" << false;
        QTest::newRow("keyring refuses the write: the file keeps them")
            << Keyring::NoCollection << true << "file" << true;
        QTest::newRow("keyring hung: the file keeps them") << Keyring::Hung << true << "file" << true;
        QTest::newRow("no session bus: saved at close") << Keyring::NoBus << false << "file" << true;
        QTest::newRow("switched off: nobody told") << Keyring::Off << false << "file" << false;
    }

    void secretsAcrossRestarts()
    {
        QFETCH(Keyring, keyring);
        QFETCH(bool, olderFile);
        QFETCH(QString, place);
        QFETCH(bool, told);
        if (keyring != Keyring::NoBus && keyring != Keyring::Off) {
            startKeyring(keyring == Keyring::NoCollection);
            if (QTest::currentTestFailed()) {
                return;
            }
        }
        if (keyring == Keyring::Hung) {
            ::kill(pid_t(daemonPid), SIGSTOP);
        }
        QByteArray said;
        if (olderFile) {
            writeOldSettingsFile();
        } else {
            said += run(QStringLiteral(KEYRING_HELPER), {QStringLiteral("save"), kPassword, kToken}, keyring);
        }
        // The first start moves what it can (and tells); the second finds it where the first left it.
        for (int start = 0; start < 2; ++start) {
            const QByteArray output = run(QStringLiteral(KEYRING_HELPER), {QStringLiteral("load")}, keyring);
            said += output;
            QCOMPARE(field(output, "place"), place);
            QCOMPARE(field(output, "password"), kPassword);
            QCOMPARE(field(output, "token"), kToken);
        }
        QCOMPARE(said.count(kNotice), told ? 1 : 0);

        QFile file(iniPath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const QSettings ini(iniPath(), QSettings::IniFormat);
        const bool inFile = place == QLatin1String("file");
        QCOMPARE(ini.value(QStringLiteral("API/Password")).toString(),
                 inFile ? QString::fromLatin1(kPassword.toUtf8().toBase64()) : QString());
        QCOMPARE(bytes.contains(kToken.toUtf8()), inFile);
        if (!inFile) {
            QVERIFY(!bytes.contains(kPassword.toUtf8().toBase64()));
            QVERIFY(!bytes.contains(kPassword.toUtf8()));
        }
    }

    // A command-line run finds the secrets in the keyring; from cron, without a session bus, it says
    // why it cannot sign in.
    void commandLineRun()
    {
        startKeyring();
        if (QTest::currentTestFailed()) {
            return;
        }
        writeOldSettingsFile();
        QCOMPARE(field(run(QStringLiteral(KEYRING_HELPER), {QStringLiteral("load")}, Keyring::Running), "place"),
                 QStringLiteral("keyring"));
        const QStringList args{QStringLiteral("--apply-rules"), QStringLiteral("2026-11-20")};
        int status = -1;
        // No rules: done once a stored sign-in is found.
        run(QStringLiteral(VERRINPLUS_BINARY), args, Keyring::Running, &status);
        QCOMPARE(status, 0);
        const QByteArray said = run(QStringLiteral(VERRINPLUS_BINARY), args, Keyring::NoBus, &status);
        QCOMPARE(status, 3);
        QVERIFY2(said.contains("keyring") && said.contains("DBUS_SESSION_BUS_ADDRESS"), said.constData());
    }
};

QTEST_GUILESS_MAIN(TestKeyring)
#include "TestKeyring.moc"
