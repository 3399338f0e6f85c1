// CPU cost of one probe of the wlroots backend (front window + idle time) on a headless sway of its
// own with a Qt Wayland window in front, and of the sway IPC question asked once per new front
// window. Run by scripts/bench.sh beside the X11 figures.
#include "HeadlessSway.h"
#include "ProbeTiming.h"
#include "wayland/WlrootsPlatform.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {
using probetiming::Timing;
constexpr int rounds = 5;
constexpr int iterations = 3000;
constexpr int ipcIterations = 200;

using probetiming::measure;
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    HeadlessSway sway{QStringLiteral(WAYLAND_TEST_WINDOW)};
    QString whyNot;
    if (!sway.start(&whyNot)) {
        std::fprintf(stderr, "bench_wlroots_probe: skipped, %s\n", qPrintable(whyNot));
        return 0;
    }
    const QString title = QStringLiteral("Benchmark window \u2014 a document.txt");
    if (!sway.windows.open(QStringLiteral("verrin-bench"), title)) {
        std::fprintf(stderr, "bench_wlroots_probe: the test window did not map\n");
        return 1;
    }
    WlrootsPlatform platform(QFile::encodeName(sway.waylandSocket()));
    platform.setSwaySocket(sway.ipcSocket());
    QElapsedTimer waited;
    waited.start();
    while (platform.foregroundWindow().title != title && waited.elapsed() < 10000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    const ForegroundWindow front = platform.foregroundWindow();
    if (front.title != title) {
        std::fprintf(stderr, "bench_wlroots_probe: the test window did not come to the front\n");
        return 1;
    }

    qint64 checksum = 0;
    Timing probe;
    Timing ipc;
    for (int r = 0; r < rounds; ++r) {
        measure(
            iterations,
            [&] {
                const ForegroundWindow w = platform.foregroundWindow();
                checksum += w.pid + w.title.size() + platform.idleSeconds();
            },
            &probe);
        measure(
            ipcIterations, [&] { checksum += platform.swayFocusedPid(QStringLiteral("verrin-bench")); }, &ipc);
    }

    std::printf("front window: %s, pid %lld, path %s, idle from %s\n", qPrintable(front.title),
                static_cast<long long>(front.pid), qPrintable(front.path), platform.idleProtocol().constData());
    std::printf("iterations: %d per round (%d for IPC), best of %d rounds\n", iterations, ipcIterations, rounds);
    std::printf("WlrootsPlatform foregroundWindow+idleSeconds: %8.1f us CPU/call  (%.1f us wall)\n", probe.cpu,
                probe.wall);
    std::printf("sway IPC pid question (once per new window) : %8.1f us CPU/call  (%.1f us wall)\n", ipc.cpu, ipc.wall);
    std::printf("one hour at 1 Hz                            : %8.3f s CPU\n", probe.cpu * 3600 / 1e6);
    return checksum == -1 ? 2 : 0;
}
