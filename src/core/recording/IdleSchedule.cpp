#include "recording/IdleSchedule.h"

bool IdleSchedule::due(qint64 now, int limitSeconds) const
{
    if (!haveReading || now < readAt) {
        return true; // nothing read yet, or the clock went back: the reading tells nothing
    }
    return now - readAt >= qint64(limitSeconds) - readIdle - kMarginSeconds;
}

void IdleSchedule::noteReading(qint64 now, int idleSeconds)
{
    haveReading = true;
    readAt = now;
    readIdle = idleSeconds;
}
