#include "wayland/WlrootsPlatform.h"

#include "ApplicationWindows.h"
#include "wlr-foreign-toplevel-client-protocol.h"

#include <QApplication>
#include <QDebug>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QSocketNotifier>
#include <QWidget>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <wayland-client.h>

namespace {
constexpr uint32_t maxToplevelVersion = 3;
// The window list is bounded: a compositor flooding us must not grow it without end.
constexpr size_t maxToplevels = 4096;
constexpr int maxTitleChars = 64 * 1024;

WlrootsPlatform::Toplevel* asToplevel(void* data)
{
    return static_cast<WlrootsPlatform::Toplevel*>(data);
}

QString boundedText(const char* text)
{
    return QString::fromUtf8(text ? text : "").left(maxTitleChars);
}

void registryGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t version)
{
    static_cast<WlrootsPlatform*>(data)->onGlobal(registry, name, interface, version);
}
void registryGlobalRemove(void*, wl_registry*, uint32_t) {}
const wl_registry_listener registryListener = {registryGlobal, registryGlobalRemove};

void toplevelTitle(void* data, zwlr_foreign_toplevel_handle_v1*, const char* title)
{
    asToplevel(data)->pendingTitle = boundedText(title);
}
void toplevelAppId(void* data, zwlr_foreign_toplevel_handle_v1*, const char* appId)
{
    asToplevel(data)->pendingAppId = boundedText(appId);
}
void toplevelOutputEnter(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
void toplevelOutputLeave(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
void toplevelState(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states)
{
    bool activated = false;
    const auto* state = static_cast<const uint32_t*>(states->data);
    for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i) {
        activated = activated || state[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
    }
    asToplevel(data)->pendingActivated = activated;
}
void toplevelDone(void* data, zwlr_foreign_toplevel_handle_v1*)
{
    WlrootsPlatform::Toplevel* toplevel = asToplevel(data);
    toplevel->owner->onToplevelDone(toplevel);
}
void toplevelClosed(void* data, zwlr_foreign_toplevel_handle_v1*)
{
    WlrootsPlatform::Toplevel* toplevel = asToplevel(data);
    toplevel->owner->onToplevelClosed(toplevel);
}
void toplevelParent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}
const zwlr_foreign_toplevel_handle_v1_listener toplevelListener = {
    toplevelTitle, toplevelAppId, toplevelOutputEnter, toplevelOutputLeave,
    toplevelState, toplevelDone,  toplevelClosed,      toplevelParent,
};

void managerToplevel(void* data, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* handle)
{
    static_cast<WlrootsPlatform*>(data)->onToplevel(handle);
}
void managerFinished(void* data, zwlr_foreign_toplevel_manager_v1*)
{
    static_cast<WlrootsPlatform*>(data)->onManagerFinished();
}
const zwlr_foreign_toplevel_manager_v1_listener managerListener = {managerToplevel, managerFinished};

// sway's IPC: "i3-ipc", payload length and message type in native byte order, then the payload.
constexpr char swayMagic[] = "i3-ipc";
constexpr qsizetype swayHeaderSize = 6 + 2 * sizeof(quint32);
constexpr quint32 swayGetTree = 4;
constexpr int swayTimeoutMs = 500;
constexpr quint32 maxSwayReply = 64 * 1024 * 1024;
constexpr int maxTreeDepth = 64;

QJsonObject focusedNode(const QJsonObject& node, int depth)
{
    if (node.value(QLatin1String("focused")).toBool()) {
        return node;
    }
    if (depth >= maxTreeDepth) {
        return QJsonObject();
    }
    for (const char* key : {"nodes", "floating_nodes"}) {
        for (const QJsonValue& child : node.value(QLatin1String(key)).toArray()) {
            const QJsonObject found = focusedNode(child.toObject(), depth + 1);
            if (!found.isEmpty()) {
                return found;
            }
        }
    }
    return QJsonObject();
}

QIcon iconFromName(const QString& name)
{
    if (name.isEmpty()) {
        return QIcon();
    }
    if (QFileInfo(name).isAbsolute()) {
        return QFileInfo::exists(name) ? QIcon(name) : QIcon();
    }
    return QIcon::fromTheme(name);
}
} // namespace

WlrootsPlatform::WlrootsPlatform(const QByteArray& displayName, const QStringList& applicationFolders)
    : index(applicationFolders), resolver(&index)
{
    swaySocket = qEnvironmentVariable("SWAYSOCK");
    const QByteArray shownName = displayName.isEmpty() ? qgetenv("WAYLAND_DISPLAY") : displayName;
    display = wl_display_connect(displayName.isEmpty() ? nullptr : displayName.constData());
    if (!display) {
        reason = QStringLiteral("Cannot connect to the Wayland compositor (%1): recording is off")
                     .arg(QString::fromLocal8Bit(shownName.isEmpty() ? QByteArray("wayland-0") : shownName));
        return;
    }
    idleWatch = std::make_unique<WaylandIdleWatch>();
    registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, this);
    // The first round trip announces the globals, the second brings the windows that already exist
    // and the idle state, so the first probe already has an answer.
    if (wl_display_roundtrip(display) < 0 || wl_display_roundtrip(display) < 0) {
        fail(QStringLiteral("The Wayland compositor closed the connection: recording is off"));
        return;
    }
    if (!manager) {
        reason = QStringLiteral("This Wayland compositor does not tell which window is in front: recording is off");
        return;
    }
    if (idleWatch->protocol().isEmpty()) {
        qWarning("The Wayland compositor offers no idle protocol: idle time cannot be detected");
    }
    supported = true;
    // With an event loop running, changes are read as they arrive, so idle starts are timed exactly.
    notifier = std::make_unique<QSocketNotifier>(wl_display_get_fd(display), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [this] { readEvents(); });
}

WlrootsPlatform::~WlrootsPlatform()
{
    notifier.reset();
    if (!display) {
        return;
    }
    for (auto& toplevel : toplevels) {
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    }
    toplevels.clear();
    idleWatch.reset();
    if (manager) {
        zwlr_foreign_toplevel_manager_v1_destroy(manager);
    }
    if (registry) {
        wl_registry_destroy(registry);
    }
    wl_display_disconnect(display);
}

QString WlrootsPlatform::sessionReason(const QString& desktop, const QSet<QByteArray>& offered, const QString& fallback)
{
    const QString nothing = QStringLiteral(": the front window cannot be seen, so nothing is recorded");
    if (desktop.contains(QLatin1String("KDE"), Qt::CaseInsensitive) ||
        offered.contains("org_kde_plasma_window_management")) {
        return QStringLiteral("Recording on KDE Plasma (Wayland) needs KWin on the session bus, which does not "
                              "answer") +
               nothing;
    }
    if (desktop.contains(QLatin1String("GNOME"), Qt::CaseInsensitive) || offered.contains("gtk_shell1")) {
        return QStringLiteral("Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell extension") + nothing;
    }
    return fallback;
}

QString WlrootsPlatform::appIdPath(const QString& appId)
{
    return QStringLiteral("wayland-app-id:") + appId;
}

qint64 WlrootsPlatform::swayFocusedPid(const QString& appId) const
{
    if (swaySocket.isEmpty()) {
        return 0;
    }
    QLocalSocket socket;
    socket.connectToServer(swaySocket);
    if (!socket.waitForConnected(swayTimeoutMs)) {
        return 0;
    }
    QByteArray request(swayMagic, 6);
    const quint32 header[2] = {0, swayGetTree};
    request.append(reinterpret_cast<const char*>(header), sizeof(header));
    socket.write(request);
    QByteArray reply;
    QElapsedTimer waited;
    waited.start();
    quint32 length = 0;
    // Bounded: a sway that stops answering costs at most the timeout, once per new front window.
    while (waited.elapsed() < swayTimeoutMs) {
        if (reply.size() >= swayHeaderSize) {
            std::memcpy(&length, reply.constData() + 6, sizeof(length));
            if (!reply.startsWith(swayMagic) || length > maxSwayReply) {
                qWarning("sway's IPC sent an unexpected reply");
                return 0;
            }
            if (reply.size() >= swayHeaderSize + qsizetype(length)) {
                break;
            }
        }
        if (!socket.waitForReadyRead(int(std::max<qint64>(1, swayTimeoutMs - waited.elapsed())))) {
            break;
        }
        reply.append(socket.readAll());
    }
    if (reply.size() < swayHeaderSize || reply.size() < swayHeaderSize + qsizetype(length)) {
        qWarning("sway's IPC did not answer in time");
        return 0;
    }
    const QJsonObject node = focusedNode(QJsonDocument::fromJson(reply.mid(swayHeaderSize, length)).object(), 0);
    // The tree is sway's state now; the window list may lag behind it, so they must agree.
    if (node.value(QLatin1String("app_id")).toString() != appId) {
        return 0;
    }
    return node.value(QLatin1String("pid")).toInteger();
}

void WlrootsPlatform::onGlobal(wl_registry* registry, uint32_t name, const char* interface, uint32_t version)
{
    const QByteArray iface(interface);
    offered.insert(iface);
    if (iface == zwlr_foreign_toplevel_manager_v1_interface.name && !manager) {
        manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(wl_registry_bind(
            registry, name, &zwlr_foreign_toplevel_manager_v1_interface, std::min(version, maxToplevelVersion)));
        zwlr_foreign_toplevel_manager_v1_add_listener(manager, &managerListener, this);
    }
    idleWatch->onGlobal(registry, name, iface);
}

void WlrootsPlatform::onToplevel(zwlr_foreign_toplevel_handle_v1* handle)
{
    if (toplevels.size() >= maxToplevels) {
        qWarning("The Wayland compositor reports more than %zu windows; ignoring the rest", maxToplevels);
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
        return;
    }
    auto toplevel = std::make_unique<Toplevel>();
    toplevel->owner = this;
    toplevel->handle = handle;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &toplevelListener, toplevel.get());
    toplevels.push_back(std::move(toplevel));
}

void WlrootsPlatform::onToplevelDone(Toplevel* toplevel)
{
    // Changes come as a batch closed by "done"; only then do they describe one consistent window.
    if (toplevel->pendingActivated && !toplevel->activated) {
        toplevel->activatedSerial = ++activationCounter;
    }
    toplevel->title = toplevel->pendingTitle;
    if (toplevel->appId != toplevel->pendingAppId) {
        toplevel->pidAsked = false;
        toplevel->pidTries = 0;
    }
    toplevel->appId = toplevel->pendingAppId;
    toplevel->activated = toplevel->pendingActivated;
}

void WlrootsPlatform::onToplevelClosed(Toplevel* toplevel)
{
    zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    toplevels.erase(
        std::remove_if(toplevels.begin(), toplevels.end(), [toplevel](const auto& t) { return t.get() == toplevel; }),
        toplevels.end());
}

void WlrootsPlatform::onManagerFinished()
{
    zwlr_foreign_toplevel_manager_v1_destroy(manager);
    manager = nullptr;
    fail(QStringLiteral("The Wayland compositor stopped reporting windows: recording is off"));
}

void WlrootsPlatform::fail(const QString& why)
{
    if (supported) { // a failure at start is reported once, by whoever chose this backend
        qWarning().noquote() << why;
    }
    supported = false;
    reason = why;
    // Nothing read before the failure may be reported as in front afterwards.
    for (auto& toplevel : toplevels) {
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    }
    toplevels.clear();
}

bool WlrootsPlatform::checkConnection()
{
    if (!display) {
        return false;
    }
    if (const int error = wl_display_get_error(display); error != 0) {
        if (notifier) {
            notifier->setEnabled(false);
        }
        fail(QStringLiteral("Lost the connection to the Wayland compositor (%1): recording is off")
                 .arg(QString::fromLocal8Bit(std::strerror(error))));
        return false;
    }
    return true;
}

void WlrootsPlatform::readEvents()
{
    if (!checkConnection()) {
        return;
    }
    wayland::readPending(display);
    checkConnection();
}

ForegroundWindow WlrootsPlatform::foregroundWindow()
{
    ForegroundWindow window;
    readEvents();
    if (!supported) {
        return window;
    }
    Toplevel* front = nullptr;
    for (const auto& toplevel : toplevels) {
        if (toplevel->activated && (!front || toplevel->activatedSerial > front->activatedSerial)) {
            front = toplevel.get();
        }
    }
    if (!front) {
        return window; // focus on the bare desktop, or a window the compositor does not list
    }
    // Wayland does not give a client's pid to other clients, so the app id (which toolkits set to
    // the desktop file's name) is what finds the application's entry; where the compositor tells
    // the pid anyway (sway's IPC), the process's launcher entry and executable help as on X11.
    if (!front->pidAsked) {
        front->pid = swayFocusedPid(front->appId);
        // A window sway cannot name (no app id, say) is asked about a few times, not every second.
        front->pidAsked = front->pid > 0 || swaySocket.isEmpty() || ++front->pidTries >= 3;
    }
    const ApplicationIdentity identity = resolver.resolve(front->pid, front->appId, front->appId);
    window.path = identity.path.startsWith(QLatin1String("x11-class:")) || identity.path.isEmpty()
                      ? appIdPath(front->appId)
                      : identity.path;
    window.name =
        front->appId.isEmpty() && identity.name.isEmpty() ? QStringLiteral("Unknown application") : identity.name;
    window.title = front->title;
    window.pid = front->pid;
    window.valid = true;
    return window;
}

int WlrootsPlatform::idleSeconds()
{
    readEvents();
    return supported ? idleWatch->idleSeconds() : 0;
}

QIcon WlrootsPlatform::iconForPath(const QString& path)
{
    if (auto it = icons.constFind(path); it != icons.constEnd()) {
        return *it;
    }
    QIcon icon;
    if (path.endsWith(QLatin1String(".desktop"))) {
        if (const DesktopEntry* entry = index.entryForFile(path)) {
            icon = iconFromName(entry->icon);
        }
    }
    if (icon.isNull()) {
        icon = QIcon(QStringLiteral(":/icons/res/app.png"));
    }
    icons.insert(path, icon);
    return icon;
}

void WlrootsPlatform::hideApplication()
{
    ApplicationWindows::hide();
}
