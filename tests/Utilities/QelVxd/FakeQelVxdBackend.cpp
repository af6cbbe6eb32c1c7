#include "FakeQelVxdBackend.h"

#include <cstring>

#include <gtest/gtest.h>

#include "QelVxdPrivate.h"

CFakeQelVxdBackend* CFakeQelVxdBackend::ms_poCurrent = nullptr;

namespace
{
CFakeQelVxdBackend& Fake()
{
    return *CFakeQelVxdBackend::ms_poCurrent;
}

// The function's space, or null when it is absent or the access leaves configuration space
// (which the generic layer must never let through).
MUINT8* ConfigSpace(char cKind, PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiSize)
{
    Fake().m_daLog.push_back({cKind, hDevice, uiOffset, uiSize});
    if ((MUINT64)uiOffset + uiSize > 4096)
    {
        ADD_FAILURE() << "configuration access past the end: offset " << uiOffset << " size " << uiSize;
        return nullptr;
    }
    auto it = Fake().m_oFunctions.find(hDevice);
    return (it == Fake().m_oFunctions.end()) ? nullptr : it->second.data() + uiOffset;
}

int ConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    const MUINT8* puiSpace = ConfigSpace('r', hDevice, uiOffset, uiSize);
    if (puiSpace == nullptr)
    {
        return 0;
    }
    memcpy(pvBuffer, puiSpace, uiSize);
    return 1;
}

int ConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    MUINT8* puiSpace = ConfigSpace('w', hDevice, uiOffset, uiSize);
    if (puiSpace == nullptr)
    {
        return 0;
    }
    memcpy(puiSpace, pvBuffer, uiSize);
    auto itBar = Fake().m_oBarSizes.find({hDevice, uiOffset});
    if (itBar != Fake().m_oBarSizes.end())
    {
        // Address bits below the decoded size are hard-wired to 0; the flag bits are read-only.
        const MUINT32 uiWritten = Fake().GetDword(hDevice, uiOffset);
        Fake().SetDword(hDevice, uiOffset, (uiWritten & ~(itBar->second - 1)) | 0x8);
    }
    return 1;
}

void ReleasePci(void)
{
}

MEMHANDLE Map(MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiLength, MUINT32 uiFlags)
{
    Fake().m_daLog.push_back({'m', 0, uiFlags, uiLength});
    if (Fake().m_oMapFlagsThatWork.count(uiFlags) == 0)
    {
        return 0;
    }
    return ((MEMHANDLE)uiAddressHigh << 32) | uiAddressLow;
}

int Unmap(MEMHANDLE)
{
    return 1;
}

template <typename TValue>
TValue Read(MEMHANDLE hAddress)
{
    Fake().m_daLog.push_back({'R', 0, hAddress, sizeof(TValue)});
    TValue uiValue;
    memcpy(&uiValue, reinterpret_cast<const void*>(hAddress), sizeof(uiValue));
    return uiValue;
}

template <typename TValue>
void Write(MEMHANDLE hAddress, TValue uiValue)
{
    Fake().m_daLog.push_back({'W', 0, hAddress, sizeof(TValue)});
    memcpy(reinterpret_cast<void*>(hAddress), &uiValue, sizeof(uiValue));
}

int Counter(MUINT64* puiMicroSeconds)
{
    *puiMicroSeconds = 0;
    return 1;
}

void Delay(MUINT32)
{
}

int Sleep(MUINT32)
{
    return 1;
}
}

const SQelVxdBackend CFakeQelVxdBackend::msc_oTable = {
    "fake",        ConfigRead,      ConfigWrite,     ReleasePci,     Map,     Unmap,   Read<MUINT8>, Read<MUINT16>,
    Read<MUINT32>, Write<MUINT8>, Write<MUINT16>, Write<MUINT32>, Counter, Delay, Sleep,
};

CFakeQelVxdBackend::CFakeQelVxdBackend()
{
    ms_poCurrent = this;
    QelVxdSetBackendForTest(&msc_oTable);
}

CFakeQelVxdBackend::~CFakeQelVxdBackend()
{
    QelVxdSetBackendForTest(nullptr);
    ms_poCurrent = nullptr;
}

std::array<MUINT8, 4096>& CFakeQelVxdBackend::AddFunction(PCIHANDLE hDevice, MUINT16 uiVendorId, MUINT8 uiHeaderType)
{
    std::array<MUINT8, 4096>& roSpace = m_oFunctions[hDevice];
    roSpace.fill(0);
    SetDword(hDevice, 0x00, uiVendorId);
    SetDword(hDevice, 0x0C, (MUINT32)uiHeaderType << 16);
    return roSpace;
}

void CFakeQelVxdBackend::SetDword(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiValue)
{
    std::array<MUINT8, 4096>& roSpace = m_oFunctions.at(hDevice);
    for (MUINT32 i = 0; i < 4; i++)
    {
        roSpace.at(uiOffset + i) = (MUINT8)(uiValue >> (8 * i));
    }
}

MUINT32 CFakeQelVxdBackend::GetDword(PCIHANDLE hDevice, MUINT32 uiOffset) const
{
    const std::array<MUINT8, 4096>& roSpace = m_oFunctions.at(hDevice);
    MUINT32 uiValue = 0;
    for (MUINT32 i = 0; i < 4; i++)
    {
        uiValue |= (MUINT32)roSpace.at(uiOffset + i) << (8 * i);
    }
    return uiValue;
}

void CFakeQelVxdBackend::AddBar(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiSize)
{
    m_oBarSizes[{hDevice, uiOffset}] = uiSize;
}

std::vector<SFakeAccess> CFakeQelVxdBackend::Log(const char* pszKinds) const
{
    std::vector<SFakeAccess> daLog;
    for (const SFakeAccess& ro : m_daLog)
    {
        if (strchr(pszKinds, ro.cKind) != nullptr)
        {
            daLog.push_back(ro);
        }
    }
    return daLog;
}
