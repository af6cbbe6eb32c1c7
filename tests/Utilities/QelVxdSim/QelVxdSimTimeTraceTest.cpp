// Real time and the access trace.
#include <chrono>

#include "QelVxdSimTestSupport.h"

namespace
{
using CTimeTest = CSimTest;
using std::chrono::steady_clock;

// Work done during a real-time wait (virtual waits do none): never in a wait too short to hold
// it, and the wait still lasts the time asked.
TEST_F(CTimeTest, RealWaitsTakeAtLeastTheTimeAskedAndPrepareSparePages)
{
    const SQelVxdBackend& roSim = Load(R"({"time":"real", "boards":[{"bus":1,"device":0,"function":0}]})");
    const CQelSimDram& roDram   = QelVxdSim_Board(1, 0, 0)->Dram();
    roSim.pfnDelay(10);
    EXPECT_EQ(roDram.SparePages(), 0u);
    MUINT64 uiBefore = 0;
    MUINT64 uiAfter  = 0;
    EXPECT_EQ(roSim.pfnCounter(&uiBefore), 1);
    const steady_clock::time_point oStart = steady_clock::now();
    roSim.pfnDelay(20000);
    EXPECT_EQ(roSim.pfnSleep(30000), 1);
    EXPECT_GE(steady_clock::now() - oStart, std::chrono::microseconds(50000));
    EXPECT_EQ(roSim.pfnCounter(&uiAfter), 1);
    EXPECT_GE(uiAfter - uiBefore, 50000u) << "the counter reads the same clock";
    EXPECT_GT(roDram.SparePages(), 0u);
}

// The trace is what the flash traffic of whole runs is decoded from: one line per access and per
// wait, a configuration access split as the host bridge issues it, nothing for an empty slot or
// for the tests' own views of a board.
TEST_F(CTimeTest, TraceHasOneLinePerAccessAndWait)
{
    setenv("QELVXD_SIM_TRACE", Path("trace.txt").c_str(), 1);
    const SQelVxdBackend& roSim = Load(R"({"boards":[{"bus":3,"device":0,"function":0}]})");
    CQelSimBoard& roBoard       = *QelVxdSim_Board(3, 0, 0);
    roBoard.Dram().SetContentsValid(true);   // memory trained, as if the chip had been brought up
    MUINT32 uiValue = 0;
    roSim.pfnConfigRead(0x0018, 0x00, &uiValue, 2);
    roSim.pfnConfigRead(BOARD_03, 0x01, &uiValue, 3);
    const MEMHANDLE hRegs = MapRegisters(roBoard);
    const MEMHANDLE hMem  = MapMemory(roBoard);
    roSim.pfnDelay(1520);
    roSim.pfnWrite32(hRegs + 0x5D00, 0x3E);
    roSim.pfnWrite16(hMem + 0x7FFF8, 0xBEEF);
    roSim.pfnRead32(hMem + 0x7FFF8);
    roBoard.PeekReg(0x5D00);
    roBoard.Note("flash written");
    QelVxdSim_Unload();

    EXPECT_EQ(ReadText(Path("trace.txt")), "0 03:00.0 cfg R 0x1 8 0x1e\n"
                                           "0 03:00.0 cfg R 0x2 16 0x0550\n"
                                           "0 - delay 1520\n"
                                           "1520 03:00.0 reg W 0x5d00 32 0x0000003e\n"
                                           "1520 03:00.0 mem W 0x7fff8 16 0xbeef\n"
                                           "1520 03:00.0 mem R 0x7fff8 32 0xa5a5beef\n"
                                           "1520 03:00.0 note flash written\n");
}
}  // namespace
