#pragma once

#include "WaylandTestWindows.h"

// A headless sway of a test's own; as root it runs as an unprivileged user, since sway refuses root.
class HeadlessSway : public HeadlessCompositor
{
public:
    using HeadlessCompositor::HeadlessCompositor;

    // Starts sway and waits until it listens. False, with the reason, when sway cannot run here.
    bool start(QString* whyNot);
    void stop() { endProcess(compositor); }

    QString ipcSocket() const { return ipc; }
    // An environment for Wayland clients of this sway: the test's own plus the sockets, Qt on Wayland.
    QProcessEnvironment clientEnvironment() const { return windows.environment; }
    bool focus(const QString& appId);

private:
    QString ipc;
};
