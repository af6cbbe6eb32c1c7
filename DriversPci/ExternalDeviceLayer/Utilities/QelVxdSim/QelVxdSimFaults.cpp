#include "QelVxdSimFaults.h"

#include <iterator>

namespace
{
const char* const s_apszSynthesizers[] = {"FS0", "FS1", "FS2", "VID0", "VID1", "VID2", "VID3"};
const char* const s_apszWindows[] = {"memory", "registers"};   // bits of QELSIM_BAR_*

const SQelSimFaultSpec s_aoFaults[] = {
    {"map_fails", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bMapFails = ui != 0; }},
    {"grant_never", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bGrantNever = ui != 0; }},
    {"flash_stuck_busy", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bFlashStuckBusy = ui != 0; }},
    // Chip.
    {"pll_no_lock", EQelSimFaultType::NameList, 0, 0,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiPllNoLock = (MUINT32)ui; }, s_apszSynthesizers,
     (MUINT32)std::size(s_apszSynthesizers)},
    {"phy_not_done", EQelSimFaultType::IndexList, 0, 3,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiPhyNotDone = (MUINT32)ui; }},
    {"phy_error", EQelSimFaultType::IndexList, 0, 3, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiPhyError = (MUINT32)ui; }},
    {"controller_not_ready", EQelSimFaultType::Bool, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bControllerNotReady = ui != 0; }},
    {"memory_fail_inits", EQelSimFaultType::CountOrAlways, 0, 1000000,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiMemoryFailInits = (MUINT32)ui; }},
    {"engine_fatal", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bEngineFatal = ui != 0; }},
    {"engines_stuck", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bEnginesStuck = ui != 0; }},
    {"devctl_unstable", EQelSimFaultType::Bool, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bDevctlUnstable = ui != 0; }},
    // Bus and windows.
    {"map_registers_fails", EQelSimFaultType::Bool, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bMapRegistersFails = ui != 0; }},
    {"map_memory_fails", EQelSimFaultType::Bool, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bMapMemoryFails = ui != 0; }},
    {"bar_unassigned", EQelSimFaultType::NameList, 0, 0,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiBarUnassigned = (MUINT32)ui; }, s_apszWindows,
     (MUINT32)std::size(s_apszWindows)},
    {"config_writes_ignored", EQelSimFaultType::Bool, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bConfigWritesIgnored = ui != 0; }},
    {"gone_after_reset", EQelSimFaultType::Bool, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bGoneAfterReset = ui != 0; }},
    // Flash data output.
    {"flash_out_stuck", EQelSimFaultType::Integer, 0, 1,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiFlashOutStuck = (MUINT32)ui; }},
    {"flash_bit_errors", EQelSimFaultType::Integer, 1, 1000000,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiFlashBitErrors = (MUINT32)ui; }},
    // Memory controller.
    {"training_polls", EQelSimFaultType::Integer, 1, 1000000,
     [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.uiTrainingPolls = (MUINT32)ui; }},
};
}  // namespace

const SQelSimFaultSpec* QelVxdSim_FindFault(const std::string& rsName)
{
    for (const SQelSimFaultSpec& roSpec : s_aoFaults)
    {
        if (rsName == roSpec.pszName)
        {
            return &roSpec;
        }
    }
    return nullptr;
}

std::vector<std::string> QelVxdSim_FaultNames()
{
    std::vector<std::string> asNames;
    for (const SQelSimFaultSpec& roSpec : s_aoFaults)
    {
        asNames.push_back(roSpec.pszName);
    }
    return asNames;
}
