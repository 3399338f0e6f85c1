#pragma once

#include "WaylandTestWindows.h"

#include <QDBusMessage>

// A real KWin of a test's own: `kwin_wayland --virtual` (no screen, no input devices) on a private bus.
class HeadlessKWin : public HeadlessCompositor
{
public:
    using HeadlessCompositor::HeadlessCompositor;

    // Starts the bus and KWin and waits until KWin takes scripts. False, with the reason, when KWin
    // cannot run here.
    bool start(QString* whyNot);

    QDBusConnection connect(const QString& name) const { return bus.connect(name); }
    // Calls KWin's scripting object on the test's own connection.
    QDBusMessage scripting(const QString& method, const QVariantList& arguments) const;
    // Makes the window with this caption the active one, through a script of KWin's own API.
    bool activate(const QString& caption);

private:
    int scripts = 0;
};
