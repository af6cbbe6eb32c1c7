// The device context over an in-memory board: registries, dependency-ordered reset, the start
// sequence with its interrupt handling, and teardown.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OsServices.h"
#include "XBoard.h"
#include "XBufferMgr.h"
#include "XContext.h"
#include "XCounterMgr.h"
#include "XDevCoreInit.h"
#include "XDevLibTestDoubles.h"
#include "XInterruptMgr.h"
#include "XTracesMgrStub.h"

namespace
{
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

// Log shared by the doubles of one test: "reset A 1", "delete A", ...
typedef std::vector<std::string> CEventLog;

// A device that logs its resets and its destruction.
class CLoggingDev : public XDev
{
public:
    CLoggingDev(CEventLog& roLog, const std::string& rsName, XDev::EType eType = XDev::TYPE_GENERIC)
        : XDev(eType), m_roLog(roLog), m_sName(rsName)
    {
    }
    ~CLoggingDev() override { m_roLog.push_back("delete " + m_sName); }
    LStatus Reset(int iMode) override
    {
        m_roLog.push_back("reset " + m_sName + " " + std::to_string(iMode));
        return m_iResetResult;
    }

    CEventLog& m_roLog;
    std::string m_sName;
    LStatus m_iResetResult = 0;
};

// Core-initialisation device whose results the test sets.
class CScriptedCoreInit : public XDevCoreInit
{
public:
    explicit CScriptedCoreInit(CEventLog& roLog) : XDevCoreInit(OPTION_INIT_ALL), m_roLog(roLog) {}
    LStatus ClearInitialized() override { return m_iClearResult; }
    MBOOL32 IsHardwareInitialize() override { return FALSE; }
    LStatus InitializeHardware() override
    {
        m_roLog.push_back("init core");
        return m_iInitResult;
    }
    MBOOL32 IsDriverRunning() const override { return FALSE; }

    CEventLog& m_roLog;
    LStatus m_iInitResult = 0;
    LStatus m_iClearResult = 0;
};

// Whether running fn made the context report a failed assertion.
template <class TFn>
bool Asserts(TFn&& rfn)
{
    CaptureStdout();
    rfn();
    const std::string sOut = GetCapturedStdout();
    return sOut.find("XContext.cpp(") != std::string::npos && sOut.find("Assertion failed") != std::string::npos;
}

class ContextTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_poHw = new CFakeHwAccess;
        m_poContext = new XContext(&m_oOs, m_poHw, new XTracesMgrStub);
        ASSERT_TRUE(m_poContext->m_bInitialized);
    }
    void TearDown() override { delete m_poContext; }

    CLoggingDev* AddDevice(const std::string& rsName, XDev::EType eType = XDev::TYPE_GENERIC)
    {
        CLoggingDev* poDevice = new CLoggingDev(m_asLog, rsName, eType);
        EXPECT_EQ(m_poContext->RegisterDevice(poDevice), 0);
        return poDevice;
    }

    // The managers the tool gives every board: dummies.
    void AddServices()
    {
        XBufferMgr* poBuffers = new XBufferMgrDummy(&m_oOs, m_poHw);
        XInterruptMgr* poInterrupts = new XInterruptMgrDummy(&m_oOs, m_poHw, poBuffers);
        XCounterMgr* poCounters = new XCounterMgrDummy(&m_oOs, m_poHw, poInterrupts);
        EXPECT_EQ(m_poContext->RegisterDeviceServices(poBuffers, poCounters, poInterrupts), 0);
    }

    CScriptedCoreInit* AddCore()
    {
        CScriptedCoreInit* poCore = new CScriptedCoreInit(m_asLog);
        EXPECT_EQ(m_poContext->RegisterDevice(poCore), 0);
        EXPECT_EQ(m_poContext->SetInitDevice(poCore), 0);
        return poCore;
    }

    CEventLog m_asLog;
    OsServices m_oOs;
    CFakeHwAccess* m_poHw = nullptr;
    XContext* m_poContext = nullptr;
};
}  // namespace

// ---- Registries.

// The context owns every device it is given, an invalid one included, once, and destroys them
// last registered first: a device may still use the ones registered before it.
TEST_F(ContextTest, DevicesAreOwnedOnceAndDestroyedLastRegisteredFirst)
{
    CLoggingDev* poFirst = AddDevice("A");
    EXPECT_TRUE(Asserts([&] { EXPECT_EQ(m_poContext->RegisterDevice(poFirst), -1); }));
    EXPECT_EQ(m_poContext->RegisterDevice(nullptr), -2);
    CLoggingDev* poBroken = new CLoggingDev(m_asLog, "broken", XDev::TYPE_EEPROM);
    poBroken->m_bInitialized = FALSE;
    EXPECT_EQ(m_poContext->RegisterDevice(poBroken), -1);
    EXPECT_EQ(m_poContext->GetXDevice(XDev::TYPE_EEPROM, 0), poBroken);
    AddDevice("C");

    delete m_poContext;
    m_poContext = nullptr;
    EXPECT_EQ(m_asLog, (CEventLog{"delete C", "delete broken", "delete A"}));
}

TEST_F(ContextTest, LookupsPastTheRegistryFindNothing)
{
    AddDevice("E0", XDev::TYPE_EEPROM);
    AddDevice("G");
    XDev* poEeprom1 = AddDevice("E1", XDev::TYPE_EEPROM);
    EXPECT_EQ(m_poContext->GetXDevice(XDev::TYPE_EEPROM, 1), poEeprom1);
    EXPECT_EQ(m_poContext->GetXDevice(XDev::TYPE_EEPROM, 2), nullptr);
    EXPECT_EQ(m_poContext->GetXDevice(XDev::TYPE_CORE_INIT, 0), nullptr);
    CaptureStdout();   // the device container reports the index, not the context
    EXPECT_EQ(m_poContext->GetXDevice(3), nullptr);
    EXPECT_NE(GetCapturedStdout().find("Assertion failed"), std::string::npos);
}

// ---- Dependency-ordered reset.

// Each device is reset once, after the devices it must follow, whichever was registered first;
// the others in registration order. A failed reset is reported and the others still run.
TEST_F(ContextTest, EachDeviceIsResetOnceAfterItsDependencies)
{
    AddDevice("E");
    CLoggingDev* poA = AddDevice("A");
    CLoggingDev* poB = AddDevice("B");
    CLoggingDev* poC = AddDevice("C");
    CLoggingDev* poD = AddDevice("D");
    poA->m_dapoResetBefore.Add(poB);
    poA->m_dapoResetBefore.Add(poC);
    poB->m_dapoResetBefore.Add(poD);
    poC->m_dapoResetBefore.Add(poD);
    poD->m_iResetResult = -3;

    EXPECT_TRUE(Asserts([&] { EXPECT_EQ(m_poContext->ResetDevices(1), 0); }));
    EXPECT_EQ(m_asLog, (CEventLog{"reset E 1", "reset D 1", "reset B 1", "reset C 1", "reset A 1"}));
}

// ---- Start sequence.

// Interrupts are off while the core runs and on again only after it succeeded; only then are the
// devices reset.
TEST_F(ContextTest, InterruptsAreOnAgainOnlyAfterASuccessfulCore)
{
    AddServices();
    CScriptedCoreInit* poCore = AddCore();
    AddDevice("A");
    XInterruptMgr& roInterrupts = *m_poContext->m_poInterruptMgr;

    poCore->m_iInitResult = -10;
    roInterrupts.Enable();
    EXPECT_EQ(m_poContext->InitializeHardware(), -10);
    EXPECT_FALSE(roInterrupts.m_bIsEnabled);
    EXPECT_FALSE(m_poContext->m_poXBoard->IsMemoryInitialized());
    EXPECT_EQ(m_asLog, (CEventLog{"init core"}));

    poCore->m_iInitResult = 1;   // already initialised
    m_asLog.clear();
    roInterrupts.Enable();
    EXPECT_EQ(m_poContext->InitializeHardware(), 1);
    EXPECT_TRUE(roInterrupts.m_bIsEnabled);
    EXPECT_TRUE(m_poContext->m_poXBoard->IsMemoryInitialized());
    EXPECT_EQ(m_asLog, (CEventLog{"init core", "reset A 1"}));
}

// Any non-zero answer of the core, "it was not set" included, sets the board's flag.
TEST_F(ContextTest, ClearingSetsTheBoardFlagFromTheCoreAnswer)
{
    CScriptedCoreInit* poCore = AddCore();
    XBoard& roBoard = *m_poContext->m_poXBoard;
    roBoard.SetMemoryInitialization(TRUE);
    EXPECT_EQ(m_poContext->ClearInitializeCore(), 0);
    EXPECT_FALSE(roBoard.IsMemoryInitialized());
    poCore->m_iClearResult = -1;
    EXPECT_EQ(m_poContext->ClearInitializeCore(), -1);
    EXPECT_TRUE(roBoard.IsMemoryInitialized());
}
