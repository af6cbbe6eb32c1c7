// The interrupt manager's switch: Enable and Disable with their results, handler bookkeeping,
// and the deferred-procedure thread.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "OsServices.h"
#include "XDevLibTestDoubles.h"
#include "XInterruptHandler.h"
#include "XInterruptMgr.h"

namespace
{
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

int CountCall(XInterruptHandler* poHandler)
{
    ++*static_cast<int*>(poHandler->m_pvUserData);
    return 0;
}

class InterruptMgrTest : public ::testing::Test
{
protected:
    InterruptMgrTest()
        : m_poAlgo(new CScriptedAlgo),
          m_oMgr(&m_oOs, nullptr, nullptr, m_poAlgo, FALSE),
          m_oFirst(CountCall, &m_iCalls, INTTYPE_SOFTWARE, 1),
          m_oSecond(CountCall, &m_iCalls, INTTYPE_SOFTWARE, 2)
    {
    }

    // Registers both handlers; only the first is wanted.
    void AddHandlers()
    {
        ASSERT_EQ(m_oMgr.AddHandler(&m_oFirst), 0);
        ASSERT_EQ(m_oMgr.AddHandler(&m_oSecond), 0);
        ASSERT_EQ(m_oMgr.EnableHandler(&m_oFirst), 0);   // armed later, by Enable
    }

    OsServices m_oOs;
    CScriptedAlgo* m_poAlgo;   // owned by the manager
    XInterruptMgr m_oMgr;
    int m_iCalls = 0;
    XInterruptHandler m_oFirst;
    XInterruptHandler m_oSecond;
};
}  // namespace

TEST_F(InterruptMgrTest, EnableArmsWantedHandlersAndASecondEnableSwitchesOff)
{
    AddHandlers();
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_TRUE(m_oMgr.m_bIsEnabled);
    EXPECT_EQ(m_poAlgo->m_auiArmed, std::vector<MUINT32>{1});

    EXPECT_EQ(m_oMgr.Enable(), -1);
    EXPECT_FALSE(m_oMgr.m_bIsEnabled);
}

TEST_F(InterruptMgrTest, WithoutWantedHandlerEnableAndDisableSwitchButSayMinusOne)
{
    m_oMgr.AddHandler(&m_oSecond);   // registered, never wanted
    EXPECT_EQ(m_oMgr.Enable(), -1);
    EXPECT_TRUE(m_oMgr.m_bIsEnabled);
    EXPECT_EQ(m_oMgr.Disable(), -1);
    EXPECT_FALSE(m_oMgr.m_bIsEnabled);
    EXPECT_TRUE(m_poAlgo->m_auiArmed.empty());
}

// A handler the algorithm refuses to arm or disarm: the switch reports the algorithm's status and
// stays where it was.
TEST_F(InterruptMgrTest, RefusedHandlerLeavesTheSwitchWhereItWas)
{
    AddHandlers();
    m_poAlgo->m_iEnableResult = -5;
    CaptureStdout();
    EXPECT_EQ(m_oMgr.Enable(), -5);
    EXPECT_FALSE(m_oMgr.m_bIsEnabled);
    m_poAlgo->m_iEnableResult = 1;
    m_poAlgo->m_iDisableResult = -7;
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_EQ(m_oMgr.Disable(), -7);
    EXPECT_TRUE(m_oMgr.m_bIsEnabled);
    const std::string sOut = GetCapturedStdout();
    EXPECT_NE(sOut.find("Assertion failed"), sOut.rfind("Assertion failed")) << "both refusals reported";
}

TEST_F(InterruptMgrTest, OffAndOnAgainKeepsWhatEachClientWants)
{
    AddHandlers();
    m_oMgr.Enable();
    EXPECT_EQ(m_oMgr.Disable(), 1);
    EXPECT_EQ(m_poAlgo->m_auiDisarmed, std::vector<MUINT32>{1});
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_EQ(m_poAlgo->m_auiArmed, (std::vector<MUINT32>{1, 1}));

    // A client that disables its own handler stays off through the next switch.
    EXPECT_EQ(m_oMgr.DisableHandler(&m_oFirst), 1);
    m_oMgr.Disable();
    EXPECT_EQ(m_oMgr.Enable(), -1);
    EXPECT_EQ(m_poAlgo->m_auiArmed.size(), 2u);
}

TEST(InterruptMgrThreadTest, DeferredProcedureThreadRunsBetweenEnableAndDisable)
{
    OsServices oOs;
    CScriptedAlgo* poAlgo = new CScriptedAlgo;
    XInterruptMgr oMgr(&oOs, nullptr, nullptr, poAlgo, TRUE);
    EXPECT_EQ(oMgr.QueueDpc(), -1);

    oMgr.Enable();
    EXPECT_EQ(oMgr.QueueDpc(), 0);
    for (int i = 0; i < 1000 && poAlgo->m_uiHandled == 0; i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(poAlgo->m_uiHandled, 1u);

    oMgr.Disable();
    EXPECT_EQ(oMgr.QueueDpc(), -1);

    // Destroying a manager whose thread runs stops the thread first.
    oMgr.Enable();
}
