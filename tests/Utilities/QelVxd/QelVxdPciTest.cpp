// Bus scan, capability walk, base address register sizing and configuration-space edge rules
// of the generic layer, against the recording fake backend.
#include <gtest/gtest.h>

#include <vector>

#include "FakeQelVxdBackend.h"
#include "QelVxdApi.h"

namespace
{
constexpr PCIHANDLE H(MUINT32 uiBus, MUINT32 uiDevice, MUINT32 uiFunction)
{
    return QelVxdMakePciHandle(uiBus, uiDevice, uiFunction);
}

constexpr MUINT8 HEADER_MULTI = 0x80;
constexpr MUINT8 HEADER_BRIDGE = 0x01;

struct SScanLog
{
    std::vector<PCIHANDLE> daVisited;
    size_t uiStopAtCall = 0;   // 0: never stop
};

int RecordVisit(PCIHANDLE hPci, void* pvContext)
{
    SScanLog& ro = *static_cast<SScanLog*>(pvContext);
    ro.daVisited.push_back(hPci);
    return (ro.daVisited.size() == ro.uiStopAtCall) ? 1 : 0;
}

// ---- Bus scan.
class QelVxdPciScan : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_oFake.AddFunction(H(0, 0, 0));
        m_oFake.AddFunction(H(0, 1, 0), 0x1234, HEADER_MULTI);
        m_oFake.AddFunction(H(0, 1, 2));                         // 1 absent, 2 present
        m_oFake.AddFunction(H(0, 2, 3));                         // hidden: function 0 absent
        m_oFake.AddFunction(H(0, 3, 0));
        m_oFake.AddFunction(H(0, 3, 1));                         // hidden: no multi-function bit
        m_oFake.AddFunction(H(0, 4, 0), 0x0000);                 // vendor 0 means absent
        m_oFake.AddFunction(H(1, 0, 0), 0x1234, HEADER_BRIDGE);
        m_oFake.AddFunction(H(2, 0, 0), 0x1234, HEADER_MULTI | HEADER_BRIDGE);
        m_oFake.AddFunction(H(2, 0, 7));
        m_oFake.AddFunction(H(255, 31, 0));                      // the very last slot
    }

    CFakeQelVxdBackend m_oFake;
    const std::vector<PCIHANDLE> m_daExpected = {H(0, 0, 0), H(0, 1, 0), H(0, 1, 2), H(0, 3, 0),
                                                 H(1, 0, 0), H(2, 0, 0), H(2, 0, 7), H(255, 31, 0)};
};

TEST_F(QelVxdPciScan, VisitsExactlyThePresentFunctionsInBusOrder)
{
    SScanLog oLog;
    EXPECT_EQ(0, pciScan(RecordVisit, &oLog));
    EXPECT_EQ(m_daExpected, oLog.daVisited);

    SScanLog oLogBus;
    EXPECT_EQ(0, pciScanBus(RecordVisit, &oLogBus));
    EXPECT_EQ(m_daExpected, oLogBus.daVisited);
}

TEST_F(QelVxdPciScan, ReadsBusNumbersOfBridgesOnly)
{
    SScanLog oLog;
    pciScan(RecordVisit, &oLog);
    std::vector<PCIHANDLE> daBusNumberReads;
    for (const SFakeAccess& ro : m_oFake.Log("r"))
    {
        if (ro.uiAddress == 0x18)
        {
            daBusNumberReads.push_back(ro.hDevice);
        }
    }
    EXPECT_EQ((std::vector<PCIHANDLE>{H(1, 0, 0), H(2, 0, 0)}), daBusNumberReads);
    EXPECT_TRUE(m_oFake.Log("w").empty()) << "a scan must never write configuration space";
}

TEST_F(QelVxdPciScan, NonZeroCallbackStopsRightAfterThatCall)
{
    for (size_t uiStop : {size_t(1), size_t(3), m_daExpected.size()})
    {
        SCOPED_TRACE(uiStop);
        m_oFake.m_daLog.clear();
        SScanLog oLog;
        oLog.uiStopAtCall = uiStop;
        EXPECT_EQ(1, pciScan(RecordVisit, &oLog));
        ASSERT_EQ(uiStop, oLog.daVisited.size());
        // Nothing after the stopping function is probed.
        EXPECT_EQ(oLog.daVisited.back(), m_oFake.m_daLog.back().hDevice);
    }
}

// ---- Capability walk.
struct SCapCase
{
    const char* pszName;
    MUINT32 uiStatus;                                 // dword at 0x04
    MUINT32 uiCapPtr;                                 // dword at 0x34
    std::vector<std::pair<MUINT32, MUINT32>> daEntries;   // (offset, dword)
    MUINT32 uiId;
    int iExpected;
    MUINT32 uiExpectedOffset;
};

constexpr MUINT32 CAP_LIST = 1u << 20;

const SCapCase s_aCapCases[] = {
    {"FirstEntry", CAP_LIST, 0x40, {{0x40, 0x0001}}, 0x01, 1, 0x40},
    {"FollowsChain", CAP_LIST, 0x40, {{0x40, 0x6010}, {0x60, 0x0005}}, 0x05, 1, 0x60},
    {"HeaderPointerLowBitsIgnored", CAP_LIST, 0x43, {{0x40, 0x0009}}, 0x09, 1, 0x40},
    {"NextPointerTakenUnmasked", CAP_LIST, 0x40, {{0x40, 0x5110}, {0x51, 0x0002}}, 0x02, 1, 0x51},
    {"StatusBitClear", 0, 0x40, {{0x40, 0x0001}}, 0x01, 0, 0},
    {"HeaderPointerBelow40", CAP_LIST, 0x3C, {{0x3C, 0x0001}}, 0x01, 0, 0},
    {"ChainEndsWithoutIt", CAP_LIST, 0x40, {{0x40, 0x6010}, {0x60, 0x0005}}, 0x01, 0, 0},
    {"NextPointerAboveFC", CAP_LIST, 0x40, {{0x40, 0xFE10}}, 0x01, 0, 0},
    {"LoopingChainEnds", CAP_LIST, 0x40, {{0x40, 0x6010}, {0x60, 0x4011}}, 0x01, 0, 0},
};

void PrintTo(const SCapCase& ro, std::ostream* poStream)
{
    *poStream << ro.pszName;
}

class QelVxdPciFindCapability : public ::testing::TestWithParam<SCapCase>
{
protected:
    CFakeQelVxdBackend m_oFake;
};

TEST_P(QelVxdPciFindCapability, WalksTheList)
{
    const SCapCase& ro = GetParam();
    const PCIHANDLE hPci = H(3, 4, 0);
    m_oFake.AddFunction(hPci);
    m_oFake.SetDword(hPci, 0x04, ro.uiStatus);
    m_oFake.SetDword(hPci, 0x34, ro.uiCapPtr);
    for (const auto& [uiOffset, uiDword] : ro.daEntries)
    {
        m_oFake.SetDword(hPci, uiOffset, uiDword);
    }

    MUINT32 uiOffset = 0;
    EXPECT_EQ(ro.iExpected, pciFindCapability(hPci, &uiOffset, ro.uiId));
    if (ro.iExpected == 1)
    {
        EXPECT_EQ(ro.uiExpectedOffset, uiOffset);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, QelVxdPciFindCapability, ::testing::ValuesIn(s_aCapCases),
                         [](const auto& roInfo) { return roInfo.param.pszName; });

TEST(QelVxdPciFindCapabilityShortcuts, PowerManagementIsId1AndAgpIsId2)
{
    CFakeQelVxdBackend oFake;
    const PCIHANDLE hPci = H(0, 5, 0);
    oFake.AddFunction(hPci);
    oFake.SetDword(hPci, 0x04, CAP_LIST);
    oFake.SetDword(hPci, 0x34, 0x40);
    oFake.SetDword(hPci, 0x40, 0x5002);   // AGP, next 0x50
    oFake.SetDword(hPci, 0x50, 0x0001);   // power management

    MUINT32 uiOffset = 0;
    EXPECT_EQ(1, pciFindPMCapability(hPci, &uiOffset));
    EXPECT_EQ(0x50u, uiOffset);
    EXPECT_EQ(1, pciFindAGPCapability(hPci, &uiOffset));
    EXPECT_EQ(0x40u, uiOffset);
}

TEST(QelVxdPciFindCapabilityAbsent, AbsentFunctionHasNoCapabilities)
{
    CFakeQelVxdBackend oFake;
    MUINT32 uiOffset = 0;
    // All ones has the status bit set and a pointer of 0xFC whose next pointer is 0xFF.
    EXPECT_EQ(0, pciFindCapability(H(9, 9, 0), &uiOffset, 0x10));
}

// ---- Base address register sizing.
TEST(QelVxdPciGetTermbase, SizesAndRestoresTheRegister)
{
    CFakeQelVxdBackend oFake;
    const PCIHANDLE hPci = H(4, 0, 0);
    oFake.AddFunction(hPci);
    oFake.SetDword(hPci, 0x14, 0xFE000008);   // prefetchable memory BAR at 0xFE000000
    oFake.AddBar(hPci, 0x14, 0x100000);        // decoding 1 MiB

    MUINT32 uiBase = 0;
    MUINT32 uiMask = 0;
    EXPECT_EQ(1, pciGetTermbase(hPci, 0x14, &uiBase, &uiMask));
    EXPECT_EQ(0xFE000000u, uiBase);
    EXPECT_EQ(0xFFF00000u, uiMask);
    EXPECT_EQ(0xFE000008u, oFake.GetDword(hPci, 0x14));

    const std::vector<SFakeAccess> daExpected = {
        {'r', hPci, 0x14, 4}, {'w', hPci, 0x14, 4}, {'r', hPci, 0x14, 4}, {'w', hPci, 0x14, 4}};
    EXPECT_EQ(daExpected, oFake.Log("rw"));
}

// ---- Configuration-space rules above the backend.
class QelVxdConfigSpace : public ::testing::Test
{
protected:
    void SetUp() override
    {
        auto& roSpace = m_oFake.AddFunction(m_hPci);
        const MUINT8 auiBytes[] = {0x78, 0x56, 0x34, 0x12};
        std::copy(std::begin(auiBytes), std::end(auiBytes), roSpace.begin() + 0x40);
    }

    CFakeQelVxdBackend m_oFake;
    const PCIHANDLE m_hPci = H(5, 6, 1);
};

TEST_F(QelVxdConfigSpace, ValuesAreLittleEndianAtTheirOffset)
{
    MUINT32 uiDword = 0;
    MUINT16 uiWord = 0;
    MUINT8 uiByte = 0;
    EXPECT_EQ(1, csReadDword(m_hPci, 0x40, &uiDword));
    EXPECT_EQ(1, csReadWord(m_hPci, 0x42, &uiWord));
    EXPECT_EQ(1, csReadByte(m_hPci, 0x41, &uiByte));
    EXPECT_EQ(0x12345678u, uiDword);
    EXPECT_EQ(0x1234u, uiWord);
    EXPECT_EQ(0x56u, uiByte);

    EXPECT_EQ(1, csWriteWord(m_hPci, 0x44, 0xBEEF));
    EXPECT_EQ(1, csWriteByte(m_hPci, 0x46, 0xAD));
    EXPECT_EQ(0x00ADBEEFu, m_oFake.GetDword(m_hPci, 0x44));
}

TEST_F(QelVxdConfigSpace, AbsentFunctionReadsAllOnesAndDropsWrites)
{
    const PCIHANDLE hAbsent = H(7, 7, 7);
    MUINT8 auiBuffer[16] = {};
    EXPECT_EQ(1, csRead(hAbsent, 0, auiBuffer, sizeof(auiBuffer)));
    for (MUINT8 ui : auiBuffer)
    {
        EXPECT_EQ(0xFF, ui);
    }
    MUINT32 uiDword = 0;
    EXPECT_EQ(1, csReadDword(hAbsent, 0x10, &uiDword));
    EXPECT_EQ(0xFFFFFFFFu, uiDword);
    EXPECT_EQ(1, csWriteDword(hAbsent, 0x10, 0x12345678));
    EXPECT_EQ(1, csReadWrite(hAbsent, 0x10, auiBuffer, 4, 1));
}

TEST_F(QelVxdConfigSpace, AccessOutsideConfigSpaceNeverReachesTheBackend)
{
    struct SCase
    {
        int iOffset;
        int iSize;
    };
    for (const SCase& ro : {SCase{4093, 4}, SCase{-1, 2}, SCase{0, 4097}, SCase{0x7FFFFFFF, 2}})
    {
        SCOPED_TRACE(ro.iOffset);
        m_oFake.m_daLog.clear();
        MUINT8 auiBuffer[8] = {};
        MUINT8 auiLarge[4097] = {};
        MUINT8* puiBuffer = (ro.iSize > 8) ? auiLarge : auiBuffer;
        EXPECT_EQ(1, csRead(m_hPci, ro.iOffset, puiBuffer, ro.iSize));
        EXPECT_EQ(0xFF, puiBuffer[0]);
        EXPECT_EQ(0xFF, puiBuffer[ro.iSize - 1]);
        EXPECT_EQ(1, csWrite(m_hPci, ro.iOffset, puiBuffer, ro.iSize));
        EXPECT_TRUE(m_oFake.m_daLog.empty());
    }
    // The last dword of extended configuration space is still inside it.
    MUINT32 uiLast = 0;
    csReadDword(m_hPci, 4092, &uiLast);
    EXPECT_EQ(0u, uiLast);
}

TEST_F(QelVxdConfigSpace, OnlyTheLow16BitsOfAHandleNameTheFunction)
{
    MUINT32 uiDword = 0;
    csReadDword(m_hPci | 0xABCD0000UL, 0x40, &uiDword);
    EXPECT_EQ(0x12345678u, uiDword);
}
}
