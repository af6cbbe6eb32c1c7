#include "QelVxdSimClock.h"

#include <cerrno>
#include <ctime>

namespace
{
bool ReadMonotonicNs(MUINT64& ruiNanoSeconds)
{
    timespec oNow;
    if (clock_gettime(CLOCK_MONOTONIC, &oNow) != 0)
    {
        return false;
    }
    ruiNanoSeconds = (MUINT64)oNow.tv_sec * 1000000000u + (MUINT64)oNow.tv_nsec;
    return true;
}

bool ReadMonotonicUs(MUINT64& ruiMicroSeconds)
{
    MUINT64 uiNanoSeconds = 0;
    if (!ReadMonotonicNs(uiNanoSeconds))
    {
        return false;
    }
    ruiMicroSeconds = uiNanoSeconds / 1000u;
    return true;
}
}  // namespace

CQelSimClock::CQelSimClock(EQelSimTime eMode) : m_eMode(eMode), m_uiVirtualUs(0), m_uiRealStartUs(0)
{
    if (m_eMode == EQelSimTime::Real && !ReadMonotonicUs(m_uiRealStartUs))
    {
        m_uiRealStartUs = 0;
    }
}

MUINT64 CQelSimClock::NowUs() const
{
    if (m_eMode == EQelSimTime::Virtual)
    {
        return m_uiVirtualUs;
    }
    MUINT64 uiNow = 0;
    return ReadMonotonicUs(uiNow) && uiNow >= m_uiRealStartUs ? uiNow - m_uiRealStartUs : 0;
}

bool CQelSimClock::Counter(MUINT64& ruiMicroSeconds) const
{
    if (m_eMode == EQelSimTime::Virtual)
    {
        ruiMicroSeconds = m_uiVirtualUs;
        return true;
    }
    return ReadMonotonicUs(ruiMicroSeconds);
}

void CQelSimClock::Delay(MUINT32 uiMicroSeconds, CQelSimIdleWork* poIdleWork)
{
    if (m_eMode == EQelSimTime::Virtual)
    {
        m_uiVirtualUs += uiMicroSeconds;
        return;
    }
    // The deadline is kept in nanoseconds: counting whole microseconds would truncate the start
    // and end the wait up to a microsecond early.
    MUINT64 uiStart = 0;
    if (!ReadMonotonicNs(uiStart))
    {
        return;
    }
    const MUINT64 uiWaitNs = (MUINT64)uiMicroSeconds * 1000u;
    MUINT64 uiNow = uiStart;
    auto bRoomForWork = [&]() {
        const MUINT64 uiElapsed = uiNow - uiStart;
        return uiElapsed < uiWaitNs && uiWaitNs - uiElapsed > msc_uiIdleMarginNs;
    };
    while (poIdleWork != nullptr && bRoomForWork() && poIdleWork->DoSome() && ReadMonotonicNs(uiNow))
    {
    }
    while (uiNow - uiStart < uiWaitNs && ReadMonotonicNs(uiNow))
    {
    }
}

bool CQelSimClock::Sleep(MUINT32 uiMicroSeconds)
{
    if (m_eMode == EQelSimTime::Virtual)
    {
        m_uiVirtualUs += uiMicroSeconds;
        return true;
    }
    // nanosleep reports the time left when a signal interrupts it; sleep out the rest.
    timespec oLeft = {(time_t)(uiMicroSeconds / 1000000u), (long)(uiMicroSeconds % 1000000u) * 1000L};
    while (nanosleep(&oLeft, &oLeft) != 0)
    {
        if (errno != EINTR)
        {
            return false;
        }
    }
    return true;
}

void CQelSimClock::Advance(MUINT64 uiMicroSeconds)
{
    if (m_eMode == EQelSimTime::Virtual)
    {
        m_uiVirtualUs += uiMicroSeconds;
    }
}
