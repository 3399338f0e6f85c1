#pragma once

#include <QDate>
#include <QDateTime>

// The time source of everything that records or compares time, so tests can move time by hand.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    QDate today() const { return now().date(); }
};

class SystemClock : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    // One shared instance for code that is not handed a clock of its own.
    static SystemClock* shared();
};
