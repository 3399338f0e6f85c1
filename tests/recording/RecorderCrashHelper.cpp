// Records into the database given on the command line as fast as it can, with a fake desktop and a
// clock that moves `step` seconds per tick, and prints "simulated <seconds>" before every tick. It never
// stops on its own before the loop bound; the test kills it with SIGKILL.
#include "FakePlatform.h"
#include "ManualClock.h"
#include "app/Registry.h"
#include "recording/Recorder.h"
#include "store/Database.h"

#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    Database database;
    QString error;
    if (args.size() < 3 || !database.open(args.at(1), &error)) {
        std::fprintf(stderr, "cannot open database: %s\n", qPrintable(error));
        return 2;
    }
    const int step = qMax(1, args.at(2).toInt());
    Registry::instance()->setIdleEnabled(false);

    FakePlatform platform;
    ManualClock clock;
    Recorder recorder(&platform, &clock);
    recorder.start();
    // The window changes every 500 simulated seconds: until the first change only checkpoints store
    // anything, later there are finished stretches as well as an open one.
    for (int second = 0; second < 10000000; second += step) {
        platform.setWindow(QStringLiteral("Editor"), QStringLiteral("/usr/bin/editor"),
                           QStringLiteral("doc %1").arg(second / 500));
        // Told before the tick: a kill can then never leave more stored than reported.
        std::printf("simulated %d\n", second);
        std::fflush(stdout);
        recorder.updateApps();
        clock.advance(step);
    }
    return 3;
}
