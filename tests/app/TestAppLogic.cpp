#include "TestKit.h"
#include "app/CommandLine.h"
#include "app/DebugLog.h"
#include "app/LocalZone.h"
#include "app/WindowPolicy.h"

#include <QTimeZone>

using WindowPolicy::CloseAction;
using WindowPolicy::TrayClick;
Q_DECLARE_METATYPE(CloseAction)
Q_DECLARE_METATYPE(CommandLine::Mode)

// Command line, log format and the window's close/minimise/tray decisions.
class TestAppLogic : public QObject
{
    Q_OBJECT

private slots:
    void logLine_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("expected");
        QTest::newRow("debug") << int(QtDebugMsg) << "05-03-2026 07:08:09 x\n";
        QTest::newRow("warning") << int(QtWarningMsg) << "05-03-2026 07:08:09 Warning: x\n";
        QTest::newRow("critical") << int(QtCriticalMsg) << "05-03-2026 07:08:09 Critical: x\n";
        QTest::newRow("fatal") << int(QtFatalMsg) << "05-03-2026 07:08:09 Fatal: x\n";
    }

    void logLine()
    {
        QFETCH(int, type);
        QFETCH(QString, expected);
        const QDateTime when(QDate(2026, 3, 5), QTime(7, 8, 9));
        QCOMPARE(DebugLog::formatLine(when, QtMsgType(type), QStringLiteral("x")), expected);
    }

    void logAppendsAcrossRuns()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("debug.log"));
        for (int run = 0; run < 2; ++run) {
            DebugLog::install(path);
            qDebug().noquote() << "run" << run;
            qWarning("careful");
            // Written as it goes, not at close: a crash or a kill keeps what was said before it.
            QFile sofar(path);
            QVERIFY(sofar.open(QIODevice::ReadOnly));
            QCOMPARE(sofar.readAll().count("careful"), run + 1);
            DebugLog::close();
            qInstallMessageHandler(nullptr);
        }
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 4);
        const QRegularExpression stamp(QStringLiteral("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d "));
        for (const QString& line : lines) {
            QVERIFY2(stamp.match(line).hasMatch(), qPrintable(line));
        }
        QVERIFY(lines.at(0).endsWith(QLatin1String(" run 0")));
        QVERIFY(lines.at(1).endsWith(QLatin1String(" Warning: careful")));
        QVERIFY(lines.at(2).endsWith(QLatin1String(" run 1")));
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
        if (saved.isNull()) {
            qunsetenv("TZ");
        } else {
            qputenv("TZ", saved);
        }
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<CommandLine::Mode>("mode");
        QTest::addColumn<bool>("debug");
        QTest::addColumn<bool>("error");
        using M = CommandLine::Mode;
        QTest::newRow("nothing") << QStringList{} << M::Gui << false << false;
        QTest::newRow("-debug") << QStringList{"-debug"} << M::Gui << true << false;
        QTest::newRow("capital") << QStringList{"-Debug"} << M::Gui << false << false;
        QTest::newRow("two dashes") << QStringList{"--debug"} << M::Gui << false << false;
        QTest::newRow("unknown ignored") << QStringList{"-psn_0_1234", "file.txt"} << M::Gui << false << false;
        QTest::newRow("version") << QStringList{"--version"} << M::Version << false << false;
        QTest::newRow("help") << QStringList{"--help"} << M::Help << false << false;
        QTest::newRow("report today") << QStringList{"--report"} << M::Report << false << false;
        QTest::newRow("report date") << QStringList{"--report", "2026-02-28"} << M::Report << false << false;
        QTest::newRow("report bad date") << QStringList{"--report", "2026-02-30"} << M::Report << false << true;
        QTest::newRow("report bad format") << QStringList{"--report", "--format", "xml"} << M::Report << false << true;
        QTest::newRow("report range by task")
            << QStringList{"--report", "2026-02-01", "2026-02-28", "--by", "task"} << M::Report << false << false;
        QTest::newRow("report range backwards")
            << QStringList{"--report", "2026-02-28", "2026-02-01"} << M::Report << false << true;
        QTest::newRow("report by nothing known")
            << QStringList{"--report", "--by", "week"} << M::Report << false << true;
        QTest::newRow("check links") << QStringList{"--check-links", "2026-02-01"} << M::CheckLinks << false << false;
        QTest::newRow("rules one day") << QStringList{"--apply-rules", "2026-01-01"} << M::ApplyRules << false << false;
        QTest::newRow("rules no date") << QStringList{"--apply-rules"} << M::ApplyRules << false << true;
        QTest::newRow("rules backwards") << QStringList{"--apply-rules", "2026-02-01", "2026-01-01"} << M::ApplyRules
                                         << false << true;
    }

    void commandLine()
    {
        QFETCH(QStringList, args);
        QFETCH(CommandLine::Mode, mode);
        QFETCH(bool, debug);
        QFETCH(bool, error);
        const QDate today(2026, 11, 22);
        const CommandLine cl = CommandLine::parse(QStringList{QStringLiteral("verrinplus")} + args, today);
        QCOMPARE(cl.mode, mode);
        QCOMPARE(cl.debug, debug);
        QCOMPARE(!cl.error.isEmpty(), error);
    }

    void commandLineDates()
    {
        const QDate today(2026, 11, 22);
        auto parse = [&](const QStringList& args) {
            return CommandLine::parse(QStringList{"verrinplus"} + args, today);
        };
        QCOMPARE(parse({"--report"}).reportDate, today);
        const CommandLine csv = parse({"--report", "2026-02-28", "--format", "csv"});
        QCOMPARE(csv.reportDate, QDate(2026, 2, 28));
        QCOMPARE(csv.format, QStringLiteral("csv"));
        const CommandLine range = parse({"--apply-rules", "2026-01-01", "2026-01-31"});
        QCOMPARE(range.fromDate, QDate(2026, 1, 1));
        QCOMPARE(range.toDate, QDate(2026, 1, 31));
        QCOMPARE(parse({"--apply-rules", "2026-01-05"}).toDate, QDate(2026, 1, 5));
    }

    void closeDecision_data()
    {
        QTest::addColumn<bool>("tray");
        QTest::addColumn<bool>("closeToTray");
        QTest::addColumn<bool>("spontaneous");
        QTest::addColumn<CloseAction>("expected");
        QTest::newRow("title bar, close to tray") << true << true << true << CloseAction::HideApplication;
        QTest::newRow("program close, close to tray") << true << true << false << CloseAction::HideWindowThenClose;
        QTest::newRow("close to tray off") << true << false << true << CloseAction::Close;
        QTest::newRow("no tray: never hide") << false << true << true << CloseAction::Close;
        QTest::newRow("no tray, program close") << false << true << false << CloseAction::Close;
    }

    void closeDecision()
    {
        QFETCH(bool, tray);
        QFETCH(bool, closeToTray);
        QFETCH(bool, spontaneous);
        QFETCH(CloseAction, expected);
        QCOMPARE(WindowPolicy::onClose(tray, closeToTray, spontaneous), expected);
    }

    void minimiseAndQuit()
    {
        QVERIFY(WindowPolicy::hideOnMinimize(true, true, true, true));
        QVERIFY(!WindowPolicy::hideOnMinimize(true, false, true, true)); // a normal minimised window
        QVERIFY(!WindowPolicy::hideOnMinimize(true, true, false, true)); // the program minimised itself
        QVERIFY(!WindowPolicy::hideOnMinimize(true, true, true, false)); // nowhere to come back from
        QVERIFY(!WindowPolicy::hideOnMinimize(false, true, true, true));
        QVERIFY(!WindowPolicy::quitOnLastWindowClosed(true, true));
        QVERIFY(WindowPolicy::quitOnLastWindowClosed(false, true));
        // Without a tray a closed window must end the program, or it would run on invisibly.
        QVERIFY(WindowPolicy::quitOnLastWindowClosed(true, false));
    }

    void trayClicks()
    {
        QVERIFY(WindowPolicy::trayClickShowsWindow(TrayClick::Single, true));
        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Double, true));
        QVERIFY(WindowPolicy::trayClickShowsWindow(TrayClick::Double, false));
        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Single, false));
        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Other, true));
        QVERIFY(!WindowPolicy::trayClickShowsWindow(TrayClick::Other, false));
    }

    void trayAnimationCycles()
    {
        int frame = 0;
        QList<int> seen;
        for (int i = 0; i < 10; ++i) {
            frame = WindowPolicy::nextFrame(frame, 8);
            seen << frame;
        }
        QCOMPARE(seen, (QList<int>{1, 2, 3, 4, 5, 6, 7, 0, 1, 2}));
    }
};

VERRIN_TEST(TestAppLogic)
#include "TestAppLogic.moc"
