// A recording backend for testing the generic platform code: configuration spaces, real test
// memory behind the mapped-access primitives, and a log of every configuration access, mapping
// and mapped-memory access made through the backend table.
#pragma once

#include <array>
#include <cstring>
#include <map>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "QelVxdPrivate.h"
#include "QelVxdPrivateLinux.h"

struct SFakeAccess
{
    char cKind;          // 'r'/'w' configuration read/write, 'R'/'W' mapped read/write, 'M' map
    PCIHANDLE hDevice;   // configuration accesses only
    MUINT64 uiAddress;   // configuration offset or mapped address
    MUINT32 uiSize;      // byte count or access width; the flags of a map
    bool operator==(const SFakeAccess&) const = default;
};

// Installed behind the public functions for its lifetime.
class CFakeQelVxdBackend
{
public:
    CFakeQelVxdBackend();
    ~CFakeQelVxdBackend();

    // A function with vendor id 0x1234 and the given dword at 0x0C (header type, multi-function).
    void AddFunction(PCIHANDLE hDevice, MUINT32 uiHeaderDword = 0)
    {
        m_oFunctions[hDevice].fill(0);
        SetDword(hDevice, 0x00, 0x1234);
        SetDword(hDevice, 0x0C, uiHeaderDword);
    }
    void SetDword(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiValue)
    {
        memcpy(m_oFunctions.at(hDevice).data() + uiOffset, &uiValue, 4);   // little-endian host
    }

    std::map<PCIHANDLE, std::array<MUINT8, 4096>> m_oFunctions;
    // Reads of a present function that fail, by (function, offset): the backend scribbles over
    // the buffer and reports the failure.
    std::set<std::pair<PCIHANDLE, MUINT32>> m_oFailingReads;
    std::set<MUINT32> m_oRefusedMapFlags;   // a map with these flags fails
    std::vector<SFakeAccess> m_daLog;
};

namespace FakeQelVxd
{
inline CFakeQelVxdBackend* g_poFake = nullptr;

// The function's bytes at the offset, null when it is absent. The generic layer must never let
// an access that leaves configuration space through.
inline MUINT8* Space(char cKind, PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiSize)
{
    g_poFake->m_daLog.push_back({cKind, hDevice, uiOffset, uiSize});
    if ((MUINT64)uiOffset + uiSize > 4096)
    {
        ADD_FAILURE() << "configuration access past the end: offset " << uiOffset << " size " << uiSize;
        return nullptr;
    }
    auto it = g_poFake->m_oFunctions.find(hDevice);
    return (it == g_poFake->m_oFunctions.end()) ? nullptr : it->second.data() + uiOffset;
}

inline int ConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    const MUINT8* puiSpace = Space('r', hDevice, uiOffset, uiSize);
    if (puiSpace != nullptr && g_poFake->m_oFailingReads.count({hDevice, uiOffset}) != 0)
    {
        memset(pvBuffer, 0x5A, uiSize);
        return -1;
    }
    if (puiSpace != nullptr)
    {
        memcpy(pvBuffer, puiSpace, uiSize);
    }
    return puiSpace != nullptr;
}

inline int ConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    MUINT8* puiSpace = Space('w', hDevice, uiOffset, uiSize);
    if (puiSpace == nullptr)
    {
        return 0;
    }
    memcpy(puiSpace, pvBuffer, uiSize);
    return 1;
}

// The physical address is the process address: tests map their own buffers.
inline MEMHANDLE Map(MUINT32 uiLow, MUINT32 uiHigh, MUINT32, MUINT32 uiFlags)
{
    const MEMHANDLE hAddress = ((MEMHANDLE)uiHigh << 32) | uiLow;
    g_poFake->m_daLog.push_back({'M', 0, hAddress, uiFlags});
    return g_poFake->m_oRefusedMapFlags.count(uiFlags) != 0 ? 0 : hAddress;
}

template <typename TValue>
TValue Read(MEMHANDLE hAddress)
{
    g_poFake->m_daLog.push_back({'R', 0, hAddress, sizeof(TValue)});
    TValue uiValue;
    memcpy(&uiValue, reinterpret_cast<const void*>(hAddress), sizeof(uiValue));
    return uiValue;
}

template <typename TValue>
void Write(MEMHANDLE hAddress, TValue uiValue)
{
    g_poFake->m_daLog.push_back({'W', 0, hAddress, sizeof(TValue)});
    memcpy(reinterpret_cast<void*>(hAddress), &uiValue, sizeof(uiValue));
}

// The fake publishes no page: every access reaches it.
inline SQelVxdDirectPage g_oNoDirectPage;

inline const SQelVxdBackend g_oTable = {
    "fake", ConfigRead, ConfigWrite, [] {}, Map, [](MEMHANDLE) { return 1; },
    Read<MUINT8>, Read<MUINT16>, Read<MUINT32>, Write<MUINT8>, Write<MUINT16>, Write<MUINT32>,
    QelVxdPrivateLinuxTimer_Counter, QelVxdPrivateLinuxTimer_Delay, QelVxdPrivateLinuxTimer_Sleep,
    &g_oNoDirectPage,
};
}

inline CFakeQelVxdBackend::CFakeQelVxdBackend()
{
    FakeQelVxd::g_poFake = this;
    QelVxdSetBackendForTest(&FakeQelVxd::g_oTable);
}

inline CFakeQelVxdBackend::~CFakeQelVxdBackend()
{
    QelVxdSetBackendForTest(nullptr);
    FakeQelVxd::g_poFake = nullptr;
}
