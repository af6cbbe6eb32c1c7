// Linux services client: threads, spin locks, recursive mutexes, events and signals over POSIX
// threads, the library start and stop, and the clocks.
//
// Handles are opaque blocks of raw memory that the caller allocates with the size reported by
// OsServices_<Kind>_GetHandleSize() and passes to <Kind>_Create, which builds the POSIX objects
// in place. The caller frees the block after <Kind>_Destroy (or after a failed <Kind>_Create).
//
// A null handle, a failed lock, unlock or destroy call and a failed or timed-out
// OsServices_Mutex_Acquire end the process through the standard assertion: these are
// programming errors that no caller can recover from. Every other function returns 1 for
// success and 0 for failure; the waits return 0, -3 (time-out) or -12 (cancelled, wait error).
#pragma once

#include "QelBaseTypes.h"

typedef struct SHCpuThread_* SHCpuThread;
typedef struct SHSpinLock_*  SHSpinLock;
typedef struct SHMutex_*     SHMutex;
typedef struct SHEvent_*     SHEvent;
typedef struct SHSignal_*    SHSignal;

typedef void* (*PFNCPUTHREADFUNCTION)(void* pvArgument);

// Timeout value that waits without limit.
constexpr MUINT32 OSSERVICES_INFINITE_TIMEOUT = 0xFFFFFFFF;

// Results of the event and signal waits.
constexpr MINT32 OSSERVICES_WAIT_SIGNALED  = 0;
constexpr MINT32 OSSERVICES_WAIT_TIMEOUT   = -3;
constexpr MINT32 OSSERVICES_WAIT_CANCELLED = -12;

// ---- Library start and stop (the platform layer's PCI access).
MBOOL32 OsServices_Initialize();
MBOOL32 OsServices_Cleanup();

// ---- Clocks.
MUINT64 OsServices_GetRawTimeInNs();        // CLOCK_REALTIME in nanoseconds
MUINT64 OsServices_GetCurrentThreadId();    // pthread_self()

// ---- Handle sizes in bytes.
MUINT32 OsServices_CpuThread_GetHandleSize();   // 8
MUINT32 OsServices_SpinLock_GetHandleSize();    // 4
MUINT32 OsServices_Mutex_GetHandleSize();       // 40
MUINT32 OsServices_Event_GetHandleSize();       // 96
MUINT32 OsServices_Signal_GetHandleSize();      // 96

// ---- Threads (default attributes).
MBOOL32 OsServices_CpuThread_Create(SHCpuThread hCpuThread, PFNCPUTHREADFUNCTION pfnThreadFunction, void* pvArgument);
MBOOL32 OsServices_CpuThread_Join(SHCpuThread hCpuThread);
MBOOL32 OsServices_CpuThread_Destroy(SHCpuThread hCpuThread);

// ---- Spin locks (process-private; the interrupt level is accepted and ignored).
MBOOL32 OsServices_SpinLock_Create(SHSpinLock hSpinLock, MUINT8 uiIrql);
MBOOL32 OsServices_SpinLock_Lock(SHSpinLock hSpinLock);
MBOOL32 OsServices_SpinLock_Unlock(SHSpinLock hSpinLock);
MBOOL32 OsServices_SpinLock_Destroy(SHSpinLock hSpinLock);

// ---- Recursive mutexes. Acquire with OSSERVICES_INFINITE_TIMEOUT blocks without limit.
MBOOL32 OsServices_Mutex_Create(SHMutex hMutex);
MBOOL32 OsServices_Mutex_Acquire(SHMutex hMutex, MUINT32 uiTimeoutMs);
MBOOL32 OsServices_Mutex_Release(SHMutex hMutex);
MBOOL32 OsServices_Mutex_Destroy(SHMutex hMutex);

// ---- Events: auto-reset; a trigger wakes one waiter, or is kept for the next wait.
MBOOL32 OsServices_Event_Create(SHEvent hEvent);
MINT32  OsServices_Event_Wait(SHEvent hEvent, MUINT32 uiTimeoutMs);
MBOOL32 OsServices_Event_Trigger(SHEvent hEvent);
MBOOL32 OsServices_Event_Reset(SHEvent hEvent);
MBOOL32 OsServices_Event_Cancel(SHEvent hEvent);
MBOOL32 OsServices_Event_Activate(SHEvent hEvent);
MBOOL32 OsServices_Event_Destroy(SHEvent hEvent);

// ---- Signals: no memory; a wait waits for the next trigger, and a trigger wakes every waiter.
MBOOL32 OsServices_Signal_Create(SHSignal hSignal);
MINT32  OsServices_Signal_Wait(SHSignal hSignal, MUINT32 uiTimeoutMs, MUINT32 uiReserved);
MBOOL32 OsServices_Signal_Trigger(SHSignal hSignal);
MBOOL32 OsServices_Signal_Cancel(SHSignal hSignal);
MBOOL32 OsServices_Signal_Activate(SHSignal hSignal);
MBOOL32 OsServices_Signal_Destroy(SHSignal hSignal);
