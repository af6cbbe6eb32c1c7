// The context manager on simulated rigs, through the real platform layer: which functions become
// boards, what is written to them, bridges, builders and their failures, and the memory window
// around the initialisation.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSim.h"
#include "XContext.h"
#include "XContextMgr.h"
#include "XDevCoreInit.h"
#include "XHwAccess_Vxd.h"
#include "XInterruptMgr.h"

namespace
{
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

const char* const s_pszRootPort = R"({"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 5})";

std::string Board(int iBus, const std::string& rsExtra = "")
{
    return R"({"bus": )" + std::to_string(iBus) + R"(, "device": 0, "function": 0)" + rsExtra + "}";
}

std::string Rig(const std::string& rsDevices, const std::string& rsBridges, const std::string& rsBoards)
{
    return R"({"devices": [)" + rsDevices + R"(], "bridges": [)" + rsBridges + R"(], "boards": [)" + rsBoards + "]}";
}

// Core device whose InitializeHardware result the test chooses; it never touches the board.
class CStubCore : public XDevCoreInit
{
public:
    explicit CStubCore(LStatus iResult) : XDevCoreInit(OPTION_INIT_ALL), m_iResult(iResult) {}
    LStatus ClearInitialized() override { return 0; }
    MBOOL32 IsHardwareInitialize() override { return FALSE; }
    LStatus InitializeHardware() override { return m_iResult; }
    MBOOL32 IsDriverRunning() const override { return FALSE; }

    LStatus m_iResult;
};

// Accepts the second-generation ids, counting the questions, and registers a stub core device.
class CTestBuilder : public XContextConstruct
{
public:
    explicit CTestBuilder(int& riAsked) : m_riAsked(riAsked) {}

    LStatus BuildCoreContext(LDeviceCreateOptTag oOptions, XContext& roContext) override
    {
        m_uiOptions = oOptions.uiValue;
        CStubCore* poCore = new CStubCore(m_iCoreInit);
        roContext.RegisterDevice(poCore);
        roContext.SetInitDevice(poCore);
        return m_iCoreBuild;
    }
    LStatus BuildDevices(XContext&) override { return m_iDevicesBuild; }
    MBOOL32 IsSupported(MUINT32 uiVendorDevice, MUINT32) override
    {
        m_riAsked++;
        return (uiVendorDevice & ~0x000F0000u) == 0x05501E5Bu;
    }
    XContextConstruct* CreateClone() override
    {
        CTestBuilder* poClone = new CTestBuilder(m_riAsked);
        poClone->m_iCoreBuild = m_iCoreBuild;
        poClone->m_iCoreInit = m_iCoreInit;
        return poClone;
    }

    int& m_riAsked;
    LStatus m_iCoreBuild = 0;
    LStatus m_iDevicesBuild = 0;
    LStatus m_iCoreInit = 0;
    MUINT32 m_uiOptions = 0;
};

class ContextMgrTest : public ::testing::Test
{
protected:
    // Loads the rig with an access trace (see ConfigWrites) and creates the manager.
    void Load(const std::string& rsRig)
    {
        m_sTracePath = ::testing::TempDir() + "xcontextmgr_" + std::to_string(getpid()) + ".trace";
        std::remove(m_sTracePath.c_str());
        setenv("QELVXD_SIM_TRACE", m_sTracePath.c_str(), 1);
        std::string sError;
        const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(rsRig, "/tmp", sError);
        unsetenv("QELVXD_SIM_TRACE");
        ASSERT_NE(poBackend, nullptr) << sError;
        QelVxdSetBackendForTest(poBackend);
        m_poMgr = std::make_unique<XContextMgr>();
    }

    CTestBuilder* Register(MBOOL32 bExpected = TRUE)
    {
        CTestBuilder* poBuilder = new CTestBuilder(m_iAsked);
        EXPECT_EQ(m_poMgr->RegisterContextConstructor(poBuilder, XContextMgr::CreateDummyBufferMgr,
                                                      XContextMgr::CreateDummyCounterMgr,
                                                      XContextMgr::CreateDummyInterruptMgr),
                  bExpected);
        return poBuilder;
    }

    // "<offset> <width> <value>" of every configuration write to that function, from the trace.
    std::vector<std::string> ConfigWrites(PCIHANDLE hLocation)
    {
        std::string sError;
        QelVxdSim_Flush(sError);
        std::ifstream oTrace(m_sTracePath);
        const std::string sNeedle = " " + QelVxdSim_FormatLocation(hLocation) + " cfg W ";
        std::vector<std::string> asWrites;
        for (std::string sLine; std::getline(oTrace, sLine);)
            if (sLine.find(sNeedle) != std::string::npos)
                asWrites.push_back(sLine.substr(sLine.find(sNeedle) + sNeedle.size()));
        return asWrites;
    }

    XHwAccessVxd& HwOf(MINT32 iIndex) { return *m_poMgr->m_daoContextBundle[iIndex].poHwAccessVxd; }
    CTestBuilder* BuilderOf(MUINT32 uiIndex) { return static_cast<CTestBuilder*>(m_poMgr->GetContextConstruct(uiIndex)); }

    void TearDown() override
    {
        m_poMgr.reset();
        QelVxdSetBackendForTest(nullptr);
        QelVxdSim_Unload();
        std::remove(m_sTracePath.c_str());
    }

    int m_iAsked = 0;
    std::unique_ptr<XContextMgr> m_poMgr;
    std::string m_sTracePath;
};
}  // namespace

// ---- Discovery.

TEST_F(ContextMgrTest, SupportedBoardsAreAcceptedInScanOrderAndOthersAreNeverWritten)
{
    const PCIHANDLE hOtherVendor = QelVxdMakePciHandle(0, 2, 0);
    const PCIHANDLE hFirstGeneration = QelVxdMakePciHandle(4, 0, 0);
    Load(Rig(R"({"bus": 0, "device": 2, "function": 0, "vendor_id": "0x8086", "device_id": "0x1234"})",
             s_pszRootPort, Board(5) + "," + Board(3) + "," + Board(4, R"(, "device_id": "0x0540")")));
    CTestBuilder* poRegistered = Register();

    EXPECT_TRUE(m_poMgr->PopulateXContext());
    ASSERT_EQ(m_poMgr->GetNbOfContext(), 2u);
    XContext* poContext = nullptr;
    unsigned long hPci = 0, hReg = 0, hMem = 0;
    MUINT32 uiRegSize = 0, uiMemSize = 0;
    for (MUINT32 uiIndex : {0u, 1u})
    {
        ASSERT_TRUE(m_poMgr->GetContext(uiIndex, poContext, hPci, hReg, uiRegSize, hMem, uiMemSize));
        EXPECT_EQ(hPci, QelVxdMakePciHandle(3 + 2 * uiIndex, 0, 0));
        EXPECT_TRUE(hReg != 0 && hMem != 0) << "both windows mapped once the board is accepted";
    }
    EXPECT_FALSE(m_poMgr->GetContext(2, poContext));
    // Each board is built by its own copy of the builder.
    EXPECT_TRUE(BuilderOf(0) != poRegistered && BuilderOf(1) != poRegistered && BuilderOf(0) != BuilderOf(1));
    EXPECT_EQ(BuilderOf(0)->m_uiOptions, 0x3Cu);

    // An accepted board gets memory decoding and the two low bits of 0xE0 cleared, and nothing
    // else; the functions no builder took are not written at all.
    const std::vector<std::string> asWrites = ConfigWrites(QelVxdMakePciHandle(3, 0, 0));
    ASSERT_EQ(asWrites.size(), 2u);
    EXPECT_EQ(asWrites[0].rfind("0x4 32 ", 0), 0u) << asWrites[0];
    EXPECT_EQ(asWrites[1].rfind("0xe0 32 ", 0), 0u) << asWrites[1];
    CQelSimFunction* poBoard = QelVxdSim_Current()->FindFunction(QelVxdMakePciHandle(3, 0, 0));
    EXPECT_NE(poBoard->PeekConfig(0x04) & 0x2, 0u);
    EXPECT_EQ(poBoard->PeekConfig(0xE0) & 0x3, 0u);
    EXPECT_TRUE(ConfigWrites(hOtherVendor).empty());
    EXPECT_TRUE(ConfigWrites(hFirstGeneration).empty());
}

TEST_F(ContextMgrTest, OnlyBitZeroOfTheHeaderTypeMakesABridge)
{
    for (const auto& [uiHeaderType, bBridge] : {std::pair{0x81u, true}, std::pair{0x03u, true}, std::pair{0x02u, false}})
    {
        Load(Rig(R"({"bus": 0, "device": 2, "function": 0, "vendor_id": "0x8086", "device_id": "0x1234"})", "", ""));
        QelVxdSim_Current()->FindFunction(QelVxdMakePciHandle(0, 2, 0))->PokeConfig(0x0C, uiHeaderType << 16);
        m_poMgr->PopulateXContext();
        EXPECT_EQ(m_poMgr->m_daoPciBridge.GetSize(), bBridge ? 1 : 0) << uiHeaderType;
        EXPECT_EQ(m_poMgr->m_dahPciDev.GetSize(), bBridge ? 0 : 1) << uiHeaderType;
        TearDown();
    }
}

TEST_F(ContextMgrTest, UpstreamBridgeIsTheLastMatchingOneInScanOrder)
{
    // 00:1c.0 spans buses 1-5, 01:00.0 below it 2-5, 00:1d.0 only 6; nothing leads to bus 7.
    Load(Rig("",
             R"({"bus": 0, "device": 28, "function": 0, "secondary": 1, "subordinate": 5},
                {"bus": 1, "device": 0, "function": 0, "secondary": 2, "subordinate": 5},
                {"bus": 0, "device": 29, "function": 0, "secondary": 6, "subordinate": 6})",
             Board(2) + "," + Board(7)));
    Register();
    ASSERT_TRUE(m_poMgr->PopulateXContext());
    EXPECT_EQ(HwOf(0).m_uiParentBridgePciHandle, QelVxdMakePciHandle(1, 0, 0));
    EXPECT_EQ(HwOf(1).m_uiParentBridgePciHandle, 0u);
}

// ---- Builders.

// The tool registers a builder at every initialisation: once the bus is populated, a new one is
// refused and nothing is asked again.
TEST_F(ContextMgrTest, BuilderRegisteredAfterThePopulationIsRefused)
{
    Load(Rig("", "", Board(3)));
    Register();
    ASSERT_TRUE(m_poMgr->PopulateXContext());
    const int iAsked = m_iAsked;
    Register(FALSE);
    EXPECT_FALSE(m_poMgr->PopulateXContext());
    EXPECT_EQ(m_iAsked, iAsked);
    EXPECT_EQ(m_poMgr->GetNbOfContext(), 1u);
}

TEST_F(ContextMgrTest, FailedCoreBuildDropsTheBoardAndEverythingMadeForIt)
{
    Load(Rig("", "", Board(3)));
    Register()->m_iCoreBuild = -1;
    CaptureStdout();
    EXPECT_FALSE(m_poMgr->PopulateXContext());
    EXPECT_NE(GetCapturedStdout().find("Assertion failed"), std::string::npos);
    EXPECT_EQ(XContext::ms_pdapoContexts, nullptr);
}

TEST_F(ContextMgrTest, FailedDeviceBuildLeavesTheManagersToTheContext)
{
    Load(Rig("", "", Board(3)));
    Register();
    ASSERT_TRUE(m_poMgr->PopulateXContext());
    BuilderOf(0)->m_iDevicesBuild = -1;
    CaptureStdout();
    EXPECT_FALSE(m_poMgr->BuildDevices(0));
    EXPECT_FALSE(m_poMgr->BuildDevices(0));   // the context already has its managers
    GetCapturedStdout();
    XContext* poContext = nullptr;
    m_poMgr->GetContext(0, poContext);
    EXPECT_NE(dynamic_cast<XInterruptMgrDummy*>(poContext->m_poInterruptMgr), nullptr);
}

// ---- Initialisation: the memory window is mapped again only once the memory came up (done now
// or before); a failure leaves it unmapped. An index past the boards fails.
TEST_F(ContextMgrTest, MemoryWindowIsMappedAgainOnlyAfterASuccessfulInitialisation)
{
    for (LStatus iResult : {0, 1, -1, -10})
    {
        Load(Rig("", "", Board(3)));
        Register()->m_iCoreInit = iResult;
        ASSERT_TRUE(m_poMgr->PopulateXContext());
        CaptureStdout();
        EXPECT_EQ(m_poMgr->InitializeHardware(0), iResult);
        EXPECT_EQ(m_poMgr->InitializeHardware(1), -1);
        GetCapturedStdout();
        EXPECT_EQ(HwOf(0).m_oMm.GetMappedMemory() != 0, iResult >= 0) << iResult;
        TearDown();
    }
}
