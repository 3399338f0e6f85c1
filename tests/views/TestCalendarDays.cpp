#include "DayFixture.h"
#include "TestKit.h"
#include "reports/CalendarDays.h"

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
        const int shell = DayFixture::addApp("/s", "Shell");
        DayFixture::addEntry(editor, "a", "2026-11-02 09:00:00", "2026-11-02 09:01:00");
        DayFixture::addEntry(excluded, "b", "2026-11-03 09:00:00", "2026-11-03 09:01:00");
        const int linked = DayFixture::addEntry(editor, "c", "2026-11-04 09:00:00", "2026-11-04 09:01:00");
        DayFixture::link(linked, 1, 2, 3);
        DayFixture::addEntry(editor, "d", "2026-11-05 23:59:59", "2026-11-06 00:30:00");
        DayFixture::addEntry(shell, "f", "2026-11-07 00:00:00", "2026-11-07 00:00:10");
        DayFixture::addEntry(editor, "e", "2026-12-01 00:00:00", "2026-12-01 00:00:10");
        Registry::instance()->setIgnoredApps(QStringList{"/it's \"excluded\"", "/s"});
        QCOMPARE(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 1), QDate(2026, 11, 30)),
                 (QList<QDate>{QDate(2026, 11, 2), QDate(2026, 11, 5)}));
        QCOMPARE(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 3), QDate(2026, 12, 1), {"/s"}),
                 (QList<QDate>{QDate(2026, 11, 3), QDate(2026, 11, 5), QDate(2026, 12, 1)}));
        QVERIFY(CalendarDays::daysWithUnlinkedTime(QDate(2026, 11, 30), QDate(2026, 11, 1), {}).isEmpty());
    }

    void shownRangeCoversSixWeeks()
    {
        // Whatever the first day of the week: six days before the 1st, six weeks from the first row.
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
