// OsServices: the operating-system services object that every context and device receives.
// It owns the message settings, counts its instances to start and stop the platform library,
// and wraps the client functions (OsServicesClient_Linux.h), allocating opaque handle memory.
#pragma once

#include <cstdarg>

#include "OsServicesClient_Linux.h"
#include "QelBaseTypes.h"

// Declared for non-paged allocations, which this build does not provide.
struct SNonPagedMem
{
    MUINT64 pvLinearMapAddress;
    MUINT64 pvBaseAddress;
    MUINT64 uiPhysicalAddress;
    MUINT32 uiSize;
};

// Delegate used when the services run under another host; this tool always passes none.
class IOsServices
{
public:
    virtual ~IOsServices() {}
    virtual MUINT8 GetIrql() = 0;
    virtual MBOOL32 Event_Create(SHEvent& rhEvent) = 0;
    virtual MBOOL32 Event_Trigger(SHEvent hEvent) = 0;
    virtual MBOOL32 Signal_Create(SHSignal& rhSignal) = 0;
};

class OsServices
{
public:
    explicit OsServices(IOsServices* poIOsServices = nullptr);
    virtual ~OsServices();

    // ---- Messages (printf formats, standard output, no line end added).
    static void WriteErrorMsg(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
    static void WriteUserMsg(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
    static void WriteMsg(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
    // Help for the operator beside those messages: one line on standard error behind the
    // program's name (the line end is added). Standard output keeps only the messages above.
    static void WriteOperatorHint(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
    static void SetMsgPrefix(const char* pszPrefix);
    static void SetMsgReferenceId(MUINT64 uiReferenceId);
    static void SetMsgLevel(MBOOL32 bEnableError, MBOOL32 bEnableUser, MBOOL32 bEnableInfo);
    static void GetMsgLevel(MBOOL32* pbEnableError, MBOOL32* pbEnableUser, MBOOL32* pbEnableInfo);
    static void SetMsgPrefixEnable(MBOOL32 bEnable);
    static const char* GetFileNameOnlySubSring(const char* pszPath);
    static void SetTestMode(MBOOL32 bTestMode);

    // ---- Time.
    static MBOOL32 SleepMilliSeconds(MUINT32 uiMilliSeconds);
    static MBOOL32 WaitMicroSeconds(MUINT32 uiMicroSeconds);
    static MUINT64 GetRawTimeInNs();
    static MUINT64 GetTimeInMs();
    static MUINT64 GetCurrentThreadId();
    static MBOOL32 IsThreadIdEqual(MUINT64 uiThreadIdA, MUINT64 uiThreadIdB);

    // ---- Threads, locks, events, signals (1 success, 0 failure unless stated).
    MBOOL32 CpuThread_Create(PFNCPUTHREADFUNCTION pfnFunction, void* pvArgument, SHCpuThread& rhThread);
    MBOOL32 CpuThread_Join(SHCpuThread hThread);
    MBOOL32 CpuThread_Destroy(SHCpuThread& rhThread);

    MBOOL32 SpinLock_Create(SHSpinLock& rhSpinLock);
    MBOOL32 SpinLock_Lock(SHSpinLock hSpinLock);
    MBOOL32 SpinLock_Unlock(SHSpinLock hSpinLock);
    MBOOL32 SpinLock_Destroy(SHSpinLock& rhSpinLock);

    MBOOL32 Mutex_Create(SHMutex& rhMutex);
    MBOOL32 Mutex_Acquire(SHMutex hMutex, MUINT32 uiTimeoutMs);
    MBOOL32 Mutex_Release(SHMutex hMutex);
    MBOOL32 Mutex_Destroy(SHMutex& rhMutex);

    MBOOL32 Event_Create(SHEvent& rhEvent);
    MINT32  Event_Wait(SHEvent hEvent, MUINT32 uiTimeoutMs);   // 0, -3 time-out, -12 cancelled
    MBOOL32 Event_Trigger(SHEvent hEvent);
    MBOOL32 Event_Reset(SHEvent hEvent);
    MBOOL32 Event_Cancel(SHEvent hEvent);
    MBOOL32 Event_Activate(SHEvent hEvent);
    MBOOL32 Event_Destroy(SHEvent& rhEvent);

    MBOOL32 Signal_Create(SHSignal& rhSignal);
    MINT32  Signal_Wait(SHSignal hSignal, MUINT32 uiTimeoutMs, MUINT32 uiReserved);
    MBOOL32 Signal_Trigger(SHSignal hSignal);
    MBOOL32 Signal_Cancel(SHSignal hSignal);
    MBOOL32 Signal_Activate(SHSignal hSignal);
    MBOOL32 Signal_Destroy(SHSignal& rhSignal);

    // ---- Memory and other services.
    void* PagedMemory_Alloc(MUINT32 uiSize);
    void  PagedMemory_Free(void* pvMemory);
    MBOOL32 NonPagedMemory_Alloc(MUINT32 uiSize, SNonPagedMem& roMemory);
    MUINT64 NonPagedMemory_GetPhysicalAddress(const SNonPagedMem& roMemory);
    MBOOL32 NonPagedMemory_Free(SNonPagedMem& roMemory);
    MEMHANDLE IoMap(MUINT64 uiPhysicalAddress, MUINT32 uiSize, MBOOL32 bIsCacheable);
    MBOOL32 IoUnMap(MEMHANDLE hAddress, MUINT32 uiSize);
    void CopyFromUser(const void* pvSource, void* pvDestination, MUINT32 uiSize);
    void CopyToUser(const void* pvSource, void* pvDestination, MUINT32 uiSize);
    static MUINT32 GetRandom();
    static double Fabs(double dValue);
    static double Floor(double dValue);
    static double Ceil(double dValue);

    MBOOL32 StackTrace_Create();
    MBOOL32 StackTrace_Destroy();
    MBOOL32 StackTrace_Save();
    void StackTrace_Print();
    void StackTrace_Dump();

    MBOOL32 IsInitialized() const { return m_bInitialized; }

    MBOOL32      m_bInitialized;
    IOsServices* m_poIOsServices;
    MUINT8       m_uiIrql;

    static MUINT32 ms_uiInstanceCount;
    static MBOOL32 ms_bIsMessagePrefixEnabled;
    static char    ms_szMsgPrefix[64];
    static MUINT64 ms_uiReferenceId;
    static MBOOL32 ms_bEnableErrorMsg;
    static MBOOL32 ms_bEnableUserMsg;
    static MBOOL32 ms_bEnableInfo;
    static MBOOL32 ms_bTestMode;
    static MUINT32 ms_uiOldRandomValue;

    static constexpr MUINT32 msc_uiMajorVer = 0;
    static constexpr MUINT32 msc_uiMinorVer = 2;
    static constexpr MUINT32 msc_uiPatchVer = 3;
    static constexpr MUINT32 msc_uiBuildVer = 2;
};
