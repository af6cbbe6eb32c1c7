// EEPROM bus registers of the board's main chip.
//
// The board's SPI flash hangs off the chip's own EEPROM engine. HST_EEPROMBYP lets the host
// bypass that engine: once the engine grants the bus, the host drives clock, data and chip
// select itself and reads the flash's data output back, one register access per line change.
// A second register carries the flash's hardware write-protect line.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4RegEeprom
{
// ---- HST_EEPROMBYP: EEPROM bypass control.
inline constexpr MUINT32 HST_EEPROMBYP = 0x360;

inline constexpr MUINT32 uE2pbyp     = 1u << 0;    // host requests the bus
inline constexpr MUINT32 uE2pgnt     = 1u << 1;    // bus granted to the host (read only)
inline constexpr MUINT32 uE2pbypclk  = 1u << 4;    // SPI clock
inline constexpr MUINT32 uE2pbypd    = 1u << 8;    // data from host to EEPROM
inline constexpr MUINT32 uE2pbypcsn0 = 1u << 12;   // chip select 0, active low
inline constexpr MUINT32 uE2pbypcsn1 = 1u << 13;   // chip select 1, active low (not fitted)
inline constexpr MUINT32 uE2pq       = 1u << 16;   // data from EEPROM to host (read only)
// Bits 24-25: clock divider of the chip's own EEPROM engine, which runs from the bus-side (MFE)
// clock. The clock setup picks it by that clock's speed range so that the engine's SPI clock
// stays in range; the bypass leaves the field as read.
inline constexpr MUINT32 uE2clkdiv_SHIFT         = 24;
inline constexpr MUINT32 uE2clkdiv_MASK          = 0x3u << uE2clkdiv_SHIFT;
inline constexpr MUINT32 uE2clkdiv_LOW_RANGE     = 0;   // bus-side clock below 400 MHz
inline constexpr MUINT32 uE2clkdiv_HIGH_RANGE    = 1;
inline constexpr MUINT32 uE2clkdiv_HIGH_FROM_KHZ = 400000;

// ---- HST_EEPROMWP: the flash's hardware write-protect line, and reset configuration.
inline constexpr MUINT32 HST_EEPROMWP = 0x358;

// Bit 0: set by the revision-1 self reset together with uE2wpchg; nothing else uses it, and the
// write-protect code writes it back as read.
inline constexpr MUINT32 uHstResetCfg = 1u << 0;
inline constexpr MUINT32 uE2wp        = 1u << 2;    // set: the flash's write-protect pin is held
inline constexpr MUINT32 uE2wpchg     = 1u << 24;   // write-protect changed: set with every change of uE2wp
}  // namespace Hb4RegEeprom
