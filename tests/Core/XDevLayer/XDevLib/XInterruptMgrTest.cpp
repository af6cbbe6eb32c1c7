// The interrupt manager's switch: Enable and Disable with their results and the handlers each
// client wants armed. The tool's algorithm never refuses to arm or disarm.
#include <gtest/gtest.h>

#include <string>

#include "OsServices.h"
#include "XInterruptHandler.h"
#include "XInterruptMgr.h"

namespace
{
// Interrupt algorithm that logs what it arms ("+1") and disarms ("-1").
class CScriptedAlgo : public XInterruptAlgo
{
public:
    LStatus Init() override { return 0; }
    LStatus HandleInterrupt() override { return 1; }
    LStatus EnableInterrupt(EInterruptType, MUINT32 uiNumber) override
    {
        m_sLog += "+" + std::to_string(uiNumber);
        return 1;
    }
    LStatus DisableInterrupt(EInterruptType, MUINT32 uiNumber) override
    {
        m_sLog += "-" + std::to_string(uiNumber);
        return 1;
    }
    MUINT32 GetNbOfInterrupt(EInterruptType) override { return 0; }

    std::string m_sLog;
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
