#pragma once

#include "WaylandTestWindows.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A headless sway of a test's own, with Qt client windows whose app ids and titles the test
// chooses. sway refuses to run as root, so as root it runs as an unprivileged user created once for
// this; root can still connect to that user's sockets. Everything started is ended by the destructor.
class HeadlessSway
{
public:
    // `windowProgram` is the wayland_test_window executable.
    explicit HeadlessSway(QString windowProgram);
    ~HeadlessSway();

    // Starts sway and waits until it listens. False, with the reason, when sway cannot run here.
    bool start(QString* whyNot);
    void stop() { endProcess(sway); }

    // The Wayland socket as an absolute path (a valid WAYLAND_DISPLAY) and sway's IPC socket.
    QString waylandSocket() const { return wayland; }
    QString ipcSocket() const { return ipc; }
    // An environment for Wayland clients of this sway: the test's own plus the sockets.
    QProcessEnvironment clientEnvironment() const;
    bool focus(const QString& appId);

    // Opened windows are shown by sway and have the focus.
    WaylandTestWindows windows;

private:
    QString dropPrivileges(QStringList* setpriv);
    QString findInRuntime(const QString& pattern) const;

    QTemporaryDir swayRuntime;
    QTemporaryDir clientRuntime;
    QProcess sway;
    QString wayland;
    QString ipc;
};
