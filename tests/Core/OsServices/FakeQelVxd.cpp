#include "FakeQelVxd.h"

#include "QelVxdApi.h"

SFakeQelVxd g_oFakeQelVxd;

int tmDelay(MUINT32 uiMicroSeconds) { return g_oFakeQelVxd.oDelays.push_back(uiMicroSeconds), 1; }
int tmSleep(MUINT32 uiMicroSeconds) { return g_oFakeQelVxd.oSleeps.push_back(uiMicroSeconds), 1; }
int InitQELLibrary(void) { return g_oFakeQelVxd.iInitCalls++, g_oFakeQelVxd.iInitResult; }
int ReleaseQELLibrary(void) { return g_oFakeQelVxd.iReleaseCalls++, 1; }
int memUnmap(MEMHANDLE hAddress) { return g_oFakeQelVxd.oUnmaps.push_back(hAddress), g_oFakeQelVxd.iUnmapResult; }

MEMHANDLE memMap64(MUINT64 uiPhysicalAddress, MUINT32 uiLength, MUINT32 uiFlags)
{
    g_oFakeQelVxd.oMaps.push_back({uiPhysicalAddress, uiLength, uiFlags});
    return uiFlags < 2 ? g_oFakeQelVxd.ahMapResult[uiFlags] : 0;
}
