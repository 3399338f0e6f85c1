// Builds the heaviest day's unlinked and linked trees on a generated five-year database and prints
// how long each build takes, in milliseconds.
//   bench_day_trees [database]   (default: a generated history cached next to this program)
#include "HistoryGenerator.h"
#include "store/Database.h"
#include "views/DayQueries.h"
#include "views/TreeModel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSqlQuery>
#include <QTextStream>

#include <algorithm>
#include <functional>

namespace {

struct Figures
{
    double median;
    double best;
};

Figures measure(int runs, const std::function<void()>& work)
{
    QList<double> ms;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        ms.append(timer.nsecsElapsed() / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    return {ms.at(ms.size() / 2), ms.first()};
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    QTextStream out(stdout);
    QString path = app.arguments().value(1);
    if (path.isEmpty()) {
        path = QCoreApplication::applicationDirPath() + QStringLiteral("/history-5y.sqlite");
        if (!QFileInfo::exists(path)) {
            out << "generating five years of history into " << path << " (once)...\n";
            out.flush();
            HistoryGenerator::Options options;
            options.to = QDate(2026, 11, 20);
            options.from = options.to.addYears(-5).addDays(1);
            HistoryGenerator::Result result;
            QString error;
            if (!HistoryGenerator::generate(path + QStringLiteral(".part"), options, &result, &error) ||
                !QFile::rename(path + QStringLiteral(".part"), path)) {
                out << "could not generate the history: " << error << "\n";
                return 1;
            }
            QFile::remove(path + QStringLiteral(".part-wal"));
            QFile::remove(path + QStringLiteral(".part-shm"));
        }
    }
    Database database;
    QString error;
    if (!database.open(path, &error)) {
        out << "could not open " << path << ": " << error << "\n";
        return 1;
    }
    QSqlQuery query;
    query.exec(QStringLiteral("SELECT COUNT(*) FROM entries"));
    const qint64 total = query.next() ? query.value(0).toLongLong() : 0;
    query.exec(QStringLiteral("SELECT substr(start_time, 1, 10) AS d, COUNT(*) AS c FROM entries GROUP BY d "
                              "ORDER BY c DESC LIMIT 1"));
    if (!query.next()) {
        out << "the database holds no entries\n";
        return 1;
    }
    const QDate day = QDate::fromString(query.value(0).toString(), Qt::ISODate);
    const int dayEntries = query.value(1).toInt();
    out << "database: " << total << " entries; heaviest day " << day.toString(Qt::ISODate) << " with " << dayEntries
        << " entries\n";

    const int runs = 15;
    const auto report = [&](const QString& what, const std::function<void(TreeModel&)>& setup, bool linked,
                            int hideUnder) {
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
        QStringLiteral("unlinked tree, filter of two words"), [](TreeModel& m) { m.setFilter("report plan"); }, false,
        0);
    report(QStringLiteral("linked tree"), none, true, 0);
    report(QStringLiteral("linked tree, hide under 1 minute"), none, true, 60);
    return 0;
}
