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
