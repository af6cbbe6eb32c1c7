// Built-in parameter blocks: selection by subsystem word, and a self-check of every block against
// what the chip needs to come up (valid chain, memory sizes matching the PHY configuration, clocks
// the synthesizers can produce).
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "XCascadedPll.h"
#include "XHb4DefaultPins.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

namespace
{
struct SBuiltInCase
{
    const char* pszName;
    MUINT32 uiSubsysId;
    int iPcbRev;   // -1: no PCB info
    MUINT32 uiVariant;
};
void PrintTo(const SBuiltInCase& roCase, std::ostream* poStream) { *poStream << roCase.pszName; }

std::vector<MUINT8> CopyOf(const SBuiltInCase& roCase)
{
    tagPinsHeaderPcbInfo oPcb = {};
    oPcb.uRev = (MUINT32)(roCase.iPcbRev < 0 ? 0 : roCase.iPcbRev);
    const tagPinsHeaderPcbInfo* poPcb = roCase.iPcbRev < 0 ? nullptr : &oPcb;
    const MUINT32 uiSize = XHb4DefaultPins::GetDefaultPinsSize(roCase.uiSubsysId, poPcb, roCase.uiVariant);
    const MUINT8* puiPins = XHb4DefaultPins::GetPinsContent(roCase.uiSubsysId, poPcb, roCase.uiVariant);
    return std::vector<MUINT8>(puiPins, puiPins + uiSize);
}

// Every block the table can hand out.
const SBuiltInCase msc_aoBuiltIns[] = {
    {"Generic", E_SUB_SYS_ID_DEFAULT, -1, 0},
    {"QuadPhy", E_SUB_SYS_ID_REF_QUAD_PHY, -1, 0},
    {"QuadPhyInputOutput", E_SUB_SYS_ID_REF_QUAD_PHY, -1, 1},
    {"DualPhy", E_SUB_SYS_ID_REF_DUAL_PHY, 1, 0},
    {"DualPhyFirstRevision", E_SUB_SYS_ID_REF_DUAL_PHY, 0, 0},
    {"Fanless", E_SUB_SYS_ID_REF_FANLESS, -1, 0},
};

// Whether the chip's two cascaded PLLs, held to the ranges the block gives them, reach the target
// within the +-1.1 % band that clock programming accepts.
bool SynthesizerReaches(const tagPins10Clock& roClock, MUINT32 uiTarget)
{
    SPllData oLimits = XCascadedPll::m_oDefaultPllAlgoData;
    oLimits.oVco0kHzLimit = {roClock.uiVco1Min, roClock.uiVco1Max};
    oLimits.oRef1kHzLimit = {roClock.uiFreqRef2Min, roClock.uiFreqRef2Max};
    oLimits.oVco1kHzLimit = {roClock.uiVco2Min, roClock.uiVco2Max};
    SParamResult oResult{};
    return XCascadedPll(oLimits).ComputeParam(uiTarget, roClock.uiFreqRef, 110, 1, oResult) == 0;
}

// Source field of a clock-control word: 0 the oscillator, 1, 2 and 4 the system synthesizers FS0,
// FS1 and FS2, 3 the first video synthesizer.
constexpr MUINT32 SOURCE_OSC = 0, SOURCE_FSVID0 = 3;
MUINT32 Source(MUINT32 uiClockControl) { return (uiClockControl >> 1) & 0x7; }

// Target of the system synthesizer a source selects, or 0 when the source is none of them.
MUINT32 SystemTarget(const tagPins10Clock& roClock, MUINT32 uiSource)
{
    const MUINT32 auiTargets[8] = {0, roClock.uiFS0FOut, roClock.uiFS1FOut, 0, roClock.uiFS2FOut, 0, 0, 0};
    return auiTargets[uiSource & 0x7];
}

class BuiltInBlockTest : public testing::TestWithParam<SBuiltInCase>
{
protected:
    void SetUp() override
    {
        m_auiPins = CopyOf(GetParam());
        ASSERT_TRUE(Pins10Validate(m_auiPins.data(), (MUINT32)m_auiPins.size()));
    }
    std::vector<MUINT8> m_auiPins;
};

TEST_P(BuiltInBlockTest, SizeIsExactlyTheChain)
{
    MUINT32 uiEnd = 0;
    ASSERT_EQ(PINS10_BLOCK_END, Pins10WalkChain(m_auiPins.data(), (MUINT32)m_auiPins.size(), &uiEnd));
    EXPECT_EQ(m_auiPins.size(), uiEnd + sizeof(tagPinsBlock) + sizeof(PinsCheck));
    // Every refinement of a model has the model's size.
    SBuiltInCase oPlain = GetParam();
    oPlain.iPcbRev = -1;
    oPlain.uiVariant = 0;
    EXPECT_EQ(CopyOf(oPlain).size(), m_auiPins.size());
}

TEST_P(BuiltInBlockTest, RecordsTheBuilderNeedsArePresent)
{
    tagPins10Header oHeader = {};
    tagPins10Cpu oCpu = {};
    tagPins10FactoryOptions oOptions = {};
    ASSERT_TRUE(XPins10Helper::GetPinsHeader(m_auiPins.data(), &oHeader));
    EXPECT_EQ(PINS10_HEADER_REVISION, oHeader.uiStructRevision);
    ASSERT_TRUE(XPins10Helper::GetCpuInfo(m_auiPins.data(), &oCpu));
    EXPECT_GT(XPins10Helper::CalcMemorySizeInMB(oCpu.auiMemQty), 0u);
    EXPECT_TRUE(XPins10Helper::GetOptInfo(m_auiPins.data(), &oOptions));
    tagPins10MiscIo oPin;
    EXPECT_TRUE(XPins10Helper::GetPinsMiscIo(m_auiPins.data(), 0, &oPin));
}

TEST_P(BuiltInBlockTest, MemoryConfigurationMatchesItsSizeCodes)
{
    tagPins10Mem_v2 oMemory = {};
    ASSERT_TRUE(XPins10Helper::GetPinsMemoryConfig(m_auiPins.data(), &oMemory));
    MUINT32 uiPhyMask = 0;
    for (MUINT32 i = 0; i < 4; ++i)
    {
        EXPECT_LE(oMemory.auiMemQty[i], 10u) << "size code of PHY " << i;
        uiPhyMask |= oMemory.auiMemQty[i] != 0 ? 1u << i : 0;
    }
    // The controller accepts one, two or four PHYs.
    const MUINT32 uiFitted = (MUINT32)__builtin_popcount(uiPhyMask);
    ASSERT_TRUE(uiFitted == 1 || uiFitted == 2 || uiFitted == 4) << "PHY mask " << uiPhyMask;
    const MUINT32 uiMode = uiFitted == 4 ? 2 : uiFitted - 1;
    EXPECT_EQ(uiPhyMask, (oMemory.uiMEM_CONFIG >> 2) & 0xF);
    EXPECT_EQ(uiMode, oMemory.uiMEM_CONFIG & 0x3);
    EXPECT_EQ(uiFitted == 2, XPins10Helper::IsMemoryInterleaveDualMode(oMemory.auiMemQty) != 0);
    EXPECT_GE(XPins10Helper::CalcMemorySizeInMB(oMemory.auiMemQty), 128u);
}

TEST_P(BuiltInBlockTest, ClocksSelectSynthesizersThatCanBeProgrammed)
{
    tagPins10Clock oClock = {};
    ASSERT_TRUE(XPins10Helper::GetPinsClock(m_auiPins.data(), &oClock));
    EXPECT_EQ(27000u, oClock.uiFreqRef);
    // The memory-side domains and the host bus run from a system synthesizer.
    for (MUINT32 uiControl : {oClock.uiSYS_MBECLKCTL, oClock.uiSYS_MFECLKCTL, oClock.uiSYS_HRBCLKCTL})
        EXPECT_NE(0u, SystemTarget(oClock, Source(uiControl))) << std::hex << uiControl;

    // No domain runs from a synthesizer that is switched off.
    const MUINT32* puiFirst = &oClock.uiSYS_MBECLKCTL;
    const MUINT32* puiLast = &oClock.uiSYS_FPGACLKCTL;
    for (const MUINT32* puiControl = puiFirst; puiControl <= puiLast; ++puiControl)
    {
        const MUINT32 uiSource = Source(*puiControl);
        const bool bRuns = uiSource == SOURCE_OSC || SystemTarget(oClock, uiSource) != 0 ||
                           (uiSource == SOURCE_FSVID0 && oClock.uiFSVidFOut[0] != 0);
        EXPECT_TRUE(bRuns) << "clock-control word " << (puiControl - puiFirst) << " selects source " << uiSource;
    }
    for (MUINT32 uiTarget : {oClock.uiFS0FOut, oClock.uiFS1FOut, oClock.uiFS2FOut, oClock.uiFSVidFOut[0],
                             oClock.uiFSVidFOut[1], oClock.uiFSVidFOut[2], oClock.uiFSVidFOut[3]})
    {
        EXPECT_TRUE(uiTarget == 0 || SynthesizerReaches(oClock, uiTarget)) << uiTarget << " kHz";
    }
}

INSTANTIATE_TEST_SUITE_P(Blocks, BuiltInBlockTest, testing::ValuesIn(msc_aoBuiltIns),
                         [](const testing::TestParamInfo<SBuiltInCase>& roInfo) { return roInfo.param.pszName; });

// ---- Selection

TEST(Hb4DefaultPinsSelection, UnknownWordsGetTheGenericBlock)
{
    for (MUINT32 uiSubsysId : {(MUINT32)E_SUB_SYS_ID_DEFAULT, 0x12341234u, 0x0A011E5Au, 0u, 0xFFFFFFFFu})
    {
        EXPECT_EQ(584u, XHb4DefaultPins::GetDefaultPinsSize(uiSubsysId, nullptr, 0));
        EXPECT_EQ(DefaultPins::msc_oPins, XHb4DefaultPins::GetPinsContent(uiSubsysId, nullptr, 1));
    }
}

TEST(Hb4DefaultPinsSelection, RefinementsApplyOnlyToTheirModel)
{
    tagPinsHeaderPcbInfo oRev0 = {}, oRev1 = {};
    oRev1.uRev = 1;
    const MUINT8* puiQuad = XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_QUAD_PHY, nullptr, 0);
    const MUINT8* puiQuadIo = XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_QUAD_PHY, nullptr, 1);
    EXPECT_NE(puiQuad, puiQuadIo);
    EXPECT_EQ(puiQuad, XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_QUAD_PHY, &oRev0, 2));

    const MUINT8* puiDual = XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_DUAL_PHY, nullptr, 0);
    const MUINT8* puiDualRev0 = XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_DUAL_PHY, &oRev0, 0);
    EXPECT_NE(puiDual, puiDualRev0);
    EXPECT_EQ(puiDual, XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_DUAL_PHY, &oRev1, 0));
    EXPECT_EQ(puiDual, XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_DUAL_PHY, nullptr, 1));

    // An OEM version carries its design's board: the first revision shipped under every word of
    // the dual design, the input/output variant only under the quad design's reference word.
    EXPECT_EQ(puiDualRev0, XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_DUAL_PHY_OEM11, &oRev0, 0));
    EXPECT_EQ(puiDual, XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_DUAL_PHY_OEM1, &oRev1, 0));
    EXPECT_EQ(puiQuad, XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_QUAD_PHY_OEM1, nullptr, 1));

    tagPins10Mem_v2 oCurrent = {}, oFirst = {};
    ASSERT_TRUE(XPins10Helper::GetPinsMemoryConfig(puiDual, &oCurrent));
    ASSERT_TRUE(XPins10Helper::GetPinsMemoryConfig(puiDualRev0, &oFirst));
    EXPECT_NE(oCurrent.auiMPHY_DXGTR[0], oFirst.auiMPHY_DXGTR[0]);   // the first PCB's read-gate delays
}

TEST(Hb4DefaultPinsSelection, SupportedAndFanlessLists)
{
    EXPECT_EQ(32u, XHb4DefaultPins::GetSupportedSubsysIds(nullptr));
    MUINT32 auiIds[33];
    auiIds[32] = 0xA5A5A5A5;
    EXPECT_EQ(32u, XHb4DefaultPins::GetSupportedSubsysIds(auiIds));
    EXPECT_EQ(0xA5A5A5A5u, auiIds[32]);
    // Every listed word is a board of the family with a model block of its own. An OEM
    // word (subsystem id 0x0Amn) carries the block, and the size, of its design's reference word
    // (0x0A0n), which the built-in block cases check.
    std::set<MUINT32> oSupported;
    for (MUINT32 i = 0; i < 32; ++i)
    {
        const MUINT32 uiSubsysId = auiIds[i], uiReference = uiSubsysId & 0xFF0FFFFFu;
        oSupported.insert(uiSubsysId);
        EXPECT_EQ(0x1E5Bu, uiSubsysId & 0xFFFF) << std::hex << uiSubsysId;
        const MUINT8* puiPins = XHb4DefaultPins::GetPinsContent(uiSubsysId, nullptr, 0);
        EXPECT_NE(DefaultPins::msc_oPins, puiPins) << std::hex << uiSubsysId;
        EXPECT_EQ(XHb4DefaultPins::GetPinsContent(uiReference, nullptr, 0), puiPins) << std::hex << uiSubsysId;
        EXPECT_EQ(XHb4DefaultPins::GetDefaultPinsSize(uiReference, nullptr, 0),
                  XHb4DefaultPins::GetDefaultPinsSize(uiSubsysId, nullptr, 0)) << std::hex << uiSubsysId;
    }
    // Every fanless word is a supported board, and is found by the scan.
    for (MUINT32 uiSubsysId : XHb4DefaultPins::msc_aeFanlessSubsysIds)
    {
        EXPECT_TRUE(oSupported.count(uiSubsysId)) << std::hex << uiSubsysId;
        EXPECT_TRUE(XHb4DefaultPins::IsFanlessSubsysId(uiSubsysId)) << std::hex << uiSubsysId;
        EXPECT_EQ(XHb4DefaultPins::GetPinsContent(E_SUB_SYS_ID_REF_FANLESS, nullptr, 0),
                  XHb4DefaultPins::GetPinsContent(uiSubsysId, nullptr, 0))
            << std::hex << uiSubsysId;
    }
    for (MUINT32 uiSubsysId : {0u, (MUINT32)E_SUB_SYS_ID_UNDEFINED, (MUINT32)E_SUB_SYS_ID_REF_QUAD_PHY,
                               (MUINT32)E_SUB_SYS_ID_DUAL_PHY_OEM7, (MUINT32)E_SUB_SYS_ID_DEFAULT})
        EXPECT_FALSE(XHb4DefaultPins::IsFanlessSubsysId(uiSubsysId)) << std::hex << uiSubsysId;
}

}  // namespace
