// The board record: its quirks (raw text copies) and how it is filled from a parameter block.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Pins10TestChain.h"
#include "XBoard.h"
#include "XHb4DefaultPins.h"

namespace
{
typedef MINT32 (XBoard::*PfnGetText)(char*) const;

// One of the record's texts, read through its getter into a 64-byte buffer.
std::string Text(const XBoard& roBoard, PfnGetText pfnGet)
{
    char szText[64];
    EXPECT_EQ(0, (roBoard.*pfnGet)(szText));
    return szText;
}
std::string ProductName(const XBoard& roBoard) { return Text(roBoard, &XBoard::GetProductName); }
std::string PcbNumber(const XBoard& roBoard) { return Text(roBoard, &XBoard::GetPcbNumber); }

MUINT32 FlagsWord(const XBoard& roBoard)
{
    tagLBoard_Info oInfo;
    roBoard.GetBoardInfo(oInfo);
    MUINT32 uiFlags = 0;
    memcpy(&uiFlags, reinterpret_cast<const MUINT8*>(&oInfo) + offsetof(tagLBoard_Info, uiLocalMemorySize) - 4, 4);
    return uiFlags;
}

// ---- Texts

TEST(XBoardTexts, SetterCopiesRawBytesWithoutTerminator)
{
    XBoard oBoard;
    std::string szLong(100, 'x');
    szLong.replace(0, 3, "ABC");
    EXPECT_EQ(0, oBoard.SetProductName(100, reinterpret_cast<const unsigned char*>(szLong.c_str())));
    tagLBoard_Info oInfo;
    oBoard.GetBoardInfo(oInfo);
    EXPECT_EQ(0, memcmp(oInfo.szProductName, szLong.c_str(), 64));   // no terminator in the field
    EXPECT_EQ(std::string(szLong, 0, 63), ProductName(oBoard));      // the getter cuts to 63
    EXPECT_EQ('U', oInfo.szSerialNumber[0]);                          // the next field is untouched

    // A 16-byte name over "Unknown" leaves the rest of the field as it was: zero.
    EXPECT_EQ(0, oBoard.SetSerialNumber(16, reinterpret_cast<const unsigned char*>("0123456789ABCDEF")));
    EXPECT_EQ("0123456789ABCDEF", Text(oBoard, &XBoard::GetSerialNumber));
    // Shorter than the old text: no terminator, so the old tail shows.
    EXPECT_EQ(0, oBoard.SetFirmwareVersion(3, "1.2"));
    EXPECT_EQ("1.2nown", Text(oBoard, &XBoard::GetFirmwareVersion));
}

// A fresh record says "Unknown"; a zero length or a null pointer is refused and changes nothing.
TEST(XBoardTexts, FreshRecordIsUnknownAndRefusedTextsLeaveItSo)
{
    XBoard oBoard;
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, oBoard.SetProductName(0, reinterpret_cast<const unsigned char*>("x")));
    EXPECT_EQ(-1, oBoard.SetPcbNumber(4, nullptr));
    EXPECT_EQ(-1, oBoard.GetSerialNumber(nullptr));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("XBoard.cpp("));
    for (PfnGetText pfnGet :
         {&XBoard::GetProductName, &XBoard::GetSerialNumber, &XBoard::GetPcbNumber, &XBoard::GetFirmwareVersion})
        EXPECT_EQ("Unknown", Text(oBoard, pfnGet));
    tagLBoard_Info oInfo;
    oBoard.GetBoardInfo(oInfo);
    EXPECT_EQ(352u, oInfo.uiSize);
    EXPECT_EQ(0u, oBoard.GetConnectorCount());
}

// ---- Filling from a parameter block

class XBoardReadPinsTest : public testing::Test
{
protected:
    static std::vector<MUINT8> ChainWith(MUINT32 uiPcbInfo, bool bLimitation, bool bOptions = true)
    {
        const tagPins10Header oHeader = Pins10TestHeader(uiPcbInfo);
        return Chain(&oHeader, sizeof(oHeader), bLimitation, bOptions);
    }
    static std::vector<MUINT8> Chain(const void* pvHeader, size_t uiHeaderSize, bool bLimitation, bool bOptions = true)
    {
        tagPins10Cpu oCpu = {0x0005, 2, {4, 4, 0, 0}};
        tagPins10Mem_v2 oMemory = {};
        oMemory.uiVersion = PINS10_MEMORY_VERSION;
        oMemory.auiMemQty[0] = 2;
        oMemory.auiMemQty[1] = 2;
        tagPins10FactoryOptions oOptions = {0x1F};
        tagPins10Limitation oLimitation = {4, 8};
        CPins10TestChain oChain;
        oChain.Block(PINS10_SIGNATURE_HEADER, pvHeader, uiHeaderSize)
            .Record(PINS10_SIGNATURE_CPU, oCpu)
            .Record(PINS10_SIGNATURE_MEMORY, oMemory);
        if (bOptions)
            oChain.Record(PINS10_SIGNATURE_FACTORY_OPTIONS, oOptions);
        if (bLimitation)
            oChain.Record(PINS10_SIGNATURE_LIMITATION, oLimitation);
        return oChain.End().Bytes();
    }

    XBoard m_oBoard;
};

TEST_F(XBoardReadPinsTest, GenericBlockFillsTheRecord)
{
    ASSERT_TRUE(m_oBoard.ReadPinsData(DefaultPins::msc_uiPinsSize, DefaultPins::msc_oPins));
    EXPECT_EQ("Default", ProductName(m_oBoard));
    EXPECT_EQ("Default", Text(m_oBoard, &XBoard::GetSerialNumber));
    EXPECT_EQ("7479-01", PcbNumber(m_oBoard));   // PCB word 0x1D370100 read as year 7479, month 1
    EXPECT_EQ(0x0100u, m_oBoard.GetPcbRev());
    EXPECT_EQ(2048u, m_oBoard.GetCpuMemSize());
    EXPECT_EQ(4096u, m_oBoard.GetMemSize());
    EXPECT_TRUE(m_oBoard.IsSystemProcessorOnBoard());
    EXPECT_FALSE(m_oBoard.IsSystemProcessorOnPrimaryBus());
    EXPECT_FALSE(m_oBoard.IsExternalProcessorAvailable());
    EXPECT_EQ(0x07DF0508u, m_oBoard.GetPInSReleaseDate().uiDate);
    EXPECT_EQ(1u, m_oBoard.GetChipCount());
    MUINT32 uiEncoders = 0, uiDecoders = 0;
    m_oBoard.GetEncoderDecoderLimit(uiEncoders, uiDecoders);
    EXPECT_EQ(0xFFFFFFFFu, uiEncoders);
    EXPECT_EQ(0xFFFFFFFFu, uiDecoders);
    EXPECT_EQ(nullptr, m_oBoard.GetPinsData());   // reading keeps no copy
}

TEST_F(XBoardReadPinsTest, PcbNumberAndRevisionFromThePcbWord)
{
    const struct
    {
        MUINT32 uiPcbInfo;
        const char* pszNumber;
        MUINT32 uiPcbRev;
    } aoCases[] = {{0x07E50C1F, "2021-1231", 0x0C1F}, {0x07E50C00, "2021-12", 0x0C00}, {0x00000101, "0000-0101", 0x0101}};
    for (const auto& roCase : aoCases)   // in this order: a shorter number replaces a longer one
    {
        const std::vector<MUINT8> auiPins = ChainWith(roCase.uiPcbInfo, false);
        ASSERT_TRUE(m_oBoard.ReadPinsData((unsigned)auiPins.size(), auiPins.data()));
        EXPECT_EQ(roCase.pszNumber, PcbNumber(m_oBoard));
        EXPECT_EQ(roCase.uiPcbRev, m_oBoard.GetPcbRev());
    }
}

TEST_F(XBoardReadPinsTest, OptionsProcessorBitsAndLimits)
{
    const std::vector<MUINT8> auiPins = ChainWith(0x07E50C00, true);
    ASSERT_TRUE(m_oBoard.ReadPinsData((unsigned)auiPins.size(), auiPins.data()));
    // Processor options 0x5: on board and external; factory options 0x1F: all but bit 3 taken.
    EXPECT_EQ(0x275u, FlagsWord(m_oBoard));
    EXPECT_EQ(128u, m_oBoard.GetMemSize());
    MUINT32 uiEncoders = 0, uiDecoders = 0;
    m_oBoard.GetEncoderDecoderLimit(uiEncoders, uiDecoders);
    EXPECT_EQ(4u, uiEncoders);
    EXPECT_EQ(8u, uiDecoders);
}

TEST_F(XBoardReadPinsTest, FailuresKeepWhatWasFilled)
{
    const std::vector<MUINT8> auiNoOptions = ChainWith(0x07E50C00, false, false);
    std::vector<MUINT8> auiBroken = ChainWith(0x07E50C00, false);
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
    const std::vector<MUINT8> auiPins = Chain(auiOld, sizeof(auiOld), false);
    const std::vector<MUINT8> auiBefore = auiPins;
    ASSERT_TRUE(m_oBoard.ReadPinsData((unsigned)auiPins.size(), auiPins.data()));
    EXPECT_EQ("OLD-SKU", ProductName(m_oBoard));
    EXPECT_EQ(auiBefore, auiPins);
}

// ---- Private copy

TEST(XBoardStorePins, KeepsItsOwnCopy)
{
    XBoard oBoard;
    std::vector<MUINT8> auiFirst(100, 0x11), auiSecond(40, 0x22);
    ASSERT_TRUE(oBoard.StorePinsData((unsigned)auiFirst.size(), auiFirst.data()));
    ASSERT_TRUE(oBoard.StorePinsData((unsigned)auiSecond.size(), auiSecond.data()));
    auiSecond[0] = 0;
    EXPECT_EQ(40u, oBoard.GetStoredPinsDataSize());
    std::vector<MUINT8> auiOut(64, 0xEE);
    ASSERT_TRUE(oBoard.GetPinsData((unsigned)auiOut.size(), auiOut.data()));
    EXPECT_EQ(0x22, auiOut[0]);
    EXPECT_EQ(0x22, auiOut[39]);
    EXPECT_EQ(0xEE, auiOut[40]);   // never more than was stored

    testing::internal::CaptureStdout();
    EXPECT_FALSE(oBoard.StorePinsData(0, auiFirst.data()));
    EXPECT_FALSE(oBoard.StorePinsData(10, nullptr));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(40u, oBoard.GetPinsDataSize());
}
}  // namespace
