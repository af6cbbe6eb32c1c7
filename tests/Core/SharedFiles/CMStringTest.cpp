#include <functional>
#include <vector>

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

std::vector<std::string> Tokens(const CMString& roText, const char* pszDelimiters)
{
    std::vector<std::string> oTokens;
    for (CMString::CIterator oToken = roText.Begin(pszDelimiters); oToken != roText.End(); ++oToken)
        oTokens.push_back((*oToken).GetString());
    return oTokens;
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

TEST_F(CMStringSharingTest, EmptyStringsShareTheStaticRepresentation)
{
    CMString oDefault;
    CMString oFromEmptyText("");
    CMString oCopy(oDefault);
    CMString oEmptied("x");
    oEmptied.Empty();
    for (const CMString* poString : {&oDefault, &oFromEmptyText, &oCopy, &oEmptied})
        EXPECT_EQ(poString->GetString(), CMString::m_pszNil);
    EXPECT_EQ(Header(oDefault), CMString::m_poDataNil);
    EXPECT_EQ(Refs(oDefault), -1) << "the empty representation is never counted";
    EXPECT_EQ(m_oAllocator.m_uiAllocCount, 1u);   // only "x"
}

TEST_F(CMStringSharingTest, LockedBufferIsNeverShared)
{
    CMString oLocked("locked");
    MCHAR8* pchBuffer = oLocked.LockBuffer();
    CMString oCopy(oLocked);
    EXPECT_NE(oCopy.GetString(), pchBuffer);
    oLocked = CMString("other");
    EXPECT_EQ(oLocked.GetString(), pchBuffer) << "a locked buffer stays where it is";
    oLocked.UnlockBuffer();
    CMString oShared(oLocked);
    EXPECT_EQ(oShared.GetString(), oLocked.GetString());
    EXPECT_EQ(oCopy, "locked");
}

// Every modifying member applied to a string that shares its text: the other string must keep
// its text, and its count must drop back to 1.
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
        SModifyCase{"MakeUpper", [](CMString& s) { s.MakeUpper(); }, "  HELLO, WORLD  "},
        SModifyCase{"MakeLower", [](CMString& s) { s.MakeLower(); }, "  hello, world  "},
        SModifyCase{"MakeReverse", [](CMString& s) { s.MakeReverse(); }, "  dlroW ,olleH  "},
        SModifyCase{"SetAt", [](CMString& s) { s.SetAt(2, 'J'); }, "  Jello, World  "},
        SModifyCase{"Delete", [](CMString& s) { s.Delete(7, 7); }, "  Hello  "},
        SModifyCase{"InsertChar", [](CMString& s) { s.Insert(0, '>'); }, ">  Hello, World  "},
        SModifyCase{"InsertText", [](CMString& s) { s.Insert(7, " there"); }, "  Hello there, World  "},
        SModifyCase{"TrimLeft", [](CMString& s) { s.TrimLeft(); }, "Hello, World  "},
        SModifyCase{"TrimRight", [](CMString& s) { s.TrimRight(); }, "  Hello, World"},
        SModifyCase{"TrimSet", [](CMString& s) { s.Trim(" Hd"); }, "ello, Worl"},
        SModifyCase{"AppendText", [](CMString& s) { s += "!"; }, "  Hello, World  !"},
        SModifyCase{"AppendChar", [](CMString& s) { s += '!'; }, "  Hello, World  !"},
        SModifyCase{"AppendSelf", [](CMString& s) { s += s; }, "  Hello, World    Hello, World  "},
        SModifyCase{"Assign", [](CMString& s) { s = "x"; }, "x"},
        SModifyCase{"Empty", [](CMString& s) { s.Empty(); }, ""},
        SModifyCase{"Format", [](CMString& s) { s.Format("%d-%s", 4, "x"); }, "4-x"},
        SModifyCase{"AppendFormat", [](CMString& s) { s.AppendFormat("%02X", 10); }, "  Hello, World  0A"},
        SModifyCase{"GetBufferReleaseBuffer",
                    [](CMString& s) {
                        s.GetBuffer(0)[0] = '#';
                        s.ReleaseBuffer(5);
                    },
                    "# Hel"},
        SModifyCase{"GetBufferSetLength", [](CMString& s) { memcpy(s.GetBufferSetLength(3), "abc", 3); }, "abc"},
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

// ---- Searching --------------------------------------------------------------------

struct SSearchCase
{
    const char* pszText;
    const char* pszSearch;
    MINT32 iFind, iFindNoCase, iReverseFind, iReverseFindNoCase, iCount, iCountNoCase;
};
void PrintTo(const SSearchCase& c, std::ostream* poStream) { *poStream << '"' << c.pszSearch << "\" in \"" << c.pszText << '"'; }

class CMStringSearchTest : public CContainerTest, public testing::WithParamInterface<SSearchCase>
{
};

TEST_P(CMStringSearchTest, TextSearches)
{
    const SSearchCase& c = GetParam();
    CMString oText(c.pszText);
    EXPECT_EQ(oText.Find(c.pszSearch), c.iFind);
    EXPECT_EQ(oText.FindNoCase(c.pszSearch), c.iFindNoCase);
    EXPECT_EQ(oText.ReverseFind(c.pszSearch), c.iReverseFind);
    EXPECT_EQ(oText.ReverseFindNoCase(c.pszSearch), c.iReverseFindNoCase);
    EXPECT_EQ(oText.CountOf(c.pszSearch), c.iCount);
    EXPECT_EQ(oText.CountOfNoCase(c.pszSearch), c.iCountNoCase);
}

INSTANTIATE_TEST_SUITE_P(Table, CMStringSearchTest,
                         testing::Values(SSearchCase{"DDR DdR ddr", "ddr", 8, 0, 8, 8, 1, 3},
                                         SSearchCase{"aaaa", "aa", 0, 0, 2, 2, 2, 2},
                                         SSearchCase{"Clock", "K", -1, 4, -1, 4, 0, 1},
                                         SSearchCase{"abc", "abcd", -1, -1, -1, -1, 0, 0},
                                         SSearchCase{"", "a", -1, -1, -1, -1, 0, 0},
                                         SSearchCase{"abc", "", 0, 0, 3, 3, 0, 0}));

// ---- Tokens, join and split ----------------------------------------------------------------------

struct STokenCase
{
    const char* pszText;
    const char* pszDelimiters;
    std::vector<std::string> oTokens;
};
void PrintTo(const STokenCase& c, std::ostream* poStream) { *poStream << '"' << c.pszText << "\" at \"" << c.pszDelimiters << '"'; }

class CMStringTokenTest : public CContainerTest, public testing::WithParamInterface<STokenCase>
{
};

TEST_P(CMStringTokenTest, IteratorSplitAndJoinAgree)
{
    const STokenCase& c = GetParam();
    EXPECT_EQ(Tokens(CMString(c.pszText), c.pszDelimiters), c.oTokens);

    CMArrayString oSplit;
    EXPECT_EQ(oSplit.InitFromString(c.pszText, c.pszDelimiters), static_cast<MINT32>(c.oTokens.size()));
    std::string oExpectedJoin;
    for (size_t i = 0; i < c.oTokens.size(); i++)
        oExpectedJoin += (i ? "|" : "") + c.oTokens[i];
    CMString oJoined = oSplit.Join("|");
    EXPECT_EQ(oJoined, oExpectedJoin.c_str());

    CMArrayString oResplit;
    oResplit.InitFromString(oJoined, "|");
    EXPECT_EQ(oResplit.Join("|"), oJoined);
}

INSTANTIATE_TEST_SUITE_P(Table, CMStringTokenTest,
                         testing::Values(STokenCase{"a,b,c", ",", {"a", "b", "c"}},
                                         STokenCase{"a,,b", ",", {"a", "b"}},
                                         STokenCase{",a,", ",", {"a"}},
                                         STokenCase{",,,", ",", {}},
                                         STokenCase{"", ",", {}},
                                         STokenCase{"one", ",", {"one"}},
                                         STokenCase{" -dev 0x100\t-i 2 ", " \t", {"-dev", "0x100", "-i", "2"}}));
