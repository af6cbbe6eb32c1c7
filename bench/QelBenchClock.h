// The clock of the whole-run helpers: CLOCK_MONOTONIC in nanoseconds, the clock the simulator's
// real-time waits spin on.
#pragma once

#include <ctime>

inline long long QelBenchMonotonicNs()
{
    timespec oNow;
    clock_gettime(CLOCK_MONOTONIC, &oNow);
    return (long long)oNow.tv_sec * 1000000000LL + oNow.tv_nsec;
}
