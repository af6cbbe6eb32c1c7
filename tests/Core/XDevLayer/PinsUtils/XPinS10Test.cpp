// Walker, lookup and validation of Pins10 chains, including the older header layout.
#include <gtest/gtest.h>

#include <cstring>

#include "Pins10TestChain.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

namespace
{
struct SValidationCase
{
    const char* pszName;
    std::vector<MUINT8> auiBytes;
    MUINT32 uiSize;   // size handed to the validator
    MBOOL32 bValid;
};
void PrintTo(const SValidationCase& roCase, std::ostream* poStream) { *poStream << roCase.pszName; }

std::vector<MUINT8> TypicalBytes() { return Pins10TestTypicalChain().End().Bytes(); }

// A 44-byte header followed directly by the end block: 56 bytes, the smallest valid chain.
std::vector<MUINT8> SmallestChain()
{
    tagPins10Header oHeader = Pins10TestHeader();
    return CPins10TestChain().Block(PINS10_SIGNATURE_HEADER, &oHeader, PINS10_HEADER_MIN_SIZE).End().Bytes();
}

std::vector<MUINT8> WithBadSecondBlock(MUINT16 uiSignature, MUINT16 uiLength)
{
    const MUINT8 auiData[8] = {};
    return CPins10TestChain()
        .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader())
        .Block(uiSignature, auiData, sizeof(auiData), uiLength)
        .End()
        .Bytes();
}

std::vector<SValidationCase> ValidationCases()
{
    const std::vector<MUINT8> auiTypical = TypicalBytes();
    const MUINT32 uiTypical = (MUINT32)auiTypical.size();
    std::vector<MUINT8> auiTrailing = auiTypical, auiNoHeader = auiTypical;
    auiNoHeader[0] = 0x15;
    auiTrailing.resize(uiTypical + 12, 0xFF);
    const std::vector<MUINT8> auiSmallest = SmallestChain();
    const std::vector<MUINT8> auiNoEnd = Pins10TestTypicalChain().Bytes();
    // A size of 0 stands for the whole chain.
    std::vector<SValidationCase> aoCases = {
        {"Typical", auiTypical, uiTypical, 1},
        {"TrailingBytesAfterEnd", auiTrailing, 0, 1},
        {"FirstBlockNotHeader", auiNoHeader, uiTypical, 0},
        {"Smallest56Bytes", auiSmallest, 56, 1},
        {"Below56Bytes", auiSmallest, 55, 0},
        {"ZeroLength", WithBadSecondBlock(PINS10_SIGNATURE_CPU, 0), 0, 0},
        {"LengthNotMultipleOf4", WithBadSecondBlock(PINS10_SIGNATURE_CPU, 6), 0, 0},
        {"ZeroSignature", WithBadSecondBlock(0, 8), 0, 0},
        {"LengthPastBuffer", WithBadSecondBlock(PINS10_SIGNATURE_CPU, 0x1000), 0, 0},
        // The chain is fine but the size given stops before the end block, or inside it.
        {"EndBlockOutsideSize", auiTypical, uiTypical - 8, 0},
        {"EndBlockCutInHalf", auiTypical, uiTypical - 2, 0},
        {"NoEndBlock", auiNoEnd, 0, 0}};
    for (SValidationCase& roCase : aoCases)
    {
        if (roCase.uiSize == 0)
            roCase.uiSize = (MUINT32)roCase.auiBytes.size();
    }
    return aoCases;
}

using Pins10ValidateTest = testing::TestWithParam<SValidationCase>;

TEST_P(Pins10ValidateTest, AcceptsOnlyChainsEndingInsideTheBuffer)
{
    SValidationCase oCase = GetParam();
    // Hand the validator a buffer of exactly the given size so that a sanitizer build catches
    // any read past it.
    std::vector<MUINT8> auiBuffer(oCase.auiBytes.begin(), oCase.auiBytes.begin() + oCase.uiSize);
    testing::internal::CaptureStdout();
    EXPECT_EQ(oCase.bValid, Pins10Validate(auiBuffer.data(), oCase.uiSize));
    const std::string oOutput = testing::internal::GetCapturedStdout();
    EXPECT_EQ(!oCase.bValid, oOutput.find("Assertion failed") != std::string::npos) << oOutput;
}

INSTANTIATE_TEST_SUITE_P(Chains, Pins10ValidateTest, testing::ValuesIn(ValidationCases()),
                         [](const testing::TestParamInfo<SValidationCase>& roInfo) { return roInfo.param.pszName; });

// ---- Lookup

TEST(Pins10Lookup, IndexesListFlagsAndMissingKindsOnTheTypicalChain)
{
    std::vector<MUINT8> auiChain = TypicalBytes();
    ASSERT_TRUE(Pins10Validate(auiChain.data(), (MUINT32)auiChain.size()));
    // A list index must be below the item count.
    MUINT32 uiSize = 0;
    EXPECT_NE(nullptr, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_MISC_IO, 2, &uiSize));
    EXPECT_EQ(sizeof(tagPins10MiscIo), uiSize);
    EXPECT_EQ(nullptr, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_MISC_IO, 3, &uiSize));
    // A single block ignores the index and the list flag of the signature asked for.
    const MUINT8* puiFirst = Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_CPU, 0, nullptr);
    EXPECT_EQ(puiFirst, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_CPU, 7, nullptr));
    EXPECT_EQ(puiFirst, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_CPU | 0x8000, 0, nullptr));
    // A kind that is not there: the walk stops at the end block.
    EXPECT_EQ(nullptr, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_CLOCK, 0, nullptr));
    tagPins10Limitation oLimitation;
    EXPECT_EQ(0u, XPins10Helper::GetPinsLimitation(auiChain.data(), &oLimitation));
    // A header stored with the list flag is still the header.
    auiChain[1] |= 0x80;
    ASSERT_TRUE(Pins10Validate(auiChain.data(), (MUINT32)auiChain.size()));
    EXPECT_EQ(auiChain.data() + 8, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_HEADER, 0, nullptr));
}

TEST(Pins10Lookup, ElementPastItsBlockDataIsAbsent)
{
    // The list claims 3 items but its data length holds only 2.
    std::vector<MUINT8> auiChain =
        CPins10TestChain()
            .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader())
            .List(PINS10_SIGNATURE_MISC_IO, std::vector<tagPins10MiscIo>{Pins10TestMiscIo(1, 1), Pins10TestMiscIo(2, 1)})
            .End()
            .Bytes();
    auiChain[56 + 4] = 3;
    ASSERT_TRUE(Pins10Validate(auiChain.data(), (MUINT32)auiChain.size()));
    tagPins10MiscIo oPin;
    EXPECT_TRUE(XPins10Helper::GetPinsMiscIo(auiChain.data(), 1, &oPin));
    EXPECT_EQ(nullptr, Pins10GetPinsBlockData(auiChain.data(), PINS10_SIGNATURE_MISC_IO, 2, nullptr));
}

// ---- Older header layout: revision, date, serial, PCB word, part list, SKU, all within 44 bytes.
// Validation rewrites it in place in the current layout, once.

TEST(Pins10LegacyHeader, FieldsAreRewrittenInTheCurrentLayoutOnce)
{
    MUINT8 auiOld[PINS10_HEADER_MIN_SIZE] = {};
    Pins10WriteU16(auiOld + 0, PINS10_HEADER_REVISION_V1);
    Pins10WriteU16(auiOld + 2, 0x2A6F);
    memcpy(auiOld + 4, "SERIAL-0123456789", 16);
    Pins10WriteU16(auiOld + 20, 0x0153);   // PCB 21 + 6000, revision 3
    memcpy(auiOld + 22, "PL1234", 6);
    memcpy(auiOld + 28, "SKU-OLD8", 8);
    std::vector<MUINT8> auiChain = CPins10TestChain().Block(PINS10_SIGNATURE_HEADER, auiOld, sizeof(auiOld)).End().Bytes();
    ASSERT_TRUE(Pins10Validate(auiChain.data(), (MUINT32)auiChain.size()));
    const std::vector<MUINT8> auiConverted = auiChain;
    ASSERT_TRUE(Pins10Validate(auiChain.data(), (MUINT32)auiChain.size()));
    EXPECT_EQ(auiConverted, auiChain) << "a second validation must change nothing";

    tagPins10Header oHeader;
    memset(&oHeader, 0xEE, sizeof(oHeader));
    ASSERT_TRUE(XPins10Helper::GetPinsHeader(auiChain.data(), &oHeader));
    EXPECT_EQ(PINS10_HEADER_REVISION, oHeader.uiStructRevision);
    EXPECT_EQ((2021u << 16) | (15u << 8) | 15u, oHeader.uiReleaseDate);   // month from the day's bits
    EXPECT_EQ(0, memcmp(oHeader.szSerialNumber, "SERIAL-012345678", 16));
    EXPECT_EQ(6021u, oHeader.uiPcbInfo.uPcbNum);
    EXPECT_EQ(3u, oHeader.uiPcbInfo.uRev);
    EXPECT_EQ(0u, oHeader.uiPcbInfo.uSubRev);
    EXPECT_EQ(0, memcmp(oHeader.szPartListInfo, "PL1234\0\0", 8));
    EXPECT_EQ(0, memcmp(oHeader.szProductSku, "SKU-OLD8", 8));
    // The block keeps 44 bytes: the rest of the caller's record is untouched.
    EXPECT_EQ(0xEE, (MUINT8)oHeader.szProductSku[8]);
    EXPECT_EQ(PINS10_HEADER_MIN_SIZE, Pins10ReadU16(auiChain.data() + 2));
}
}  // namespace
