#pragma once

#include <QProcess>
#include <QString>

#include <memory>
#include <vector>

// Ends a helper process: end of its input (closeInput) or SIGTERM first, SIGKILL when it lingers.
void endProcess(QProcess& process, bool closeInput = false);

// The Qt Wayland test windows (wayland_test_window) a test opens on a compositor of its own: each
// lives as long as its input stays open and takes new titles as lines. All are closed by the
// destructor.
class WaylandTestWindows
{
public:
    struct Window
    {
        std::unique_ptr<QProcess> process;
        QString appId;
    };

    explicit WaylandTestWindows(QString program) : program(std::move(program)) {}
    ~WaylandTestWindows() { closeAll(); }

    // Starts a window and waits until it says it is mapped; null on failure.
    Window* open(const QString& appId, const QString& title);
    Window* find(const QString& appId) const;
    void retitle(const QString& appId, const QString& title);
    void close(Window* window);
    void closeAll();

    // Set by the compositor: the clients' environment and how long a window may take to map.
    QProcessEnvironment environment;
    int timeoutMs = 20000;

private:
    QString program;
    std::vector<std::unique_ptr<Window>> windows;
};
