#include "app/CommandLine.h"

namespace {
QDate parseDate(const QString& text)
{
    return QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
}

bool looksLikeDate(const QString& text)
{
    return parseDate(text).isValid();
}
} // namespace

CommandLine CommandLine::parse(const QStringList& arguments, const QDate& today)
{
    CommandLine result;
    const QStringList args = arguments.mid(1);
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("-debug")) {
            result.debug = true;
        } else if (arg == QLatin1String("--version")) {
            result.mode = Mode::Version;
        } else if (arg == QLatin1String("--help")) {
            result.mode = Mode::Help;
        } else if (arg == QLatin1String("--report")) {
            result.mode = Mode::Report;
            result.reportDate = today;
            if (i + 1 < args.size() && !args.at(i + 1).startsWith(QLatin1Char('-'))) {
                result.reportDate = parseDate(args.at(++i));
                if (!result.reportDate.isValid()) {
                    result.error =
                        QStringLiteral("--report expects a date written as yyyy-MM-dd, not \"%1\"").arg(args.at(i));
                } else if (i + 1 < args.size() && !args.at(i + 1).startsWith(QLatin1Char('-'))) {
                    result.reportTo = parseDate(args.at(++i));
                    if (!result.reportTo.isValid() || result.reportTo < result.reportDate) {
                        result.error = QStringLiteral("--report: the last date must be written as yyyy-MM-dd and "
                                                      "not lie before the first, not \"%1\"")
                                           .arg(args.at(i));
                    }
                }
            }
        } else if (arg == QLatin1String("--by")) {
            result.by = i + 1 < args.size() ? args.at(++i) : QString();
            if (result.by != QLatin1String("day") && result.by != QLatin1String("application") &&
                result.by != QLatin1String("title") && result.by != QLatin1String("task")) {
                result.error = QStringLiteral("--by expects day, application, title or task");
            }
        } else if (arg == QLatin1String("--format")) {
            if (i + 1 < args.size()) {
                result.format = args.at(++i);
            }
            if (result.format != QLatin1String("text") && result.format != QLatin1String("json") &&
                result.format != QLatin1String("csv")) {
                result.error = QStringLiteral("--format expects text, json or csv");
            }
        } else if (arg == QLatin1String("--apply-rules") || arg == QLatin1String("--check-links")) {
            result.mode = arg == QLatin1String("--apply-rules") ? Mode::ApplyRules : Mode::CheckLinks;
            if (i + 1 < args.size() && looksLikeDate(args.at(i + 1))) {
                result.fromDate = parseDate(args.at(++i));
                result.toDate = result.fromDate;
                if (i + 1 < args.size() && looksLikeDate(args.at(i + 1))) {
                    result.toDate = parseDate(args.at(++i));
                }
            } else {
                result.error = arg + QStringLiteral(" expects a first date written as yyyy-MM-dd");
            }
            if (result.error.isEmpty() && result.toDate < result.fromDate) {
                result.error = arg + QStringLiteral(": the last date lies before the first");
            }
        }
    }
    return result;
}

QString CommandLine::helpText()
{
    return QStringLiteral(
        "Usage: verrinplus [-debug] [--report [FROM [TO]] [--by day|application|title|task]\n"
        "                  [--format text|json|csv]]\n"
        "                  [--apply-rules FROM [TO]] [--check-links FROM [TO]] [--version] [--help]\n"
        "\n"
        "Without options VerrinPlus starts its window and records which application is in front.\n"
        "\n"
        "  -debug                 write a debug log to debug.log in the data folder\n"
        "  --report [DATE]        print the unlinked and linked time of DATE (default today)\n"
        "  --report FROM TO, --by WHAT\n"
        "                         time of the days FROM..TO summed by day (default), application,\n"
        "                         title or task, with the linked and unlinked share\n"
        "  --format FORMAT        report format: text (default), json or csv\n"
        "  --apply-rules FROM [TO]\n"
        "                         apply the active rules to the days FROM..TO with the stored sign-in\n"
        "                         (exit status 3: not signed in, 4: Verrin cannot be reached,\n"
        "                         5: another VerrinPlus is working on the data folder)\n"
        "  --check-links FROM [TO]\n"
        "                         compare the service entries of the days FROM..TO with the linked\n"
        "                         entries; exit status 0 only when all agree and nothing is pending\n"
        "  --version              print the version\n"
        "  --help                 print this help\n"
        "\n"
        "Data folder: $XDG_DATA_HOME/VerrinPlus (by default ~/.local/share/VerrinPlus).\n");
}
