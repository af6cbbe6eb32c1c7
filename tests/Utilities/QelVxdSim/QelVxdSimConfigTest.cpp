// Configuration space as the tool and the operating system see it, partly through the platform
// layer's own bus scan: BAR sizing and layouts, writable bits, and accesses of any size.
#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSimTestSupport.h"

namespace
{
constexpr PCIHANDLE BOARD_04    = 0x0400;  // 32-bit BAR 0, 32 MiB
constexpr PCIHANDLE BOARD_05    = 0x0500;  // first generation, 128 MiB
constexpr PCIHANDLE DEVICE_02_0 = 0x0010;  // other vendor, two functions
constexpr PCIHANDLE DEVICE_02_1 = 0x0011;

const char* const s_pszRig = R"({
  "devices": [ {"bus":0, "device":2, "function":0, "vendor_id":"0x8086", "device_id":"0x1234"},
               {"bus":0, "device":2, "function":1, "vendor_id":"0x8086", "device_id":"0x1235"} ],
  "bridges": [ {"bus":0, "device":28, "function":0, "secondary":3, "subordinate":5, "link_speed":3, "link_width":8} ],
  "boards":  [ {"bus":3, "device":0, "function":0, "link_speed":1, "link_width":4},
               {"bus":4, "device":0, "function":0, "bar64":false, "memory_size_code":0},
               {"bus":5, "device":0, "function":0, "device_id":"0x0540", "memory_size_code":2} ]
})";

class CConfigTest : public CSimTest
{
protected:
    void SetUp() override
    {
        CSimTest::SetUp();
        QelVxdSetBackendForTest(&Load(s_pszRig));
    }
    void TearDown() override
    {
        QelVxdSetBackendForTest(nullptr);
        CSimTest::TearDown();
    }

    // BAR sizing as the platform does it: write all ones, read back, restore.
    MUINT32 SizeBar(PCIHANDLE hDevice, MUINT32 uiOffset)
    {
        const MUINT32 uiOriginal = Cfg32(hDevice, uiOffset);
        SetCfg32(hDevice, uiOffset, 0xFFFFFFFF);
        const MUINT32 uiMask = Cfg32(hDevice, uiOffset);
        SetCfg32(hDevice, uiOffset, uiOriginal);
        EXPECT_EQ(Cfg32(hDevice, uiOffset), uiOriginal);
        return uiMask;
    }
};

TEST_F(CConfigTest, BusScanFindsExactlyTheRigsFunctions)
{
    std::vector<PCIHANDLE> ahFound;
    const auto fnCollect = [](PCIHANDLE hPci, void* pvFound) {
        static_cast<std::vector<PCIHANDLE>*>(pvFound)->push_back(hPci);
        return 0;
    };
    ASSERT_EQ(pciScan(fnCollect, &ahFound), 0);
    EXPECT_EQ(ahFound, (std::vector<PCIHANDLE>{DEVICE_02_0, DEVICE_02_1, BRIDGE_1C, BOARD_03, BOARD_04, BOARD_05}));
}

struct SBarCase
{
    PCIHANDLE hDevice;
    MUINT32 uiOffset;
    MUINT32 uiSizeMask;  // read back after writing all ones
};

TEST_F(CConfigTest, BarSizingGivesTheLayoutOfEachBoard)
{
    const SBarCase aoCases[] = {
        // 64-bit prefetchable memory window (256 MiB) in BARs 0-1, 64-bit registers (64 KiB) in 2-3.
        {BOARD_03, 0x10, 0xF000000C}, {BOARD_03, 0x14, 0xFFFFFFFF}, {BOARD_03, 0x18, 0xFFFF0004},
        {BOARD_03, 0x1C, 0xFFFFFFFF}, {BOARD_03, 0x20, 0x00000000}, {BOARD_03, 0x24, 0x00000000},
        // 32-bit memory window (32 MiB) in BAR 0, registers in BAR 1.
        {BOARD_04, 0x10, 0xFE000008}, {BOARD_04, 0x14, 0xFFFF0000}, {BOARD_04, 0x18, 0x00000000},
        // First generation: 128 MiB and an 8 KiB register window. Other devices implement no BAR.
        {BOARD_05, 0x10, 0xF800000C}, {BOARD_05, 0x18, 0xFFFFE004}, {DEVICE_02_0, 0x10, 0x00000000},
    };
    for (const SBarCase& roCase : aoCases)
    {
        EXPECT_EQ(SizeBar(roCase.hDevice, roCase.uiOffset), roCase.uiSizeMask)
            << std::hex << "device 0x" << roCase.hDevice << " BAR at 0x" << roCase.uiOffset;
    }
}

// Firmware that left both BARs unassigned, and a function that ignores configuration writes.
TEST_F(CSimTest, BarAndWriteFaultsShowInConfigurationSpace)
{
    Load(R"({"boards": [{"bus": 3, "device": 0, "function": 0, "faults": {"bar_unassigned": ["memory", "registers"]}},
                        {"bus": 4, "device": 0, "function": 0, "faults": {"config_writes_ignored": true}}]})");
    EXPECT_EQ(Cfg32(0x300, 0x10), 0x0000000Cu) << "address 0, type bits as wired";
    EXPECT_EQ(Cfg32(0x300, 0x18), 0x00000004u);
    EXPECT_FALSE(QelVxdSim_Board(3, 0, 0)->MemoryDecoded() || QelVxdSim_Board(3, 0, 0)->RegistersDecoded());

    const MUINT32 uiBar = Cfg32(0x400, 0x10);
    SetCfg32(0x400, 0x10, 0xFFFFFFFF);
    SetCfg32(0x400, 0x04, 0);
    EXPECT_EQ(Cfg32(0x400, 0x10), uiBar);
    EXPECT_EQ(Cfg32(0x400, 0x04) & 0xFFFF, 0x0006u);
}

TEST_F(CConfigTest, OnlyImplementedBitsAreWritable)
{
    EXPECT_EQ(Cfg32(BOARD_03, 0x04) & 0xFFFF, 0x0006u) << "firmware left memory and bus master enabled";
    SetCfg32(BOARD_03, 0x04, 0xFFFFFFFF);
    EXPECT_EQ(Cfg32(BOARD_03, 0x04), 0x00100547u) << "command bits; status keeps its capability bit";
    SetCfg32(BOARD_03, 0x00, 0);
    EXPECT_EQ(Cfg32(BOARD_03, 0x00), 0x05501E5Bu) << "ids are read only";
    EXPECT_EQ(Cfg32(BOARD_03, 0xE0) & 0x3, 0x3u) << "the board controller's two bits set at power-on";
}

TEST_F(CConfigTest, AccessesOfAnySizeAreSplitIntoNaturalPieces)
{
    MUINT8 aucBytes[7] = {};
    ASSERT_EQ(QelVxdSim_Backend()->pfnConfigRead(BOARD_03, 0x01, aucBytes, 7), 1);
    const MUINT8 aucExpected[7] = {0x1E, 0x50, 0x05, 0x06, 0x00, 0x10, 0x00};
    EXPECT_EQ(std::vector<MUINT8>(aucBytes, aucBytes + 7), std::vector<MUINT8>(aucExpected, aucExpected + 7));
    MUINT32 uiTail = 0;
    ASSERT_EQ(QelVxdSim_Backend()->pfnConfigRead(BOARD_03, 0xFFE, &uiTail, 4), 1);
    EXPECT_EQ(uiTail, 0xFFFF0000u) << "bytes past the 4 KiB space read as 0xFF";
    EXPECT_EQ(QelVxdSim_Backend()->pfnConfigRead(0x0018, 0x00, &uiTail, 4), 0) << "absent function";
}
}  // namespace
