#include "DayFixture.h"
#include "TestKit.h"
#include "views/SummaryWindow.h"

#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>

// The week and month summary on a real SQLite file: what it totals, how it moves, what it exports.
class TestSummaryWindow : public QObject
{
    Q_OBJECT

private:
    DayFixture fixture;

    static QStringList tableRows(SummaryWindow& window)
    {
        auto* table = window.findChild<QTableWidget*>("tableTotals");
        return DayFixture::rows(table->model(), table->columnCount());
    }

    // Picks a choice of one of the window's combo boxes as a click would.
    static void choose(SummaryWindow& window, const char* name, int index)
    {
        auto* box = window.findChild<QComboBox*>(name);
        box->setCurrentIndex(index);
        emit box->activated(index);
    }

private slots:
    void init()
    {
        QVERIFY(fixture.open());
        const int editor = DayFixture::addApp("/usr/bin/editor", "Editor");
        const int mail = DayFixture::addApp("/usr/bin/mail", "Mail");
        // Monday 16 and Sunday 22 November 2026 are one week; the 23rd starts the next.
        DayFixture::addEntry(editor, "plan", "2026-11-16 09:00:00", "2026-11-16 10:00:00");
        const int linked = DayFixture::addEntry(editor, "plan", "2026-11-22 23:30:00", "2026-11-23 00:30:00");
        DayFixture::link(linked, 7, 1, 2, "Design", "Shop", "UI");
        DayFixture::addEntry(mail, "inbox", "2026-11-17 08:00:00", "2026-11-17 08:30:00");
        DayFixture::addEntry(mail, "inbox", "2026-11-23 08:00:00", "2026-11-23 08:10:00");
    }

    void cleanup() { fixture.close(); }

    void weeksAndMonthsAddUp()
    {
        SummaryWindow window(QDate(2026, 11, 18));
        QCOMPARE(window.firstDay(), QDate(2026, 11, 16));
        QCOMPARE(window.lastDay(), QDate(2026, 11, 22));
        // The hour past midnight counts on the Sunday it started.
        QCOMPARE(tableRows(window),
                 (QStringList{"Editor|2 h 0 m 0 s|1 h 0 m 0 s|1 h 0 m 0 s|50 %", "Mail|30 m 0 s|0 s|30 m 0 s|0 %",
                              "Total|2 h 30 m 0 s|1 h 0 m 0 s|1 h 30 m 0 s|40 %"}));

        window.findChild<QPushButton*>("btnNext")->click();
        QCOMPARE(window.firstDay(), QDate(2026, 11, 23));
        QCOMPARE(tableRows(window), (QStringList{"Mail|10 m 0 s|0 s|10 m 0 s|0 %", "Total|10 m 0 s|0 s|10 m 0 s|0 %"}));

        choose(window, "cbSpan", 1); // Month
        QCOMPARE(window.firstDay(), QDate(2026, 11, 1));
        QCOMPARE(window.lastDay(), QDate(2026, 11, 30));
        QCOMPARE(tableRows(window).last(), QStringLiteral("Total|2 h 40 m 0 s|1 h 0 m 0 s|1 h 40 m 0 s|37 %"));
        window.findChild<QPushButton*>("btnPrevious")->click();
        QCOMPARE(window.firstDay(), QDate(2026, 10, 1));
        QCOMPARE(tableRows(window), QStringList{"Total|0 s|0 s|0 s|"});
    }

    void barsStandForTheirDays()
    {
        SummaryWindow window(QDate(2026, 11, 18));
        QVERIFY(DayFixture::shown(&window, 900, 600));
        auto* chart = window.findChild<SummaryChart*>();
        QVERIFY(chart);
        const QImage image = chart->grab().toImage();
        // Pixels of a series' colour down the middle of each day's slot: the bar's height.
        const auto barHeight = [&](int day, const QString& series) {
            const int x = int(8 + (image.width() - 16) / 7.0 * (day + 0.5));
            int height = 0;
            for (int y = 0; y < image.height(); ++y) {
                height += QColor(image.pixel(x, y)).rgb() == SummaryChart::colourFor(series).rgb() ? 1 : 0;
            }
            return height;
        };
        const int monday = barHeight(0, "Editor");
        QVERIFY2(monday > 50, qPrintable(QString::number(monday)));
        // Half an hour of mail on Tuesday is half the hour of Monday; the hour that ran past midnight
        // stands on the Sunday it started; the days between are empty.
        QVERIFY(qAbs(2 * barHeight(1, "Mail") - monday) <= 2);
        QCOMPARE(barHeight(6, "Editor"), monday);
        QCOMPARE(barHeight(2, "Editor") + barHeight(2, "Mail"), 0);
    }

    void byTaskAndExport()
    {
        SummaryWindow window(QDate(2026, 11, 16));
        choose(window, "cbGrouping", 1); // By Task
        QCOMPARE(tableRows(window).first(), QStringLiteral("(not linked)|1 h 30 m 0 s|0 s|1 h 30 m 0 s|0 %"));
        QCOMPARE(tableRows(window).at(1), QStringLiteral("Design / Shop / UI|1 h 0 m 0 s|1 h 0 m 0 s|0 s|100 %"));

        // What is shown is what is exported.
        QString error;
        const QString path = fixture.folder->path() + QStringLiteral("/week.csv");
        QVERIFY2(window.exportTo(path, &error), qPrintable(error));
        QFile csv(path);
        QVERIFY(csv.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(csv.readAll()),
                 RangeReport::render(window.firstDay(), window.lastDay(), RangeReport::By::Task, DayReport::Format::Csv,
                                     &error));
        QVERIFY(!window.exportTo(fixture.folder->path() + QStringLiteral("/missing/folder/x.json"), &error));
        QVERIFY(!error.isEmpty());
    }
};

VERRIN_TEST(TestSummaryWindow)
#include "TestSummaryWindow.moc"
