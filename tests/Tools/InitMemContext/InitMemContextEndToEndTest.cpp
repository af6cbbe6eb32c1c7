// The built InitMemContext run as a subprocess on simulated rigs.
//
// Scenarios (data/scenarios.txt, one per line): standard output and exit status against the
// expected files. Each runs in a fresh temporary directory holding its rig, the EEPROM images the
// rigs name and the rig's state file; several runs (separated by ';') share that state, their
// outputs are concatenated and the status is the last run's. INITMEM_UPDATE_EXPECTED=1 rewrites
// the expected files from the actual output, for review.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "SpiBusDecoder.h"

extern char** environ;
// Parameter blocks generated from data/blocks/*.json.
extern const unsigned char InitMemTest_NoClock[];
extern const unsigned int InitMemTest_NoClock_size;
extern const unsigned char InitMemTest_FanlessPins[];
extern const unsigned int InitMemTest_FanlessPins_size;

namespace fs = std::filesystem;

namespace
{

const fs::path g_oData = INITMEM_TEST_DATA_DIR;

std::string Slurp(const fs::path& roPath)
{
    std::ifstream oFile(roPath, std::ios::binary);
    std::ostringstream oText;
    oText << oFile.rdbuf();
    return oText.str();
}

std::vector<std::string> Split(const std::string& rsText, char cSeparator)
{
    std::vector<std::string> asParts;
    std::istringstream oStream(rsText + cSeparator);
    for (std::string sPart; std::getline(oStream, sPart, cSeparator);)
    {
        const size_t uiFirst = sPart.find_first_not_of(' ');
        asParts.push_back(uiFirst == std::string::npos ? "" : sPart.substr(uiFirst, sPart.find_last_not_of(' ') - uiFirst + 1));
    }
    return asParts;
}

// A flash image as the boards carry it: the block at 0x100, the pointer to it at 0x1FE7C.
void WriteImage(const fs::path& roPath, const unsigned char* pucBlock, unsigned int uiSize)
{
    std::string sImage(0x1FE7E, '\xFF');
    sImage.replace(0x100, uiSize, reinterpret_cast<const char*>(pucBlock), uiSize);
    sImage[0x1FE7C] = 0x00;
    sImage[0x1FE7D] = 0x01;
    std::ofstream(roPath, std::ios::binary) << sImage;
}

class CRigDir
{
public:
    explicit CRigDir(const std::string& rsRig)
    {
        char szTemplate[] = "/tmp/initmem-e2e-XXXXXX";
        m_oDir = mkdtemp(szTemplate);
        WriteImage(m_oDir / "NoClock.bin", InitMemTest_NoClock, InitMemTest_NoClock_size);
        WriteImage(m_oDir / "FanlessPins.bin", InitMemTest_FanlessPins, InitMemTest_FanlessPins_size);
        m_sRig = rsRig;
        if (rsRig != "default")
        {
            fs::copy_file(g_oData / "rigs" / rsRig, m_oDir / rsRig);
            m_sRig = (m_oDir / rsRig).string();
        }
    }
    ~CRigDir() { fs::remove_all(m_oDir); }

    // Runs the tool with the rig (the default rig keeps its state in XDG_RUNTIME_DIR): its exit
    // status, or -1 when it did not exit; its standard output in rsOut.
    int Run(const std::string& rsArgs, std::string& rsOut, const std::string& rsTrace = "") const
    {
        std::vector<std::string> asEnv = {"QELVXD_SIM=" + m_sRig, "XDG_RUNTIME_DIR=" + m_oDir.string()};
        if (!rsTrace.empty())
        {
            asEnv.push_back("QELVXD_SIM_TRACE=" + rsTrace);
        }
        for (char** ppsz = environ; *ppsz != nullptr; ++ppsz)
        {
            if (std::string(*ppsz).rfind("QELVXD_SIM", 0) != 0 && std::string(*ppsz).rfind("XDG_RUNTIME_DIR=", 0) != 0)
            {
                asEnv.push_back(*ppsz);
            }
        }
        std::vector<std::string> asArgs = {INITMEM_TOOL_PATH};
        std::istringstream oWords(rsArgs);
        for (std::string sWord; oWords >> sWord;)
        {
            asArgs.push_back(sWord);
        }
        std::vector<char*> apszArgs, apszEnv;
        for (std::string& rs : asArgs)
        {
            apszArgs.push_back(rs.data());
        }
        for (std::string& rs : asEnv)
        {
            apszEnv.push_back(rs.data());
        }
        apszArgs.push_back(nullptr);
        apszEnv.push_back(nullptr);

        const fs::path oOut = m_oDir / "stdout.txt";
        posix_spawn_file_actions_t oActions;
        posix_spawn_file_actions_init(&oActions);
        posix_spawn_file_actions_addopen(&oActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&oActions, STDOUT_FILENO, oOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        pid_t iPid = 0;
        int iWait = 0;
        const bool bRan = posix_spawn(&iPid, apszArgs[0], &oActions, nullptr, apszArgs.data(), apszEnv.data()) == 0 &&
                          waitpid(iPid, &iWait, 0) == iPid && WIFEXITED(iWait);
        posix_spawn_file_actions_destroy(&oActions);
        rsOut = Slurp(oOut);
        return bRan ? WEXITSTATUS(iWait) : -1;
    }

    fs::path m_oDir;
    std::string m_sRig;
};

// ---- Scenarios: name | rig | runs | expected output file | exit status.

struct SScenario
{
    std::string sName, sRig, sRuns, sExpected;
    int iStatus;
};

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

class ScenarioTest : public ::testing::TestWithParam<SScenario>
{
};

TEST_P(ScenarioTest, PrintsTheExpectedOutputAndStatus)
{
    const CRigDir oRig(GetParam().sRig);
    std::string sOutput;
    int iStatus = -1;
    for (const std::string& rsRun : Split(GetParam().sRuns, ';'))
    {
        std::string sRunOutput;
        iStatus = oRig.Run(rsRun, sRunOutput);
        sOutput += sRunOutput;
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
// the clear option.

class FlashTrafficTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(FlashTrafficTest, InitialisationOnlyReadsTheFlash)
{
    const std::set<MUINT8> setReadOnly = {0x03, 0x0B, 0x15, 0x90, 0x9E, 0xAB};   // read and identify
    const CRigDir oRig("noclock.json");
    const std::string sTrace = (oRig.m_oDir / "run.trace").string();
    for (int iRun = 0; iRun < 2; ++iRun)   // initialises, then finds it done (or clears it)
    {
        std::string sOutput;
        ASSERT_EQ(oRig.Run(GetParam(), sOutput, sTrace), 0) << sOutput;
    }

    const CSpiBusDecoder oBus = CSpiBusDecoder::FromSimTrace(Slurp(sTrace), "03:00.0");
    bool bPointerRead = false;
    for (const SSpiTransaction& roTransaction : oBus.Transactions())
    {
        EXPECT_TRUE(setReadOnly.count(roTransaction.Instruction())) << oBus.Summary();
        bPointerRead = bPointerRead || (roTransaction.Instruction() == 0x03 && roTransaction.Address24() == 0x1FE7C);
    }
    EXPECT_TRUE(bPointerRead) << oBus.Summary();
    EXPECT_EQ(oBus.BusRequests(), oBus.Transactions().size()) << "one bus request per transaction";
}

INSTANTIATE_TEST_SUITE_P(Runs, FlashTrafficTest, ::testing::Values("", "-c"),
                         [](const ::testing::TestParamInfo<const char*>& roInfo) {
                             return std::string(roInfo.param[0] != '\0' ? "Clear" : "Plain");
                         });

} // namespace
