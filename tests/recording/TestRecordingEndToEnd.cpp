#include "TempDataFolder.h"
#include "TestKit.h"
#include "X11TestWindow.h"
#include "store/util.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QSqlDatabase>

#include <csignal>

namespace {

struct Stretch
{
    QDateTime start;
    QDateTime end;
};

// The first stored stretch with this title, read on a connection of the test's own while the program
// may still be writing; invalid times when there is none yet. Rows that touch are one stretch: the
// recorder splits a stretch at midnight, and a run may cross it.
Stretch find(const QString& databasePath, const QString& title)
{
    Stretch stretch;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("reader"));
        db.setDatabaseName(databasePath);
        if (db.open()) {
            QSqlQuery q(db);
            q.prepare(QStringLiteral("SELECT start_time, end_time FROM entries WHERE title = :t ORDER BY start_time"));
            q.bindValue(QStringLiteral(":t"), title);
            q.exec();
            while (q.next()) {
                const QDateTime start = util::sql_to_datetime(q.value(0).toString());
                if (stretch.end.isValid() && start != stretch.end) {
                    break;
                }
                if (!stretch.start.isValid()) {
                    stretch.start = start;
                }
                stretch.end = util::sql_to_datetime(q.value(1).toString());
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("reader"));
    return stretch;
}

// Lets real time pass while a window is in front: the length of a stretch is what this test is
// about, so this is the one place where waiting for the clock is the point.
void letTimePass(int ms)
{
    QElapsedTimer timer;
    timer.start();
    QTRY_VERIFY_WITH_TIMEOUT(timer.hasExpired(ms), ms + 5000);
}

} // namespace

// The real program recording real windows under X11, ended by SIGTERM.
class TestRecordingEndToEnd : public QObject
{
    Q_OBJECT

private slots:
    // alpha is recorded for three seconds, then beta for two, then the program gets SIGTERM: both
    // stretches must be stored, touching, each ending when it did on the wall clock.
    void switchingWindowsThenSigterm()
    {
        const QString alpha = QStringLiteral("Alpha – report.odt");
        const QString beta = QStringLiteral("Beta \"quoted\" 東京");
        TestWindow windowA;
        TestWindow windowB;
        QVERIFY(windowA.start(QStringLiteral(X11_TEST_WINDOW), {QStringLiteral("--title"), alpha}));
        QVERIFY(windowB.start(QStringLiteral(X11_TEST_WINDOW), {QStringLiteral("--title"), beta}));
        const auto activate = [](uint32_t window) {
            return runXdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(window)});
        };
        QVERIFY(activate(windowA.id));

        TempDataFolder data;
        QDir().mkpath(data.dataFolder());
        const QString ini = data.dataFolder() + QStringLiteral("/verrinplus.ini");
        {
            QSettings settings(ini, QSettings::IniFormat);
            settings.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
            settings.setValue(QStringLiteral("Application/Started"), true);
            settings.setValue(QStringLiteral("Application/IdleEnabled"), false);
        }
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
        // Recording is on before the program's window shows, which may take the front from alpha.
        QVERIFY(runXdotool({QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                            QStringLiteral("--name"), QStringLiteral("^Verrin Plus$")}));
        QVERIFY(activate(windowA.id));
        const QString database = data.dataFolder() + QStringLiteral("/verrinplus.sqlite");

        letTimePass(3000);
        QVERIFY(activate(windowB.id));
        const QDateTime switched = QDateTime::currentDateTime();
        QTRY_VERIFY_WITH_TIMEOUT(find(database, alpha).end.isValid(), 20000);
        letTimePass(2000);
        const QDateTime terminated = QDateTime::currentDateTime();
        ::kill(pid_t(program.processId()), SIGTERM);
        QVERIFY(program.waitForFinished(20000));
        QCOMPARE(program.exitCode(), 0);
        const Stretch a = find(database, alpha);
        const Stretch b = find(database, beta);
        QVERIFY(a.end.isValid());
        QVERIFY2(b.end.isValid(), "the stretch in progress at SIGTERM was lost");
        // A tick sees a change within a second; one more second for a loaded machine.
        const auto near = [](const QDateTime& recorded, const QDateTime& happened) {
            return qAbs(recorded.secsTo(happened)) <= 2;
        };
        QVERIFY2(a.start >= launched.addSecs(-1), qPrintable(a.start.toString()));
        QVERIFY2(near(a.end, switched), qPrintable(a.end.toString() + " " + switched.toString()));
        QVERIFY2(near(b.end, terminated), qPrintable(b.end.toString() + " " + terminated.toString()));
        QCOMPARE(b.start, a.end); // nothing lost between them
        QCOMPARE(QSettings(ini, QSettings::IniFormat).value(QStringLiteral("Application/Started")).toBool(), true);
    }
};

QTEST_GUILESS_MAIN(TestRecordingEndToEnd)
#include "TestRecordingEndToEnd.moc"
