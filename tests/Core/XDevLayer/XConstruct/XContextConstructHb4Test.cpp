// The memory-initialisation builder and the board data it shares: which boards it takes, how it
// finds and bounds the parameter block in the EEPROM, and where it concludes the processor sits.
// Populating a whole board is exercised by the tool's runs on simulated rigs.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "OsServices.h"
#include "Pins10TestChain.h"
#include "QelPciCfgRegs.h"
#include "XContext.h"
#include "XContextConstructHb4.h"
#include "XContextConstructHb4MemInit.h"
#include "XDevEeprom.h"
#include "XDevLibTestDoubles.h"
#include "XTracesMgrStub.h"

namespace
{
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

// ---- Which PCI functions the builder takes.

TEST(IsSupported, TakesTheFamilyOnly)
{
    const std::pair<MUINT32, bool> aoCases[] = {{0x05501E5B, true},  {0x055F1E5B, true},  {0x05571E5B, true},
                                                {0x05601E5B, false}, {0x05401E5B, false}, {0x05508086, false},
                                                {0x05501E5C, false}, {0xFFFFFFFF, false}};
    for (const auto& [uiPciId, bSupported] : aoCases)
    {
        XContextConstructHb4MemInit oBuilder;
        EXPECT_EQ(oBuilder.IsSupported(uiPciId, 0x0A011E5B) != 0, bSupported) << std::hex << uiPciId;
    }
}

// ---- Finding and reading the parameter block.

// An EEPROM whose content is an image in memory; unwritten bytes read as erased.
class CImageEeprom : public XDevEeprom
{
public:
    CImageEeprom(OsServices& roOs, std::vector<MUINT8> auiImage) : XDevEeprom(roOs), m_auiImage(std::move(auiImage)) {}
    LStatus Erase(ECommonInst, MUINT32, MUINT32) override { return -1; }
    LStatus Write(MUINT32, MUINT32, const MUINT8*, MUINT32) override { return -1; }
    LStatus Read(MUINT8, MUINT32, MUINT32 uiAddress, MUINT8* pui8Buffer, MUINT32 uiCount) override
    {
        for (MUINT32 i = 0; i < uiCount; ++i)
        {
            const size_t uiAt = size_t(uiAddress) + i;
            pui8Buffer[i] = uiAt < m_auiImage.size() ? m_auiImage[uiAt] : 0xFF;
        }
        return 0;
    }

private:
    std::vector<MUINT8> m_auiImage;
};

constexpr MUINT32 POINTER_ADDRESS = 0x1FE7C;

std::vector<MUINT8> Image(MUINT32 uiBlockAddress, const std::vector<MUINT8>& rauiBlock)
{
    std::vector<MUINT8> auiImage(0x20000, 0xFF);
    std::copy(rauiBlock.begin(), rauiBlock.end(), auiImage.begin() + uiBlockAddress);
    auiImage[POINTER_ADDRESS] = MUINT8(uiBlockAddress);
    auiImage[POINTER_ADDRESS + 1] = MUINT8(uiBlockAddress >> 8);
    return auiImage;
}

std::vector<MUINT8> GoodChain()
{
    return Pins10TestTypicalChain().End().Bytes();
}

std::vector<MUINT8> WithLength(std::vector<MUINT8> auiChain, MUINT16 uiLength)
{
    // The processor block follows the header block.
    const size_t uiCpu = 4 + sizeof(tagPins10Header);
    auiChain[uiCpu + 2] = MUINT8(uiLength);
    auiChain[uiCpu + 3] = MUINT8(uiLength >> 8);
    return auiChain;
}

TEST(ReadEepromPins, ReturnsAValidatedChainOrNothing)
{
    const MUINT32 LIMIT = 8024;
    const std::vector<MUINT8> auiGood = GoodChain();
    // {image, found, an assertion report is made}
    const std::tuple<const char*, std::vector<MUINT8>, bool, bool> aoCases[] = {
        {"AtTheUsualPlace", Image(0x100, auiGood), true, false},
        {"EndingJustAtTheLimit", Image(LIMIT - MUINT32(auiGood.size()), auiGood), true, false},
        {"Blank", std::vector<MUINT8>(0x20000, 0xFF), false, false},
        {"ZeroLength", Image(0x100, WithLength(auiGood, 0)), false, true},
        {"ErasedLength", Image(0x100, WithLength(auiGood, 0xFFFF)), false, true},
        {"HeaderPastTheLimit", Image(LIMIT - 16, auiGood), false, true},
        {"LengthRunsPastTheLimit", Image(0x100, WithLength(auiGood, 0x2000)), false, true},
        {"FailsValidation", Image(0x100, WithLength(auiGood, 6)), false, true}};
    for (const auto& [pszName, rauiImage, bExpectFound, bReported] : aoCases)
    {
        OsServices oOs;
        CImageEeprom oEeprom(oOs, rauiImage);
        MUINT8* puiPins = reinterpret_cast<MUINT8*>(1);
        MUINT32 uiSize = 99;
        CaptureStdout();
        const MBOOL32 bFound = XContextConstructHb4::ReadEepromPins(oEeprom, puiPins, uiSize);
        const std::string sOutput = GetCapturedStdout();
        EXPECT_EQ(bFound != 0, bExpectFound) << pszName;
        EXPECT_EQ(sOutput.find("Assertion failed") != std::string::npos, bReported) << pszName << ": " << sOutput;
        if (bFound)
            EXPECT_EQ(std::vector<MUINT8>(puiPins, puiPins + uiSize), auiGood) << pszName;
        else
            EXPECT_TRUE(puiPins == nullptr && uiSize == 0) << pszName;
        delete[] puiPins;
    }
}

// ---- Where the processor sits.

// Configuration space whose I/O space enable bit does or does not stick.
class CProbeCfg : public TFakeRes<XCfgAccess>
{
public:
    explicit CProbeCfg(bool bIoSticks) : TFakeRes(256), m_bIoSticks(bIoSticks) {}
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override
    {
        if (uiOffset == PciCfg::RegCOMMAND_STATUS && !m_bIoSticks)
            uiValue &= ~PciCfg::COMMAND_IO_SPACE;
        return TFakeRes::Write(uiOffset, uiValue);
    }
    bool m_bIoSticks;
};

// Windows owned by the test, so that they outlive the context that owns this.
class CProbeHwAccess : public XHwAccess
{
public:
    using XHwAccess::XHwAccess;
    int RetrainLink() override { return 0; }
};

TEST(ExtractBoardData, ConcludesFromRecordAndProbe)
{
    // {name, processor options of the record, the I/O enable bit sticks, PCB, strap register 0x5670,
    //  expected on board, on the primary bus, external}
    const std::tuple<const char*, MUINT16, bool, MUINT32, MUINT32, int, int, int> aoCases[] = {
        // Bits 0 and 2 not both set: the record alone, no probe.
        {"NoProcessor", 0x0, true, 1, 0, 0, 0, 0},
        {"OnBoardPrimary", 0x3, false, 1, 0, 1, 1, 0},
        {"ExternalOnly", 0x4, true, 1, 0, 0, 0, 1},
        // Both set: the probe decides.
        {"ProbeAgreesSecondary", 0x5, false, 1, 0, 1, 0, 1},
        {"ProbeAgreesPrimary", 0x7, true, 1, 0, 1, 1, 1},
        {"ProbeSaysPrimaryRecordNot", 0x5, true, 1, 0, 0, 1, 0},
        {"ProbeSaysSecondaryRecordPrimary", 0x7, false, 1, 0, 0, 0, 0},
        // The strapped PCB: primary forces external, secondary reads the strap register.
        {"StrappedPcbPrimary", 0x7, true, 7470, 0, 1, 1, 1},
        {"StrappedPcbSecondaryFitted", 0x5, false, 7470, 1u << 29, 1, 0, 1},
        {"StrappedPcbSecondaryAbsent", 0x5, false, 7470, ~(1u << 29), 1, 0, 0}};
    for (const auto& [pszName, uiCpuOptions, bIoSticks, uiPcbNum, uiStrapReg, iExpectOnBoard, iExpectOnPrimaryBus,
                      iExpectExternal] : aoCases)
    {
        OsServices oOs;
        CProbeCfg oCfg(bIoSticks);
        CFakeMem oMem;
        TFakeRes<XRegAccess> oReg(0x10000);
        const MUINT32 uiCommand = 0x00100006;   // memory space and bus master on, I/O space off
        oCfg.TFakeRes::Write(PciCfg::RegCOMMAND_STATUS, uiCommand);
        oReg.Write(XHb4BoardData::REG_PROCESSOR_STRAPS, uiStrapReg);
        XContext oContext(&oOs, new CProbeHwAccess(oCfg, oMem, oReg), new XTracesMgrStub());
        ASSERT_TRUE(oContext.m_bInitialized) << pszName;

        tagPins10Cpu oCpu = {uiCpuOptions, 1, {3, 3, 0, 0}};
        const std::vector<MUINT8> auiPins = CPins10TestChain()
                                                .Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader(uiPcbNum << 16))
                                                .Record(PINS10_SIGNATURE_CPU, oCpu)
                                                .End()
                                                .Bytes();
        int iOnBoard = -1, iOnPrimaryBus = -1, iExternal = -1;
        ASSERT_EQ(XContextConstructHb4::ExtractBoardData(auiPins.data(), oContext, iOnBoard, iOnPrimaryBus, iExternal), 1u)
            << pszName;
        EXPECT_EQ(iOnBoard, iExpectOnBoard) << pszName;
        EXPECT_EQ(iOnPrimaryBus, iExpectOnPrimaryBus) << pszName;
        EXPECT_EQ(iExternal, iExpectExternal) << pszName;

        MUINT32 uiAfter = 0;
        oCfg.Read(PciCfg::RegCOMMAND_STATUS, uiAfter);
        EXPECT_EQ(uiAfter, uiCommand) << pszName << ": the command register is left as found";
    }
}

} // namespace
