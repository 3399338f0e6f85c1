#include "TestKit.h"
#include "TestTools.h"
#include "app/CommandLine.h"
#include "app/DebugLog.h"
#include "app/LocalZone.h"
#include "app/WindowPolicy.h"

#include <QTimeZone>

using WindowPolicy::CloseAction;
using WindowPolicy::TrayClick;

// Command line, the debug log, the local zone and the window's close/minimise/tray decisions.
class TestAppLogic : public QObject
{
    Q_OBJECT

private slots:
    // Appended across runs, each line written as it goes, not at close: a crash or a kill keeps what
    // was said before it.
    void logAppendsAcrossRuns()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("debug.log");
        for (int run = 1; run <= 2; ++run) {
            DebugLog::install(path);
            qWarning("careful");
            QCOMPARE(fileContents(path).count(" Warning: careful\n"), run);
            DebugLog::close();
            qInstallMessageHandler(nullptr);
        }
    }

    // Reading the zone once must not change what local time is.
    void zoneReadOnceKeepsLocalTime()
    {
        const QByteArray saved = qgetenv("TZ");
        qunsetenv("TZ");
        // A fixed moment, winter or summer as the zone has it: no test should hang on today's date.
        const QDateTime moment = QDateTime::fromSecsSinceEpoch(1785000000);
        const int offsetBefore = moment.toLocalTime().offsetFromUtc();
        const QByteArray zoneBefore = QTimeZone::systemTimeZoneId();
        LocalZone::readOnce();
        QCOMPARE(qgetenv("TZ"), QByteArray(":/etc/localtime"));
        QCOMPARE(QTimeZone::systemTimeZoneId(), zoneBefore);
        QCOMPARE(QDateTime::fromSecsSinceEpoch(1785000000).toLocalTime().offsetFromUtc(), offsetBefore);
        QVERIFY(!LocalZone::followChanges()); // the file did not change
        saved.isNull() ? qunsetenv("TZ") : qputenv("TZ", saved);
    }

    void commandLine()
    {
        using M = CommandLine::Mode;
        const struct
        {
            QStringList args;
            M mode;
            bool debug, error;
        } cases[] = {
            {{"-Debug", "--debug"}, M::Gui, false, false},       // only exactly "-debug"
            {{"-psn_0_1234", "file.txt"}, M::Gui, false, false}, // unknown arguments are ignored
            {{"--report"}, M::Report, false, false},
            {{"--report", "2026-02-30"}, M::Report, false, true},
            {{"--report", "--format", "xml"}, M::Report, false, true},
            {{"--report", "2026-02-01", "2026-02-28", "--by", "task"}, M::Report, false, false},
            {{"--report", "2026-02-28", "2026-02-01"}, M::Report, false, true},
            {{"--report", "--by", "week"}, M::Report, false, true},
            {{"--apply-rules"}, M::ApplyRules, false, true},
            {{"--apply-rules", "2026-02-01", "2026-01-01"}, M::ApplyRules, false, true},
        };
        const QDate today(2026, 11, 22);
        for (const auto& c : cases) {
            const CommandLine cl = CommandLine::parse(QStringList{"verrinplus"} + c.args, today);
            const QString row = c.args.join(' ');
            QVERIFY2(cl.mode == c.mode && cl.debug == c.debug && cl.error.isEmpty() != c.error, qPrintable(row));
        }
        // Dates and formats given in full, -debug and --check-links are run end to end by the process
        // and linking tests.
        QCOMPARE(CommandLine::parse({"verrinplus", "--report"}, today).reportDate, today);
    }

    void windowPolicy()
    {
        using WindowPolicy::onClose;
        QVERIFY(onClose(true, true, true) == CloseAction::HideApplication); // the title bar's close
        QVERIFY(onClose(true, true, false) == CloseAction::HideWindowThenClose);
        QVERIFY(onClose(true, false, true) == CloseAction::Close);
        QVERIFY(onClose(false, true, true) == CloseAction::Close); // no tray: never hide

        QVERIFY(WindowPolicy::hideOnMinimize(true, true, true, true));
        QVERIFY(!WindowPolicy::hideOnMinimize(true, false, true, true)); // a normal minimised window
        QVERIFY(!WindowPolicy::hideOnMinimize(true, true, false, true)); // the program minimised itself
        QVERIFY(!WindowPolicy::hideOnMinimize(true, true, true, false)); // nowhere to come back from
        QVERIFY(!WindowPolicy::hideOnMinimize(false, true, true, true));
        QVERIFY(!WindowPolicy::quitOnLastWindowClosed(true, true));
        QVERIFY(WindowPolicy::quitOnLastWindowClosed(false, true));

        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Double, true));
        QVERIFY(WindowPolicy::trayClickShowsWindow(TrayClick::Double, false));
        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Single, false));
        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Other, true));

        QCOMPARE(WindowPolicy::nextFrame(6, 8), 7);
        QCOMPARE(WindowPolicy::nextFrame(7, 8), 0); // the animation cycles
    }
};

VERRIN_TEST(TestAppLogic)
#include "TestAppLogic.moc"
