// Hardware access objects on simulated boards, through the real platform layer.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
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
        // First generation: 8 KiB registers, memory size code in configuration space.
        SWindowCase{0x0540, 0, false, 0x2000, 32 * MiB, 0}, SWindowCase{0x0540, 1, true, 0x2000, 64 * MiB, 0},
        SWindowCase{0x0540, 2, false, 0x2000, 128 * MiB, 0}, SWindowCase{0x0540, 3, true, 0x2000, 256 * MiB, 0},
        // An id without all the second-generation bits is sized like the first generation.
        SWindowCase{0x0560, 2, true, 0x2000, 128 * MiB, 0},
        // Second generation: 64 KiB registers, memory size code in the strap register.
        SWindowCase{0x0550, 0, true, 0x10000, 32 * MiB, 1}, SWindowCase{0x0550, 1, false, 0x10000, 64 * MiB, 1},
        SWindowCase{0x0550, 2, true, 0x10000, 128 * MiB, 1}, SWindowCase{0x0550, 3, false, 0x10000, 256 * MiB, 1},
        SWindowCase{0x055F, 1, true, 0x10000, 64 * MiB, 1}, SWindowCase{0x0553, 2, false, 0x10000, 128 * MiB, 1}));

// ---- A register window that did not map (no /dev/mem, no rights, locked-down kernel).

TEST_F(SimBoardTest, UnmappedRegisterWindowFailsEveryAccess)
{
    Load({0x0550, 3, true, true});
    XHwAccessVxd oHw(hBoard, hBridge);

    EXPECT_FALSE(oHw.IsRegisterWindowMapped());
    EXPECT_EQ(oHw.m_roMem.GetSize(), 32 * MiB);   // straps unreadable: smallest window
    EXPECT_EQ(oHw.m_roReg.m_uiChipRevision, 0u);
    MUINT32 uiValue = 0;
    MUINT8 uiByte = 0;
    EXPECT_LT(oHw.m_roReg.Read(0x314, uiValue), 0);
    EXPECT_LT(oHw.m_roReg.Read(0, uiByte), 0);
    EXPECT_LT(oHw.m_roReg.Write(0x314, MUINT32{0}), 0);
    EXPECT_LT(oHw.m_roReg.Write(0, MUINT8{0}), 0);
    EXPECT_EQ(oHw.m_roMem.MapMemory(), 0);
    EXPECT_LT(oHw.m_roMem.Read(0, uiValue), 0);
    EXPECT_LT(oHw.m_roMem.Write(0, MUINT8{1}), 0);
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

// ---- Configuration space bounds and unsupported block transfers.

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

    MUINT8 aucBuffer[4] = {};
    for (XResAccess* poRes : std::vector<XResAccess*>{&oHw.m_roCfg, &oHw.m_roReg, &oHw.m_roMem})
    {
        EXPECT_EQ(poRes->Read(0, aucBuffer, sizeof(aucBuffer)), -10);
        EXPECT_EQ(poRes->Write(0, aucBuffer, sizeof(aucBuffer)), -10);
    }
}

// ---- Link retraining on the bridge above the board.

TEST_F(SimBoardTest, RetrainLinkSetsRetrainOnTheBridge)
{
    // The simulated root port clears Retrain Link as it starts training: the trace shows what
    // was written.
    const std::string sTrace = ::testing::TempDir() + "xhwaccess_retrain.trace";
    std::remove(sTrace.c_str());
    setenv("QELVXD_SIM_TRACE", sTrace.c_str(), 1);
    Load({});
    unsetenv("QELVXD_SIM_TRACE");
    {
        XHwAccessVxd oHw(hBoard, hBridge);
        EXPECT_EQ(oHw.RetrainLink(), 0);
    }
    EXPECT_EQ(QelVxdSim_Current()->FindFunction(hBridge)->Link()->RetrainCount(), 1u);
    QelVxdSim_Unload();

    // Link Control/Status of the root port's PCI Express capability (at 0x40) is at 0x50: read,
    // then written back whole with bit 5 set.
    std::ifstream oFile(sTrace);
    std::string sLine;
    MUINT32 uiRead = 0, uiWritten = 0;
    unsigned uiWrites = 0;
    while (std::getline(oFile, sLine))
    {
        char szOp[4] = {};
        MUINT32 uiValue = 0;
        if (sLine.find(" 00:1c.0 cfg ") != std::string::npos &&
            std::sscanf(sLine.c_str() + sLine.find("cfg"), "cfg %1s 0x50 32 %x", szOp, &uiValue) == 2)
        {
            uiWrites += szOp[0] == 'W' ? 1 : 0;
            (szOp[0] == 'W' ? uiWritten : uiRead) = uiValue;
        }
    }
    EXPECT_EQ(uiWrites, 1u);
    EXPECT_EQ(uiRead & 0x20u, 0u);
    EXPECT_EQ(uiWritten, uiRead | 0x20u);
}

// Configuration dwords of a bridge; bridges and the test device put their PCI Express capability
// at 0x40, so Link Control/Status is at 0x50.
const MUINT32 HEADER = 0x0C, HEADER_BRIDGE = 0x00010000;
const MUINT32 BUSES = 0x18, BUSES_3_TO_3 = 0x00030300;
const MUINT32 LINK_AT_0X40 = 0x50;
const MUINT32 LINK_DISABLE = 1u << 4;

// The simulator's table with one read failing: Link Control/Status of the root port, which the
// backend reports as present but unreadable, scribbling over the buffer.
SQelVxdBackend s_oLinkControlUnreadable;
int ReadFailingAtLinkControl(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    if (hDevice == hBridge && uiOffset == LINK_AT_0X40)
    {
        memset(pvBuffer, 0x5A, uiSize);
        return -1;
    }
    return QelVxdSim_Backend()->pfnConfigRead(hDevice, uiOffset, pvBuffer, uiSize);
}

// A Link Control that cannot be read must not be written back as all ones: that would set Link
// Disable and take the board off the bus. Only Retrain Link is set.
TEST_F(SimBoardTest, RetrainLinkAfterAFailedLinkControlReadSetsOnlyRetrain)
{
    Load({});
    s_oLinkControlUnreadable = *QelVxdSim_Backend();
    s_oLinkControlUnreadable.pfnConfigRead = ReadFailingAtLinkControl;
    QelVxdSetBackendForTest(&s_oLinkControlUnreadable);
    {
        XHwAccessVxd oHw(hBoard, hBridge);
        EXPECT_EQ(oHw.RetrainLink(), 0);
    }
    EXPECT_EQ(QelVxdSim_Current()->FindFunction(hBridge)->Link()->RetrainCount(), 1u);
    MUINT32 uiLink = 0;
    ASSERT_EQ(QelVxdSim_Backend()->pfnConfigRead(hBridge, LINK_AT_0X40, &uiLink, 4), 1);
    EXPECT_EQ(uiLink & LINK_DISABLE, 0u) << "Link Disable set: " << std::hex << uiLink;
}

// Capability lists written into the configuration space of the plain device at 00:02.0, which
// stands in for the bridge: {offset, dword} pairs. It is first given a bridge header with the
// board's bus 3 behind it, which a case may overwrite. A function that does not exist is no
// bridge.
struct SCapListCase
{
    const char* pszName;
    std::vector<std::pair<MUINT32, MUINT32>> aoConfig;
    int iResult;
    PCIHANDLE hBridge = hPlainDevice;
};

class RetrainLinkTest : public SimBoardTest, public ::testing::WithParamInterface<SCapListCase>
{
};

TEST_P(RetrainLinkTest, WalksTheBridgeCapabilityList)
{
    Load({});
    CQelSimFunction* poDevice = QelVxdSim_Current()->FindFunction(hPlainDevice);
    poDevice->PokeConfig(HEADER, HEADER_BRIDGE);
    poDevice->PokeConfig(BUSES, BUSES_3_TO_3);
    for (const auto& roDword : GetParam().aoConfig)
    {
        poDevice->PokeConfig(roDword.first, roDword.second);
    }
    const MUINT32 uiLinkBefore = poDevice->PeekConfig(LINK_AT_0X40);
    XHwAccessVxd oHw(hBoard, GetParam().hBridge);

    EXPECT_EQ(oHw.RetrainLink(), GetParam().iResult);
    if (GetParam().iResult < 0)
    {
        EXPECT_EQ(poDevice->PeekConfig(LINK_AT_0X40), uiLinkBefore) << "a failed retrain writes nothing";
    }
}

const MUINT32 CAP_LIST = 1u << 20;   // status bit 4 in the command/status dword
// A PCI Express capability at 0x40 alone in the list (Link Control/Status at 0x50), and one more
// dword.
std::vector<std::pair<MUINT32, MUINT32>> PcieAt0x40And(std::pair<MUINT32, MUINT32> oDword)
{
    return {{4, CAP_LIST}, {0x34, 0x40}, {0x40, 0x10}, oDword};
}
INSTANTIATE_TEST_SUITE_P(
    CapabilityLists, RetrainLinkTest,
    ::testing::Values(
        SCapListCase{"NoBridge", {}, -1, hNothing}, SCapListCase{"NoCapabilityList", {}, -1},
        SCapListCase{"StatusSaysNoList", {{0x34, 0x58}, {0x58, 0x10}}, -1},
        SCapListCase{"SecondInList", {{4, CAP_LIST}, {0x34, 0x40}, {0x40, 0x5801}, {0x58, 0x10}}, 0},
        SCapListCase{"NotPciExpress", {{4, CAP_LIST}, {0x34, 0x58}, {0x58, 0x0005}}, -1},
        SCapListCase{"NextBelowHeaderEnd", {{4, CAP_LIST}, {0x34, 0x58}, {0x58, 0x3001}}, -1},
        SCapListCase{"FirstPastTheEnd", {{4, CAP_LIST}, {0x34, 0xFD}}, -1},
        SCapListCase{"LoopingList", {{4, CAP_LIST}, {0x34, 0x40}, {0x40, 0x5801}, {0x58, 0x4001}}, -1},
        SCapListCase{"BusesAroundTheBoard", PcieAt0x40And({BUSES, 0x00040200}), 0},
        SCapListCase{"NotABridge", PcieAt0x40And({HEADER, 0x00800000}), -1},
        SCapListCase{"MultiFunctionBridge", PcieAt0x40And({HEADER, 0x00810000}), 0},
        SCapListCase{"BridgeBelowTheBoardBus", PcieAt0x40And({BUSES, 0x00020200}), -1},
        SCapListCase{"BridgeAboveTheBoardBus", PcieAt0x40And({BUSES, 0x00050400}), -1}),
    [](const auto& roInfo) { return std::string(roInfo.param.pszName); });

// ---- Memory window mapping attributes: the simulator ignores them, so a fake backend that
// refuses cacheable mappings stands behind the platform layer.

namespace
{
std::vector<MUINT32> s_auiMapFlags;
MUINT32 s_auiMemory[64];

MEMHANDLE MapUncachedOnly(MUINT32, MUINT32, MUINT32, MUINT32 uiFlags)
{
    s_auiMapFlags.push_back(uiFlags);
    return uiFlags == 0 ? reinterpret_cast<MEMHANDLE>(s_auiMemory) : 0;
}
template <typename TValue>
TValue Read(MEMHANDLE hAddress)
{
    return *reinterpret_cast<TValue*>(hAddress);
}
template <typename TValue>
void Write(MEMHANDLE hAddress, TValue uiValue)
{
    *reinterpret_cast<TValue*>(hAddress) = uiValue;
}

SQelVxdDirectPage s_oNoDirectPage;
const SQelVxdBackend s_oUncachedOnly = {
    "uncached-only", [](PCIHANDLE, MUINT32, void*, MUINT32) { return 0; },
    [](PCIHANDLE, MUINT32, const void*, MUINT32) { return 0; }, [] {}, MapUncachedOnly, [](MEMHANDLE) { return 1; },
    Read<MUINT8>, Read<MUINT16>, Read<MUINT32>, Write<MUINT8>, Write<MUINT16>, Write<MUINT32>,
    [](MUINT64* puiNow) { *puiNow = 0; return 1; }, [](MUINT32) {}, [](MUINT32) { return 1; }, &s_oNoDirectPage};
}  // namespace

class MemoryWindowMapping : public ::testing::Test
{
protected:
    void SetUp() override
    {
        s_auiMapFlags.clear();
        QelVxdSetBackendForTest(&s_oUncachedOnly);
    }
    void TearDown() override { QelVxdSetBackendForTest(nullptr); }
};

TEST_F(MemoryWindowMapping, FallsBackToUncachedWhenCacheableIsRefused)
{
    XMmAccessVxd oMem;
    oMem.Init(0, 0x80000000, 0, sizeof(s_auiMemory));
    EXPECT_EQ(oMem.MapMemory(), 1);
    EXPECT_EQ(s_auiMapFlags, (std::vector<MUINT32>{1, 0}));
    EXPECT_EQ(oMem.Write(sizeof(s_auiMemory) - 4, MUINT32{0x600DF00D}), 0);
    EXPECT_EQ(s_auiMemory[63], 0x600DF00Du);
    MUINT32 uiValue = 0;
    EXPECT_EQ(oMem.Read(sizeof(s_auiMemory) - 3, uiValue), -1);   // would run past the window

    s_auiMapFlags.clear();
    EXPECT_EQ(oMem.MapMemory(), 1);   // already mapped: no second mapping
    EXPECT_TRUE(s_auiMapFlags.empty());
}

TEST_F(MemoryWindowMapping, WindowWithoutBaseAddressIsNeverMapped)
{
    XMmAccessVxd oMem;
    oMem.Init(0, 0, 0, sizeof(s_auiMemory));
    EXPECT_EQ(oMem.MapMemory(), 0);
    EXPECT_TRUE(s_auiMapFlags.empty());
}
