// CPU cost of one probe of the X11 backend (front window + idle time), next to a bare loop of the same
// xcb requests, with a real window in front. Run under Xvfb with openbox (scripts/bench.sh does).
#include "ProbeTiming.h"
#include "x11/X11Platform.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QWidget>

#include <xcb/screensaver.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {
using probetiming::Timing;
constexpr int rounds = 5;
constexpr int iterations = 3000;

xcb_atom_t intern(xcb_connection_t* conn, const char* name)
{
    auto* reply = xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, uint16_t(strlen(name)), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : XCB_NONE;
    free(reply);
    return atom;
}

struct BareProbe
{
    xcb_connection_t* conn;
    xcb_window_t root;
    xcb_atom_t active = intern(conn, "_NET_ACTIVE_WINDOW");
    xcb_atom_t pid = intern(conn, "_NET_WM_PID");
    xcb_atom_t netName = intern(conn, "_NET_WM_NAME");
    xcb_atom_t utf8 = intern(conn, "UTF8_STRING");

    // The backend's requests without anything around them: active window and idle time, then the
    // window's pid, both titles, class and attributes; every reply and error freed.
    uint32_t run()
    {
        xcb_generic_error_t* error = nullptr;
        auto activeCookie = xcb_get_property(conn, 0, root, active, XCB_ATOM_WINDOW, 0, 1);
        auto idleCookie = xcb_screensaver_query_info(conn, root);
        auto* activeReply = xcb_get_property_reply(conn, activeCookie, &error);
        free(error);
        auto* idleReply = xcb_screensaver_query_info_reply(conn, idleCookie, &error);
        free(error);
        uint32_t idle = idleReply ? idleReply->ms_since_user_input : 0;
        free(idleReply);
        xcb_window_t window = XCB_NONE;
        if (activeReply && xcb_get_property_value_length(activeReply) >= 4) {
            window = *static_cast<xcb_window_t*>(xcb_get_property_value(activeReply));
        }
        free(activeReply);
        if (window == XCB_NONE) {
            return idle;
        }
        xcb_get_property_cookie_t cookies[] = {
            xcb_get_property(conn, 0, window, pid, XCB_ATOM_CARDINAL, 0, 1),
            xcb_get_property(conn, 0, window, netName, utf8, 0, 16 * 1024),
            xcb_get_property(conn, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 16 * 1024),
            xcb_get_property(conn, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256),
        };
        auto attributesCookie = xcb_get_window_attributes(conn, window);
        for (auto cookie : cookies) {
            auto* reply = xcb_get_property_reply(conn, cookie, &error);
            free(error);
            idle += reply ? reply->length : 0;
            free(reply);
        }
        auto* attributes = xcb_get_window_attributes_reply(conn, attributesCookie, &error);
        free(error);
        free(attributes);
        return idle;
    }
};

// Every X11 figure is a round of `iterations` calls.
template <typename F>
void measure(F&& f, Timing* timing)
{
    probetiming::measure(iterations, f, timing);
}
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    xcb_connection_t* conn = X11Platform::qtConnection();
    if (!conn) {
        std::fprintf(stderr, "bench_x11_probe: needs an X11 display (run it through scripts/bench.sh)\n");
        return 1;
    }
    X11Platform platform(conn);

    QWidget window;
    const QString title = QStringLiteral("Benchmark window \u2014 a document.txt");
    window.setWindowTitle(title);
    window.resize(400, 300);
    window.show();
    // Ask the window manager to activate the window until it is in front (bounded: 20 tries).
    for (int attempt = 0; attempt < 20 && platform.foregroundWindow().title != title; ++attempt) {
        QProcess::execute(QStringLiteral("xdotool"),
                          {QStringLiteral("windowactivate"), QString::number(window.winId())});
        QElapsedTimer waited;
        waited.start();
        while (platform.foregroundWindow().title != title && waited.elapsed() < 500) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        }
    }
    const ForegroundWindow front = platform.foregroundWindow();
    if (front.title != title) {
        std::fprintf(stderr, "bench_x11_probe: the test window did not come to the front\n");
        return 1;
    }

    BareProbe bare{conn, platform.rootWindow()};
    volatile uint32_t sink = 0;
    qint64 checksum = 0;
    for (int i = 0; i < 200; ++i) { // warm up caches on both sides
        sink = sink + bare.run();
        checksum += platform.foregroundWindow().pid + platform.idleSeconds();
    }

    // Rounds alternate between the two loops so that a busy machine slows both alike.
    Timing bareTiming;
    Timing probeTiming;
    for (int r = 0; r < rounds; ++r) {
        measure([&] { sink = sink + bare.run(); }, &bareTiming);
        measure(
            [&] {
                const ForegroundWindow w = platform.foregroundWindow();
                checksum += w.pid + w.title.size() + platform.idleSeconds();
            },
            &probeTiming);
    }
    const double bareCpu = bareTiming.cpu;
    const double bareWall = bareTiming.wall;
    const double probeCpu = probeTiming.cpu;
    const double probeWall = probeTiming.wall;

    std::printf("front window: %s, pid %lld, path %s\n", qPrintable(front.title), static_cast<long long>(front.pid),
                qPrintable(front.path));
    std::printf("iterations: %d per round, best of %d rounds\n", iterations, rounds);
    std::printf("bare xcb probe (same requests)          : %8.1f us CPU/call  (%.1f us wall)\n", bareCpu, bareWall);
    std::printf("X11Platform foregroundWindow+idleSeconds: %8.1f us CPU/call  (%.1f us wall)\n", probeCpu, probeWall);
    std::printf("ratio backend / bare                    : %8.2f\n", probeCpu / bareCpu);
    std::printf("one hour at 1 Hz                        : %8.3f s CPU\n", probeCpu * 3600 / 1e6);
    return checksum == -1 ? 2 : 0;
}
