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

// Work the simulator can do while the host busy-waits in real time, so that preparing for what
// comes next costs the run no time of its own (on hardware the board works while the host waits).
class CQelSimIdleWork
{
public:
    virtual ~CQelSimIdleWork() = default;
    // Does one short piece of the work (a few microseconds); false when nothing is left to do.
    virtual bool DoSome() = 0;
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
    // Busy wait; in real time it spins on the clock as the hardware path does. With idle work, a
    // real-time wait first runs its pieces while more than msc_uiIdleMarginNs of the wait is left,
    // and spins the rest: the wait ends when it would have ended without the work, unless one
    // piece alone outlasts the margin. In virtual time the work is not done.
    void Delay(MUINT32 uiMicroSeconds, CQelSimIdleWork* poIdleWork = nullptr);
    static constexpr MUINT64 msc_uiIdleMarginNs = 50000;
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
