#include "FakeQelVxd.h"

#include "QelVxdApi.h"

SFakeQelVxd g_oFakeQelVxd;

int tmDelay(MUINT32 uiMicroSeconds) { return g_oFakeQelVxd.oDelays.push_back(uiMicroSeconds), 1; }
int tmSleep(MUINT32 uiMicroSeconds) { return g_oFakeQelVxd.oSleeps.push_back(uiMicroSeconds), 1; }
int InitQELLibrary(void) { return g_oFakeQelVxd.iInitCalls++, g_oFakeQelVxd.iInitResult; }
int ReleaseQELLibrary(void) { return g_oFakeQelVxd.iReleaseCalls++, 1; }
// Defined here only so that the platform library's own definitions are not linked in; no test maps.
int memUnmap(MEMHANDLE) { return 1; }
MEMHANDLE memMap64(MUINT64, MUINT32, MUINT32) { return 0; }
