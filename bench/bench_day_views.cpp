// What a user waits for on the heaviest day of a generated five-year history, from the request to a
// painted view (offscreen): switching the main window's day (both trees built, laid out and painted)
// and opening the timestamps list of the day's busiest application.
//   bench_day_views [database]   (default: the history bench_day_trees generates and caches)
#include "FakePrompter.h"
#include "FiveYearHistory.h"
#include "reports/TreeModel.h"
#include "views/CalendarWidget.h"
#include "views/DayTimeline.h"
#include "views/TimestampsDialog.h"
#include "window/DayViews.h"
#include "window/MainWindowForm.h"

#include <QAbstractItemModel>
#include <QApplication>
#include <QImage>
#include <QMainWindow>
#include <QPainter>
#include <QSqlQuery>
#include <QTextStream>
#include <QTreeView>

int main(int argc, char* argv[])
{
    FiveYearHistory::startLikeTheProgram();
    QApplication app(argc, argv);
    QTextStream out(stdout);
    Database database;
    if (!FiveYearHistory::open(database, app.arguments().value(1), out)) {
        return 1;
    }
    const QDate heavy = FiveYearHistory::heaviestDay();
    if (!heavy.isValid()) {
        out << "the database holds no entries\n";
        return 1;
    }
    const QDate light = heavy.addDays(-1);
    const int runs = FiveYearHistory::runsWanted(9);

    QMainWindow window;
    MainWindowForm ui;
    ui.setupUi(&window);
    FakePrompter prompter;
    auto* views = new DayViews(&ui, &prompter, &window);
    window.resize(1280, 800);
    window.show();
    ui.calendar->setSelectedDate(light);
    QCoreApplication::processEvents();

    // A day switch as a click on the calendar starts it, until both trees are painted.
    const auto switchTo = [&](const QDate& date) {
        ui.calendar->setSelectedDate(date);
        QCoreApplication::processEvents();
        window.repaint();
    };
    switchTo(heavy); // warm the page cache once
    switchTo(light);
    // Each run starts from the light day, outside the measured time.
    QList<double> ms;
    for (int run = 0; run < runs; ++run) {
        ui.calendar->setSelectedDate(light);
        QCoreApplication::processEvents();
        ms << FiveYearHistory::measure(1, [&] { switchTo(heavy); }).best;
    }
    std::sort(ms.begin(), ms.end());
    const FiveYearHistory::Figures switching{ms.at(ms.size() / 2), ms.first()};
    out << QStringLiteral("switching to %1 (%2 unlinked top-level rows): median %3 ms, best %4 ms (target 30 ms)\n")
               .arg(heavy.toString(Qt::ISODate))
               .arg(views->unlinkedModel()->rowCount())
               .arg(switching.median, 0, 'f', 1)
               .arg(switching.best, 0, 'f', 1);

    // The day's timeline: its stretches read from both trees, and one paint at a usual width.
    switchTo(heavy);
    DayTimeline* timeline = ui.timeline;
    const FiveYearHistory::Figures reading = FiveYearHistory::measure(runs, [&] { timeline->rebuild(); });
    QImage canvas(QSize(1000, timeline->height()), QImage::Format_ARGB32_Premultiplied);
    const FiveYearHistory::Figures painting = FiveYearHistory::measure(runs, [&] {
        QPainter painter(&canvas);
        timeline->render(&painter);
    });
    out << QStringLiteral("timeline of that day (%1 stretches): reading median %2 ms, painting median %3 ms, best "
                          "%4 ms (target 16 ms)\n")
               .arg(timeline->segments().size())
               .arg(reading.median, 0, 'f', 1)
               .arg(painting.median, 0, 'f', 1)
               .arg(painting.best, 0, 'f', 1);

    // The day's whole timestamps list (the menu's Timestamps with no row chosen) is the longest a user
    // can open; the busiest application's is the longest behind one row.
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT a.path, COUNT(*) AS c FROM entries e JOIN applications a ON a.id = "
                                 "e.application_id WHERE e.start_time >= ? AND e.start_time <= ? GROUP BY a.path "
                                 "ORDER BY c DESC LIMIT 1"));
    query.addBindValue(heavy.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
    query.addBindValue(heavy.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
    const QString busiest = query.exec() && query.next() ? query.value(0).toString() : QString();
    for (const QString& path : {QString(), busiest}) {
        int rows = 0;
        const FiveYearHistory::Figures listing = FiveYearHistory::measure(runs, [&] {
            TimestampsDialog dialog(&window);
            dialog.setDate(heavy);
            dialog.setAppPath(path);
            dialog.PopulateData();
            dialog.show();
            QCoreApplication::processEvents();
            dialog.repaint();
            rows = dialog.list()->model()->rowCount();
        });
        out << QStringLiteral("timestamps of %1 (%2 rows): median %3 ms, best %4 ms (target 100 ms)\n")
                   .arg(path.isEmpty() ? QStringLiteral("the whole day") : path)
                   .arg(rows)
                   .arg(listing.median, 0, 'f', 1)
                   .arg(listing.best, 0, 'f', 1);
    }
    return 0;
}
