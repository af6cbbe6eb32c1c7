// Configuration space as the tool and the operating system see it, partly through the platform
// layer's own bus scan and capability walk: BAR sizing and layouts, command register, capability
// list, PCI Express link, bridges and multi-function devices.
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

    // The capability's offset as the platform's walk finds it; 0 when absent.
    static MUINT32 FindCapability(PCIHANDLE hDevice, MUINT32 uiId)
    {
        MUINT32 uiOffset = 0;
        return pciFindCapability(hDevice, &uiOffset, uiId) == 1 ? uiOffset : 0;
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

TEST_F(CConfigTest, BarsHoldDisjointSizeAlignedWindows)
{
    std::vector<std::pair<MUINT64, MUINT64>> aoWindows;
    for (PCIHANDLE hBoard : {BOARD_03, BOARD_04, BOARD_05})
    {
        const CQelSimBoard& roBoard = *QelVxdSim_Current()->FindBoard(hBoard);
        const bool bBar64           = (Cfg32(hBoard, 0x10) & 0x6) == 0x4;
        const MUINT64 uiMemory      = (Cfg32(hBoard, 0x10) & ~0xFu) | (bBar64 ? (MUINT64)Cfg32(hBoard, 0x14) << 32 : 0);
        const MUINT32 uiRegisterBar = bBar64 ? 0x18 : 0x14;
        const MUINT64 uiRegisters =
            (Cfg32(hBoard, uiRegisterBar) & ~0xFFu) | (bBar64 ? (MUINT64)Cfg32(hBoard, uiRegisterBar + 4) << 32 : 0);
        EXPECT_EQ(uiMemory, roBoard.MemoryBase());
        EXPECT_EQ(uiRegisters, roBoard.RegisterBase());
        EXPECT_EQ(uiMemory % roBoard.MemorySize(), 0u);
        EXPECT_EQ(uiRegisters % roBoard.RegisterSize(), 0u);
        aoWindows.emplace_back(uiMemory, uiMemory + roBoard.MemorySize());
        aoWindows.emplace_back(uiRegisters, uiRegisters + roBoard.RegisterSize());
    }
    for (size_t uiA = 0; uiA < aoWindows.size(); ++uiA)
    {
        for (size_t uiB = uiA + 1; uiB < aoWindows.size(); ++uiB)
        {
            EXPECT_TRUE(aoWindows[uiA].second <= aoWindows[uiB].first || aoWindows[uiB].second <= aoWindows[uiA].first)
                << "windows " << uiA << " and " << uiB << " overlap";
        }
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

TEST_F(CConfigTest, CommandRegisterKeepsItsEnableBits)
{
    EXPECT_EQ(Cfg32(BOARD_03, 0x04) & 0xFFFF, 0x0006u) << "firmware left memory and bus master enabled";
    SetCfg32(BOARD_03, 0x04, 0x00000000);
    EXPECT_EQ(Cfg32(BOARD_03, 0x04) & 0xFFFF, 0x0000u);
    MUINT8 ucCommand = 0;
    QelVxdSim_Backend()->pfnConfigRead(BOARD_03, 0x04, &ucCommand, 1);
    ucCommand |= 0x02;
    QelVxdSim_Backend()->pfnConfigWrite(BOARD_03, 0x04, &ucCommand, 1);
    EXPECT_EQ(Cfg32(BOARD_03, 0x04), 0x00100002u) << "memory enable sticks; status keeps its capability bit";
    SetCfg32(BOARD_03, 0x04, 0xFFFFFFFF);
    EXPECT_EQ(Cfg32(BOARD_03, 0x04), 0x00100547u) << "only implemented command bits are writable";
}

TEST_F(CConfigTest, CapabilitiesAndLinkStatus)
{
    EXPECT_EQ(FindCapability(BOARD_03, 0x01), 0x50u);
    MUINT32 uiPowerManagement = 0;
    EXPECT_EQ(pciFindPMCapability(BOARD_03, &uiPowerManagement), 1);
    EXPECT_EQ(uiPowerManagement, 0x50u);
    ASSERT_EQ(FindCapability(BOARD_03, 0x10), 0x60u);
    const MUINT32 uiLink = Cfg32(BOARD_03, 0x70);
    EXPECT_EQ((uiLink >> 16) & 0xF, 1u) << "current link speed 2.5 Gb/s";
    EXPECT_EQ((uiLink >> 20) & 0x3F, 4u) << "negotiated width x4";
    EXPECT_EQ(FindCapability(BOARD_03, 0x05), 0u);

    ASSERT_EQ(FindCapability(BRIDGE_1C, 0x10), 0x40u);
    EXPECT_EQ((Cfg32(BRIDGE_1C, 0x40) >> 20) & 0xF, 0x4u) << "bridge on bus 0 is a root port";
    EXPECT_EQ((Cfg32(BRIDGE_1C, 0x50) >> 16) & 0x3FF, 3u | (8u << 4));
    EXPECT_EQ(FindCapability(DEVICE_02_0, 0x10), 0u) << "status has no capability list";

    EXPECT_EQ(Cfg32(BOARD_03, 0x100) & 0xFFFF, 0x0001u) << "extended space starts with error reporting";
    EXPECT_EQ(Cfg32(BOARD_03, 0xFFC), 0u) << "extended space reads 0 where nothing is modelled";
    SetCfg32(BOARD_03, 0x108, Cfg32(BOARD_03, 0x108) | 0x10);
    EXPECT_EQ(Cfg32(BOARD_03, 0x108), 0x10u);
}

TEST_F(CConfigTest, BridgeRetrainsItsLinkOnRequest)
{
    const CQelSimPcieLink* poLink = QelVxdSim_Current()->FindFunction(BRIDGE_1C)->Link();
    ASSERT_NE(poLink, nullptr);
    const MUINT32 uiBefore = Cfg32(BRIDGE_1C, 0x50);
    EXPECT_EQ(uiBefore & (1u << 27), 0u);
    SetCfg32(BRIDGE_1C, 0x50, uiBefore | (1u << 5));
    EXPECT_EQ(poLink->RetrainCount(), 1u);
    const MUINT32 uiTraining = Cfg32(BRIDGE_1C, 0x50);
    EXPECT_EQ(uiTraining & (1u << 5), 0u) << "Retrain Link reads 0";
    EXPECT_NE(uiTraining & (1u << 27), 0u) << "Link Training shows right after the request";
    QelVxdSim_Backend()->pfnDelay(CQelSimPcieLink::msc_uiTrainingUs);
    EXPECT_EQ(Cfg32(BRIDGE_1C, 0x50), uiBefore) << "trained again at the same speed and width";

    SetCfg32(BOARD_03, 0x70, Cfg32(BOARD_03, 0x70) | (1u << 5));
    EXPECT_EQ(QelVxdSim_Current()->FindFunction(BOARD_03)->Link()->RetrainCount(), 0u) << "an endpoint ignores it";
}

TEST_F(CConfigTest, HeaderTypesAndBridgeBusNumbers)
{
    EXPECT_EQ((Cfg32(BRIDGE_1C, 0x0C) >> 16) & 0xFF, 0x01u);
    EXPECT_EQ(Cfg32(BRIDGE_1C, 0x18) & 0xFFFFFF, 0x050300u) << "primary 0, secondary 3, subordinate 5";
    EXPECT_EQ((Cfg32(BOARD_03, 0x0C) >> 16) & 0xFF, 0x00u);
    EXPECT_EQ((Cfg32(DEVICE_02_0, 0x0C) >> 16) & 0xFF, 0x80u) << "function 0 announces function 1";
    EXPECT_EQ((Cfg32(DEVICE_02_1, 0x0C) >> 16) & 0xFF, 0x80u);
    EXPECT_EQ(Cfg32(DEVICE_02_1, 0x00), 0x12358086u);
    EXPECT_EQ(Cfg32(0x0018, 0x00), 0xFFFFFFFFu) << "empty slot";
}

TEST_F(CConfigTest, BoardSpecificDwords)
{
    EXPECT_EQ(Cfg32(BOARD_05, 0x40) & 0x3, 2u) << "first generation: memory size code in dword 0x40";
    EXPECT_EQ(Cfg32(BOARD_03, 0x40), 0u);
    EXPECT_EQ(Cfg32(BOARD_03, 0x2C), 0x12341E5Bu);
    EXPECT_EQ(Cfg32(BOARD_03, 0xE0) & 0x3, 0x3u);
    SetCfg32(BOARD_03, 0xE0, Cfg32(BOARD_03, 0xE0) & ~0x3u);
    EXPECT_EQ(Cfg32(BOARD_03, 0xE0) & 0x3, 0u);
    SetCfg32(BOARD_03, 0x00, 0);
    EXPECT_EQ(Cfg32(BOARD_03, 0x00), 0x05501E5Bu) << "ids are read only";
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
