// Copies between a caller's buffer and mapped device memory. Device memory is touched only by
// single loads and stores of 8, 16 or 32 bits, the widest that the address alignment and the
// remaining count allow, so registers see 32-bit accesses wherever possible and never an access
// that straddles a register. The caller's buffer has no alignment requirement.
#include <cstring>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"

namespace
{
// The backend operations for one access width.
template <typename TValue>
struct SAccess;
template <>
struct SAccess<MUINT8>
{
    static constexpr auto pfnRead = &SQelVxdBackend::pfnRead8;
    static constexpr auto pfnWrite = &SQelVxdBackend::pfnWrite8;
};
template <>
struct SAccess<MUINT16>
{
    static constexpr auto pfnRead = &SQelVxdBackend::pfnRead16;
    static constexpr auto pfnWrite = &SQelVxdBackend::pfnWrite16;
};
template <>
struct SAccess<MUINT32>
{
    static constexpr auto pfnRead = &SQelVxdBackend::pfnRead32;
    static constexpr auto pfnWrite = &SQelVxdBackend::pfnWrite32;
};

bool IsAligned(MEMHANDLE hAddress, MUINT32 uiWidth)
{
    return (hAddress & (uiWidth - 1)) == 0;
}

// Moves one value of exactly TValue's width between the buffer and the device.
template <typename TValue, bool bWrite>
void MoveOne(const SQelVxdBackend* poBackend, MEMHANDLE hAddress, MUINT8* puiBuffer)
{
    TValue uiValue;
    if constexpr (bWrite)
    {
        memcpy(&uiValue, puiBuffer, sizeof(uiValue));
        (poBackend->*SAccess<TValue>::pfnWrite)(hAddress, uiValue);
    }
    else
    {
        uiValue = (poBackend->*SAccess<TValue>::pfnRead)(hAddress);
        memcpy(puiBuffer, &uiValue, sizeof(uiValue));
    }
}

template <bool bWrite>
void CopyNaturalWidths(MEMHANDLE hAddress, MUINT8* puiBuffer, MUINT32 uiCount)
{
    const SQelVxdBackend* poBackend = g_poQelVxdBackend;
    while (uiCount != 0)
    {
        MUINT32 uiWidth = 1;
        if (IsAligned(hAddress, 4) && (uiCount >= 4))
        {
            uiWidth = 4;
            MoveOne<MUINT32, bWrite>(poBackend, hAddress, puiBuffer);
        }
        else if (IsAligned(hAddress, 2) && (uiCount >= 2))
        {
            uiWidth = 2;
            MoveOne<MUINT16, bWrite>(poBackend, hAddress, puiBuffer);
        }
        else
        {
            MoveOne<MUINT8, bWrite>(poBackend, hAddress, puiBuffer);
        }
        hAddress += uiWidth;
        puiBuffer += uiWidth;
        uiCount -= uiWidth;
    }
}

// A single naturally aligned access goes straight to the backend, or for a dword to the page the
// backend published when that page holds it; anything else takes the general copy, which splits it.
template <typename TValue>
int ReadScalar(MEMHANDLE hBase, MUINT32 uiOffset, TValue* puiValue)
{
    const MEMHANDLE hAddress = hBase + uiOffset;
    if ((hBase != 0) && (puiValue != nullptr) && IsAligned(hAddress, sizeof(TValue)))
    {
        if constexpr (sizeof(TValue) == sizeof(MUINT32))
        {
            const SQelVxdDirectPage& roPage = *g_poQelVxdDirectPage;
            if (roPage.Holds(hAddress))
            {
                memcpy(puiValue, roPage.At(hAddress), sizeof(TValue));
                ++*roPage.puiReads;
                return 1;
            }
        }
        *puiValue = (g_poQelVxdBackend->*SAccess<TValue>::pfnRead)(hAddress);
        return 1;
    }
    return memRead(hBase, uiOffset, puiValue, sizeof(TValue));
}

// A write that the general copy makes. Out of line, so that the value is put in memory for the copy
// only on this path: inlined, the store happens before the alignment is known, at every write.
template <typename TValue>
[[gnu::noinline]] int WriteSplit(MEMHANDLE hBase, MUINT32 uiOffset, TValue uiValue)
{
    return memWrite(hBase, uiOffset, &uiValue, sizeof(TValue));
}

template <typename TValue>
int WriteScalar(MEMHANDLE hBase, MUINT32 uiOffset, TValue uiValue)
{
    const MEMHANDLE hAddress = hBase + uiOffset;
    if ((hBase != 0) && IsAligned(hAddress, sizeof(TValue)))
    {
        if constexpr (sizeof(TValue) == sizeof(MUINT32))
        {
            const SQelVxdDirectPage& roPage = *g_poQelVxdDirectPage;
            if (roPage.Holds(hAddress))
            {
                memcpy(roPage.At(hAddress), &uiValue, sizeof(TValue));
                ++*roPage.puiWrites;
                return 1;
            }
        }
        (g_poQelVxdBackend->*SAccess<TValue>::pfnWrite)(hAddress, uiValue);
        return 1;
    }
    return WriteSplit(hBase, uiOffset, uiValue);
}
}

int memRead(MEMHANDLE hBase, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiCount)
{
    if (uiCount == 0)
    {
        return 1;
    }
    if (pvBuffer == nullptr)
    {
        return 0;
    }
    if (hBase == 0)
    {
        // Nothing is mapped: answer like an absent device rather than dereference address 0.
        memset(pvBuffer, 0xFF, uiCount);
        return 0;
    }
    CopyNaturalWidths<false>(hBase + uiOffset, static_cast<MUINT8*>(pvBuffer), uiCount);
    return 1;
}

int memWrite(MEMHANDLE hBase, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiCount)
{
    if (uiCount == 0)
    {
        return 1;
    }
    if ((pvBuffer == nullptr) || (hBase == 0))
    {
        return 0;
    }
    // The write direction only reads the buffer.
    CopyNaturalWidths<true>(hBase + uiOffset, static_cast<MUINT8*>(const_cast<void*>(pvBuffer)), uiCount);
    return 1;
}

int memReadWrite(MEMHANDLE hBase, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiCount, int iWrite)
{
    return (iWrite != 0) ? memWrite(hBase, uiOffset, pvBuffer, uiCount)
                         : memRead(hBase, uiOffset, pvBuffer, uiCount);
}

int memReadDword(MEMHANDLE hBase, MUINT32 uiOffset, MUINT32* puiValue)
{
    return ReadScalar(hBase, uiOffset, puiValue);
}

int memReadWord(MEMHANDLE hBase, MUINT32 uiOffset, MUINT16* puiValue)
{
    return ReadScalar(hBase, uiOffset, puiValue);
}

int memReadByte(MEMHANDLE hBase, MUINT32 uiOffset, MUINT8* puiValue)
{
    return ReadScalar(hBase, uiOffset, puiValue);
}

int memWriteDword(MEMHANDLE hBase, MUINT32 uiOffset, MUINT32 uiValue)
{
    return WriteScalar(hBase, uiOffset, uiValue);
}

int memWriteWord(MEMHANDLE hBase, MUINT32 uiOffset, MUINT16 uiValue)
{
    return WriteScalar(hBase, uiOffset, uiValue);
}

int memWriteByte(MEMHANDLE hBase, MUINT32 uiOffset, MUINT8 uiValue)
{
    return WriteScalar(hBase, uiOffset, uiValue);
}
