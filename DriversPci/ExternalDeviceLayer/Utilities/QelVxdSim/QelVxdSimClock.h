// Time of the simulated rig. In virtual time, busy waits and sleeps advance a simulated clock
// and return at once, so that a run which waits seconds on real hardware takes milliseconds; in
// real time they take real time on CLOCK_MONOTONIC.
#pragma once

#include "QelBaseTypes.h"

enum class EQelSimTime
{
    Virtual,
    Real,
};

class CQelSimClock
{
public:
    explicit CQelSimClock(EQelSimTime eMode);

    EQelSimTime Mode() const { return m_eMode; }

    // Microseconds since the rig was loaded.
    MUINT64 NowUs() const;
    // The platform's microsecond counter: the simulated clock in virtual time, CLOCK_MONOTONIC in
    // real time. False when the clock cannot be read.
    bool Counter(MUINT64& ruiMicroSeconds) const;
    // Busy wait; in real time it spins on the clock as the hardware path does.
    void Delay(MUINT32 uiMicroSeconds);
    // Sleep; false when the sleep failed.
    bool Sleep(MUINT32 uiMicroSeconds);
    // Moves the simulated clock forward (virtual time only; tests and behaviours that model time
    // passing on the board).
    void Advance(MUINT64 uiMicroSeconds);

private:
    EQelSimTime m_eMode;
    MUINT64 m_uiVirtualUs;
    MUINT64 m_uiRealStartUs;
};
