#include "DayFixture.h"
#include "HistoryGenerator.h"
#include "TestMain.h"
#include "reports/CalendarDays.h"

#include <QSqlQuery>
#include <QTest>

// The days the calendar marks: unlinked time of applications that are not excluded.
class TestCalendarDays : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(fixture.open()); }

    void cleanup() { fixture.close(); }

    void marksOnlyUnlinkedTimeOfShownApplications()
    {
        const int editor = DayFixture::addApp("/e", "Editor");
        const int excluded = DayFixture::addApp("/it's \"excluded\"", "Excluded");
        DayFixture::addEntry(editor, "a", "2026-11-02 09:00:00", "2026-11-02 09:01:00");
        DayFixture::addEntry(excluded, "b", "2026-11-03 09:00:00", "2026-11-03 09:01:00");
        const int linked = DayFixture::addEntry(editor, "c", "2026-11-04 09:00:00", "2026-11-04 09:01:00");
        DayFixture::link(linked, 1, 2, 3);
        DayFixture::addEntry(editor, "d", "2026-11-05 23:59:59", "2026-11-06 00:30:00");
        DayFixture::addEntry(editor, "e", "2026-12-01 00:00:00", "2026-12-01 00:00:10");
        Registry::instance()->setIgnoredApps(QStringList{"/it's \"excluded\""});
        QCOMPARE(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 1), QDate(2026, 11, 30)),
                 (QList<QDate>{QDate(2026, 11, 2), QDate(2026, 11, 5)}));
        QCOMPARE(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 3), QDate(2026, 12, 1), {}),
                 (QList<QDate>{QDate(2026, 11, 3), QDate(2026, 11, 5), QDate(2026, 12, 1)}));
        QVERIFY(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 30), QDate(2026, 11, 1), {}).isEmpty());
    }

    void agreesWithAScanOfEveryRow_data()
    {
        QTest::addColumn<QStringList>("ignored");
        QTest::newRow("nothing excluded") << QStringList{};
        QTest::newRow("away time and a busy application excluded")
            << QStringList{"verrin://idle", "/usr/share/applications/org.example.app1.desktop"};
    }

    void agreesWithAScanOfEveryRow()
    {
        QFETCH(QStringList, ignored);
        HistoryGenerator::Options options;
        options.from = QDate(2026, 9, 1);
        options.to = QDate(2026, 11, 20);
        options.applications = 6;
        options.entriesPerWorkday = 12;
        options.heavyDayEntries = 40;
        options.linkedPercent = 70;
        QString error;
        HistoryGenerator::Result result;
        QVERIFY2(HistoryGenerator::generate(fixture.folder->path() + "/verrinplus.sqlite", options, &result, &error),
                 qPrintable(error));

        // The marking statement of old: every unlinked row, excluded applications left out.
        QStringList ids;
        for (const QString& path : ignored) {
            QSqlQuery query;
            query.prepare("SELECT id FROM applications WHERE path = ?");
            query.addBindValue(path);
            QVERIFY(query.exec());
            while (query.next()) {
                ids << query.value(0).toString();
            }
        }
        QSqlQuery scan;
        QVERIFY(scan.exec("SELECT DISTINCT(DATE(start_time)) AS d FROM entries WHERE ext_task_id IS NULL " +
                          (ids.isEmpty() ? QString() : "AND application_id NOT IN(" + ids.join(",") + ") ")));
        QList<QDate> all;
        while (scan.next()) {
            all << QDate::fromString(scan.value(0).toString(), Qt::ISODate);
        }
        std::sort(all.begin(), all.end());
        QVERIFY(all.size() > 20);

        for (int month : {9, 10, 11}) {
            QDate from;
            QDate to;
            CalendarDays::shownRange(2026, month, &from, &to);
            QList<QDate> expected;
            for (const QDate& day : all) {
                if (day >= from && day <= to) {
                    expected << day;
                }
            }
            QCOMPARE(CalendarDays::daysWithUnlinkedTime(from, to, ignored), expected);
        }
    }

    void shownRangeCoversSixWeeks()
    {
        // Whatever the first day of the week, a month view shows at most six days before the 1st and
        // ends at most six weeks after the start of its first row.
        for (int month = 1; month <= 12; ++month) {
            QDate from;
            QDate to;
            CalendarDays::shownRange(2027, month, &from, &to);
            const QDate first(2027, month, 1);
            QVERIFY(from <= first.addDays(-6));
            QVERIFY(to >= first.addDays(-6 + 41));
        }
    }

private:
    DayFixture fixture;
};

VERRIN_TEST(TestCalendarDays)
#include "TestCalendarDays.moc"
