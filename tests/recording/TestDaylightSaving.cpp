#include "RecordedRows.h"
#include "RecorderFixture.h"
#include "TestKit.h"
#include "reports/DayQueries.h"
#include "reports/TreeModel.h"
#include "rules/RuleStore.h"

#include <QTimeZone>

// Days on which the clocks change (the tests run in Europe/Berlin: forward at 02:00 on 29 March
// 2026, back at 03:00 on 25 October 2026): durations are real elapsed time, never negative.
class TestDaylightSaving : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(QTimeZone::systemTimeZoneId(), QByteArray("Europe/Berlin")); }

    // Every sum counts a stored row in real seconds, as the trees do: the day's total, a title's total,
    // the hide-under threshold and the time a rule would link.
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
        RecorderFixture f;
        QVERIFY(f.opened);
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
};

VERRIN_TEST(TestDaylightSaving)
#include "TestDaylightSaving.moc"
