// The seam between the platform functions of QelVxdApi.h and what actually answers them: the
// Linux backend (libpci, /dev/mem, CLOCK_MONOTONIC) or the board simulator. The backend is chosen
// once, on the first platform call: the environment variable QELVXD_SIM unset or empty selects
// Linux; any other value selects the simulator (a rig name or a rig file).
//
// The generic code above this table (bus scan, capability walk, BAR sizing, the width rules of
// the mapped-memory copy) is shared by both backends; a backend only provides exact-width
// primitives. Every member must be set. What the generic code guarantees to a backend:
// configuration handles carry only their low 16 bits; configuration accesses have a non-null
// buffer, a size of at least 1 and lie wholly inside the 4096 bytes of configuration space;
// mapped accesses are naturally aligned for their width and never made through a base of 0.
#pragma once

#include "QelBaseTypes.h"

// A page of a mapped window whose dwords a backend answers from plain host memory, published so
// that the platform's dword accesses (memReadDword, memWriteDword) reach it without a call into
// the backend: they load or store the bytes themselves and count the access on the backend's
// counters. The backend withdraws the page (makes it empty) before anything changes how the page
// would be answered, and whenever anything else may need to see an access. The simulator
// publishes the DRAM page that the last memory access reached: the memory test makes a quarter of
// a million accesses in a row, and a call into the backend for each was a large part of what the
// test cost. The Linux backend publishes nothing: every access of real hardware is the bus's.
struct SQelVxdDirectPage
{
    static constexpr MUINT32 msc_uiSize = 4096;
    // Where an empty page starts: the last page of the address space, which is the kernel's and
    // never a window of a process, so that no access finds an empty page holding it.
    static constexpr MUINTPTR msc_uiEmpty = ~(MUINTPTR)0 - (msc_uiSize - 1);

    MUINTPTR uiStart   = msc_uiEmpty;   // mapped address of the page's first byte
    MUINT8* pucBytes   = nullptr;       // msc_uiSize bytes
    MUINT64* puiReads  = nullptr;       // the backend's access counters for the page
    MUINT64* puiWrites = nullptr;

    // Whether a dword access at hAddress is made in the page. All four bytes must lie in it: a
    // dword in its last three bytes runs into the next page and goes to the backend.
    bool Holds(MEMHANDLE hAddress) const { return hAddress - uiStart <= msc_uiSize - sizeof(MUINT32); }
    MUINT8* At(MEMHANDLE hAddress) const { return pucBytes + (hAddress - uiStart); }
};

struct SQelVxdBackend
{
    const char* pszName;

    // Configuration space of one function. Returns 1 when the function exists and the access
    // was made, 0 when it does not exist (the caller then reports all ones for a read), and -1
    // when it exists but the access failed (the caller then reports zeros for a read, whatever
    // the backend left in the buffer).
    int (*pfnConfigRead)(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize);
    int (*pfnConfigWrite)(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize);
    // Forgets any cached view of the bus (ReleaseQELLibrary).
    void (*pfnReleasePci)(void);

    // Physical windows.
    MEMHANDLE (*pfnMap)(MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiLength, MUINT32 uiFlags);
    int (*pfnUnmap)(MEMHANDLE hAddress);

    // Single accesses of exactly this width to a mapped address.
    MUINT8  (*pfnRead8)(MEMHANDLE hAddress);
    MUINT16 (*pfnRead16)(MEMHANDLE hAddress);
    MUINT32 (*pfnRead32)(MEMHANDLE hAddress);
    void (*pfnWrite8)(MEMHANDLE hAddress, MUINT8 uiValue);
    void (*pfnWrite16)(MEMHANDLE hAddress, MUINT16 uiValue);
    void (*pfnWrite32)(MEMHANDLE hAddress, MUINT32 uiValue);

    // Time: monotonic microsecond counter (1 on success), busy wait, sleep (1 on success).
    int  (*pfnCounter)(MUINT64* puiMicroSeconds);
    void (*pfnDelay)(MUINT32 uiMicroSeconds);
    int  (*pfnSleep)(MUINT32 uiMicroSeconds);

    // The page this backend publishes, never null (a backend without one points at an empty
    // page that stays empty).
    SQelVxdDirectPage* poDirectPage;
};

// The backend in use; selected on the first call.
const SQelVxdBackend* QelVxdBackend(void);

// The Linux backend (QelVxdPrivateLinux*.cpp).
extern const SQelVxdBackend g_oQelVxdLinuxBackend;

// The simulator backend for a QELVXD_SIM value ("default" or the path of a rig file). Provided
// by the QelVxdSim library; on a rig error it prints one line on standard error and ends the
// process with status 2 before any access is made.
const SQelVxdBackend* QelVxdSimCreateBackend(const char* pszRig);

// The lock file of a rig (a QELVXD_SIM value): its state file's path with ".lock" appended, or ""
// when the rig keeps no state or cannot be loaded (QelVxdLockPath). Loads no simulator, so that
// the lock is held before the rig's state is read.
const char* QelVxdSimLockPath(const char* pszRig);

// The QELVXD_SIM value that selects the simulator, or null when the Linux backend answers.
const char* QelVxdSimulatorRig(void);
