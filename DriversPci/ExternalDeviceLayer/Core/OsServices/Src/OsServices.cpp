// The OsServices object: instance counting, waits and sleeps, and the wrappers that allocate
// the opaque handle memory and forward to the Linux services client.
#include "OsServices.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "OsServicesClient_Linux.h"
#include "QelAssert.h"
#include "QelVxdApi.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_PLATFORM_NOT_STARTED = 85,
};
}  // namespace

MUINT32 OsServices::ms_uiInstanceCount = 0;
MBOOL32 OsServices::ms_bTestMode = 0;
MUINT32 OsServices::ms_uiOldRandomValue = 0;

namespace
{

// Longest wait that is spun on the monotonic clock; longer ones sleep. Spinning 100 ms burns a
// core, and over such spans the sleep's granularity no longer matters.
constexpr MUINT32 msc_uiMaxBusyWaitUs = 100000;
constexpr MUINT32 msc_uiMicroSecondsPerMilliSecond = 1000;

// memMap64 cacheability flags.
constexpr MUINT32 msc_uiMapUncached = 0;
constexpr MUINT32 msc_uiMapCacheable = 1;

// State of the random generator when no memory can be had to seed it.
constexpr MUINT32 msc_uiFallbackRandomSeed = 0x8E382260;

// Handle memory is raw bytes of the size the client reports; the client builds the POSIX
// objects in it.
template <typename THandle>
THandle AllocateHandle(MUINT32 uiSize)
{
    return reinterpret_cast<THandle>(new (std::nothrow) MUINT8[uiSize]);
}

template <typename THandle>
void FreeHandle(THandle& rhHandle)
{
    delete[] reinterpret_cast<MUINT8*>(rhHandle);
    rhHandle = nullptr;
}

// Allocates a handle and lets fnCreate build it; on any failure the memory is freed and the
// caller's handle is left null.
template <typename THandle, typename FCreate>
MBOOL32 CreateHandle(MUINT32 uiSize, THandle& rhHandle, FCreate fnCreate)
{
    rhHandle = AllocateHandle<THandle>(uiSize);
    if (rhHandle == nullptr)
        return 0;
    if (!fnCreate(rhHandle))
    {
        FreeHandle(rhHandle);
        return 0;
    }
    return 1;
}

// Tears a handle down with fnDestroy (which ends the process on a null handle), then frees it.
template <typename THandle, typename FDestroy>
MBOOL32 DestroyHandle(THandle& rhHandle, FDestroy fnDestroy)
{
    MBOOL32 bDestroyed = fnDestroy(rhHandle);
    FreeHandle(rhHandle);
    return bDestroyed;
}

}  // namespace

// ---- Construction and instance counting.

// The first live instance starts the platform library, the last one to go stops it. In test
// mode the library is not started (tests supply their own platform), but it is still stopped.
OsServices::OsServices(IOsServices* poIOsServices)
    : m_bInitialized(0), m_poIOsServices(poIOsServices), m_uiIrql(poIOsServices != nullptr ? poIOsServices->GetIrql() : 0)
{
    if (ms_uiInstanceCount == 0 && !ms_bTestMode)
    {
        if (!OsServices_Initialize())
        {
            QEL_ASSERT_REPORT_AT(REPORT_PLATFORM_NOT_STARTED);
            return;
        }
    }
    ms_uiInstanceCount++;
    m_bInitialized = 1;
}

OsServices::~OsServices()
{
    // An object whose construction failed was never counted and must not uncount another.
    if (!m_bInitialized)
        return;
    m_bInitialized = 0;
    ms_uiInstanceCount--;
    if (ms_uiInstanceCount == 0)
        OsServices_Cleanup();
}

void OsServices::SetTestMode(MBOOL32 bTestMode) { ms_bTestMode = bTestMode; }

// ---- Time. Every wait and sleep goes through the platform timer, which the board simulator
// runs in virtual time.

MBOOL32 OsServices::SleepMilliSeconds(MUINT32 uiMilliSeconds)
{
    // The product is taken in 32 bits: sleeps beyond about 71 minutes wrap.
    return tmSleep(uiMilliSeconds * msc_uiMicroSecondsPerMilliSecond) != 0 ? 1 : 0;
}

MBOOL32 OsServices::WaitMicroSeconds(MUINT32 uiMicroSeconds)
{
    if (uiMicroSeconds > msc_uiMaxBusyWaitUs)
    {
        const MUINT32 uiMilliSeconds = uiMicroSeconds / msc_uiMicroSecondsPerMilliSecond;
        WriteMsg("OsServices::WaitMicroSeconds(%d) with delay greater than %d us isn't reliable, using "
                 "SleepMilliSeconds(%d) command instead)\n",
                 (int)uiMicroSeconds, (int)msc_uiMaxBusyWaitUs, (int)uiMilliSeconds);
        SleepMilliSeconds(uiMilliSeconds);
    }
    else if (uiMicroSeconds != 0)
    {
        tmDelay(uiMicroSeconds);
    }
    return 1;
}

MUINT64 OsServices::GetRawTimeInNs() { return OsServices_GetRawTimeInNs(); }

MUINT64 OsServices::GetTimeInMs() { return GetRawTimeInNs() / 1000000; }

MUINT64 OsServices::GetCurrentThreadId() { return OsServices_GetCurrentThreadId(); }

MBOOL32 OsServices::IsThreadIdEqual(MUINT64 uiThreadIdA, MUINT64 uiThreadIdB) { return uiThreadIdA == uiThreadIdB ? 1 : 0; }

// ---- Threads.

MBOOL32 OsServices::CpuThread_Create(PFNCPUTHREADFUNCTION pfnFunction, void* pvArgument, SHCpuThread& rhThread)
{
    return CreateHandle(OsServices_CpuThread_GetHandleSize(), rhThread,
                        [&](SHCpuThread hThread) { return OsServices_CpuThread_Create(hThread, pfnFunction, pvArgument); });
}

MBOOL32 OsServices::CpuThread_Join(SHCpuThread hThread) { return OsServices_CpuThread_Join(hThread); }

MBOOL32 OsServices::CpuThread_Destroy(SHCpuThread& rhThread) { return DestroyHandle(rhThread, OsServices_CpuThread_Destroy); }

// ---- Spin locks.

MBOOL32 OsServices::SpinLock_Create(SHSpinLock& rhSpinLock)
{
    return CreateHandle(OsServices_SpinLock_GetHandleSize(), rhSpinLock,
                        [this](SHSpinLock hSpinLock) { return OsServices_SpinLock_Create(hSpinLock, m_uiIrql); });
}

MBOOL32 OsServices::SpinLock_Lock(SHSpinLock hSpinLock) { return OsServices_SpinLock_Lock(hSpinLock); }

MBOOL32 OsServices::SpinLock_Unlock(SHSpinLock hSpinLock) { return OsServices_SpinLock_Unlock(hSpinLock); }

MBOOL32 OsServices::SpinLock_Destroy(SHSpinLock& rhSpinLock) { return DestroyHandle(rhSpinLock, OsServices_SpinLock_Destroy); }

// ---- Mutexes.

MBOOL32 OsServices::Mutex_Create(SHMutex& rhMutex)
{
    return CreateHandle(OsServices_Mutex_GetHandleSize(), rhMutex, OsServices_Mutex_Create);
}

MBOOL32 OsServices::Mutex_Acquire(SHMutex hMutex, MUINT32 uiTimeoutMs) { return OsServices_Mutex_Acquire(hMutex, uiTimeoutMs); }

MBOOL32 OsServices::Mutex_Release(SHMutex hMutex) { return OsServices_Mutex_Release(hMutex); }

MBOOL32 OsServices::Mutex_Destroy(SHMutex& rhMutex) { return DestroyHandle(rhMutex, OsServices_Mutex_Destroy); }

// ---- Events. Under a host, the host creates and triggers events.

MBOOL32 OsServices::Event_Create(SHEvent& rhEvent)
{
    if (m_poIOsServices != nullptr)
        return m_poIOsServices->Event_Create(rhEvent);
    return CreateHandle(OsServices_Event_GetHandleSize(), rhEvent, OsServices_Event_Create);
}

MINT32 OsServices::Event_Wait(SHEvent hEvent, MUINT32 uiTimeoutMs) { return OsServices_Event_Wait(hEvent, uiTimeoutMs); }

MBOOL32 OsServices::Event_Trigger(SHEvent hEvent)
{
    if (m_poIOsServices != nullptr)
        return m_poIOsServices->Event_Trigger(hEvent);
    return OsServices_Event_Trigger(hEvent);
}

MBOOL32 OsServices::Event_Reset(SHEvent hEvent) { return OsServices_Event_Reset(hEvent); }

MBOOL32 OsServices::Event_Cancel(SHEvent hEvent) { return OsServices_Event_Cancel(hEvent); }

MBOOL32 OsServices::Event_Activate(SHEvent hEvent) { return OsServices_Event_Activate(hEvent); }

MBOOL32 OsServices::Event_Destroy(SHEvent& rhEvent) { return DestroyHandle(rhEvent, OsServices_Event_Destroy); }

// ---- Signals. Under a host, the host creates signals.

MBOOL32 OsServices::Signal_Create(SHSignal& rhSignal)
{
    if (m_poIOsServices != nullptr)
        return m_poIOsServices->Signal_Create(rhSignal);
    return CreateHandle(OsServices_Signal_GetHandleSize(), rhSignal, OsServices_Signal_Create);
}

MINT32 OsServices::Signal_Wait(SHSignal hSignal, MUINT32 uiTimeoutMs, MUINT32 uiReserved)
{
    return OsServices_Signal_Wait(hSignal, uiTimeoutMs, uiReserved);
}

MBOOL32 OsServices::Signal_Trigger(SHSignal hSignal) { return OsServices_Signal_Trigger(hSignal); }

MBOOL32 OsServices::Signal_Cancel(SHSignal hSignal) { return OsServices_Signal_Cancel(hSignal); }

MBOOL32 OsServices::Signal_Activate(SHSignal hSignal) { return OsServices_Signal_Activate(hSignal); }

MBOOL32 OsServices::Signal_Destroy(SHSignal& rhSignal) { return DestroyHandle(rhSignal, OsServices_Signal_Destroy); }

// ---- Memory.

void* OsServices::PagedMemory_Alloc(MUINT32 uiSize) { return malloc(uiSize); }

void OsServices::PagedMemory_Free(void* pvMemory)
{
    if (pvMemory != nullptr)
        free(pvMemory);
}

// Physically contiguous, non-paged memory needs a kernel driver; this user-space build has none.
MBOOL32 OsServices::NonPagedMemory_Alloc(MUINT32 /*uiSize*/, SNonPagedMem& /*roMemory*/) { return 0; }

MUINT64 OsServices::NonPagedMemory_GetPhysicalAddress(const SNonPagedMem& /*roMemory*/) { return 0; }

MBOOL32 OsServices::NonPagedMemory_Free(SNonPagedMem& /*roMemory*/) { return 0; }

// A cacheable mapping is only a preference: a range that cannot be mapped so is mapped uncached.
MEMHANDLE OsServices::IoMap(MUINT64 uiPhysicalAddress, MUINT32 uiSize, MBOOL32 bIsCacheable)
{
    if (bIsCacheable)
    {
        MEMHANDLE hAddress = memMap64(uiPhysicalAddress, uiSize, msc_uiMapCacheable);
        if (hAddress != 0)
            return hAddress;
    }
    return memMap64(uiPhysicalAddress, uiSize, msc_uiMapUncached);
}

// The platform remembers each mapping's length; the size is not needed.
MBOOL32 OsServices::IoUnMap(MEMHANDLE hAddress, MUINT32 /*uiSize*/) { return memUnmap(hAddress) != 0 ? 1 : 0; }

// User and kernel buffers are the same memory in this user-space build.
void OsServices::CopyFromUser(const void* pvSource, void* pvDestination, MUINT32 uiSize)
{
    if (uiSize != 0)
        memcpy(pvDestination, pvSource, uiSize);
}

void OsServices::CopyToUser(const void* pvSource, void* pvDestination, MUINT32 uiSize)
{
    CopyFromUser(pvSource, pvDestination, uiSize);
}

// ---- Arithmetic.

// A cheap 32-bit generator: state += rotr(state, 1) ^ state. A state of 0 is unseeded; the seed
// is the low half of a fresh heap address, which differs between runs.
MUINT32 OsServices::GetRandom()
{
    if (ms_uiOldRandomValue == 0)
    {
        MUINT8* puiSeedProbe = new (std::nothrow) MUINT8[1];
        if (puiSeedProbe == nullptr)
        {
            ms_uiOldRandomValue = msc_uiFallbackRandomSeed;
            return ms_uiOldRandomValue;
        }
        ms_uiOldRandomValue = (MUINT32)(MUINTPTR)puiSeedProbe;
        delete[] puiSeedProbe;
    }
    ms_uiOldRandomValue += std::rotr(ms_uiOldRandomValue, 1) ^ ms_uiOldRandomValue;
    return ms_uiOldRandomValue;
}

double OsServices::Fabs(double dValue) { return dValue >= 0 ? dValue : -dValue; }

// Rounds towards minus infinity through 64-bit integer truncation of the magnitude. From 2^52
// on every double is already whole, and from 2^63 on (and for infinities and NaN) the integer
// conversion would overflow, so those values come back unchanged.
double OsServices::Floor(double dValue)
{
    constexpr double dcTwoPow63 = 9223372036854775808.0;
    const double dMagnitude = Fabs(dValue);
    if (!(dMagnitude < dcTwoPow63))
        return dValue;
    const double dTruncated = (double)(MINT64)dMagnitude;
    if (dValue >= 0)
        return dTruncated;
    return dTruncated < dMagnitude ? -(dTruncated + 1.0) : -dTruncated;
}

double OsServices::Ceil(double dValue)
{
    const double dFloor = Floor(dValue);
    return dValue - dFloor > 0 ? dFloor + 1.0 : dFloor;
}

// ---- Stack traces: not available in this configuration.

MBOOL32 OsServices::StackTrace_Create() { return 1; }

MBOOL32 OsServices::StackTrace_Destroy() { return 1; }

MBOOL32 OsServices::StackTrace_Save() { return 1; }

void OsServices::StackTrace_Print() { puts("Print stack not supported in this configuration"); }

void OsServices::StackTrace_Dump() { StackTrace_Print(); }
