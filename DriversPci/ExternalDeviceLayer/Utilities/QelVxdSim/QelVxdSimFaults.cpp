#include "QelVxdSimFaults.h"

#include <iterator>

namespace
{
const SQelSimFaultSpec s_aoFaults[] = {
    {"map_fails", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bMapFails = ui != 0; }},
    {"grant_never", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bGrantNever = ui != 0; }},
    {"flash_stuck_busy", EQelSimFaultType::Bool, 0, 1, [](SQelSimBoardFaults& ro, MUINT64 ui) { ro.bFlashStuckBusy = ui != 0; }},
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
