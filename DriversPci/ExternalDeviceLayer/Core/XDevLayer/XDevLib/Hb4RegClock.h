// Clock block of the chip: the frequency synthesizers and the clock-control register of every
// clock domain.
//
// Each synthesizer is a cascade of two PLLs fed by the board's reference oscillator:
//   VCO0 = fRef x M0, intermediate Fi = VCO0 / P0, VCO1 = Fi x M1, output = VCO1 / (2 x P1).
// It is programmed through a pair of registers: the control register A holds M0 and the enable,
// reset and power-down bits; the divider register B holds M1, P0 and P1. Both report the lock.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4Clock
{
// ---- Clock-control registers, one per clock domain. Bits 1-3 select the source of the domain;
// the other bits are written as the board record gives them.
inline constexpr MUINT32 RegSYS_CPUCLKCTL    = 0x2600;
inline constexpr MUINT32 RegSYS_GPUCLKCTL    = 0x2604;
inline constexpr MUINT32 RegSYS_HRBCLKCTL    = 0x2608;   // host request bus (bus side)
inline constexpr MUINT32 RegSYS_MBECLKCTL    = 0x260C;   // memory back end
inline constexpr MUINT32 RegSYS_MFECLKCTL    = 0x2610;   // memory front end (bus side)
inline constexpr MUINT32 RegSYS_VCEECLKCTL   = 0x2614;
inline constexpr MUINT32 RegSYS_VCPECLKCTL0  = 0x2618;   // two registers, 4 apart
inline constexpr MUINT32 RegSYS_VCTECLKCTL0  = 0x2620;   // two registers
inline constexpr MUINT32 RegSYS_VPCCLKCTL0   = 0x2628;   // two registers
inline constexpr MUINT32 RegSYS_VPECLKCTL0   = 0x2630;   // three registers
inline constexpr MUINT32 RegSYS_RNDGENCLKCTL = 0x2640;
inline constexpr MUINT32 RegSYS_HMCCLKCTL    = 0x2644;
inline constexpr MUINT32 RegSYS_FPGACLKCTL   = 0x26A0;
inline constexpr MUINT32 CLKCTL_REG_STRIDE   = 4;

// System control word.
inline constexpr MUINT32 RegSYS_CTL = 0x2648;

// A domain parked on the oscillator while its synthesizer is reprogrammed.
inline constexpr MUINT32 CLKCTL_PARKED_ON_OSC = 0x00020000;

inline constexpr MUINT32 CLKCTL_SRC_SHIFT = 1;
inline constexpr MUINT32 CLKCTL_SRC_MASK  = 0x7;   // bits 1-3

enum EReg_SysClkSrc : MUINT32
{
    Reg_SysClkSrc_OSC     = 0,
    Reg_SysClkSrc_FSSYS0  = 1,
    Reg_SysClkSrc_FSSYS1  = 2,
    Reg_SysClkSrc_FSVID0  = 3,
    Reg_SysClkSrc_FSSYS2  = 4,
    Reg_SysClkSrc_VID0CLK = 5,
    Reg_SysClkSrc_VID1CLK = 6,
    Reg_SysClkSrc_VID2CLK = 7,
};

inline constexpr EReg_SysClkSrc DecodeClkCtlSource(MUINT32 uiClkCtl)
{
    return static_cast<EReg_SysClkSrc>((uiClkCtl >> CLKCTL_SRC_SHIFT) & CLKCTL_SRC_MASK);
}

// The bus-side clock's speed range is also given to the chip's EEPROM engine: the uE2clkdiv field
// of HST_EEPROMBYP (Hb4RegEeprom.h).

// ---- Synthesizers. The three system synthesizers FS0-FS2 lie 8 apart from 0x2650, the four
// video synthesizers 8 apart from 0x2670; B follows A.
inline constexpr MUINT32 RegSYS_FS0_A        = 0x2650;
inline constexpr MUINT32 RegSYS_FSVID0_A     = 0x2670;
inline constexpr MUINT32 FS_REG_STRIDE       = 8;
inline constexpr MUINT32 FS_B_FROM_A         = 4;
inline constexpr MUINT32 FS_SYSTEM_COUNT     = 3;
inline constexpr MUINT32 FS_VIDEO_COUNT      = 4;

inline constexpr MUINT32 FsSystemRegA(MUINT32 uiIndex) { return RegSYS_FS0_A + uiIndex * FS_REG_STRIDE; }
inline constexpr MUINT32 FsVideoRegA(MUINT32 uiIndex) { return RegSYS_FSVID0_A + uiIndex * FS_REG_STRIDE; }
inline constexpr MUINT32 FsRegB(MUINT32 uiRegA) { return uiRegA + FS_B_FROM_A; }

// Control register A.
inline constexpr MUINT32 FS_A_M0_MASK     = 0xFF;      // bits 0-7: M0 - 1
inline constexpr MUINT32 FS_A_ENABLE      = 1u << 24;
inline constexpr MUINT32 FS_A_LOCKED      = 1u << 29;  // read only
inline constexpr MUINT32 FS_A_POWER_DOWN  = 1u << 30;
inline constexpr MUINT32 FS_A_RESET       = 1u << 31;  // held in reset while set

// Divider register B.
inline constexpr MUINT32 FS_B_M1_SHIFT    = 0;         // bits 0-6: M1 - 1
inline constexpr MUINT32 FS_B_P0_SHIFT    = 8;         // bits 8-14: P0 - 1
inline constexpr MUINT32 FS_B_P1_SHIFT    = 16;        // bits 16-22: P1 - 1
inline constexpr MUINT32 FS_B_DIVIDER_MASK = 0x7F;
inline constexpr MUINT32 FS_B_FI_HIGH     = 1u << 24;  // intermediate frequency above FS_FI_HIGH_ABOVE_KHZ
inline constexpr MUINT32 FS_B_LOCKED      = 1u << 29;  // read only
inline constexpr MUINT32 FS_B_POWER_DOWN  = 1u << 30;

// Divider ranges that the initialisation searches (the fields could hold more; these are the
// ranges the PLLs work in).
inline constexpr MUINT32 FS_M0_MIN = 1;
inline constexpr MUINT32 FS_M0_MAX = 128;
inline constexpr MUINT32 FS_M1_MIN = 1;
inline constexpr MUINT32 FS_M1_MAX = 64;
inline constexpr MUINT32 FS_P0_MIN = 1;
inline constexpr MUINT32 FS_P0_MAX = 64;
inline constexpr MUINT32 FS_P1_MIN = 1;
inline constexpr MUINT32 FS_P1_MAX = 64;

// The second PLL's input stage has two ranges; the upper one is for intermediate frequencies
// above 33 MHz.
inline constexpr MUINT32 FS_FI_HIGH_ABOVE_KHZ = 33000;

// Field encode/decode: registers hold each divider minus one.
inline constexpr MUINT32 EncodeFsM0(MUINT32 uiM0) { return (uiM0 - 1) & FS_A_M0_MASK; }
inline constexpr MUINT32 DecodeFsM0(MUINT32 uiRegA) { return (uiRegA & FS_A_M0_MASK) + 1; }

inline constexpr MUINT32 EncodeFsM1(MUINT32 uiM1) { return ((uiM1 - 1) & FS_B_DIVIDER_MASK) << FS_B_M1_SHIFT; }
inline constexpr MUINT32 DecodeFsM1(MUINT32 uiRegB) { return ((uiRegB >> FS_B_M1_SHIFT) & FS_B_DIVIDER_MASK) + 1; }

inline constexpr MUINT32 EncodeFsP0(MUINT32 uiP0) { return ((uiP0 - 1) & FS_B_DIVIDER_MASK) << FS_B_P0_SHIFT; }
inline constexpr MUINT32 DecodeFsP0(MUINT32 uiRegB) { return ((uiRegB >> FS_B_P0_SHIFT) & FS_B_DIVIDER_MASK) + 1; }

inline constexpr MUINT32 EncodeFsP1(MUINT32 uiP1) { return ((uiP1 - 1) & FS_B_DIVIDER_MASK) << FS_B_P1_SHIFT; }
inline constexpr MUINT32 DecodeFsP1(MUINT32 uiRegB) { return ((uiRegB >> FS_B_P1_SHIFT) & FS_B_DIVIDER_MASK) + 1; }
}  // namespace Hb4Clock
