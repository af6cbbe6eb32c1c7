#include "QelVxdSimChipClocks.h"

#include "QelVxdSimBoard.h"
#include "QelVxdSimChip.h"

using namespace QelSimChip;

namespace
{
// Divider field values (the registers hold each divider minus one).
MUINT32 M0Of(MUINT32 uiA) { return (uiA & FS_A_M0_MASK) + 1; }
MUINT32 M1Of(MUINT32 uiB) { return ((uiB >> FS_B_M1_SHIFT) & FS_B_FIELD_MASK) + 1; }
MUINT32 P0Of(MUINT32 uiB) { return ((uiB >> FS_B_P0_SHIFT) & FS_B_FIELD_MASK) + 1; }
MUINT32 P1Of(MUINT32 uiB) { return ((uiB >> FS_B_P1_SHIFT) & FS_B_FIELD_MASK) + 1; }

bool InRange(MUINT64 uiValue, MUINT64 uiMin, MUINT64 uiMax) { return uiValue >= uiMin && uiValue <= uiMax; }

// The index of the synthesizers that a bring-up leaves running (FS0 and FS1) and the clock-control
// words that put the memory back end on FS0 and the front end on FS1.
constexpr MUINT32 msc_uiRunningSynthesizers[] = {0, 1};
constexpr MUINT32 msc_uiClkCtlOnFs0 = CLKCTL_DEFAULT | (CLK_SRC_FS0 << CLKCTL_SRC_SHIFT);
constexpr MUINT32 msc_uiClkCtlOnFs1 = CLKCTL_DEFAULT | (CLK_SRC_FS1 << CLKCTL_SRC_SHIFT);
}  // namespace

MUINT32 CQelSimChipClocks::RegisterA(MUINT32 uiSynthesizer)
{
    return uiSynthesizer < 3 ? RegSYS_FS0_A + uiSynthesizer * FS_STRIDE : RegSYS_FSVID0_A + (uiSynthesizer - 3) * FS_STRIDE;
}

MUINT32 CQelSimChipClocks::SynthesizerAt(MUINT32 uiOffset, bool& rbRegisterB)
{
    rbRegisterB = (uiOffset & 4) != 0;
    const MUINT32 uiA = uiOffset & ~4u;
    if (uiA >= RegSYS_FS0_A && uiA < RegSYS_FS0_A + 3 * FS_STRIDE)
    {
        return (uiA - RegSYS_FS0_A) / FS_STRIDE;
    }
    if (uiA >= RegSYS_FSVID0_A && uiA < RegSYS_FSVID0_A + 4 * FS_STRIDE)
    {
        return 3 + (uiA - RegSYS_FSVID0_A) / FS_STRIDE;
    }
    return msc_uiSynthesizerCount;
}

void CQelSimChipClocks::Attach()
{
    CQelSimBoard& roBoard = m_roChip.Board();
    roBoard.Registers().Attach(REG_CLKCTL_FIRST, REG_CLKCTL_LAST + 4 - REG_CLKCTL_FIRST, this);
    roBoard.Registers().Attach(RegSYS_FS0_A, REG_FS_RANGE_END - RegSYS_FS0_A, this);
}

void CQelSimChipClocks::PowerOn()
{
    CQelSimBoard& roBoard = m_roChip.Board();
    for (MUINT32 uiOffset = REG_CLKCTL_FIRST; uiOffset <= RegSYS_CTL; uiOffset += 4)
    {
        roBoard.PokeReg(uiOffset, 0);
    }
    roBoard.PokeReg(RegSYS_FPGACLKCTL, 0);
    // A synthesizer comes out of power-on unlocked, and stays so until a reset pulse.
    for (MUINT32 uiSynthesizer = 0; uiSynthesizer < msc_uiSynthesizerCount; uiSynthesizer++)
    {
        roBoard.PokeReg(RegisterA(uiSynthesizer), 0);
        roBoard.PokeReg(RegisterA(uiSynthesizer) + 4, 0);
        m_aoSynthesizers[uiSynthesizer] = SSynthesizer{};
    }
}

void CQelSimChipClocks::StartRunning()
{
    CQelSimBoard& roBoard = m_roChip.Board();
    // The first divider set in field order that locks; none exists for some oscillators.
    for (MUINT32 uiM0 = 1; uiM0 <= FS_A_M0_MASK + 1; uiM0++)
    {
        for (MUINT32 uiP0 = 1; uiP0 <= FS_B_FIELD_MASK + 1; uiP0++)
        {
            for (MUINT32 uiM1 = 1; uiM1 <= FS_B_FIELD_MASK + 1; uiM1++)
            {
                const MUINT32 uiA = uiM0 - 1;
                const MUINT64 uiFi = (MUINT64)roBoard.OscillatorKhz() * uiM0 / uiP0;
                const MUINT32 uiB = ((uiM1 - 1) << FS_B_M1_SHIFT) | ((uiP0 - 1) << FS_B_P0_SHIFT) |
                                    (uiFi > FS_FI_HIGH_ABOVE_KHZ ? FS_B_FI_HIGH : 0);
                if (!DividersLock(uiA, uiB))
                {
                    continue;
                }
                for (MUINT32 uiSynthesizer : msc_uiRunningSynthesizers)
                {
                    roBoard.PokeReg(RegisterA(uiSynthesizer), uiA);
                    roBoard.PokeReg(RegisterA(uiSynthesizer) + 4, uiB);
                    m_aoSynthesizers[uiSynthesizer] = SSynthesizer{false, true, 0};
                }
                roBoard.PokeReg(RegSYS_MBECLKCTL, msc_uiClkCtlOnFs0);
                roBoard.PokeReg(RegSYS_MFECLKCTL, msc_uiClkCtlOnFs1);
                return;
            }
        }
    }
}

bool CQelSimChipClocks::DividersLock(MUINT32 uiA, MUINT32 uiB) const
{
    // In kHz, 64-bit: an oscillator of up to 4 GHz times M0 up to 256 fits easily.
    const MUINT64 uiVco0 = (MUINT64)m_roChip.Board().OscillatorKhz() * M0Of(uiA);
    const MUINT64 uiIntermediate = uiVco0 / P0Of(uiB);
    const MUINT64 uiVco1 = uiVco0 * M1Of(uiB) / P0Of(uiB);
    const bool bHighRange = uiIntermediate > FS_FI_HIGH_ABOVE_KHZ;
    return InRange(uiVco0, FS_VCO_MIN_KHZ, FS_VCO_MAX_KHZ) && InRange(uiIntermediate, FS_FI_MIN_KHZ, FS_FI_MAX_KHZ) &&
           InRange(uiVco1, FS_VCO_MIN_KHZ, FS_VCO_MAX_KHZ) && bHighRange == ((uiB & FS_B_FI_HIGH) != 0);
}

bool CQelSimChipClocks::IsLocked(MUINT32 uiSynthesizer) const
{
    if (uiSynthesizer >= msc_uiSynthesizerCount)
    {
        return false;
    }
    const SSynthesizer& roSynthesizer = m_aoSynthesizers[uiSynthesizer];
    const CQelSimBoard& roBoard = m_roChip.Board();
    const MUINT32 uiA = roBoard.PeekReg(RegisterA(uiSynthesizer));
    const MUINT32 uiB = roBoard.PeekReg(RegisterA(uiSynthesizer) + 4);
    return roSynthesizer.bReleased && (uiA & (FS_A_OFF | FS_A_RESET)) == 0 && (uiB & FS_B_OFF) == 0 &&
           (roBoard.Faults().uiPllNoLock & (1u << uiSynthesizer)) == 0 && m_roChip.NowUs() >= roSynthesizer.uiLockAtUs &&
           DividersLock(uiA, uiB);
}

MUINT32 CQelSimChipClocks::OutputKhz(MUINT32 uiSynthesizer) const
{
    if (!IsLocked(uiSynthesizer))
    {
        return 0;
    }
    const CQelSimBoard& roBoard = m_roChip.Board();
    const MUINT32 uiA = roBoard.PeekReg(RegisterA(uiSynthesizer));
    const MUINT32 uiB = roBoard.PeekReg(RegisterA(uiSynthesizer) + 4);
    return (MUINT32)((MUINT64)roBoard.OscillatorKhz() * M0Of(uiA) * M1Of(uiB) / (2ull * P0Of(uiB) * P1Of(uiB)));
}

MUINT32 CQelSimChipClocks::SourceSynthesizer(MUINT32 uiClkCtl) const
{
    switch ((uiClkCtl >> CLKCTL_SRC_SHIFT) & CLKCTL_SRC_MASK)
    {
    case CLK_SRC_FS0: return 0;
    case CLK_SRC_FS1: return 1;
    case CLK_SRC_FS2: return 2;
    case CLK_SRC_VID0: return 3;
    default: return msc_uiSynthesizerCount;
    }
}

MUINT32 CQelSimChipClocks::DomainKhz(MUINT32 uiClkCtlRegister) const
{
    const MUINT32 uiClkCtl = m_roChip.Board().PeekReg(uiClkCtlRegister);
    if (((uiClkCtl >> CLKCTL_SRC_SHIFT) & CLKCTL_SRC_MASK) == CLK_SRC_OSC)
    {
        return m_roChip.Board().OscillatorKhz();
    }
    return OutputKhz(SourceSynthesizer(uiClkCtl));   // external video clocks: none on this board
}

bool CQelSimChipClocks::DomainOnSystemSynthesizer(MUINT32 uiClkCtlRegister) const
{
    const MUINT32 uiSynthesizer = SourceSynthesizer(m_roChip.Board().PeekReg(uiClkCtlRegister));
    return uiSynthesizer < 3 && IsLocked(uiSynthesizer);
}

MUINT32 CQelSimChipClocks::OnRead(CQelSimBoard&, MUINT32 uiOffset, MUINT32 uiStored, MUINT32)
{
    bool bRegisterB = false;
    const MUINT32 uiSynthesizer = SynthesizerAt(uiOffset, bRegisterB);
    if (uiSynthesizer < msc_uiSynthesizerCount && IsLocked(uiSynthesizer))
    {
        return uiStored | (bRegisterB ? FS_B_LOCKED : FS_A_LOCKED);
    }
    return uiStored;
}

MUINT32 CQelSimChipClocks::OnWrite(CQelSimBoard&, MUINT32 uiOffset, MUINT32, MUINT32 uiWritten, MUINT32)
{
    bool bRegisterB = false;
    const MUINT32 uiSynthesizer = SynthesizerAt(uiOffset, bRegisterB);
    MUINT32 uiKept = uiWritten;
    if (uiSynthesizer < msc_uiSynthesizerCount)
    {
        SSynthesizer& roSynthesizer = m_aoSynthesizers[uiSynthesizer];
        uiKept &= ~(bRegisterB ? FS_B_LOCKED : FS_A_LOCKED);
        if (!bRegisterB)
        {
            const bool bReset = (uiKept & FS_A_RESET) != 0;
            roSynthesizer.bReleased = roSynthesizer.bReleased || (roSynthesizer.bInReset && !bReset);
            roSynthesizer.bInReset = bReset;
        }
        roSynthesizer.uiLockAtUs = m_roChip.NowUs() + msc_uiLockUs;
    }
    // The cell must hold the new value before the chip looks at the clocks again.
    m_roChip.Board().PokeReg(uiOffset, uiKept);
    m_roChip.OnClocksChanged();
    return uiKept;
}
