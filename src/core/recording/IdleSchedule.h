#pragma once

#include <QtGlobal>

// Says when the desktop has to be asked for the idle time. Idle time grows by at most a second per
// second, so after a reading of `idle` seconds the user cannot reach a limit of `limit` seconds before
// `limit - idle` seconds have passed. Until then the answer is known without asking, and a quiet tick
// costs the desktop nothing; asking a little early (the readings are whole seconds, desktops report
// idle time up to a second late) only costs one question more. Times are seconds since the epoch.
class IdleSchedule
{
public:
    bool due(qint64 now, int limitSeconds) const { return secondsUntilDue(now, limitSeconds) == 0; }
    // 0 when the desktop has to be asked now.
    qint64 secondsUntilDue(qint64 now, int limitSeconds) const;
    void noteReading(qint64 now, int idleSeconds);

private:
    static constexpr int kMarginSeconds = 2;
    bool haveReading = false;
    qint64 readAt = 0;
    int readIdle = 0;
};
