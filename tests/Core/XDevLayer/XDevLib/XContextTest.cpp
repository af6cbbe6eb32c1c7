// The device context over an in-memory board: construction, registries, dependency-ordered
// reset, the start sequence with its interrupt handling, and teardown.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "OsServices.h"
#include "XBoard.h"
#include "XContext.h"
#include "XCounterMgr.h"
#include "XDevLibTestDoubles.h"
#include "XInterruptHandler.h"

namespace
{
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

// Whether running fn made the context report a failed assertion.
template <class TFn>
bool Asserts(TFn&& rfn)
{
    CaptureStdout();
    rfn();
    const std::string sOut = GetCapturedStdout();
    return sOut.find("XContext.cpp(") != std::string::npos && sOut.find("Assertion failed") != std::string::npos;
}

std::vector<std::string> Resets(const CEventLog& roLog)
{
    std::vector<std::string> asResets;
    for (const std::string& rs : roLog)
        if (rs.rfind("reset ", 0) == 0)
            asResets.push_back(rs.substr(6, rs.find(' ', 6) - 6));
    return asResets;
}

class ContextTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_poHw = new CFakeHwAccess;
        m_poTraces = new CRecordingTracesMgr;
        m_poContext = new XContext(&m_oOs, m_poHw, m_poTraces);
        ASSERT_TRUE(m_poContext->m_bInitialized);
    }
    void TearDown() override { delete m_poContext; }

    CLoggingDev* AddDevice(const std::string& rsName, XDev::EType eType = XDev::TYPE_GENERIC)
    {
        CLoggingDev* poDevice = new CLoggingDev(m_asLog, rsName, eType);
        EXPECT_EQ(m_poContext->RegisterDevice(poDevice), 0);
        return poDevice;
    }

    // Dummy buffer and counter managers and an interrupt manager over a scripted algorithm.
    CScriptedAlgo* AddServices(XDevReferenceCnt* poRefCnt = nullptr)
    {
        CScriptedAlgo* poAlgo = new CScriptedAlgo;
        XBufferMgr* poBuffers = new CLoggingBufferMgr(m_asLog);
        XInterruptMgr* poInterrupts = new XInterruptMgr(&m_oOs, m_poHw, poBuffers, poAlgo, FALSE);
        XCounterMgr* poCounters = new XCounterMgr(&m_oOs, m_poHw, poInterrupts, poRefCnt, nullptr, 0);
        EXPECT_EQ(m_poContext->RegisterDeviceServices(poBuffers, poCounters, poInterrupts), 0);
        return poAlgo;
    }

    CScriptedCoreInit* AddCore(LStatus iInitResult)
    {
        CScriptedCoreInit* poCore = new CScriptedCoreInit(m_asLog, iInitResult);
        EXPECT_EQ(m_poContext->RegisterDevice(poCore), 0);
        EXPECT_EQ(m_poContext->SetInitDevice(poCore), 0);
        return poCore;
    }

    CEventLog m_asLog;
    OsServices m_oOs;
    CFakeHwAccess* m_poHw = nullptr;
    CRecordingTracesMgr* m_poTraces = nullptr;
    XContext* m_poContext = nullptr;
};
}  // namespace

// ---- Construction.

struct SConstructionCase
{
    const char* pszName;
    bool bOs;
    bool bHw;
    int iTraces;     // 0 none, 1 not initialised, 2 valid
    bool bListed;    // the context joins the list of live contexts
};
void PrintTo(const SConstructionCase& ro, std::ostream* po) { *po << ro.pszName; }

using ContextConstructionTest = ::testing::TestWithParam<SConstructionCase>;

TEST_P(ContextConstructionTest, MissingPartLeavesContextInvalidAndDestroyable)
{
    const SConstructionCase& roCase = GetParam();
    OsServices oOs;
    XTracesMgr* poTraces = nullptr;
    if (roCase.iTraces > 0)
    {
        poTraces = new CRecordingTracesMgr;
        poTraces->m_bInitialized = (roCase.iTraces == 2);
    }

    XContext* poContext = nullptr;
    XHwAccess* poHw = roCase.bHw ? new CFakeHwAccess : nullptr;
    EXPECT_TRUE(Asserts([&] { poContext = new XContext(roCase.bOs ? &oOs : nullptr, poHw, poTraces); }));
    EXPECT_FALSE(poContext->m_bInitialized);
    EXPECT_EQ(poContext->m_poServicesCore, nullptr);
    EXPECT_EQ(XContext::FindContextBySerialNumber("Unknown") == poContext, roCase.bListed);

    delete poContext;
    EXPECT_EQ(XContext::ms_pdapoContexts, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Parts, ContextConstructionTest,
                         ::testing::Values(SConstructionCase{"NoOsServices", false, true, 2, false},
                                           SConstructionCase{"NoHwAccess", true, false, 2, false},
                                           SConstructionCase{"NoTraceManager", true, true, 0, true},
                                           SConstructionCase{"InvalidTraceManager", true, true, 1, true}),
                         [](const auto& roInfo) { return std::string(roInfo.param.pszName); });

// ---- Registries.

TEST_F(ContextTest, DeviceRegisteredTwiceIsRefusedAndKeptOnce)
{
    CLoggingDev* poDevice = AddDevice("A");
    EXPECT_TRUE(Asserts([&] { EXPECT_EQ(m_poContext->RegisterDevice(poDevice), -1); }));
    EXPECT_EQ(m_poContext->RegisterDevice(nullptr), -2);
    EXPECT_EQ(m_poContext->m_dapoXDev.GetSize(), 1);
    EXPECT_EQ(m_poContext->m_dapoRegistredObject.GetSize(), 1);
}

TEST_F(ContextTest, DeviceConstructedInvalidIsRegisteredTracedAndDestroyedByTheContext)
{
    CLoggingDev* poDevice = new CLoggingDev(m_asLog, "broken", XDev::TYPE_EEPROM);
    poDevice->m_bInitialized = FALSE;
    EXPECT_EQ(m_poContext->RegisterDevice(poDevice), -1);
    EXPECT_EQ(m_poContext->GetXDevice(XDev::TYPE_EEPROM, 0), poDevice);

    ASSERT_EQ(m_poTraces->m_aoRecords.size(), 1u);
    const auto& roRecord = m_poTraces->m_aoRecords[0];
    EXPECT_EQ(roRecord.oTrace.GetTag(), XContext::msc_uiTagRegisterDevice);
    EXPECT_EQ(roRecord.oTrace.GetArg(0), 1u);
    EXPECT_EQ(roRecord.oTrace.GetArg(1), static_cast<MUINT64>(XDev::TYPE_EEPROM));
    EXPECT_EQ(roRecord.iStatus, -1);

    delete m_poContext;
    m_poContext = nullptr;
    EXPECT_EQ(m_asLog, CEventLog{"delete broken"});
}

TEST_F(ContextTest, DevicesAreFoundByTypeInRegistrationOrder)
{
    XDev* poEeprom0 = AddDevice("E0", XDev::TYPE_EEPROM);
    XDev* poGeneric = AddDevice("G", XDev::TYPE_GENERIC);
    XDev* poEeprom1 = AddDevice("E1", XDev::TYPE_EEPROM);

    struct SCase
    {
        XDev::EType eType;
        MUINT32 uiIndex;
        XDev* poExpected;
    };
    for (const SCase& roCase : {SCase{XDev::TYPE_EEPROM, 0, poEeprom0}, SCase{XDev::TYPE_EEPROM, 1, poEeprom1},
                                SCase{XDev::TYPE_EEPROM, 2, nullptr}, SCase{XDev::TYPE_GENERIC, 0, poGeneric},
                                SCase{XDev::TYPE_CORE_INIT, 0, nullptr}})
        EXPECT_EQ(m_poContext->GetXDevice(roCase.eType, roCase.uiIndex), roCase.poExpected)
            << roCase.eType << "/" << roCase.uiIndex;
    EXPECT_EQ(m_poContext->GetXDeviceCount(XDev::TYPE_EEPROM), 2u);
    EXPECT_EQ(m_poContext->GetXDeviceCount(XDev::TYPE_CORE_INIT), 0u);
    EXPECT_EQ(m_poContext->GetXDevice(2), poEeprom1);

    CaptureStdout();   // the device container reports the index, not the context
    EXPECT_EQ(m_poContext->GetXDevice(3), nullptr);
    EXPECT_NE(GetCapturedStdout().find("Assertion failed"), std::string::npos);
}

TEST_F(ContextTest, SingleSlotsAndTheServicesRefuseASecondOccupant)
{
    CScriptedCoreInit* poCore = AddCore(0);
    EXPECT_EQ(m_poContext->GetInitDevice(), poCore);
    EXPECT_EQ(m_poContext->SetInitDevice(poCore), -1);
    EXPECT_EQ(m_poContext->SetInitDevice(nullptr), -1);

    EXPECT_EQ(m_poContext->RegisterBoard(nullptr), -2);
    XBoard oBoard;
    EXPECT_TRUE(Asserts([&] { EXPECT_EQ(m_poContext->RegisterBoard(&oBoard), -1); }));

    // Device services: all three at once, once.
    EXPECT_TRUE(Asserts([&] { EXPECT_EQ(m_poContext->RegisterDeviceServices(nullptr, nullptr, nullptr), -2); }));

    AddServices();
    XBufferMgrDummy oBuffers(&m_oOs, m_poHw);
    XInterruptMgrDummy oInterrupts(&m_oOs, m_poHw, &oBuffers);
    XCounterMgrDummy oCounters(&m_oOs, m_poHw, &oInterrupts);
    EXPECT_TRUE(
        Asserts([&] { EXPECT_EQ(m_poContext->RegisterDeviceServices(&oBuffers, &oCounters, &oInterrupts), -1); }));
    EXPECT_NE(m_poContext->m_poBufferMgr, &oBuffers);
}

TEST_F(ContextTest, RegisteredObjectsAreDestroyedLastRegisteredFirst)
{
    AddDevice("A");
    AddDevice("B");
    AddDevice("C");
    delete m_poContext;
    m_poContext = nullptr;
    EXPECT_EQ(m_asLog, (CEventLog{"delete C", "delete B", "delete A"}));
}

// ---- Dependency-ordered reset.

struct SResetCase
{
    const char* pszName;
    std::vector<std::string> asDevices;                               // registration order
    std::vector<std::pair<std::string, std::string>> aoResetBefore;   // (device, must be reset before it)
    std::vector<std::string> asExpected;
};
void PrintTo(const SResetCase& ro, std::ostream* po) { *po << ro.pszName; }

class ResetOrderTest : public ContextTest, public ::testing::WithParamInterface<SResetCase>
{
};

TEST_P(ResetOrderTest, EachDeviceIsResetOnceAfterItsDependencies)
{
    const SResetCase& roCase = GetParam();
    std::map<std::string, CLoggingDev*> oDevices;
    for (const std::string& rsName : roCase.asDevices)
        oDevices[rsName] = AddDevice(rsName);
    for (const auto& roEdge : roCase.aoResetBefore)
        oDevices[roEdge.first]->m_dapoResetBefore.Add(oDevices[roEdge.second]);

    EXPECT_EQ(m_poContext->ResetDevices(1), 0);
    EXPECT_EQ(Resets(m_asLog), roCase.asExpected);
}

INSTANTIATE_TEST_SUITE_P(
    Graphs, ResetOrderTest,
    ::testing::Values(SResetCase{"RegistrationOrder", {"A", "B", "C"}, {}, {"A", "B", "C"}},
                      SResetCase{"DependencyRegisteredLater", {"A", "B", "C"}, {{"A", "C"}}, {"C", "A", "B"}},
                      SResetCase{"Chain", {"A", "B", "C"}, {{"A", "B"}, {"B", "C"}}, {"C", "B", "A"}},
                      SResetCase{"SharedDependency", {"A", "B", "C"}, {{"A", "C"}, {"B", "C"}}, {"C", "A", "B"}},
                      SResetCase{"Diamond",
                                 {"A", "B", "C", "D"},
                                 {{"A", "B"}, {"A", "C"}, {"B", "D"}, {"C", "D"}},
                                 {"D", "B", "C", "A"}}),
    [](const auto& roInfo) { return std::string(roInfo.param.pszName); });

// ---- Start sequence.

struct SInitCase
{
    const char* pszName;
    LStatus iCoreResult;
    bool bEnabledBefore;
    LStatus iExpected;
    bool bEnabledAfter;
    bool bDevicesReset;
};
void PrintTo(const SInitCase& ro, std::ostream* po) { *po << ro.pszName; }

class InitializeHardwareTest : public ContextTest, public ::testing::WithParamInterface<SInitCase>
{
};

TEST_P(InitializeHardwareTest, InterruptsAreOnAgainOnlyAfterASuccessfulCore)
{
    const SInitCase& roCase = GetParam();
    AddServices();
    AddCore(roCase.iCoreResult);
    AddDevice("A");
    XInterruptMgr& roInterrupts = *m_poContext->m_poInterruptMgr;
    if (roCase.bEnabledBefore)
        roInterrupts.Enable();

    EXPECT_EQ(m_poContext->InitializeHardware(), roCase.iExpected);
    EXPECT_EQ(roInterrupts.m_bIsEnabled != 0, roCase.bEnabledAfter);
    EXPECT_EQ(!Resets(m_asLog).empty(), roCase.bDevicesReset);
    EXPECT_EQ(m_poContext->m_poXBoard->IsMemoryInitialized() != 0, roCase.iExpected >= 0);
}

INSTANTIATE_TEST_SUITE_P(
    CoreResults, InitializeHardwareTest,
    ::testing::Values(SInitCase{"InitialisedNow", 0, false, 0, true, true},
                      SInitCase{"AlreadyInitialisedWhileEnabled", 1, true, 1, true, true},
                      SInitCase{"FailureWhileEnabled", -1, true, -1, false, false},
                      SInitCase{"StrapProblem", -10, false, -10, false, false}),
    [](const auto& roInfo) { return std::string(roInfo.param.pszName); });

TEST_F(ContextTest, CoreRunsAfterTheMemoryCubeFreesItsDataAndBeforeTheBuffersForget)
{
    AddServices();
    m_poContext->RegisterDevice(new CLoggingHmc(m_asLog));
    AddCore(0);
    EXPECT_EQ(m_poContext->InitializeCore(), 0);
    EXPECT_EQ(m_asLog, (CEventLog{"hmc free 1", "init core", "buffers reset"}));
}

TEST_F(ContextTest, NoCoreDeviceFailsAndLeavesInterruptsOff)
{
    AddServices();
    m_poContext->m_poInterruptMgr->Enable();
    EXPECT_EQ(m_poContext->InitializeHardware(), -1);
    EXPECT_FALSE(m_poContext->m_poInterruptMgr->m_bIsEnabled);
    EXPECT_EQ(m_poContext->ClearInitializeCore(), -1);
}

TEST_F(ContextTest, FailedDeviceResetIsReportedAndChangesNothingElse)
{
    AddCore(1);
    AddDevice("A")->m_iResetResult = -3;
    AddDevice("B");
    EXPECT_TRUE(Asserts([&] { EXPECT_EQ(m_poContext->InitializeHardware(), 1); }));
    EXPECT_EQ(Resets(m_asLog), (std::vector<std::string>{"A", "B"}));
}

TEST_F(ContextTest, ClearingSetsTheBoardFlagFromTheCoreAnswer)
{
    CScriptedCoreInit* poCore = AddCore(0);
    struct SCase
    {
        LStatus iClear;
        bool bFlagBefore;
        bool bFlagAfter;
    };
    for (const SCase& roCase : {SCase{0, true, false}, SCase{-1, false, true}})
    {
        poCore->m_iClearResult = roCase.iClear;
        m_poContext->m_poXBoard->SetMemoryInitialization(roCase.bFlagBefore);
        EXPECT_EQ(m_poContext->ClearInitializeCore(), roCase.iClear);
        EXPECT_EQ(m_poContext->m_poXBoard->IsMemoryInitialized() != 0, roCase.bFlagAfter) << roCase.iClear;
    }
}

// ---- Time-per-interrupt software interrupt.

TEST_F(ContextTest, SoftwareInterruptRecordsTheReferenceCount)
{
    MUINT64 uiTick = 0;
    EXPECT_EQ(m_poContext->GetTickPerIrq(0, uiTick), -1);   // no counter manager yet

    CFixedRefCnt* poRefCnt = new CFixedRefCnt(1234);
    m_poContext->SetRefCntDevice(poRefCnt);
    AddServices(poRefCnt);
    XInterruptMgr& roInterrupts = *m_poContext->m_poInterruptMgr;
    EXPECT_EQ(roInterrupts.Enable(), 1);   // the context's handler is armed

    EXPECT_EQ(m_poContext->GetTickPerIrq(0, uiTick), -3);
    EXPECT_EQ(roInterrupts.Dispatch(INTTYPE_SOFTWARE, XContext::msc_uiTimePerIrqNumber), 1u);
    EXPECT_EQ(m_poContext->GetTickPerIrq(1000, uiTick), 0);
    EXPECT_EQ(uiTick, 1234u);
}
