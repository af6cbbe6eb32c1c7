// Stand-in for the platform functions that OsServices calls (timer, library start), linked
// ahead of the platform library: it records the calls, so that tests can tell which path a wait
// took and when the library was started and stopped.
#pragma once

#include <vector>

#include "QelBaseTypes.h"

struct SFakeQelVxd
{
    std::vector<MUINT32> oDelays;        // tmDelay arguments
    std::vector<MUINT32> oSleeps;        // tmSleep arguments
    int iInitResult = 1;
    int iInitCalls = 0;
    int iReleaseCalls = 0;
};

extern SFakeQelVxd g_oFakeQelVxd;
