// Clock block of the simulated chip: seven synthesizers (system FS0-FS2, video VID0-VID3) and the
// clock-control registers that put each clock domain on a source.
//
// A synthesizer is a cascade of two PLLs fed by the board's oscillator:
//   VCO0 = fOsc x M0, Fi = VCO0 / P0, VCO1 = Fi x M1, fOut = VCO1 / (2 x P1).
// Its control register A holds M0 - 1 (bits 0-7); bit 31 holds it in reset, bits 30/31 switch it
// off. Its divider register B holds M1 - 1 (bits 0-6), P0 - 1 (bits 8-14), P1 - 1 (bits 16-22),
// bit 24 selects the upper input range of the second PLL, bit 30 switches it off. After a reset
// pulse (bit 31 of A written, then cleared) and its dividers, it locks msc_uiLockUs after the last
// change when VCO0 and VCO1 lie within 1.2-2.4 GHz and Fi within 23-48 MHz with bit 24 set exactly
// when Fi is above 33 MHz. Both registers show the lock in bit 29.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdSimRegisterFile.h"

class CQelSimChip;

namespace QelSimChip
{
inline constexpr MUINT32 REG_CLKCTL_FIRST  = 0x2600;   // clock-control registers of the domains
inline constexpr MUINT32 REG_CLKCTL_LAST   = 0x2644;
inline constexpr MUINT32 RegSYS_CTL        = 0x2648;
inline constexpr MUINT32 RegSYS_MBECLKCTL  = 0x260C;   // memory back end
inline constexpr MUINT32 RegSYS_MFECLKCTL  = 0x2610;   // memory front end
inline constexpr MUINT32 RegSYS_FPGACLKCTL = 0x26A0;
inline constexpr MUINT32 CLKCTL_SRC_SHIFT  = 1;        // bits 1-3: source
inline constexpr MUINT32 CLKCTL_SRC_MASK   = 0x7;
inline constexpr MUINT32 CLKCTL_DEFAULT    = 0x00020000;   // the bits a clock-control word keeps set

// Sources: 0 oscillator, 1 FS0, 2 FS1, 3 VID0, 4 FS2, 5-7 external video clocks.
inline constexpr MUINT32 CLK_SRC_OSC = 0;
inline constexpr MUINT32 CLK_SRC_FS0 = 1;
inline constexpr MUINT32 CLK_SRC_FS1 = 2;
inline constexpr MUINT32 CLK_SRC_VID0 = 3;
inline constexpr MUINT32 CLK_SRC_FS2 = 4;

inline constexpr MUINT32 RegSYS_FS0_A     = 0x2650;   // FS0-FS2, 8 apart
inline constexpr MUINT32 RegSYS_FSVID0_A  = 0x2670;   // VID0-VID3, 8 apart
inline constexpr MUINT32 FS_STRIDE        = 8;
inline constexpr MUINT32 REG_FS_RANGE_END = 0x2690;

inline constexpr MUINT32 FS_A_M0_MASK    = 0xFF;
inline constexpr MUINT32 FS_A_LOCKED     = 1u << 29;
inline constexpr MUINT32 FS_A_OFF        = 1u << 30;
inline constexpr MUINT32 FS_A_RESET      = 1u << 31;
inline constexpr MUINT32 FS_B_FIELD_MASK = 0x7F;
inline constexpr MUINT32 FS_B_M1_SHIFT   = 0;
inline constexpr MUINT32 FS_B_P0_SHIFT   = 8;
inline constexpr MUINT32 FS_B_P1_SHIFT   = 16;
inline constexpr MUINT32 FS_B_FI_HIGH    = 1u << 24;
inline constexpr MUINT32 FS_B_LOCKED     = 1u << 29;
inline constexpr MUINT32 FS_B_OFF        = 1u << 30;

inline constexpr MUINT64 FS_VCO_MIN_KHZ  = 1200000;
inline constexpr MUINT64 FS_VCO_MAX_KHZ  = 2400000;
inline constexpr MUINT64 FS_FI_MIN_KHZ   = 23000;
inline constexpr MUINT64 FS_FI_MAX_KHZ   = 48000;
inline constexpr MUINT64 FS_FI_HIGH_ABOVE_KHZ = 33000;
}  // namespace QelSimChip

class CQelSimChipClocks : public CQelSimRegBehaviour
{
public:
    // Synthesizer indices: FS0-FS2 are 0-2, VID0-VID3 are 3-6 (the bits of the pll_no_lock fault).
    static constexpr MUINT32 msc_uiSynthesizerCount = 7;
    static constexpr MUINT32 msc_uiLockUs = 5;

    explicit CQelSimChipClocks(CQelSimChip& roChip) : m_roChip(roChip) {}

    // Attaches to the clock-control and synthesizer registers of the chip's board.
    void Attach();
    // Power-on state: every synthesizer unlocked until its reset pulse, every domain on the
    // oscillator.
    void PowerOn();
    // Locks FS0 and FS1 on the first divider set that the oscillator allows and puts the memory
    // back end on FS0 and the front end on FS1, as a bring-up leaves them.
    void StartRunning();

    bool IsLocked(MUINT32 uiSynthesizer) const;
    // Output of a locked synthesizer in kHz (rounded down), 0 when it is not locked.
    MUINT32 OutputKhz(MUINT32 uiSynthesizer) const;
    // Frequency of a clock domain by its clock-control register, 0 when its source does not run.
    MUINT32 DomainKhz(MUINT32 uiClkCtlRegister) const;
    // The domain runs from a locked system synthesizer (FS0, FS1 or FS2).
    bool DomainOnSystemSynthesizer(MUINT32 uiClkCtlRegister) const;

    MUINT32 OnRead(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiByteMask) override;
    MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                    MUINT32 uiByteMask) override;

private:
    struct SSynthesizer
    {
        bool bInReset = false;     // bit 31 of A is set
        bool bReleased = false;    // a reset pulse has completed since power-on
        MUINT64 uiLockAtUs = 0;    // the dividers last changed; lock follows after msc_uiLockUs
    };

    static MUINT32 RegisterA(MUINT32 uiSynthesizer);
    // Index of the synthesizer whose A or B register is at uiOffset, or msc_uiSynthesizerCount.
    static MUINT32 SynthesizerAt(MUINT32 uiOffset, bool& rbRegisterB);
    bool DividersLock(MUINT32 uiA, MUINT32 uiB) const;
    MUINT32 SourceSynthesizer(MUINT32 uiClkCtl) const;

    CQelSimChip& m_roChip;
    SSynthesizer m_aoSynthesizers[msc_uiSynthesizerCount];
};
