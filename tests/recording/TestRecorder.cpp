#include "FakePrompter.h"
#include "RecordedRows.h"
#include "RecorderFixture.h"
#include "TestKit.h"
#include "recording/AwayEditDialog.h"
#include "recording/ExcludedApps.h"
#include "recording/ForegroundProbe.h"
#include "recording/IgnoredAppsDialog.h"
#include "recording/TitleCleanup.h"
#include "reports/DayQueries.h"
#include "reports/TreeModel.h"
#include "rules/RuleStore.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSet>
#include <QTimeZone>
#include <QTreeWidget>

namespace {
const QString kBrowser = QStringLiteral("/usr/share/applications/browser.desktop");
const char* kEditor = "/usr/bin/editor";

struct ProbeCase
{
    QString name;
    QString path;
    QString title;
    bool cleanup;
    QString expectedName;
    QString expectedTitle;
};
} // namespace

Q_DECLARE_METATYPE(ProbeCase)

class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    // Days on which the clocks change: forward at 02:00 on 29 March 2026, back at 03:00 on 25 October.
    void initTestCase() { QCOMPARE(QTimeZone::systemTimeZoneId(), QByteArray("Europe/Berlin")); }

    void init()
    {
        f = std::make_unique<RecorderFixture>();
        QVERIFY(f->opened);
    }

    void cleanup() { f.reset(); }

    // A scenario is a list of steps (see run()), on a fresh RecorderFixture: idle detection on with a
    // five-minute limit.
    void scenario_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QStringList>("messages"); // away reports, then status messages
        QTest::addColumn<bool>("skipQuietSeconds");
        // Each scenario also runs as on a desktop that announces its changes, where the seconds with nothing
        // new are not sampled: the rows must be the same.
        bool everySecondOnly = false;
        const auto row = [&everySecondOnly](const char* tag, const char* steps, const QStringList& rows,
                                            const QStringList& said = {}) {
            QTest::newRow(tag) << steps << rows << said << false;
            if (!everySecondOnly) {
                QTest::addRow("%s, sampled on change", tag) << steps << rows << said << true;
            }
        };
        const QString notes = QStringLiteral("Editor: notes.txt");
        row("an evening past midnight is a row for each day", "start, tick 0, ticks 54010, stop",
            {"09:00:00-00:00:00 " + notes, "00:00:00-00:00:10 " + notes});
        // What ends a stretch: another title (even in case only) or application; the name alone does not.
        row("title in another case", "start, tick 0, ticks 30, title Notes.txt, ticks 5, stop",
            {"09:00:00-09:00:31 " + notes, "09:00:31-09:00:35 Editor: Notes.txt"});
        row("another application, same title", "start, tick 0, ticks 30, browser notes.txt, ticks 5, stop",
            {"09:00:00-09:00:31 " + notes, "09:00:31-09:00:35 Browser: notes.txt"});
        row("a renamed application keeps its stretch",
            "start, tick 0, ticks 20, app Text Editor, ticks 20, title todo.txt, ticks 5, stop",
            {"09:00:00-09:00:41 " + notes, "09:00:41-09:00:45 Text Editor: todo.txt"});
        row("stop writes the stretch, paused time is not recorded",
            "start, tick 0, ticks 600, stop, tick 300, start, tick 0, ticks 10, stop",
            {"09:00:00-09:10:00 " + notes, "09:15:00-09:15:10 " + notes});
        row("nothing in front keeps the stretch",
            "none, start, ticks 3, title notes.txt, tick, none, ticks 3, title notes.txt, ticks 2, stop",
            {"09:00:04-09:00:09 " + notes});
        // The limit is reached between two of the minute's checkpoints.
        row("twenty minutes away", "start, tick 0, ticks 630, away 1200, back, tick 0, ticks 30, stop",
            {"09:00:00-09:10:30 " + notes, "09:10:30-09:30:30 Away Time: ", "09:30:30-09:31:00 " + notes},
            {"Duration: 20 m 0 s\nInactivity period: 09:10:30 - 09:30:30"});
        row("a second short of the limit", "start, tick 0, away 299, back, tick 0, ticks 30, stop",
            {"09:00:00-09:05:29 " + notes});
        row("idle detection off", "no idle, start, tick 0, away 1200, back, tick 0, ticks 30, stop",
            {"09:00:00-09:20:30 " + notes});
        // The away stretch starts the new limit before now.
        row("a new idle limit applies at the next tick", "start, tick 0, away 200, limit 3, tick, stop",
            {"09:00:00-09:00:21 " + notes, "09:00:21-09:03:21 Away Time: "});
        // The title changes by itself (a player's next track) two minutes into the absence: the away
        // stretch takes over that whole stretch (its checkpoint row goes again) and rows still touch.
        row("away time never starts before the stretch it ends",
            "start, tick 0, ticks 60, away 120, title changed by itself, away 200, back, ticks 5, stop",
            {"09:00:00-09:03:01 " + notes,
             "09:03:01-09:06:21 Away Time: ", "09:06:21-09:06:25 Editor: changed by itself"},
            {"Duration: 3 m 20 s\nInactivity period: 09:03:01 - 09:06:21"});
        // Paused from the tray while away and started again still away: the away stretch starts with
        // the recording, and the return is still reported.
        row("pausing while away",
            "start, tick 0, ticks 600, away 600, stop, idle 300, tick 300, start, tick 0, "
            "away 60, back, tick, ticks 10, stop",
            {"09:00:00-09:10:00 " + notes,
             "09:10:00-09:20:00 Away Time: ", "09:25:00-09:26:01 Away Time: ", "09:26:01-09:26:11 " + notes},
            {"Duration: 1 m 1 s\nInactivity period: 09:25:00 - 09:26:01"});
        // Each stretch ends at the last tick before the jump; nothing stored is lost.
        everySecondOnly = true;
        row("a clock set back keeps what was stored",
            "start, tick 0, ticks 150, tick -3600, ticks 10, clock -3600, stop",
            {"08:02:30-08:02:40 " + notes, "09:00:00-09:02:30 " + notes});
        const QString gone = QStringLiteral("No desktop to ask");
        row("an unsupported desktop writes nothing", "gone, start, ticks 120, stop", {}, {gone});
        // Only desktops that must be asked go away (a Wayland compositor).
        row("a desktop lost ends the stretch at the last good tick", "start, tick 0, ticks 30, gone, ticks 90, stop",
            {"09:00:00-09:00:30 " + notes}, {gone});
        everySecondOnly = false;
        // No row spans a change of the clocks: the second before it ends the first one.
        row("spring forward", "at 2026-03-29T00:50:00Z, start, tick 0, ticks 1200, stop",
            {"01:50:00-01:59:59 " + notes, "03:00:00-03:10:00 " + notes});
        row("autumn back, rows by start text", "at 2026-10-25T00:50:00Z, start, tick 0, ticks 1200, stop",
            {"02:00:00-02:10:00 " + notes, "02:50:00-02:59:59 " + notes});
        // The rest of a stretch whose stored row was changed meanwhile is a new row from where it ended.
        row("a row linked while open is left alone", "start, tick 0, ticks 200, sql link, ticks 100, browser, tick",
            {"09:00:00-09:03:00 " + notes, "09:03:00-09:05:01 " + notes});
    }

    void scenario()
    {
        QFETCH(QString, steps);
        QFETCH(QStringList, rows);
        QFETCH(QStringList, messages);
        QFETCH(bool, skipQuietSeconds);
        f->skipQuietSeconds = skipQuietSeconds;
        QSignalSpy written(&f->recorder, &Recorder::entryWritten);
        QSignalSpy away(&f->recorder, &Recorder::awayTimeDetected);
        QSignalSpy status(&f->recorder, &Recorder::statusMessage);
        run(steps);
        QCOMPARE(timeline(), rows);
        QStringList said;
        for (const QList<QVariant>& signal : away) {
            said << signal[1].toString();
        }
        for (const QList<QVariant>& signal : status) {
            said << signal[0].toString();
        }
        QCOMPARE(said, messages);
        // The views hear of finished stretches with the stored row's id and final times (as stored: in
        // the repeated autumn hour the text keeps no offset).
        QHash<int, StoredRow> stored;
        QSet<QString> names;
        for (const StoredRow& row : storedRows()) {
            stored.insert(row.id, row);
            names << row.name;
        }
        QSet<int> announced;
        for (const QList<QVariant>& signal : written) {
            const StoredRow row = stored.value(signal[4].toInt());
            announced << row.id;
            QCOMPARE(util::datetime_to_sql(signal[0].toDateTime()), util::datetime_to_sql(row.start));
            QCOMPARE(util::datetime_to_sql(signal[1].toDateTime()), util::datetime_to_sql(row.end));
            QCOMPARE(signal[2].value<AppStruct>().path, row.path);
            QVERIFY(signal[3].toInt() > 0);
        }
        if (steps.endsWith(QLatin1String("stop"))) {
            QCOMPARE(announced.size(), stored.size());
            // One application row serves every stretch of the same application.
            QCOMPARE(RecordedRows::column(QStringLiteral("SELECT id FROM applications")).size(), names.size());
        }
    }

    // The scenarios show the report made on return; this is the state in between.
    void awayIsKnownUntilReturn()
    {
        run(QStringLiteral("start, tick 0, ticks 600"));
        // While the user is active the desktop is asked about once per idle limit, not at every tick.
        QVERIFY2(f->platform.idleQuestions <= 3, qPrintable(QString::number(f->platform.idleQuestions)));
        run(QStringLiteral("away 1200"));
        QVERIFY(f->recorder.isIdle());
        QCOMPARE(f->recorder.awayStartText(), QStringLiteral("at 09:10:00"));
        run(QStringLiteral("back, tick 0"));
        QVERIFY(!f->recorder.isIdle());
    }

    void theOpenStretchIsStoredEveryMinute()
    {
        run(QStringLiteral("start, tick 0"));
        // Nothing is stored in the first minute; from then on the stored end is never a minute behind.
        for (int second = 1; second <= 300; ++second) {
            f->tick();
            const QList<StoredRow> rows = storedRows();
            QCOMPARE(rows.size(), second < Recorder::kCheckpointSeconds ? 0 : 1);
            QVERIFY2(rows.isEmpty() || rows[0].end.secsTo(f->clock.now()) < Recorder::kCheckpointSeconds,
                     qPrintable(rows.value(0).end.toString()));
        }
        // The stored row is finished in place; flush() stores the next stretch at once without ending it.
        QSignalSpy written(&f->recorder, &Recorder::entryWritten);
        run(QStringLiteral("browser, tick, ticks 5"));
        f->recorder.flush();
        QCOMPARE(timeline(), (QStringList{"09:00:00-09:05:01 Editor: notes.txt", "09:05:01-09:05:06 Browser: News"}));
        QCOMPARE(written.size(), 1);
    }

    // A write that fails stops recording with one report; nothing recorded before it is lost, and what
    // was held goes in once the database takes writes again. The failure is a real SQLite refusal.
    void aFailingWriteHoldsTheTimeUntilWritingWorks_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("held");
        const auto row = [](const char* tag, const char* steps, const char* held) {
            QTest::newRow(tag) << QString::fromLatin1(steps) << QString::fromLatin1(held);
        };
        row("at a window change", "ticks 30, read-only, browser, tick", "09:00:00-09:00:31");
        row("storing the first minute", "ticks 59, read-only, tick", "09:00:00-09:01:00");
        row("moving a stored end", "ticks 119, read-only, tick", "09:00:00-09:02:00");
    }

    void aFailingWriteHoldsTheTimeUntilWritingWorks()
    {
        QFETCH(QString, steps);
        QFETCH(QString, held);
        QSignalSpy failed(&f->recorder, &Recorder::writeFailed);
        QSignalSpy recovered(&f->recorder, &Recorder::writeRecovered);
        QSignalSpy written(&f->recorder, &Recorder::entryWritten);
        run(QStringLiteral("start, tick 0, ") + steps);
        QVERIFY(!f->recorder.isRecordingStatus());
        QVERIFY(f->recorder.isWriteFailing());
        QCOMPARE(failed.size(), 1);
        QVERIFY2(failed[0][0].toString().contains(QLatin1String("readonly")), qPrintable(failed[0][0].toString()));
        QCOMPARE(failed[0][1].toBool(), false);
        const int probes = f->platform.probes;
        f->ticks(30); // stopped: no sampling, no more writes
        QCOMPARE(f->platform.probes, probes);

        // Recording again by hand while the database still refuses: held too, but not reported twice.
        run(QStringLiteral("app Editor, title notes.txt, start, tick 0"));
        const QDateTime resumed = f->clock.now();
        run(QStringLiteral("ticks 5, stop"));
        QCOMPARE(failed.size(), 2);
        QCOMPARE(failed[1][1].toBool(), true);
        QVERIFY(!f->recorder.retryPending());
        QCOMPARE(f->recorder.pendingCount(), 2);
        QCOMPARE(recovered.size(), 0);

        run(QStringLiteral("writable"));
        QVERIFY(f->recorder.retryPending());
        QCOMPARE(recovered.size(), 1);
        QCOMPARE(f->recorder.pendingCount(), 0);
        QVERIFY(!f->recorder.isWriteFailing());
        const QString hh = QStringLiteral("hh:mm:ss");
        QCOMPARE(timeline(), QStringList({held + QStringLiteral(" Editor: notes.txt"),
                                          QStringLiteral("%1-%2 Editor: notes.txt")
                                              .arg(resumed.toString(hh), resumed.addSecs(5).toString(hh))}));
        QCOMPARE(written.size(), 2);
        QCOMPARE(written[0][4].toInt(), storedRows()[0].id);
    }

    void probe_data()
    {
        QTest::addColumn<ProbeCase>("c");
        const auto row = [](const char* tag, const ProbeCase& c) { QTest::newRow(tag) << c; };
        // The editor's title, tagged by itself, with clean-up on.
        const auto editor = [](const char* title, const char* expected) {
            QTest::newRow(title) << ProbeCase{"Editor", kEditor, QString::fromUtf8(title), true, "Editor", expected};
        };
        editor("notes.txt", "notes.txt");
        editor("photo.psd @ 66,7% (Layer 1, RGB/8) *", "photo.psd");
        editor("photo.psd @ 12.5%", "photo.psd");
        editor("a.psd @ 50% (Group (copy), RGB/8)", "a.psd");
        editor("a.psd @ 50% (RGB/8) extra", "a.psd extra");
        editor("a.psd @ 50% (Layer 1, RGB *", "a.psd @ 50% (Layer 1, RGB"); // unclosed: the text stays
        editor("user@host: ~", "user@host: ~");
        editor("file*", "file*");
        editor(" *", "(no title)");
        row("clean-up off keeps the title", {"Editor", kEditor, "a.psd @ 100% *", false, "Editor", "a.psd @ 100% *"});
        row("no name: the file name", {"", "/usr/share/applications/gimp.desktop", "x", true, "gimp.desktop", "x"});
        row("script panel is no document",
            {"Adobe Photoshop", "/opt/ps", "ScriptUIFlexServer", true, "Adobe Photoshop", "(no title)"});
        editor("ScriptUIFlexServer", "ScriptUIFlexServer"); // in other applications
        // Huge titles are cut to the stored length, never inside a UTF-16 surrogate pair.
        const int max = util::kMaxTitleLength;
        const QString full(max, QLatin1Char('a'));
        const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80");
        row("a pair across the limit",
            {"Editor", kEditor, full.left(max - 1) + emoji + "zz", true, "Editor", full.left(max - 1)});
        row("a pair just inside",
            {"Editor", kEditor, full.left(max - 2) + emoji + "zz", true, "Editor", full.left(max - 2) + emoji});
    }

    void probe()
    {
        QFETCH(ProbeCase, c);
        Registry::instance()->setTitleCleanupEnabled(c.cleanup);
        f->platform.setWindow(c.name, c.path, c.title);
        // Whether a window is there at all the scenarios show.
        const AppStruct app = ForegroundProbe(&f->platform).getForegroundApp();
        QCOMPARE(QStringList({app.productName, app.path, app.name, app.title}),
                 QStringList({QString(), c.path, c.expectedName, c.expectedTitle}));
    }

    // The desktop is asked for an application's icon once per path, whatever the title.
    void iconsAreAskedForOncePerPath()
    {
        const QString editor = f->folder.path() + QStringLiteral("/editor.desktop");
        const QString viewer = f->folder.path() + QStringLiteral("/viewer.desktop");
        QVERIFY(writeFile(editor, {}) && writeFile(viewer, {}));
        ForegroundProbe probe(&f->platform);
        for (const QString& path : {editor, viewer, editor}) {
            f->platform.setWindow(QStringLiteral("App"), path, path);
            probe.getForegroundApp();
        }
        QCOMPARE(f->platform.iconQuestions, 2);
        QCOMPARE(probe.cachedIcons(), 2);
    }

    void excludingFromTheViewIgnoresCase()
    {
        QStringList paths{QStringLiteral("/usr/bin/Player")};
        QVERIFY(!ExcludedApps::addFromView(paths, QStringLiteral("/usr/bin/player")));
        QVERIFY(!ExcludedApps::addFromView(paths, QString()));
        QVERIFY(ExcludedApps::addFromView(paths, QStringLiteral("/usr/bin/editor")));
        QCOMPARE(paths, (QStringList{QStringLiteral("/usr/bin/Player"), QStringLiteral("/usr/bin/editor")}));
    }

    void addingThroughTheDialog()
    {
        const QString listed = f->folder.path();
        const QString other = listed + QStringLiteral("/sub");
        QVERIFY(QDir().mkpath(other));
        ExcludedApps::setList({listed, other.toUpper()});
        FakePrompter prompter;
        IgnoredAppsDialog dialog(nullptr, &prompter);
        // Already there, or nothing typed: nothing changes and nobody is bothered.
        for (const QString& typed : {listed, QStringLiteral("   "), QString()}) {
            QVERIFY(!dialog.addPath(typed));
        }
        QVERIFY(prompter.calls.isEmpty());
        QVERIFY(!dialog.wasChanged());

        const QString missing = listed + QStringLiteral("/gone \"app\"");
        QVERIFY(!dialog.addPath(missing));
        QCOMPARE(prompter.calls.last().kind + ": " + prompter.calls.last().text,
                 "critical: Application \"" + missing + "\" does not exist.");
        // Paths compare with their case; blanks around are dropped.
        QVERIFY(dialog.addPath(QStringLiteral(" ") + other + QStringLiteral("\t")));
        QVERIFY(!dialog.addPath(other));
        QVERIFY(dialog.wasChanged());
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 3);
        // The registry holds the change at once, whatever button closes the dialog.
        dialog.reject();
        QCOMPARE(ExcludedApps::list(), (QStringList{listed, other.toUpper(), other}));
    }

    void removingTakesOutOneOccurrence()
    {
        // A list edited by hand may hold a path twice; removing its item takes out one occurrence.
        ExcludedApps::setList({QStringLiteral("/a"), QStringLiteral("/b"), QStringLiteral("/a")});
        IgnoredAppsDialog dialog;
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 3);
        dialog.ignoredApps->topLevelItem(0)->setSelected(true);
        dialog.on_btRemove_clicked();
        QVERIFY(dialog.wasChanged());
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 1);
        QCOMPARE(dialog.ignoredApps->topLevelItem(0)->text(0), QStringLiteral("/b"));
        QCOMPARE(ExcludedApps::list(), (QStringList{QStringLiteral("/b"), QStringLiteral("/a")}));
    }

    void awayDialogShowsTheGroupAndOffersPresets()
    {
        RecordedRows::addEntry(1, "", "2026-11-16 10:00:00", 1200);
        RecordedRows::addEntry(1, "x", "2026-11-16 11:00:00", 30);
        RecordedRows::addEntry(1, "", "2026-11-16 12:00:00", 2705);

        AwayEditDialog dialog;
        dialog.putData({1, 3});
        QCOMPARE(dialog.labelStartTime->text(), QStringLiteral("10:00:00"));
        QCOMPARE(dialog.labelEndTime->text(), QStringLiteral("12:45:05"));
        QCOMPARE(dialog.labelDuration->text(), QStringLiteral("1 h 5 m 5 s"));
        QCOMPARE(dialog.getData(), QString());

        dialog.listPresets->setCurrentRow(2);
        QCOMPARE(dialog.getData(), dialog.listPresets->item(2)->text()); // a preset is taken as the description

        // An existing description is shown, so OK keeps it.
        AwayEditDialog again;
        again.putData({2});
        QCOMPARE(again.getData(), QStringLiteral("x"));
    }

    // On the days the clocks change every sum counts a stored row in real seconds, as the trees do: the
    // day's total, a title's total, the hide-under threshold and the time a rule would link.
    void everySumCountsRealSeconds_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        QTest::addColumn<int>("seconds");
        const auto row = [](const char* tag, const char* start, const char* end, int seconds) {
            QTest::newRow(tag) << QString::fromLatin1(start) << QString::fromLatin1(end) << seconds;
        };
        row("spring: a whole day", "2026-03-29 00:00:00", "2026-03-30 00:00:00", 82800);
        row("autumn: within one pass", "2026-10-25 02:10:00", "2026-10-25 02:40:00", 1800);
        // No row the recorder writes spans a change, so both ends read with one offset where they can.
        row("autumn: into the repeated hour, one offset", "2026-10-25 01:50:00", "2026-10-25 02:10:00", 1200);
        row("autumn: out of the repeated hour", "2026-10-25 02:30:00", "2026-10-25 03:30:00", 3600);
        row("autumn: a whole day", "2026-10-25 00:00:00", "2026-10-26 00:00:00", 90000);
        row("end before start", "2026-05-01 10:00:00", "2026-05-01 09:00:00", 0);
        // Rows of older databases may span a change.
        row("spring: 80 minutes on the clock, 20 real", "2026-03-29 01:50:00", "2026-03-29 03:10:00", 1200);
        row("autumn: the clock went back over it", "2026-10-25 02:50:00", "2026-10-25 02:10:00", 1200);
    }

    void everySumCountsRealSeconds()
    {
        QFETCH(QString, start);
        QFETCH(QString, end);
        QFETCH(int, seconds);
        const int id = RecordedRows::addEntry(RecordedRows::addApp(QStringLiteral("Editor")), "notes", start, 0);
        QVERIFY(QSqlQuery().exec(QStringLiteral("UPDATE entries SET end_time = '%1'").arg(end)));
        const QDate day = QDate::fromString(start.left(10), Qt::ISODate);
        QCOMPARE(RuleStore::secondsOf({id}), qint64(seconds));
        QCOMPARE(DayQueries::totalTimeForTitle(day, QStringLiteral("notes"), 1, false, QString()), seconds);
        TreeModel model(false);
        model.initTree(day, 0);
        QCOMPARE(model.getTotalTime(), seconds);
        model.initTree(day, seconds);
        QCOMPARE(model.getTotalTime(), seconds);
        model.initTree(day, seconds + 1);
        QCOMPARE(model.getTotalTime(), 0);
    }

private:
    // Runs the steps of a scenario, separated by ", ":
    //   start, stop       the recording switch          tick [N]   move the clock N (1) seconds and tick
    //   ticks N           N one-second ticks            away N     N ticks without input (idle grows)
    //   back              input again (idle 0)          idle N     N more seconds without input, no tick
    //   clock N           move the clock only           limit N    the idle limit in minutes
    //   at T              set the clock to T (ISO)
    //   title T, app A    the window's title or name    browser [T], none   another window, or none
    //   no idle           idle detection off
    //   gone              the desktop can no longer be asked
    //   sql link          the stored rows linked to a task
    //   read-only, writable    the database refuses writes, or takes them again
    void run(const QString& steps)
    {
        for (const QString& step : steps.split(QStringLiteral(", "))) {
            const QString word = step.section(QLatin1Char(' '), 0, 0);
            const QString rest = step.section(QLatin1Char(' '), 1);
            const int n = rest.isEmpty() ? 1 : rest.toInt();
            const ForegroundWindow window = f->platform.window;
            // What a sample would see changes: the desktop or the settings dialog says so.
            f->announced =
                f->announced ||
                QStringList{"start", "title", "app", "browser", "none", "gone", "limit", "no"}.contains(word);
            FakePlatform& p = f->platform;
            const auto sql = [](const QString& statement) { QVERIFY(QSqlQuery().exec(statement)); };
            const QHash<QString, std::function<void()>> actions{
                {"start",
                 [&] {
                     f->recorder.start();
                     QVERIFY(f->recorder.isRecordingStatus());
                 }},
                {"stop", [&] { f->recorder.stop(); }},
                {"tick", [&] { f->tick(n); }},
                {"ticks", [&] { f->ticks(n); }},
                {"away", [&] { f->ticks(n, true); }},
                {"back", [&] { p.idle = 0; }},
                {"idle", [&] { p.idle += n; }},
                {"clock", [&] { f->clock.advance(n); }},
                {"at", [&] { f->clock.set(QDateTime::fromString(rest, Qt::ISODate).toLocalTime()); }},
                {"limit", [&] { Registry::instance()->setIdleLimit(n); }},
                {"title", [&] { p.setWindow(window.valid ? window.name : "Editor", RecorderFixture::kEditor, rest); }},
                {"app", [&] { p.setWindow(rest, RecorderFixture::kEditor, window.title); }},
                {"browser", [&] { p.setWindow("Browser", kBrowser, rest.isEmpty() ? QStringLiteral("News") : rest); }},
                {"none", [&] { p.setNoWindow(); }},
                {"gone",
                 [&] {
                     p.supported = false;
                     p.reason = QStringLiteral("No desktop to ask");
                 }},
                {"sql link", [&] { sql("UPDATE entries SET ext_task_id = 7, ext_entry_id = 70"); }},
                {"read-only", [&] { sql("PRAGMA query_only = 1"); }},
                {"writable", [&] { sql("PRAGMA query_only = 0"); }},
                {"no idle", [&] { Registry::instance()->setIdleEnabled(false); }},
            };
            const auto action = actions.constFind(actions.contains(step) ? step : word);
            QVERIFY2(action != actions.constEnd(), qPrintable(QStringLiteral("unknown step ") + step));
            (*action)();
        }
    }

    std::unique_ptr<RecorderFixture> f;
};

QTEST_MAIN(TestRecorder)
#include "TestRecorder.moc"
