// Stand-in for the platform functions that OsServices calls (timer, mapping, library start),
// linked ahead of the platform library: it records the calls, so that tests can tell which
// path a wait took or how a mapping was asked for.
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
    std::vector<std::vector<MUINT64>> oMaps;   // memMap64 {address, length, flags}
    MEMHANDLE ahMapResult[2] = {0, 0};          // memMap64 result for flags 0 and 1
    std::vector<MEMHANDLE> oUnmaps;
    int iUnmapResult = 1;
};

extern SFakeQelVxd g_oFakeQelVxd;
