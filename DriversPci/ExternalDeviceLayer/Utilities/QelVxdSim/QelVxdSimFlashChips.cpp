#include "QelVxdSimFlashChips.h"

namespace
{
// "unknown" is a part that answers no identification the tool knows; it still stores 128 KiB.
const SQelSimFlashChip s_aoChips[] = {
    {"AT25F1024", 128 * 1024},
    {"SST25VF010", 128 * 1024},
    {"M25P10", 128 * 1024},
    {"PM25LV010", 128 * 1024},
    {"W25Q64FV", 8 * 1024 * 1024},
    {"W25Q128FV", 16 * 1024 * 1024},
    {"IS25WD020", 256 * 1024},
    {"IS25WD040", 512 * 1024},
    {"S25FL127S", 16 * 1024 * 1024},
    {"N25Q128A", 16 * 1024 * 1024},
    {"unknown", 128 * 1024},
};
}  // namespace

const SQelSimFlashChip* QelVxdSim_FindFlashChip(const std::string& rsName)
{
    for (const SQelSimFlashChip& roChip : s_aoChips)
    {
        if (rsName == roChip.pszName)
        {
            return &roChip;
        }
    }
    return nullptr;
}

std::string QelVxdSim_FlashChipNames()
{
    std::string sNames;
    for (const SQelSimFlashChip& roChip : s_aoChips)
    {
        sNames += (sNames.empty() ? "" : ", ") + std::string(roChip.pszName);
    }
    return sNames;
}
