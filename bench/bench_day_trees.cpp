// Builds the heaviest day's unlinked and linked trees on a generated five-year database and prints
// how long each build takes, in milliseconds.
//   bench_day_trees [database [yyyy-MM-dd]]   (default: a generated history cached next to this program,
//                                               and its heaviest day)
#include "FiveYearHistory.h"
#include "reports/CalendarDays.h"
#include "reports/DayQueries.h"
#include "reports/RangeReport.h"
#include "reports/TreeModel.h"
#include "store/Database.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSqlQuery>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <tuple>

using FiveYearHistory::Figures;
using FiveYearHistory::measure;

int main(int argc, char* argv[])
{
    FiveYearHistory::startLikeTheProgram();
    QGuiApplication app(argc, argv);
    QTextStream out(stdout);
    Database database;
    if (!FiveYearHistory::open(database, app.arguments().value(1), out)) {
        return 1;
    }
    QSqlQuery query;
    query.exec(QStringLiteral("SELECT COUNT(*) FROM entries"));
    const qint64 total = query.next() ? query.value(0).toLongLong() : 0;
    // The day to build: given as the second argument, else the day with the most entries.
    QDate day = QDate::fromString(app.arguments().value(2), Qt::ISODate);
    if (!day.isValid()) {
        day = FiveYearHistory::heaviestDay();
        if (!day.isValid()) {
            out << "the database holds no entries\n";
            return 1;
        }
    }
    query.prepare(QStringLiteral("SELECT COUNT(*) FROM entries WHERE start_time >= ? AND start_time <= ?"));
    query.addBindValue(day.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
    query.addBindValue(day.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
    query.exec();
    const int dayEntries = query.next() ? query.value(0).toInt() : 0;
    out << "database: " << total << " entries; heaviest day " << day.toString(Qt::ISODate) << " with " << dayEntries
        << " entries\n";

    const int runs = FiveYearHistory::runsWanted(15);
    const auto report = [&](const QString& what, const std::function<void(TreeModel&)>& setup, bool linked,
                            int hideUnder) {
        const QString only = qEnvironmentVariable("VERRIN_BENCH_ONLY");
        if (!only.isEmpty() && !what.contains(only)) {
            return;
        }
        TreeModel model(linked);
        setup(model);
        model.initTree(day, hideUnder); // warm the page cache once
        const Figures figures = measure(runs, [&] { model.initTree(day, hideUnder); });
        out << QStringLiteral("%1: median %2 ms, best %3 ms (total %4 s in %5 top-level nodes)\n")
                   .arg(what)
                   .arg(figures.median, 0, 'f', 2)
                   .arg(figures.best, 0, 'f', 2)
                   .arg(model.getTotalTime())
                   .arg(model.rowCount());
        out.flush();
    };
    const Figures read = measure(runs, [&] {
        DayQueries::readDay(
            day, false, 0, QString(), [](const DayRow&) {}, nullptr);
    });
    out << QStringLiteral("reading the day's rows alone: median %1 ms\n").arg(read.median, 0, 'f', 2);
    const auto none = [](TreeModel&) {};
    report(QStringLiteral("unlinked tree"), none, false, 0);
    report(
        QStringLiteral("unlinked tree, group by hour"), [](TreeModel& m) { m.setGroupByHour(true); }, false, 0);
    report(QStringLiteral("unlinked tree, hide under 1 minute"), none, false, 60);
    report(
        QStringLiteral("unlinked tree, filter of two words"), [](TreeModel& m) { m.setFilter("report 1"); }, false, 0);
    report(QStringLiteral("linked tree"), none, true, 0);
    report(QStringLiteral("linked tree, hide under 1 minute"), none, true, 60);

    // Marking the calendar: the days with unlinked time among those a month view shows.
    QDate from;
    QDate to;
    CalendarDays::shownRange(day.year(), day.month(), &from, &to);
    const QStringList ignored{QStringLiteral("verrin://idle")};
    QList<QDate> marked;
    CalendarDays::daysWithUnlinkedTime(from, to, ignored);
    const Figures marking = measure(runs, [&] { marked = CalendarDays::daysWithUnlinkedTime(from, to, ignored); });
    out << QStringLiteral("calendar marks for %1 (%2 days shown, %3 marked): median %4 ms, best %5 ms\n")
               .arg(day.toString(QStringLiteral("yyyy-MM")))
               .arg(from.daysTo(to) + 1)
               .arg(marked.size())
               .arg(marking.median, 0, 'f', 2)
               .arg(marking.best, 0, 'f', 2);

    // Summaries: the totals of the heaviest day's month and year (targets: 50 ms and 300 ms), and the
    // month as the summary window shows it (totals and one query per day for its bars).
    for (const auto& [label, first, last] :
         {std::tuple{QStringLiteral("month"), QDate(day.year(), day.month(), 1),
                     QDate(day.year(), day.month(), 1).addMonths(1).addDays(-1)},
          std::tuple{QStringLiteral("year"), QDate(day.year(), 1, 1), QDate(day.year(), 12, 31)}}) {
        for (RangeReport::By by : {RangeReport::By::Day, RangeReport::By::Application, RangeReport::By::Task}) {
            const Figures sums = measure(5, [&] { RangeReport::rows(first, last, by, nullptr); });
            out << QStringLiteral("summary of the %1 by %2: median %3 ms, best %4 ms\n")
                       .arg(label, RangeReport::byName(by))
                       .arg(sums.median, 0, 'f', 1)
                       .arg(sums.best, 0, 'f', 1);
        }
    }
    const QDate monthStart(day.year(), day.month(), 1);
    const Figures window = measure(5, [&] {
        RangeReport::rows(monthStart, monthStart.addMonths(1).addDays(-1), RangeReport::By::Application, nullptr);
        for (QDate d = monthStart; d < monthStart.addMonths(1); d = d.addDays(1)) {
            RangeReport::rows(d, d, RangeReport::By::Application, nullptr);
        }
    });
    out << QStringLiteral("summary window, a month by application with its bars: median %1 ms, best %2 ms\n")
               .arg(window.median, 0, 'f', 1)
               .arg(window.best, 0, 'f', 1);
    return 0;
}
