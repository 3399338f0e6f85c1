#include "x11/X11Platform.h"

#include "ApplicationWindows.h"

#include <QApplication>
#include <QDebug>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QSocketNotifier>
#include <QWidget>

#include <xcb/res.h>

#include <cstdlib>
#include <memory>
#include <utility>

namespace {
struct FreeDeleter
{
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;
using ErrorPtr = std::unique_ptr<xcb_generic_error_t, FreeDeleter>;

// Titles longer than this are cut (16 KiB, more than the recorder keeps of any title even in 4-byte
// characters; the server sends no more than asked for, so a huge title costs nothing here).
constexpr uint32_t maxTitleLongs = 4 * 1024;
constexpr uint32_t maxClassLongs = 256;
// _NET_WM_ICON holds every size the client offers; 4 MiB covers several 512x512 images.
constexpr uint32_t maxIconLongs = 1024 * 1024;
// One probe fetches the idle time with the active window; an idle question right after reuses it.
constexpr qint64 idleReuseMs = 250;
constexpr qint64 warningRepeatMs = 60 * 1000;
constexpr int maxTreeWalk = 16;

QByteArray propertyBytes(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->type == XCB_NONE || reply->format != 8) {
        return QByteArray();
    }
    const int length = xcb_get_property_value_length(reply);
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply)), length);
}

QString textOf(const QByteArray& bytes, bool utf8)
{
    QByteArray text = bytes;
    while (text.endsWith('\0')) {
        text.chop(1);
    }
    if (utf8) {
        // A title cut at the request's limit may end inside a character: drop that character's
        // bytes rather than show a replacement sign.
        qsizetype start = text.size();
        while (start > 0 && (uchar(text.at(start - 1)) & 0xC0) == 0x80) {
            --start;
        }
        if (start > 0) {
            const uchar lead = uchar(text.at(start - 1));
            const int needed = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
            if (text.size() - (start - 1) < needed) {
                text.truncate(start - 1);
            }
        }
    }
    return utf8 ? QString::fromUtf8(text) : QString::fromLatin1(text);
}

int screenNumberFromDisplay()
{
    // ":0.1" -> 1; Qt opens the display named in DISPLAY, so its default screen is this one.
    const QByteArray display = qgetenv("DISPLAY");
    const int colon = display.lastIndexOf(':');
    const int dot = display.indexOf('.', colon < 0 ? 0 : colon);
    if (dot < 0) {
        return 0;
    }
    bool ok = false;
    const int number = display.mid(dot + 1).toInt(&ok);
    return ok ? number : 0;
}

QIcon iconFromName(const QString& name)
{
    if (name.isEmpty()) {
        return QIcon();
    }
    if (QFileInfo(name).isAbsolute()) {
        return QFileInfo::exists(name) ? QIcon(name) : QIcon();
    }
    QString themeName = name;
    for (const char* suffix : {".png", ".svg", ".xpm"}) {
        if (themeName.endsWith(QLatin1String(suffix))) {
            themeName.chop(4);
        }
    }
    QIcon icon = QIcon::fromTheme(themeName);
    if (!icon.isNull()) {
        return icon;
    }
    // Old applications install a bare image into the pixmaps folder instead of a theme.
    for (const char* suffix : {".png", ".svg", ".xpm"}) {
        const QString file = QStringLiteral("/usr/share/pixmaps/") + themeName + QLatin1String(suffix);
        if (QFileInfo::exists(file)) {
            return QIcon(file);
        }
    }
    return QIcon();
}
} // namespace

xcb_connection_t* X11Platform::qtConnection()
{
    if (!qGuiApp) {
        return nullptr;
    }
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

std::unique_ptr<X11Platform> X11Platform::withOwnConnection(const QStringList& applicationFolders)
{
    xcb_connection_t* own = xcb_connect(nullptr, nullptr);
    auto platform = std::make_unique<X11Platform>(own, applicationFolders);
    platform->owned = own;
    if (platform->supported) {
        // Changes of the active window are announced on the root window.
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(own, platform->root, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(own);
        if (xcb_connection_t* qt = qtConnection()) {
            platform->qtRelay = std::make_unique<QtRootRelay>(qt, platform->root, platform->atoms.netWorkArea,
                                                              platform->atoms.netSupported);
        }
        X11Platform* self = platform.get();
        platform->drainWhilePaused.setSingleShot(true);
        platform->drainWhilePaused.setInterval(kDrainPauseMs);
        QObject::connect(&platform->drainWhilePaused, &QTimer::timeout, [self] { self->drainEvents(); });
        platform->drainWhilePaused.start();
    }
    return platform;
}

X11Platform::~X11Platform()
{
    delete announcer;
    if (owned) {
        xcb_disconnect(owned);
    }
}

X11Platform::X11Platform(xcb_connection_t* connection, const QStringList& applicationFolders)
    : conn(connection), index(applicationFolders), resolver(&index)
{
    clock.start();
    if (!conn || xcb_connection_has_error(conn)) {
        reason = QStringLiteral("Recording needs an X11 display");
        conn = nullptr;
        return;
    }
    const xcb_setup_t* setup = xcb_get_setup(conn);
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(setup);
    for (int i = screenNumberFromDisplay(); i > 0 && it.rem > 1; --i) {
        xcb_screen_next(&it);
    }
    if (!it.data) {
        reason = QStringLiteral("Recording needs an X11 display");
        conn = nullptr;
        return;
    }
    root = it.data->root;

    const xcb_query_extension_reply_t* saver = xcb_get_extension_data(conn, &xcb_screensaver_id);
    hasScreenSaver = saver && saver->present;
    const xcb_query_extension_reply_t* res = xcb_get_extension_data(conn, &xcb_res_id);
    hasResource = res && res->present;
    if (!hasScreenSaver) {
        qWarning("The X server has no MIT-SCREEN-SAVER extension: idle time cannot be detected");
    }
    internAtoms();
    supported = true;
}

void X11Platform::internAtoms()
{
    struct Request
    {
        const char* name;
        xcb_atom_t* target;
        xcb_intern_atom_cookie_t cookie;
    };
    Request requests[] = {
        {"_NET_ACTIVE_WINDOW", &atoms.netActiveWindow, {}},
        {"_NET_WM_PID", &atoms.netWmPid, {}},
        {"_NET_WM_NAME", &atoms.netWmName, {}},
        {"_NET_WM_ICON", &atoms.netWmIcon, {}},
        {"UTF8_STRING", &atoms.utf8String, {}},
        {"WM_STATE", &atoms.wmState, {}},
        {"_NET_WORKAREA", &atoms.netWorkArea, {}},
        {"_NET_SUPPORTED", &atoms.netSupported, {}},
    };
    for (Request& r : requests) {
        r.cookie = xcb_intern_atom(conn, 0, uint16_t(qstrlen(r.name)), r.name);
    }
    for (Request& r : requests) {
        xcb_generic_error_t* error = nullptr;
        Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(conn, r.cookie, &error));
        if (!failed(error, r.name, XCB_NONE) && reply) {
            *r.target = reply->atom;
        }
    }
}

bool X11Platform::failed(xcb_generic_error_t* error, const char* what, xcb_window_t window)
{
    if (!error) {
        return false;
    }
    ErrorPtr owned(error);
    if (error->error_code == XCB_WINDOW && window != XCB_NONE && window == vanishedWindow) {
        return true; // already reported: a window manager can keep naming a closed window for long
    }
    // A window that closed between two requests is routine; anything else repeating every second
    // would flood the log, so each kind of error is reported at most once a minute.
    const QByteArray key = QByteArray(what) + '/' + QByteArray::number(error->error_code);
    const qint64 now = clock.elapsed();
    auto it = lastWarning.find(key);
    if (it == lastWarning.end() || now - *it >= warningRepeatMs) {
        lastWarning.insert(key, now);
        qWarning("X error %d (major %d, minor %d) asking for %s of window 0x%x", int(error->error_code),
                 int(error->major_code), int(error->minor_code), what, unsigned(window));
    }
    return true;
}

void X11Platform::storeIdle(xcb_screensaver_query_info_cookie_t cookie)
{
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_screensaver_query_info_reply_t> reply(xcb_screensaver_query_info_reply(conn, cookie, &error));
    if (failed(error, "the idle time", root) || !reply) {
        return;
    }
    idleMs = reply->ms_since_user_input;
    idleAge.start();
}

xcb_window_t X11Platform::focusedClientWindow()
{
    // Without an EWMH window manager there is no _NET_ACTIVE_WINDOW: the input focus tells, though it
    // may sit on a child of the application's window, so walk up to the window carrying WM_STATE (the
    // client window) or else to the top-level one.
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_input_focus_reply_t> focus(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), &error));
    if (failed(error, "the input focus", root) || !focus) {
        return XCB_NONE;
    }
    xcb_window_t window = focus->focus;
    for (int depth = 0; depth < maxTreeWalk; ++depth) {
        if (window == XCB_NONE || window == XCB_INPUT_FOCUS_POINTER_ROOT || window == root) {
            return XCB_NONE;
        }
        auto stateCookie = xcb_get_property(conn, 0, window, atoms.wmState, XCB_GET_PROPERTY_TYPE_ANY, 0, 0);
        auto treeCookie = xcb_query_tree(conn, window);
        Reply<xcb_get_property_reply_t> state(xcb_get_property_reply(conn, stateCookie, &error));
        const bool stateFailed = failed(error, "WM_STATE", window);
        Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(conn, treeCookie, &error));
        const bool treeFailed = failed(error, "the parent", window);
        if (stateFailed || treeFailed || !state || !tree) {
            return XCB_NONE;
        }
        if (state->type != XCB_NONE) {
            return window;
        }
        if (tree->parent == tree->root) {
            // A top-level window without WM_STATE: an application's own window when no window manager
            // runs, but also the window a window manager parks the focus on while nothing is active
            // (override-redirect, never an application's).
            Reply<xcb_get_window_attributes_reply_t> attributes(
                xcb_get_window_attributes_reply(conn, xcb_get_window_attributes(conn, window), &error));
            if (failed(error, "the attributes", window) || !attributes || attributes->override_redirect) {
                return XCB_NONE;
            }
            return window;
        }
        window = tree->parent;
    }
    return XCB_NONE;
}

qint64 X11Platform::pidFromResourceExtension(xcb_window_t window)
{
    if (!hasResource) {
        return 0;
    }
    if (auto it = resourcePids.constFind(window); it != resourcePids.constEnd()) {
        return *it;
    }
    xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(conn, xcb_res_query_client_ids(conn, 1, &spec), &error));
    if (failed(error, "the client pid", window) || !reply) {
        return 0;
    }
    qint64 pid = 0;
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
         xcb_res_client_id_value_next(&ids)) {
        if ((ids.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
            xcb_res_client_id_value_value_length(ids.data) >= 1) {
            pid = *xcb_res_client_id_value_value(ids.data);
            break;
        }
    }
    if (resourcePids.size() >= kMaxKnownWindows) {
        resourcePids.clear();
    }
    resourcePids.insert(window, pid);
    return pid;
}

ForegroundWindow X11Platform::foregroundWindow()
{
    lastProbedWindow = XCB_NONE;
    if (!supported || xcb_connection_has_error(conn)) {
        return {};
    }
    if (owned) {
        drainEvents();
    }
    if (!frontKnown) {
        // Round trip 1: which window is active (already asked when the root announced the change).
        if (!activeAsked) {
            askActiveWindow();
        }
        activeAsked = false;
        xcb_generic_error_t* error = nullptr;
        Reply<xcb_get_property_reply_t> active(xcb_get_property_reply(conn, activeQuestion, &error));
        if (failed(error, "_NET_ACTIVE_WINDOW", root) || !active) {
            return {};
        }
        if (active->type == XCB_NONE) {
            // No active-window property: focus changes are not announced, so ask again next time.
            const xcb_window_t focused = focusedClientWindow();
            return focused == XCB_NONE ? ForegroundWindow{} : probeWindow(focused, true);
        }
        front = XCB_NONE; // nothing is active (all windows closed, or the desktop itself has the focus)
        if (active->type == XCB_ATOM_WINDOW && active->format == 32 &&
            xcb_get_property_value_length(active.get()) >= 4) {
            front = *static_cast<const xcb_window_t*>(xcb_get_property_value(active.get()));
        }
        frontKnown = owned != nullptr;
    }
    if (front == XCB_NONE) {
        return {};
    }
    if (const auto it = known.find(front); it != known.end() && (!it->titleStale || refreshTitle(front, *it))) {
        lastProbedWindow = it->answer.valid ? front : XCB_NONE;
        return it->answer;
    }
    return probeWindow(front, false);
}

bool X11Platform::refreshTitle(xcb_window_t window, KnownWindow& kept)
{
    auto netNameCookie = xcb_get_property(conn, 0, window, atoms.netWmName, atoms.utf8String, 0, maxTitleLongs);
    auto nameCookie = xcb_get_property(conn, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, maxTitleLongs);
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_property_reply_t> netName(xcb_get_property_reply(conn, netNameCookie, &error));
    bool vanished = failed(error, "_NET_WM_NAME", window);
    Reply<xcb_get_property_reply_t> name(xcb_get_property_reply(conn, nameCookie, &error));
    vanished = failed(error, "WM_NAME", window) || vanished;
    if (vanished) {
        known.remove(window); // the whole probe tells what became of it
        return false;
    }
    kept.answer.title = titleOf(netName.get(), name.get());
    kept.titleStale = false;
    return true;
}

QString X11Platform::titleOf(const xcb_get_property_reply_t* netName, const xcb_get_property_reply_t* name) const
{
    if (netName && netName->type == atoms.utf8String) {
        return textOf(propertyBytes(netName), true);
    }
    if (name && name->type != XCB_NONE) {
        // WM_NAME is Latin-1 when typed STRING; toolkits that type it UTF8_STRING mean UTF-8.
        return textOf(propertyBytes(name), name->type != XCB_ATOM_STRING);
    }
    return QString();
}

ForegroundWindow X11Platform::probeWindow(xcb_window_t window, bool viaFocus)
{
    xcb_generic_error_t* error = nullptr;
    // Round trip 2: the active window's process, titles and class. Watching starts first, so a change
    // the answers miss still arrives as an event.
    if (!viaFocus) {
        watch(window);
    }
    auto pidCookie = xcb_get_property(conn, 0, window, atoms.netWmPid, XCB_ATOM_CARDINAL, 0, 1);
    auto netNameCookie = xcb_get_property(conn, 0, window, atoms.netWmName, atoms.utf8String, 0, maxTitleLongs);
    auto nameCookie = xcb_get_property(conn, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, maxTitleLongs);
    auto classCookie = xcb_get_property(conn, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, maxClassLongs);
    // Window managers may leave _NET_ACTIVE_WINDOW naming a window that was withdrawn since (openbox
    // does when the last window goes away), so a window that is not on screen counts as none.
    auto attributesCookie = xcb_get_window_attributes(conn, window);
    Reply<xcb_get_property_reply_t> pidReply(xcb_get_property_reply(conn, pidCookie, &error));
    bool vanished = failed(error, "_NET_WM_PID", window);
    Reply<xcb_get_property_reply_t> netName(xcb_get_property_reply(conn, netNameCookie, &error));
    vanished = failed(error, "_NET_WM_NAME", window) || vanished;
    Reply<xcb_get_property_reply_t> name(xcb_get_property_reply(conn, nameCookie, &error));
    vanished = failed(error, "WM_NAME", window) || vanished;
    Reply<xcb_get_property_reply_t> wmClass(xcb_get_property_reply(conn, classCookie, &error));
    vanished = failed(error, "WM_CLASS", window) || vanished;
    Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(conn, attributesCookie, &error));
    vanished = failed(error, "the attributes", window) || vanished;
    if (vanished) {
        vanishedWindow = window;
        if (window == front) {
            front = XCB_NONE; // a window manager may go on naming it: nothing is in front until another is
        }
        return {};
    }
    if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) {
        if (owned && !viaFocus) {
            known.insert(window, {}); // until it is mapped
        }
        return {};
    }

    qint64 pid = 0;
    if (pidReply && pidReply->type == XCB_ATOM_CARDINAL && pidReply->format == 32 &&
        xcb_get_property_value_length(pidReply.get()) >= 4) {
        pid = *static_cast<const uint32_t*>(xcb_get_property_value(pidReply.get()));
    }
    if (pid <= 0) {
        // Old toolkits set no _NET_WM_PID, and a sandbox's pid means nothing outside it.
        pid = pidFromResourceExtension(window);
    }

    ForegroundWindow result;
    result.title = titleOf(netName.get(), name.get());
    const QList<QByteArray> classParts = propertyBytes(wmClass.get()).split('\0');
    const QString instance = classParts.size() > 0 ? QString::fromLocal8Bit(classParts.at(0)) : QString();
    const QString className = classParts.size() > 1 ? QString::fromLocal8Bit(classParts.at(1)) : QString();

    const ApplicationIdentity identity = resolver.resolve(pid, instance, className);
    result.name = identity.name;
    result.path = identity.path;
    result.pid = pid;
    result.valid = true;
    lastProbedWindow = window;
    if (owned && !viaFocus) {
        known.insert(window, {result});
    }
    if (!result.path.isEmpty() && !icons.contains(result.path)) {
        if (windowOfPath.size() >= kMaxKnownWindows) {
            windowOfPath.clear();
        }
        windowOfPath.insert(result.path, window);
    }
    return result;
}

int X11Platform::idleSeconds()
{
    if (!supported || !hasScreenSaver || xcb_connection_has_error(conn)) {
        if (supported && !hasScreenSaver && !warnedNoIdle) {
            warnedNoIdle = true;
            qWarning("Idle time is unknown without the MIT-SCREEN-SAVER extension; it counts as 0");
        }
        return 0;
    }
    if (!idleAge.isValid() || idleAge.elapsed() >= idleReuseMs) {
        storeIdle(xcb_screensaver_query_info(conn, root));
    }
    return int(idleMs / 1000);
}

QIcon X11Platform::windowIcon(xcb_window_t window)
{
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        conn, xcb_get_property(conn, 0, window, atoms.netWmIcon, XCB_ATOM_CARDINAL, 0, maxIconLongs), &error));
    if (failed(error, "_NET_WM_ICON", window) || !reply || reply->format != 32) {
        return QIcon();
    }
    const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    const qsizetype count = xcb_get_property_value_length(reply.get()) / 4;
    // The property is a list of width, height, then width*height ARGB pixels. The smallest image of at
    // least 32 pixels looks best in the trees; without one, the largest there is.
    const uint32_t* best = nullptr;
    uint32_t bestWidth = 0;
    uint32_t bestHeight = 0;
    for (qsizetype at = 0; at + 2 <= count;) {
        const uint32_t width = data[at];
        const uint32_t height = data[at + 1];
        const qsizetype pixels = qsizetype(width) * qsizetype(height);
        if (width == 0 || height == 0 || width > 4096 || height > 4096 || pixels > count - at - 2) {
            break; // malformed: stop rather than read past the end
        }
        const uint32_t size = qMin(width, height);
        const uint32_t bestSize = qMin(bestWidth, bestHeight);
        const bool better = !best || (size >= 32 && (bestSize < 32 || size < bestSize)) ||
                            (size < 32 && bestSize < 32 && size > bestSize);
        if (better) {
            best = data + at + 2;
            bestWidth = width;
            bestHeight = height;
        }
        at += 2 + pixels;
    }
    if (!best) {
        return QIcon();
    }
    QImage image(int(bestWidth), int(bestHeight), QImage::Format_ARGB32);
    for (uint32_t y = 0; y < bestHeight; ++y) {
        memcpy(image.scanLine(int(y)), best + qsizetype(y) * bestWidth, bestWidth * 4);
    }
    return QIcon(QPixmap::fromImage(image));
}

QIcon X11Platform::iconForPath(const QString& path)
{
    if (auto it = icons.constFind(path); it != icons.constEnd()) {
        return *it;
    }
    QIcon icon;
    if (supported && path.endsWith(QLatin1String(".desktop"))) {
        if (const DesktopEntry* entry = index.entryForFile(path)) {
            icon = iconFromName(entry->icon);
        }
    }
    if (icon.isNull() && supported) {
        if (const xcb_window_t window = windowOfPath.value(path, XCB_NONE); window != XCB_NONE) {
            icon = windowIcon(window);
            if (announcer) {
                // Outside a sample nothing would look at what the server said meanwhile: it waits in the
                // connection's queue, where the announcer cannot see it.
                drainEvents();
                QTimer::singleShot(0, announcer, [this] { announceIfChanged(); });
            }
        }
    }
    if (icon.isNull()) {
        icon = QIcon(QStringLiteral(":/icons/res/app.png"));
    }
    windowOfPath.remove(path);
    icons.insert(path, icon);
    return icon;
}

void X11Platform::hideApplication()
{
    ApplicationWindows::hide();
}
