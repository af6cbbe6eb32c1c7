// The built InitMemContext on one simulated second-generation board for every fault the simulator
// can switch on, alone and in the pairs where one fault changes what another does (most pairs put
// a fault that only shows after a chip reset next to a memory that fails its first test, so that
// the retry resets the chip). Every run must end by itself with the expected result line and
// status, say why when it fails, and leave the flash image as it was. Standard output holds only
// the tool's own lines and the library's messages; help for the operator goes to standard error.
#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <sstream>

#include "QelVxdSimFaults.h"
#include "ToolRun.h"

using namespace InitMemTest;

namespace
{

const char* const g_pszDone = "[hb4_0] : Memory was successfully initialized";
const char* const g_pszFailed = "[hb4_0] : Fail to initialize memory";

struct SFaultCase
{
    const char* pszName;
    const char* pszFaults;   // the board's "faults" members
    const char* pszArgs;
    const char* pszResult;
    int iStatus;
    const char* pszMessage;   // a line the run must print, or ""
    const char* pszHint = ""; // the one line the run must print on standard error, or "" for none
};

// gtest names each case by this in its output, not by a byte dump.
void PrintTo(const SFaultCase& ro, std::ostream* poStream) { *poStream << ro.pszName; }

const SFaultCase g_aoCases[] = {
    {"Healthy", "", "", g_pszDone, 0, ""},
    // Alone.
    {"MapFails", R"("map_fails": true)", "", g_pszFailed, 255, "",
     "the registers of the board at PCI 03:00.0 could not be mapped"},
    {"GrantNever", R"("grant_never": true)", "", g_pszFailed, 255, "XDevQelVxd.cpp(701) Assertion failed",
     "the chip never granted its EEPROM bus to the host"},
    {"FlashStuckBusy", R"("flash_stuck_busy": true)", "", g_pszDone, 0, ""},   // only reads the flash
    {"PllFs0", R"("pll_no_lock": ["FS0"])", "", g_pszFailed, 255, "fail after 11 tries"},
    {"PllFs1", R"("pll_no_lock": ["FS1"])", "", g_pszFailed, 255, "fail after 11 tries"},
    {"PllFs2", R"("pll_no_lock": ["FS2"])", "", g_pszFailed, 255, "fail after 11 tries"},
    {"PllVideoOnly", R"("pll_no_lock": ["VID0", "VID3"])", "", g_pszDone, 0, ""},   // not a memory clock
    {"PhyNotDone", R"("phy_not_done": [2])", "", g_pszFailed, 255, "Phys stay busy"},
    {"PhyError", R"("phy_error": [0])", "", g_pszFailed, 255, "fail after 11 tries"},
    {"ControllerNotReady", R"("controller_not_ready": true)", "", g_pszFailed, 255, "fail after 11 tries"},
    {"MemoryFailsOnce", R"("memory_fail_inits": 1)", "", g_pszDone, 0, ""},
    {"MemoryAlwaysFails", R"("memory_fail_inits": -1)", "", g_pszFailed, 255, "fail after 11 tries"},
    {"EngineFatal", R"("engine_fatal": true)", "", g_pszFailed, 255, "Check if your STRAPS are programmed correctly"},
    {"EnginesStuck", R"("engines_stuck": true)", "", g_pszDone, 0, ""},
    {"DevctlUnstable", R"("devctl_unstable": true)", "", g_pszDone, 0, ""},
    // The retry after a failed memory test resets the chip: faults of the reset path now show.
    {"RetryWithEnginesStuck", R"("memory_fail_inits": 1, "engines_stuck": true)", "", g_pszDone, 0,
     "Fails to reset engines try to continue normally"},
    {"RetryWithDevctlUnstable", R"("memory_fail_inits": 1, "devctl_unstable": true)", "", g_pszDone, 0,
     "DEVCTL is still unstable"},
    {"RetryWithPllFs2", R"("memory_fail_inits": 1, "pll_no_lock": ["FS2"])", "", g_pszFailed, 255, "fail after 11 tries"},
    {"ClearThenMemoryFailsOnce", R"("memory_fail_inits": 1)", "-c", g_pszDone, 0,
     "[hb4_0] : Will use global reset to clear the last intilization"},
    {"ClearWithEngineFatal", R"("engine_fatal": true)", "-c", g_pszFailed, 255, "STRAPS"},
    // Two faults on one path: the first one stops the run, the second must not change that.
    {"MapFailsBeforeMemory", R"("map_fails": true, "memory_fail_inits": -1)", "", g_pszFailed, 255, "",
     "could not be mapped"},
    {"GrantNeverAndBusyFlash", R"("grant_never": true, "flash_stuck_busy": true)", "", g_pszFailed, 255,
     "XDevQelVxd.cpp(701) Assertion failed", "never granted its EEPROM bus"},
    {"PhyErrorAndControllerNotReady", R"("phy_error": [3], "controller_not_ready": true)", "", g_pszFailed, 255,
     "fail after 11 tries"},
    {"EngineFatalAndStuck", R"("engine_fatal": true, "engines_stuck": true)", "", g_pszFailed, 255, "STRAPS"},
    // Flash data, bus and windows, training polls.
    {"FlashOutStuckLow", R"("flash_out_stuck": 0)", "", g_pszFailed, 255, "XDevQelVxd.cpp(701) Assertion failed",
     "no flash part answered on the board's EEPROM bus (its data line read 0x00"},
    {"FlashOutStuckHigh", R"("flash_out_stuck": 1)", "", g_pszFailed, 255, "XDevQelVxd.cpp(701) Assertion failed",
     "no flash part answered on the board's EEPROM bus (its data line read 0xFF"},
    {"FlashBitErrors", R"("flash_bit_errors": 100)", "", g_pszDone, 0, "XPinS10.cpp(100) Assertion failed"},
    {"RetryWithGoneAfterReset", R"("memory_fail_inits": 1, "gone_after_reset": true)", "", g_pszFailed, 255,
     "DEVCTL is still unstable (0xFFFFFFFF)"},
    {"MemoryBarUnassigned", R"("bar_unassigned": ["memory"])", "", g_pszFailed, 255,
     "XDevQelVxd.cpp(538) Assertion failed", "the board at PCI 03:00.0 has no address for its memory window"},
    {"RegisterBarUnassigned", R"("bar_unassigned": ["registers"])", "", g_pszFailed, 255, "",
     "the board at PCI 03:00.0 has no address for its register window"},
    {"ConfigWritesIgnored", R"("config_writes_ignored": true)", "", g_pszDone, 0, ""},
    {"MapRegistersFails", R"("map_registers_fails": true)", "", g_pszFailed, 255, "",
     "the registers of the board at PCI 03:00.0 could not be mapped"},
    {"MapMemoryFails", R"("map_memory_fails": true)", "", g_pszFailed, 255, "XDevCoreInit_Hb4.cpp(471) Assertion"},
    {"ReadyOnTheLastPollButOne", R"("training_polls": 49)", "", g_pszDone, 0, ""},
    {"ReadyOnTheLastPoll", R"("training_polls": 50)", "", g_pszFailed, 255, "fail after 11 tries"},
};

// The lines the tool and its library print on standard output, and nothing else: the tool's own
// lines, and the library's messages behind their prefix (an assertion report names a source file
// and a fixed number). In the message patterns '#' stands for one or more decimal digits and '%'
// for one or more hexadecimal ones.
bool MatchesPattern(const std::string& rsText, const std::string& rsPattern)
{
    size_t uiText = 0;
    for (const char cPattern : rsPattern)
    {
        if (cPattern == '#' || cPattern == '%')
        {
            const size_t uiStart = uiText;
            while (uiText < rsText.size() && (cPattern == '#' ? std::isdigit((unsigned char)rsText[uiText])
                                                              : std::isxdigit((unsigned char)rsText[uiText])))
            {
                ++uiText;
            }
            if (uiText == uiStart)
            {
                return false;
            }
        }
        else if (uiText >= rsText.size() || rsText[uiText++] != cPattern)
        {
            return false;
        }
    }
    return uiText == rsText.size();
}

bool IsTheSystemsOwnLine(const std::string& rsLine)
{
    static const std::set<std::string> setTool = {
        "", g_pszDone, g_pszFailed, "[hb4_0] : Will use global reset to clear the last intilization",
        "[hb4_0] : Memory is already initialized, nothing done, use -c to force re-initialization"};
    static const char* const apszLibrary[] = {
        "Check if your STRAPS are programmed correctly",
        "failure re-run sometimes fix the problem",
        "Memory initialization fail after # tries",
        "Fails to reset engines try to continue normally",
        "DEVCTL is still unstable (0x%) after 1000 ms",
        "Hb4 MiscIo pins are not available, hardware reset cannot be initiated, continuing normally!",
        "Hb4 reset MiscIo pin missing, no hardware reset performed, continuing normally!",
        "Hb4 Chips did not recover from hardware reset",
        "Memory initialization fail, Phys stay busy (may occur when memory is already initialized)",
        "Memory initialization fail: MBE stay busy",
    };
    if (setTool.count(rsLine) != 0)
    {
        return true;
    }
    std::string sMessage;
    for (const char* pszLevel : {"(Error) ", "(Info) "})
    {
        const std::string sPrefix = std::string("hb4(0.2.3.2)[0]: ") + pszLevel;
        if (rsLine.rfind(sPrefix, 0) == 0)
        {
            sMessage = rsLine.substr(sPrefix.size());
        }
    }
    const size_t uiSource = sMessage.find('(');
    const std::string sFile = sMessage.substr(0, uiSource);
    if (uiSource != std::string::npos && sFile.find_first_of(" /") == std::string::npos &&
        (sFile.ends_with(".cpp") || sFile.ends_with(".h")) &&
        MatchesPattern(sMessage.substr(uiSource), "(#) Assertion failed"))
    {
        return true;
    }
    for (const char* pszPattern : apszLibrary)
    {
        if (!sMessage.empty() && MatchesPattern(sMessage, pszPattern))
        {
            return true;
        }
    }
    return false;
}

using FaultMatrixTest = ::testing::TestWithParam<SFaultCase>;

TEST_P(FaultMatrixTest, EndsWithItsResultAndLeavesTheFlashAlone)
{
    const SFaultCase& roCase = GetParam();
    const CRigDir oRig = CRigDir::FromText(
        std::string(R"({"state": "rig.state.json",
            "bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 3}],
            "boards": [{"bus": 3, "device": 0, "function": 0, "subsystem": "0x0A011E5B",
                        "eeprom": {"chip": "W25Q64FV", "image": "NoClock.bin"}, "faults": {)") +
        roCase.pszFaults + "}}]}");
    const std::string sImage = Slurp(oRig.Dir() / "NoClock.bin");

    const SToolRun oRun = oRig.Run(roCase.pszArgs);

    EXPECT_EQ(oRun.iSignal, 0);
    EXPECT_EQ(oRun.iStatus, roCase.iStatus) << oRun.sOut << oRun.sErr;
    EXPECT_NE(oRun.sOut.find(std::string(roCase.pszResult) + "\n\n"), std::string::npos) << oRun.sOut;
    EXPECT_NE(oRun.sOut.find(roCase.pszMessage), std::string::npos) << oRun.sOut;
    std::istringstream oOut(oRun.sOut);
    for (std::string sLine; std::getline(oOut, sLine);)
    {
        EXPECT_TRUE(IsTheSystemsOwnLine(sLine)) << "not the system's own text on standard output: " << sLine;
    }
    if (*roCase.pszHint == '\0')
    {
        EXPECT_EQ(oRun.sErr, "");
    }
    else
    {
        EXPECT_EQ(oRun.sErr.rfind("InitMemContext: ", 0), 0u) << oRun.sErr;
        EXPECT_NE(oRun.sErr.find(roCase.pszHint), std::string::npos) << oRun.sErr;
        EXPECT_EQ(std::count(oRun.sErr.begin(), oRun.sErr.end(), '\n'), 1) << oRun.sErr;
    }
    EXPECT_TRUE(Slurp(oRig.Dir() / "NoClock.bin") == sImage) << "the flash image changed";
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrixTest, ::testing::ValuesIn(g_aoCases),
                         [](const ::testing::TestParamInfo<SFaultCase>& roInfo) { return std::string(roInfo.param.pszName); });

TEST(FaultMatrix, ListsEveryFaultOfTheSimulator)
{
    for (const std::string& rsFault : QelVxdSim_FaultNames())
    {
        bool bListed = false;
        for (const SFaultCase& roCase : g_aoCases)
        {
            bListed = bListed || std::string(roCase.pszFaults).find('"' + rsFault + '"') != std::string::npos;
        }
        EXPECT_TRUE(bListed) << "no case of the fault matrix switches on " << rsFault;
    }
}

} // namespace
