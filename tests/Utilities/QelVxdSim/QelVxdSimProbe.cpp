// Child process of the simulator tests: selects the simulator through its real entry point and
// makes register accesses through the backend table, as the platform layer would.
//   QelVxdSimProbe <rig> [reg-read <bus> <offset>] [reg-write <bus> <offset> <value>] ...
// (the board is function 0 of device 0 on <bus>). Prints "ok", then one line per read.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "QelVxdBackend.h"

namespace
{
MEMHANDLE MapRegisterPage(const SQelVxdBackend& roSim, PCIHANDLE hBoard, MUINT32 uiOffset)
{
    MUINT32 uiBar0 = 0, uiLow = 0, uiHigh = 0;
    roSim.pfnConfigRead(hBoard, 0x10, &uiBar0, 4);
    const bool bBar64 = (uiBar0 & 0x6) == 0x4;
    roSim.pfnConfigRead(hBoard, bBar64 ? 0x18 : 0x14, &uiLow, 4);
    if (bBar64)
    {
        roSim.pfnConfigRead(hBoard, 0x1C, &uiHigh, 4);
    }
    return roSim.pfnMap((uiLow & ~0xFFFu) + (uiOffset & ~0xFFFu), uiHigh, 4096, 0);
}
}  // namespace

int main(int iArgc, char** ppszArgv)
{
    if (iArgc < 2)
    {
        fprintf(stderr, "usage: %s <rig> [reg-read <bus> <offset>] [reg-write <bus> <offset> <value>]...\n",
                ppszArgv[0]);
        return 1;
    }
    const SQelVxdBackend& roSim = *QelVxdSimCreateBackend(ppszArgv[1]);
    printf("ok\n");
    for (int iArg = 2; iArg + 2 < iArgc;)
    {
        const bool bWrite      = strcmp(ppszArgv[iArg], "reg-write") == 0;
        const PCIHANDLE hBoard = strtoul(ppszArgv[iArg + 1], nullptr, 0) << 8;
        const MUINT32 uiOffset = (MUINT32)strtoul(ppszArgv[iArg + 2], nullptr, 0);
        const MEMHANDLE hPage  = MapRegisterPage(roSim, hBoard, uiOffset);
        if (hPage == 0)
        {
            printf("map failed\n");
            return 1;
        }
        if (bWrite && iArg + 3 < iArgc)
        {
            roSim.pfnWrite32(hPage + (uiOffset & 0xFFF), (MUINT32)strtoul(ppszArgv[iArg + 3], nullptr, 0));
            iArg += 4;
        }
        else
        {
            printf("0x%08x\n", roSim.pfnRead32(hPage + (uiOffset & 0xFFF)));
            iArg += 3;
        }
        roSim.pfnUnmap(hPage);
    }
    return 0;
}
