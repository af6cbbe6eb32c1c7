// The core initialisation sequence on simulated boards: marker, attempts and their count, chip
// reset by register and by pins, engine stop, link check, construction.
#include "XDevCoreInitTestSupport.h"

#include <algorithm>

#include "XTracesReg.h"

namespace
{
const MUINT32 RegINIT_STATUS = 0x26FC;
const MUINT32 RegSYS_CTL = 0x2648;   // written once by each clock programming, so once per attempt

// ---- Marker.

using CMarkerTest = CCoreInitTest;

// A fresh board is initialised and marked; with the marker set, a second run writes nothing.
TEST_F(CMarkerTest, FreshBoardInitialisesSetsTheMarkerAndIsNotInitialisedTwice)
{
    Build();
    EXPECT_EQ(Core().IsHardwareInitialize(), 0);
    EXPECT_EQ(Core().InitializeHardware(), 0);
    EXPECT_EQ(Board().PeekReg(RegINIT_STATUS), 0xC0000000u);
    EXPECT_EQ(Core().IsHardwareInitialize(), 1);
    EXPECT_TRUE(Chip().MemoryUp());
    EXPECT_EQ(Chip().ResetCount(), 0u) << "nothing asked for a reset";
    m_aoLog.clear();
    EXPECT_EQ(Core().InitializeHardware(), 1);
    EXPECT_TRUE(Writes().empty());
}

TEST_F(CMarkerTest, ClearLeavesTheResetRequestAndTheNextRunResetsFirst)
{
    Build();
    ASSERT_EQ(Core().InitializeHardware(), 0);
    EXPECT_EQ(Core().ClearInitialized(), 0);
    EXPECT_EQ(Board().PeekReg(RegINIT_STATUS), 0x40000000u);
    m_aoLog.clear();
    EXPECT_EQ(Core().ClearInitialized(), -1);
    EXPECT_TRUE(Writes().empty());

    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitializeHardware(), 0); });
    EXPECT_TRUE(Contains(sOut, "Global reset was triggered\n"));
    EXPECT_EQ(Chip().ResetCount(), 1u);
    const CAccessLog aoWrites = Writes();
    const auto itReset = std::find_if(aoWrites.begin(), aoWrites.end(),
                                      [](const SAccess& ro) { return ro.uiOffset == 0x300 && (ro.uiValue & 2); });
    const auto itClocks = std::find_if(aoWrites.begin(), aoWrites.end(),
                                       [](const SAccess& ro) { return ro.uiOffset == RegSYS_CTL; });
    EXPECT_LT(itReset, itClocks) << "the reset comes before the first attempt";
    EXPECT_EQ(Board().PeekReg(RegINIT_STATUS), 0xC0000000u);
}

TEST_F(CMarkerTest, ForcedResetWithoutRequest)
{
    Build({.bForceReset = 1});
    EXPECT_EQ(Core().InitializeHardware(), 0);
    EXPECT_EQ(Chip().ResetCount(), 1u);
}

TEST_F(CMarkerTest, DriverRunningBit)
{
    BuildBoard("\"marker\": \"0x20000000\"");
    EXPECT_EQ(Core().IsDriverRunning(), 1);
    EXPECT_EQ(Core().IsHardwareInitialize(), 0);
}

TEST_F(CMarkerTest, FatalEngineStateStopsBeforeAnyWrite)
{
    BuildBoard("\"faults\": {\"engine_fatal\": true}");
    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitializeHardware(), -10); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(416) Assertion failed"));
    EXPECT_TRUE(Writes().empty());
    EXPECT_EQ(Count('R', 0x6800 + 0x310), 1u) << "engine block 1: the system processor is not on the primary bus";
}

// ---- Attempts: a failed attempt is retried after a reset, at most 11 attempts in all.

struct SAttemptCase
{
    const char* pszName;
    const char* pszBoard;
    XDevCoreInit::EInitOption eOption;
    LStatus iResult;
    size_t uiAttempts;
    MUINT32 uiResets;
    MUINT32 uiMarker;
    const char* pszMessage;
};
void PrintTo(const SAttemptCase& ro, std::ostream* po) { *po << ro.pszName; }

const SAttemptCase s_aoAttemptCases[] = {
    {"MemoryAlwaysFails", R"("faults": {"memory_fail_inits": -1})", XDevCoreInit::OPTION_INIT_ALL, -1, 11, 10, 0,
     "Memory initialization fail after 11 tries\n"},
    // The count decides: the 11th attempt fails the initialisation even when it passed.
    {"MemoryFailsNineTimes", R"("faults": {"memory_fail_inits": 9})", XDevCoreInit::OPTION_INIT_ALL, 0, 10, 9,
     0xC0000000, "Memory initialization fail: Memory test failed\n"},
    {"MemoryFailsTenTimes", R"("faults": {"memory_fail_inits": 10})", XDevCoreInit::OPTION_INIT_ALL, -1, 11, 10, 0,
     "Memory initialization fail after 11 tries\n"},
    {"NoResetPermission", R"("faults": {"memory_fail_inits": -1})", (XDevCoreInit::EInitOption)6, 0, 1, 0, 0xC0000000,
     "Memory initialization fail: Memory test failed\n"},
    {"PllNeverLocks", R"("faults": {"pll_no_lock": ["FS1"]})", XDevCoreInit::OPTION_INIT_ALL, -1, 11, 10, 0,
     "XDevCoreInit_Hb4.cpp(1636) Assertion failed"},
    {"PhyMissing", R"("phys": 7)", XDevCoreInit::OPTION_INIT_ALL, -1, 11, 10, 0, "Phys stay busy"},
    {"RegistersOnly", "", XDevCoreInit::OPTION_INIT_REGISTERS, 0, 1, 0, 0, ""},
};

using CAttemptTest = TCoreInitParamTest<SAttemptCase>;

TEST_P(CAttemptTest, CountsAttemptsAndResets)
{
    const SAttemptCase& roCase = GetParam();
    Build({.sBoard = roCase.pszBoard, .eOption = roCase.eOption});
    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitializeHardware(), roCase.iResult); });
    EXPECT_EQ(Count('W', RegSYS_CTL), roCase.uiAttempts);
    EXPECT_EQ(Chip().ResetCount(), roCase.uiResets);
    EXPECT_EQ(Board().PeekReg(RegINIT_STATUS), roCase.uiMarker);
    EXPECT_TRUE(Contains(sOut, roCase.pszMessage)) << sOut.substr(0, 2000);
    if (roCase.iResult < 0)
    {
        EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(496) Assertion failed"));
    }
}

INSTANTIATE_TEST_SUITE_P(XDevCoreInit, CAttemptTest, ::testing::ValuesIn(s_aoAttemptCases), CaseName);

// ---- Chip reset.

class CResetTest : public CCoreInitTest
{
protected:
    // Registers the named pins with the context (which owns them).
    void AddPins(const std::vector<const char*>& rapszNames)
    {
        for (const char* pszName : rapszNames)
            ASSERT_EQ(Context().RegisterEnumerableIoPin(new CSimPin(pszName, m_asPins)), 0);
    }
    std::vector<std::string> m_asPins;
};

TEST_F(CResetTest, RevisionOneResetsThroughItsRegisterAndWaitsForTheDeviceControl)
{
    Build();
    ASSERT_EQ(Core().ClockMemInit(), 1);
    const MUINT32 uiCommand = Board().PeekConfig(4);
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 1); });
    char szExpected[64];
    snprintf(szExpected, sizeof(szExpected), "DEVCTL was stable (0x%08X) after 1 ms\n", uiCommand);
    EXPECT_TRUE(Contains(sOut, szExpected)) << sOut;
    EXPECT_EQ(Chip().ResetCount(), 1u);
    EXPECT_FALSE(Chip().MemoryClocksRunning()) << "clocks back to power-on";
    const CAccessLog aoWrites = Writes();
    const auto itReset = std::find(aoWrites.begin(), aoWrites.end(), SAccess{'W', 0x300, 0x2});
    ASSERT_NE(itReset, aoWrites.end());
    EXPECT_EQ(itReset[1].uiOffset, 0x310u);
    EXPECT_EQ(itReset[2], (SAccess{'W', 0x358, 0x01000001}));
}

TEST_F(CResetTest, UnstableDeviceControlFailsAfterASecond)
{
    BuildBoard(R"("faults": {"devctl_unstable": true})");
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 0); });
    char szExpected[80];
    snprintf(szExpected, sizeof(szExpected), "DEVCTL is still unstable (0x%08X) after 1000 ms\n", Board().PeekConfig(4));
    EXPECT_TRUE(Contains(sOut, szExpected)) << sOut;
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(1190) Assertion failed"));
    EXPECT_EQ(Count('c', 4), 1001u) << "one read before the reset, then one per millisecond";
}

TEST_F(CResetTest, RevisionZeroPullsTheResetPinsAndRestoresTheConfiguration)
{
    BuildBoard("\"chip_revision\": 0");
    AddPins({"PMC_RSTBTNn", "LED0", "HB4_SRST"});
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 1); });
    const std::vector<std::string> asPins = {
        "acquire PMC_RSTBTNn 4294967295", "direction PMC_RSTBTNn 7 1", "state PMC_RSTBTNn 7 0", "release PMC_RSTBTNn 7",
        "acquire HB4_SRST 4294967295",    "direction HB4_SRST 7 1",    "state HB4_SRST 7 1",    "release HB4_SRST 7",
    };
    EXPECT_EQ(m_asPins, asPins);
    EXPECT_EQ(Chip().ResetCount(), 1u);
    EXPECT_TRUE(Contains(sOut, "Reset Hardware using Misc39 is not functional (PMB I), continue normally\n"))
        << "the simulated chip stays on the bus";
    EXPECT_TRUE(Contains(sOut, "Hb4 Chips recovered from hardware reset\n"));
    for (MUINT32 uiPort = 0; uiPort < 4; uiPort++)
    {
        EXPECT_EQ(Board().PeekReg(0x1000 + uiPort * 0x400), 0x98000018u);
        EXPECT_EQ(Board().PeekReg(0x2000 + uiPort * 4), 0x00020001u);
    }
    // Written back in ascending order without 72 and 76, command/status last.
    std::vector<MUINT32> auiRestored, auiExpected;
    for (const SAccess& roAccess : m_aoLog)
        if (roAccess.cKind == 'C')
            auiRestored.push_back(roAccess.uiOffset);
    for (MUINT32 uiOffset = 0; uiOffset < 256; uiOffset += 4)
        if (uiOffset != 4 && uiOffset != 72 && uiOffset != 76)
            auiExpected.push_back(uiOffset);
    auiExpected.push_back(4);
    EXPECT_EQ(auiRestored, auiExpected);
}

TEST_F(CResetTest, RevisionZeroThatLeavesTheBusIsPolledForASecondAndReported)
{
    BuildBoard(R"("chip_revision": 0, "faults": {"gone_after_reset": true})");
    AddPins({"HB4_SRST"});
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 0); });
    EXPECT_TRUE(Contains(sOut, "Hb4 Chips did not recover from hardware reset\n")) << sOut;
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(1309) Assertion failed"));
    EXPECT_FALSE(Contains(sOut, "not functional")) << "the chip left the bus as the reset should make it";
    EXPECT_EQ(Count('c', 0), 1002u) << "saved, checked once after the pulse, then polled 1000 times";
    EXPECT_EQ(Count('C', 4), 0u) << "nothing is restored";
}

struct SPinCase
{
    const char* pszName;
    std::vector<const char*> apszPins;
    const char* pszMessage;
    int iLine;
};
void PrintTo(const SPinCase& ro, std::ostream* po) { *po << ro.pszName; }

const SPinCase s_aoPinCases[] = {
    {"NoPins", {}, "Hb4 MiscIo pins are not available, hardware reset cannot be initiated, continuing normally!\n", 1321},
    {"NoChipResetPin", {"PMC_RSTBTNn"}, "Hb4 reset MiscIo pin missing, no hardware reset performed, continuing normally!\n",
     1315},
};

class CMissingPinTest : public CResetTest, public ::testing::WithParamInterface<SPinCase>
{
};

TEST_P(CMissingPinTest, RevisionZeroDoesNotReset)
{
    BuildBoard("\"chip_revision\": 0");
    AddPins(GetParam().apszPins);
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 0); });
    EXPECT_TRUE(Contains(sOut, GetParam().pszMessage)) << sOut;
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(" + std::to_string(GetParam().iLine) + ") Assertion failed"));
    EXPECT_EQ(Chip().ResetCount(), 0u);
    EXPECT_TRUE(m_asPins.empty());
}

INSTANTIATE_TEST_SUITE_P(XDevCoreInit, CMissingPinTest, ::testing::ValuesIn(s_aoPinCases), CaseName);

TEST_F(CResetTest, UnknownRevisionIsRefused)
{
    Build();
    Context().m_poTracesReg->m_uiChipRevision = 2;
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 0); });
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(1129) Assertion failed"));
    EXPECT_TRUE(Writes().empty());
}

// ---- Engines.

TEST_F(CResetTest, RunningEnginesAreStoppedAndTheFpgaClockRestored)
{
    Build();
    CQelSimBoard& roBoard = Board();
    roBoard.RegWrite(0x3000, 4, 0x1);         // engine A0 running
    roBoard.RegWrite(0x363C, 4, 0x1);         // requester of engine A1 busy
    roBoard.RegWrite(0x4400, 4, 0x1);         // engine B1 running, its requester busy
    roBoard.RegWrite(0x473C, 4, 0x1);
    roBoard.RegWrite(0x2934, 4, 0x1);         // stream channels 0 and 3 active
    roBoard.RegWrite(0x2F34, 4, 0x1);
    roBoard.PokeReg(0x4D00, 0x03FF03FF);      // DMA queues enabled and busy
    roBoard.PokeReg(0x26A0, 0x00000035);
    EXPECT_EQ(Core().ResetEngines(), 1);
    for (MUINT32 uiRegister : {0xA40u, 0x3000u, 0x363Cu, 0x4400u, 0x473Cu, 0x2934u, 0x2F34u})
        EXPECT_EQ(roBoard.RegRead(uiRegister, 4) & 0x41, 0u) << std::hex << uiRegister;
    EXPECT_EQ(roBoard.RegRead(0x2930, 4), 0x10000010u) << "stop requests done, stops armed";
    EXPECT_EQ(roBoard.PeekReg(0x4D00), 0u);
    const CAccessLog aoWrites = Writes();
    EXPECT_EQ(std::count(aoWrites.begin(), aoWrites.end(), SAccess{'W', 0x2930, 0x30000030}), 1);
    EXPECT_EQ(std::count(aoWrites.begin(), aoWrites.end(), SAccess{'W', 0x26A0, 0x00020010}), 1) << "quiesced";
    EXPECT_EQ(aoWrites.back(), (SAccess{'W', 0x26A0, 0x00020035})) << "restored last";
}

TEST_F(CResetTest, StuckEnginesAreReportedAndTheResetStillHappens)
{
    BuildBoard(R"("faults": {"engines_stuck": true})");
    const std::string sOut = Output([&] { EXPECT_EQ(Core().HardwareReset(), 1); });
    EXPECT_TRUE(Contains(sOut, "Fails to reset engines try to continue normally\n"));
    EXPECT_TRUE(Contains(sOut, "(Debug) XDevCoreInit_Hb4.cpp(1883) Assertion failed")) << "the queue check";
    for (int iLine : {2077, 2083, 2085, 2092, 2094, 2098, 2099, 2100, 2101})
        EXPECT_TRUE(Contains(sOut, "(Error) XDevCoreInit_Hb4.cpp(" + std::to_string(iLine) + ") Assertion failed")) << iLine;
    EXPECT_EQ(Chip().ResetCount(), 1u);
}

// ---- After the attempts: port arbitration, link check, engine blocks.

TEST_F(CCoreInitTest, SlowLinkIsRetrainedThroughTheBridge)
{
    BuildBoard("\"link_speed\": 1");
    const std::string sOut = Output([&] { EXPECT_EQ(Core().InitializeHardware(), 0); });
    EXPECT_TRUE(Contains(sOut, "LinkSpeed is 2.5 Gb/s, try to retrain PCIE link using Bridge\n"));
    EXPECT_EQ(QelVxdSim_Current()->FindFunction(0x00E0)->Link()->RetrainCount(), 1u);
    EXPECT_EQ(Board().PeekReg(0x3A8) & 0x01000200, 0x01000000u);
    EXPECT_EQ(Board().PeekReg(0x6BA8) & 0x01000200, 0x01000000u);
}

TEST_F(CCoreInitTest, WrongMemoryRecordVersionLeavesTheDeviceUninitialised)
{
    const std::string sOut =
        Output([&] { Build({.fnPatch = [](tagPins10Clock&, tagPins10Mem_v2& roMem) { roMem.uiVersion = 0x101; }}); });
    EXPECT_FALSE(Core().IsInitialized());
    EXPECT_TRUE(Contains(sOut, "XDevCoreInit_Hb4.cpp(237) Assertion failed"));
}
}  // namespace
