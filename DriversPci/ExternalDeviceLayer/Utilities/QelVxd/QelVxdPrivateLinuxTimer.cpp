// Linux time source: CLOCK_MONOTONIC, which neither jumps with wall-clock changes nor stops.
#include <ctime>
#include <unistd.h>

#include "QelVxdPrivateLinux.h"

namespace
{
constexpr long NANOSECONDS_PER_SECOND = 1000000000L;
constexpr MUINT32 MICROSECONDS_PER_SECOND = 1000000;
constexpr long NANOSECONDS_PER_MICROSECOND = 1000;

bool IsBefore(const timespec& roNow, const timespec& roDeadline)
{
    return (roNow.tv_sec < roDeadline.tv_sec) ||
           ((roNow.tv_sec == roDeadline.tv_sec) && (roNow.tv_nsec < roDeadline.tv_nsec));
}
}

int QelVxdPrivateLinuxTimer_Counter(MUINT64* puiMicroSeconds)
{
    timespec oNow;
    if (clock_gettime(CLOCK_MONOTONIC, &oNow) != 0)
    {
        return 0;
    }
    *puiMicroSeconds = (MUINT64)oNow.tv_sec * MICROSECONDS_PER_SECOND +
                       (MUINT64)oNow.tv_nsec / NANOSECONDS_PER_MICROSECOND;
    return 1;
}

void QelVxdPrivateLinuxTimer_Delay(MUINT32 uiMicroSeconds)
{
    // Spins without yielding: a sleep would give the scheduler's granularity, not microseconds.
    timespec oDeadline;
    if (clock_gettime(CLOCK_MONOTONIC, &oDeadline) != 0)
    {
        return;
    }
    oDeadline.tv_sec += uiMicroSeconds / MICROSECONDS_PER_SECOND;
    oDeadline.tv_nsec += (long)(uiMicroSeconds % MICROSECONDS_PER_SECOND) * NANOSECONDS_PER_MICROSECOND;
    if (oDeadline.tv_nsec >= NANOSECONDS_PER_SECOND)
    {
        oDeadline.tv_sec += 1;
        oDeadline.tv_nsec -= NANOSECONDS_PER_SECOND;
    }

    timespec oNow;
    do
    {
        if (clock_gettime(CLOCK_MONOTONIC, &oNow) != 0)
        {
            return;
        }
    } while (IsBefore(oNow, oDeadline));
}

int QelVxdPrivateLinuxTimer_Sleep(MUINT32 uiMicroSeconds)
{
    return (usleep(uiMicroSeconds) == 0) ? 1 : 0;
}
