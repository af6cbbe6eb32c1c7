// Accessors, memory record conversion and sizes, and the combinations of Pins10 chains.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "Pins10TestChain.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

namespace
{
std::vector<MUINT8> Validated(std::vector<MUINT8> auiChain)
{
    EXPECT_TRUE(Pins10Validate(auiChain.data(), (MUINT32)auiChain.size()));
    return auiChain;
}

// ---- Memory sizes

TEST(Pins10MemorySize, CodesGiveSizeAndInterleaveMode)
{
    const std::tuple<std::array<MUINT8, 4>, MUINT32, MBOOL32> aoCases[] = {
        {{4, 0, 0, 0}, 256, 0},  {{11, 0, 0, 0}, 0, 0}, {{1, 10, 0, 0}, 16416, 1}, {{6, 6, 0, 0}, 2048, 1},
        {{2, 2, 2, 2}, 256, 0},  {{0, 0, 0, 0}, 0, 0},  {{0, 3, 0, 3}, 256, 1},     {{255, 5, 0, 0}, 512, 1}};
    for (const auto& [rauiQty, uiSizeInMB, bDualMode] : aoCases)
    {
        EXPECT_EQ(uiSizeInMB, XPins10Helper::CalcMemorySizeInMB(rauiQty.data())) << +rauiQty[0] << ' ' << +rauiQty[1];
        EXPECT_EQ(bDualMode, XPins10Helper::IsMemoryInterleaveDualMode(rauiQty.data())) << +rauiQty[0] << ' ' << +rauiQty[1];
    }
}

// ---- Memory record

std::vector<MUINT8> ChainWithMemory(const void* pvRecord, size_t uiSize)
{
    return Validated(CPins10TestChain()
                         .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader())
                         .Block(PINS10_SIGNATURE_MEMORY, pvRecord, uiSize)
                         .End()
                         .Bytes());
}

TEST(Pins10MemoryRecordTest, OlderRecordIsConverted)
{
    MUINT8 auiOld[PINS10_MEMORY_V1_SIZE];
    for (MUINT32 i = 0; i < sizeof(auiOld); i += 4)
        Pins10WriteU32(auiOld + i, 0xA0000000u + i);   // every word tells its old offset
    Pins10WriteU32(auiOld, PINS10_MEMORY_VERSION_V1);
    const MUINT8 auiQty[4] = {2, 2, 0, 0};
    memcpy(auiOld + 4, auiQty, 4);
    const std::vector<MUINT8> auiChain = ChainWithMemory(auiOld, sizeof(auiOld));

    tagPins10Mem_v2 oMemory = {};
    ASSERT_TRUE(XPins10Helper::GetPinsMemoryConfig(auiChain.data(), &oMemory));
    EXPECT_EQ(PINS10_MEMORY_VERSION, oMemory.uiVersion);
    EXPECT_EQ(0, memcmp(auiQty, oMemory.auiMemQty, 4));
    EXPECT_EQ(0xA0000008u, oMemory.uiMEM_CONFIG);
    EXPECT_EQ(0xA000006Cu, oMemory.uiMBE_ARB0);      // old offset 108
    EXPECT_EQ(0xA0000074u, oMemory.uiMEM_CTL0);      // old offset 116; 112 is dropped
    EXPECT_EQ(0xA0000078u, oMemory.uiMEM_WTST0);
    EXPECT_EQ(0xA00000FCu, oMemory.auiMPHY_DXGTR[3]);  // old offset 252
}

TEST(Pins10MemoryRecordTest, ShortOrUnknownRecordsAreRefused)
{
    tagPins10Mem_v2 oCurrent = {};
    oCurrent.uiVersion = PINS10_MEMORY_VERSION;
    MUINT8 auiOldShort[200] = {};
    Pins10WriteU32(auiOldShort, PINS10_MEMORY_VERSION_V1);
    tagPins10Mem_v2 oUnknown = {};
    oUnknown.uiVersion = 0x0301;

    const std::vector<std::vector<MUINT8>> aauiChains = {
        ChainWithMemory(&oCurrent, 152), ChainWithMemory(auiOldShort, sizeof(auiOldShort)),
        ChainWithMemory(&oUnknown, sizeof(oUnknown))};
    for (const std::vector<MUINT8>& rauiChain : aauiChains)
    {
        tagPins10Mem_v2 oMemory = {};
        testing::internal::CaptureStdout();
        EXPECT_EQ(0u, XPins10Helper::GetPinsMemoryConfig(rauiChain.data(), &oMemory));
        EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("Assertion failed"));
    }
}

// ---- List accessors

// A record shorter than its structure is refused rather than copied with a stale tail.
TEST(Pins10ListAccess, RecordBelowItsMinimumIsRefused)
{
    const MUINT8 auiShortCpu[4] = {0x07, 0x00, 0x01, 0x00};
    const std::vector<MUINT8> auiChain = Validated(CPins10TestChain()
                                                       .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader())
                                                       .Block(PINS10_SIGNATURE_CPU, auiShortCpu, sizeof(auiShortCpu))
                                                       .End()
                                                       .Bytes());
    tagPins10Cpu oCpu;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(XPins10Helper::GetCpuInfo(auiChain.data(), &oCpu));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("Assertion failed"));
}

// Found by fuzzing: an I2C-device block without the list flag answers every index with its one
// record, and the search for an absent id never ended.
TEST(Pins10ListAccess, DeviceByIdInASingleBlockLooksAtItsOneRecord)
{
    tagPins10DeviceI2c oDevice = {};
    oDevice.uiDeviceId = 10;
    const std::vector<MUINT8> auiChain = Validated(CPins10TestChain()
                                                       .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader())
                                                       .Record(PINS10_SIGNATURE_I2C_DEVICE & PINS10_SIGNATURE_KIND_MASK, oDevice)
                                                       .End()
                                                       .Bytes());
    EXPECT_TRUE(XPins10Helper::GetPinsI2cDeviceById(auiChain.data(), 10, &oDevice));
    EXPECT_FALSE(XPins10Helper::GetPinsI2cDeviceById(auiChain.data(), 12, &oDevice));
}

// ---- Merge and add

class Pins10CombineTest : public testing::Test
{
protected:
    void SetUp() override { m_auiA = Validated(Pins10TestTypicalChain().End(0x5A).Bytes()); }

    // Runs the combination and keeps its output; 0 when refused.
    MBOOL32 Combine(bool bAdd, std::vector<MUINT8> auiA, std::vector<MUINT8> auiB)
    {
        MUINT8* puiOut = nullptr;
        MUINT32 uiOutSize = 0;
        auto pfnCombine = bAdd ? &XPins10Helper::AddPinsData : &XPins10Helper::MergePinsData;
        const MBOOL32 bOk = pfnCombine(auiA.data(), (MUINT32)auiA.size(), auiB.data(), (MUINT32)auiB.size(),
                                       &puiOut, &uiOutSize);
        m_bAllocated = puiOut != nullptr;
        m_auiOut.assign(puiOut, puiOut + (puiOut ? uiOutSize : 0));
        delete[] puiOut;
        return bOk;
    }

    std::vector<MUINT8> m_auiA;
    std::vector<MUINT8> m_auiOut;
    bool m_bAllocated = false;
};

TEST_F(Pins10CombineTest, MergeAppendsOnlyKindsThatALacks)
{
    tagPins10Clock oClock = {};
    oClock.uiFreqRef = 27000;
    tagPins10Cpu oOtherCpu = {0x0007, 9, {1, 1, 1, 1}};
    const std::vector<MUINT8> auiB = CPins10TestChain()
                                         .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader(0x11110000))
                                         .Record(PINS10_SIGNATURE_CPU, oOtherCpu)
                                         .Record(PINS10_SIGNATURE_CLOCK, oClock)
                                         .List(PINS10_SIGNATURE_MISC_IO, std::vector<tagPins10MiscIo>{Pins10TestMiscIo(9, 1)})
                                         .End()
                                         .Bytes();
    ASSERT_TRUE(Combine(false, m_auiA, auiB));

    const size_t uiBodyA = m_auiA.size() - 8;
    ASSERT_EQ(m_auiA.size() + 4 + sizeof(oClock), m_auiOut.size());
    EXPECT_TRUE(std::equal(m_auiA.begin(), m_auiA.begin() + uiBodyA, m_auiOut.begin()));
    EXPECT_EQ(PINS10_SIGNATURE_CLOCK, Pins10ReadU16(&m_auiOut[uiBodyA]));
    EXPECT_EQ(PINS10_SIGNATURE_END, Pins10ReadU16(&m_auiOut[m_auiOut.size() - 8]));
    EXPECT_EQ(0, m_auiOut[m_auiOut.size() - 4]) << "A's checksum no longer holds for the merged chain";

    tagPins10Cpu oCpu;
    ASSERT_TRUE(XPins10Helper::GetCpuInfo(m_auiOut.data(), &oCpu));
    EXPECT_EQ(0x0001, oCpu.uiCpuOptions);   // A wins
}

TEST_F(Pins10CombineTest, InvalidInputAllocatesNothing)
{
    std::vector<MUINT8> auiBroken = m_auiA;
    auiBroken[auiBroken.size() - 8] = 0;   // no end block any more
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Combine(false, m_auiA, auiBroken));
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(m_bAllocated);
}

TEST_F(Pins10CombineTest, AddConcatenatesListsAtTheSmallerItemSize)
{
    // B's I/O pins are written 44 bytes wide (a longer element of a later layout).
    tagPins10I2cBus oBus = {};
    oBus.uiBusId = 5;
    const std::vector<MUINT8> auiB =
        CPins10TestChain()
            .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader(0x22220000))
            .List(PINS10_SIGNATURE_MISC_IO, std::vector<tagPins10MiscIo>{Pins10TestMiscIo(7, 2), Pins10TestMiscIo(8, 2)}, 44)
            .List(PINS10_SIGNATURE_I2C_BUS, std::vector<tagPins10I2cBus>{oBus})
            .End()
            .Bytes();
    ASSERT_TRUE(Combine(true, m_auiA, auiB));
    ASSERT_TRUE(Pins10Validate(m_auiOut.data(), (MUINT32)m_auiOut.size()));

    MUINT32 uiItemSize = 0;
    ASSERT_NE(nullptr, Pins10GetPinsBlockData(m_auiOut.data(), PINS10_SIGNATURE_MISC_IO, 4, &uiItemSize));
    EXPECT_EQ(sizeof(tagPins10MiscIo), uiItemSize);
    EXPECT_EQ(nullptr, Pins10GetPinsBlockData(m_auiOut.data(), PINS10_SIGNATURE_MISC_IO, 5, nullptr));
    const MUINT16 auiExpectedIds[] = {1, 2, 3, 7, 8};
    for (MUINT32 i = 0; i < 5; ++i)
    {
        tagPins10MiscIo oPin;
        ASSERT_TRUE(XPins10Helper::GetPinsMiscIo(m_auiOut.data(), i, &oPin));
        EXPECT_EQ(auiExpectedIds[i], oPin.uiMiscIoId);
    }
    tagPins10I2cBus oOutBus;
    EXPECT_TRUE(XPins10Helper::GetPinsI2cBus(m_auiOut.data(), 0, &oOutBus));
}

// ---- Removal by type

class Pins10RemoveTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_auiChain = Pins10TestTypicalChain().End().Bytes();
        m_auiChain.resize(m_auiChain.size() + 16, 0xCC);   // room behind the chain, as in an EEPROM copy
    }
    MBOOL32 Remove(MUINT16 uiSignature, MUINT16 uiType)
    {
        m_uiSize = (MUINT32)m_auiChain.size();
        return XPins10Helper::RemovePinsMultiBlockElement(uiSignature, uiType, m_uiSize, m_auiChain.data());
    }
    std::vector<MUINT8> m_auiChain;
    MUINT32 m_uiSize = 0;
};

TEST_F(Pins10RemoveTest, ElementsOfTheTypeLeaveTheList)
{
    const MUINT32 uiChainSize = (MUINT32)m_auiChain.size() - 16;
    ASSERT_TRUE(Remove(PINS10_SIGNATURE_MISC_IO, PINS10_MISC_IO_TYPE_FAN));
    EXPECT_EQ(uiChainSize - sizeof(tagPins10MiscIo), m_uiSize);
    ASSERT_TRUE(Pins10Validate(m_auiChain.data(), m_uiSize));
    tagPins10MiscIo oPin;
    EXPECT_TRUE(XPins10Helper::GetPinsMiscIo(m_auiChain.data(), 1, &oPin));
    EXPECT_EQ(2u, oPin.uiMiscIoId);
    EXPECT_FALSE(XPins10Helper::GetPinsMiscIo(m_auiChain.data(), 2, &oPin));
    tagPins10FactoryOptions oOptions;
    EXPECT_TRUE(XPins10Helper::GetOptInfo(m_auiChain.data(), &oOptions));
    for (size_t i = m_uiSize; i < m_auiChain.size(); ++i)
        ASSERT_EQ(0, m_auiChain[i]) << "byte " << i;
}

TEST_F(Pins10RemoveTest, BadArgumentsOrNothingToRemoveChangeNothing)
{
    const std::vector<MUINT8> auiBefore = m_auiChain;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Remove(PINS10_SIGNATURE_MISC_IO, 0));
    m_auiChain[0] = 0;   // no header
    EXPECT_FALSE(Remove(PINS10_SIGNATURE_MISC_IO, 8));
    testing::internal::GetCapturedStdout();
    m_auiChain[0] = auiBefore[0];
    EXPECT_EQ(auiBefore, m_auiChain);

    // A type no pin has, and a list the chain lacks: the chain itself is unchanged.
    ASSERT_TRUE(Remove(PINS10_SIGNATURE_MISC_IO, 5));
    EXPECT_TRUE(std::equal(auiBefore.begin(), auiBefore.begin() + m_uiSize, m_auiChain.begin()));
    ASSERT_TRUE(Remove(PINS10_SIGNATURE_I2C_BUS, PINS10_MISC_IO_TYPE_FAN));
    EXPECT_TRUE(std::equal(auiBefore.begin(), auiBefore.begin() + m_uiSize, m_auiChain.begin()));
}
}  // namespace
