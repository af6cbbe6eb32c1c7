// Access and wait accounting per board: what is counted against which board, and the lines
// printed at exit with QELVXD_SIM_STATS=1.
#include <cstdio>

#include "QelVxdSimTestSupport.h"

namespace
{
using CStatsTest = CSimTest;

// Two boards behind a root port. Waits follow the board addressed last; a bridge does not count.
TEST_F(CStatsTest, CountsEveryBusTransactionAndWaitAgainstTheBoardAddressedLast)
{
    const SQelVxdBackend& roSim = Load(R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 4}],
                                          "boards": [{"bus": 3, "device": 0, "function": 0}, {"bus": 4, "device": 0, "function": 0}]})");
    const PCIHANDLE hBoard04 = 0x0400;
    roSim.pfnDelay(5);  // before any board: the first one
    Cfg32(hBoard04, 0x00);
    Cfg32(BRIDGE_1C, 0x00);
    roSim.pfnDelay(7);  // the bridge access did not move it away from 04:00.0
    MUINT8 aucThree[3];
    roSim.pfnConfigRead(hBoard04, 0x01, aucThree, 3);  // a byte and a word on the bus
    SetCfg32(hBoard04, 0xE0, 3);

    const CQelSimBoard& ro03 = *QelVxdSim_Board(3, 0, 0);
    const MEMHANDLE hRegs = MapRegisters(ro03);
    const MEMHANDLE hMem  = MapMemory(ro03);
    roSim.pfnRead32(hRegs + 0x100);
    roSim.pfnWrite32(hRegs + 0x100, 1);
    EXPECT_EQ(roSim.pfnSleep(11), 1);
    roSim.pfnWrite8(hMem + 3, 0);
    roSim.pfnRead8(hMem + 1);
    roSim.pfnDelay(13);

    char* pszText = nullptr;
    size_t uiSize = 0;
    FILE* pFile   = open_memstream(&pszText, &uiSize);
    QelVxdSim_Current()->PrintStats(pFile);
    fclose(pFile);
    EXPECT_EQ(std::string(pszText, uiSize),
              "sim-stats 03:00.0 cfg_reads=0 cfg_writes=0 reg_reads=1 reg_writes=1 mem_reads=1 mem_writes=1 "
              "delay_us=18 sleep_us=11\n"
              "sim-stats 04:00.0 cfg_reads=3 cfg_writes=1 reg_reads=0 reg_writes=0 mem_reads=0 mem_writes=0 "
              "delay_us=7 sleep_us=0\n");
    free(pszText);
}
}  // namespace
