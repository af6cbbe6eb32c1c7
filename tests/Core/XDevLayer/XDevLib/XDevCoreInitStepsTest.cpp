// The steps of the core initialisation one by one on simulated boards: clock programming, the
// memory controller's register sequence and polls, the memory test, port arbitration.
#include "XDevCoreInitTestSupport.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "QelVxdSimChipClocks.h"

namespace
{
// ---- Clocks.

class CClockTest : public CCoreInitTest
{
protected:
    CQelSimChipClocks& Clocks() { return Chip().Clocks(); }
    static bool Near(MUINT32 uiFreq, MUINT32 uiTarget) { return uiFreq * 1000ull >= uiTarget * 989ull && uiFreq * 1000ull <= uiTarget * 1011ull; }
};

TEST_F(CClockTest, MemoryClocksRunAtTheRecordFrequencies)
{
    Build();
    EXPECT_EQ(Core().ClockMemInit(), 1);
    const MUINT32 auiTargets[] = {m_oClock.uiFS0FOut, m_oClock.uiFS1FOut, m_oClock.uiFS2FOut};
    for (MUINT32 uiFs = 0; uiFs < 3; uiFs++)
        EXPECT_TRUE(Near(Clocks().OutputKhz(uiFs), auiTargets[uiFs])) << uiFs << ": " << Clocks().OutputKhz(uiFs);
    for (MUINT32 uiVideo = 0; uiVideo < 4; uiVideo++)
    {
        EXPECT_EQ(Board().PeekReg(0x2670 + 8 * uiVideo) & 0xC0000000, 0xC0000000u) << "unused: off";
        EXPECT_EQ(Board().PeekReg(0x2674 + 8 * uiVideo) & 0x40000000, 0x40000000u);
    }
    EXPECT_EQ(Board().PeekReg(0x260C), m_oClock.uiSYS_MBECLKCTL);
    EXPECT_EQ(Board().PeekReg(0x2610), m_oClock.uiSYS_MFECLKCTL);
    EXPECT_EQ(Board().PeekReg(0x2638), m_oClock.auiSYS_VPECLKCTL[2]);
    EXPECT_EQ(Board().PeekReg(0x26A0), m_oClock.uiSYS_FPGACLKCTL);
    const CAccessLog aoWrites = Writes();
    const auto itRange = std::find_if(aoWrites.begin(), aoWrites.end(), [](const SAccess& ro) { return ro.uiOffset == 0x360; });
    ASSERT_NE(itRange, aoWrites.end());
    EXPECT_EQ((itRange->uiValue >> 24) & 3, 1u) << "bus side at 500 MHz";
    EXPECT_TRUE(Chip().MemoryClocksRunning());
}

TEST_F(CClockTest, SynthesizerIsPulsedThenProgrammedThenPolled)
{
    Build();
    EXPECT_EQ(Core().InitFS(0x2650, 0x2654, 400000, 27000, 110), 1);
    const CAccessLog aoWrites = Writes();
    ASSERT_EQ(aoWrites.size(), 4u);
    EXPECT_EQ(aoWrites[0], (SAccess{'W', 0x2650, 0x80000000}));
    EXPECT_EQ(aoWrites[1], (SAccess{'W', 0x2650, 0}));
    EXPECT_EQ(aoWrites[2].uiValue & 0xFFFFFF00, 0x01000000u) << "M0 and the enable bit only";
    EXPECT_EQ(aoWrites[3].uiOffset, 0x2654u);
    EXPECT_TRUE(Near(Clocks().OutputKhz(0), 400000));
    EXPECT_EQ(m_aoLog.back(), (SAccess{'R', 0x2654, aoWrites[3].uiValue | 0x20000000})) << "stops at the lock";
}

TEST_F(CClockTest, SynthesizerThatNeverLocksIsReadAHundredTimes)
{
    BuildBoard(R"("faults": {"pll_no_lock": ["FS0"]})");
    const std::string sOut = Output([&] { EXPECT_EQ(Core().ClockMemInit(), 0); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(1628) Assertion failed"));
    EXPECT_EQ(Count('R', 0x2650), 100u);
    EXPECT_EQ(Count('R', 0x2654), 100u);
    EXPECT_EQ(Count('W', 0x2658), 0u) << "FS1 is not reached";
}

TEST_F(CClockTest, ZeroTargetSwitchesTheSynthesizerOff)
{
    Build();
    EXPECT_EQ(Core().InitFS(0x2678, 0x267C, 0, 27000, 110), 1);
    const CAccessLog aoExpected = {{'R', 0x2678, 0}, {'R', 0x267C, 0}, {'W', 0x2678, 0xC0000000}, {'W', 0x267C, 0x40000000}};
    EXPECT_EQ(m_aoLog, aoExpected);
}

// With these limits the closest divider set (M0 45, M1 30, P0 30, P1 1) gives 607.5 MHz for a
// 600 MHz target, 1.25 % off: outside the band, and still what the synthesizer gets.
TEST_F(CClockTest, TargetOutsideTheBandIsStillProgrammed)
{
    Build({.fnPatch = [](tagPins10Clock& roClock, tagPins10Mem_v2&) {
        roClock.uiVco1Min = roClock.uiVco1Max = 1215000;
        roClock.uiFreqRef2Min = roClock.uiFreqRef2Max = 40000;
        roClock.uiVco2Min = roClock.uiVco2Max = 1200000;
    }});
    EXPECT_EQ(Core().InitFS(0x2650, 0x2654, 600000, 27000, 110), 1);
    EXPECT_EQ(Clocks().OutputKhz(0), 607500u);
}

TEST_F(CClockTest, TargetThatNoDividerSetReachesWritesNothing)
{
    Build();
    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitFS(0x2650, 0x2654, 1, 27000, 110), 0); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(843) Assertion failed")) << sOut;
    EXPECT_TRUE(Writes().empty());
}

TEST_F(CClockTest, BusSideSourceOtherThanASystemSynthesizerWritesNothing)
{
    // The bus side runs from video synthesizer 0.
    Build({.fnPatch = [](tagPins10Clock& roClock, tagPins10Mem_v2&) { roClock.uiSYS_MFECLKCTL = 0x00020006; }});
    const std::string sOut = Output([&] { EXPECT_EQ(Core().ClockMemInit(), 0); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(1563) Assertion failed"));
    EXPECT_TRUE(m_aoLog.empty());
}

// ---- Memory controller.

// The register writes InitMctl makes for a PHY mask, checked in as data/InitMctl-phys-<mask>.writes:
// one "offset value" pair a line, in order; lines that do not start with a number are comments.
CAccessLog ExpectedInitMctlWrites(MUINT32 uiMask)
{
    const std::string sPath = XDEVLIB_TEST_DATA_DIR "/InitMctl-phys-" + std::to_string(uiMask) + ".writes";
    std::ifstream oFile(sPath);
    EXPECT_TRUE(oFile.is_open()) << sPath;
    CAccessLog aoWrites;
    MUINT32 uiOffset = 0, uiValue = 0;
    for (std::string sLine; std::getline(oFile, sLine);)
        if (sscanf(sLine.c_str(), "%x %x", &uiOffset, &uiValue) == 2)
            aoWrites.push_back({'W', uiOffset, uiValue});
    return aoWrites;
}

// One PHY, two and four: each mask has its interleave mode.
using CInitMctlTest = TCoreInitParamTest<MUINT32>;

TEST_P(CInitMctlTest, WritesTheSequenceForThePhyMask)
{
    BuildBoard("\"phys\": " + std::to_string(GetParam()));
    ASSERT_EQ(Core().ClockMemInit(), 1);
    m_aoLog.clear();
    Output([&] { Core().InitMctl(GetParam()); });
    EXPECT_EQ(Writes(), ExpectedInitMctlWrites(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(XDevCoreInit, CInitMctlTest, ::testing::Values(1u, 8u, 3u, 12u, 9u, 15u),
                         [](const auto& roInfo) { return "Phys" + std::to_string(roInfo.param); });

TEST_F(CCoreInitTest, InitMctlRejectsMasksWithoutAnInterleaveMode)
{
    Build();
    for (MUINT32 uiMask : {0u, 7u, 11u, 13u, 14u, 16u, 0x1Fu})
    {
        const std::string sOut = Output([&] { EXPECT_EQ(Core().InitMctl(uiMask), -1) << uiMask; });
        EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(783) Assertion failed"));
    }
    EXPECT_TRUE(m_aoLog.empty());
}

TEST_F(CCoreInitTest, TrainedTwoPhyBoardIsReady)
{
    Build({.puiPins = g_aucCoreInitRef2Phy});
    ASSERT_EQ(Core().ClockMemInit(), 1);
    EXPECT_EQ(Core().InitMctl(3), 0);
    EXPECT_TRUE(Chip().MemoryUp());
    EXPECT_EQ(Core().ReadIndividualPhyReg(1, 0x6010) & 1, 1u) << "PHY 1 reports done";
    EXPECT_EQ(Core().ReadIndividualPhyReg(2, 0x6010) & 1, 0u) << "PHY 2 was never started";
}

// A PHY that never finishes stops the done poll after 51 reads, before the lower PHYs are polled;
// the error checks, lane delays, ready poll (all 50 reads) and PGCR1 release still run.
TEST_F(CCoreInitTest, PhyThatNeverFinishesFailsWithThePollingRules)
{
    BuildBoard(R"("faults": {"phy_not_done": [2]})");
    ASSERT_EQ(Core().ClockMemInit(), 1);
    m_aoLog.clear();
    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitMctl(0xF), -1); });
    EXPECT_TRUE(Contains(sOut, "Memory initialization fail, Phys stay busy (may occur when memory is already initialized)\n"));
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(870) Assertion failed"));
    MUINT32 uiSelected = 0;
    size_t auiStatusReads[16] = {};
    for (const SAccess& roAccess : m_aoLog)
    {
        if (roAccess.cKind == 'W' && roAccess.uiOffset == 0x5E00)
            uiSelected = roAccess.uiValue;
        if (roAccess.cKind == 'R' && roAccess.uiOffset == 0x6010)
            auiStatusReads[uiSelected & 0xF]++;
    }
    EXPECT_GE(auiStatusReads[8], 2u) << "PHY 3 polled until done, then checked";
    EXPECT_EQ(auiStatusReads[4], 52u) << "PHY 2: 51 polls and its error check";
    EXPECT_EQ(auiStatusReads[2], 1u) << "PHY 1: its error check only";
    EXPECT_EQ(auiStatusReads[1], 1u);
    EXPECT_EQ(Count('R', 0x5DE4), 50u);
    EXPECT_EQ(Count('W', 0x5D04), 1u);
    EXPECT_FALSE(Chip().MemoryUp());
}

// Training that ends late or badly. With training_polls N the PHYs report done, and the
// controller ready, on the Nth read of their status. The ready poll makes 50 reads and fails when
// it used them all, even if the 50th showed ready; the done poll makes 51 and fails only when the
// 51st still showed the PHY busy. A PHY that trained with an error is reported on its own.
struct STrainingCase
{
    const char* pszName;
    const char* pszFaults;
    LStatus iResult;
    bool bPhysBusy;
    size_t uiReadyReads;
    const char* pszMessage;
};
void PrintTo(const STrainingCase& ro, std::ostream* po) { *po << ro.pszName; }

using CTrainingTest = TCoreInitParamTest<STrainingCase>;

TEST_P(CTrainingTest, PollsAndErrorsDecide)
{
    BuildBoard(std::string(R"("faults": {)") + GetParam().pszFaults + "}");
    ASSERT_EQ(Core().ClockMemInit(), 1);
    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitMctl(0xF), GetParam().iResult); });
    EXPECT_EQ(Contains(sOut, "Phys stay busy"), GetParam().bPhysBusy) << sOut;
    EXPECT_TRUE(Contains(sOut, GetParam().pszMessage)) << sOut;
    EXPECT_EQ(Count('R', 0x5DE4), GetParam().uiReadyReads);
}

const STrainingCase s_aoTrainingCases[] = {
    {"ReadyOnTheLastPollButOne", R"("training_polls": 49)", 0, false, 49, ""},
    {"ReadyOnTheLastPoll", R"("training_polls": 50)", -1, false, 50, ""},
    {"PhysDoneOnTheirLastPoll", R"("training_polls": 51)", -1, false, 50, ""},
    {"PhysDoneAfterTheirLastPoll", R"("training_polls": 52)", -1, true, 50, "XDevCoreInit_Hb4.cpp(870) Assertion"},
    {"PhyTrainingError", R"("phy_error": [1])", -1, false, 50, "XDevCoreInit_Hb4.cpp(884) Assertion failed"},
};

INSTANTIATE_TEST_SUITE_P(XDevCoreInit, CTrainingTest, ::testing::ValuesIn(s_aoTrainingCases), CaseName);

// ---- Memory test.

TEST_F(CCoreInitTest, MemoryTestWritesEverythingThenReadsItBackInOrder)
{
    Build();
    m_bLogMemory = true;
    ASSERT_EQ(Core().InitializeHardware(), 0);
    CAccessLog aoMemory;
    std::copy_if(m_aoLog.begin(), m_aoLog.end(), std::back_inserter(aoMemory),
                 [](const SAccess& ro) { return ro.cKind == 'm' || ro.cKind == 'M'; });
    const size_t uiRunWords = 0xFFFF;
    ASSERT_EQ(aoMemory.size(), 4 * uiRunWords);
    for (size_t uiIndex = 0; uiIndex < 2 * uiRunWords; uiIndex++)
    {
        const MUINT32 uiWord = uiIndex < uiRunWords ? (MUINT32)uiIndex : (MUINT32)(0x10000 + uiIndex - uiRunWords);
        const MUINT32 uiValue = uiIndex < uiRunWords ? uiWord : uiWord << 16;
        ASSERT_EQ(aoMemory[uiIndex], (SAccess{'M', uiWord * 4, uiValue})) << uiIndex;
        ASSERT_EQ(aoMemory[2 * uiRunWords + uiIndex], (SAccess{'m', uiWord * 4, uiValue})) << uiIndex;
    }
    EXPECT_EQ(aoMemory[2 * uiRunWords - 1].uiOffset, 0x7FFF8u) << "nothing beyond the first 512 KiB";
    // The engine block of the system processor hands the memory to the test first.
    const CAccessLog aoWrites = Writes();
    const auto it = std::find(aoWrites.begin(), aoWrites.end(), SAccess{'W', 0x6804, 0x20000000});
    ASSERT_NE(it, aoWrites.end());
    EXPECT_EQ(it[1], (SAccess{'W', 0x6808, 0x42FE0000}));
    EXPECT_EQ(it[2], (SAccess{'W', 0x6800, 0x00200000}));
}

TEST_F(CCoreInitTest, MemoryTestRefusesABusyController)
{
    Build({.sBoard = R"("faults": {"controller_not_ready": true})", .bOnPrimaryBus = 1});
    m_bLogMemory = true;
    const std::string sOut = Output([&] { EXPECT_EQ(Core().TestMemory(), 0); });
    EXPECT_TRUE(Contains(sOut, "Memory initialization fail: MBE stay busy\n"));
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(1042) Assertion failed"));
    const CAccessLog aoExpected = {
        {'R', 0x5DE4, 0}, {'W', 0x4, 0x20000000}, {'W', 0x8, 0x42FE0000}, {'W', 0x0, 0x00200000}};
    EXPECT_EQ(m_aoLog, aoExpected) << "engine block 0 on the primary bus; no memory access";
}

// ---- Port arbitration.

struct SPortCase
{
    const char* pszName;
    XDevCoreInit::EPortConfig aeUse[4];
    CAccessLog aoWrites;
};
void PrintTo(const SPortCase& ro, std::ostream* po) { *po << ro.pszName; }

const SPortCase s_aoPortCases[] = {
    {"AllUnused",
     {XDevCoreInit::PORT_UNUSED, XDevCoreInit::PORT_UNUSED, XDevCoreInit::PORT_UNUSED, XDevCoreInit::PORT_UNUSED},
     {{'W', 0x5D20, 0x40088971}, {'W', 0x5D24, 0x10601060}, {'W', 0x5C00, 0}, {'W', 0x5C04, 0x6400},
      {'W', 0x5C08, 100}, {'W', 0x5D68, 0x08080800}, {'W', 0x5DA0, 0x08080800}, {'W', 0x5D60, 0x0F0F0F00}}},
    {"OneDemOutTwoFpgaIn",
     {XDevCoreInit::PORT_FPGA_IN, XDevCoreInit::PORT_DEM_OUT, XDevCoreInit::PORT_UNUSED, XDevCoreInit::PORT_FPGA_IN},
     {{'W', 0x5D20, 0x240889A1}, {'W', 0x5D24, 0x08601060}, {'W', 0x5C00, 0x1414}, {'W', 0x5C04, 0x3C00},
      {'W', 0x5C08, 100}, {'W', 0x5D68, 0x08080800}, {'W', 0x5DA0, 0x08080800}, {'W', 0x5D60, 0x0F0F0800}}},
    {"FpgaOutOnly",
     {XDevCoreInit::PORT_UNUSED, XDevCoreInit::PORT_FPGA_OUT, XDevCoreInit::PORT_FPGA_OUT, XDevCoreInit::PORT_UNUSED},
     {{'W', 0x5D20, 0x06088361}, {'W', 0x5D24, 0x13F00070}, {'W', 0x5C00, 0x1400}, {'W', 0x5C04, 0x5000},
      {'W', 0x5C08, 100}, {'W', 0x5D68, 0x080F0400}, {'W', 0x5DA0, 0x080F0400}, {'W', 0x5D60, 0x0F0F0800}}},
};

using CPortTest = TCoreInitParamTest<SPortCase>;

TEST_P(CPortTest, WritesTheSharesOfTheCombination)
{
    Build();
    for (MUINT32 uiPort = 0; uiPort < 4; uiPort++)
    {
        m_aoLog.clear();
        EXPECT_EQ(Core().PortArbitration(uiPort, GetParam().aeUse[uiPort]), 0);
    }
    EXPECT_EQ(m_aoLog, GetParam().aoWrites) << "the last call has all four uses";
}

INSTANTIATE_TEST_SUITE_P(XDevCoreInit, CPortTest, ::testing::ValuesIn(s_aoPortCases), CaseName);

TEST_F(CCoreInitTest, EveryCombinationOfPortUsesHasShares)
{
    Build();
    for (MUINT32 uiCombination = 0; uiCombination < 256; uiCombination++)
    {
        for (MUINT32 uiPort = 0; uiPort < 4; uiPort++)
        {
            const auto eUse = static_cast<XDevCoreInit::EPortConfig>((uiCombination >> (2 * uiPort)) & 3);
            ASSERT_EQ(Core().PortArbitration(uiPort, eUse), 0) << uiCombination;
        }
    }
}

TEST_F(CCoreInitTest, PortArbitrationChecksAndRevisions)
{
    BuildBoard("\"chip_revision\": 0");
    EXPECT_EQ(Core().PortArbitration(1, XDevCoreInit::PORT_FPGA_IN), 0);
    EXPECT_EQ(Core().m_aePortConfig[1], XDevCoreInit::PORT_UNUSED) << "revision 0 has fixed shares";
    EXPECT_TRUE(m_aoLog.empty());
    std::string sOut = Output([&] { EXPECT_EQ(Core().PortArbitration(4, XDevCoreInit::PORT_UNUSED), -1); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(614) Assertion failed"));

    Context().m_poTracesReg->m_uiChipRevision = 1;
    sOut = Output([&] { EXPECT_EQ(Core().PortArbitration(2, static_cast<XDevCoreInit::EPortConfig>(9)), 0); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(642) Assertion failed")) << "an unknown use counts nowhere";
    EXPECT_EQ(Board().PeekReg(0x5D20), 0x40088971u);
}
}  // namespace
