// Platform layer: PCI configuration space, PCI bus enumeration, physical-memory mappings,
// mapped-memory accesses and the microsecond timer. Everything above this layer reaches a board
// through these functions only; they forward to the backend chosen on first use (QelVxdBackend.h).
#pragma once

#include "QelBaseTypes.h"

// Split form of a PCIHANDLE.
typedef struct
{
    MUINT32 function : 3;
    MUINT32 device   : 5;
    MUINT32 bus      : 8;
    MUINT32 reserved : 16;
} PCILOCATION;

// A 64-bit value handed out as two 32-bit halves (timer frequency).
typedef struct
{
    MUINT32 uiLowPart;
    MUINT32 uiHighPart;
} SQelLargeInteger;

typedef int (*PCISCANCALLBACK)(PCIHANDLE hPci, void* pvContext);

// PCI handle helpers.
inline constexpr PCIHANDLE QelVxdMakePciHandle(MUINT32 uiBus, MUINT32 uiDevice, MUINT32 uiFunction)
{
    return (PCIHANDLE)(((uiBus & 0xFF) << 8) | ((uiDevice & 0x1F) << 3) | (uiFunction & 0x7));
}
inline constexpr MUINT32 QelVxdPciBus(PCIHANDLE h)      { return (MUINT32)((h >> 8) & 0xFF); }
inline constexpr MUINT32 QelVxdPciDevice(PCIHANDLE h)   { return (MUINT32)((h >> 3) & 0x1F); }
inline constexpr MUINT32 QelVxdPciFunction(PCIHANDLE h) { return (MUINT32)(h & 0x7); }

// ---- Configuration space. Every function returns 1. A function that does not exist reads as
// all ones (0xFF bytes) and drops writes, as the hardware does; so does an access that does not
// lie wholly inside the 4096 bytes of configuration space. A function that exists but whose read
// fails reads as zeros, the value callers start from, so a read-modify-write sets only its bits.
int csReadWrite(PCIHANDLE hDevice, int iOffset, void* pvBuffer, int iSize, int iAccess);
int csRead(PCIHANDLE hDevice, int iOffset, void* pvBuffer, int iSize);
int csWrite(PCIHANDLE hDevice, int iOffset, void* pvBuffer, int iSize);
int csReadDword(PCIHANDLE hDevice, int iOffset, MUINT32* puiValue);
int csReadWord(PCIHANDLE hDevice, int iOffset, MUINT16* puiValue);
int csReadByte(PCIHANDLE hDevice, int iOffset, MUINT8* puiValue);
int csWriteDword(PCIHANDLE hDevice, int iOffset, MUINT32 uiValue);
int csWriteWord(PCIHANDLE hDevice, int iOffset, MUINT16 uiValue);
int csWriteByte(PCIHANDLE hDevice, int iOffset, MUINT8 uiValue);

// ---- PCI bus.
int pciScan(PCISCANCALLBACK pfnCallback, void* pvContext);
int pciScanBus(PCISCANCALLBACK pfnCallback, void* pvContext);
// Capability lookup: 1 and the capability's offset when found, else 0.
int pciFindCapability(PCIHANDLE hPci, MUINT32* puiOffset, MUINT32 uiCapabilityId);
int pciFindPMCapability(PCIHANDLE hPci, MUINT32* puiOffset);
int pciFindAGPCapability(PCIHANDLE hPci, MUINT32* puiOffset);
// Sizes a base address register (read, write all ones, read back, restore): 1, or 0 when an
// output pointer is null.
int pciGetTermbase(PCIHANDLE hPci, MUINT32 uiOffset, MUINT32* puiBase, MUINT32* puiMask);
int pciGetLocation(PCIHANDLE hPci, PCILOCATION* poLocation);

// ---- Physical memory. Mapping functions return the virtual address of the first byte, 0 on
// failure.
MEMHANDLE memMap64(MUINT64 uiPhysicalAddress, MUINT32 uiLength, MUINT32 uiFlags);
MEMHANDLE memMapEx(MUINT32 uiPhysicalAddress, MUINT32 uiLength, MUINT32 uiFlags);
MEMHANDLE memMap(MUINT32 uiPhysicalAddress, MUINT32 uiLength);
int memUnmap(MEMHANDLE hAddress);

// Copies between a buffer and mapped memory using the widest naturally aligned access (32, 16,
// then 8 bits). Return 1; 0 when the buffer is null or nothing is mapped (base 0), in which case
// a read fills the buffer with 0xFF and the device is not touched.
int memRead(MEMHANDLE hBase, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiCount);
int memWrite(MEMHANDLE hBase, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiCount);
int memReadWrite(MEMHANDLE hBase, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiCount, int iWrite);
int memReadDword(MEMHANDLE hBase, MUINT32 uiOffset, MUINT32* puiValue);
int memReadWord(MEMHANDLE hBase, MUINT32 uiOffset, MUINT16* puiValue);
int memReadByte(MEMHANDLE hBase, MUINT32 uiOffset, MUINT8* puiValue);
int memWriteDword(MEMHANDLE hBase, MUINT32 uiOffset, MUINT32 uiValue);
int memWriteWord(MEMHANDLE hBase, MUINT32 uiOffset, MUINT16 uiValue);
int memWriteByte(MEMHANDLE hBase, MUINT32 uiOffset, MUINT8 uiValue);

// ---- Timer (microseconds, monotonic) and library.
int tmInit(void);
int tmDelay(MUINT32 uiMicroSeconds);   // busy wait
int tmSleep(MUINT32 uiMicroSeconds);   // sleep; 1 on success, 0 on failure
int tmCounter(MUINT64* puiMicroSeconds);
int tmFrequency(SQelLargeInteger* poFrequency);

// ---- Exclusive use of the boards. Programs that drive the boards serialise on an advisory lock
// (flock) on a file: /run/lock/InitMemContext.lock on the hardware, the state file's path with
// ".lock" appended on a simulated rig. A rig without a state file keeps its boards inside the
// process, so nothing is shared and no lock is taken (the path is empty).
const char* QelVxdLockPath(void);
// Takes that lock, waiting up to uiWaitSeconds while another process holds it; the lock is then
// held until the process exits. 1 when held (or not needed); 0 with one line in pszError saying
// what failed and what to do.
int QelVxdLockBoards(MUINT32 uiWaitSeconds, char* pszError, MUINT32 uiErrorSize);
// 1 when the PCI bus can be read; 0 with one line in pszError saying what failed and what to do.
int QelVxdCheckBusAccess(char* pszError, MUINT32 uiErrorSize);

int InitQELLibrary(void);
int ReleaseQELLibrary(void);
