// The interrupt manager's switch: Enable and Disable with their results and the handlers each
// client wants armed.
#include <gtest/gtest.h>

#include <string>

#include "OsServices.h"
#include "XInterruptHandler.h"
#include "XInterruptMgr.h"

namespace
{
// Interrupt algorithm that logs what it arms ("+1") and disarms ("-1") and answers as told.
class CScriptedAlgo : public XInterruptAlgo
{
public:
    LStatus Init() override { return 0; }
    LStatus HandleInterrupt() override { return 1; }
    LStatus EnableInterrupt(EInterruptType, MUINT32 uiNumber) override
    {
        m_sLog += "+" + std::to_string(uiNumber);
        return m_iEnableResult;
    }
    LStatus DisableInterrupt(EInterruptType, MUINT32 uiNumber) override
    {
        m_sLog += "-" + std::to_string(uiNumber);
        return m_iDisableResult;
    }
    MUINT32 GetNbOfInterrupt(EInterruptType) override { return 0; }

    std::string m_sLog;
    LStatus m_iEnableResult = 1;
    LStatus m_iDisableResult = 1;
};

int Ignore(XInterruptHandler*)
{
    return 0;
}

// Two registered handlers; only the first is wanted, and armed later, by Enable.
class InterruptMgrTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(m_oMgr.AddHandler(&m_oFirst), 0);
        ASSERT_EQ(m_oMgr.AddHandler(&m_oSecond), 0);
        ASSERT_EQ(m_oMgr.EnableHandler(&m_oFirst), 0);
    }

    OsServices m_oOs;
    CScriptedAlgo* m_poAlgo = new CScriptedAlgo;   // owned by the manager
    XInterruptMgr m_oMgr{&m_oOs, nullptr, nullptr, m_poAlgo, FALSE};
    XInterruptHandler m_oFirst{Ignore, nullptr, INTTYPE_SOFTWARE, 1};
    XInterruptHandler m_oSecond{Ignore, nullptr, INTTYPE_SOFTWARE, 2};
};
}  // namespace

// Enable arms the wanted handlers only; a second Enable switches off. Switching off and on again
// keeps what each client wants; a client that disabled its own handler stays off, and with no
// wanted handler the switch still moves but says -1.
TEST_F(InterruptMgrTest, SwitchArmsWhatEachClientWants)
{
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_EQ(m_oMgr.Enable(), -1);
    EXPECT_FALSE(m_oMgr.m_bIsEnabled);
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_EQ(m_oMgr.Disable(), 1);
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_EQ(m_poAlgo->m_sLog, "+1+1-1+1");

    EXPECT_EQ(m_oMgr.DisableHandler(&m_oFirst), 1);
    EXPECT_EQ(m_oMgr.Disable(), -1);
    EXPECT_FALSE(m_oMgr.m_bIsEnabled);
    EXPECT_EQ(m_oMgr.Enable(), -1);
    EXPECT_TRUE(m_oMgr.m_bIsEnabled);
    EXPECT_EQ(m_poAlgo->m_sLog, "+1+1-1+1-1");
}

// A handler the algorithm refuses to arm or disarm: the switch reports the algorithm's status and
// stays where it was.
TEST_F(InterruptMgrTest, RefusedHandlerLeavesTheSwitchWhereItWas)
{
    m_poAlgo->m_iEnableResult = -5;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(m_oMgr.Enable(), -5);
    EXPECT_FALSE(m_oMgr.m_bIsEnabled);
    m_poAlgo->m_iEnableResult = 1;
    m_poAlgo->m_iDisableResult = -7;
    EXPECT_EQ(m_oMgr.Enable(), 1);
    EXPECT_EQ(m_oMgr.Disable(), -7);
    EXPECT_TRUE(m_oMgr.m_bIsEnabled);
    const std::string sOut = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(sOut.find("Assertion failed"), sOut.rfind("Assertion failed")) << "both refusals reported";
}
