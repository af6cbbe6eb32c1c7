// The board record: its texts (raw copies that never overrun a field), and reading a parameter
// block into it, which must neither overrun nor rewrite the block. The tool never reads the
// record's fields back.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Pins10TestChain.h"
#include "XBoard.h"

namespace
{
std::string ProductName(const XBoard& roBoard)
{
    char szText[64];
    EXPECT_EQ(0, roBoard.GetProductName(szText));
    return szText;
}

// ---- Texts

// A setter copies raw bytes with no terminator of its own, so the getter must cut the field;
// a zero length or a null pointer is refused and changes nothing.
TEST(XBoardTexts, TextsStayInsideTheirFields)
{
    XBoard oBoard;
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, oBoard.SetProductName(0, reinterpret_cast<const unsigned char*>("x")));
    EXPECT_EQ(-1, oBoard.SetPcbNumber(4, nullptr));
    EXPECT_EQ(-1, oBoard.GetSerialNumber(nullptr));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("XBoard.cpp("));
    EXPECT_EQ("Unknown", ProductName(oBoard));

    std::string sLong(100, 'x');
    sLong.replace(0, 3, "ABC");
    EXPECT_EQ(0, oBoard.SetProductName(100, reinterpret_cast<const unsigned char*>(sLong.c_str())));
    tagLBoard_Info oInfo;
    oBoard.GetBoardInfo(oInfo);
    EXPECT_EQ(0, memcmp(oInfo.szProductName, sLong.c_str(), 64));   // no terminator in the field
    EXPECT_EQ(std::string(sLong, 0, 63), ProductName(oBoard));      // the getter cuts to 63
    EXPECT_EQ('U', oInfo.szSerialNumber[0]);                         // the next field is untouched
}

// ---- Filling from a parameter block

class XBoardReadPinsTest : public testing::Test
{
protected:
    static std::vector<MUINT8> Chain(const void* pvHeader, size_t uiHeaderSize, bool bOptions = true)
    {
        tagPins10Cpu oCpu = {0x0005, 2, {4, 4, 0, 0}};
        tagPins10Mem_v2 oMemory = {};
        oMemory.uiVersion = PINS10_MEMORY_VERSION;
        oMemory.auiMemQty[0] = 2;
        oMemory.auiMemQty[1] = 2;
        tagPins10FactoryOptions oOptions = {0x1F};
        CPins10TestChain oChain;
        oChain.Block(PINS10_SIGNATURE_HEADER, pvHeader, uiHeaderSize)
            .Record(PINS10_SIGNATURE_CPU, oCpu)
            .Record(PINS10_SIGNATURE_MEMORY, oMemory);
        if (bOptions)
            oChain.Record(PINS10_SIGNATURE_FACTORY_OPTIONS, oOptions);
        return oChain.End().Bytes();
    }

    XBoard m_oBoard;
};

TEST_F(XBoardReadPinsTest, FailuresKeepWhatWasFilled)
{
    const tagPins10Header oHeader = Pins10TestHeader(0x07E50C00);
    const std::vector<MUINT8> auiNoOptions = Chain(&oHeader, sizeof(oHeader), false);
    std::vector<MUINT8> auiBroken = Chain(&oHeader, sizeof(oHeader));
    auiBroken[auiBroken.size() - 8] = 0;   // end block gone
    testing::internal::CaptureStdout();
    EXPECT_FALSE(m_oBoard.ReadPinsData(0, auiBroken.data()));
    EXPECT_FALSE(m_oBoard.ReadPinsData((unsigned)auiBroken.size(), auiBroken.data()));
    EXPECT_FALSE(m_oBoard.IsSystemProcessorOnBoard());
    EXPECT_FALSE(m_oBoard.ReadPinsData((unsigned)auiNoOptions.size(), auiNoOptions.data()));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("Assertion failed"));
    EXPECT_TRUE(m_oBoard.IsSystemProcessorOnBoard());   // set before the options were missed
    EXPECT_EQ("Unknown", ProductName(m_oBoard));
}

TEST_F(XBoardReadPinsTest, CallersBlockIsNotRewritten)
{
    // An older header is converted for reading, but in the record's own copy.
    MUINT8 auiOld[PINS10_HEADER_MIN_SIZE] = {};
    Pins10WriteU16(auiOld, PINS10_HEADER_REVISION_V1);
    memcpy(auiOld + 28, "OLD-SKU", 7);
    const std::vector<MUINT8> auiPins = Chain(auiOld, sizeof(auiOld));
    const std::vector<MUINT8> auiBefore = auiPins;
    ASSERT_TRUE(m_oBoard.ReadPinsData((unsigned)auiPins.size(), auiPins.data()));
    EXPECT_EQ("OLD-SKU", ProductName(m_oBoard));
    EXPECT_EQ(auiBefore, auiPins);
}

}  // namespace
