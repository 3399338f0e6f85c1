#pragma once

#include "platform/ApplicationResolver.h"
#include "platform/DesktopEntryIndex.h"
#include "platform/Platform.h"
#include "wayland/WaylandIdleWatch.h"

#include <QHash>
#include <QSet>

#include <memory>
#include <vector>

struct wl_display;
struct wl_registry;
struct zwlr_foreign_toplevel_manager_v1;
struct zwlr_foreign_toplevel_handle_v1;
class QSocketNotifier;

// The platform of a wlroots compositor (sway, labwc, Hyprland, river...), asked over a Wayland
// connection of its own, so it works whether Qt itself runs on Wayland or on XWayland. The compositor
// pushes window changes; a probe only reads what has arrived, without a round trip. Windows come from
// the foreign-toplevel protocol (title, app id, activated state), idle time from ext-idle-notify,
// else from KDE's idle protocol.
class WlrootsPlatform : public Platform
{
public:
    // `display` is a socket name or absolute path; empty means WAYLAND_DISPLAY.
    explicit WlrootsPlatform(const QByteArray& display = QByteArray(),
                             const QStringList& applicationFolders = DesktopEntryIndex::defaultFolders());
    ~WlrootsPlatform() override;

    bool isSupported() const override { return supported; }
    QString unsupportedReason() const override { return reason; }
    ForegroundWindow foregroundWindow() override;
    int idleSeconds() override;
    QIcon iconForPath(const QString& path) override;
    void hideApplication() override;

    // True when a compositor answered at all (it may still lack the window protocol).
    bool isConnected() const { return display != nullptr; }
    // The interfaces the compositor announced, e.g. to tell KWin or Mutter apart.
    const QSet<QByteArray>& offeredInterfaces() const { return offered; }
    // The protocol idle time comes from ("" when none).
    QByteArray idleProtocol() const { return idleWatch ? idleWatch->protocol() : QByteArray(); }
    // Reads and handles whatever the compositor has sent, without waiting.
    void readEvents();
    DesktopEntryIndex& desktopEntries() { return index; }

    // Why a Wayland session this backend cannot record is not recorded, in words for the status bar:
    // desktops whose compositor keeps the front window to itself are named, so the user knows it is
    // not a fault of their set-up. `desktop` is XDG_CURRENT_DESKTOP, `fallback` this backend's reason.
    static QString sessionReason(const QString& desktop, const QSet<QByteArray>& offered, const QString& fallback);
    // The key an application without a desktop entry or readable process is recorded under.
    static QString appIdPath(const QString& appId);
    // sway's IPC socket (SWAYSOCK), asked for the front window's process id; "" when not sway.
    void setSwaySocket(const QString& path) { swaySocket = path; }
    // The process id sway reports for its focused window with this app id; 0 when unknown.
    qint64 swayFocusedPid(const QString& appId) const;

    struct Toplevel
    {
        WlrootsPlatform* owner = nullptr;
        zwlr_foreign_toplevel_handle_v1* handle = nullptr;
        QString title;
        QString appId;
        bool activated = false;
        QString pendingTitle;
        QString pendingAppId;
        bool pendingActivated = false;
        quint64 activatedSerial = 0; // when it last became active, to pick one if several are
        qint64 pid = 0;
        bool pidAsked = false;
        int pidTries = 0;
    };

    // Callbacks of the generated listeners; not for other callers.
    void onGlobal(wl_registry* registry, uint32_t name, const char* interface, uint32_t version);
    void onToplevel(zwlr_foreign_toplevel_handle_v1* handle);
    void onToplevelDone(Toplevel* toplevel);
    void onToplevelClosed(Toplevel* toplevel);
    void onManagerFinished();

private:
    void fail(const QString& why);
    bool checkConnection();

    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    zwlr_foreign_toplevel_manager_v1* manager = nullptr;
    std::unique_ptr<WaylandIdleWatch> idleWatch;
    std::unique_ptr<QSocketNotifier> notifier;

    bool supported = false;
    QString reason;
    QSet<QByteArray> offered;

    std::vector<std::unique_ptr<Toplevel>> toplevels;
    quint64 activationCounter = 0;

    DesktopEntryIndex index;
    ApplicationResolver resolver;
    QHash<QString, QIcon> icons;
    QString swaySocket;
};
