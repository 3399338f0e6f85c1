#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/SingleInstance.h"
#include "store/Database.h"

#include <csignal>
#include <sys/stat.h>

// The real program as separate processes: one instance per data folder, orderly shutdown on
// signals, and the headless options working without any display.
class TestProcess : public QObject
{
    Q_OBJECT

private:
    static QProcessEnvironment environment(const TempDataFolder& data)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), data.path() + QStringLiteral("/data"));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), data.path() + QStringLiteral("/runtime"));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.insert(QStringLiteral("VERRINPLUS_UPDATE_FEED"), QString());
        return env;
    }

    static void writeIni(const TempDataFolder& data, int hideUnder = 0)
    {
        QDir().mkpath(data.dataFolder());
        QSettings ini(data.dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
        ini.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
        ini.setValue(QStringLiteral("Application/Started"), false);
        ini.setValue(QStringLiteral("Application/HideUnder"), hideUnder);
    }

    static bool lockTaken(const TempDataFolder& data)
    {
        return !QDir(data.path() + QStringLiteral("/runtime"))
                    .entryList({QStringLiteral("verrinplus-*.lock")})
                    .isEmpty();
    }

private slots:
    void secondStartDefersToTheFirst()
    {
        TempDataFolder data;
        SingleInstance first(data.dataFolder());
        QVERIFY(first.claim());
        // The socket lives in the session's runtime folder, not in /tmp where stale ones would pile up.
        QVERIFY2(first.serverName().startsWith(data.path() + QStringLiteral("/runtime/")),
                 qPrintable(first.serverName()));
        QVERIFY(QFileInfo::exists(first.serverName()));
        QSignalSpy activation(&first, &SingleInstance::activationRequested);
        SingleInstance second(data.dataFolder());
        QVERIFY(!second.claim());
        QVERIFY(activation.wait(10000));

        // Another data folder is another instance.
        TempDataFolder other;
        SingleInstance elsewhere(other.dataFolder());
        QVERIFY(elsewhere.claim());
    }

    void runningProgramEndsInOrderOnSignals_data()
    {
        QTest::addColumn<int>("signalNumber");
        QTest::addColumn<bool>("firstStart"); // the settings dialog of the first start is open
        QTest::newRow("SIGTERM") << int(SIGTERM) << false;
        QTest::newRow("SIGINT") << int(SIGINT) << false;
        QTest::newRow("SIGHUP") << int(SIGHUP) << false;
        QTest::newRow("SIGTERM at the first start") << int(SIGTERM) << true;
        QTest::newRow("SIGINT at the first start") << int(SIGINT) << true;
    }

    void runningProgramEndsInOrderOnSignals()
    {
        QFETCH(int, signalNumber);
        QFETCH(bool, firstStart);
        ::umask(S_IWGRP | S_IWOTH);
        TempDataFolder data;
        if (!firstStart) {
            writeIni(data);
        }
        QProcess first;
        first.setProcessEnvironment(environment(data));
        first.start(QStringLiteral(VERRINPLUS_BINARY), {QStringLiteral("-debug")});
        QVERIFY(first.waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(lockTaken(data), 20000);

        // A second start on the same folder hands over and ends at once.
        QProcess second;
        second.setProcessEnvironment(environment(data));
        second.start(QStringLiteral(VERRINPLUS_BINARY), QStringList());
        QVERIFY(second.waitForFinished(20000));
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(first.state(), QProcess::Running);

        ::kill(pid_t(first.processId()), signalNumber);
        QVERIFY(first.waitForFinished(20000));
        QCOMPARE(first.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first.exitCode(), 0);

        if (firstStart) {
            // Ended at the first start's question: nothing was chosen, so the next start asks again.
            QVERIFY(!QFile::exists(data.dataFolder() + QStringLiteral("/verrinplus.ini")));
            return;
        }
        QSettings ini(data.dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
        QVERIFY(ini.contains(QStringLiteral("Window/Geometry")));
        QVERIFY(ini.contains(QStringLiteral("Application/Started")));
        // Private under a umask of 022: the folder and the settings from before are tightened, what
        // the program made is private from the start.
        const auto owner = QFile::ReadOwner | QFile::WriteOwner;
        const auto everyone = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                              QFile::WriteOther | QFile::ExeOther;
        QCOMPARE(QFile::permissions(data.dataFolder()) & everyone, QFileDevice::Permissions());
        for (const char* name : {"verrinplus.ini", "verrinplus.sqlite", "debug.log"}) {
            const QString file = data.dataFolder() + QLatin1Char('/') + QLatin1String(name);
            QCOMPARE(QFile::permissions(file) & (owner | everyone), owner);
        }
        QFile log(data.dataFolder() + QStringLiteral("/debug.log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("Received signal " + QByteArray::number(signalNumber)));
    }

    void headlessOptionsNeedNoDisplay_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("output");
        QTest::newRow("version") << "--version"
                                 << "VerrinPlus " VERRIN_VERSION;
        QTest::newRow("help") << "--help"
                              << "Usage: verrinplus";
    }

    void headlessOptionsNeedNoDisplay()
    {
        QFETCH(QString, option);
        QFETCH(QString, output);
        TempDataFolder data;
        QProcessEnvironment env = environment(data);
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        QProcess process;
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(VERRINPLUS_BINARY), {option});
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(QString::fromUtf8(process.readAllStandardOutput()).startsWith(output));
        // Nothing is created on disk for a question about the program itself.
        QVERIFY(!QFile::exists(data.dataFolder()));
    }

    // The day report reads the folder's database with the stored hide-under, and never creates one.
    void reportPrintsTheStoredDay()
    {
        TempDataFolder data;
        writeIni(data, 60);
        QProcessEnvironment env = environment(data);
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        QProcess process;
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(VERRINPLUS_BINARY), {QStringLiteral("--report"), QStringLiteral("2026-11-16")});
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(!QFile::exists(data.dataFolder() + QStringLiteral("/verrinplus.sqlite")));

        {
            Database database;
            QString error;
            QVERIFY2(database.open(data.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error),
                     qPrintable(error));
            QSqlQuery query;
            QVERIFY(query.exec(
                QStringLiteral("INSERT INTO applications (id, path, name) VALUES (1, '/usr/bin/ed', 'Ed')")));
            QVERIFY(query.exec("INSERT INTO entries (title, application_id, start_time, end_time) VALUES "
                               "('budget, \"final\"', 1, '2026-11-16 09:00:00', '2026-11-16 09:00:50'), "
                               "('budget, \"final\"', 1, '2026-11-16 23:59:40', '2026-11-17 00:00:10'), "
                               "('short', 1, '2026-11-16 10:00:00', '2026-11-16 10:00:20')"));
            database.close();
        }
        process.start(QStringLiteral(VERRINPLUS_BINARY), {QStringLiteral("--report"), QStringLiteral("2026-11-16"),
                                                          QStringLiteral("--format"), QStringLiteral("csv")});
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitCode(), 0);
        // The stretch over midnight counts whole for the day it started; "short" stays under the minute.
        const QStringList expected = {QStringLiteral("tree,depth,type,path,name,seconds,time"),
                                      QStringLiteral("unlinked,0,total,,Entries not linked with Verrin,80,1 m 20 s"),
                                      QStringLiteral("unlinked,1,app,,Ed,80,1 m 20 s"),
                                      QStringLiteral("unlinked,2,entry,Ed,\"budget, \"\"final\"\"\",80,1 m 20 s"),
                                      QStringLiteral("linked,0,total,,Entries linked with Verrin,0,0 s"),
                                      QString()};
        QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()), expected.join(QStringLiteral("\r\n")));
    }
};

QTEST_GUILESS_MAIN(TestProcess)
#include "TestProcess.moc"
