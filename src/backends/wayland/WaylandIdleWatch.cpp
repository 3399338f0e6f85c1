#include "wayland/WaylandIdleWatch.h"

#include "ext-idle-notify-client-protocol.h"
#include "kde-idle-client-protocol.h"

#include <QDebug>
#include <QSocketNotifier>

#include <algorithm>
#include <poll.h>
#include <wayland-client.h>

namespace {
// Idle is reported once this long has passed without input; the idle time is then the time since the
// report plus this threshold, so a short one keeps the answer within a second of the truth.
constexpr uint32_t idleThresholdMs = 1000;

void seatCapabilities(void*, wl_seat*, uint32_t) {}
void seatName(void*, wl_seat*, const char*) {}
const wl_seat_listener seatListener = {seatCapabilities, seatName};

void extIdled(void* data, ext_idle_notification_v1*)
{
    static_cast<WaylandIdleWatch*>(data)->onIdle(true);
}
void extResumed(void* data, ext_idle_notification_v1*)
{
    static_cast<WaylandIdleWatch*>(data)->onIdle(false);
}
const ext_idle_notification_v1_listener extIdleListener = {extIdled, extResumed};

void kdeIdled(void* data, org_kde_kwin_idle_timeout*)
{
    static_cast<WaylandIdleWatch*>(data)->onIdle(true);
}
void kdeResumed(void* data, org_kde_kwin_idle_timeout*)
{
    static_cast<WaylandIdleWatch*>(data)->onIdle(false);
}
const org_kde_kwin_idle_timeout_listener kdeIdleListener = {kdeIdled, kdeResumed};

void registryGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t)
{
    static_cast<WaylandIdleConnection*>(data)->onGlobal(registry, name, interface);
}
void registryGlobalRemove(void*, wl_registry*, uint32_t) {}
const wl_registry_listener registryListener = {registryGlobal, registryGlobalRemove};
} // namespace

void wayland::readPending(wl_display* display)
{
    // The documented non-blocking read: announce the read, take what the socket holds, dispatch.
    while (wl_display_prepare_read(display) != 0) {
        wl_display_dispatch_pending(display);
    }
    wl_display_flush(display);
    pollfd fd{wl_display_get_fd(display), POLLIN, 0};
    if (::poll(&fd, 1, 0) > 0) {
        wl_display_read_events(display);
    } else {
        wl_display_cancel_read(display);
    }
    wl_display_dispatch_pending(display);
}

WaylandIdleWatch::WaylandIdleWatch()
{
    clock.start();
}

WaylandIdleWatch::~WaylandIdleWatch()
{
    if (notification) {
        ext_idle_notification_v1_destroy(notification);
    }
    if (notifier) {
        ext_idle_notifier_v1_destroy(notifier);
    }
    if (kdeTimeout) {
        org_kde_kwin_idle_timeout_release(kdeTimeout);
    }
    if (kdeIdle) {
        org_kde_kwin_idle_destroy(kdeIdle);
    }
    if (seat) {
        wl_seat_destroy(seat);
    }
}

void WaylandIdleWatch::onGlobal(wl_registry* registry, uint32_t name, const QByteArray& interface)
{
    if (interface == wl_seat_interface.name && !seat) {
        seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
        wl_seat_add_listener(seat, &seatListener, this);
    } else if (interface == ext_idle_notifier_v1_interface.name && !notifier) {
        notifier =
            static_cast<ext_idle_notifier_v1*>(wl_registry_bind(registry, name, &ext_idle_notifier_v1_interface, 1));
    } else if (interface == org_kde_kwin_idle_interface.name && !kdeIdle) {
        kdeIdle = static_cast<org_kde_kwin_idle*>(wl_registry_bind(registry, name, &org_kde_kwin_idle_interface, 1));
    }
    start();
}

void WaylandIdleWatch::start()
{
    // Globals arrive in any order; the watch starts once a seat and an idle protocol are both known,
    // preferring the standard protocol when the compositor offers both.
    if (!seat || notification || kdeTimeout) {
        return;
    }
    if (notifier) {
        notification = ext_idle_notifier_v1_get_idle_notification(notifier, idleThresholdMs, seat);
        ext_idle_notification_v1_add_listener(notification, &extIdleListener, this);
        source = ext_idle_notifier_v1_interface.name;
    } else if (kdeIdle) {
        kdeTimeout = org_kde_kwin_idle_get_idle_timeout(kdeIdle, seat, idleThresholdMs);
        org_kde_kwin_idle_timeout_add_listener(kdeTimeout, &kdeIdleListener, this);
        source = org_kde_kwin_idle_interface.name;
    }
}

void WaylandIdleWatch::onIdle(bool nowIdle)
{
    if (nowIdle && !idle) {
        idleSinceMs = clock.elapsed() - idleThresholdMs;
    }
    idle = nowIdle;
}

int WaylandIdleWatch::idleSeconds() const
{
    if (!idle) {
        return 0;
    }
    return static_cast<int>(std::max<qint64>(0, clock.elapsed() - idleSinceMs) / 1000);
}

WaylandIdleConnection::WaylandIdleConnection(const QByteArray& displayName)
{
    display = wl_display_connect(displayName.isEmpty() ? nullptr : displayName.constData());
    if (!display) {
        return;
    }
    watch = std::make_unique<WaylandIdleWatch>();
    registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, this);
    // The first round trip announces the globals, the second brings the idle state.
    if (wl_display_roundtrip(display) < 0 || wl_display_roundtrip(display) < 0) {
        qWarning("The Wayland compositor closed the connection: idle time cannot be detected");
        disconnect();
        return;
    }
    if (watch->protocol().isEmpty()) {
        qWarning("The Wayland compositor offers no idle protocol: idle time cannot be detected");
    }
    notifier = std::make_unique<QSocketNotifier>(wl_display_get_fd(display), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [this] { idleSeconds(); });
}

WaylandIdleConnection::~WaylandIdleConnection()
{
    disconnect();
}

void WaylandIdleConnection::disconnect()
{
    notifier.reset();
    watch.reset();
    if (registry) {
        wl_registry_destroy(registry);
        registry = nullptr;
    }
    if (display) {
        wl_display_disconnect(display);
        display = nullptr;
    }
}

void WaylandIdleConnection::onGlobal(wl_registry* registry, uint32_t name, const char* interface)
{
    offered.insert(QByteArray(interface));
    watch->onGlobal(registry, name, QByteArray(interface));
}

int WaylandIdleConnection::idleSeconds()
{
    if (!display) {
        return 0;
    }
    if (wl_display_get_error(display) != 0) {
        // A compositor gone means the session is ending; the window side notices and says so.
        qWarning("Lost the Wayland connection that reports idle time");
        disconnect();
        return 0;
    }
    wayland::readPending(display);
    return watch->idleSeconds();
}
