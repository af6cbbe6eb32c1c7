// The Linux backend: configuration space through libpci, physical windows through a mapping of
// the physical-memory device, time through CLOCK_MONOTONIC. Its operations table is
// g_oQelVxdLinuxBackend (QelVxdBackend.h).
#pragma once

#include "QelBaseTypes.h"

// ---- Configuration space (QelVxdPrivateLinuxPci.cpp). A function that libpci does not list,
// or an access that libpci reports as failed, returns 0.
int QelVxdLinuxConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize);
int QelVxdLinuxConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize);
void QelVxdLinuxReleasePci(void);
// Sets libpci up if it is not yet; 0 with one line saying why the bus cannot be read (libpci
// finds no working access method, for instance) and what to do.
int QelVxdLinuxCheckPci(char* pszError, MUINT32 uiErrorSize);
// Tests only: the directories libpci reads the bus from in place of /sys/bus/pci and
// /proc/bus/pci (the sysfs path replaces /sys/bus/pci), both or neither; null restores the
// defaults. Forgets the current view of the bus.
void QelVxdLinuxSetPciPathsForTest(const char* pszSysfsPath, const char* pszProcPath);
// Tests only: the shared library loaded in place of libpci (null: libpci again). Forgets the
// current view of the bus and the library loaded so far.
void QelVxdLinuxSetPciLibraryForTest(const char* pszName);

// ---- Physical windows (QelVxdPrivateLinuxMap.cpp).
inline constexpr MUINT32 QELVXD_PAGE_SIZE        = 4096;
inline constexpr MUINT32 QELVXD_PAGE_OFFSET_MASK = QELVXD_PAGE_SIZE - 1;

MEMHANDLE QelVxdMapMemoryLinux(MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiLength, MUINT32 uiFlags);
int QelVxdUnmapMemoryLinux(MEMHANDLE hAddress);

MUINT8  QelVxdLinuxRead8(MEMHANDLE hAddress);
MUINT16 QelVxdLinuxRead16(MEMHANDLE hAddress);
MUINT32 QelVxdLinuxRead32(MEMHANDLE hAddress);
void QelVxdLinuxWrite8(MEMHANDLE hAddress, MUINT8 uiValue);
void QelVxdLinuxWrite16(MEMHANDLE hAddress, MUINT16 uiValue);
void QelVxdLinuxWrite32(MEMHANDLE hAddress, MUINT32 uiValue);

// Names the file that mappings are made from, in place of /dev/mem (tests map a regular file).
// Null restores /dev/mem. Returns 0, changing nothing, when the path does not fit.
int QelVxdLinuxSetMemDevicePath(const char* pszPath);

// ---- Time (QelVxdPrivateLinuxTimer.cpp).
int  QelVxdPrivateLinuxTimer_Counter(MUINT64* puiMicroSeconds);
void QelVxdPrivateLinuxTimer_Delay(MUINT32 uiMicroSeconds);
int  QelVxdPrivateLinuxTimer_Sleep(MUINT32 uiMicroSeconds);
