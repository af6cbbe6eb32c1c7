// The generic platform layer against a recording fake backend: the bus scan, the capability
// walk and the configuration-space rules, and which mapped-memory accesses of which width reach
// the device, in which order, with the bytes landing where they belong.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdPrivateLinux.h"

namespace
{
// ---- The fake backend: configuration spaces, real test memory behind the mapped-access
// primitives, and a log of every configuration and mapped-memory access made through the
// backend table.

struct SFakeAccess
{
    char cKind;          // 'r'/'w' configuration read/write, 'R'/'W' mapped read/write
    PCIHANDLE hDevice;   // configuration accesses only
    MUINT64 uiAddress;   // configuration offset or mapped address
    MUINT32 uiSize;      // byte count or access width
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
    std::vector<SFakeAccess> m_daLog;
};

CFakeQelVxdBackend* g_poFake = nullptr;

// The function's bytes at the offset, null when it is absent. The generic layer must never let
// an access that leaves configuration space through.
MUINT8* Space(char cKind, PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiSize)
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

int ConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
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

int ConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    MUINT8* puiSpace = Space('w', hDevice, uiOffset, uiSize);
    if (puiSpace == nullptr)
    {
        return 0;
    }
    memcpy(puiSpace, pvBuffer, uiSize);
    return 1;
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
SQelVxdDirectPage g_oNoDirectPage;

const SQelVxdBackend g_oTable = {
    // Tests access their own buffers: nothing is mapped.
    "fake", ConfigRead, ConfigWrite, [] {}, [](MUINT32, MUINT32, MUINT32, MUINT32) { return MEMHANDLE{0}; },
    [](MEMHANDLE) { return 1; },
    Read<MUINT8>, Read<MUINT16>, Read<MUINT32>, Write<MUINT8>, Write<MUINT16>, Write<MUINT32>,
    QelVxdPrivateLinuxTimer_Counter, QelVxdPrivateLinuxTimer_Delay, QelVxdPrivateLinuxTimer_Sleep,
    &g_oNoDirectPage,
};

CFakeQelVxdBackend::CFakeQelVxdBackend()
{
    g_poFake = this;
    QelVxdSetBackendForTest(&g_oTable);
}

CFakeQelVxdBackend::~CFakeQelVxdBackend()
{
    QelVxdSetBackendForTest(nullptr);
    g_poFake = nullptr;
}

// ---- Configuration space.

constexpr auto H = QelVxdMakePciHandle;
constexpr MUINT32 HEADER_MULTI = 0x800000;
constexpr MUINT32 HEADER_BRIDGE = 0x010000;

int RecordVisit(PCIHANDLE hPci, void* pvContext)
{
    static_cast<std::vector<PCIHANDLE>*>(pvContext)->push_back(hPci);
    return 0;
}

// Functions 1-7 are probed only behind a present, multi-function function 0; a vendor id of 0
// or 0xFFFF is no function. A bridge's bus numbers are read as it is probed, and nothing is
// ever written.
TEST(QelVxdPciScan, VisitsExactlyThePresentFunctionsAndReadsBridgeBusNumbers)
{
    CFakeQelVxdBackend oFake;
    for (PCIHANDLE h : {H(0, 0, 0), H(0, 1, 2), H(0, 2, 3), H(0, 3, 0), H(0, 3, 1), H(0, 4, 0), H(2, 0, 7), H(255, 31, 0)})
    {
        oFake.AddFunction(h);
    }
    oFake.AddFunction(H(0, 1, 0), HEADER_MULTI);   // 0:1.1 absent, 0:1.2 present
    oFake.AddFunction(H(1, 0, 0), HEADER_BRIDGE);
    oFake.AddFunction(H(2, 0, 0), HEADER_MULTI | HEADER_BRIDGE);
    oFake.SetDword(H(0, 4, 0), 0, 0);              // vendor id 0: absent
    // Hidden: 0:2.3 (function 0 absent), 0:3.1 (function 0 not multi-function).

    std::vector<PCIHANDLE> daVisited;
    EXPECT_EQ(0, pciScanBus(RecordVisit, &daVisited));
    EXPECT_EQ((std::vector<PCIHANDLE>{H(0, 0, 0), H(0, 1, 0), H(0, 1, 2), H(0, 3, 0), H(1, 0, 0), H(2, 0, 0),
                                      H(2, 0, 7), H(255, 31, 0)}),
              daVisited);

    std::vector<PCIHANDLE> daBusNumberReads;
    for (const SFakeAccess& ro : oFake.m_daLog)
    {
        EXPECT_EQ('r', ro.cKind) << "a scan must never write configuration space";
        if (ro.uiAddress == 0x18)
        {
            daBusNumberReads.push_back(ro.hDevice);
        }
    }
    EXPECT_EQ((std::vector<PCIHANDLE>{H(1, 0, 0), H(2, 0, 0)}), daBusNumberReads);
}

// ---- Capability walk, off the tool's path; the simulator's configuration tests follow a good
// chain with it. Here: a pointer with low bits set, and lists that must end the walk. Each case
// is the dword at 0x34 and the list entries (offset, dword).
TEST(QelVxdPciFindCapability, FindsTheIdOrEndsOnABrokenList)
{
    constexpr MUINT32 CAP_LIST = 1u << 20;
    const struct
    {
        MUINT32 uiCapPtr;
        std::vector<std::pair<MUINT32, MUINT32>> daEntries;
        MUINT32 uiId;
        MUINT32 uiExpectedOffset;   // 0: not found
    } aoCases[] = {
        {0x43, {{0x40, 0x0009}}, 0x09, 0x40},                   // low pointer bits ignored
        {0x3C, {{0x3C, 0x0001}}, 0x01, 0},                      // pointer into the header
        {0x40, {{0x40, 0xFE10}}, 0x01, 0},                      // next pointer above 0xFC
        {0x40, {{0x40, 0x6010}, {0x60, 0x4011}}, 0x01, 0},      // looping chain
    };
    const PCIHANDLE hPci = H(3, 4, 0);
    for (const auto& ro : aoCases)
    {
        CFakeQelVxdBackend oFake;
        oFake.AddFunction(hPci);
        oFake.SetDword(hPci, 0x04, CAP_LIST);
        oFake.SetDword(hPci, 0x34, ro.uiCapPtr);
        for (const auto& [uiOffset, uiDword] : ro.daEntries)
        {
            oFake.SetDword(hPci, uiOffset, uiDword);
        }
        MUINT32 uiOffset = 0;
        EXPECT_EQ(ro.uiExpectedOffset != 0 ? 1 : 0, pciFindCapability(hPci, &uiOffset, ro.uiId)) << ro.uiCapPtr;
        EXPECT_EQ(ro.uiExpectedOffset, uiOffset) << ro.uiCapPtr;
    }
}

// An access that leaves the 4 KiB configuration space never reaches the backend: a read gives
// all ones and a write is dropped.
TEST(QelVxdConfigSpace, NoAccessOutsideTheSpace)
{
    CFakeQelVxdBackend oFake;
    const PCIHANDLE hPci = H(5, 6, 1);
    oFake.AddFunction(hPci);
    static MUINT8 s_auiBuffer[4097];
    for (auto [iOffset, iSize] : std::initializer_list<std::pair<int, int>>{{4093, 4}, {-1, 2}, {0, 4097}, {0x7FFFFFFF, 2}})
    {
        oFake.m_daLog.clear();
        s_auiBuffer[0] = s_auiBuffer[iSize - 1] = 0;
        EXPECT_EQ(1, csRead(hPci, iOffset, s_auiBuffer, iSize));
        EXPECT_EQ(1, csWrite(hPci, iOffset, s_auiBuffer, iSize));
        EXPECT_EQ(0xFF, s_auiBuffer[0] & s_auiBuffer[iSize - 1]) << iOffset;
        EXPECT_TRUE(oFake.m_daLog.empty()) << iOffset;
    }
}

// An absent function reads as all ones, the bus's answer; a present function whose read fails
// reads as zeros, whatever the backend left behind, so that a caller writing a modified copy
// back sets only its own bits.
TEST(QelVxdConfigSpace, AFailedReadOfAPresentFunctionGivesZerosAndAnAbsentOneAllOnes)
{
    CFakeQelVxdBackend oFake;
    const PCIHANDLE hPresent = H(3, 0, 0);
    oFake.AddFunction(hPresent);
    oFake.SetDword(hPresent, 0x50, 0x00110040);
    oFake.m_oFailingReads.insert({hPresent, 0x50});
    MUINT32 uiDword = 0x12345678;
    EXPECT_EQ(1, csReadDword(hPresent, 0x50, &uiDword));
    EXPECT_EQ(0u, uiDword);
    EXPECT_EQ(1, csReadDword(H(3, 1, 0), 0x04, &uiDword));
    EXPECT_EQ(0xFFFFFFFFu, uiDword);
}

// ---- Mapped memory.

struct SWidthCase
{
    MUINT32 uiMisalignment;   // device address modulo 4
    MUINT32 uiCount;
    std::vector<MUINT32> daWidths;
};

// Each copy goes through an unaligned base and an unaligned buffer, so only base + offset may
// decide the widths: exactly the case's widths are used, back to back, and only the copied bytes
// change, in the device or in the buffer.
TEST(QelVxdMemCopy, UsesTheWidestAlignedAccessesBothWays)
{
    const SWidthCase aoCases[] = {
        {2, 7, {2, 4, 1}}, {1, 4, {1, 2, 1}}, {3, 6, {1, 4, 1}}, {0, 10, {4, 4, 2}}, {3, 2, {1, 1}}, {0, 0, {}},
    };
    for (const SWidthCase& ro : aoCases)
    {
        for (int iWrite : {0, 1})
        {
            SCOPED_TRACE(std::to_string(ro.uiCount) + " bytes at 4n+" + std::to_string(ro.uiMisalignment) +
                         (iWrite ? " written" : " read"));
            CFakeQelVxdBackend oFake;
            alignas(8) MUINT8 auiDevice[32];
            MUINT8 auiBuffer[16];
            std::iota(auiDevice, auiDevice + 32, 0x10);
            std::iota(auiBuffer, auiBuffer + 16, 0xA0);
            MUINT8 auiDeviceAfter[32];
            MUINT8 auiBufferAfter[16];
            memcpy(auiDeviceAfter, auiDevice, 32);
            memcpy(auiBufferAfter, auiBuffer, 16);
            if (iWrite)
            {
                memcpy(auiDeviceAfter + 8 + ro.uiMisalignment, auiBuffer + 1, ro.uiCount);
            }
            else
            {
                memcpy(auiBufferAfter + 1, auiDevice + 8 + ro.uiMisalignment, ro.uiCount);
            }

            MEMHANDLE hAddress = (MEMHANDLE)auiDevice + 8 + ro.uiMisalignment;
            EXPECT_EQ(1, memReadWrite(hAddress - 7, 7, auiBuffer + 1, ro.uiCount, iWrite));
            std::vector<SFakeAccess> daExpected;
            for (MUINT32 uiWidth : ro.daWidths)
            {
                daExpected.push_back({iWrite ? 'W' : 'R', 0, hAddress, uiWidth});
                hAddress += uiWidth;
            }
            EXPECT_EQ(daExpected, oFake.m_daLog);
            EXPECT_EQ(0, memcmp(auiDeviceAfter, auiDevice, 32));
            EXPECT_EQ(0, memcmp(auiBufferAfter, auiBuffer, 16));
        }
    }
}

// The single-value accessors take a shortcut when aligned; an unaligned value must be split like
// the copy, never handed to the backend as one misaligned access.
TEST(QelVxdMemScalar, UnalignedDwordIsSplitAndReassembled)
{
    CFakeQelVxdBackend oFake;
    alignas(8) MUINT8 auiDevice[16] = {};
    const MEMHANDLE hBase = (MEMHANDLE)auiDevice;
    MUINT32 uiDword = 0;
    EXPECT_EQ(1, memWriteDword(hBase, 5, 0x11223344));
    EXPECT_EQ(1, memReadDword(hBase, 5, &uiDword));
    EXPECT_EQ(0x11223344u, uiDword);
    const std::vector<SFakeAccess> daExpected = {{'W', 0, hBase + 5, 1}, {'W', 0, hBase + 6, 2}, {'W', 0, hBase + 8, 1},
                                                 {'R', 0, hBase + 5, 1}, {'R', 0, hBase + 6, 2}, {'R', 0, hBase + 8, 1}};
    EXPECT_EQ(daExpected, oFake.m_daLog);
}
}
