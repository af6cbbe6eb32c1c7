// Hardware access objects on simulated boards, through the real platform layer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSim.h"
#include "XHwAccess_Vxd.h"

namespace
{
const PCIHANDLE hBoard = QelVxdMakePciHandle(3, 0, 0);
const PCIHANDLE hBridge = QelVxdMakePciHandle(0, 0x1C, 0);
const PCIHANDLE hPlainDevice = QelVxdMakePciHandle(0, 2, 0);
const PCIHANDLE hNothing = QelVxdMakePciHandle(9, 0, 0);

const MUINT32 MiB = 0x100000;

struct SBoard
{
    unsigned uiDeviceId = 0x0550;
    unsigned uiSizeCode = 3;
    bool bBar64 = true;
    bool bMapFails = false;
};

// A root port at 00:1c.0, a device without capabilities at 00:02.0, and the board at 03:00.0. The
// board is marked initialised, so that its memory holds what is written to it.
std::string RigJson(const SBoard& roBoard)
{
    return std::string(R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 3}],)") +
           R"("devices": [{"bus": 0, "device": 2, "function": 0, "vendor_id": "0x8086", "device_id": "0x1234"}],)" +
           R"("boards": [{"bus": 3, "device": 0, "function": 0, "chip_revision": 1, "marker": "0x80000000",)" +
           " \"device_id\": " + std::to_string(roBoard.uiDeviceId) +
           ", \"memory_size_code\": " + std::to_string(roBoard.uiSizeCode) +
           ", \"bar64\": " + (roBoard.bBar64 ? "true" : "false") +
           ", \"faults\": {\"map_fails\": " + (roBoard.bMapFails ? "true" : "false") + "}}]}";
}

class SimBoardTest : public ::testing::Test
{
protected:
    CQelSimBoard& Load(const SBoard& roBoard)
    {
        std::string sError;
        const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(RigJson(roBoard), "/tmp", sError);
        EXPECT_NE(poBackend, nullptr) << sError;
        QelVxdSetBackendForTest(poBackend);
        return *QelVxdSim_Current()->FindBoard(hBoard);
    }
    void TearDown() override
    {
        QelVxdSetBackendForTest(nullptr);
        QelVxdSim_Unload();
    }
};
}  // namespace

// ---- Windows decoded from the identity and the BARs.

struct SWindowCase
{
    unsigned uiDeviceId;
    unsigned uiSizeCode;
    bool bBar64;
    MUINT32 uiRegSize;
    MUINT32 uiMemSize;
    MUINT32 uiRevision;   // the rig's boards are revision 1; only the second generation reports it
};
void PrintTo(const SWindowCase& ro, std::ostream* po)
{
    *po << std::hex << "device 0x" << ro.uiDeviceId << ", size code " << ro.uiSizeCode << (ro.bBar64 ? ", 64-bit" : "");
}

class WindowTest : public SimBoardTest, public ::testing::WithParamInterface<SWindowCase>
{
};

TEST_P(WindowTest, SizesAndBasesFollowTheBoard)
{
    const SWindowCase& roCase = GetParam();
    CQelSimBoard& roSim = Load({roCase.uiDeviceId, roCase.uiSizeCode, roCase.bBar64, false});
    XHwAccessVxd oHw(hBoard, hBridge);

    ASSERT_TRUE(oHw.IsRegisterWindowMapped());
    EXPECT_EQ(oHw.m_oReg.m_uiSize, roCase.uiRegSize);
    EXPECT_EQ(oHw.m_roReg.m_uiChipRevision, roCase.uiRevision);
    EXPECT_EQ(oHw.m_roMem.GetSize(), roCase.uiMemSize);
    EXPECT_EQ(oHw.m_roMem.GetPhysMemory(), roSim.MemoryBase());
    EXPECT_EQ(oHw.m_roMem.GetMappedMemory(), 0u);

    // The register window reaches this board's registers, up to its last dword and no further.
    EXPECT_EQ(oHw.m_roReg.Write(roCase.uiRegSize - 4, MUINT32{0xA5A5F00D}), 0);
    EXPECT_EQ(roSim.PeekReg(roCase.uiRegSize - 4), 0xA5A5F00Du);
    MUINT32 uiValue = 0;
    EXPECT_EQ(oHw.m_roReg.Read(roCase.uiRegSize - 2, uiValue), -1);
    MUINT8 uiByte = 0;
    EXPECT_EQ(oHw.m_roReg.Read(roCase.uiRegSize, uiByte), -1);

    // So does the memory window, once mapped.
    ASSERT_EQ(oHw.m_roMem.MapMemory(), 1);
    EXPECT_EQ(oHw.m_roMem.Write(roCase.uiMemSize - 4, MUINT32{0x12345678}), 0);
    EXPECT_EQ(roSim.MemRead(roCase.uiMemSize - 4, 4), 0x12345678u);
    EXPECT_EQ(oHw.m_roMem.Read(roCase.uiMemSize, uiByte), -1);
    EXPECT_EQ(oHw.m_roMem.UnMapMemory(), 1);
    EXPECT_EQ(oHw.m_roMem.Read(0, uiValue), -1);
}

INSTANTIATE_TEST_SUITE_P(
    Boards, WindowTest,
    ::testing::Values(
        // First generation: 8 KiB registers, memory size code in configuration space; an id
        // without all the second-generation bits is sized the same way.
        SWindowCase{0x0540, 0, false, 0x2000, 32 * MiB, 0}, SWindowCase{0x0540, 3, true, 0x2000, 256 * MiB, 0},
        SWindowCase{0x0560, 2, true, 0x2000, 128 * MiB, 0},
        // Second generation: 64 KiB registers, memory size code in the strap register.
        SWindowCase{0x0550, 0, true, 0x10000, 32 * MiB, 1}, SWindowCase{0x055F, 3, false, 0x10000, 256 * MiB, 1},
        SWindowCase{0x0553, 1, true, 0x10000, 64 * MiB, 1}));

// ---- A register window that did not map (no /dev/mem, no rights, locked-down kernel).

TEST_F(SimBoardTest, UnmappedRegisterWindowFailsEveryAccess)
{
    Load({0x0550, 3, true, true});
    XHwAccessVxd oHw(hBoard, hBridge);

    EXPECT_FALSE(oHw.IsRegisterWindowMapped());
    EXPECT_EQ(oHw.m_roMem.GetSize(), 32 * MiB);   // straps unreadable: smallest window
    EXPECT_EQ(oHw.m_roReg.m_uiChipRevision, 0u);
    MUINT32 uiValue = 0;
    EXPECT_LT(oHw.m_roReg.Read(0x314, uiValue), 0);
    EXPECT_LT(oHw.m_roReg.Write(0x314, MUINT32{0}), 0);
    EXPECT_EQ(oHw.m_roMem.MapMemory(), 0);
    EXPECT_LT(oHw.m_roMem.Read(0, uiValue), 0);
    // Configuration space does not depend on a mapping.
    EXPECT_EQ(oHw.m_roCfg.Read(0, uiValue), 0);
    EXPECT_EQ(uiValue, 0x05501E5Bu);
}

TEST_F(SimBoardTest, AbsentFunctionMapsNothing)
{
    Load({});
    XHwAccessVxd oHw(hNothing, hBridge);   // every BAR reads all ones, like an I/O BAR

    EXPECT_FALSE(oHw.IsRegisterWindowMapped());
    EXPECT_EQ(oHw.m_roMem.GetPhysMemory(), 0u);
    EXPECT_EQ(oHw.m_roMem.MapMemory(), 0);
    EXPECT_EQ(QelVxdSim_Current()->Bus().MappingCount(), 0u);
}

// ---- Configuration space bounds.

TEST_F(SimBoardTest, ConfigurationAccessesStayInside256Bytes)
{
    CQelSimBoard& roSim = Load({});
    roSim.PokeConfig(0xFC, 0xCAFEBABE);
    XHwAccessVxd oHw(hBoard, hBridge);
    XCfgAccess& roCfg = oHw.m_roCfg;

    MUINT32 uiValue = 0;
    MUINT8 uiByte = 0;
    EXPECT_EQ(roCfg.Read(252, uiValue), 0);
    EXPECT_EQ(uiValue, 0xCAFEBABEu);
    EXPECT_EQ(roCfg.Read(255, uiByte), 0);
    EXPECT_EQ(uiByte, 0xCA);
    uiValue = 7;
    EXPECT_EQ(roCfg.Read(253, uiValue), -1);
    EXPECT_EQ(uiValue, 7u);
    EXPECT_EQ(roCfg.Read(256, uiByte), -1);
    EXPECT_EQ(roCfg.Write(253, MUINT32{0}), -1);
    EXPECT_EQ(roCfg.Write(256, MUINT8{0}), -1);
    EXPECT_EQ(roSim.PeekConfig(0xFC), 0xCAFEBABEu);
}

// ---- Link retraining on the bridge above the board.

// Configuration dwords of a bridge; bridges and the test device put their PCI Express capability
// at 0x40, so Link Control/Status is at 0x50.
const MUINT32 HEADER = 0x0C, HEADER_BRIDGE = 0x00010000;
const MUINT32 BUSES = 0x18, BUSES_3_TO_3 = 0x00030300;
const MUINT32 LINK_AT_0X40 = 0x50;
const MUINT32 LINK_RETRAIN = 1u << 5;
const MUINT32 CAP_LIST = 1u << 20;   // status bit 4 in the command/status dword

// The simulator's table, wrapped: every configuration write is recorded as (offset, dword) (the
// simulated root port clears Retrain Link as it starts training), and the root port's read of its
// Link Control/Status can fail as an unreadable register does, the backend scribbling over the
// buffer.
SQelVxdBackend s_oWrapped;
bool s_bLinkReadFails = false;
std::vector<std::pair<MUINT32, MUINT32>> s_aoWrites;
int ReadLinkMayFail(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    if (s_bLinkReadFails && hDevice == hBridge && uiOffset == LINK_AT_0X40)
    {
        memset(pvBuffer, 0x5A, uiSize);
        return -1;
    }
    return QelVxdSim_Backend()->pfnConfigRead(hDevice, uiOffset, pvBuffer, uiSize);
}
int WriteRecordingLink(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    if (uiSize == 4)
    {
        s_aoWrites.emplace_back(uiOffset, *static_cast<const MUINT32*>(pvBuffer));
    }
    return QelVxdSim_Backend()->pfnConfigWrite(hDevice, uiOffset, pvBuffer, uiSize);
}

// Capability lists written into the configuration space of the plain device at 00:02.0, which
// stands in for the bridge: {offset, dword} pairs. It is first given a bridge header with the
// board's bus 3 behind it, which a case may overwrite. A function that does not exist is no
// bridge. Link Control/Status is written back once, whole, with Retrain Link set; a failed
// retrain writes nothing. A Link Control that cannot be read must not be written back as all
// ones: that would set Link Disable and take the board off the bus. Only Retrain Link is set then.
struct SCapListCase
{
    const char* pszName;
    std::vector<std::pair<MUINT32, MUINT32>> aoConfig;
    int iResult;
    PCIHANDLE hBridge = hPlainDevice;
    bool bLinkReadFails = false;
    MUINT32 uiLink = LINK_AT_0X40;   // where Link Control/Status is found
};
void PrintTo(const SCapListCase& ro, std::ostream* po) { *po << ro.pszName; }

class RetrainLinkTest : public SimBoardTest, public ::testing::WithParamInterface<SCapListCase>
{
};

TEST_P(RetrainLinkTest, WalksTheBridgeCapabilityListAndSetsRetrainOnly)
{
    const SCapListCase& roCase = GetParam();
    Load({});
    CQelSimFunction* poDevice = QelVxdSim_Current()->FindFunction(hPlainDevice);
    poDevice->PokeConfig(HEADER, HEADER_BRIDGE);
    poDevice->PokeConfig(BUSES, BUSES_3_TO_3);
    for (const auto& roDword : roCase.aoConfig)
    {
        poDevice->PokeConfig(roDword.first, roDword.second);
    }
    MUINT32 uiLinkBefore = 0;
    QelVxdSim_Backend()->pfnConfigRead(roCase.hBridge, roCase.uiLink, &uiLinkBefore, 4);
    s_bLinkReadFails = roCase.bLinkReadFails;
    s_aoWrites.clear();
    s_oWrapped = *QelVxdSim_Backend();
    s_oWrapped.pfnConfigRead = ReadLinkMayFail;
    s_oWrapped.pfnConfigWrite = WriteRecordingLink;
    QelVxdSetBackendForTest(&s_oWrapped);

    EXPECT_EQ(XHwAccessVxd(hBoard, roCase.hBridge).RetrainLink(), roCase.iResult);
    std::vector<std::pair<MUINT32, MUINT32>> aoExpected;
    if (roCase.iResult == 0)
    {
        aoExpected.emplace_back(roCase.uiLink, (roCase.bLinkReadFails ? 0 : uiLinkBefore) | LINK_RETRAIN);
    }
    EXPECT_EQ(s_aoWrites, aoExpected);
}

// A PCI Express capability at 0x40 alone in the list (Link Control/Status at 0x50), and one more
// dword.
std::vector<std::pair<MUINT32, MUINT32>> PcieAt0x40And(std::pair<MUINT32, MUINT32> oDword)
{
    return {{4, CAP_LIST}, {0x34, 0x40}, {0x40, 0x10}, oDword};
}
INSTANTIATE_TEST_SUITE_P(
    CapabilityLists, RetrainLinkTest,
    ::testing::Values(
        SCapListCase{"RootPort", {}, 0, hBridge}, SCapListCase{"RootPortLinkUnreadable", {}, 0, hBridge, true},
        SCapListCase{"NoBridge", {}, -1, hNothing},
        SCapListCase{"StatusSaysNoList", {{0x34, 0x58}, {0x58, 0x10}}, -1},
        SCapListCase{"SecondInList", {{4, CAP_LIST}, {0x34, 0x40}, {0x40, 0x5801}, {0x58, 0x10}}, 0, hPlainDevice, false, 0x68},
        SCapListCase{"NotPciExpress", {{4, CAP_LIST}, {0x34, 0x58}, {0x58, 0x0005}}, -1},
        SCapListCase{"FirstPastTheEnd", {{4, CAP_LIST}, {0x34, 0xFD}}, -1},
        SCapListCase{"LoopingList", {{4, CAP_LIST}, {0x34, 0x40}, {0x40, 0x5801}, {0x58, 0x4001}}, -1},
        SCapListCase{"NotABridge", PcieAt0x40And({HEADER, 0x00800000}), -1},
        SCapListCase{"MultiFunctionBridge", PcieAt0x40And({HEADER, 0x00810000}), 0},
        SCapListCase{"BridgeBelowTheBoardBus", PcieAt0x40And({BUSES, 0x00020200}), -1},
        SCapListCase{"BridgeAboveTheBoardBus", PcieAt0x40And({BUSES, 0x00050400}), -1}),
    [](const auto& roInfo) { return std::string(roInfo.param.pszName); });
