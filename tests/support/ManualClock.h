#pragma once

#include "app/Clock.h"

// A clock that only moves when the test moves it.
class ManualClock : public Clock
{
public:
    explicit ManualClock(const QDateTime& start = QDateTime(QDate(2026, 11, 16), QTime(9, 0, 0))) : current(start) {}
    QDateTime now() const override { return current; }
    void set(const QDateTime& when) { current = when; }
    void advance(int seconds) { current = current.addSecs(seconds); }

private:
    QDateTime current;
};
