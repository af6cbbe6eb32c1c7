// Microsecond timer: a monotonic counter, busy waits for short delays and sleeps for long ones.
#include "QelVxdApi.h"
#include "QelVxdPrivate.h"

namespace
{
constexpr MUINT32 COUNTER_FREQUENCY_HZ = 1000000;   // the counter counts microseconds
}

int tmInit(void)
{
    return 1;
}

int tmDelay(MUINT32 uiMicroSeconds)
{
    g_poQelVxdBackend->pfnDelay(uiMicroSeconds);
    return 1;
}

int tmSleep(MUINT32 uiMicroSeconds)
{
    return g_poQelVxdBackend->pfnSleep(uiMicroSeconds);
}

int tmCounter(MUINT64* puiMicroSeconds)
{
    if (puiMicroSeconds == nullptr)
    {
        return 0;
    }
    return g_poQelVxdBackend->pfnCounter(puiMicroSeconds);
}

int tmFrequency(SQelLargeInteger* poFrequency)
{
    if (poFrequency == nullptr)
    {
        return 0;
    }
    poFrequency->uiLowPart = COUNTER_FREQUENCY_HZ;
    poFrequency->uiHighPart = 0;
    return 1;
}
