// Stand-in for the platform timer, mapping and library functions that the OS services call.
// Linked into the test executables ahead of the platform library, it records every call so that
// tests can tell which path a wait took or how a mapping was asked for.
#pragma once

#include <vector>

#include "QelBaseTypes.h"

struct SFakeMapCall
{
    MUINT64 uiPhysicalAddress;
    MUINT32 uiLength;
    MUINT32 uiFlags;
    bool operator==(const SFakeMapCall&) const = default;
};

struct SFakeQelVxd
{
    std::vector<MUINT32> oDelays;        // tmDelay arguments
    std::vector<MUINT32> oSleeps;        // tmSleep arguments
    int iSleepResult = 1;
    int iInitResult = 1;
    int iInitCalls = 0;
    int iReleaseCalls = 0;
    std::vector<SFakeMapCall> oMaps;
    MEMHANDLE ahMapResult[2] = {0, 0};   // memMap64 result for flags 0 and flags 1
    std::vector<MEMHANDLE> oUnmaps;
    int iUnmapResult = 1;
};

// The recorder; reset to its defaults by FakeQelVxdReset().
extern SFakeQelVxd g_oFakeQelVxd;
void FakeQelVxdReset();
