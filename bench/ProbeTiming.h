#pragma once

#include <algorithm>
#include <ctime>

// Best-of-rounds timing of a probe: CPU and wall-clock microseconds per call.
namespace probetiming {

inline double cpuMicros()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e6 + double(ts.tv_nsec) / 1e3;
}

inline double wallMicros()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) * 1e6 + double(ts.tv_nsec) / 1e3;
}

struct Timing
{
    double cpu = 1e300;  // best CPU microseconds per call over the rounds
    double wall = 1e300; // best wall-clock microseconds per call
};

// One round of `count` calls; keeps the best per-call figures in `timing`.
template <typename F>
void measure(int count, F&& f, Timing* timing)
{
    const double cpu0 = cpuMicros();
    const double wall0 = wallMicros();
    for (int i = 0; i < count; ++i) {
        f();
    }
    timing->cpu = std::min(timing->cpu, (cpuMicros() - cpu0) / count);
    timing->wall = std::min(timing->wall, (wallMicros() - wall0) / count);
}

} // namespace probetiming
