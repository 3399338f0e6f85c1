#pragma once

#include "PrivateBus.h"
#include "WaylandTestWindows.h"

#include <QDBusMessage>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A real KWin of a test's own: `kwin_wayland --virtual` (no screen, no input devices) on a private
// session bus, with Qt client windows whose app ids and titles the test chooses. Everything started
// is ended by the destructor.
class HeadlessKWin
{
public:
    // `windowProgram` is the wayland_test_window executable.
    explicit HeadlessKWin(QString windowProgram) : windows(std::move(windowProgram)) {}
    ~HeadlessKWin();

    // Starts the bus and KWin and waits until KWin takes scripts. False, with the reason, when KWin
    // cannot run here.
    bool start(QString* whyNot);

    QDBusConnection connect(const QString& name) const { return bus.connect(name); }
    QString waylandSocket() const { return wayland; }
    // Calls KWin's scripting object on the test's own connection.
    QDBusMessage scripting(const QString& method, const QVariantList& arguments) const;
    // Makes the window with this caption the active one, through a script of KWin's own API.
    bool activate(const QString& caption);

    WaylandTestWindows windows;

private:
    PrivateBus bus;
    QTemporaryDir runtime;
    QTemporaryDir clientRuntime;
    QProcess kwin;
    QString wayland;
    int scripts = 0;
};
