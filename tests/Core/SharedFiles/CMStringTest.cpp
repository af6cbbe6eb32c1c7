#include <functional>

#include "ContainerTestSupport.h"

namespace
{
const SMetaData* Header(const CMString& roString)
{
    return reinterpret_cast<const SMetaData*>(roString.GetString()) - 1;
}

MINT32 Refs(const CMString& roString)
{
    return Header(roString)->iRefs;
}
}  // namespace

// ---- Sharing and copy on write -------------------------------------------------------------------

using CMStringSharingTest = CContainerTest;

TEST_F(CMStringSharingTest, CopiesShareUntilOneIsWritten)
{
    CMString oFirst("board 0");
    // One block: the 12-byte header, the characters and the terminator.
    ASSERT_EQ(m_oAllocator.m_oLiveBlocks.size(), 1u);
    EXPECT_EQ(m_oAllocator.m_oLiveBlocks.begin()->first, static_cast<const void*>(Header(oFirst)));
    EXPECT_EQ(m_oAllocator.m_oLiveBlocks.begin()->second, 12u + 7u + 1u);
    {
        CMString oCopy(oFirst);
        CMString oAssigned;
        oAssigned = oFirst;
        EXPECT_EQ(oCopy.GetString(), oFirst.GetString());
        EXPECT_EQ(oAssigned.GetString(), oFirst.GetString());
        EXPECT_EQ(Refs(oFirst), 3);

        oCopy.SetAt(6, '1');
        EXPECT_NE(oCopy.GetString(), oFirst.GetString());
        EXPECT_EQ(oCopy, "board 1");
        EXPECT_EQ(oFirst, "board 0");
        EXPECT_EQ(Refs(oFirst), 2);
        EXPECT_EQ(Refs(oCopy), 1);
    }
    EXPECT_EQ(Refs(oFirst), 1);
}

// One modifying member of each kind (in place, shorter, longer, from its own text, formatted,
// through the buffer) applied to a string that shares its text: the other string must keep its
// text, and its count must drop back to 1.
struct SModifyCase
{
    const char* pszName;
    std::function<void(CMString&)> fnModify;
    const char* pszExpected;
};

void PrintTo(const SModifyCase& roCase, std::ostream* poStream) { *poStream << roCase.pszName; }

class CMStringModifySharedTest : public CContainerTest, public testing::WithParamInterface<SModifyCase>
{
};

TEST_P(CMStringModifySharedTest, OriginalKeepsItsText)
{
    CMString oOriginal("  Hello, World  ");
    CMString oCopy(oOriginal);
    GetParam().fnModify(oCopy);
    EXPECT_EQ(oCopy, GetParam().pszExpected);
    EXPECT_EQ(oOriginal, "  Hello, World  ");
    EXPECT_EQ(Refs(oOriginal), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Members, CMStringModifySharedTest,
    testing::Values(
        SModifyCase{"SetAt", [](CMString& s) { s.SetAt(2, 'J'); }, "  Jello, World  "},
        SModifyCase{"Delete", [](CMString& s) { s.Delete(7, 7); }, "  Hello  "},
        SModifyCase{"InsertText", [](CMString& s) { s.Insert(7, " there"); }, "  Hello there, World  "},
        SModifyCase{"AppendSelf", [](CMString& s) { s += s; }, "  Hello, World    Hello, World  "},
        SModifyCase{"AppendFormat", [](CMString& s) { s.AppendFormat("%02X", 10); }, "  Hello, World  0A"},
        SModifyCase{"GetBufferReleaseBuffer",
                    [](CMString& s) {
                        s.GetBuffer(0)[0] = '#';
                        s.ReleaseBuffer(5);
                    },
                    "# Hel"},
        SModifyCase{"LockBuffer", [](CMString& s) { s.LockBuffer()[0] = '*'; }, "* Hello, World  "}),
    [](const testing::TestParamInfo<SModifyCase>& roInfo) { return roInfo.param.pszName; });

// ---- Buffers and formatting ----------------------------------------------------------------------

using CMStringBufferTest = CContainerTest;

TEST_F(CMStringBufferTest, GetBufferGrowsAndReleaseBufferMeasures)
{
    CMString oText("ab");
    MCHAR8* pchBuffer = oText.GetBuffer(64);
    EXPECT_EQ(Header(oText)->iAllocLength, 64);
    strcpy(pchBuffer, "0123456789");
    oText.ReleaseBuffer();
    EXPECT_EQ(oText.GetLength(), 10);
    oText.FreeExtra();
    EXPECT_EQ(Header(oText)->iAllocLength, 10);
    EXPECT_EQ(oText, "0123456789");

    // A length beyond the buffer is reported and cut to the capacity.
    std::string oOutput = Printed([&] { oText.ReleaseBuffer(1000); });
    EXPECT_TRUE(Reports(oOutput, "QelMFCTypes.cpp("));
    EXPECT_EQ(oText.GetLength(), 10);
}

TEST_F(CMStringBufferTest, FormatProducesLongOutput)
{
    CMString oText;
    oText.Format("%s:%05000d:%s", "head", 42, "tail");
    ASSERT_EQ(oText.GetLength(), 4 + 1 + 5000 + 1 + 4);
    EXPECT_EQ(oText.Left(7), "head:00");
    EXPECT_EQ(oText.Right(8), "042:tail");

    // The arguments may be the string's own text.
    oText = "ab";
    oText.Format("%s%s%s", oText.GetString(), oText.GetString(), oText.GetString());
    EXPECT_EQ(oText, "ababab");
    oText.AppendFormat("[%s]", oText.GetString());
    EXPECT_EQ(oText, "ababab[ababab]");
}
