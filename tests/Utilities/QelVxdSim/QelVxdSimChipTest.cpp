// The simulated chip: synthesizer lock rules, memory bring-up and what loses the memory, PHY
// routing and timing, chip reset, a board found initialised at load, and the chip's rig faults.
// The engines, the stuck data line and the reset pin are exercised by the core initialisation's
// tests.
#include "QelVxdSimChip.h"
#include "QelVxdSimChipClocks.h"
#include "QelVxdSimChipMemCtl.h"
#include "QelVxdSimTestSupport.h"

namespace
{
// A divider set that locks from 27 MHz: M0 64, P0 48 (Fi 36 MHz, upper range), M1 50, P1 2:
// VCO0 1.728 GHz, VCO1 1.8 GHz, 450 MHz out.
const MUINT32 A_450 = 63;
const MUINT32 B_450 = 49 | (47 << 8) | (1 << 16) | (1 << 24);
const MUINT32 FS0_A = 0x2650;
const MUINT32 FS1_A = 0x2658;

class CChipTest : public CSimTest
{
protected:
    CQelSimBoard& LoadBoard(const std::string& rsExtra = "")
    {
        Load(R"({"boards": [{"bus": 3, "device": 0, "function": 0)" + (rsExtra.empty() ? "" : ", " + rsExtra) + "}]}");
        m_poBoard = QelVxdSim_Board(3, 0, 0);
        return *m_poBoard;
    }
    CQelSimChip& Chip() { return *CQelSimChip::Of(*m_poBoard); }
    MUINT32 Rd(MUINT32 uiOffset) { return m_poBoard->RegRead(uiOffset, 4); }
    void Wr(MUINT32 uiOffset, MUINT32 uiValue) { m_poBoard->RegWrite(uiOffset, 4, uiValue); }
    void Advance(MUINT64 uiUs) { QelVxdSim_Current()->Clock().Advance(uiUs); }

    void ProgramSynthesizer(MUINT32 uiRegA, MUINT32 uiA, MUINT32 uiB, bool bPulse = true)
    {
        if (bPulse)
        {
            Wr(uiRegA, 0x80000000);
            Wr(uiRegA, 0);
        }
        Wr(uiRegA, uiA);
        Wr(uiRegA + 4, uiB);
    }
    // FS0 and FS1 locked, memory back end on FS0, front end on FS1.
    void StartClocks()
    {
        ProgramSynthesizer(FS0_A, A_450, B_450);
        ProgramSynthesizer(FS1_A, A_450, B_450);
        Advance(10);
        Wr(0x260C, 0x00020002);
        Wr(0x2610, 0x00020004);
    }
    // The controller on uiPhys, training started on them.
    void StartTraining(MUINT32 uiPhys)
    {
        Wr(0x5D00, uiPhys << 2);
        Wr(0x5E00, uiPhys);
        Wr(0x6004, 0xFF81);
    }
    void BringUp(MUINT32 uiPhys = 0xF)
    {
        StartClocks();
        StartTraining(uiPhys);
        Advance(CQelSimChipMemCtl::msc_uiTrainingUs);
        Wr(0x5D04, 1);
    }
    // A written word reads back (the memory holds data).
    bool MemoryHolds(MUINT32 uiOffset = 0x1000, MUINT32 uiValue = 0x5A5A0F0F)
    {
        m_poBoard->MemWrite(uiOffset, 4, uiValue);
        return m_poBoard->MemRead(uiOffset, 4) == uiValue;
    }

    CQelSimBoard* m_poBoard = nullptr;
};

// ---- Synthesizers.

struct SLockCase
{
    const char* pszName;
    MUINT32 uiA;
    MUINT32 uiB;
    bool bPulse;
    MUINT64 uiWaitUs;
    const char* pszFaults;
    bool bLocked;
};

const SLockCase s_aoLockCases[] = {
    {"Locks", A_450, B_450, true, 5, "", true},
    {"WithoutResetPulse", A_450, B_450, false, 5, "", false},
    {"ReadTooEarly", A_450, B_450, true, 4, "", false},
    {"UpperRangeBitMissing", A_450, B_450 & ~(1u << 24), true, 5, "", false},
    {"UpperRangeBitWithLowFi", A_450, 49 | (63 << 8) | (1 << 16) | (1 << 24), true, 5, "", false},   // Fi 27 MHz
    {"LowFiLowerRange", A_450, 49 | (63 << 8) | (1 << 16), true, 5, "", true},   // VCO1 1.35 GHz, 337.5 MHz out
    {"Vco0TooHigh", 99, B_450, true, 5, "", false},                                       // 2.7 GHz
    {"FiTooLow", A_450, 49 | (79 << 8), true, 5, "", false},                              // 21.6 MHz
    {"Vco1TooHigh", A_450, 79 | (47 << 8) | (1 << 24), true, 5, "", false},               // 2.88 GHz
    {"PoweredDown", A_450 | (1u << 30), B_450, true, 5, "", false},
    {"DividerPoweredDown", A_450, B_450 | (1u << 30), true, 5, "", false},
    {"NoLockFault", A_450, B_450, true, 5, R"("faults": {"pll_no_lock": ["VID1", "FS0"]})", false},
};

TEST_F(CChipTest, SynthesizerLocksOnlyOnAValidSetAfterAPulse)
{
    for (const SLockCase& roCase : s_aoLockCases)
    {
        SCOPED_TRACE(roCase.pszName);
        LoadBoard(roCase.pszFaults);
        ProgramSynthesizer(FS0_A, roCase.uiA, roCase.uiB, roCase.bPulse);
        Advance(roCase.uiWaitUs);
        EXPECT_EQ((Rd(FS0_A) >> 29) & 1, roCase.bLocked ? 1u : 0u);
        EXPECT_EQ((Rd(FS0_A + 4) >> 29) & 1, roCase.bLocked ? 1u : 0u);
        EXPECT_EQ(Chip().Clocks().OutputKhz(0), roCase.bLocked && roCase.uiB == B_450 ? 450000u : roCase.bLocked ? 337500u : 0u);
    }
}

TEST_F(CChipTest, MemoryClocksNeedLockedSystemSynthesizers)
{
    LoadBoard();
    EXPECT_FALSE(Chip().MemoryClocksRunning()) << "power-on: every domain on the oscillator";
    EXPECT_EQ(Chip().Clocks().DomainKhz(0x260C), 27000u);
    StartClocks();
    EXPECT_TRUE(Chip().MemoryClocksRunning());
    EXPECT_EQ(Chip().Clocks().DomainKhz(0x2610), 450000u);
    Wr(0x2610, 0x00020006);   // front end on the first video synthesizer
    EXPECT_FALSE(Chip().MemoryClocksRunning());
    Wr(0x2610, 0x00020004);
    Wr(FS1_A, 0x80000000);    // its synthesizer held in reset
    EXPECT_FALSE(Chip().MemoryClocksRunning());
}

// ---- Memory controller, PHYs, memory.

TEST_F(CChipTest, MemoryHoldsDataOnlyAfterACompleteBringUp)
{
    LoadBoard();
    EXPECT_FALSE(MemoryHolds()) << "power-on";
    StartClocks();
    StartTraining(0xF);
    EXPECT_EQ(Rd(0x5DE4), 1u << 29) << "busy while the PHYs train";
    Advance(CQelSimChipMemCtl::msc_uiTrainingUs - 1);
    Wr(0x5E00, 1);
    EXPECT_EQ(Rd(0x6010) & 1, 0u);
    Wr(0x5D04, 1);
    EXPECT_FALSE(MemoryHolds()) << "control word written before the controller was ready";
    Advance(1);
    EXPECT_EQ(Rd(0x6010) & 1, 1u);
    EXPECT_EQ(Rd(0x5DE4), 1u << 24);
    EXPECT_FALSE(MemoryHolds()) << "ready, but the control word has not been written since";
    Wr(0x5D04, 1);
    EXPECT_TRUE(MemoryHolds());
    EXPECT_EQ(Chip().MemoryInitCount(), 1u);
}

struct SLossCase
{
    const char* pszName;
    MUINT32 uiOffset;
    MUINT32 uiValue;
};

// Anything that takes the clocks away or restarts training loses the memory.
TEST_F(CChipTest, MemoryIsLostWithItsClocksOrANewTraining)
{
    const SLossCase aoCases[] = {
        {"back end on the oscillator", 0x260C, 0x00020000},
        {"front-end synthesizer reset", FS1_A, 0x80000000},
        {"training restarted", 0x6004, 0xFF81},
    };
    for (const SLossCase& roCase : aoCases)
    {
        LoadBoard();
        BringUp();
        ASSERT_TRUE(MemoryHolds());
        Wr(roCase.uiOffset, roCase.uiValue);
        EXPECT_FALSE(MemoryHolds()) << roCase.pszName;
        EXPECT_EQ(Rd(0x5DE4) & (1u << 24), 0u) << roCase.pszName;
    }
}

// A write reaches every selected PHY; a read answers from the lowest selected one.
TEST_F(CChipTest, PhyAccessesFollowThePhySelect)
{
    LoadBoard();
    Wr(0x5E00, 0x5);
    Wr(0x6008, 0x1234);
    const MUINT32 auiSelect[]   = {0x1, 0x2, 0x4, 0x8, 0x6};
    const MUINT32 auiExpected[] = {0x1234, 0, 0x1234, 0, 0};
    for (size_t uiCase = 0; uiCase < std::size(auiSelect); ++uiCase)
    {
        Wr(0x5E00, auiSelect[uiCase]);
        EXPECT_EQ(Rd(0x6008), auiExpected[uiCase]) << auiSelect[uiCase];
    }
}

// ---- Reset.

TEST_F(CChipTest, ResetReturnsTheChipToPowerOnAndKeepsConfigurationAndMarker)
{
    LoadBoard();
    BringUp();
    Wr(0x26FC, 0xC0000000);
    Wr(0x3000, 1);   // an engine running
    const MUINT32 uiCommand = m_poBoard->PeekConfig(4);
    Wr(0x300, 0x2);
    EXPECT_EQ(Chip().ResetCount(), 1u);
    EXPECT_EQ(Rd(0x300), 0u) << "the reset bit clears itself";
    EXPECT_FALSE(MemoryHolds());
    EXPECT_EQ(Rd(FS0_A) & (1u << 29), 0u);
    EXPECT_EQ(Rd(0x5DE4), 0u);
    EXPECT_EQ(Rd(0x3000), 0u);
    EXPECT_EQ(m_poBoard->PeekConfig(4), uiCommand);
    EXPECT_EQ(Rd(0x26FC), 0xC0000000u);

    LoadBoard(R"("chip_revision": 0)");
    Wr(0x300, 0x2);
    EXPECT_EQ(Chip().ResetCount(), 0u) << "revision 0 is reset through its pin only";
}

// ---- A board found initialised at load.

TEST_F(CChipTest, BoardLeftInitialisedComesUpRunning)
{
    LoadBoard(R"("marker": "0xC0000000")");
    EXPECT_TRUE(MemoryHolds());
    EXPECT_TRUE(Chip().MemoryClocksRunning());
    EXPECT_EQ(Rd(0x5DE4), 1u << 24);
    EXPECT_EQ(Chip().MemoryInitCount(), 0u) << "not an initialisation of this run";

    LoadBoard(R"("marker": "0xC0000000", "faults": {"pll_no_lock": ["FS0"]})");
    EXPECT_FALSE(MemoryHolds()) << "its faults forbid it";
}

// ---- Rig faults of the chip.

struct SFaultRigCase
{
    const char* pszFaults;
    const char* pszError;   // empty: accepted
};

TEST_F(CChipTest, ChipFaultsAreValidated)
{
    const SFaultRigCase aoCases[] = {
        {R"("pll_no_lock": ["FS2", "VID3"], "phy_not_done": [0, 3], "memory_fail_inits": -1)", ""},
        {R"("memory_fail_inits": "0x10", "phy_error": [])", ""},
        {R"("pll_no_lock": ["FS3"])", "boards[0].faults.pll_no_lock[0]: unknown name \"FS3\" (known: FS0, FS1, FS2, VID0"},
        {R"("pll_no_lock": "FS0")", "boards[0].faults.pll_no_lock: expected a list of names, got \"FS0\""},
        {R"("phy_not_done": [4])", "boards[0].faults.phy_not_done[0]: expected an index 0..3, got 4"},
        {R"("phy_error": [1, 1])", "boards[0].faults.phy_error[1]: 1 is listed twice"},
        {R"("memory_fail_inits": -2)", "boards[0].faults.memory_fail_inits: expected an integer"},
        {R"("engines_stuck": 1)", "boards[0].faults.engines_stuck: expected true or false"},
    };
    for (const SFaultRigCase& roCase : aoCases)
    {
        std::string sError;
        const std::string sRig =
            std::string(R"({"boards": [{"bus": 3, "device": 0, "function": 0, "faults": {)") + roCase.pszFaults + "}}]}";
        const bool bLoaded = QelVxdSim_LoadRigText(sRig, m_sDir, sError) != nullptr;
        EXPECT_EQ(bLoaded, roCase.pszError[0] == 0) << roCase.pszFaults << ": " << sError;
        EXPECT_NE(sError.find(roCase.pszError), std::string::npos) << sError;
    }
    const SQelSimBoardFaults& roFaults = QelVxdSim_Board(3, 0, 0)->Faults();
    EXPECT_EQ(roFaults.uiMemoryFailInits, 16u) << "the last rig that loaded";
}
}  // namespace
