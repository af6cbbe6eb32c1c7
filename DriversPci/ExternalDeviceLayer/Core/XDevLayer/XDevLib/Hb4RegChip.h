// Identity, windows and strap registers of the board controller: what the context manager needs to
// recognise a board, the hardware access objects to size its windows, and the reset to know the
// chip is back.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4Chip
{
// ---- PCI identity dword (device id in the high half, vendor id in the low half).
// The first-generation controller. Its id shares some bits with the second generation's, so it
// is told apart first.
inline constexpr MUINT32 ID_FIRST_GENERATION  = 0x05401E5B;
// The chip this driver brings up: vendor 0x1E5B, device 0x0550. Its variants differ only in bits
// 16-19 (device ids 0x0550-0x055F), and every second-generation controller has all of its bits
// set.
inline constexpr MUINT32 ID_SECOND_GENERATION = 0x05501E5B;
inline constexpr MUINT32 ID_VARIANT_MASK      = 0x000F0000;

// Second generation: sizes the register window and says where the memory size code is.
inline constexpr bool IsSecondGeneration(MUINT32 uiIdDword)
{
    return (uiIdDword & ID_SECOND_GENERATION) == ID_SECOND_GENERATION;
}
// One of the chip's variants: the boards this driver accepts, and the chip answering after a reset.
inline constexpr bool IsChipVariant(MUINT32 uiIdDword)
{
    return (uiIdDword & ~ID_VARIANT_MASK) == ID_SECOND_GENERATION;
}

// ---- Register window.
inline constexpr MUINT32 REG_WINDOW_SIZE_FIRST_GEN  = 0x2000;    // 8 KiB
inline constexpr MUINT32 REG_WINDOW_SIZE_SECOND_GEN = 0x10000;   // 64 KiB
inline constexpr MUINT32 REG_WINDOW_BASE_MASK       = ~0xFFu;    // 256-byte aligned

// ---- Memory window: 16 MiB aligned, sized by a 2-bit code that the board straps.
inline constexpr MUINT32 MEM_WINDOW_BASE_MASK = ~0xFFFFFFu;
inline constexpr MUINT32 MEM_SIZE_CODE_COUNT  = 4;
inline constexpr MUINT32 MEM_WINDOW_SIZE_BY_CODE[MEM_SIZE_CODE_COUNT] = {
    0x2000000,    // code 0: 32 MiB
    0x4000000,    // code 1: 64 MiB
    0x8000000,    // code 2: 128 MiB
    0x10000000,   // code 3: 256 MiB
};

// Second generation: the strap register in the register window holds the memory size code.
inline constexpr MUINT32 RegSTRAP             = 0x314;
inline constexpr MUINT32 STRAP_MEM_SIZE_SHIFT = 27;
inline constexpr MUINT32 STRAP_MEM_SIZE_MASK  = 0x3;   // bits 27-28

// Second generation: chip revision.
inline constexpr MUINT32 RegREVISION          = 0x328;
inline constexpr MUINT32 REVISION_SHIFT       = 4;
inline constexpr MUINT32 REVISION_MASK        = 0xF;   // bits 4-7

// First generation: the memory size code is in configuration space.
inline constexpr MUINT32 CfgMEM_SIZE          = 0x40;
inline constexpr MUINT32 CFG_MEM_SIZE_MASK    = 0x3;   // bits 0-1

// Board control dword in configuration space: its two low bits must be clear before the board is used.
inline constexpr MUINT32 CfgCHIP_CONTROL      = 0xE0;
inline constexpr MUINT32 CHIP_CONTROL_CLEAR   = 0x3;
}  // namespace Hb4Chip
