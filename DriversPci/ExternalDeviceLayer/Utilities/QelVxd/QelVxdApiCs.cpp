// PCI configuration-space access. Every function returns 1: a function that is not there, or an
// access that leaves configuration space, reads as all ones and drops writes, which is what the
// bus itself answers for an absent function. Callers recognise absence by a vendor id of 0xFFFF.
// A function that is there but whose read fails reads as zeros: all ones would look like an
// absent function, and a caller that writes a modified copy back (a command register, a bridge's
// Link Control) must then set only its own bits, never every bit of the register.
#include <cstring>

#include "QelVxdApi.h"
#include "QelPciCfgRegs.h"
#include "QelVxdPrivate.h"

namespace
{
// Configuration space is 4096 bytes; an access outside it never reaches a backend, so no
// backend can be asked to touch memory past its model of a function.
bool IsInConfigSpace(int iOffset, int iSize)
{
    return (iOffset >= 0) && (iSize > 0) &&
           ((MINT64)iOffset + (MINT64)iSize <= (MINT64)PciCfg::SPACE_SIZE);
}

// Configuration space is little-endian whatever the host is.
template <typename TValue>
int ReadLittleEndian(PCIHANDLE hDevice, int iOffset, TValue* puiValue)
{
    MUINT8 auiBytes[sizeof(TValue)];
    csRead(hDevice, iOffset, auiBytes, sizeof(TValue));
    TValue uiValue = 0;
    for (size_t i = sizeof(TValue); i-- > 0;)
    {
        uiValue = (TValue)((uiValue << 8) | auiBytes[i]);
    }
    if (puiValue != nullptr)
    {
        *puiValue = uiValue;
    }
    return 1;
}

template <typename TValue>
int WriteLittleEndian(PCIHANDLE hDevice, int iOffset, TValue uiValue)
{
    MUINT8 auiBytes[sizeof(TValue)];
    for (size_t i = 0; i < sizeof(TValue); i++)
    {
        auiBytes[i] = (MUINT8)(uiValue >> (8 * i));
    }
    return csWrite(hDevice, iOffset, auiBytes, sizeof(TValue));
}
}

int csRead(PCIHANDLE hDevice, int iOffset, void* pvBuffer, int iSize)
{
    if ((pvBuffer == nullptr) || (iSize <= 0))
    {
        return 1;
    }
    const int iResult = IsInConfigSpace(iOffset, iSize)
                            ? g_poQelVxdBackend->pfnConfigRead(hDevice & QELVXD_PCI_HANDLE_MASK, (MUINT32)iOffset,
                                                               pvBuffer, (MUINT32)iSize)
                            : 0;
    if (iResult <= 0)
    {
        memset(pvBuffer, (iResult == 0) ? 0xFF : 0x00, (size_t)iSize);
    }
    return 1;
}

int csWrite(PCIHANDLE hDevice, int iOffset, void* pvBuffer, int iSize)
{
    if ((pvBuffer != nullptr) && IsInConfigSpace(iOffset, iSize))
    {
        // A write to an absent function is dropped, as on the bus.
        g_poQelVxdBackend->pfnConfigWrite(hDevice & QELVXD_PCI_HANDLE_MASK, (MUINT32)iOffset, pvBuffer,
                                          (MUINT32)iSize);
    }
    return 1;
}

int csReadWrite(PCIHANDLE hDevice, int iOffset, void* pvBuffer, int iSize, int iAccess)
{
    return (iAccess != 0) ? csWrite(hDevice, iOffset, pvBuffer, iSize)
                          : csRead(hDevice, iOffset, pvBuffer, iSize);
}

int csReadDword(PCIHANDLE hDevice, int iOffset, MUINT32* puiValue)
{
    return ReadLittleEndian(hDevice, iOffset, puiValue);
}

int csReadWord(PCIHANDLE hDevice, int iOffset, MUINT16* puiValue)
{
    return ReadLittleEndian(hDevice, iOffset, puiValue);
}

int csReadByte(PCIHANDLE hDevice, int iOffset, MUINT8* puiValue)
{
    return ReadLittleEndian(hDevice, iOffset, puiValue);
}

int csWriteDword(PCIHANDLE hDevice, int iOffset, MUINT32 uiValue)
{
    return WriteLittleEndian(hDevice, iOffset, uiValue);
}

int csWriteWord(PCIHANDLE hDevice, int iOffset, MUINT16 uiValue)
{
    return WriteLittleEndian(hDevice, iOffset, uiValue);
}

int csWriteByte(PCIHANDLE hDevice, int iOffset, MUINT8 uiValue)
{
    return WriteLittleEndian(hDevice, iOffset, uiValue);
}
