// Mapped-memory copies and mapping fallbacks of the generic layer, against the recording fake
// backend: which accesses of which width reach the device, in which order, and that the bytes
// arrive where they belong.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "FakeQelVxdBackend.h"
#include "QelVxdApi.h"

namespace
{
struct SWidthCase
{
    MUINT32 uiMisalignment;   // device address modulo 4
    MUINT32 uiCount;
    std::vector<MUINT32> daWidths;
};

const SWidthCase s_aWidthCases[] = {
    {2, 7, {2, 4, 1}}, {0, 4, {4}},       {1, 4, {1, 2, 1}}, {3, 6, {1, 4, 1}},
    {0, 10, {4, 4, 2}}, {1, 1, {1}},      {3, 2, {1, 1}},    {0, 0, {}},
};

void PrintTo(const SWidthCase& ro, std::ostream* poStream)
{
    *poStream << ro.uiCount << " bytes at 4n+" << ro.uiMisalignment;
}

class QelVxdMemCopy : public ::testing::TestWithParam<SWidthCase>
{
protected:
    void SetUp() override
    {
        std::iota(m_auiDevice, m_auiDevice + sizeof(m_auiDevice), 0x10);
        // The base given to the copy is itself unaligned, so only base + offset may matter.
        m_hBase = (MEMHANDLE)m_auiDevice + 1;
        m_uiOffset = 7 + GetParam().uiMisalignment;   // base + offset = device + 8 + misalignment
    }

    MEMHANDLE DeviceAddress() const { return (MEMHANDLE)m_auiDevice + 8 + GetParam().uiMisalignment; }

    // The logged accesses must be exactly these widths, back to back from the first address.
    void ExpectAccesses(char cKind) const
    {
        const SWidthCase& ro = GetParam();
        std::vector<SFakeAccess> daExpected;
        MEMHANDLE hAddress = DeviceAddress();
        for (MUINT32 uiWidth : ro.daWidths)
        {
            daExpected.push_back({cKind, 0, hAddress, uiWidth});
            hAddress += uiWidth;
        }
        EXPECT_EQ(daExpected, m_oFake.Log("RW"));
    }

    CFakeQelVxdBackend m_oFake;
    alignas(8) MUINT8 m_auiDevice[32];
    MEMHANDLE m_hBase = 0;
    MUINT32 m_uiOffset = 0;
};

TEST_P(QelVxdMemCopy, ReadUsesWidestAlignedAccesses)
{
    const SWidthCase& ro = GetParam();
    MUINT8 auiBuffer[16];
    memset(auiBuffer, 0xEE, sizeof(auiBuffer));
    EXPECT_EQ(1, memRead(m_hBase, m_uiOffset, auiBuffer + 1, ro.uiCount));   // unaligned buffer
    ExpectAccesses('R');
    EXPECT_EQ(0, memcmp(auiBuffer + 1, (const void*)DeviceAddress(), ro.uiCount));
    EXPECT_EQ(0xEE, auiBuffer[1 + ro.uiCount]) << "read past the count";
}

TEST_P(QelVxdMemCopy, WriteUsesWidestAlignedAccesses)
{
    const SWidthCase& ro = GetParam();
    MUINT8 auiBuffer[16];
    std::iota(auiBuffer, auiBuffer + sizeof(auiBuffer), 0xA0);
    MUINT8 auiBefore[32];
    memcpy(auiBefore, m_auiDevice, sizeof(auiBefore));

    EXPECT_EQ(1, memWrite(m_hBase, m_uiOffset, auiBuffer + 1, ro.uiCount));
    ExpectAccesses('W');
    const size_t uiStart = 8 + ro.uiMisalignment;
    EXPECT_EQ(0, memcmp(m_auiDevice + uiStart, auiBuffer + 1, ro.uiCount));
    EXPECT_EQ(0, memcmp(m_auiDevice, auiBefore, uiStart));
    EXPECT_EQ(0, memcmp(m_auiDevice + uiStart + ro.uiCount, auiBefore + uiStart + ro.uiCount,
                        sizeof(auiBefore) - uiStart - ro.uiCount));
}

INSTANTIATE_TEST_SUITE_P(Cases, QelVxdMemCopy, ::testing::ValuesIn(s_aWidthCases), [](const auto& roInfo) {
    return "Mod" + std::to_string(roInfo.param.uiMisalignment) + "Count" + std::to_string(roInfo.param.uiCount);
});

// Single-value accessors follow the same width rules as the copy.
TEST(QelVxdMemScalar, UnalignedValuesAreSplitAndReassembled)
{
    CFakeQelVxdBackend oFake;
    alignas(8) MUINT8 auiDevice[16] = {};
    const MEMHANDLE hBase = (MEMHANDLE)auiDevice;

    EXPECT_EQ(1, memWriteDword(hBase, 5, 0x11223344));
    MUINT32 uiDword = 0;
    EXPECT_EQ(1, memReadDword(hBase, 5, &uiDword));
    EXPECT_EQ(0x11223344u, uiDword);
    const std::vector<SFakeAccess> daExpected = {{'W', 0, hBase + 5, 1}, {'W', 0, hBase + 6, 2}, {'W', 0, hBase + 8, 1},
                                                 {'R', 0, hBase + 5, 1}, {'R', 0, hBase + 6, 2}, {'R', 0, hBase + 8, 1}};
    EXPECT_EQ(daExpected, oFake.Log("RW"));

    oFake.m_daLog.clear();
    MUINT16 uiWord = 0;
    MUINT8 uiByte = 0;
    EXPECT_EQ(1, memWriteWord(hBase, 12, 0xCAFE));
    EXPECT_EQ(1, memReadWord(hBase, 12, &uiWord));
    EXPECT_EQ(1, memWriteByte(hBase, 3, 0x5A));
    EXPECT_EQ(1, memReadByte(hBase, 3, &uiByte));
    EXPECT_EQ(0xCAFEu, uiWord);
    EXPECT_EQ(0x5Au, uiByte);
    const std::vector<SFakeAccess> daAligned = {{'W', 0, hBase + 12, 2}, {'R', 0, hBase + 12, 2},
                                                {'W', 0, hBase + 3, 1}, {'R', 0, hBase + 3, 1}};
    EXPECT_EQ(daAligned, oFake.Log("RW"));
}

TEST(QelVxdMemScalar, NothingMappedNeverReachesTheDevice)
{
    CFakeQelVxdBackend oFake;
    MUINT32 uiDword = 0;
    EXPECT_EQ(0, memReadDword(0, 0x100, &uiDword));
    EXPECT_EQ(0xFFFFFFFFu, uiDword);
    EXPECT_EQ(0, memWriteDword(0, 0x100, 1));
    EXPECT_EQ(0, memReadWrite(0, 0, &uiDword, 4, 1));
    EXPECT_TRUE(oFake.m_daLog.empty());
}

// ---- Mapping.
struct SMapFallbackCase
{
    std::set<MUINT32> oFlagsThatWork;
    std::vector<MUINT32> daFlagsTried;
    bool bMapped;
};

TEST(QelVxdMemMap, TriesFlags0Then1Then6)
{
    const SMapFallbackCase aCases[] = {
        {{0, 1, 6}, {0}, true},
        {{1}, {0, 1}, true},
        {{6}, {0, 1, 6}, true},
        {{}, {0, 1, 6}, false},
    };
    for (const SMapFallbackCase& ro : aCases)
    {
        CFakeQelVxdBackend oFake;
        oFake.m_oMapFlagsThatWork = ro.oFlagsThatWork;
        const MEMHANDLE hAddress = memMap(0xD0000000, 0x2000);
        EXPECT_EQ(ro.bMapped ? 0xD0000000u : 0u, hAddress);
        std::vector<MUINT32> daTried;
        for (const SFakeAccess& roAccess : oFake.Log("m"))
        {
            daTried.push_back((MUINT32)roAccess.uiAddress);
            EXPECT_EQ(0x2000u, roAccess.uiSize);
        }
        EXPECT_EQ(ro.daFlagsTried, daTried);
    }
}

TEST(QelVxdMemMap, SixtyFourBitAddressReachesTheBackendWhole)
{
    CFakeQelVxdBackend oFake;
    oFake.m_oMapFlagsThatWork = {3};
    EXPECT_EQ((MEMHANDLE)0x3456789ABCULL, memMap64(0x3456789ABCULL, 0x10, 3));
}
}
