// Device API: a flat, procedural view of the boards of the family found on the PCI bus, over one
// process-wide context manager. Boards are addressed by a 0-based index in the order the manager
// accepted them.
//
// Call XDevQelVxd_Init first and XDevQelVxd_Cleanup last; every other call made without a manager
// fails with an assertion report. Not for use from more than one thread.
//
// Results: 1 success / 0 failure, except XDevQelVxd_InitializeDevice (0 initialised now, 1 already
// initialised, -1 failure). Each failure point makes one assertion report naming this file and a
// fixed line number.
#pragma once

#include "QelBaseTypes.h"

class XContextMgr;

// Description of one board.
struct XDevVxdInfoTag
{
    char    szProductName[64];
    char    szSerialNumber[64];
    char    szFirmwareVersion[64];   // left as the caller had it
    MBOOL32 bIsSystemProcessorOnBoard;
    MBOOL32 bIsSystemProcessorOnPrimaryBus;
    MBOOL32 bIsExternalProcessorAvailable;
    MUINT32 uiMemSize;               // bytes of on-board memory
};

// The on-board memory every board of the family carries: 256 MiB.
constexpr MUINT32 XDEVQELVXD_BOARD_MEMORY_SIZE = 0x10000000;

// The process-wide manager; null outside Init/Cleanup.
extern XContextMgr* g_poContextMgr;

// Creates the manager (or keeps the existing one), registers a new memory-initialisation builder
// and scans the bus. 1 when at least one board was found.
int XDevQelVxd_Init();
// Destroys the manager and everything it holds: 1, or 0 when there was none.
int XDevQelVxd_Cleanup();
int XDevQelVxd_GetNbDevice(MUINT32* puiNbOfDevice);
// Any out-pointer may be null. Nothing is written on failure.
int XDevQelVxd_GetDevice(MUINT32 uiIndex, MUINT64* phPciHandle, MUINT64* phRegs, MUINT32* puiRegsSize,
                         MUINT64* phMem, MUINT32* puiMemSize);
// Reads the board's parameter block and initialises its clocks and memory.
int XDevQelVxd_InitializeDevice(MUINT32 uiIndex);
int XDevQelVxd_GetDeviceInfo(MUINT32 uiIndex, XDevVxdInfoTag* poDevInfo);
// Clears the board's "memory initialised" marker: the next initialisation resets the chip and
// initialises again.
int XDevQelVxd_ClearInitialized(MUINT32 uiIndex);
