#include "OsServicesClient_Linux.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace
{

// Long enough never to expire on a loaded machine; its 999 ms part also makes the deadline's
// nanosecond sum pass one second whenever the clock is past the first millisecond of a second.
constexpr MUINT32 kuiLongWaitMs = 29999;
constexpr MUINT32 kuiShortWaitMs = 20;
constexpr MINT32 kiPending = 1;

// A thread running one blocking call, whose result is kept.
class CWaiter
{
public:
    explicit CWaiter(std::function<MINT32()> fnCall) : m_oThread([this, fnCall] { m_iTid = gettid(), m_iResult = fnCall(); }) {}
    ~CWaiter() { Join(); }
    MINT32 Join()
    {
        if (m_oThread.joinable())
            m_oThread.join();
        return m_iResult;
    }
    // Until the thread sleeps in the kernel, that is blocks in the call (or has returned).
    void WaitUntilBlocked() { PollFor([this] { return m_iTid != 0 && IsSleeping(); }); }
    // Whether the call returns within a span far longer than a wake-up takes on a loaded machine.
    bool FinishesSoon() { return PollFor([] { return false; }); }

private:
    template <typename FCondition>
    bool PollFor(FCondition fnCondition)
    {
        for (int i = 0; i < 10000 && m_iResult == kiPending && !fnCondition(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return m_iResult != kiPending;
    }
    bool IsSleeping() const
    {
        std::ifstream oStat("/proc/self/task/" + std::to_string(m_iTid) + "/stat");
        std::string oLine;
        std::getline(oStat, oLine);
        size_t uiEnd = oLine.rfind(')');
        return uiEnd != std::string::npos && uiEnd + 2 < oLine.size() && oLine[uiEnd + 2] == 'S';
    }

    std::atomic<pid_t> m_iTid{0};
    std::atomic<MINT32> m_iResult{kiPending};
    std::thread m_oThread;
};

// Handle memory as the OsServices object allocates it.
template <typename THandle, typename FCreate>
THandle NewHandle(MUINT32 uiSize, FCreate fnCreate)
{
    THandle hHandle = reinterpret_cast<THandle>(new MUINT8[uiSize]);
    EXPECT_TRUE(fnCreate(hHandle));
    return hHandle;
}

class EventTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        OsServices_Event_Destroy(m_hEvent);
        delete[] reinterpret_cast<MUINT8*>(m_hEvent);
    }
    SHEvent m_hEvent = NewHandle<SHEvent>(OsServices_Event_GetHandleSize(), OsServices_Event_Create);
};

TEST_F(EventTest, TriggerIsKeptForExactlyOneWaitUnlessReset)
{
    EXPECT_EQ(OsServices_Event_Trigger(m_hEvent), 1u);
    EXPECT_EQ(OsServices_Event_Wait(m_hEvent, 0), 0);
    EXPECT_EQ(OsServices_Event_Wait(m_hEvent, kuiShortWaitMs), -3);
    OsServices_Event_Trigger(m_hEvent);
    OsServices_Event_Reset(m_hEvent);
    EXPECT_EQ(OsServices_Event_Wait(m_hEvent, kuiShortWaitMs), -3);
}

TEST_F(EventTest, TriggerWakesABlockedWaiter)
{
    CWaiter oWaiter([this] { return OsServices_Event_Wait(m_hEvent, kuiLongWaitMs); });
    oWaiter.WaitUntilBlocked();
    OsServices_Event_Trigger(m_hEvent);
    EXPECT_EQ(oWaiter.Join(), 0);
}

TEST_F(EventTest, CancelWakesEveryWaiterAndActivateRestores)
{
    CWaiter oFirst([this] { return OsServices_Event_Wait(m_hEvent, kuiLongWaitMs); });
    CWaiter oSecond([this] { return OsServices_Event_Wait(m_hEvent, kuiLongWaitMs); });
    oFirst.WaitUntilBlocked();
    oSecond.WaitUntilBlocked();
    OsServices_Event_Cancel(m_hEvent);
    EXPECT_EQ(oFirst.Join(), -12);
    EXPECT_EQ(oSecond.Join(), -12);
    EXPECT_EQ(OsServices_Event_Wait(m_hEvent, kuiLongWaitMs), -12);   // at once
    EXPECT_EQ(OsServices_Event_Trigger(m_hEvent), 0u);
    OsServices_Event_Activate(m_hEvent);
    EXPECT_EQ(OsServices_Event_Trigger(m_hEvent), 1u);
    EXPECT_EQ(OsServices_Event_Wait(m_hEvent, kuiLongWaitMs), 0);
}

class SignalTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        OsServices_Signal_Destroy(m_hSignal);
        delete[] reinterpret_cast<MUINT8*>(m_hSignal);
    }
    MINT32 Wait(MUINT32 uiTimeoutMs) { return OsServices_Signal_Wait(m_hSignal, uiTimeoutMs, 0); }
    SHSignal m_hSignal = NewHandle<SHSignal>(OsServices_Signal_GetHandleSize(), OsServices_Signal_Create);
};

TEST_F(SignalTest, OneTriggerWakesEveryWaiterAndIsNotKept)
{
    const MUINT32 auiTimeoutsMs[] = {kuiLongWaitMs, kuiLongWaitMs, OSSERVICES_INFINITE_TIMEOUT};
    std::unique_ptr<CWaiter> apoWaiters[3];
    for (int i = 0; i < 3; ++i)
        apoWaiters[i] = std::make_unique<CWaiter>([this, uiTimeoutMs = auiTimeoutsMs[i]] { return Wait(uiTimeoutMs); });
    for (auto& rpoWaiter : apoWaiters)
        rpoWaiter->WaitUntilBlocked();
    EXPECT_EQ(OsServices_Signal_Trigger(m_hSignal), 1u);
    for (auto& rpoWaiter : apoWaiters)
        EXPECT_TRUE(rpoWaiter->FinishesSoon());   // woken, not found triggered at its time-out
    OsServices_Signal_Cancel(m_hSignal);
    for (auto& rpoWaiter : apoWaiters)
        EXPECT_EQ(rpoWaiter->Join(), 0);
    OsServices_Signal_Activate(m_hSignal);
    EXPECT_EQ(Wait(kuiShortWaitMs), -3);
}

// In a child process: a broken lock ends the process, and should fail this test only.
TEST(MutexDeathTest, RecursiveMutexIsFreedOnlyByTheLastRelease)
{
    EXPECT_EXIT(
        {
            SHMutex hMutex = NewHandle<SHMutex>(OsServices_Mutex_GetHandleSize(), OsServices_Mutex_Create);
            OsServices_Mutex_Acquire(hMutex, OSSERVICES_INFINITE_TIMEOUT);
            OsServices_Mutex_Acquire(hMutex, kuiShortWaitMs);
            CWaiter oContender([hMutex] { return (MINT32)OsServices_Mutex_Acquire(hMutex, kuiLongWaitMs); });
            oContender.WaitUntilBlocked();
            OsServices_Mutex_Release(hMutex);
            OsServices_Mutex_Release(hMutex);
            exit(oContender.Join() == 1 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(MutexDeathTest, AcquireTimeOutEndsTheProcess)
{
    SHMutex hMutex = NewHandle<SHMutex>(OsServices_Mutex_GetHandleSize(), OsServices_Mutex_Create);
    OsServices_Mutex_Acquire(hMutex, OSSERVICES_INFINITE_TIMEOUT);
    EXPECT_DEATH(CWaiter([hMutex] { return (MINT32)OsServices_Mutex_Acquire(hMutex, kuiShortWaitMs); }), "bAcquired");
    OsServices_Mutex_Release(hMutex);
    OsServices_Mutex_Destroy(hMutex);
    delete[] reinterpret_cast<MUINT8*>(hMutex);
}

TEST(HandleDeathTest, NullHandlesEndTheProcessWithTheirCheck)
{
    alignas(16) MUINT8 auiThread[8];
    const std::pair<std::function<void()>, const char*> aoCases[] = {
        {[] { OsServices_Mutex_Acquire(nullptr, 0); }, "hMutex != \\(\\(void \\*\\)0\\)"},
        {[] { OsServices_Event_Wait(nullptr, 0); }, "hEvent != \\(\\(void \\*\\)0\\)"},
        {[] { OsServices_Signal_Trigger(nullptr); }, "hSignal != \\(\\(void \\*\\)0\\)"},
        {[] { OsServices_SpinLock_Lock(nullptr); }, "hSpinLock != \\(\\(void \\*\\)0\\)"},
        {[] { OsServices_CpuThread_Join(nullptr); }, "hCpuThread != \\(\\(void \\*\\)0\\)"},
        {[&] { OsServices_CpuThread_Create(reinterpret_cast<SHCpuThread>(auiThread), nullptr, nullptr); },
         "\\(hCpuThread != \\(\\(void \\*\\)0\\)\\) && \\(pfnThreadFunction != \\(\\(void \\*\\)0\\)\\)"},
    };
    for (const auto& [rfnCall, pszMessage] : aoCases)
        EXPECT_DEATH(rfnCall(), pszMessage);
}

}  // namespace
