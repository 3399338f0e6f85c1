#pragma once

#include <QDate>
#include <QSqlDatabase>
#include <QString>

// Writes a realistic recorded history into a VerrinPlus database: years of days, hundreds of
// applications and thousands of window titles, stretches of varied length with away time, and a
// part of the time linked to tasks of a made-up catalogue. Deterministic for a given seed.
class HistoryGenerator
{
public:
    struct Options
    {
        QDate from = QDate(2021, 11, 22);
        QDate to = QDate(2026, 11, 20);
        int applications = 300;
        int titlesPerApplication = 12;
        // Average entries of a working day; weekends get a tenth.
        int entriesPerWorkday = 1500;
        // The last working day gets this many entries (the day the benchmarks build).
        int heavyDayEntries = 5000;
        // Share of the entries linked to a task, in percent.
        int linkedPercent = 40;
        quint32 seed = 20261122;
    };

    struct Result
    {
        qint64 entries = 0;
        int days = 0;
        QDate heavyDay;
    };

    // Writes into the file at `path` (created when missing; rows are added to what is there).
    static bool generate(const QString& path, const Options& options, Result* result, QString* error);

private:
    static bool fill(QSqlDatabase& db, const Options& options, Result* result, QString* error);
};
