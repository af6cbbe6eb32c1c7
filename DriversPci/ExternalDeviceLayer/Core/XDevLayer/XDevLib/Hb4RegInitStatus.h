// Initialisation status register of the chip. It is a plain scratch register that no block of the
// chip writes by itself, so it keeps the run state of the board from one process to the next
// until the chip is power-cycled.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4InitStatus
{
inline constexpr MUINT32 RegINIT_STATUS = 0x26FC;

// The clocks run and the memory is trained and tested; a second initialisation has nothing to do.
inline constexpr MUINT32 INIT_STATUS_MEMORY_INITIALIZED = 1u << 31;
// The next initialisation resets the chip first. Set together with the bit above and left set when
// that bit is cleared, so that a cleared initialisation starts again from a reset chip.
inline constexpr MUINT32 INIT_STATUS_GLOBAL_RESET_REQUESTED = 1u << 30;
// A driver has taken the chip over (set and cleared by the driver only).
inline constexpr MUINT32 INIT_STATUS_DRIVER_RUNNING = 1u << 29;
}  // namespace Hb4InitStatus
