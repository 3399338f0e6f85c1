#pragma once

#include <QProcess>
#include <QStringList>

#include <cstdint>

// One x11_test_window process, ended by stop() or the destructor.
class TestWindow
{
public:
    ~TestWindow() { stop(); }

    bool start(const QString& program, const QStringList& args);
    void stop();
    qint64 pid() const { return process.processId(); }

    QProcess process;
    uint32_t id = 0;
};

// Runs xdotool with these arguments, bounded in time; false when it failed.
bool runXdotool(const QStringList& args);
