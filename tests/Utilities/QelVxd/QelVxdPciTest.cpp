// Bus scan, capability walk and configuration-space rules of the generic layer, against the
// recording fake backend.
#include <gtest/gtest.h>

#include <vector>

#include "FakeQelVxdBackend.h"
#include "QelVxdApi.h"

namespace
{
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

// ---- Capability walk, off the tool's path: one case per way the walk ends. Each case is the
// dword at 0x04, the dword at 0x34 and the list entries (offset, dword).
TEST(QelVxdPciFindCapability, FindsTheIdOrEndsOnABrokenList)
{
    constexpr MUINT32 CAP_LIST = 1u << 20;
    const struct
    {
        MUINT32 uiStatus;
        MUINT32 uiCapPtr;
        std::vector<std::pair<MUINT32, MUINT32>> daEntries;
        MUINT32 uiId;
        MUINT32 uiExpectedOffset;   // 0: not found
    } aoCases[] = {
        {CAP_LIST, 0x43, {{0x40, 0x0009}}, 0x09, 0x40},                     // low pointer bits ignored
        {CAP_LIST, 0x40, {{0x40, 0x6010}, {0x60, 0x0005}}, 0x05, 0x60},     // follows the chain
        {0, 0x40, {{0x40, 0x0001}}, 0x01, 0},                               // status says no list
        {CAP_LIST, 0x3C, {{0x3C, 0x0001}}, 0x01, 0},                        // pointer into the header
        {CAP_LIST, 0x40, {{0x40, 0x6010}, {0x60, 0x0005}}, 0x01, 0},        // chain ends without it
        {CAP_LIST, 0x40, {{0x40, 0xFE10}}, 0x01, 0},                        // next pointer above 0xFC
        {CAP_LIST, 0x40, {{0x40, 0x6010}, {0x60, 0x4011}}, 0x01, 0},        // looping chain
    };
    const PCIHANDLE hPci = H(3, 4, 0);
    for (const auto& ro : aoCases)
    {
        CFakeQelVxdBackend oFake;
        oFake.AddFunction(hPci);
        oFake.SetDword(hPci, 0x04, ro.uiStatus);
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
}
