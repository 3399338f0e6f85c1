#pragma once

// The generated five-year history the day benchmarks share, made once and cached next to them, and
// its heaviest day.
#include "HistoryGenerator.h"
#include "app/LocalZone.h"
#include "store/Database.h"

#include <QCoreApplication>
#include <QDate>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QTextStream>

#include <algorithm>
#include <functional>

namespace FiveYearHistory {

struct Figures
{
    double median;
    double best;
};

// Set up as the program starts: the zone file read once (otherwise every local-time conversion checks
// it on disk, which the program never does). Benchmarks paint and load icons, but never need a
// screen: they also run where there is none.
inline void startLikeTheProgram()
{
    LocalZone::readOnce();
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
}

// Milliseconds of `work` over `runs` runs.
inline Figures measure(int runs, const std::function<void()>& work)
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

// Opens `path`, or the cached generated history when it is empty (generating it the first time).
inline bool open(Database& database, QString path, QTextStream& out)
{
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
                return false;
            }
            QFile::remove(path + QStringLiteral(".part-wal"));
            QFile::remove(path + QStringLiteral(".part-shm"));
        }
    }
    QString error;
    if (!database.open(path, &error)) {
        out << "could not open " << path << ": " << error << "\n";
        return false;
    }
    return true;
}

// The day with the most entries; invalid when there are none.
inline QDate heaviestDay()
{
    QSqlQuery query;
    query.exec(QStringLiteral("SELECT substr(start_time, 1, 10) AS d, COUNT(*) AS c FROM entries GROUP BY d "
                              "ORDER BY c DESC LIMIT 1"));
    return query.next() ? QDate::fromString(query.value(0).toString(), Qt::ISODate) : QDate();
}

inline int runsWanted(int fallback)
{
    const int wanted = qEnvironmentVariableIntValue("VERRIN_BENCH_RUNS");
    return wanted > 0 ? wanted : fallback;
}

} // namespace FiveYearHistory
