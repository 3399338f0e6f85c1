#include "x11/X11Platform.h"

#include <QSocketNotifier>

// What the probe hears from the X server on its own connection: the events that keep its answers true,
// and the announcements the recorder samples on.

bool X11Platform::drainEvents()
{
    // Put off the paused-time read, but not at every tick: restarting a timer costs more than reading the clock.
    if (const qint64 now = clock.elapsed(); !announcer && now - drainPutOffAt >= kDrainPauseMs / 3) {
        drainPutOffAt = now;
        drainWhilePaused.start();
    }
    // Every event is read, whether or not an answer is kept. Reading what the server sent meanwhile does not
    // wait: only events already here are looked at.
    bool activeChanged = false;
    bool rootChanged = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(conn)) {
        switch (event->response_type & ~0x80) {
        case XCB_PROPERTY_NOTIFY: {
            const auto* change = reinterpret_cast<xcb_property_notify_event_t*>(event);
            rootChanged = rootChanged || change->window == root;
            if (change->window == root && change->atom == atoms.netActiveWindow) {
                frontKnown = false;
                activeChanged = true;
            } else if (const auto it = known.find(change->window); it != known.end()) {
                // Toolkits touch other properties of their windows all the time (GTK sets
                // _NET_WM_USER_TIME at every key press, window managers the state at every switch);
                // only a change of what the answer is made of costs a round trip, and a new title
                // (the change that comes most often) asks only for the title.
                if (change->atom == atoms.netWmName || change->atom == XCB_ATOM_WM_NAME) {
                    it->titleStale = true;
                } else if (readsProperty(change->atom)) {
                    known.erase(it);
                }
            } else if (qtRelay) {
                qtRelay->relay(*change);
            }
            break;
        }
        case XCB_MAP_NOTIFY:
            known.remove(reinterpret_cast<xcb_map_notify_event_t*>(event)->window);
            break;
        case XCB_UNMAP_NOTIFY:
            known.remove(reinterpret_cast<xcb_unmap_notify_event_t*>(event)->window);
            break;
        case XCB_DESTROY_NOTIFY:
            forget(reinterpret_cast<xcb_destroy_notify_event_t*>(event)->window);
            break;
        case 0: // a request about a window failed: it went before it could be watched
            forget(reinterpret_cast<xcb_generic_error_t*>(event)->resource_id);
            break;
        }
        free(event);
    }
    if (activeChanged) {
        // A question asked before the change may carry the answer from before it. While the recorder
        // listens, the new one is asked now, so the answer is there by the time it is wanted; a window
        // manager may change the active window twice at a switch (first to none), and only the last
        // change is asked about.
        dropActiveQuestion();
        if (announcer) {
            askActiveWindow();
        }
    }
    return rootChanged;
}

void X11Platform::forget(xcb_window_t window)
{
    // A window's id is free for another client's window once it is destroyed.
    known.remove(window);
    if (window == front) {
        frontKnown = false;
    }
}

bool X11Platform::announceChanges(std::function<void()> newListener)
{
    if (!owned || !supported || xcb_connection_has_error(conn)) {
        return false;
    }
    listener = std::move(newListener);
    if (!listener) {
        if (announcer) {
            // It may be announcing right now.
            settle.stop();
            announcer->setEnabled(false);
            announcer->deleteLater();
            announcer = nullptr;
        }
        drainWhilePaused.start();
        return true;
    }
    if (!announcer) {
        announcer = new QSocketNotifier(qintptr(xcb_get_file_descriptor(conn)), QSocketNotifier::Read);
        QObject::connect(announcer, &QSocketNotifier::activated, announcer, [this] { onAnnouncement(); });
        settle.setSingleShot(true);
        settle.setInterval(kSettleMs);
        QObject::connect(&settle, &QTimer::timeout, announcer, [this] { onSettled(); });
    }
    drainWhilePaused.stop();
    drainEvents();
    return true;
}

void X11Platform::dropActiveQuestion()
{
    if (activeAsked) {
        xcb_discard_reply(conn, activeQuestion.sequence);
        activeAsked = false;
    }
}

void X11Platform::askActiveWindow()
{
    dropActiveQuestion();
    activeQuestion = xcb_get_property(conn, 0, root, atoms.netActiveWindow, XCB_ATOM_WINDOW, 0, 1);
    activeAsked = true;
    xcb_flush(conn);
}

void X11Platform::onAnnouncement()
{
    announcer->setEnabled(false);
    if (xcb_connection_has_error(conn)) {
        // A broken connection reads as always ready; the answers say nothing from now on anyway.
        return;
    }
    // A window manager changes several properties of the root and the windows at every switch, and an idle
    // X server sends each change on its own: heard one by one, every one would be a wake-up. So once the
    // root speaks or the front window changes, the rest is read together 100 ms later (a new active window
    // is asked for as soon as its change is read, and the answer is there by then). Changes of windows
    // behind are only read.
    if (drainEvents() || !answerHolds()) {
        settle.start();
        return;
    }
    announcer->setEnabled(true);
}

void X11Platform::onSettled()
{
    if (!announcer) {
        return;
    }
    drainEvents();
    announcer->setEnabled(true);
    announceIfChanged();
}

void X11Platform::announceIfChanged()
{
    if (listener && !answerHolds()) {
        listener();
    }
}

bool X11Platform::answerMayHaveChanged()
{
    if (!announcer || xcb_connection_has_error(conn)) {
        return true;
    }
    drainEvents();
    return !answerHolds();
}

bool X11Platform::answerHolds() const
{
    // Without _NET_ACTIVE_WINDOW, or while the window manager names a window that was not seen whole, the
    // answer was asked for, not kept, and may differ at any time.
    if (!frontKnown || front == XCB_NONE) {
        return frontKnown;
    }
    const auto it = known.constFind(front);
    return it != known.constEnd() && !it->titleStale;
}

bool X11Platform::readsProperty(xcb_atom_t atom) const
{
    return atom == atoms.netWmName || atom == XCB_ATOM_WM_NAME || atom == XCB_ATOM_WM_CLASS || atom == atoms.netWmPid;
}

void X11Platform::watch(xcb_window_t window)
{
    if (!owned) {
        return;
    }
    if (known.size() >= kMaxKnownWindows) {
        const uint32_t none = XCB_EVENT_MASK_NO_EVENT;
        for (auto it = known.keyBegin(); it != known.keyEnd(); ++it) {
            xcb_change_window_attributes(conn, *it, XCB_CW_EVENT_MASK, &none);
        }
        known.clear();
    }
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(conn, window, XCB_CW_EVENT_MASK, &mask);
}
