#include "OsServicesClient_Linux.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
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
    void WaitUntilBlocked()
    {
        for (int i = 0; i < 10000 && m_iResult == kiPending && !(m_iTid != 0 && IsSleeping()); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

private:
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

// A trigger is kept for exactly one wait, and wakes a blocked waiter, the unbounded one included.
// The libraries only create, trigger and wait on events.
TEST(Event, TriggerIsKeptForOneWaitAndWakesABlockedWaiter)
{
    SHEvent hEvent = NewHandle<SHEvent>(OsServices_Event_GetHandleSize(), OsServices_Event_Create);
    EXPECT_EQ(OsServices_Event_Trigger(hEvent), 1u);
    EXPECT_EQ(OsServices_Event_Wait(hEvent, 0), 0);
    EXPECT_EQ(OsServices_Event_Wait(hEvent, kuiShortWaitMs), -3);
    for (MUINT32 uiTimeoutMs : {kuiLongWaitMs, OSSERVICES_INFINITE_TIMEOUT})
    {
        CWaiter oWaiter([hEvent, uiTimeoutMs] { return OsServices_Event_Wait(hEvent, uiTimeoutMs); });
        oWaiter.WaitUntilBlocked();
        OsServices_Event_Trigger(hEvent);
        EXPECT_EQ(oWaiter.Join(), 0) << uiTimeoutMs;
    }
    OsServices_Event_Destroy(hEvent);
    delete[] reinterpret_cast<MUINT8*>(hEvent);
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

}  // namespace
