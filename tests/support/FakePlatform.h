#pragma once

#include "platform/Platform.h"

// A platform whose answers tests set directly.
class FakePlatform : public Platform
{
public:
    bool isSupported() const override { return supported; }
    QString unsupportedReason() const override { return reason; }
    ForegroundWindow foregroundWindow() override
    {
        ++probes;
        return window;
    }
    int idleSeconds() override
    {
        ++idleQuestions;
        return idle;
    }
    QIcon iconForPath(const QString&) override
    {
        ++iconQuestions;
        return {};
    }
    void hideApplication() override {}

    void setWindow(const QString& name, const QString& path, const QString& title, qint64 pid = 1)
    {
        window = ForegroundWindow{name, path, title, pid, true};
    }
    void setNoWindow() { window = ForegroundWindow{}; }

    bool supported = true;
    QString reason;
    ForegroundWindow window;
    int idle = 0;
    int probes = 0;
    int idleQuestions = 0;
    int iconQuestions = 0;
};
