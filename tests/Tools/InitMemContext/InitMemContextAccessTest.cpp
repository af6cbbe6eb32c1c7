// What stops the tool before it touches a board: another process holding the boards' lock, a rig
// that cannot be used, a machine whose bus cannot be read. Each ends the run with one line on
// standard error and a failure status, never with a signal.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdPrivateLinux.h"
#include "ToolRun.h"

using namespace InitMemTest;

namespace
{

constexpr int STATUS_NO_ACCESS = 3;
const char* const g_pszDone = "[hb4_0] : Memory was successfully initialized\n";
const char* const g_pszAlready = "[hb4_0] : Memory is already initialized, nothing done";

std::string Rig(const std::string& rsTopLevel)
{
    return "{" + rsTopLevel + R"("boards": [{"bus": 3, "device": 0, "function": 0,
        "eeprom": {"chip": "W25Q64FV", "image": "NoClock.bin"}}]})";
}

size_t CountLines(const std::string& rs)
{
    return static_cast<size_t>(std::count(rs.begin(), rs.end(), '\n'));
}

// ---- One tool per board: the test process holds the lock of a real-time rig, as a first run of
// the tool would, and starts the tool beside it.

class BoardLock : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_iHeld = open((m_oRig.Dir() / "rig.state.json.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    }
    void TearDown() override { close(m_iHeld); }
    void Hold() { ASSERT_EQ(flock(m_iHeld, LOCK_EX | LOCK_NB), 0); }

    const CRigDir m_oRig = CRigDir::FromText(Rig(R"("time": "real", "state": "rig.state.json",)"));
    int m_iHeld = -1;
};

TEST_F(BoardLock, RunWaitsWhileTheLockIsHeldThenInitialises)
{
    Hold();
    const CRigDir::SStarted oRun = m_oRig.Start("");
    ASSERT_GT(oRun.iPid, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    int iWait = 0;
    EXPECT_EQ(waitpid(oRun.iPid, &iWait, WNOHANG), 0) << "the run did not wait for the lock";
    EXPECT_FALSE(std::filesystem::exists(m_oRig.Dir() / "rig.state.json")) << "the board was touched";
    flock(m_iHeld, LOCK_UN);

    const SToolRun oEnd = m_oRig.Wait(oRun);
    EXPECT_EQ(oEnd.iStatus, 0) << oEnd.sErr;
    EXPECT_EQ(oEnd.sOut, std::string(g_pszDone) + "\n");
}

TEST_F(BoardLock, RunGivesUpWithOneLineWhenTheWaitExpires)
{
    Hold();
    const auto oStart = std::chrono::steady_clock::now();
    const SToolRun oRun = m_oRig.Run("", {"QELVXD_SIM_LOCK_WAIT_MS=300"});
    EXPECT_GE(std::chrono::steady_clock::now() - oStart, std::chrono::milliseconds(300));
    EXPECT_EQ(oRun.iStatus, STATUS_NO_ACCESS);
    EXPECT_EQ(oRun.sOut, "");
    EXPECT_EQ(CountLines(oRun.sErr), 1u) << oRun.sErr;
    EXPECT_NE(oRun.sErr.find("rig.state.json.lock"), std::string::npos) << oRun.sErr;
    EXPECT_FALSE(std::filesystem::exists(m_oRig.Dir() / "rig.state.json")) << "the board was touched";
}

TEST_F(BoardLock, HelpTakesNoLock)
{
    Hold();
    const SToolRun oRun = m_oRig.Run("-h", {"QELVXD_SIM_LOCK_WAIT_MS=0"});
    EXPECT_EQ(oRun.iStatus, 0) << oRun.sErr;
    EXPECT_NE(oRun.sOut.find("Initializes the clocks and memory"), std::string::npos) << oRun.sOut;
}

// Without the lock both runs would find the board uninitialised and both initialise it.
TEST_F(BoardLock, TwoRunsStartedTogetherInitialiseTheBoardOnce)
{
    const CRigDir::SStarted oFirst = m_oRig.Start("");
    const CRigDir::SStarted oSecond = m_oRig.Start("");
    const std::string sBoth = m_oRig.Wait(oFirst).sOut + m_oRig.Wait(oSecond).sOut;
    EXPECT_EQ(sBoth.find(g_pszDone), sBoth.rfind(g_pszDone)) << sBoth;
    EXPECT_NE(sBoth.find(g_pszDone), std::string::npos) << sBoth;
    EXPECT_NE(sBoth.find(g_pszAlready), std::string::npos) << sBoth;
}

// ---- Rigs and machines that cannot be used: one line on standard error that says what failed,
// nothing on standard output, a failure status.

struct SEnvironmentCase
{
    const char* pszName;
    std::string sRig;
    void (*pfnSetUp)(const fs::path& roDir);   // spoils the rig directory
    int iStatus;
    const char* pszMessage;
};

// gtest names each case by this in its output, not by a byte dump.
void PrintTo(const SEnvironmentCase& ro, std::ostream* poStream) { *poStream << ro.pszName; }

const char* const g_pszStateRig = R"("state": "rig.state.json",)";

const SEnvironmentCase g_aoEnvironmentCases[] = {
    {"MissingRig", Rig(""), [](const fs::path& ro) { fs::remove(ro / "rig.json"); }, 2, "cannot open"},
    {"RigIsNotJson", "{\"boards\": [", nullptr, 2, "bad JSON"},
    {"UnreadableImage", Rig(""), [](const fs::path& ro) { fs::remove(ro / "NoClock.bin"); fs::create_directory(ro / "NoClock.bin"); },
     2, "cannot read"},
    {"StateIsNotAStateFile", Rig(g_pszStateRig), [](const fs::path& ro) { std::ofstream(ro / "rig.state.json") << "[1, 2"; },
     2, "delete"},
    {"LockCannotBeOpened", Rig(g_pszStateRig), [](const fs::path& ro) { fs::create_directory(ro / "rig.state.json.lock"); },
     STATUS_NO_ACCESS, "cannot open the lock file"},
    {"LockIsASymbolicLink", Rig(g_pszStateRig), [](const fs::path& ro) { fs::create_symlink(ro / "rig.json", ro / "rig.state.json.lock"); },
     STATUS_NO_ACCESS, "symbolic link"},
};

using EnvironmentErrorTest = ::testing::TestWithParam<SEnvironmentCase>;

TEST_P(EnvironmentErrorTest, StopsWithOneLineBeforeTouchingTheBoard)
{
    const CRigDir oRig = CRigDir::FromText(GetParam().sRig);
    if (GetParam().pfnSetUp != nullptr)
    {
        GetParam().pfnSetUp(oRig.Dir());
    }
    for (const char* pszArgs : {"", "-l"})
    {
        const SToolRun oRun = oRig.Run(pszArgs);
        EXPECT_EQ(oRun.iSignal, 0);
        EXPECT_EQ(oRun.iStatus, GetParam().iStatus) << oRun.sErr;
        EXPECT_EQ(oRun.sOut, "");
        EXPECT_EQ(CountLines(oRun.sErr), 1u) << oRun.sErr;
        EXPECT_NE(oRun.sErr.find(GetParam().pszMessage), std::string::npos) << oRun.sErr;
    }
}

INSTANTIATE_TEST_SUITE_P(Rigs, EnvironmentErrorTest, ::testing::ValuesIn(g_aoEnvironmentCases),
                         [](const ::testing::TestParamInfo<SEnvironmentCase>& roInfo) { return std::string(roInfo.param.pszName); });

// libpci that finds no working access method (no /sys/bus/pci, no /proc/bus/pci, no port access
// for an unprivileged process) would otherwise leave an empty bus: "no board", status 0.
TEST(EnvironmentError, BusWithoutAccessMethodIsReportedNotEmpty)
{
    QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend);
    QelVxdLinuxSetPciPathsForTest("/nonexistent/sys", "/nonexistent/proc");
    char szError[512] = "";
    const int iReadable = QelVxdCheckBusAccess(szError, sizeof(szError));
    QelVxdLinuxSetPciPathsForTest(nullptr, nullptr);
    QelVxdSetBackendForTest(nullptr);
    if (iReadable != 0)
    {
        GTEST_SKIP() << "this process reaches the bus through I/O ports";
    }
    EXPECT_NE(std::string(szError).find("Cannot find any working access method"), std::string::npos) << szError;
    EXPECT_NE(std::string(szError).find("run as root"), std::string::npos) << szError;
    EXPECT_EQ(std::string(szError).find('\n'), std::string::npos);
}

// libpci is loaded when the bus is first read. A library that is missing, or is not libpci, makes
// the bus unreadable with one line that names the library and the package to install; reads of
// configuration space then fail like reads of a function that is not there.
struct SPciLibraryCase
{
    const char* pszName;
    const char* pszLibrary;
    const char* pszReason;   // in the message besides the package hint
};
void PrintTo(const SPciLibraryCase& ro, std::ostream* poStream) { *poStream << ro.pszName; }

const SPciLibraryCase g_aoPciLibraryCases[] = {
    {"Missing", "libpci-missing.so.3", "libpci-missing.so.3"},
    {"NotLibpci", "libc.so.6", "libc.so.6 has no pci_alloc"},
};

using PciLibraryTest = ::testing::TestWithParam<SPciLibraryCase>;

TEST_P(PciLibraryTest, UnloadableLibraryIsReportedAndReadsFail)
{
    QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend);
    QelVxdLinuxSetPciLibraryForTest(GetParam().pszLibrary);
    for (int iAttempt = 0; iAttempt < 2; ++iAttempt)
    {
        char szError[512] = "";
        EXPECT_EQ(QelVxdCheckBusAccess(szError, sizeof(szError)), 0);
        const std::string sError(szError);
        EXPECT_NE(sError.find("cannot load libpci"), std::string::npos) << sError;
        EXPECT_NE(sError.find(GetParam().pszReason), std::string::npos) << sError;
        EXPECT_NE(sError.find("(install the libpci"), std::string::npos) << sError;
        EXPECT_EQ(sError.find('\n'), std::string::npos);
    }
    MUINT32 uiId = 0x12345678;
    EXPECT_EQ(QelVxdLinuxConfigRead(QelVxdMakePciHandle(0, 0, 0), 0, &uiId, sizeof(uiId)), 0);
    QelVxdLinuxSetPciLibraryForTest(nullptr);
    QelVxdSetBackendForTest(nullptr);
}

INSTANTIATE_TEST_SUITE_P(Libraries, PciLibraryTest, ::testing::ValuesIn(g_aoPciLibraryCases),
                         [](const ::testing::TestParamInfo<SPciLibraryCase>& roInfo) { return std::string(roInfo.param.pszName); });

} // namespace
