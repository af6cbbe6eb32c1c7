// Linux services client over POSIX threads.
//
// The checks of this file end the process on a null handle or a failed lock primitive. They must
// stay active in every build type, release builds included: going on with a broken lock would
// let two threads drive the same board registers at once. NDEBUG is therefore dropped before
// <cassert> is included, so that assert() here always checks.
#undef NDEBUG
#include <cassert>

#include "OsServicesClient_Linux.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>
#include <new>

#include "QelVxdApi.h"

namespace
{

// Event: a flag that a trigger sets and the wait that consumes it clears (auto-reset).
struct SEventHandle
{
    pthread_mutex_t  oMutex;
    pthread_cond_t   oCond;
    MBOOL32          bIsSignaled;
    volatile MBOOL32 bIsActive;
};

// Signal: no flag, every wait waits for the next trigger. The trigger count lets a waiter tell
// a trigger from a spurious wake-up of the condition; only its change is looked at, so it may
// wrap around.
struct SSignalHandle
{
    pthread_mutex_t  oMutex;
    pthread_cond_t   oCond;
    volatile MBOOL32 bIsActive;
    MUINT32          uiTriggerCount;
};

constexpr MUINT32 msc_uiCpuThreadHandleSize = 8;
constexpr MUINT32 msc_uiSpinLockHandleSize  = 4;
constexpr MUINT32 msc_uiMutexHandleSize     = 40;
constexpr MUINT32 msc_uiEventHandleSize     = 96;
constexpr MUINT32 msc_uiSignalHandleSize    = 96;

// The handle sizes are part of the interface (callers allocate the memory); the POSIX objects
// must fit in them and in the alignment that array new gives.
static_assert(sizeof(pthread_t) <= msc_uiCpuThreadHandleSize, "pthread_t does not fit its handle");
static_assert(sizeof(pthread_spinlock_t) <= msc_uiSpinLockHandleSize, "pthread_spinlock_t does not fit its handle");
static_assert(sizeof(pthread_mutex_t) <= msc_uiMutexHandleSize, "pthread_mutex_t does not fit its handle");
static_assert(sizeof(SEventHandle) <= msc_uiEventHandleSize, "SEventHandle does not fit its handle");
static_assert(sizeof(SSignalHandle) <= msc_uiSignalHandleSize, "SSignalHandle does not fit its handle");
static_assert(alignof(SEventHandle) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                  alignof(SSignalHandle) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                  alignof(pthread_t) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__,
              "handle memory from array new is not aligned enough");

constexpr long msc_lNanoSecondsPerSecond = 1000000000L;
constexpr long msc_lNanoSecondsPerMilliSecond = 1000000L;
constexpr MUINT32 msc_uiMilliSecondsPerSecond = 1000;

// Absolute CLOCK_REALTIME deadline of a timed wait: the timeout's whole seconds are added to the
// seconds of the current time and its remaining milliseconds, as nanoseconds, to the nanoseconds.
// The nanoseconds are not carried while adding, so the sum can reach 1998999999 ns. pthread
// rejects such a timespec with EINVAL: a condition wait would end at once as a false time-out,
// and a contended mutex acquire would fail and end the process. The sum is therefore normalised
// before use: the extra second moves into tv_sec, which names the same instant in the form
// pthread accepts. Returns false if the clock cannot be read.
bool MakeDeadline(MUINT32 uiTimeoutMs, timespec& roDeadline)
{
    if (clock_gettime(CLOCK_REALTIME, &roDeadline) != 0)
        return false;
    roDeadline.tv_sec += uiTimeoutMs / msc_uiMilliSecondsPerSecond;
    roDeadline.tv_nsec += (long)(uiTimeoutMs % msc_uiMilliSecondsPerSecond) * msc_lNanoSecondsPerMilliSecond;
    if (roDeadline.tv_nsec >= msc_lNanoSecondsPerSecond)
    {
        roDeadline.tv_sec += 1;
        roDeadline.tv_nsec -= msc_lNanoSecondsPerSecond;
    }
    return true;
}

// Holds the state mutex of an event or signal for one scope.
class CStateLock
{
public:
    explicit CStateLock(pthread_mutex_t* poMutex) : m_poMutex(poMutex)
    {
        if (pthread_mutex_lock(m_poMutex) != 0)
            assert(0);
    }
    ~CStateLock()
    {
        if (pthread_mutex_unlock(m_poMutex) != 0)
            assert(0);
    }
    CStateLock(const CStateLock&) = delete;
    CStateLock& operator=(const CStateLock&) = delete;

private:
    pthread_mutex_t* m_poMutex;
};

// ---- What events and signals share: the mutex and condition, and the active flag.

// Builds the mutex and condition with default attributes and marks the object active. On
// failure nothing is left initialised.
template <typename TWaitable>
bool CreateWaitable(TWaitable* poWaitable)
{
    if (pthread_mutex_init(&poWaitable->oMutex, nullptr) != 0)
        return false;
    if (pthread_cond_init(&poWaitable->oCond, nullptr) != 0)
    {
        pthread_mutex_destroy(&poWaitable->oMutex);
        return false;
    }
    poWaitable->bIsActive = 1;
    return true;
}

// Deactivates and wakes every waiter; an event is also left signalled.
template <typename TWaitable>
void CancelWaitable(TWaitable* poWaitable)
{
    CStateLock oLock(&poWaitable->oMutex);
    if (!poWaitable->bIsActive)
        return;
    if constexpr (requires { poWaitable->bIsSignaled; })
        poWaitable->bIsSignaled = 1;
    poWaitable->bIsActive = 0;
    if (pthread_cond_broadcast(&poWaitable->oCond) != 0)
        assert(0);
}

template <typename TWaitable>
void ActivateWaitable(TWaitable* poWaitable)
{
    CStateLock oLock(&poWaitable->oMutex);
    poWaitable->bIsActive = 1;
}

// Waiters are woken by the cancel; they must have left before the objects go.
template <typename TWaitable>
void DestroyWaitable(TWaitable* poWaitable)
{
    CancelWaitable(poWaitable);
    if (pthread_cond_destroy(&poWaitable->oCond) != 0)
        assert(0);
    if (pthread_mutex_destroy(&poWaitable->oMutex) != 0)
        assert(0);
}

// Waits on the condition until fnDone() holds, the deadline passes, or the wait fails. The state
// mutex is held by the caller. Returns OSSERVICES_WAIT_SIGNALED when fnDone() held at the end (a
// trigger that lands together with the time-out still counts), else the time-out or error code.
template <typename FDone>
MINT32 WaitUntil(pthread_mutex_t* poMutex, pthread_cond_t* poCond, MUINT32 uiTimeoutMs, FDone fnDone)
{
    if (uiTimeoutMs == OSSERVICES_INFINITE_TIMEOUT)
    {
        while (!fnDone())
        {
            if (pthread_cond_wait(poCond, poMutex) != 0)
                return OSSERVICES_WAIT_CANCELLED;
        }
        return OSSERVICES_WAIT_SIGNALED;
    }

    timespec oDeadline;
    if (!MakeDeadline(uiTimeoutMs, oDeadline))
        return OSSERVICES_WAIT_TIMEOUT;
    while (!fnDone())
    {
        if (pthread_cond_timedwait(poCond, poMutex, &oDeadline) != 0)
            return fnDone() ? OSSERVICES_WAIT_SIGNALED : OSSERVICES_WAIT_TIMEOUT;
    }
    return OSSERVICES_WAIT_SIGNALED;
}

SEventHandle* EventOf(SHEvent hEvent) { return reinterpret_cast<SEventHandle*>(hEvent); }
SSignalHandle* SignalOf(SHSignal hSignal) { return reinterpret_cast<SSignalHandle*>(hSignal); }
pthread_mutex_t* MutexOf(SHMutex hMutex) { return reinterpret_cast<pthread_mutex_t*>(hMutex); }
pthread_spinlock_t* SpinLockOf(SHSpinLock hSpinLock) { return reinterpret_cast<pthread_spinlock_t*>(hSpinLock); }
pthread_t* ThreadOf(SHCpuThread hCpuThread) { return reinterpret_cast<pthread_t*>(hCpuThread); }

}  // namespace

// ---- Library start and stop.

MBOOL32 OsServices_Initialize() { return InitQELLibrary() != 0 ? 1 : 0; }

MBOOL32 OsServices_Cleanup() { return ReleaseQELLibrary() != 0 ? 1 : 0; }

// ---- Clocks.

MUINT64 OsServices_GetRawTimeInNs()
{
    timespec oNow;
    if (clock_gettime(CLOCK_REALTIME, &oNow) != 0)
        return 0;
    return (MUINT64)oNow.tv_sec * (MUINT64)msc_lNanoSecondsPerSecond + (MUINT64)oNow.tv_nsec;
}

MUINT64 OsServices_GetCurrentThreadId() { return (MUINT64)pthread_self(); }

// ---- Handle sizes.

MUINT32 OsServices_CpuThread_GetHandleSize() { return msc_uiCpuThreadHandleSize; }
MUINT32 OsServices_SpinLock_GetHandleSize() { return msc_uiSpinLockHandleSize; }
MUINT32 OsServices_Mutex_GetHandleSize() { return msc_uiMutexHandleSize; }
MUINT32 OsServices_Event_GetHandleSize() { return msc_uiEventHandleSize; }
MUINT32 OsServices_Signal_GetHandleSize() { return msc_uiSignalHandleSize; }

// ---- Threads.

MBOOL32 OsServices_CpuThread_Create(SHCpuThread hCpuThread, PFNCPUTHREADFUNCTION pfnThreadFunction, void* pvArgument)
{
    assert((hCpuThread != ((void *)0)) && (pfnThreadFunction != ((void *)0)));
    pthread_t* poThread = new (hCpuThread) pthread_t();
    return pthread_create(poThread, nullptr, pfnThreadFunction, pvArgument) == 0 ? 1 : 0;
}

MBOOL32 OsServices_CpuThread_Join(SHCpuThread hCpuThread)
{
    assert(hCpuThread != ((void *)0));
    // The thread's result and a join error (thread already joined) are of no use to the caller.
    (void)pthread_join(*ThreadOf(hCpuThread), nullptr);
    return 1;
}

MBOOL32 OsServices_CpuThread_Destroy(SHCpuThread hCpuThread)
{
    assert(hCpuThread != ((void *)0));
    return 1;
}

// ---- Spin locks.

MBOOL32 OsServices_SpinLock_Create(SHSpinLock hSpinLock, MUINT8 /*uiIrql*/)
{
    assert(hSpinLock != ((void *)0));
    pthread_spinlock_t* poSpinLock = new (hSpinLock) pthread_spinlock_t();
    return pthread_spin_init(poSpinLock, PTHREAD_PROCESS_PRIVATE) == 0 ? 1 : 0;
}

MBOOL32 OsServices_SpinLock_Lock(SHSpinLock hSpinLock)
{
    assert(hSpinLock != ((void *)0));
    if (pthread_spin_lock(SpinLockOf(hSpinLock)) != 0)
        assert(0);
    return 1;
}

MBOOL32 OsServices_SpinLock_Unlock(SHSpinLock hSpinLock)
{
    assert(hSpinLock != ((void *)0));
    if (pthread_spin_unlock(SpinLockOf(hSpinLock)) != 0)
        assert(0);
    return 1;
}

MBOOL32 OsServices_SpinLock_Destroy(SHSpinLock hSpinLock)
{
    assert(hSpinLock != ((void *)0));
    if (pthread_spin_destroy(SpinLockOf(hSpinLock)) != 0)
        assert(0);
    return 1;
}

// ---- Recursive mutexes.

MBOOL32 OsServices_Mutex_Create(SHMutex hMutex)
{
    assert(hMutex != ((void *)0));
    pthread_mutex_t* poMutex = new (hMutex) pthread_mutex_t();
    pthread_mutexattr_t oAttributes;
    if (pthread_mutexattr_init(&oAttributes) != 0)
        return 0;
    bool bCreated = pthread_mutexattr_settype(&oAttributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                    pthread_mutex_init(poMutex, &oAttributes) == 0;
    pthread_mutexattr_destroy(&oAttributes);
    return bCreated ? 1 : 0;
}

MBOOL32 OsServices_Mutex_Acquire(SHMutex hMutex, MUINT32 uiTimeoutMs)
{
    assert(hMutex != ((void *)0));
    int iError;
    if (uiTimeoutMs == OSSERVICES_INFINITE_TIMEOUT)
    {
        iError = pthread_mutex_lock(MutexOf(hMutex));
    }
    else
    {
        timespec oDeadline;
        iError = MakeDeadline(uiTimeoutMs, oDeadline) ? pthread_mutex_timedlock(MutexOf(hMutex), &oDeadline) : EINVAL;
    }
    // A caller that asked for the lock cannot go on without it: a time-out here is a deadlock.
    MBOOL32 bAcquired = (iError == 0) ? 1 : 0;
    assert(bAcquired);
    return bAcquired;
}

MBOOL32 OsServices_Mutex_Release(SHMutex hMutex)
{
    assert(hMutex != ((void *)0));
    if (pthread_mutex_unlock(MutexOf(hMutex)) != 0)
        assert(0);
    return 1;
}

MBOOL32 OsServices_Mutex_Destroy(SHMutex hMutex)
{
    assert(hMutex != ((void *)0));
    if (pthread_mutex_destroy(MutexOf(hMutex)) != 0)
        assert(0);
    return 1;
}

// ---- Events.

MBOOL32 OsServices_Event_Create(SHEvent hEvent)
{
    assert(hEvent != ((void *)0));
    return CreateWaitable(new (hEvent) SEventHandle()) ? 1 : 0;
}

// Returns 0 when the event was (or becomes) signalled, -3 on time-out, -12 when the event is or
// becomes inactive (cancelled) or the unlimited wait fails. The signalled flag is consumed in
// every case, so the next wait waits for the next trigger.
MINT32 OsServices_Event_Wait(SHEvent hEvent, MUINT32 uiTimeoutMs)
{
    assert(hEvent != ((void *)0));
    SEventHandle* poEvent = EventOf(hEvent);
    CStateLock oLock(&poEvent->oMutex);
    MINT32 iResult = OSSERVICES_WAIT_SIGNALED;
    if (poEvent->bIsActive && !poEvent->bIsSignaled)
    {
        // Cancel sets the flag, but a waiter woken earlier may already have consumed it: the
        // inactive state alone must end the wait too.
        iResult = WaitUntil(&poEvent->oMutex, &poEvent->oCond, uiTimeoutMs,
                            [poEvent] { return poEvent->bIsSignaled || !poEvent->bIsActive; });
    }
    poEvent->bIsSignaled = 0;
    return poEvent->bIsActive ? iResult : OSSERVICES_WAIT_CANCELLED;
}

// Wakes one waiter, or is kept for the next wait. An inactive event takes no trigger.
MBOOL32 OsServices_Event_Trigger(SHEvent hEvent)
{
    assert(hEvent != ((void *)0));
    SEventHandle* poEvent = EventOf(hEvent);
    CStateLock oLock(&poEvent->oMutex);
    if (!poEvent->bIsActive)
        return 0;
    poEvent->bIsSignaled = 1;
    if (pthread_cond_signal(&poEvent->oCond) == 0)
        return 1;
    poEvent->bIsSignaled = 0;
    return 0;
}

MBOOL32 OsServices_Event_Reset(SHEvent hEvent)
{
    assert(hEvent != ((void *)0));
    SEventHandle* poEvent = EventOf(hEvent);
    CStateLock oLock(&poEvent->oMutex);
    poEvent->bIsSignaled = 0;
    return 1;
}

MBOOL32 OsServices_Event_Cancel(SHEvent hEvent)
{
    assert(hEvent != ((void *)0));
    CancelWaitable(EventOf(hEvent));
    return 1;
}

MBOOL32 OsServices_Event_Activate(SHEvent hEvent)
{
    assert(hEvent != ((void *)0));
    ActivateWaitable(EventOf(hEvent));
    return 1;
}

MBOOL32 OsServices_Event_Destroy(SHEvent hEvent)
{
    assert(hEvent != ((void *)0));
    DestroyWaitable(EventOf(hEvent));
    return 1;
}

// ---- Signals.

MBOOL32 OsServices_Signal_Create(SHSignal hSignal)
{
    assert(hSignal != ((void *)0));
    return CreateWaitable(new (hSignal) SSignalHandle()) ? 1 : 0;
}

// Waits for the next trigger: 0 when it comes, -3 on time-out, -12 when the signal is or becomes
// inactive (cancelled) or the unlimited wait fails.
MINT32 OsServices_Signal_Wait(SHSignal hSignal, MUINT32 uiTimeoutMs, MUINT32 /*uiReserved*/)
{
    assert(hSignal != ((void *)0));
    SSignalHandle* poSignal = SignalOf(hSignal);
    CStateLock oLock(&poSignal->oMutex);
    if (!poSignal->bIsActive)
        return OSSERVICES_WAIT_CANCELLED;
    const MUINT32 uiTriggerCount = poSignal->uiTriggerCount;
    MINT32 iResult = WaitUntil(&poSignal->oMutex, &poSignal->oCond, uiTimeoutMs, [poSignal, uiTriggerCount] {
        return poSignal->uiTriggerCount != uiTriggerCount || !poSignal->bIsActive;
    });
    return poSignal->bIsActive ? iResult : OSSERVICES_WAIT_CANCELLED;
}

// Wakes every waiter; with none waiting the trigger is lost.
MBOOL32 OsServices_Signal_Trigger(SHSignal hSignal)
{
    assert(hSignal != ((void *)0));
    SSignalHandle* poSignal = SignalOf(hSignal);
    CStateLock oLock(&poSignal->oMutex);
    if (!poSignal->bIsActive)
        return 0;
    poSignal->uiTriggerCount++;
    if (pthread_cond_broadcast(&poSignal->oCond) == 0)
        return 1;
    poSignal->uiTriggerCount--;
    return 0;
}

MBOOL32 OsServices_Signal_Cancel(SHSignal hSignal)
{
    assert(hSignal != ((void *)0));
    CancelWaitable(SignalOf(hSignal));
    return 1;
}

MBOOL32 OsServices_Signal_Activate(SHSignal hSignal)
{
    assert(hSignal != ((void *)0));
    ActivateWaitable(SignalOf(hSignal));
    return 1;
}

MBOOL32 OsServices_Signal_Destroy(SHSignal hSignal)
{
    assert(hSignal != ((void *)0));
    DestroyWaitable(SignalOf(hSignal));
    return 1;
}
