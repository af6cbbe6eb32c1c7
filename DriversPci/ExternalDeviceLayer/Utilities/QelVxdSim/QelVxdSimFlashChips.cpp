#include "QelVxdSimFlashChips.h"

namespace
{
constexpr MUINT32 KiB = 1024;
constexpr MUINT32 MiB = 1024 * KiB;

constexpr SQelSimFlashId NONE = {{0, 0, 0, 0}, 0};
constexpr SQelSimFlashId Id(MUINT8 uc0, MUINT8 uc1)
{
    return {{uc0, uc1, 0, 0}, 2};
}
constexpr SQelSimFlashId Id(MUINT8 uc0, MUINT8 uc1, MUINT8 uc2)
{
    return {{uc0, uc1, uc2, 0}, 3};
}
constexpr SQelSimFlashId Id(MUINT8 uc0, MUINT8 uc1, MUINT8 uc2, MUINT8 uc3)
{
    return {{uc0, uc1, uc2, uc3}, 4};
}

// Program and write enable of the standard instruction set.
constexpr MUINT8 WREN = 0x06;
constexpr MUINT8 PP   = 0x02;

// One row per part. The small parts only know the older identification instructions; the larger
// ones also answer the JEDEC one. The SST part takes its own write-enable and program codes, and
// ignores the standard ones. "unknown" answers identifications that no driver table lists; it
// still stores 128 KiB.
const SQelSimFlashChip s_aoChips[] = {
    // name          size       0x15            0x90            0x9E                          WE    program  status 2
    {"AT25F1024",    128 * KiB, Id(0x1F, 0x60), NONE,           NONE,                         WREN, PP,      0},
    {"SST25VF010",   128 * KiB, NONE,           Id(0xBF, 0x49), NONE,                         0x50, 0xAF,    0},
    {"M25P10",       128 * KiB, NONE,           Id(0x10, 0x10), NONE,                         WREN, PP,      0},
    {"PM25LV010",    128 * KiB, NONE,           Id(0x9D, 0x7C), NONE,                         WREN, PP,      0},
    {"W25Q64FV",     8 * MiB,   NONE,           Id(0xEF, 0x16), Id(0xEF, 0x40, 0x17),         WREN, PP,      0x35},
    {"W25Q128FV",    16 * MiB,  NONE,           Id(0xEF, 0x17), Id(0xEF, 0x40, 0x18),         WREN, PP,      0x35},
    {"IS25WD020",    256 * KiB, NONE,           Id(0x9D, 0x11), Id(0x9D, 0x40, 0x12),         WREN, PP,      0},
    {"IS25WD040",    512 * KiB, NONE,           Id(0x9D, 0x12), Id(0x9D, 0x40, 0x13),         WREN, PP,      0},
    {"S25FL127S",    16 * MiB,  NONE,           Id(0x01, 0x17), Id(0x01, 0x20, 0x18),         WREN, PP,      0x07},
    {"N25Q128A",     16 * MiB,  NONE,           NONE,           Id(0x20, 0xBA, 0x18, 0x10),   WREN, PP,      0},
    {"unknown",      128 * KiB, NONE,           Id(0xC8, 0x10), Id(0xC8, 0x40, 0x11),         WREN, PP,      0},
    // Parts that test the order of identification: any device of vendor 0x10, and a part that
    // answers both 0x15 (as the 128 KiB part) and 0x90 (as an 8 MiB one).
    {"id-1610",      128 * KiB, NONE,           Id(0x10, 0x16), NONE,                         WREN, PP,      0},
    {"id-1f-ef16",   128 * KiB, Id(0x1F, 0x60), Id(0xEF, 0x16), NONE,                         WREN, PP,      0},
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
        sNames += sNames.empty() ? "" : ", ";
        sNames += roChip.pszName;
    }
    return sNames;
}
