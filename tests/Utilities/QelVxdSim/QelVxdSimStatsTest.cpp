// Access and wait accounting per board: what is counted against which board, and the lines
// printed at exit with QELVXD_SIM_STATS=1.
#include <cstdio>

#include "QelVxdSimTestSupport.h"

namespace
{
constexpr PCIHANDLE BOARD_04 = 0x0400;

// Two boards behind a root port. Waits follow the board addressed last; a bridge does not count.
class CStatsTest : public CSimTest
{
protected:
    void SetUp() override
    {
        CSimTest::SetUp();
        m_poSim = &Load(R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 4}],
                            "boards": [{"bus": 3, "device": 0, "function": 0}, {"bus": 4, "device": 0, "function": 0}]})");
        m_po03 = QelVxdSim_Board(3, 0, 0);
        m_po04 = QelVxdSim_Board(4, 0, 0);
        ASSERT_TRUE(m_po03 != nullptr && m_po04 != nullptr);
    }

    std::string Printed()
    {
        char* pszText = nullptr;
        size_t uiSize = 0;
        FILE* pFile   = open_memstream(&pszText, &uiSize);
        QelVxdSim_Current()->PrintStats(pFile);
        fclose(pFile);
        std::string sText(pszText, uiSize);
        free(pszText);
        return sText;
    }

    const SQelVxdBackend* m_poSim = nullptr;
    CQelSimBoard* m_po03          = nullptr;
    CQelSimBoard* m_po04          = nullptr;
};

TEST_F(CStatsTest, CountsEveryBusTransactionAndWaitAgainstTheBoardAddressedLast)
{
    m_poSim->pfnDelay(5);  // before any board: the first one
    Cfg32(BOARD_04, 0x00);
    Cfg32(BRIDGE_1C, 0x00);
    m_poSim->pfnDelay(7);  // the bridge access did not move it away from 04:00.0
    MUINT8 aucThree[3];
    m_poSim->pfnConfigRead(BOARD_04, 0x01, aucThree, 3);  // a byte and a word on the bus
    SetCfg32(BOARD_04, 0xE0, 3);

    const MEMHANDLE hRegs = MapRegisters(*m_po03);
    const MEMHANDLE hMem  = MapMemory(*m_po03);
    m_poSim->pfnRead32(hRegs + 0x100);
    m_poSim->pfnWrite32(hRegs + 0x100, 1);
    m_poSim->pfnWrite16(hRegs + 0x104, 1);
    EXPECT_EQ(m_poSim->pfnSleep(11), 1);
    m_poSim->pfnWrite8(hMem + 3, 0);
    m_poSim->pfnRead16(hMem + 2);
    m_poSim->pfnRead8(hMem + 1);
    m_poSim->pfnDelay(13);

    EXPECT_EQ(Printed(),
              "sim-stats 03:00.0 cfg_reads=0 cfg_writes=0 reg_reads=1 reg_writes=2 mem_reads=2 mem_writes=1 "
              "delay_us=18 sleep_us=11\n"
              "sim-stats 04:00.0 cfg_reads=3 cfg_writes=1 reg_reads=0 reg_writes=0 mem_reads=0 mem_writes=0 "
              "delay_us=7 sleep_us=0\n");
}

TEST_F(CStatsTest, ARigWithoutBoardsCountsNothing)
{
    const SQelVxdBackend& roSim = Load(R"({"devices": [{"bus": 0, "device": 2, "function": 0,
                                           "vendor_id": "0x8086", "device_id": "0x1234"}]})");
    Cfg32(0x0010, 0x00);
    roSim.pfnDelay(5);
    EXPECT_EQ(Printed(), "");
}

// The lines come at exit, on standard error, only when asked for.
TEST_F(CStatsTest, PrintedAtExitOnlyWithTheVariable)
{
    for (const char* pszValue : {"1", "0"})
    {
        const auto fnReadARegisterAndExit = [&] {
            setenv("QELVXD_SIM_STATS", pszValue, 1);   // read when the rig is loaded
            const SQelVxdBackend& roSim = Load(R"({"boards": [{"bus": 3, "device": 0, "function": 0}]})");
            roSim.pfnRead32(MapRegisters(*QelVxdSim_Board(3, 0, 0)) + 0x100);
            exit(0);
        };
        EXPECT_EXIT(fnReadARegisterAndExit(), testing::ExitedWithCode(0),
                    pszValue[0] == '1' ? "^sim-stats 03:00\\.0 cfg_reads=0 cfg_writes=0 reg_reads=1 reg_writes=0 "
                                         "mem_reads=0 mem_writes=0 delay_us=0 sleep_us=0\n$"
                                       : "^$");
    }
}
}  // namespace
