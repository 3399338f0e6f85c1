// verrin-history: fills a VerrinPlus database with years of realistic recorded history, for
// benchmarks, demos and trying the views on a full database.
#include "HistoryGenerator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("verrin-history"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Writes realistic recorded history into a VerrinPlus database."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("database"),
                                 QStringLiteral("SQLite file to fill (created if missing)"));
    HistoryGenerator::Options defaults;
    const QCommandLineOption years(QStringLiteral("years"), QStringLiteral("Years of history (default 5)."),
                                   QStringLiteral("n"), QStringLiteral("5"));
    const QCommandLineOption until(QStringLiteral("until"), QStringLiteral("Last day, yyyy-MM-dd (default today)."),
                                   QStringLiteral("date"));
    const QCommandLineOption perDay(QStringLiteral("entries-per-day"),
                                    QStringLiteral("Average entries of a working day (default 1500)."),
                                    QStringLiteral("n"), QString::number(defaults.entriesPerWorkday));
    const QCommandLineOption heavy(QStringLiteral("heavy-day-entries"),
                                   QStringLiteral("Entries of the last working day (default 5000)."),
                                   QStringLiteral("n"), QString::number(defaults.heavyDayEntries));
    const QCommandLineOption apps(QStringLiteral("applications"), QStringLiteral("Applications (default 300)."),
                                  QStringLiteral("n"), QString::number(defaults.applications));
    const QCommandLineOption linked(QStringLiteral("linked-percent"),
                                    QStringLiteral("Share of entries linked to tasks (default 40)."),
                                    QStringLiteral("n"), QString::number(defaults.linkedPercent));
    const QCommandLineOption seed(QStringLiteral("seed"), QStringLiteral("Random seed."), QStringLiteral("n"),
                                  QString::number(defaults.seed));
    parser.addOptions({years, until, perDay, heavy, apps, linked, seed});
    parser.process(app);
    QTextStream err(stderr);
    if (parser.positionalArguments().size() != 1) {
        parser.showHelp(1);
    }
    HistoryGenerator::Options options;
    options.to = parser.isSet(until) ? QDate::fromString(parser.value(until), Qt::ISODate) : QDate::currentDate();
    if (!options.to.isValid()) {
        err << "Invalid date: " << parser.value(until) << "\n";
        return 1;
    }
    options.from = options.to.addYears(-std::max(1, parser.value(years).toInt())).addDays(1);
    options.entriesPerWorkday = std::max(1, parser.value(perDay).toInt());
    options.heavyDayEntries = std::max(1, parser.value(heavy).toInt());
    options.applications = std::max(2, parser.value(apps).toInt());
    options.linkedPercent = std::clamp(parser.value(linked).toInt(), 0, 100);
    options.seed = parser.value(seed).toUInt();
    HistoryGenerator::Result result;
    QString error;
    if (!HistoryGenerator::generate(parser.positionalArguments().first(), options, &result, &error)) {
        err << "Could not write the history: " << error << "\n";
        return 1;
    }
    QTextStream(stdout) << "Wrote " << result.entries << " entries over " << result.days << " days; heaviest day "
                        << result.heavyDay.toString(Qt::ISODate) << "\n";
    return 0;
}
