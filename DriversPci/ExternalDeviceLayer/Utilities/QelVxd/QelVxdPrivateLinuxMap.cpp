// Linux physical windows: shared read-write mappings of the physical-memory device, and the
// exact-width accesses to them.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "QelVxdPrivateLinux.h"

namespace
{
// One live mapping. The list is circular and doubly linked around a sentinel, newest first.
struct SQelVxdMapEntry
{
    SQelVxdMapEntry* poPrev;
    SQelVxdMapEntry* poNext;
    MEMHANDLE hAddress;   // what the caller got: mapped base + page offset of the physical address
    MUINT32 uiLength;     // what the caller asked for
};

SQelVxdMapEntry s_oMapList = {&s_oMapList, &s_oMapList, 0, 0};

const char QELVXD_DEFAULT_MEM_DEVICE[] = "/dev/mem";
char s_szMemDevicePath[PATH_MAX] = "/dev/mem";

void LinkAtHead(SQelVxdMapEntry* poEntry)
{
    poEntry->poPrev = &s_oMapList;
    poEntry->poNext = s_oMapList.poNext;
    s_oMapList.poNext->poPrev = poEntry;
    s_oMapList.poNext = poEntry;
}

void Unlink(SQelVxdMapEntry* poEntry)
{
    poEntry->poPrev->poNext = poEntry->poNext;
    poEntry->poNext->poPrev = poEntry->poPrev;
}

SQelVxdMapEntry* FindEntry(MEMHANDLE hAddress)
{
    for (SQelVxdMapEntry* poEntry = s_oMapList.poNext; poEntry != &s_oMapList; poEntry = poEntry->poNext)
    {
        if (poEntry->hAddress == hAddress)
        {
            return poEntry;
        }
    }
    return nullptr;
}
}

int QelVxdLinuxSetMemDevicePath(const char* pszPath)
{
    if (pszPath == nullptr)
    {
        pszPath = QELVXD_DEFAULT_MEM_DEVICE;
    }
    const size_t uiLength = strlen(pszPath);
    if (uiLength >= sizeof(s_szMemDevicePath))
    {
        return 0;
    }
    memcpy(s_szMemDevicePath, pszPath, uiLength + 1);
    return 1;
}

MEMHANDLE QelVxdMapMemoryLinux(MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiLength, MUINT32 uiFlags)
{
    // The memory device maps every window the same way; a cacheability request has nothing to
    // select here.
    (void)uiFlags;

    SQelVxdMapEntry* poEntry = static_cast<SQelVxdMapEntry*>(malloc(sizeof(SQelVxdMapEntry)));
    if (poEntry == nullptr)
    {
        return 0;
    }

    const int iFile = open(s_szMemDevicePath, O_RDWR | O_CLOEXEC);
    if (iFile < 0)
    {
        free(poEntry);
        return 0;
    }

    // mmap works on whole pages: map from the page that holds the first byte through the page
    // that holds the last one. Computed in 64 bits so a length near 4 GiB cannot wrap.
    const MUINT32 uiPageOffset = uiAddressLow & QELVXD_PAGE_OFFSET_MASK;
    const MUINT64 uiMapLength = ((MUINT64)uiLength + uiPageOffset + QELVXD_PAGE_OFFSET_MASK) &
                                ~(MUINT64)QELVXD_PAGE_OFFSET_MASK;
    const MUINT64 uiFileOffset = ((MUINT64)uiAddressHigh << 32) | (uiAddressLow & ~QELVXD_PAGE_OFFSET_MASK);

    void* pvBase = mmap(nullptr, (size_t)uiMapLength, PROT_READ | PROT_WRITE, MAP_SHARED, iFile, (off_t)uiFileOffset);
    if (pvBase == MAP_FAILED)
    {
        close(iFile);
        free(poEntry);
        return 0;
    }

    poEntry->hAddress = (MEMHANDLE)pvBase + uiPageOffset;
    poEntry->uiLength = uiLength;
    LinkAtHead(poEntry);
    // The mapping holds its own reference to the device; the descriptor is no longer needed.
    close(iFile);
    return poEntry->hAddress;
}

int QelVxdUnmapMemoryLinux(MEMHANDLE hAddress)
{
    SQelVxdMapEntry* poEntry = FindEntry(hAddress);
    if (poEntry == nullptr)
    {
        return 0;
    }
    Unlink(poEntry);

    // The length is rounded down, not up as at mapping time: the last partial page stays
    // mapped, and a window shorter than a page stays mapped entirely (munmap refuses a zero
    // length). This is deliberate and kept: at worst a page of address space stays reserved
    // until the process ends, and the window's device pages are never touched again.
    const MEMHANDLE hPageOffset = hAddress & QELVXD_PAGE_OFFSET_MASK;
    const MUINT64 uiUnmapLength = ((MUINT64)hPageOffset + poEntry->uiLength) & ~(MUINT64)QELVXD_PAGE_OFFSET_MASK;
    munmap(reinterpret_cast<void*>(hAddress - hPageOffset), (size_t)uiUnmapLength);

    free(poEntry);
    return 1;
}

// Exact-width volatile accesses: the compiler may neither merge, split, reorder nor drop them,
// which a device register relies on.
MUINT8 QelVxdLinuxRead8(MEMHANDLE hAddress)
{
    return *reinterpret_cast<const volatile MUINT8*>(hAddress);
}

MUINT16 QelVxdLinuxRead16(MEMHANDLE hAddress)
{
    return *reinterpret_cast<const volatile MUINT16*>(hAddress);
}

MUINT32 QelVxdLinuxRead32(MEMHANDLE hAddress)
{
    return *reinterpret_cast<const volatile MUINT32*>(hAddress);
}

void QelVxdLinuxWrite8(MEMHANDLE hAddress, MUINT8 uiValue)
{
    *reinterpret_cast<volatile MUINT8*>(hAddress) = uiValue;
}

void QelVxdLinuxWrite16(MEMHANDLE hAddress, MUINT16 uiValue)
{
    *reinterpret_cast<volatile MUINT16*>(hAddress) = uiValue;
}

void QelVxdLinuxWrite32(MEMHANDLE hAddress, MUINT32 uiValue)
{
    *reinterpret_cast<volatile MUINT32*>(hAddress) = uiValue;
}
