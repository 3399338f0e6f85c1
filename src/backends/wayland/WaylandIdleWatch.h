#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QSet>
#include <QString>

#include <cstdint>
#include <memory>

struct wl_display;
struct wl_registry;
struct wl_seat;
struct ext_idle_notifier_v1;
struct ext_idle_notification_v1;
struct org_kde_kwin_idle;
struct org_kde_kwin_idle_timeout;
class QSocketNotifier;

namespace wayland {
// Reads and dispatches whatever the compositor has sent, without ever waiting for more.
void readPending(wl_display* display);
} // namespace wayland

// Idle time as a Wayland compositor tells it: ext-idle-notify, else KDE's idle protocol (KWin offers
// both, sway before 1.8 only KDE's). The compositor pushes "idle" and "resumed"; the idle time is
// answered from those, so asking costs nothing. It lives on a connection its owner dispatches and is
// offered every global the registry announces.
class WaylandIdleWatch
{
public:
    WaylandIdleWatch();
    // Releases its protocol objects; the owner disconnects the display only afterwards.
    ~WaylandIdleWatch();
    WaylandIdleWatch(const WaylandIdleWatch&) = delete;
    WaylandIdleWatch& operator=(const WaylandIdleWatch&) = delete;

    void onGlobal(wl_registry* registry, uint32_t name, const QByteArray& interface);
    // Seconds since the last input; 0 when not idle or no protocol is offered.
    int idleSeconds() const;
    // The protocol idle time comes from ("" when none).
    QByteArray protocol() const { return source; }

    // Callback of the generated listeners; not for other callers.
    void onIdle(bool idle);

private:
    void start();

    wl_seat* seat = nullptr;
    ext_idle_notifier_v1* notifier = nullptr;
    ext_idle_notification_v1* notification = nullptr;
    org_kde_kwin_idle* kdeIdle = nullptr;
    org_kde_kwin_idle_timeout* kdeTimeout = nullptr;
    QByteArray source;
    QElapsedTimer clock;
    bool idle = false;
    qint64 idleSinceMs = 0;
};

// A Wayland connection of its own that only watches idle time, for desktops whose windows are seen
// by other means (KWin's script). Events are read as they arrive while an event loop runs.
class WaylandIdleConnection
{
public:
    // `display` is a socket name or absolute path; empty means WAYLAND_DISPLAY.
    explicit WaylandIdleConnection(const QByteArray& display = QByteArray());
    ~WaylandIdleConnection();
    WaylandIdleConnection(const WaylandIdleConnection&) = delete;
    WaylandIdleConnection& operator=(const WaylandIdleConnection&) = delete;

    bool isConnected() const { return display != nullptr; }
    int idleSeconds();
    QByteArray protocol() const { return watch ? watch->protocol() : QByteArray(); }
    const QSet<QByteArray>& offeredInterfaces() const { return offered; }

    // Callback of the registry listener; not for other callers.
    void onGlobal(wl_registry* registry, uint32_t name, const char* interface);

private:
    void disconnect();

    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    std::unique_ptr<WaylandIdleWatch> watch;
    std::unique_ptr<QSocketNotifier> notifier;
    QSet<QByteArray> offered;
};
