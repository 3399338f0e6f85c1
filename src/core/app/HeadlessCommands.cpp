#include "app/HeadlessCommands.h"

#include "app/DataPaths.h"
#include "app/DebugLog.h"
#include "app/HeadlessReport.h"
#include "app/HeadlessRuleRun.h"

#include <QTextStream>

namespace HeadlessCommands {

namespace {
// Without "-debug" the run's chatter stays out of the output a cron job mails to its owner: what the
// user must know is said through the prompter and the command's own lines, and the log warnings
// would only repeat it. Only the serious ones get through.
void quietDebugOutput(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtCriticalMsg && type != QtFatalMsg) {
        return;
    }
    QTextStream(stderr) << "verrinplus: " << text << Qt::endl;
}

void installLog(const CommandLine& options)
{
    if (options.debug) {
        DebugLog::install(DataPaths::debugLogFile());
    } else {
        qInstallMessageHandler(quietDebugOutput);
    }
}
} // namespace

int run(const CommandLine& options)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (!options.error.isEmpty()) {
        err << "verrinplus: " << options.error << "\n" << CommandLine::helpText();
        return 2;
    }
    switch (options.mode) {
    case CommandLine::Mode::Version:
        out << "VerrinPlus " << VERRIN_VERSION << "\n";
        return 0;
    case CommandLine::Mode::Help:
        out << CommandLine::helpText();
        return 0;
    case CommandLine::Mode::ApplyRules: {
        installLog(options);
        const int status = HeadlessRuleRun(out, err).run(options.fromDate, options.toDate);
        DebugLog::close();
        return status;
    }
    case CommandLine::Mode::CheckLinks: {
        installLog(options);
        const int status = HeadlessRuleRun(out, err).checkLinks(options.fromDate, options.toDate);
        DebugLog::close();
        return status;
    }
    case CommandLine::Mode::Report: {
        installLog(options);
        const int status = HeadlessReport::run(options);
        DebugLog::close();
        return status;
    }
    case CommandLine::Mode::Gui:
        break;
    }
    return 0;
}

} // namespace HeadlessCommands
