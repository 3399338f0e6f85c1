#pragma once

#include "platform/ApplicationResolver.h"
#include "platform/DesktopEntryIndex.h"
#include "platform/Platform.h"
#include "x11/QtRootRelay.h"

#include <QElapsedTimer>
#include <QHash>
#include <QTimer>

#include <xcb/screensaver.h>
#include <xcb/xcb.h>

#include <functional>
#include <memory>

class QSocketNotifier;

// The platform of an X11 session. The program gives it an xcb connection of its own (replies to its
// probes then never wake Qt's X event thread); tests may hand in Qt's. A probe of a window not seen
// before costs two round trips to the X server: which window is active, then that window's pid, titles
// and class together. Every reply is checked for errors, since windows vanish at any moment.
class X11Platform : public Platform
{
public:
    // `connection` is Qt's (see `qtConnection`); null or broken makes the platform unsupported.
    explicit X11Platform(xcb_connection_t* connection,
                         const QStringList& applicationFolders = DesktopEntryIndex::defaultFolders());

    ~X11Platform() override;
    X11Platform(const X11Platform&) = delete;
    X11Platform& operator=(const X11Platform&) = delete;

    // Qt's xcb connection, or null when Qt does not run on xcb.
    static xcb_connection_t* qtConnection();
    // A platform on a connection of its own to the display Qt uses, closed with it.
    static std::unique_ptr<X11Platform>
    withOwnConnection(const QStringList& applicationFolders = DesktopEntryIndex::defaultFolders());

    bool isSupported() const override { return supported; }
    QString unsupportedReason() const override { return reason; }
    ForegroundWindow foregroundWindow() override;
    int idleSeconds() override;
    QIcon iconForPath(const QString& path) override;
    void hideApplication() override;
    // Only on a connection of its own, where the platform hears of changes.
    bool announceChanges(std::function<void()> listener) override;
    bool answerMayHaveChanged() override;

    xcb_connection_t* connection() const { return conn; }
    xcb_window_t rootWindow() const { return root; }
    // The window the last `foregroundWindow` looked at (XCB_NONE when none).
    xcb_window_t lastWindow() const { return lastProbedWindow; }
    DesktopEntryIndex& desktopEntries() { return index; }

private:
    // The most windows any of the probe's caches remembers.
    static constexpr int kMaxKnownWindows = 512;
    // Events heard while nothing probes are read this often, so they neither pile up nor reach Qt late.
    static constexpr int kDrainPauseMs = 30 * 1000;
    // How long a window manager's changes at a switch of the front window are let pile up before they are read.
    static constexpr int kSettleMs = 100;
    struct KnownWindow
    {
        ForegroundWindow answer;
        bool titleStale = false; // the title changed: only it is asked again
    };
    struct Atoms
    {
        xcb_atom_t netActiveWindow = XCB_NONE;
        xcb_atom_t netWmPid = XCB_NONE;
        xcb_atom_t netWmName = XCB_NONE;
        xcb_atom_t netWmIcon = XCB_NONE;
        xcb_atom_t utf8String = XCB_NONE;
        xcb_atom_t wmState = XCB_NONE;
        xcb_atom_t netWorkArea = XCB_NONE;
        xcb_atom_t netSupported = XCB_NONE;
    };

    void internAtoms();
    bool readsProperty(xcb_atom_t atom) const;
    bool failed(xcb_generic_error_t* error, const char* what, xcb_window_t window);
    void storeIdle(xcb_screensaver_query_info_cookie_t cookie);
    xcb_window_t focusedClientWindow();
    qint64 pidFromResourceExtension(xcb_window_t window);
    QIcon windowIcon(xcb_window_t window);

    xcb_connection_t* conn = nullptr;
    xcb_connection_t* owned = nullptr;
    xcb_window_t root = XCB_NONE;
    bool supported = false;
    QString reason;
    bool hasScreenSaver = false;
    bool hasResource = false;
    Atoms atoms;

    DesktopEntryIndex index;
    ApplicationResolver resolver;

    quint32 idleMs = 0;
    QElapsedTimer idleAge;
    xcb_window_t lastProbedWindow = XCB_NONE;
    // On a connection of its own the platform hears of changes instead of asking every tick: the active
    // window read last stays true until the root says another is active, and the answer for each window
    // seen in front stays true until that window's names, class or pid change, or it is mapped, unmapped or
    // destroyed. A tick then sends nothing to the X server, and coming back to a window seen before costs
    // one request instead of six (on an idle X server each answer is a wake-up of its own). The idle time is
    // asked for only when the recorder needs it, which while the user is active is once in a few minutes.
    // Reads every event that arrived, so none pile up: as they arrive while the recorder listens for
    // announcements, else at each probe and, while nothing probes (recording paused), from a timer that a
    // probe puts off again. True when the root window said something (a switch of the front window
    // is under way).
    bool drainEvents();
    bool answerHolds() const;
    void onAnnouncement();
    void onSettled();
    void askActiveWindow();
    void dropActiveQuestion();
    void announceIfChanged();
    void forget(xcb_window_t window);
    void watch(xcb_window_t window);
    ForegroundWindow probeWindow(xcb_window_t window, bool viaFocus);
    bool refreshTitle(xcb_window_t window, KnownWindow& kept);
    QString titleOf(const xcb_get_property_reply_t* netName, const xcb_get_property_reply_t* name) const;
    xcb_window_t front = XCB_NONE;
    bool frontKnown = false;
    QHash<xcb_window_t, KnownWindow> known; // every window in it is watched
    std::unique_ptr<QtRootRelay> qtRelay;
    QTimer drainWhilePaused;
    std::function<void()> listener;
    QSocketNotifier* announcer = nullptr; // reads events as they arrive while a listener is set
    QTimer settle;
    xcb_get_property_cookie_t activeQuestion{};
    bool activeAsked = false;
    qint64 drainPutOffAt = 0;               // `clock` milliseconds
    xcb_window_t vanishedWindow = XCB_NONE; // the last window found gone, reported once
    QHash<xcb_window_t, qint64> resourcePids;
    QHash<QString, xcb_window_t> windowOfPath;
    QHash<QString, QIcon> icons;
    QHash<QByteArray, qint64> lastWarning;
    QElapsedTimer clock;
    bool warnedNoIdle = false;
};
