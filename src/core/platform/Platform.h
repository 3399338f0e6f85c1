#pragma once

#include <QIcon>
#include <QString>

#include <functional>
#include <memory>

// What the recorder needs to know about the desktop, behind one small interface so the recorder can
// be tested with a fake and other desktops can be added beside X11.
struct ForegroundWindow
{
    QString name;  // display name of the application in front ("" when unknown)
    QString path;  // the application's identity: its .desktop file, else its executable
    QString title; // title of its front window as the desktop reports it ("" when none)
    qint64 pid = 0;
    bool valid = false; // false when no application is in front or the desktop cannot be asked
};

class Platform
{
public:
    virtual ~Platform() = default;

    // False when this backend cannot observe the session (e.g. a Wayland session); `unsupportedReason`
    // then says why, in words fit for the status bar.
    virtual bool isSupported() const = 0;
    virtual QString unsupportedReason() const { return QString(); }

    // The application in front and its front window. Never blocks for long; errors are logged.
    virtual ForegroundWindow foregroundWindow() = 0;
    // Seconds since the user last touched keyboard or mouse; 0 when unknown.
    virtual int idleSeconds() = 0;
    // The icon of the application with this path; a null icon when none is known.
    virtual QIcon iconForPath(const QString& path) = 0;
    // Hides all of this program's own top-level windows (the tray icon stays).
    virtual void hideApplication() = 0;

    // A desktop that announces its changes spares the recorder asking every second. While a listener is
    // set, it is called from the event loop whenever foregroundWindow() may answer differently from its
    // last answer; an empty one ends the announcements. False when this backend can only be asked.
    virtual bool announceChanges(std::function<void()> listener)
    {
        Q_UNUSED(listener);
        return false;
    }
    // False while the last answer of foregroundWindow() holds until the next announcement. Hears what
    // the desktop said while that answer was being fetched, so it belongs right after it.
    virtual bool answerMayHaveChanged() { return true; }
};

// Chooses the backend for the running session. In a Wayland session (WAYLAND_DISPLAY or
// XDG_SESSION_TYPE), never X11 even with XWayland: KWin's script when XDG_CURRENT_DESKTOP names KDE
// and KWin answers on the session bus, the GNOME Shell extension when it names GNOME, else the
// wlroots backend when the compositor reports its windows. X11 when Qt runs on xcb outside Wayland;
// else an unsupported stand-in that records nothing and says why.
std::unique_ptr<Platform> createPlatform();
