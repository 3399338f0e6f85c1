#include "app/HeadlessCommands.h"

#include "app/HeadlessReport.h"

#include <QTextStream>

namespace HeadlessCommands {

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
    case CommandLine::Mode::Report:
        return HeadlessReport::run(options);
    case CommandLine::Mode::ApplyRules:
        err << "verrinplus: this command is not available in this version yet\n";
        return 2;
    case CommandLine::Mode::Gui:
        break;
    }
    return 0;
}

} // namespace HeadlessCommands
