// DDR PHY registers. The chip has four PHYs behind one register range; the memory controller's
// PHY select register (Hb4MemCtl::RegMEM_PHYSELECT) chooses which of them an access reaches.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4Phy
{
inline constexpr MUINT32 RegMPHY_PIR    = 0x6004;   // initialisation: writing it starts the sequence it names
inline constexpr MUINT32 RegMPHY_PGCR0  = 0x6008;
inline constexpr MUINT32 RegMPHY_PGCR1  = 0x600C;
inline constexpr MUINT32 RegMPHY_PGSR0  = 0x6010;
inline constexpr MUINT32 RegMPHY_PLLCR  = 0x6018;
inline constexpr MUINT32 RegMPHY_DXCCR  = 0x603C;
inline constexpr MUINT32 RegMPHY_DSGCR  = 0x6040;
inline constexpr MUINT32 RegMPHY_MR0    = 0x6054;   // DRAM mode registers 0-2, 4 apart
inline constexpr MUINT32 RegMPHY_MR1    = 0x6058;
inline constexpr MUINT32 RegMPHY_MR2    = 0x605C;
inline constexpr MUINT32 RegMPHY_PGCR2  = 0x608C;
inline constexpr MUINT32 RegMPHY_GPR0   = 0x6178;
inline constexpr MUINT32 RegMPHY_ZQCR1  = 0x6184;

// Per byte lane L (0-3): local delay lines and the read gate timing.
inline constexpr MUINT32 RegMPHY_DX0LCDLR0 = 0x61E0;
inline constexpr MUINT32 RegMPHY_DX0LCDLR1 = 0x61E4;
inline constexpr MUINT32 RegMPHY_DX0LCDLR2 = 0x61E8;
inline constexpr MUINT32 RegMPHY_DX0GTR    = 0x61F0;
inline constexpr MUINT32 LANE_STRIDE       = 0x40;
inline constexpr MUINT32 LANE_COUNT        = 4;

// PGCR0 bits 0-5 while the PHY trains.
inline constexpr MUINT32 PGCR0_TRAINING_FIELD_MASK = 0x3F;
inline constexpr MUINT32 PGCR0_TRAINING_FIELD      = 0x31;
// PGCR1 bit 26: held while the PHY initialises, released when the controller takes over.
inline constexpr MUINT32 PGCR1_INIT_HOLD = 1u << 26;

inline constexpr MUINT32 PGSR0_INIT_DONE  = 1u << 0;
inline constexpr MUINT32 PGSR0_ERROR_MASK = 0x0FF00000;   // bits 20-27: a training step failed

// GPR0 bit 0: set during initialisation, then written back as the board record has it.
inline constexpr MUINT32 GPR0_INIT = 1u << 0;
}  // namespace Hb4Phy
