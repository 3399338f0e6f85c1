#include "app/HeadlessReport.h"

#include "app/CommandLine.h"
#include "app/DataPaths.h"
#include "app/HeadlessDataFolder.h"
#include "reports/DayReport.h"
#include "reports/RangeReport.h"

#include <QFileInfo>
#include <QTextStream>

namespace HeadlessReport {

int run(const CommandLine& options)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    DayReport::Format format = DayReport::Format::Text;
    if (!DayReport::parseFormat(options.format, &format)) {
        err << "verrinplus: unknown report format " << options.format << "\n";
        return 2;
    }
    // A report never creates a data folder: no database means nothing was ever recorded here.
    const QString path = DataPaths::databaseFile();
    if (!QFileInfo::exists(path)) {
        err << "verrinplus: no recorded time yet (" << path << " does not exist)\n";
        return 1;
    }
    HeadlessDataFolder folder;
    QString error;
    // Without a settings file the report shows the day with the default choices.
    folder.readSettings(&error);
    error.clear();
    if (!folder.openDatabase(&error)) {
        err << "verrinplus: " << error << "\n";
        return 1;
    }
    // A second date or --by asks for sums over a range; one date alone keeps the day's trees.
    QString text;
    if (options.reportTo.isValid() || !options.by.isEmpty()) {
        RangeReport::By by = RangeReport::By::Day;
        RangeReport::parseBy(options.by, &by);
        const QDate to = options.reportTo.isValid() ? options.reportTo : options.reportDate;
        text = RangeReport::render(options.reportDate, to, by, format, &error);
    } else {
        text = DayReport::render(options.reportDate, format, &error);
    }
    if (!error.isEmpty()) {
        err << "verrinplus: " << error << "\n";
        return 1;
    }
    out << text;
    return 0;
}

} // namespace HeadlessReport
