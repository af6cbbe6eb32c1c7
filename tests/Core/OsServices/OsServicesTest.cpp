#include "OsServices.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeQelVxd.h"

namespace
{

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

class PlatformTest : public ::testing::Test
{
protected:
    void SetUp() override { g_oFakeQelVxd = {}; }
    void TearDown() override { OsServices::SetTestMode(0); }
};

using WaitTest = PlatformTest;

TEST_F(WaitTest, ShortWaitsSpinLongOnesSleep)
{
    using Calls = std::vector<MUINT32>;
    const std::tuple<MUINT32, Calls, Calls> aoCases[] = {
        {0, {}, {}}, {1, {1}, {}}, {100000, {100000}, {}}, {100001, {}, {100000}}, {250999, {}, {250000}}};
    for (const auto& [uiMicroSeconds, roDelays, roSleeps] : aoCases)
    {
        g_oFakeQelVxd = {};
        EXPECT_EQ(OsServices::WaitMicroSeconds(uiMicroSeconds), 1u);
        EXPECT_EQ(g_oFakeQelVxd.oDelays, roDelays) << uiMicroSeconds;
        EXPECT_EQ(g_oFakeQelVxd.oSleeps, roSleeps) << uiMicroSeconds;
    }
}

using InstanceTest = PlatformTest;

TEST_F(InstanceTest, FirstInstanceStartsTheLibraryAndLastStopsIt)
{
    for (MBOOL32 bTestMode : {0, 1})
    {
        g_oFakeQelVxd = {};
        OsServices::SetTestMode(bTestMode);
        {
            OsServices oFirst, oSecond;
            EXPECT_TRUE(oFirst.IsInitialized() && oSecond.IsInitialized());
            EXPECT_EQ(OsServices::ms_uiInstanceCount, 2u);
        }
        EXPECT_EQ(OsServices::ms_uiInstanceCount, 0u);
        EXPECT_EQ(g_oFakeQelVxd.iInitCalls, bTestMode ? 0 : 1);   // test mode starts nothing...
        EXPECT_EQ(g_oFakeQelVxd.iReleaseCalls, 1);                 // ...but still stops
    }
}

TEST_F(InstanceTest, FailedStartIsReportedAndNotCounted)
{
    g_oFakeQelVxd.iInitResult = 0;
    CaptureStdout();
    {
        OsServices oServices;
        EXPECT_FALSE(oServices.IsInitialized());
    }
    EXPECT_EQ(GetCapturedStdout(), "hb4(0.2.3.2)[0]: (Error) OsServices.cpp(85) Assertion failed\n");
    EXPECT_EQ(g_oFakeQelVxd.iReleaseCalls, 0);
    g_oFakeQelVxd.iInitResult = 1;   // the next instance tries again
    OsServices oServices;
    EXPECT_EQ(OsServices::ms_uiInstanceCount, 1u);
    EXPECT_EQ(g_oFakeQelVxd.iInitCalls, 2);
}

}  // namespace
