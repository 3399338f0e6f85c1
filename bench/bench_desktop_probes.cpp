// CPU cost of one probe (front window + idle time) of the Plasma and GNOME backends, printed beside
// the X11 and wlroots figures by scripts/bench.sh: KWin's on a real headless KWin of its own with a
// Qt Wayland window in front, GNOME's against stand-ins of the shell extension and of Mutter's
// IdleMonitor (no GNOME Shell runs here). Both answer from what the desktop pushed, so a probe
// should cost about as much as a cache read.
#include "DesktopStandIns.h"
#include "HeadlessKWin.h"
#include "ProbeTiming.h"
#include "wayland/GnomeShellPlatform.h"
#include "wayland/KWinPlatform.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>

namespace {
using probetiming::measure;
using probetiming::Timing;
constexpr int rounds = 5;
constexpr int iterations = 3000;

// Best-of-rounds cost of foregroundWindow() + idleSeconds().
Timing probe(Platform& platform, qint64* checksum)
{
    Timing timing;
    for (int r = 0; r < rounds; ++r) {
        measure(
            iterations,
            [&] {
                const ForegroundWindow w = platform.foregroundWindow();
                *checksum += w.pid + w.title.size() + platform.idleSeconds();
            },
            &timing);
    }
    return timing;
}

bool waitFor(Platform& platform, const QString& title)
{
    QElapsedTimer waited;
    waited.start();
    while (platform.foregroundWindow().title != title && waited.elapsed() < 20000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    return platform.foregroundWindow().title == title;
}

void print(const char* what, const Timing& timing, const ForegroundWindow& front)
{
    std::printf("%-44s: %8.2f us CPU/call  (%.2f us wall), %.4f s CPU per hour at 1 Hz\n", what, timing.cpu,
                timing.wall, timing.cpu * 3600 / 1e6);
    std::printf("%-44s  front: %s, pid %lld, path %s\n", "", qPrintable(front.title), static_cast<long long>(front.pid),
                qPrintable(front.path));
}
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QString title = QStringLiteral("Benchmark window \u2014 a document.txt");
    qint64 checksum = 0;
    int status = 0;
    std::printf("iterations: %d per round, best of %d rounds\n", iterations, rounds);

    {
        HeadlessKWin kwin{QStringLiteral(WAYLAND_TEST_WINDOW)};
        QString whyNot;
        if (!kwin.start(&whyNot)) {
            std::printf("KWinPlatform: skipped, %s\n", qPrintable(whyNot));
        } else {
            KWinPlatform platform(kwin.connect(QStringLiteral("bench-kwin")), QFile::encodeName(kwin.waylandSocket()));
            if (!platform.isSupported() || !kwin.windows.open(QStringLiteral("verrin-bench"), title) ||
                !waitFor(platform, title)) {
                std::fprintf(stderr, "bench_desktop_probes: KWin did not report the window: %s\n",
                             qPrintable(platform.unsupportedReason()));
                status = 1;
            } else {
                print("KWinPlatform foregroundWindow+idleSeconds", probe(platform, &checksum),
                      platform.foregroundWindow());
            }
        }
    }
    {
        PrivateBus bus;
        QString whyNot;
        if (!bus.start(&whyNot)) {
            std::printf("GnomeShellPlatform: skipped, %s\n", qPrintable(whyNot));
        } else {
            DesktopStandIns shell(bus.address(), DesktopStandIns::GnomeShell | DesktopStandIns::IdleMonitor);
            shell.shell.focus(title, QStringLiteral("verrin-bench"), uint(QCoreApplication::applicationPid()));
            GnomeShellPlatform platform(bus.connect(QStringLiteral("bench-gnome")));
            if (!platform.isSupported() || !waitFor(platform, title)) {
                std::fprintf(stderr, "bench_desktop_probes: the extension's stand-in was not heard: %s\n",
                             qPrintable(platform.unsupportedReason()));
                status = 1;
            } else {
                print("GnomeShellPlatform foregroundWindow+idleSeconds", probe(platform, &checksum),
                      platform.foregroundWindow());
            }
        }
    }
    return checksum == -1 ? 2 : status;
}
