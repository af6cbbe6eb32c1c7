#include "FakeQelVxd.h"

#include "QelVxdApi.h"

SFakeQelVxd g_oFakeQelVxd;

void FakeQelVxdReset() { g_oFakeQelVxd = SFakeQelVxd(); }

int tmDelay(MUINT32 uiMicroSeconds)
{
    g_oFakeQelVxd.oDelays.push_back(uiMicroSeconds);
    return 1;
}

int tmSleep(MUINT32 uiMicroSeconds)
{
    g_oFakeQelVxd.oSleeps.push_back(uiMicroSeconds);
    return g_oFakeQelVxd.iSleepResult;
}

MEMHANDLE memMap64(MUINT64 uiPhysicalAddress, MUINT32 uiLength, MUINT32 uiFlags)
{
    g_oFakeQelVxd.oMaps.push_back({uiPhysicalAddress, uiLength, uiFlags});
    return uiFlags < 2 ? g_oFakeQelVxd.ahMapResult[uiFlags] : 0;
}

int memUnmap(MEMHANDLE hAddress)
{
    g_oFakeQelVxd.oUnmaps.push_back(hAddress);
    return g_oFakeQelVxd.iUnmapResult;
}

int InitQELLibrary(void)
{
    g_oFakeQelVxd.iInitCalls++;
    return g_oFakeQelVxd.iInitResult;
}

int ReleaseQELLibrary(void)
{
    g_oFakeQelVxd.iReleaseCalls++;
    return 1;
}
