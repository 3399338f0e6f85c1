#pragma once

#include <QProcess>
#include <QString>

#include <map>
#include <memory>

// Ends a helper process: end of its input (closeInput) or SIGTERM first, SIGKILL when it lingers.
void endProcess(QProcess& process, bool closeInput = false);
// Writes the desktop entry of the app id "verrin-test-editor" ("Test Editor") into `folder`.
bool writeEditorEntry(const QString& folder);

// The Qt Wayland test windows (wayland_test_window) a test opens on a compositor of its own, one per
// app id: each lives as long as its input stays open and takes new titles as lines. All are closed by
// the destructor.
class WaylandTestWindows
{
public:
    explicit WaylandTestWindows(QString program) : program(std::move(program)) {}
    ~WaylandTestWindows() { closeAll(); }

    // Starts a window and waits until it says it is mapped.
    bool open(const QString& appId, const QString& title);
    qint64 pid(const QString& appId) const { return windows.at(appId)->processId(); }
    void retitle(const QString& appId, const QString& title)
    {
        windows.at(appId)->write("title " + title.toUtf8() + "\n");
    }
    void close(const QString& appId);
    void closeAll();

    // Set by the compositor: the clients' environment and how long a window may take to map.
    QProcessEnvironment environment;
    int timeoutMs = 20000;

private:
    QString program;
    std::map<QString, std::unique_ptr<QProcess>> windows;
};
