// Simulated time and the access trace.
#include <chrono>
#include <sstream>

#include "QelVxdSimTestSupport.h"

namespace
{
using CTimeTest = CSimTest;
using std::chrono::steady_clock;

MUINT64 Counter()
{
    MUINT64 uiNow = 0;
    EXPECT_EQ(QelVxdSim_Backend()->pfnCounter(&uiNow), 1);
    return uiNow;
}

const char* const s_pszOneBoard = R"("boards":[{"bus":1,"device":0,"function":0}])";

// The waits of a board prepare its memory's spare pages in real time only.
TEST_F(CTimeTest, VirtualWaitsAdvanceTheClockAndReturnAtOnce)
{
    const SQelVxdBackend& roSim = Load(std::string("{") + s_pszOneBoard + "}");
    EXPECT_EQ(Counter(), 0u);
    const steady_clock::time_point oStart = steady_clock::now();
    roSim.pfnDelay(1000000);
    EXPECT_EQ(Counter(), 1000000u);
    EXPECT_EQ(roSim.pfnSleep(2500000), 1);
    EXPECT_EQ(Counter(), 3500000u);
    EXPECT_EQ(QelVxdSim_NowUs(), 3500000u);
    EXPECT_LT(steady_clock::now() - oStart, std::chrono::seconds(2)) << "3.5 simulated seconds took real time";
    EXPECT_EQ(QelVxdSim_Board(1, 0, 0)->Dram().SparePages(), 0u);
}

// Work done during a real-time wait: never in a wait too short to hold it, and the wait still
// lasts the time asked.
TEST_F(CTimeTest, RealWaitsTakeAtLeastTheTimeAskedAndPrepareSparePages)
{
    const SQelVxdBackend& roSim = Load(std::string(R"({"time":"real",)") + s_pszOneBoard + "}");
    const CQelSimDram& roDram   = QelVxdSim_Board(1, 0, 0)->Dram();
    const MUINT64 uiBefore      = Counter();
    roSim.pfnDelay(10);
    EXPECT_EQ(roDram.SparePages(), 0u);
    steady_clock::time_point oStart = steady_clock::now();
    roSim.pfnDelay(20000);
    EXPECT_GE(steady_clock::now() - oStart, std::chrono::microseconds(20000));
    EXPECT_GT(roDram.SparePages(), 0u);
    EXPECT_LE(roDram.SparePages(), CQelSimDram::msc_uiSparePages);
    oStart = steady_clock::now();
    EXPECT_EQ(roSim.pfnSleep(30000), 1);
    EXPECT_GE(steady_clock::now() - oStart, std::chrono::microseconds(30000));
    EXPECT_GE(Counter() - uiBefore, 50010u);
}

class CTraceTest : public CSimTest
{
protected:
    std::vector<std::string> TraceLines()
    {
        QelVxdSim_Unload();
        std::vector<std::string> asLines;
        std::istringstream oText(ReadText(Path("trace.txt")));
        for (std::string sLine; std::getline(oText, sLine);)
        {
            asLines.push_back(sLine);
        }
        return asLines;
    }
};

TEST_F(CTraceTest, OneLinePerAccessAndWaitInTheDocumentedFormat)
{
    setenv("QELVXD_SIM_TRACE", Path("trace.txt").c_str(), 1);
    const SQelVxdBackend& roSim = Load(R"({
      "bridges":[{"bus":0,"device":28,"function":0,"secondary":3,"subordinate":3}],
      "boards":[{"bus":3,"device":0,"function":0}]})");
    CQelSimBoard& roBoard       = *QelVxdSim_Board(3, 0, 0);
    roBoard.Dram().SetContentsValid(true);   // memory trained, as if the chip had been brought up
    MUINT32 uiValue             = 0;
    roSim.pfnConfigRead(0x0018, 0x00, &uiValue, 2);  // empty slot: not traced
    roSim.pfnConfigRead(BOARD_03, 0x00, &uiValue, 4);
    roSim.pfnConfigRead(BOARD_03, 0x01, &uiValue, 3);
    const MUINT32 uiRetrain = 0x20;
    roSim.pfnConfigWrite(BRIDGE_1C, 0x50, &uiRetrain, 2);
    const MEMHANDLE hRegs = MapRegisters(roBoard);
    const MEMHANDLE hMem  = MapMemory(roBoard);
    roSim.pfnDelay(1520);
    roSim.pfnWrite32(hRegs + 0x5D00, 0x3E);
    roSim.pfnRead8(hRegs + 0x328);
    roSim.pfnSleep(20000);
    roSim.pfnWrite16(hMem + 0x7FFF8, 0xBEEF);
    roSim.pfnRead32(hMem + 0x7FFF8);
    roBoard.PeekReg(0x5D00);  // test views are not traced
    roBoard.Note("flash written");

    const std::vector<std::string> asExpected = {
        "0 03:00.0 cfg R 0x0 32 0x05501e5b",
        "0 03:00.0 cfg R 0x1 8 0x1e",
        "0 03:00.0 cfg R 0x2 16 0x0550",
        "0 00:1c.0 cfg W 0x50 16 0x0020",
        "0 00:1c.0 note link retrain",
        "0 - delay 1520",
        "1520 03:00.0 reg W 0x5d00 32 0x0000003e",
        "1520 03:00.0 reg R 0x328 8 0x10",
        "1520 - sleep 20000",
        "21520 03:00.0 mem W 0x7fff8 16 0xbeef",
        "21520 03:00.0 mem R 0x7fff8 32 0xa5a5beef",
        "21520 03:00.0 note flash written",
    };
    EXPECT_EQ(TraceLines(), asExpected);
}

TEST_F(CTraceTest, AppendsToAnExistingTraceAndIsSilentWithoutTheVariable)
{
    WriteFile("trace.txt", "earlier run\n");
    setenv("QELVXD_SIM_TRACE", Path("trace.txt").c_str(), 1);
    Load("{}").pfnDelay(5);
    unsetenv("QELVXD_SIM_TRACE");
    const std::vector<std::string> asExpected = {"earlier run", "0 - delay 5"};
    EXPECT_EQ(TraceLines(), asExpected);
    Load("{}").pfnDelay(5);
    EXPECT_EQ(TraceLines(), asExpected);
}
}  // namespace
