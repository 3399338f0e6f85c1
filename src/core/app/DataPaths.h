#pragma once

#include <QString>

// Where VerrinPlus keeps its files: one folder, "VerrinPlus", in the user's data location
// ($XDG_DATA_HOME, else ~/.local/share). All paths use native separators.
namespace DataPaths {
QString dataFolder();
QString iniFile();
QString databaseFile();
QString debugLogFile();
// Makes every file the program creates private to its user and tightens a folder from before.
void keepPrivate();
} // namespace DataPaths
