#include "RecordedRows.h"
#include "TestKit.h"
#include "TestTools.h"
#include "recording/Recorder.h"
#include "store/Database.h"
#include "store/util.h"

class TestRecorderCrash : public QObject
{
    Q_OBJECT

private slots:
    void aKilledRecorderLosesAtMostTheCheckpointInterval_data()
    {
        QTest::addColumn<int>("step");
        QTest::addColumn<int>("killAfter");
        QTest::newRow("one second ticks") << 1 << 150;
        QTest::newRow("seven second ticks, later") << 7 << 700;
    }

    void aKilledRecorderLosesAtMostTheCheckpointInterval()
    {
        QFETCH(int, step);
        QFETCH(int, killAfter);

        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("verrinplus.sqlite"));

        QProcess helper;
        helper.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        helper.start(QStringLiteral(RECORDER_CRASH_HELPER), {path, QString::number(step)});
        QVERIFY2(helper.waitForStarted(30000), qPrintable(helper.errorString()));

        // Read progress until the helper has simulated enough, then kill it without warning; lines that
        // arrive before the kill tell how far it got at least.
        int simulated = -1;
        const auto readProgress = [&](int timeoutMs) { // "simulated <seconds>", each more than the last
            const QByteArray line = waitForLine(helper, timeoutMs);
            simulated = qMax(simulated, line.mid(10).toInt());
            return !line.isEmpty();
        };
        for (int line = 0; line < 10000 && simulated < killAfter; ++line) {
            QVERIFY2(readProgress(30000), "the helper ended by itself or made no progress");
        }
        helper.kill();
        QVERIFY(helper.waitForFinished(30000));
        while (readProgress(0)) { // what it printed before the kill, a finite rest
        }

        Database database;
        QString error;
        QVERIFY2(database.open(path, &error), qPrintable(error));
        QCOMPARE(RecordedRows::column(QStringLiteral("PRAGMA integrity_check")), QStringList{QStringLiteral("ok")});

        QSqlQuery rows(QStringLiteral("SELECT start_time, end_time FROM entries ORDER BY start_time"));
        const QDateTime begin(QDate(2026, 11, 16), QTime(9, 0, 0));
        QDateTime covered = begin;
        while (rows.next()) {
            const QDateTime start = util::sql_to_datetime(rows.value(0).toString());
            const QDateTime end = util::sql_to_datetime(rows.value(1).toString());
            QCOMPARE(start, covered); // no gap, no overlap
            QVERIFY(end > start);
            covered = end;
        }
        QVERIFY(covered > begin);
        const int lost = int(covered.secsTo(begin.addSecs(simulated)));
        QVERIFY2(
            lost >= 0 && lost <= Recorder::kCheckpointSeconds + step,
            qPrintable(QStringLiteral("simulated %1 s, stored up to %2 s").arg(simulated).arg(begin.secsTo(covered))));
    }
};

QTEST_GUILESS_MAIN(TestRecorderCrash)
#include "TestRecorderCrash.moc"
