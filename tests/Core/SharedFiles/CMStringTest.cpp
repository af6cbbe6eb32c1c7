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

        // Appending a shared string to itself reads the text it is replacing.
        oAssigned += oAssigned;
        EXPECT_EQ(oAssigned, "board 0board 0");
        EXPECT_EQ(oFirst, "board 0");
    }
    EXPECT_EQ(Refs(oFirst), 1);
}

// ---- Formatting ----------------------------------------------------------------------------------

using CMStringBufferTest = CContainerTest;

TEST_F(CMStringBufferTest, FormatAndReleaseBufferStayInsideTheBuffer)
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

    // A length beyond the buffer is reported and cut to the capacity.
    oText.FreeExtra();
    std::string oOutput = Printed([&] { oText.ReleaseBuffer(1000); });
    EXPECT_TRUE(Reports(oOutput, "QelMFCTypes.cpp("));
    EXPECT_EQ(oText.GetLength(), 14);
}
