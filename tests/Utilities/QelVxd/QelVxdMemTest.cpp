// Mapped-memory copies of the generic layer against the recording fake backend: which accesses
// of which width reach the device, in which order, and that the bytes land where they belong.
#include <gtest/gtest.h>

#include <numeric>
#include <string>

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
    {2, 7, {2, 4, 1}}, {0, 4, {4}}, {1, 4, {1, 2, 1}}, {3, 6, {1, 4, 1}}, {0, 10, {4, 4, 2}}, {3, 2, {1, 1}}, {0, 0, {}},
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
        std::iota(m_auiDevice, m_auiDevice + 32, 0x10);
        std::iota(m_auiBuffer, m_auiBuffer + 16, 0xA0);
        memcpy(m_auiDeviceAfter, m_auiDevice, 32);
        memcpy(m_auiBufferAfter, m_auiBuffer, 16);
    }

    // Copies through an unaligned base and an unaligned buffer (only base + offset may decide
    // the widths) and checks that exactly the case's widths were used, back to back.
    void CopyAndCheckAccesses(int iWrite)
    {
        const SWidthCase& ro = GetParam();
        MEMHANDLE hAddress = (MEMHANDLE)m_auiDevice + 8 + ro.uiMisalignment;
        EXPECT_EQ(1, memReadWrite(hAddress - 7, 7, m_auiBuffer + 1, ro.uiCount, iWrite));
        std::vector<SFakeAccess> daExpected;
        for (MUINT32 uiWidth : ro.daWidths)
        {
            daExpected.push_back({iWrite ? 'W' : 'R', 0, hAddress, uiWidth});
            hAddress += uiWidth;
        }
        EXPECT_EQ(daExpected, m_oFake.Log("RW"));
    }

    CFakeQelVxdBackend m_oFake;
    alignas(8) MUINT8 m_auiDevice[32];
    MUINT8 m_auiBuffer[16];
    MUINT8 m_auiDeviceAfter[32];   // what the device and buffer must hold afterwards
    MUINT8 m_auiBufferAfter[16];
};

TEST_P(QelVxdMemCopy, ReadUsesWidestAlignedAccesses)
{
    CopyAndCheckAccesses(0);
    memcpy(m_auiBufferAfter + 1, m_auiDevice + 8 + GetParam().uiMisalignment, GetParam().uiCount);
    EXPECT_EQ(0, memcmp(m_auiBufferAfter, m_auiBuffer, 16));
}

TEST_P(QelVxdMemCopy, WriteUsesWidestAlignedAccesses)
{
    CopyAndCheckAccesses(1);
    memcpy(m_auiDeviceAfter + 8 + GetParam().uiMisalignment, m_auiBuffer + 1, GetParam().uiCount);
    EXPECT_EQ(0, memcmp(m_auiDeviceAfter, m_auiDevice, 32));
}

INSTANTIATE_TEST_SUITE_P(Cases, QelVxdMemCopy, ::testing::ValuesIn(s_aWidthCases), [](const auto& roInfo) {
    return "Mod" + std::to_string(roInfo.param.uiMisalignment) + "Count" + std::to_string(roInfo.param.uiCount);
});

// The single-value accessors take a shortcut when aligned and must split like the copy when not.
TEST(QelVxdMemScalar, UnalignedValuesAreSplitAndReassembled)
{
    CFakeQelVxdBackend oFake;
    alignas(8) MUINT8 auiDevice[16] = {};
    const MEMHANDLE hBase = (MEMHANDLE)auiDevice;
    MUINT32 uiDword = 0;
    MUINT16 uiWord = 0;
    EXPECT_EQ(1, memWriteDword(hBase, 5, 0x11223344));
    EXPECT_EQ(1, memReadDword(hBase, 5, &uiDword));
    EXPECT_EQ(1, memWriteWord(hBase, 12, 0xCAFE));
    EXPECT_EQ(1, memReadWord(hBase, 12, &uiWord));
    EXPECT_EQ(0x11223344u, uiDword);
    EXPECT_EQ(0xCAFEu, uiWord);
    const std::vector<SFakeAccess> daExpected = {
        {'W', 0, hBase + 5, 1}, {'W', 0, hBase + 6, 2}, {'W', 0, hBase + 8, 1},  {'R', 0, hBase + 5, 1},
        {'R', 0, hBase + 6, 2}, {'R', 0, hBase + 8, 1}, {'W', 0, hBase + 12, 2}, {'R', 0, hBase + 12, 2}};
    EXPECT_EQ(daExpected, oFake.Log("RW"));
}

// A page the backend publishes takes the aligned dwords inside it, counted on the backend's
// counters; everything else, and everything once the backend withdraws the page, is the backend's.
class QelVxdDirectPage : public ::testing::Test
{
protected:
    void SetUp() override
    {
        memset(m_aucDevice, 0x11, sizeof(m_aucDevice));
        memset(m_aucPage, 0x22, sizeof(m_aucPage));
        FakeQelVxd::g_oFakeDirectPage = {(MUINTPTR)m_aucDevice, m_aucPage, &m_uiReads, &m_uiWrites};
    }
    void TearDown() override { FakeQelVxd::g_oFakeDirectPage = SQelVxdDirectPage(); }

    CFakeQelVxdBackend m_oFake;
    alignas(4096) MUINT8 m_aucDevice[2 * SQelVxdDirectPage::msc_uiSize];   // what the backend answers
    alignas(4) MUINT8 m_aucPage[SQelVxdDirectPage::msc_uiSize];             // the published page's bytes
    MUINT64 m_uiReads       = 0;
    MUINT64 m_uiWrites      = 0;
};

TEST_F(QelVxdDirectPage, TakesTheAlignedDwordsInsideThePage)
{
    const MEMHANDLE hBase = (MEMHANDLE)m_aucDevice;
    MUINT32 uiValue = 0;
    for (MUINT32 uiOffset : {0u, 4u, 0xFFCu})
    {
        EXPECT_EQ(1, memWriteDword(hBase, uiOffset, 0xA0000000u + uiOffset));
        EXPECT_EQ(1, memReadDword(hBase, uiOffset, &uiValue));
        EXPECT_EQ(uiValue, 0xA0000000u + uiOffset);
        EXPECT_EQ(0xA0000000u + uiOffset, *(MUINT32*)(m_aucPage + uiOffset)) << uiOffset;
        EXPECT_EQ(0x11111111u, *(MUINT32*)(m_aucDevice + uiOffset)) << uiOffset;
    }
    EXPECT_EQ(m_uiReads, 3u);
    EXPECT_EQ(m_uiWrites, 3u);
    EXPECT_TRUE(m_oFake.Log("RW").empty());
}

TEST_F(QelVxdDirectPage, LeavesEverythingElseToTheBackend)
{
    const MEMHANDLE hBase = (MEMHANDLE)m_aucDevice;
    MUINT32 uiDword = 0;
    MUINT16 uiWord  = 0;
    MUINT8 ucByte   = 0;
    memReadByte(hBase, 8, &ucByte);
    memWriteWord(hBase, 8, 0xBBBB);
    memReadWord(hBase, 8, &uiWord);
    memReadDword(hBase, 0x1000, &uiDword);   // the page after
    memWriteDword(hBase, 0xFFE, 0xCCCCCCCC);  // across the page's end: split
    FakeQelVxd::g_oFakeDirectPage = SQelVxdDirectPage();
    memReadDword(hBase, 4, &uiDword);
    EXPECT_EQ(uiDword, 0x11111111u) << "once the page is withdrawn the backend answers";
    const std::vector<SFakeAccess> daExpected = {
        {'R', 0, hBase + 8, 1},      {'W', 0, hBase + 8, 2},      {'R', 0, hBase + 8, 2},
        {'R', 0, hBase + 0x1000, 4}, {'W', 0, hBase + 0xFFE, 2}, {'W', 0, hBase + 0x1000, 2},
        {'R', 0, hBase + 4, 4}};
    EXPECT_EQ(daExpected, m_oFake.Log("RW"));
    EXPECT_EQ(m_uiReads + m_uiWrites, 0u);
}
}
