#pragma once

#include "DesktopStandIns.h"
#include "TestTools.h"

#include <QDir>
#include <QList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <map>
#include <memory>

// Writes the desktop entry of the app id "verrin-test-editor" ("Test Editor") into `folder`.
bool writeEditorEntry(const QString& folder);

class Platform;
class WaylandTestWindows;
// Brings the editor (its entry in `windows.applications`), the viewer and the editor again to the front with
// `toFront(appId, title)`, then retitles the editor, and checks what each backend records meanwhile:
// {the backend, its path of the viewer (a window without an entry), whether it knows the windows' pids}.
void checkFrontWindows(WaylandTestWindows& windows,
                       const std::function<bool(const char* appId, const char* title)>& toFront,
                       const QList<std::tuple<Platform*, QString, bool>>& backends);

// The wayland_test_window processes a test opens on its compositor, one per app id; closed by the destructor.
class WaylandTestWindows
{
public:
    explicit WaylandTestWindows(QString program) : program(std::move(program)) {}
    ~WaylandTestWindows() { closeAll(); }

    // Starts a window and waits until it says it is mapped.
    bool open(const QString& appId, const QString& title);
    // The editor (with its entry in `applications`) and the viewer checkFrontWindows brings to the front.
    bool openEditorAndViewer();
    qint64 pid(const QString& appId) const { return windows.at(appId)->processId(); }
    void retitle(const QString& appId, const QString& title)
    {
        windows.at(appId)->write("title " + title.toUtf8() + "\n");
    }
    void close(const QString& appId);
    void closeAll();

    // Set by the compositor: the clients' environment (Qt on Wayland) and how long a window may take to map.
    QProcessEnvironment environment;
    int timeoutMs = 20000;
    QTemporaryDir applications;

private:
    QString program;
    std::map<QString, std::unique_ptr<QProcess>> windows;
};

// A Wayland compositor of a test's own with the test windows on it; both are ended by the destructor.
class HeadlessCompositor
{
public:
    // `windowProgram` is the wayland_test_window executable.
    explicit HeadlessCompositor(QString windowProgram) : windows(std::move(windowProgram)) {}
    ~HeadlessCompositor();
    // The Wayland socket as an absolute path (a valid WAYLAND_DISPLAY).
    QString waylandSocket() const { return wayland; }

    WaylandTestWindows windows;

protected:
    // Starts the compositor with a bare environment (PATH, and HOME and XDG_RUNTIME_DIR in its runtime
    // folder) plus `env`, and waits until `ready` holds. False, with the reason, when it cannot run here.
    bool launch(const QString& program, const QStringList& args, QProcessEnvironment env,
                const std::function<bool()>& ready, QString* whyNot);

    PrivateBus bus; // for a compositor that needs one; ended after the windows and the compositor
    QTemporaryDir runtime{QDir::tempPath() + "/verrin-compositor-XXXXXX"};
    QTemporaryDir clientRuntime;
    QProcess compositor;
    QString wayland;
};
