// The built InitMemContext run as a subprocess on simulated rigs.
//
// Scenarios (data/scenarios.txt, one per line): standard output and exit status against the
// expected files. Each runs in a fresh temporary directory holding its rig, the EEPROM images the
// rigs name and the rig's state file; several runs (separated by ';') share that state, their
// outputs are concatenated and the status is the last run's. INITMEM_UPDATE_EXPECTED=1 rewrites
// the expected files from the actual output, for review.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>

#include "SpiBusDecoder.h"
#include "ToolRun.h"

using namespace InitMemTest;

namespace
{

const fs::path g_oData = INITMEM_TEST_DATA_DIR;

// ---- Scenarios: name | rig | runs | expected output file | exit status.

struct SScenario
{
    std::string sName, sRig, sRuns, sExpected;
    int iStatus;
};

// gtest names each case by this in its output, not by a byte dump.
void PrintTo(const SScenario& ro, std::ostream* poStream) { *poStream << ro.sName; }

std::vector<SScenario> LoadScenarios()
{
    std::vector<SScenario> aoScenarios;
    std::istringstream oFile(Slurp(g_oData / "scenarios.txt"));
    for (std::string sLine; std::getline(oFile, sLine);)
    {
        const std::vector<std::string> asFields = Split(sLine, '|');
        if (asFields.size() == 5 && !asFields[0].empty() && asFields[0][0] != '#')
        {
            aoScenarios.push_back({asFields[0], asFields[1], asFields[2], asFields[3], std::atoi(asFields[4].c_str())});
        }
    }
    return aoScenarios;
}

using ScenarioTest = ::testing::TestWithParam<SScenario>;

TEST_P(ScenarioTest, PrintsTheExpectedOutputAndStatus)
{
    const CRigDir oRig(GetParam().sRig);
    std::string sOutput;
    int iStatus = -1;
    for (const std::string& rsRun : Split(GetParam().sRuns, ';'))
    {
        const SToolRun oRun = oRig.Run(rsRun);
        sOutput += oRun.sOut;
        iStatus = oRun.iStatus;
    }
    const fs::path oExpected = g_oData / "expected" / GetParam().sExpected;
    if (std::getenv("INITMEM_UPDATE_EXPECTED") != nullptr)
    {
        std::ofstream(oExpected, std::ios::binary) << sOutput;
    }
    EXPECT_EQ(sOutput, Slurp(oExpected));
    EXPECT_EQ(iStatus, GetParam().iStatus & 0xFF);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ScenarioTest, ::testing::ValuesIn(LoadScenarios()),
                         [](const ::testing::TestParamInfo<SScenario>& roInfo) { return roInfo.param.sName; });

// ---- What whole runs send to the flash, decoded from the simulator trace: the initialisation
// reads the parameter block and never writes, erases or unprotects the flash, with or without
// the clear option. The clock is paced by the reads of the bus register: every line change reads
// the register before it writes it, and every bit from the flash is sampled by a read after its
// rising edge, so what the host read is what the flash holds.

using FlashTrafficTest = ::testing::TestWithParam<const char*>;

TEST_P(FlashTrafficTest, InitialisationOnlyReadsTheFlashAtThePaceOfTheBusReads)
{
    const std::set<MUINT8> setReadOnly = {0x03, 0x0B, 0x15, 0x90, 0x9E, 0xAB};   // read and identify
    const CRigDir oRig("noclock.json");
    const std::string sTrace = (oRig.Dir() / "run.trace").string();
    const std::string sImage = Slurp(oRig.Dir() / "NoClock.bin");
    for (int iRun = 0; iRun < 2; ++iRun)   // initialises, then finds it done (or clears it)
    {
        const SToolRun oRun = oRig.Run(GetParam(), {"QELVXD_SIM_TRACE=" + sTrace});
        ASSERT_EQ(oRun.iStatus, 0) << oRun.sOut;
    }

    const CSpiBusDecoder oBus = CSpiBusDecoder::FromSimTrace(Slurp(sTrace), "03:00.0");
    size_t uiBytesRead = 0;
    for (const SSpiTransaction& roTransaction : oBus.Transactions())
    {
        EXPECT_TRUE(setReadOnly.count(roTransaction.Instruction())) << oBus.Summary();
        const MUINT32 uiAddress = roTransaction.Address24();
        if (roTransaction.Instruction() == 0x03 && uiAddress < sImage.size())
        {
            // The flash answers after the instruction and the three address bytes.
            const std::string sIn(roTransaction.aucIn.begin() + std::min<size_t>(4, roTransaction.aucIn.size()),
                                  roTransaction.aucIn.end());
            EXPECT_EQ(sIn, sImage.substr(uiAddress, sIn.size())) << "bytes sampled at 0x" << std::hex << uiAddress;
            uiBytesRead += sIn.size();
        }
    }
    EXPECT_GT(uiBytesRead, 4u) << "the pointer word and the block are read: " << oBus.Summary();
    EXPECT_EQ(oBus.BusRequests(), oBus.Transactions().size()) << "one bus request per transaction";
    EXPECT_EQ(oBus.UnpacedWrites(), 0u) << "two writes of the bus register with no read between them";
    EXPECT_EQ(oBus.UnsampledEdges(), 0u) << "a rising edge that no read sampled";
}

INSTANTIATE_TEST_SUITE_P(Runs, FlashTrafficTest, ::testing::Values("", "-c"),
                         [](const ::testing::TestParamInfo<const char*>& roInfo) {
                             return std::string(roInfo.param[0] != '\0' ? "Clear" : "Plain");
                         });

// ---- Each line reaches a pipe when it is printed: in real time, the first board's result is read
// while the second board is still retrying a memory that always fails (11 attempts, 1 s apart).

TEST(LineBuffering, TheFirstBoardsResultReachesThePipeWhileTheSecondStillWorks)
{
    const CRigDir oRig = CRigDir::FromText(R"({"time": "real",
        "bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 4}],
        "boards": [{"bus": 3, "device": 0, "function": 0},
                   {"bus": 4, "device": 0, "function": 0, "faults": {"memory_fail_inits": -1}}]})");
    // The caller's trace and statistics settings stay out of the run, as in every run of the tool.
    const std::string sCommand = "env -u QELVXD_SIM_TRACE -u QELVXD_SIM_STATS -u QELVXD_SIM_LOCK_WAIT_MS QELVXD_SIM='" +
                                 (oRig.Dir() / "rig.json").string() + "' XDG_RUNTIME_DIR='" + oRig.Dir().string() +
                                 "' '" INITMEM_TOOL_PATH "' 2>/dev/null";
    FILE* poPipe = popen(sCommand.c_str(), "r");
    ASSERT_NE(poPipe, nullptr);
    using Clock = std::chrono::steady_clock;
    Clock::time_point oFirstResult{};
    std::string sOut;
    char szLine[512];
    while (std::fgets(szLine, sizeof(szLine), poPipe) != nullptr)
    {
        sOut += szLine;
        if (oFirstResult == Clock::time_point{} && sOut.find("[hb4_0] : Memory was successfully initialized\n") != std::string::npos)
        {
            oFirstResult = Clock::now();
        }
    }
    const int iStatus = pclose(poPipe);
    const auto oAfterFirst = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - oFirstResult);

    EXPECT_NE(sOut.find("[hb4_1] : Fail to initialize memory\n"), std::string::npos) << sOut;
    EXPECT_EQ(WEXITSTATUS(iStatus), 255);
    ASSERT_NE(oFirstResult, Clock::time_point{}) << sOut;
    EXPECT_GT(oAfterFirst.count(), 5000) << "board 0's line arrived only at the end of the run";
}

} // namespace
