// Runs the built InitMemContext as a subprocess on a simulated rig in a temporary directory of
// its own (rig, flash images, state file, and the default rig's state through XDG_RUNTIME_DIR).
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace InitMemTest
{

namespace fs = std::filesystem;

std::string Slurp(const fs::path& roPath);
// Fields between separators, with the spaces around each trimmed.
std::vector<std::string> Split(const std::string& rsText, char cSeparator);

// How one run ended: the exit status, or -1 and the signal that ended it.
struct SToolRun
{
    int iStatus = -1;
    int iSignal = 0;
    std::string sOut;
    std::string sErr;
};

class CRigDir
{
public:
    // A rig of data/rigs, or "default" for the built-in rig.
    explicit CRigDir(const std::string& rsRig);
    // A rig given as text, written to rig.json.
    static CRigDir FromText(const std::string& rsJson);
    ~CRigDir();
    CRigDir(CRigDir&& roOther) noexcept;
    CRigDir(const CRigDir&) = delete;
    CRigDir& operator=(const CRigDir&) = delete;

    // Runs the tool with the arguments (separated by spaces) and the extra environment entries.
    SToolRun Run(const std::string& rsArgs, const std::vector<std::string>& rasEnv = {}) const;
    // The same, split in two so that runs can overlap: Start returns the process id (-1 when it
    // could not start) and the run's number, which names its output files; Wait waits for its end.
    struct SStarted
    {
        pid_t iPid = -1;
        int iNumber = 0;
    };
    SStarted Start(const std::string& rsArgs, const std::vector<std::string>& rasEnv = {}) const;
    SToolRun Wait(const SStarted& roStarted) const;

    const fs::path& Dir() const { return m_oDir; }

private:
    CRigDir() = default;
    void MakeDir();

    fs::path OutputPath(int iNumber, const char* pszStream) const;

    fs::path m_oDir;
    std::string m_sRig;
    mutable int m_iRuns = 0;
};

} // namespace InitMemTest
