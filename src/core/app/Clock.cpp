#include "app/Clock.h"

SystemClock* SystemClock::shared()
{
    static SystemClock clock;
    return &clock;
}
