// The device API on a simulated rig: calls without a manager, out-pointers, bad indexes, the
// board description, clearing, and a board that cannot be reached.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "QelVxdPrivate.h"
#include "QelVxdSim.h"
#include "XContext.h"
#include "XContextMgr.h"
#include "XDevCoreInit.h"
#include "XDevQelVxd.h"

namespace
{
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

std::string Report(int iLine)
{
    return "(Error) XDevQelVxd.cpp(" + std::to_string(iLine) + ") Assertion failed\n";
}

// Boards at 03:00.0 (reference model, blank flash) and, in the second rig, at 04:00.0 with
// windows that cannot be mapped and at 05:00.0 with a memory window that has no address.
const char* const s_pszOneBoard =
    R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 4}],
        "boards": [{"bus": 3, "device": 0, "function": 0, "subsystem": "0x0A011E5B"}]})";
const char* const s_pszUnreachable =
    R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 5}],
        "boards": [{"bus": 3, "device": 0, "function": 0, "subsystem": "0x0A011E5B"},
                   {"bus": 4, "device": 0, "function": 0, "faults": {"map_fails": true}},
                   {"bus": 5, "device": 0, "function": 0, "faults": {"bar_unassigned": ["memory"]}}]})";

class DeviceApiTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        XDevQelVxd_Cleanup();
        QelVxdSetBackendForTest(nullptr);
        QelVxdSim_Unload();
    }

    void LoadAndInit(const char* pszRig)
    {
        std::string sError;
        const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(pszRig, ".", sError);
        ASSERT_NE(poBackend, nullptr) << sError;
        QelVxdSetBackendForTest(poBackend);
        CaptureStdout();
        const int iInit = XDevQelVxd_Init();
        m_sInitOutput = GetCapturedStdout();
        ASSERT_EQ(iInit, 1) << m_sInitOutput;
    }

    std::string m_sInitOutput;
};

// ---- Without a manager every call fails with its own report and writes nothing.

struct SNoManagerCase
{
    const char* pszName;
    int (*pfnCall)();
    int iFailure;
    int iLine;
};
void PrintTo(const SNoManagerCase& ro, std::ostream* po) { *po << ro.pszName; }

MUINT32 g_uiUntouchedCount = 0xDEADBEEF;

using NoManagerTest = ::testing::TestWithParam<SNoManagerCase>;

TEST_P(NoManagerTest, FailsWithItsReport)
{
    CaptureStdout();
    const int iResult = GetParam().pfnCall();
    const std::string sOutput = GetCapturedStdout();
    EXPECT_EQ(iResult, GetParam().iFailure);
    EXPECT_NE(sOutput.find(Report(GetParam().iLine)), std::string::npos) << sOutput;
    EXPECT_EQ(g_uiUntouchedCount, 0xDEADBEEFu);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, NoManagerTest,
    ::testing::Values(
        SNoManagerCase{"GetNbDevice", [] { return XDevQelVxd_GetNbDevice(&g_uiUntouchedCount); }, 0, 413},
        SNoManagerCase{"GetDevice", [] { return XDevQelVxd_GetDevice(0, nullptr, nullptr, nullptr, nullptr, nullptr); },
                       0, 453},
        SNoManagerCase{"InitializeDevice", [] { return XDevQelVxd_InitializeDevice(0); }, -1, 528},
        SNoManagerCase{"GetDeviceInfo",
                       [] {
                           XDevVxdInfoTag oInfo = {};
                           return XDevQelVxd_GetDeviceInfo(0, &oInfo);
                       },
                       0, 577},
        SNoManagerCase{"ClearInitialized", [] { return XDevQelVxd_ClearInitialized(0); }, 0, 645}),
    [](const ::testing::TestParamInfo<SNoManagerCase>& roInfo) { return std::string(roInfo.param.pszName); });

// A second Init is refused and keeps the manager and its boards; the refused builder is the
// manager's all the same and goes with it at Cleanup. A second Cleanup finds nothing to do.
TEST_F(DeviceApiTest, SecondInitIsRefusedAndSecondCleanupIsSilent)
{
    LoadAndInit(s_pszOneBoard);
    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_Init(), 0);
    EXPECT_NE(GetCapturedStdout().find(Report(354)), std::string::npos);
    MUINT32 uiCount = 0;
    EXPECT_EQ(XDevQelVxd_GetNbDevice(&uiCount), 1);
    EXPECT_EQ(uiCount, 1u);
    EXPECT_EQ(XDevQelVxd_Cleanup(), 1);
    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_Cleanup(), 0);
    EXPECT_EQ(GetCapturedStdout(), "");
}

// ---- Device identity.

TEST_F(DeviceApiTest, GetDeviceFillsOnlyTheGivenOutPointers)
{
    LoadAndInit(s_pszOneBoard);
    EXPECT_EQ(XDevQelVxd_GetDevice(0, nullptr, nullptr, nullptr, nullptr, nullptr), 1);

    MUINT64 hPci = 0;
    MUINT32 uiRegsSize = 0;
    MUINT64 hMem = 0;
    EXPECT_EQ(XDevQelVxd_GetDevice(0, &hPci, nullptr, &uiRegsSize, &hMem, nullptr), 1);
    EXPECT_EQ(hPci, 0x300u);
    EXPECT_EQ(uiRegsSize, 0x10000u);
    EXPECT_NE(hMem, 0u);   // the memory window is mapped once the board is found
}


TEST_F(DeviceApiTest, DeviceInfoOfAGoodBoardKeepsTheCallersFirmwareText)
{
    LoadAndInit(s_pszOneBoard);
    XDevVxdInfoTag oInfo;
    std::memset(&oInfo, 0x5A, sizeof(oInfo));
    std::strcpy(oInfo.szFirmwareVersion, "caller's");
    CaptureStdout();
    ASSERT_EQ(XDevQelVxd_GetDeviceInfo(0, &oInfo), 1);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_STREQ(oInfo.szFirmwareVersion, "caller's");
    EXPECT_EQ(oInfo.uiMemSize, 268435456u);
    EXPECT_LT(std::strlen(oInfo.szProductName), sizeof(oInfo.szProductName));
    EXPECT_LT(std::strlen(oInfo.szSerialNumber), sizeof(oInfo.szSerialNumber));
    EXPECT_STREQ(oInfo.szSerialNumber, "Default");
    EXPECT_LE(oInfo.bIsSystemProcessorOnBoard, 1u);
}

TEST_F(DeviceApiTest, SecondInitialisationFindsTheMarkerWithoutReport)
{
    LoadAndInit(s_pszOneBoard);
    EXPECT_EQ(XDevQelVxd_InitializeDevice(0), 0);
    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_InitializeDevice(0), 1);
    EXPECT_EQ(GetCapturedStdout().find("Assertion failed"), std::string::npos);

    EXPECT_EQ(XDevQelVxd_ClearInitialized(0), 1);
    EXPECT_EQ(XDevQelVxd_InitializeDevice(0), 0);
}

// Core device whose marker write failed: a result of its own, neither success nor a known failure.
class CMarkerWriteFailed : public XDevCoreInit
{
public:
    CMarkerWriteFailed() : XDevCoreInit(OPTION_INIT_ALL) {}
    LStatus ClearInitialized() override { return 0; }
    MBOOL32 IsHardwareInitialize() override { return FALSE; }
    LStatus InitializeHardware() override { return -5; }
    MBOOL32 IsDriverRunning() const override { return FALSE; }
};

TEST_F(DeviceApiTest, OtherCoreResultFailsTheCallAndLeavesTheMemoryMapped)
{
    LoadAndInit(s_pszOneBoard);
    XDevVxdInfoTag oInfo = {};
    ASSERT_EQ(XDevQelVxd_GetDeviceInfo(0, &oInfo), 1);   // populates the board's context
    XContext* poContext = nullptr;
    ASSERT_TRUE(g_poContextMgr->GetContext(0, poContext));
    auto* poCore = new CMarkerWriteFailed();
    ASSERT_EQ(poContext->RegisterDevice(poCore), 0);
    poContext->m_poXDevCoreInit = poCore;
    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_InitializeDevice(0), -1);
    GetCapturedStdout();
    MUINT64 hMem = 0;
    EXPECT_EQ(XDevQelVxd_GetDevice(0, nullptr, nullptr, nullptr, &hMem, nullptr), 1);
    EXPECT_NE(hMem, 0u);
}

TEST_F(DeviceApiTest, BadIndexFailsEveryCallWithItsReportAndWritesNothing)
{
    LoadAndInit(s_pszOneBoard);
    MUINT64 hPci = 0x1234;
    MUINT32 uiSize = 77;
    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_GetDevice(1, &hPci, &hPci, &uiSize, &hPci, &uiSize), 0);
    EXPECT_EQ(XDevQelVxd_InitializeDevice(3), -1);
    EXPECT_EQ(XDevQelVxd_ClearInitialized(3), 0);
    const std::string sOutput = GetCapturedStdout();
    for (int iLine : {469, 530, 647})
        EXPECT_NE(sOutput.find(Report(iLine)), std::string::npos) << sOutput;
    EXPECT_EQ(hPci, 0x1234u);
    EXPECT_EQ(uiSize, 77u);
}

TEST_F(DeviceApiTest, UnreachableBoardFailsQuietlyAndIsNeverDriven)
{
    LoadAndInit(s_pszUnreachable);
    EXPECT_EQ(m_sInitOutput.find("04:00.0"), std::string::npos) << "the operator's hint belongs on standard error";

    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_InitializeDevice(1), -1);
    EXPECT_EQ(XDevQelVxd_ClearInitialized(1), 0);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(QelVxdSim_Board(4, 0, 0)->PeekReg(0x26FC), 0u);

    // Without a memory window the board is refused before its flash is read or a clock is set.
    CaptureStdout();
    EXPECT_EQ(XDevQelVxd_InitializeDevice(2), -1);
    EXPECT_NE(GetCapturedStdout().find(Report(538)), std::string::npos);
    EXPECT_EQ(QelVxdSim_Board(5, 0, 0)->Stats().uiRegWrites, 0u);

    // The reachable board beside it is unaffected.
    EXPECT_EQ(XDevQelVxd_InitializeDevice(0), 0);
}

} // namespace
