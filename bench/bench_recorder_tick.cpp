// CPU cost of the recorder's once-a-second tick with the fake desktop (no display round trips), on a
// real SQLite file: a tick that sees no change, an hour in one window (checkpoints only) and an hour
// with a window switch every 10 s.
#include "FakePlatform.h"
#include "app/Clock.h"
#include "app/Registry.h"
#include "recording/Recorder.h"
#include "store/Database.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <ctime>

namespace {
class SteppedClock : public Clock
{
public:
    QDateTime now() const override { return current; }
    QDateTime current{QDate(2026, 11, 16), QTime(9, 0, 0)};
};

double cpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

// Runs `ticks` ticks, the clock moving `step` seconds each, the title changing every `switchEvery` ticks
// (0: never), each title padded to `titleLength` characters. Returns CPU seconds.
double run(int ticks, int step, int switchEvery, int titleLength = 0)
{
    FakePlatform platform;
    platform.setWindow(QStringLiteral("Editor"), QStringLiteral("/usr/bin/editor"), QStringLiteral("notes.txt"));
    SteppedClock clock;
    Recorder recorder(&platform, &clock);
    recorder.start();
    recorder.updateApps();
    const double begin = cpuSeconds();
    for (int i = 1; i <= ticks; ++i) {
        if (step != 0) {
            clock.current = clock.current.addSecs(step);
        }
        if (switchEvery > 0 && i % switchEvery == 0) {
            platform.setWindow(
                QStringLiteral("Editor"), QStringLiteral("/usr/bin/editor"),
                QStringLiteral("doc %1 ").arg(i / switchEvery).leftJustified(titleLength, QLatin1Char('x')));
        }
        recorder.updateApps();
    }
    const double used = cpuSeconds() - begin;
    recorder.stop();
    return used;
}
} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    Database database;
    QString error;
    if (!dir.isValid() || !database.open(dir.filePath(QStringLiteral("bench.sqlite")), &error)) {
        std::fprintf(stderr, "cannot open database: %s\n", qPrintable(error));
        return 1;
    }
    Registry::instance()->setIdleEnabled(true);
    Registry::instance()->setIdleLimit(5);
    Registry::instance()->setTitleCleanupEnabled(true);

    run(1000, 0, 0); // warm-up
    const int still = 200000;
    const double noChange = run(still, 0, 0);
    const double hour = run(3600, 1, 0);
    const double busyHour = run(3600, 1, 10);

    std::printf("tick without change (fake desktop): %.2f us CPU\n", noChange / still * 1e6);
    std::printf("one hour in one window (3600 ticks, 60 checkpoints): %.1f ms CPU\n", hour * 1e3);
    std::printf("one hour switching every 10 s (3600 ticks, 360 rows): %.1f ms CPU\n", busyHour * 1e3);
    // A hostile window: a new 1 MiB title every second (target: under 10 ms a tick).
    const int hostileTicks = 200;
    const double hostile = run(hostileTicks, 1, 1, 1024 * 1024);
    std::printf("tick with a new 1 MiB title: %.2f ms CPU\n", hostile / hostileTicks * 1e3);
    return 0;
}
