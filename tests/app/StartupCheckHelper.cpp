// Runs the start-up check on the data folder XDG_DATA_HOME points at, answering on standard error
// as the command line does. The test starts it as an unprivileged user: permissions only bite then.
#include "app/DataPaths.h"
#include "app/StartupCheck.h"
#include "app/StreamPrompter.h"

#include <QCoreApplication>
#include <QDate>
#include <QTextStream>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTextStream err(stderr);
    StreamPrompter prompter(err);
    const StartupCheck::Paths paths{DataPaths::dataFolder(), DataPaths::databaseFile(), DataPaths::iniFile()};
    // The day only names a damaged file moved aside, which the unprivileged runs never do.
    return StartupCheck::run(paths, &prompter, QDate(2026, 11, 24)) ? 0 : 1;
}
