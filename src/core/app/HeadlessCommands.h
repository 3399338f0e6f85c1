#pragma once

#include "app/CommandLine.h"

// The command-line requests answered without a window: version, help, the day report and applying
// rules. Returns the process exit status.
namespace HeadlessCommands {
int run(const CommandLine& options);
}
