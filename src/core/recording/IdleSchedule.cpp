#include "recording/IdleSchedule.h"

qint64 IdleSchedule::secondsUntilDue(qint64 now, int limitSeconds) const
{
    if (!haveReading || now < readAt) {
        return 0; // nothing read yet, or the clock went back: the reading tells nothing
    }
    return qMax<qint64>(0, readAt + limitSeconds - readIdle - kMarginSeconds - now);
}

void IdleSchedule::noteReading(qint64 now, int idleSeconds)
{
    haveReading = true;
    readAt = now;
    readIdle = idleSeconds;
}
