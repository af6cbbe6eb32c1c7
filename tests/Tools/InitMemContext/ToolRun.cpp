#include "ToolRun.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>

extern char** environ;
// Parameter blocks generated from data/blocks/*.json.
extern const unsigned char InitMemTest_NoClock[];
extern const unsigned int InitMemTest_NoClock_size;
extern const unsigned char InitMemTest_FanlessPins[];
extern const unsigned int InitMemTest_FanlessPins_size;

namespace InitMemTest
{

namespace
{
const fs::path g_oData = INITMEM_TEST_DATA_DIR;

// A flash image as the boards carry it: the block at 0x100, the pointer to it at 0x1FE7C.
void WriteImage(const fs::path& roPath, const unsigned char* pucBlock, unsigned int uiSize)
{
    std::string sImage(0x1FE7E, '\xFF');
    sImage.replace(0x100, uiSize, reinterpret_cast<const char*>(pucBlock), uiSize);
    sImage[0x1FE7C] = 0x00;
    sImage[0x1FE7D] = 0x01;
    std::ofstream(roPath, std::ios::binary) << sImage;
}
} // namespace

std::string Slurp(const fs::path& roPath)
{
    std::ifstream oFile(roPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(oFile), {});
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

void CRigDir::MakeDir()
{
    char szTemplate[] = "/tmp/initmem-e2e-XXXXXX";
    m_oDir = mkdtemp(szTemplate);
    WriteImage(m_oDir / "NoClock.bin", InitMemTest_NoClock, InitMemTest_NoClock_size);
    WriteImage(m_oDir / "FanlessPins.bin", InitMemTest_FanlessPins, InitMemTest_FanlessPins_size);
}

CRigDir::CRigDir(const std::string& rsRig) : m_sRig(rsRig)
{
    MakeDir();
    if (rsRig != "default")
    {
        m_sRig = (m_oDir / rsRig).string();
        fs::copy_file(g_oData / "rigs" / rsRig, m_sRig);
    }
}

CRigDir CRigDir::FromText(const std::string& rsJson)
{
    CRigDir oRig;
    oRig.MakeDir();
    oRig.m_sRig = (oRig.m_oDir / "rig.json").string();
    std::ofstream(oRig.m_sRig, std::ios::binary) << rsJson;
    return oRig;
}

CRigDir::CRigDir(CRigDir&& roOther) noexcept
    : m_oDir(std::move(roOther.m_oDir)), m_sRig(std::move(roOther.m_sRig)), m_iRuns(roOther.m_iRuns)
{
    roOther.m_oDir.clear();
}

CRigDir::~CRigDir()
{
    if (!m_oDir.empty())
        fs::remove_all(m_oDir);
}

fs::path CRigDir::OutputPath(int iNumber, const char* pszStream) const
{
    return m_oDir / (std::string(pszStream) + "." + std::to_string(iNumber) + ".txt");
}

namespace
{
// The strings as the null-terminated array of pointers that posix_spawn takes.
std::vector<char*> Pointers(std::vector<std::string>& ras)
{
    std::vector<char*> apsz;
    for (std::string& rs : ras)
        apsz.push_back(rs.data());
    apsz.push_back(nullptr);
    return apsz;
}
} // namespace

CRigDir::SStarted CRigDir::Start(const std::string& rsArgs, const std::vector<std::string>& rasEnv) const
{
    // The caller's simulator settings never leak into a run: only the rig's and the extra ones.
    std::vector<std::string> asEnv = {"QELVXD_SIM=" + m_sRig, "XDG_RUNTIME_DIR=" + m_oDir.string()};
    asEnv.insert(asEnv.end(), rasEnv.begin(), rasEnv.end());
    for (char** ppsz = environ; *ppsz != nullptr; ++ppsz)
        if (std::string(*ppsz).rfind("QELVXD_SIM", 0) != 0 && std::string(*ppsz).rfind("XDG_RUNTIME_DIR=", 0) != 0)
            asEnv.push_back(*ppsz);
    std::vector<std::string> asArgs = {INITMEM_TOOL_PATH};
    std::istringstream oWords(rsArgs);
    for (std::string sWord; oWords >> sWord;)
        asArgs.push_back(sWord);

    posix_spawn_file_actions_t oActions;
    posix_spawn_file_actions_init(&oActions);
    posix_spawn_file_actions_addopen(&oActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    SStarted oStarted;
    oStarted.iNumber = ++m_iRuns;
    const fs::path oOut = OutputPath(oStarted.iNumber, "stdout");
    const fs::path oErr = OutputPath(oStarted.iNumber, "stderr");
    posix_spawn_file_actions_addopen(&oActions, STDOUT_FILENO, oOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&oActions, STDERR_FILENO, oErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (posix_spawn(&oStarted.iPid, asArgs[0].c_str(), &oActions, nullptr, Pointers(asArgs).data(), Pointers(asEnv).data()) != 0)
        oStarted.iPid = -1;
    posix_spawn_file_actions_destroy(&oActions);
    return oStarted;
}

SToolRun CRigDir::Wait(const SStarted& roStarted) const
{
    SToolRun oRun;
    int iWait = 0;
    if (roStarted.iPid > 0 && waitpid(roStarted.iPid, &iWait, 0) == roStarted.iPid)
    {
        oRun.iStatus = WIFEXITED(iWait) ? WEXITSTATUS(iWait) : -1;
        oRun.iSignal = WIFSIGNALED(iWait) ? WTERMSIG(iWait) : 0;
    }
    oRun.sOut = Slurp(OutputPath(roStarted.iNumber, "stdout"));
    oRun.sErr = Slurp(OutputPath(roStarted.iNumber, "stderr"));
    return oRun;
}

SToolRun CRigDir::Run(const std::string& rsArgs, const std::vector<std::string>& rasEnv) const
{
    return Wait(Start(rsArgs, rasEnv));
}

} // namespace InitMemTest
