#include "RecorderFixture.h"
#include "views/TreeModel.h"

#include <QSqlQuery>
#include <QTest>
#include <QTimeZone>

namespace {
const QString kEditor = QStringLiteral("/usr/share/applications/editor.desktop");

qint64 elapsed(const QString& start, const QString& end)
{
    const QDateTime a = QDateTime::fromString(start, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    const QDateTime b = QDateTime::fromString(end, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    return util::elapsed_seconds(a.date().toJulianDay(), a.time().msecsSinceStartOfDay() / 1000, b.date().toJulianDay(),
                                 b.time().msecsSinceStartOfDay() / 1000);
}

QStringList storedTexts()
{
    QStringList rows;
    QSqlQuery query(QStringLiteral("SELECT start_time, end_time FROM entries ORDER BY id"));
    while (query.next()) {
        rows << query.value(0).toString().mid(11) + QLatin1Char('-') + query.value(1).toString().mid(11);
    }
    return rows;
}
} // namespace

// Days on which the clocks change (the tests run in Europe/Berlin: forward at 02:00 on 29 March
// 2026, back at 03:00 on 25 October 2026): durations are real elapsed time, never negative.
class TestDaylightSaving : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(QTimeZone::systemTimeZoneId(), QByteArray("Europe/Berlin")); }

    void elapsedSeconds_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        QTest::addColumn<qint64>("seconds");
        QTest::newRow("ordinary day") << "2026-03-28 10:00:00"
                                      << "2026-03-28 11:00:00" << qint64(3600);
        QTest::newRow("spring: over the skipped hour") << "2026-03-29 01:50:00"
                                                       << "2026-03-29 03:10:00" << qint64(1200);
        QTest::newRow("spring: a whole day") << "2026-03-29 00:00:00"
                                             << "2026-03-30 00:00:00" << qint64(82800);
        QTest::newRow("autumn: over the change") << "2026-10-25 02:50:00"
                                                 << "2026-10-25 02:10:00" << qint64(1200);
        QTest::newRow("autumn: within one pass") << "2026-10-25 02:10:00"
                                                 << "2026-10-25 02:40:00" << qint64(1800);
        QTest::newRow("autumn: into the repeated hour, read late") << "2026-10-25 01:50:00"
                                                                   << "2026-10-25 02:10:00" << qint64(4800);
        QTest::newRow("autumn: out of the repeated hour") << "2026-10-25 02:30:00"
                                                          << "2026-10-25 03:30:00" << qint64(3600);
        QTest::newRow("autumn: a whole day") << "2026-10-25 00:00:00"
                                             << "2026-10-26 00:00:00" << qint64(90000);
        QTest::newRow("end before start") << "2026-05-01 10:00:00"
                                          << "2026-05-01 09:00:00" << qint64(0);
    }

    void elapsedSeconds()
    {
        QFETCH(QString, start);
        QFETCH(QString, end);
        QFETCH(qint64, seconds);
        QCOMPARE(elapsed(start, end), seconds);
    }

    void recorderClosesAStretchAtTheChange_data()
    {
        QTest::addColumn<qint64>("startUtc");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<int>("dayTotal");
        // Twenty minutes of one window from ten minutes before each change; the second before the
        // change ends the first row.
        QTest::newRow("spring") << QDateTime(QDate(2026, 3, 29), QTime(0, 50), Qt::UTC).toSecsSinceEpoch()
                                << QStringList{"01:50:00-01:59:59", "03:00:00-03:10:00"} << 1199;
        QTest::newRow("autumn") << QDateTime(QDate(2026, 10, 25), QTime(0, 50), Qt::UTC).toSecsSinceEpoch()
                                << QStringList{"02:50:00-02:59:59", "02:00:00-02:10:00"} << 1199;
    }

    void recorderClosesAStretchAtTheChange()
    {
        QFETCH(qint64, startUtc);
        QFETCH(QStringList, rows);
        QFETCH(int, dayTotal);
        RecorderFixture f;
        QVERIFY(f.opened);
        f.platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("notes.txt"));
        const QDateTime start = QDateTime::fromSecsSinceEpoch(startUtc).toLocalTime();
        f.clock.set(start);
        f.recorder.start();
        f.tick(0);
        f.ticks(1200);
        f.recorder.stop();
        QCOMPARE(storedTexts(), rows);

        // The day tree adds the rows up as real time.
        TreeModel model(false);
        model.initTree(start.date(), 0);
        QCOMPARE(model.getTotalTime(), dayTotal);
    }
};

QTEST_MAIN(TestDaylightSaving)
#include "TestDaylightSaving.moc"
