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
    void SetUp() override { FakeQelVxdReset(); }
    void TearDown() override
    {
        OsServices::SetTestMode(0);
        OsServices::SetMsgLevel(1, 1, 0);
    }
};

struct SWaitCase
{
    MUINT32 uiMicroSeconds;
    std::vector<MUINT32> oDelays;
    std::vector<MUINT32> oSleeps;
};

using WaitTest = PlatformTest;

TEST_F(WaitTest, ShortWaitsSpinLongOnesSleep)
{
    const SWaitCase aoCases[] = {
        {0, {}, {}}, {1, {1}, {}}, {100000, {100000}, {}}, {100001, {}, {100000}}, {250999, {}, {250000}}};
    for (const SWaitCase& roCase : aoCases)
    {
        FakeQelVxdReset();
        EXPECT_EQ(OsServices::WaitMicroSeconds(roCase.uiMicroSeconds), 1u);
        EXPECT_EQ(g_oFakeQelVxd.oDelays, roCase.oDelays) << roCase.uiMicroSeconds;
        EXPECT_EQ(g_oFakeQelVxd.oSleeps, roCase.oSleeps) << roCase.uiMicroSeconds;
    }
}

TEST_F(WaitTest, SleepPathIsAnnouncedOnlyAtDebugLevel)
{
    const std::string oLine = "hb4(0.2.3.2)[0]: (Debug) OsServices::WaitMicroSeconds(100001) with delay greater than 100000 us "
                              "isn't reliable, using SleepMilliSeconds(100) command instead)\n";
    const std::vector<std::pair<MBOOL32, std::string>> aoCases = {{0, ""}, {1, oLine}};
    for (const auto& [bDebug, roExpected] : aoCases)
    {
        OsServices::SetMsgLevel(1, 1, bDebug);
        CaptureStdout();
        OsServices::WaitMicroSeconds(100001);
        OsServices::WaitMicroSeconds(100000);
        fflush(stdout);
        EXPECT_EQ(GetCapturedStdout(), roExpected);
    }
}

TEST_F(WaitTest, SleepMilliSecondsPassesMicrosecondsAndItsResult)
{
    EXPECT_EQ(OsServices::SleepMilliSeconds(5), 1u);
    EXPECT_EQ(OsServices::SleepMilliSeconds(4294968), 1u);   // the product wraps in 32 bits
    g_oFakeQelVxd.iSleepResult = 0;
    EXPECT_EQ(OsServices::SleepMilliSeconds(1), 0u);
    EXPECT_EQ(g_oFakeQelVxd.oSleeps, (std::vector<MUINT32>{5000, 704, 1000}));
}

using InstanceTest = PlatformTest;

TEST_F(InstanceTest, FirstInstanceStartsTheLibraryAndLastStopsIt)
{
    {
        OsServices oFirst;
        OsServices oSecond;
        EXPECT_TRUE(oFirst.IsInitialized() && oSecond.IsInitialized());
        EXPECT_EQ(OsServices::ms_uiInstanceCount, 2u);
        EXPECT_EQ(g_oFakeQelVxd.iInitCalls, 1);
    }
    EXPECT_EQ(OsServices::ms_uiInstanceCount, 0u);
    EXPECT_EQ(g_oFakeQelVxd.iReleaseCalls, 1);
}

TEST_F(InstanceTest, TestModeSkipsTheStartButNotTheStop)
{
    OsServices::SetTestMode(1);
    {
        OsServices oServices;
        EXPECT_TRUE(oServices.IsInitialized());
        EXPECT_EQ(OsServices::ms_uiInstanceCount, 1u);
    }
    EXPECT_EQ(g_oFakeQelVxd.iInitCalls, 0);
    EXPECT_EQ(g_oFakeQelVxd.iReleaseCalls, 1);
}

TEST_F(InstanceTest, FailedStartIsReportedAndNotCounted)
{
    g_oFakeQelVxd.iInitResult = 0;
    CaptureStdout();
    {
        OsServices oServices;
        EXPECT_FALSE(oServices.IsInitialized());
        EXPECT_EQ(OsServices::ms_uiInstanceCount, 0u);
    }
    EXPECT_EQ(GetCapturedStdout(), "hb4(0.2.3.2)[0]: (Error) OsServices.cpp(85) Assertion failed\n");
    EXPECT_EQ(g_oFakeQelVxd.iReleaseCalls, 0);

    g_oFakeQelVxd.iInitResult = 1;   // the next instance tries again
    OsServices oServices;
    EXPECT_TRUE(oServices.IsInitialized());
    EXPECT_EQ(OsServices::ms_uiInstanceCount, 1u);
}

struct SMapCase
{
    MBOOL32 bCacheable;
    MEMHANDLE hUncached, hCacheable, hExpected;
    std::vector<MUINT32> oFlagsTried;
};

using MapTest = PlatformTest;

TEST_F(MapTest, CacheableMappingFallsBackToUncached)
{
    const SMapCase aoCases[] = {
        {0, 0x1000, 0x2000, 0x1000, {0}},
        {1, 0x1000, 0x2000, 0x2000, {1}},
        {1, 0x1000, 0, 0x1000, {1, 0}},
        {1, 0, 0, 0, {1, 0}},
    };
    OsServices::SetTestMode(1);
    OsServices oServices;
    for (const SMapCase& roCase : aoCases)
    {
        FakeQelVxdReset();
        g_oFakeQelVxd.ahMapResult[0] = roCase.hUncached;
        g_oFakeQelVxd.ahMapResult[1] = roCase.hCacheable;
        EXPECT_EQ(oServices.IoMap(0x1F0001000ULL, 0x4000, roCase.bCacheable), roCase.hExpected);
        std::vector<SFakeMapCall> oExpected;
        for (MUINT32 uiFlags : roCase.oFlagsTried)
            oExpected.push_back({0x1F0001000ULL, 0x4000, uiFlags});
        EXPECT_EQ(g_oFakeQelVxd.oMaps, oExpected);
    }
    g_oFakeQelVxd.iUnmapResult = 0;
    EXPECT_EQ(oServices.IoUnMap(0x2000, 0x4000), 0u);
    EXPECT_EQ(g_oFakeQelVxd.oUnmaps, std::vector<MEMHANDLE>{0x2000});
}

// A host that creates and triggers events and signals itself.
class CFakeHost : public IOsServices
{
public:
    MUINT8 GetIrql() override { return 5; }
    MBOOL32 Event_Create(SHEvent& rhEvent) override { rhEvent = reinterpret_cast<SHEvent>(this); return 1; }
    MBOOL32 Event_Trigger(SHEvent) override { return ++m_iTriggers, 1; }
    MBOOL32 Signal_Create(SHSignal& rhSignal) override { rhSignal = reinterpret_cast<SHSignal>(this); return 1; }
    int m_iTriggers = 0;
};

using WrapperTest = PlatformTest;

TEST_F(WrapperTest, HandlesAreAllocatedBuiltAndFreed)
{
    OsServices::SetTestMode(1);
    OsServices oServices;
    SHMutex hMutex = nullptr;
    SHEvent hEvent = nullptr;
    SHCpuThread hThread = nullptr;
    ASSERT_TRUE(oServices.Mutex_Create(hMutex) && oServices.Event_Create(hEvent));
    oServices.Mutex_Acquire(hMutex, 0xFFFFFFFF);
    auto pfnThread = [](void* pvEvent) -> void* {
        OsServices oThreadServices;
        oThreadServices.Event_Trigger(static_cast<SHEvent>(pvEvent));
        return nullptr;
    };
    ASSERT_TRUE(oServices.CpuThread_Create(pfnThread, hEvent, hThread));
    EXPECT_EQ(oServices.Event_Wait(hEvent, 30000), 0);
    oServices.CpuThread_Join(hThread);
    oServices.Mutex_Release(hMutex);
    EXPECT_TRUE(oServices.CpuThread_Destroy(hThread) && oServices.Mutex_Destroy(hMutex) && oServices.Event_Destroy(hEvent));
    EXPECT_TRUE(hThread == nullptr && hMutex == nullptr && hEvent == nullptr);
}

TEST_F(WrapperTest, HostCreatesEventsAndSignalsAndTriggersEvents)
{
    OsServices::SetTestMode(1);
    CFakeHost oHost;
    OsServices oServices(&oHost);
    SHEvent hEvent = nullptr;
    SHSignal hSignal = nullptr;
    EXPECT_EQ(oServices.m_uiIrql, 5);
    EXPECT_TRUE(oServices.Event_Create(hEvent) && oServices.Signal_Create(hSignal) && oServices.Event_Trigger(hEvent));
    EXPECT_EQ(hEvent, reinterpret_cast<SHEvent>(&oHost));
    EXPECT_EQ(hSignal, reinterpret_cast<SHSignal>(&oHost));
    EXPECT_EQ(oHost.m_iTriggers, 1);
}

TEST(Random, StepsItsStateAndSeedsItselfWhenZero)
{
    const std::pair<MUINT32, MUINT32> aoSteps[] = {
        {1, 0x80000002}, {2, 5}, {0x80000000, 0x40000000}, {0xFFFFFFFF, 0xFFFFFFFF}, {0x12345678, 0x12345678 + (0x091A2B3C ^ 0x12345678)}};
    for (const auto& [uiState, uiNext] : aoSteps)
    {
        OsServices::ms_uiOldRandomValue = uiState;
        EXPECT_EQ(OsServices::GetRandom(), uiNext) << std::hex << uiState;
        EXPECT_EQ(OsServices::ms_uiOldRandomValue, uiNext);
    }
    OsServices::ms_uiOldRandomValue = 0;
    MUINT32 uiFirst = OsServices::GetRandom();
    EXPECT_NE(OsServices::ms_uiOldRandomValue, 0u);
    EXPECT_EQ(OsServices::GetRandom(), uiFirst + ((uiFirst >> 1 | uiFirst << 31) ^ uiFirst));
}

TEST(Rounding, FloorAndCeilAroundZeroAndBeyondIntegers)
{
    struct SCase
    {
        double dValue, dFloor, dCeil;
    };
    const SCase aoCases[] = {{2.5, 2, 3},     {-2.5, -3, -2},     {-2.0, -2, -2},  {0.0, 0, 0},         {-0.25, -1, 0},
                             {-1e-300, -1, 0}, {3.0, 3, 3},        {1e20, 1e20, 1e20}, {-1e20, -1e20, -1e20}, {4503599627370495.5, 4503599627370495, 4503599627370496}};
    for (const SCase& roCase : aoCases)
    {
        EXPECT_EQ(OsServices::Floor(roCase.dValue), roCase.dFloor) << roCase.dValue;
        EXPECT_EQ(OsServices::Ceil(roCase.dValue), roCase.dCeil) << roCase.dValue;
    }
    EXPECT_EQ(OsServices::Fabs(-3.5), 3.5);
}

}  // namespace
