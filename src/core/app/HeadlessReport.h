#pragma once

struct CommandLine;

// `verrinplus --report`: the day's trees from the data folder's database, as the window shows them
// with the stored hide-under and group-by-hour choices. Returns the exit status.
namespace HeadlessReport {
int run(const CommandLine& options);
}
