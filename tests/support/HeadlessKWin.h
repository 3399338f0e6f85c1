#pragma once

#include "PrivateBus.h"
#include "WaylandTestWindows.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <vector>

// A real KWin of a test's own: `kwin_wayland --virtual` (no screen, no input devices) on a private
// session bus, with Qt client windows whose app ids and titles the test chooses. Everything started
// is ended by the destructor.
class HeadlessKWin
{
public:
    using Window = WaylandTestWindows::Window;

    // `windowProgram` is the wayland_test_window executable.
    explicit HeadlessKWin(QString windowProgram);
    ~HeadlessKWin();

    // Starts the bus and KWin and waits until KWin takes scripts. False, with the reason, when KWin
    // cannot run here.
    bool start(QString* whyNot);

    QString busAddress() const { return bus.address(); }
    QDBusConnection connect(const QString& name) const { return bus.connect(name); }
    QString waylandSocket() const { return wayland; }

    // Opens a window and waits until it is shown; null on failure.
    Window* openWindow(const QString& appId, const QString& title);
    Window* window(const QString& appId) const;
    void retitle(const QString& appId, const QString& title);
    // Makes the window with this caption the active one, through a script of KWin's own API.
    bool activate(const QString& caption);

private:
    QDBusConnection control() const;
    bool runScript(const QByteArray& text);

    PrivateBus bus;
    QTemporaryDir runtime;
    QTemporaryDir clientRuntime;
    QProcess kwin;
    QString wayland;
    WaylandTestWindows windows;
    int scripts = 0;
};
