#include "HeadlessSway.h"
#include "StoredStretches.h"
#include "TempDataFolder.h"
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

// The real program recording real Wayland windows on a headless sway: switching between windows with
// known titles and then sending SIGTERM leaves one row per stretch, with the right application,
// titles and durations, the rows touching, and nothing lost at the end.
class TestRecordingEndToEndWayland : public QObject
{
    Q_OBJECT

private slots:
    void switchingWindowsThenSigterm()
    {
        HeadlessSway sway{QStringLiteral(WAYLAND_TEST_WINDOW)};
        QString whyNot;
        if (!sway.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
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
        QVERIFY(sway.openWindow(QStringLiteral("verrin-e2e-alpha"), alpha));
        QVERIFY(sway.openWindow(QStringLiteral("verrin-e2e-beta"), beta));
        QVERIFY(sway.focus(QStringLiteral("verrin-e2e-alpha")));

        // The program's own windows stay offscreen, so they never take the focus from the test's.
        QProcessEnvironment env = sway.clientEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
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
        const QString database = data.dataFolder() + QStringLiteral("/verrinplus.sqlite");

        StoredStretches::letTimePass(3000);
        QVERIFY(sway.focus(QStringLiteral("verrin-e2e-beta")));
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
        // No desktop entry: the application is shown under its app id.
        QCOMPARE(a.application, QStringLiteral("verrin-e2e-alpha"));
        QCOMPARE(b.application, QStringLiteral("verrin-e2e-beta"));
        auto near = [](const QDateTime& recorded, const QDateTime& happened) {
            // A tick sees a change within a second; one more second for a loaded machine.
            return qAbs(recorded.secsTo(happened)) <= 2;
        };
        QVERIFY2(a.start >= launched.addSecs(-1), qPrintable(a.start.toString()));
        QVERIFY2(near(a.end, switched), qPrintable(a.end.toString() + QLatin1Char(' ') + switched.toString()));
        QVERIFY2(near(b.end, terminated), qPrintable(b.end.toString() + QLatin1Char(' ') + terminated.toString()));
        // Consecutive stretches touch: nothing lost between them.
        QCOMPARE(b.start, a.end);
    }
};

QTEST_GUILESS_MAIN(TestRecordingEndToEndWayland)
#include "TestRecordingEndToEndWayland.moc"
