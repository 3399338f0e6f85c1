#include "StoredStretches.h"
#include "TempDataFolder.h"
#include "X11TestWindow.h"
#include "store/util.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QScopeGuard>
#include <QSettings>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>

// The real program recording real windows under X11: switching between windows with known titles
// and then sending SIGTERM leaves one row per stretch, with the right titles and durations, and
// nothing lost at the end.
class TestRecordingEndToEnd : public QObject
{
    Q_OBJECT

private:
    // Activates a window and waits until the window manager says it is active.
    static bool activate(uint32_t window)
    {
        return runXdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(window)});
    }

private slots:
    void switchingWindowsThenSigterm()
    {
        TempDataFolder data;
        QDir().mkpath(data.dataFolder());
        {
            QSettings ini(data.dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
            ini.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
            ini.setValue(QStringLiteral("Application/Started"), true);
            ini.setValue(QStringLiteral("Application/IdleEnabled"), false);
        }
        const QString alpha = QStringLiteral("Alpha – report.odt");
        const QString beta = QStringLiteral("Beta \"quoted\" 東京");
        TestWindow windowA;
        TestWindow windowB;
        QVERIFY(windowA.start(QStringLiteral(X11_TEST_WINDOW), {QStringLiteral("--title"), alpha}));
        QVERIFY(windowB.start(QStringLiteral(X11_TEST_WINDOW), {QStringLiteral("--title"), beta}));

        // Alpha is in front when the program starts: its first stretch.
        QVERIFY(activate(windowA.id));
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), data.path() + QStringLiteral("/data"));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), data.path() + QStringLiteral("/runtime"));
        env.insert(QStringLiteral("VERRINPLUS_UPDATE_FEED"), QString());
        QProcess program;
        auto endProgram = qScopeGuard([&program] {
            program.kill();
            program.waitForFinished(10000);
        });
        program.setProcessEnvironment(env);
        program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        const QDateTime launched = QDateTime::currentDateTime();
        program.start(QStringLiteral(VERRINPLUS_BINARY), QStringList());
        QVERIFY(program.waitForStarted(10000));
        // Recording is on before the window shows.
        QVERIFY(runXdotool({QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                            QStringLiteral("--name"), QStringLiteral("^Verrin Plus$")}));
        QVERIFY(activate(windowA.id));
        const QString database = data.dataFolder() + QStringLiteral("/verrinplus.sqlite");

        StoredStretches::letTimePass(3000);
        QVERIFY(activate(windowB.id));
        const QDateTime switched = QDateTime::currentDateTime();
        QTRY_VERIFY_WITH_TIMEOUT(StoredStretches::find(database, alpha).end.isValid(), 20000);
        StoredStretches::letTimePass(2000);

        const QDateTime terminated = QDateTime::currentDateTime();
        ::kill(pid_t(program.processId()), SIGTERM);
        QVERIFY(program.waitForFinished(20000));
        QCOMPARE(program.exitCode(), 0);

        const StoredStretches::Stretch a = StoredStretches::find(database, alpha);
        const StoredStretches::Stretch b = StoredStretches::find(database, beta);
        QVERIFY(a.end.isValid());
        QVERIFY2(b.end.isValid(), "the stretch in progress at SIGTERM was lost");
        auto near = [](const QDateTime& recorded, const QDateTime& happened) {
            // A tick sees a change within a second; one more second for a loaded machine.
            return qAbs(recorded.secsTo(happened)) <= 2;
        };
        QVERIFY2(a.start >= launched.addSecs(-1), qPrintable(a.start.toString()));
        QVERIFY2(near(a.end, switched), qPrintable(a.end.toString() + QLatin1Char(' ') + switched.toString()));
        QVERIFY2(near(b.end, terminated), qPrintable(b.end.toString() + QLatin1Char(' ') + terminated.toString()));
        // Consecutive stretches touch: nothing lost between them.
        QCOMPARE(b.start, a.end);
        QSettings ini(data.dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("Application/Started")).toBool(), true);
    }
};

QTEST_GUILESS_MAIN(TestRecordingEndToEnd)
#include "TestRecordingEndToEnd.moc"
