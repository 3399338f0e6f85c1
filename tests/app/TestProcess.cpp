#include "RecordedRows.h"
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

private slots:
    void secondStartDefersToTheFirst()
    {
        TempDataFolder data;
        SingleInstance first(data.dataFolder());
        QVERIFY(first.claim());
        // The socket lives in the session's runtime folder, not in /tmp where stale ones would pile up.
        QVERIFY2(first.serverName().startsWith(data.path() + "/runtime/"), qPrintable(first.serverName()));
        QVERIFY(QFileInfo::exists(first.serverName()));
        QSignalSpy activation(&first, &SingleInstance::activationRequested);
        SingleInstance second(data.dataFolder());
        QVERIFY(!second.claim());
        QVERIFY(activation.wait(10000));
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
    }

    void runningProgramEndsInOrderOnSignals()
    {
        QFETCH(int, signalNumber);
        QFETCH(bool, firstStart);
        ::umask(S_IWGRP | S_IWOTH);
        TempDataFolder data;
        if (!firstStart) {
            data.writeSettings();
        }
        // On the offscreen platform, so the window needs no display.
        QProcessEnvironment offscreen = data.environment();
        offscreen.insert("QT_QPA_PLATFORM", "offscreen");
        QProcess first;
        first.setProcessEnvironment(offscreen);
        first.start(VERRINPLUS_BINARY, {"-debug"});
        QVERIFY(first.waitForStarted(10000));
        // Running once its instance lock is taken.
        QTRY_VERIFY_WITH_TIMEOUT(!QDir(data.path() + "/runtime").entryList({"verrinplus-*.lock"}).isEmpty(), 20000);

        // A second start on the same folder hands over and ends at once.
        QCOMPARE(data.run(VERRINPLUS_BINARY, {}, offscreen).exitCode, 0);
        QCOMPARE(first.state(), QProcess::Running);

        ::kill(pid_t(first.processId()), signalNumber);
        QCOMPARE(TempDataFolder::finish(first).exitCode, 0);
        const QString ini = data.dataFolder() + "/verrinplus.ini";
        // Ended at the first start's question: nothing was chosen, so the next start asks again.
        QCOMPARE(QFile::exists(ini), !firstStart);
        if (firstStart) {
            return;
        }
        QSettings settings(ini, QSettings::IniFormat);
        QVERIFY(settings.contains("Window/Geometry") && settings.contains("Application/Started"));
        // Private under a umask of 022: the folder and the settings from before are tightened, what
        // the program made is private from the start.
        const auto owner = QFile::ReadOwner | QFile::WriteOwner;
        const auto everyone = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                              QFile::WriteOther | QFile::ExeOther;
        QCOMPARE(QFile::permissions(data.dataFolder()) & everyone, QFileDevice::Permissions());
        for (const char* name : {"verrinplus.ini", "verrinplus.sqlite", "debug.log"}) {
            QCOMPARE(QFile::permissions(data.dataFolder() + "/" + name) & (owner | everyone), owner);
        }
        QVERIFY(fileContents(data.dataFolder() + "/debug.log")
                    .contains("Received signal " + QByteArray::number(signalNumber)));
    }

    // Without a display only the headless options work; a window start refuses and creates nothing.
    void withoutADisplay()
    {
        TempDataFolder data;
        const ProgramRun run = data.run(VERRINPLUS_BINARY, {});
        QCOMPARE(run.exitCode, 2);
        QCOMPARE(run.err, "verrinplus: needs a graphical session; use --report or --apply-rules without one\n");
        QVERIFY(!QFile::exists(data.dataFolder()));
    }

    // The day report reads the folder's database with the stored hide-under, and never creates one.
    void reportPrintsTheStoredDay()
    {
        TempDataFolder data;
        data.writeSettings({{"Application/HideUnder", 60}});
        QCOMPARE(data.run(VERRINPLUS_BINARY, {"--report", "2026-11-16"}).exitCode, 1);
        const QString file = data.dataFolder() + "/verrinplus.sqlite";
        QVERIFY(!QFile::exists(file));
        {
            Database database;
            QString error;
            QVERIFY2(database.open(file, &error), qPrintable(error));
            const int ed = RecordedRows::addApp("Ed");
            RecordedRows::addEntry(ed, "budget, \"final\"", "2026-11-16 09:00:00", 50);
            RecordedRows::addEntry(ed, "budget, \"final\"", "2026-11-16 23:59:40", 30);
            RecordedRows::addEntry(ed, "short", "2026-11-16 10:00:00", 20);
        }
        const ProgramRun csv = data.run(VERRINPLUS_BINARY, {"--report", "2026-11-16", "--format", "csv"});
        QCOMPARE(csv.exitCode, 0);
        // The stretch over midnight counts whole for the day it started; "short" stays under the minute.
        QCOMPARE(csv.out, "tree,depth,type,path,name,seconds,time\r\n"
                          "unlinked,0,total,,Entries not linked with Verrin,80,1 m 20 s\r\n"
                          "unlinked,1,app,,Ed,80,1 m 20 s\r\n"
                          "unlinked,2,entry,Ed,\"budget, \"\"final\"\"\",80,1 m 20 s\r\n"
                          "linked,0,total,,Entries linked with Verrin,0,0 s\r\n");
    }
};

QTEST_GUILESS_MAIN(TestProcess)
#include "TestProcess.moc"
