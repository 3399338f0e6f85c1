#include "recording/IdleSchedule.h"

bool IdleSchedule::due(const QDateTime& now, int limitSeconds) const
{
    if (!readAt.isValid() || now < readAt) {
        return true; // nothing read yet, or the clock went back: the reading tells nothing
    }
    return readAt.secsTo(now) >= qint64(limitSeconds) - readIdle - kMarginSeconds;
}

void IdleSchedule::noteReading(const QDateTime& now, int idleSeconds)
{
    readAt = now;
    readIdle = idleSeconds;
}
