#include "RecorderFixture.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {
const QString kEditor = QStringLiteral("/usr/share/applications/editor.desktop");
const QString kBrowser = QStringLiteral("/usr/share/applications/browser.desktop");
const QString kIdlePath = QStringLiteral("verrin://idle");
} // namespace

class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void anHourInOneWindowIsOneRow();
    void switchingEverySecondGivesTouchingOneSecondRows();
    void whatEndsAStretch_data();
    void whatEndsAStretch();
    void aRenamedApplicationKeepsItsStretch();
    void stopWritesTheStretchInProgress();
    void theOpenStretchIsStoredEveryMinute();
    void nothingInFrontKeepsTheStretch();
    void twentyMinutesAwayGiveOneAwayRow();
    void aShortAbsenceIsNotAwayTime();
    void aNewIdleLimitAppliesAtTheNextTick();
    void awayTimeNeverStartsBeforeTheStretchItEnds();
    void idleDetectionCanBeSwitchedOff();
    void pausingWhileAwayStillReportsTheReturn();
    void anUnsupportedDesktopWritesNothing();
    void aClockSetBackKeepsWhatWasStored();
    void aRowChangedWhileOpenIsLeftAlone_data();
    void aRowChangedWhileOpenIsLeftAlone();

private:
    std::unique_ptr<RecorderFixture> f;
};

void TestRecorder::init()
{
    f = std::make_unique<RecorderFixture>();
    QVERIFY(f->opened);
    f->platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("notes.txt"));
}

void TestRecorder::cleanup()
{
    f.reset();
}

void TestRecorder::anHourInOneWindowIsOneRow()
{
    QSignalSpy written(&f->recorder, &Recorder::entryWritten);
    f->recorder.start();
    f->tick(0);
    f->ticks(3599);
    f->platform.setWindow(QStringLiteral("Browser"), kBrowser, QStringLiteral("News"));
    f->tick();

    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].start, f->at(9, 0));
    QCOMPARE(rows[0].end, f->at(10, 0));
    QCOMPARE(rows[0].title, QStringLiteral("notes.txt"));
    QCOMPARE(rows[0].path, kEditor);
    QCOMPARE(rows[0].name, QStringLiteral("Editor"));

    // The views hear of it once, with the stored row's id and the final times.
    QCOMPARE(written.size(), 1);
    QCOMPARE(written[0][0].toDateTime(), f->at(9, 0));
    QCOMPARE(written[0][1].toDateTime(), f->at(10, 0));
    QCOMPARE(written[0][2].value<AppStruct>().path, kEditor);
    QVERIFY(written[0][3].toInt() > 0);
    QCOMPARE(written[0][4].toInt(), rows[0].id);
}

void TestRecorder::switchingEverySecondGivesTouchingOneSecondRows()
{
    f->recorder.start();
    f->tick(0);
    for (int i = 0; i < 10; ++i) {
        f->platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("doc %1").arg(i));
        f->tick();
    }
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 10);
    QCOMPARE(rows.first().start, f->at(9, 0));
    QCOMPARE(rows.first().title, QStringLiteral("notes.txt"));
    for (int i = 0; i < rows.size(); ++i) {
        QCOMPARE(rows[i].seconds(), 1);
        if (i > 0) {
            QCOMPARE(rows[i].start, rows[i - 1].end);
        }
    }
    // One application row serves every stretch of the same application.
    QCOMPARE(countRows(QStringLiteral("applications")), 1);
}

void TestRecorder::whatEndsAStretch_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("cleanup");
    QTest::addColumn<bool>("ends");

    QTest::newRow("another title") << "Editor" << kEditor << "todo.txt" << true << true;
    QTest::newRow("title in another case") << "Editor" << kEditor << "Notes.txt" << true << true;
    QTest::newRow("another application, same title") << "Browser" << kBrowser << "notes.txt" << true << true;
    QTest::newRow("same path and title, new name") << "Text Editor" << kEditor << "notes.txt" << true << false;
    QTest::newRow("zoom change, clean-up on") << "Editor" << kEditor << "notes.txt @ 50%" << true << false;
    QTest::newRow("zoom change, clean-up off") << "Editor" << kEditor << "notes.txt @ 50%" << false << true;
}

void TestRecorder::whatEndsAStretch()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, title);
    QFETCH(bool, cleanup);
    QFETCH(bool, ends);

    (*Registry::instance())[QStringLiteral("ExtensionsAdobeEnabled")] = cleanup;
    f->recorder.start();
    f->tick(0);
    f->ticks(30);
    f->platform.setWindow(name, path, title);
    f->tick();

    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), ends ? 1 : 0);
    if (ends) {
        QCOMPARE(rows[0].seconds(), 31);
        QCOMPARE(f->recorder.currentStart(), rows[0].end);
        QCOMPARE(f->recorder.currentApp().title, title);
    } else {
        QCOMPARE(f->recorder.currentStart(), f->at(9, 0));
    }
}

void TestRecorder::aRenamedApplicationKeepsItsStretch()
{
    f->recorder.start();
    f->tick(0);
    f->ticks(20);
    f->platform.setWindow(QStringLiteral("Text Editor"), kEditor, QStringLiteral("notes.txt"));
    f->ticks(20);
    f->platform.setWindow(QStringLiteral("Text Editor"), kEditor, QStringLiteral("todo.txt"));
    f->ticks(5);
    f->recorder.stop();

    // The stretch keeps the name it started with; the next one is stored under the new name.
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows[0].seconds(), 41);
    QCOMPARE(rows[0].name, QStringLiteral("Editor"));
    QCOMPARE(rows[1].name, QStringLiteral("Text Editor"));
    QCOMPARE(rows[1].path, kEditor);
    QCOMPARE(countRows(QStringLiteral("applications")), 2);
}

void TestRecorder::stopWritesTheStretchInProgress()
{
    QSignalSpy written(&f->recorder, &Recorder::entryWritten);
    f->recorder.start();
    f->tick(0);
    f->ticks(600);
    f->recorder.stop();
    QVERIFY(!f->recorder.isRecordingStatus());
    QVERIFY(f->recorder.currentApp().isEmpty());

    QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].start, f->at(9, 0));
    QCOMPARE(rows[0].end, f->at(9, 10));
    QCOMPARE(written.size(), 1);
    QCOMPARE(written[0][4].toInt(), rows[0].id);

    // Paused time is not recorded; recording again opens a new stretch at the first tick.
    f->tick(300);
    f->recorder.start();
    f->tick(0);
    f->ticks(10);
    f->recorder.stop();
    rows = storedRows();
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows[1].start, f->at(9, 15));
    QCOMPARE(rows[1].seconds(), 10);
}

void TestRecorder::theOpenStretchIsStoredEveryMinute()
{
    QSignalSpy written(&f->recorder, &Recorder::entryWritten);
    f->recorder.start();
    f->tick(0);
    f->ticks(59);
    QCOMPARE(countRows(QStringLiteral("entries")), 0);

    // From then on the stored end is never more than a minute behind.
    for (int second = 60; second <= 300; ++second) {
        f->tick();
        const QList<StoredRow> rows = storedRows();
        QCOMPARE(rows.size(), 1);
        QVERIFY2(rows[0].end.secsTo(f->clock.now()) < Recorder::kCheckpointSeconds, qPrintable(rows[0].end.toString()));
    }
    const int storedId = storedRows()[0].id;
    QCOMPARE(written.size(), 0);

    f->platform.setWindow(QStringLiteral("Browser"), kBrowser, QStringLiteral("News"));
    f->ticks(1);
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].id, storedId);
    QCOMPARE(rows[0].end, f->at(9, 5, 1));
    QCOMPARE(written.size(), 1);
    QCOMPARE(written[0][4].toInt(), storedId);

    // flush() stores the new stretch at once without ending it.
    f->ticks(5);
    f->recorder.flush();
    QCOMPARE(storedRows().size(), 2);
    QCOMPARE(storedRows()[1].end, f->clock.now());
    QCOMPARE(written.size(), 1);
}

void TestRecorder::nothingInFrontKeepsTheStretch()
{
    // Nothing in front at the start opens nothing.
    f->platform.setNoWindow();
    f->recorder.start();
    f->ticks(3);
    QVERIFY(f->recorder.currentApp().isEmpty());

    f->platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("notes.txt"));
    f->tick();
    const QDateTime opened = f->clock.now();
    f->platform.setNoWindow();
    f->ticks(3);
    f->platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("notes.txt"));
    f->ticks(2);
    f->recorder.stop();

    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].start, opened);
    QCOMPARE(rows[0].seconds(), 5);
    QCOMPARE(rows[0].title, QStringLiteral("notes.txt"));
}

void TestRecorder::twentyMinutesAwayGiveOneAwayRow()
{
    QSignalSpy away(&f->recorder, &Recorder::awayTimeDetected);
    f->recorder.start();
    f->tick(0);
    f->ticks(600);           // working until 09:10
    f->ticks(20 * 60, true); // no input until 09:30
    QVERIFY(f->recorder.isIdle());
    QCOMPARE(away.size(), 0);
    f->platform.idle = 0; // back
    f->tick(0);
    QVERIFY(!f->recorder.isIdle());
    f->ticks(30);
    f->recorder.stop();

    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 3);
    QCOMPARE(rows[0].path, kEditor);
    QCOMPARE(rows[0].end, f->at(9, 10));
    QCOMPARE(rows[1].path, kIdlePath);
    QCOMPARE(rows[1].name, QStringLiteral("Away Time"));
    QCOMPARE(rows[1].title, QString());
    QCOMPARE(rows[1].start, f->at(9, 10));
    QCOMPARE(rows[1].end, f->at(9, 30));
    QCOMPARE(rows[2].start, f->at(9, 30));
    QCOMPARE(rows[2].path, kEditor);

    QCOMPARE(away.size(), 1);
    QCOMPARE(away[0][0].toString(), QStringLiteral("Away time detected"));
    QCOMPARE(away[0][1].toString(), QStringLiteral("Duration: 20 m 0 s\nInactivity period: 09:10:00 - 09:30:00"));
    QCOMPARE(f->recorder.awayStartText(), QStringLiteral("at 09:10:00"));
    QCOMPARE(EntryWriter::idleAppId(), countRows(QStringLiteral("applications")));
}

void TestRecorder::aShortAbsenceIsNotAwayTime()
{
    QSignalSpy away(&f->recorder, &Recorder::awayTimeDetected);
    f->recorder.start();
    f->tick(0);
    f->ticks(5 * 60 - 1, true);
    f->platform.idle = 0;
    f->ticks(10);
    f->recorder.stop();

    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].path, kEditor);
    QCOMPARE(rows[0].seconds(), 5 * 60 - 1 + 10);
    QCOMPARE(away.size(), 0);
    QCOMPARE(EntryWriter::idleAppId(), 0);
}

void TestRecorder::aNewIdleLimitAppliesAtTheNextTick()
{
    f->recorder.start();
    f->tick(0);
    f->ticks(200, true);
    QVERIFY(!f->recorder.isIdle());
    (*Registry::instance())[QStringLiteral("IdleLimit")] = 3;
    f->tick();
    QVERIFY(f->recorder.isIdle());
    QCOMPARE(f->recorder.currentApp().path, kIdlePath);
    // The away stretch starts the new limit before now.
    QCOMPARE(f->recorder.currentStart(), f->clock.now().addSecs(-180));
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].end, f->recorder.currentStart());
}

void TestRecorder::awayTimeNeverStartsBeforeTheStretchItEnds()
{
    f->recorder.start();
    f->tick(0);
    f->ticks(60);
    // The title changes by itself (a player's next track) two minutes into the absence, so the
    // stretch it opens begins after the last input.
    f->ticks(120, true);
    f->platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("changed by itself"));
    f->ticks(200, true);
    QVERIFY(f->recorder.isIdle());
    f->platform.idle = 0;
    f->ticks(5);
    f->recorder.stop();

    // The away stretch takes over that whole stretch (its checkpoint row goes again); rows still touch.
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 3);
    QCOMPARE(rows[0].title, QStringLiteral("notes.txt"));
    QCOMPARE(rows[0].end, f->at(9, 3, 1));
    QCOMPARE(rows[1].path, kIdlePath);
    QCOMPARE(rows[1].start, f->at(9, 3, 1));
    QCOMPARE(rows[2].title, QStringLiteral("changed by itself"));
    for (int i = 1; i < rows.size(); ++i) {
        QCOMPARE(rows[i].start, rows[i - 1].end);
        QVERIFY(rows[i].seconds() > 0);
    }
}

void TestRecorder::idleDetectionCanBeSwitchedOff()
{
    (*Registry::instance())[QStringLiteral("IdleEnabled")] = false;
    QSignalSpy away(&f->recorder, &Recorder::awayTimeDetected);
    f->recorder.start();
    f->tick(0);
    f->ticks(20 * 60, true);
    f->platform.idle = 0;
    f->tick();
    f->recorder.stop();
    QCOMPARE(storedRows().size(), 1);
    QCOMPARE(storedRows()[0].seconds(), 20 * 60 + 1);
    QCOMPARE(away.size(), 0);
}

void TestRecorder::pausingWhileAwayStillReportsTheReturn()
{
    QSignalSpy away(&f->recorder, &Recorder::awayTimeDetected);
    f->recorder.start();
    f->tick(0);
    f->ticks(600);
    f->ticks(600, true);
    f->recorder.stop(); // paused at 09:20 from the tray, without touching anything
    QVERIFY(f->recorder.isIdle());

    // Started again while still away: the away stretch starts with the recording.
    f->platform.idle += 300;
    f->tick(300);
    f->recorder.start();
    f->tick(0);
    QCOMPARE(f->recorder.currentApp().path, kIdlePath);
    QCOMPARE(f->recorder.currentStart(), f->at(9, 25));
    f->ticks(60, true);
    f->platform.idle = 0;
    f->tick();
    f->ticks(10);
    f->recorder.stop();

    QCOMPARE(away.size(), 1);
    QCOMPARE(away[0][1].toString(), QStringLiteral("Duration: 1 m 1 s\nInactivity period: 09:25:00 - 09:26:01"));
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 4);
    QCOMPARE(rows[1].path, kIdlePath);
    QCOMPARE(rows[1].start, f->at(9, 10));
    QCOMPARE(rows[1].end, f->at(9, 20));
    QCOMPARE(rows[2].path, kIdlePath);
    QCOMPARE(rows[2].start, f->at(9, 25));
    QCOMPARE(rows[3].start, f->at(9, 26, 1));
    QCOMPARE(rows[3].path, kEditor);
}

void TestRecorder::anUnsupportedDesktopWritesNothing()
{
    f->platform.supported = false;
    f->platform.reason = QStringLiteral("Wayland sessions are not supported yet");
    QSignalSpy status(&f->recorder, &Recorder::statusMessage);
    QSignalSpy written(&f->recorder, &Recorder::entryWritten);
    f->recorder.start();
    QVERIFY(f->recorder.isRecordingStatus());
    f->ticks(120);
    f->recorder.stop();
    QCOMPARE(status.size(), 1);
    QCOMPARE(status[0][0].toString(), f->platform.reason);
    QCOMPARE(written.size(), 0);
    QCOMPARE(countRows(QStringLiteral("entries")), 0);
    QCOMPARE(f->platform.probes, 0);
}

void TestRecorder::aClockSetBackKeepsWhatWasStored()
{
    QSignalSpy written(&f->recorder, &Recorder::entryWritten);
    f->recorder.start();
    f->tick(0);
    f->ticks(150);
    f->tick(-3600);
    QCOMPARE(written.size(), 1);
    QCOMPARE(written[0][1].toDateTime(), f->at(9, 2, 30));
    QCOMPARE(f->recorder.currentStart(), f->at(8, 2, 30));
    f->ticks(10);
    f->clock.advance(-3600); // and once more, straight before pausing
    f->recorder.stop();

    // Each stretch ends at the last tick before the jump; nothing stored is lost.
    const QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows[0].start, f->at(8, 2, 30));
    QCOMPARE(rows[0].seconds(), 10);
    QCOMPARE(rows[1].start, f->at(9, 0));
    QCOMPARE(rows[1].end, f->at(9, 2, 30));
}

void TestRecorder::aRowChangedWhileOpenIsLeftAlone_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("linked to a task") << "UPDATE entries SET ext_task_id = 7, ext_entry_id = 70";
    QTest::newRow("deleted") << "DELETE FROM entries";
}

void TestRecorder::aRowChangedWhileOpenIsLeftAlone()
{
    QFETCH(QString, change);
    QSignalSpy written(&f->recorder, &Recorder::entryWritten);
    f->recorder.start();
    f->tick(0);
    f->ticks(200); // stored up to 09:03:00
    QSqlQuery query;
    QVERIFY(query.exec(change));
    const QList<StoredRow> before = storedRows();
    f->ticks(100);
    f->platform.setWindow(QStringLiteral("Browser"), kBrowser, QStringLiteral("News"));
    f->tick();

    // The rest of the stretch is a new row that starts where the changed one ended.
    QList<StoredRow> rows = storedRows();
    QCOMPARE(rows.size(), before.size() + 1);
    if (!before.isEmpty()) {
        QCOMPARE(rows[0].end, f->at(9, 3));
    }
    QCOMPARE(rows.last().start, f->at(9, 3));
    QCOMPARE(rows.last().end, f->at(9, 5, 1));
    QCOMPARE(written.size(), 1);
    QCOMPARE(written[0][0].toDateTime(), f->at(9, 3));
    QCOMPARE(written[0][4].toInt(), rows.last().id);
}

QTEST_MAIN(TestRecorder)
#include "TestRecorder.moc"
