// Registers of the board's processing chip that the simulator models itself (byte offsets in the
// register window). Registers not named here keep what software writes.
#pragma once

#include "QelBaseTypes.h"

namespace QelSimChip
{
// Register window size: 8 KiB on the first-generation controller (id dword 0x05401E5B), 64 KiB on
// every other id.
inline constexpr MUINT32 ID_FIRST_GENERATION  = 0x05401E5B;
inline constexpr MUINT32 ID_SECOND_GENERATION = 0x05501E5B;  // all set in a second-generation id dword
inline constexpr MUINT32 REG_WINDOW_SIZE_FIRST_GEN = 0x2000;
inline constexpr MUINT32 REG_WINDOW_SIZE_SECOND_GEN = 0x10000;

// Memory strap register: memory size code in bits 27-28, set by the board's straps (read only).
inline constexpr MUINT32 RegSTRAP               = 0x314;
inline constexpr MUINT32 MEMORY_SIZE_CODE_SHIFT = 27;
inline constexpr MUINT32 MEMORY_SIZE_CODE_MASK  = 0x3u << MEMORY_SIZE_CODE_SHIFT;

// Chip identification: revision in bits 4-7 (read only).
inline constexpr MUINT32 RegREVISION         = 0x328;
inline constexpr MUINT32 CHIP_REVISION_SHIFT = 4;
inline constexpr MUINT32 CHIP_REVISION_MASK  = 0xFu << CHIP_REVISION_SHIFT;

// Initialisation status: keeps the run state of the board across processes until the chip is
// reset (bit 31 memory initialised, bit 30 global reset requested, bit 29 driver running).
inline constexpr MUINT32 RegINIT_STATUS             = 0x26FC;
inline constexpr MUINT32 INIT_STATUS_MEMORY_READY   = 1u << 31;
inline constexpr MUINT32 INIT_STATUS_RESET_REQUEST  = 1u << 30;
inline constexpr MUINT32 INIT_STATUS_DRIVER_RUNNING = 1u << 29;

// Memory window size by memory size code 0..3.
inline constexpr MUINT32 MEMORY_SIZE_BY_CODE[4] = {0x2000000, 0x4000000, 0x8000000, 0x10000000};
}  // namespace QelSimChip
