// Memory over a simulated day of recording: the recorder with the fake desktop on a real SQLite file,
// feeding the day's tree and timeline as the main window does (both shown, offscreen, repainted after
// every change), 24 hours from midnight with the front window switching every 5 s. Prints the
// resident size and the heap in use every two hours and the growth per hour after the first hour.
// The day's stretches themselves have to stay somewhere (the timeline draws each one, the tree keeps
// the rows it can link), so a fixed set of titles shows what that costs per stretch; a second day
// shows the first one's memory handed back when the views move on.
#include "FakePlatform.h"
#include "ManualClock.h"
#include "app/Registry.h"
#include "recording/Recorder.h"
#include "reports/TreeModel.h"
#include "store/Database.h"
#include "views/DayTimeline.h"
#include "views/TimeTree.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <malloc.h>
#include <sqlite3.h>

namespace {
long residentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').value(0).toLong();
        }
    }
    return 0;
}

double heapMb()
{
    return double(mallinfo2().uordblks) / (1024.0 * 1024.0);
}

struct Window
{
    const char* name;
    const char* path;
    const char* title;
};

// The two windows of the program benchmark, and a browser whose title walks through 40 pages.
constexpr Window kWindows[] = {{"Writer", "/usr/share/applications/writer.desktop", "report.odt - Writer"},
                               {"Mail", "/usr/share/applications/mail.desktop", "Inbox - Mail"},
                               {"Browser", "/usr/share/applications/browser.desktop", nullptr}};
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QTemporaryDir dir;
    Database database;
    QString error;
    if (!dir.isValid() || !database.open(dir.filePath(QStringLiteral("day.sqlite")), &error)) {
        std::fprintf(stderr, "cannot open database: %s\n", qPrintable(error));
        return 1;
    }
    Registry::instance()->setIdleEnabled(true);
    Registry::instance()->setIdleLimit(5);
    Registry::instance()->setHideUnder(1);

    ManualClock clock(QDateTime(QDate(2026, 11, 16), QTime(0, 0, 0)));
    FakePlatform platform;
    Recorder recorder(&platform, &clock);
    TreeModel unlinked(false);
    TreeModel linked(true);
    unlinked.setDisplayedDate(clock.today());
    unlinked.setHideUnder(1);
    QObject::connect(&recorder, &Recorder::entryWritten, &unlinked, &TreeModel::addTime);
    TimeTree tree;
    tree.setModel(&unlinked);
    tree.resize(800, 400);
    tree.show();
    DayTimeline timeline;
    timeline.setModels(&unlinked, &linked);
    timeline.resize(800, 60);
    timeline.show();

    constexpr int kSwitchEvery = 5;
    constexpr int kDays = 2;
    // Hours in a day, shorter for a quick look.
    const int hours = argc > 1 ? qBound(2, QByteArray(argv[1]).toInt(), 24) : 24;
    long firstHourKb = 0;
    double firstHourHeap = 0;
    recorder.start();
    for (int day = 0; day < kDays; ++day) {
        if (day > 0) {
            // The user opens the new day.
            unlinked.initTree(clock.today(), 1);
        }
        std::printf("day %d\n", day + 1);
        for (int second = 0; second < hours * 3600; ++second) {
            if (second % kSwitchEvery == 0) {
                const int turn = second / kSwitchEvery;
                const Window& w = kWindows[turn % 3];
                const QString title =
                    w.title ? QString::fromUtf8(w.title) : QStringLiteral("Page %1 - Browser").arg(turn / 3 % 40);
                platform.setWindow(QString::fromUtf8(w.name), QString::fromUtf8(w.path), title);
            }
            recorder.updateApps();
            if (second % kSwitchEvery == 1) {
                QCoreApplication::processEvents(); // the repaints the switch asked for
            }
            clock.advance(1);
            const int hour = (second + 1) / 3600;
            if ((second + 1) % 3600 == 0 && (hour == 1 || hour % 2 == 0)) {
                std::printf("  after %2d h: %6.1f MB resident, %6.1f MB heap (%.1f MB of it SQLite's), %d applications "
                            "in the day's tree\n",
                            hour, residentKb() / 1024.0, heapMb(), double(sqlite3_memory_used()) / (1024.0 * 1024.0),
                            unlinked.rowCount());
                if (day == 0 && hour == 1) {
                    firstHourKb = residentKb();
                    firstHourHeap = heapMb();
                }
            }
        }
        if (day == 0) {
            std::printf("  growth after the first hour: %.1f kB resident, %.1f kB heap per hour "
                        "(%d stretches a day)\n",
                        (residentKb() - firstHourKb) / (hours - 1.0),
                        (heapMb() - firstHourHeap) * 1024.0 / (hours - 1.0), hours * 3600 / kSwitchEvery);
        }
    }
    recorder.stop();
    return 0;
}
