#include "QelVxdSimChipMemCtl.h"

#include "QelVxdSimBoard.h"
#include "QelVxdSimChip.h"

using namespace QelSimChip;

namespace
{
// Interleave mode that the configuration register holds for a set of PHYs: 0 one PHY, 1 two, 2 four.
MUINT32 InterleaveModeOf(MUINT32 uiPhys)
{
    const int iCount = __builtin_popcount(uiPhys);
    return iCount == 4 ? 2 : iCount == 2 ? 1 : 0;
}
}  // namespace

void CQelSimChipMemCtl::Attach()
{
    CQelSimRegisterFile& roRegisters = m_roChip.Board().Registers();
    roRegisters.Attach(RegMEM_CTL0, 4, this);
    roRegisters.Attach(RegMEM_STATUS1, 4, this);
    roRegisters.Attach(REG_PHY_FIRST, PHY_RANGE_SIZE, this);
}

void CQelSimChipMemCtl::PowerOn()
{
    CQelSimBoard& roBoard = m_roChip.Board();
    for (MUINT32 uiOffset = REG_MEMCTL_FIRST; uiOffset < REG_MEMCTL_END; uiOffset += 4)
    {
        roBoard.PokeReg(uiOffset, 0);
    }
    for (MUINT32 uiOffset = REG_PHY_FIRST; uiOffset < REG_PHY_FIRST + PHY_RANGE_SIZE; uiOffset += 4)
    {
        roBoard.PokeReg(uiOffset, 0);
    }
    for (SPhy& roPhy : m_aoPhys)
    {
        roPhy = SPhy{};
    }
    m_uiStatusReads = 0;
}

void CQelSimChipMemCtl::StartRunning()
{
    const MUINT32 uiFitted = m_roChip.Board().PhyMask() & PHY_MASK;
    m_roChip.Board().PokeReg(RegMEM_CONFIG, (uiFitted << MEM_CONFIG_PHY_SHIFT) | InterleaveModeOf(uiFitted));
    if (!m_roChip.MemoryClocksRunning())
    {
        return;
    }
    // An earlier process polled the training to its end.
    m_uiStatusReads = msc_uiPolledOut;
    for (MUINT32 uiPhy = 0; uiPhy < PHY_COUNT; uiPhy++)
    {
        if ((uiFitted & (1u << uiPhy)) != 0)
        {
            m_aoPhys[uiPhy].uiDoneAtUs = m_roChip.NowUs();
            m_aoPhys[uiPhy].uiStatusReads = msc_uiPolledOut;
        }
    }
}

void CQelSimChipMemCtl::LoseTraining()
{
    for (SPhy& roPhy : m_aoPhys)
    {
        roPhy.uiDoneAtUs = msc_uiNotStarted;
    }
}

MUINT32 CQelSimChipMemCtl::SelectedPhys() const { return m_roChip.Board().PeekReg(RegMEM_PHYSELECT) & PHY_MASK; }

MUINT32 CQelSimChipMemCtl::ControllerPhys() const
{
    return (m_roChip.Board().PeekReg(RegMEM_CONFIG) >> MEM_CONFIG_PHY_SHIFT) & PHY_MASK;
}

bool CQelSimChipMemCtl::PhyDone(MUINT32 uiPhy) const
{
    const CQelSimBoard& roBoard = m_roChip.Board();
    const MUINT32 uiBit = 1u << uiPhy;
    return uiPhy < PHY_COUNT && (roBoard.PhyMask() & uiBit) != 0 && (roBoard.Faults().uiPhyNotDone & uiBit) == 0 &&
           m_aoPhys[uiPhy].uiDoneAtUs != msc_uiNotStarted && m_roChip.NowUs() >= m_aoPhys[uiPhy].uiDoneAtUs &&
           PolledEnough(m_aoPhys[uiPhy].uiStatusReads);
}

bool CQelSimChipMemCtl::PolledEnough(MUINT32 uiReads) const
{
    return uiReads >= m_roChip.Board().Faults().uiTrainingPolls;
}

bool CQelSimChipMemCtl::PhyTrained(MUINT32 uiPhy) const
{
    return PhyDone(uiPhy) && (m_roChip.Board().Faults().uiPhyError & (1u << uiPhy)) == 0;
}

bool CQelSimChipMemCtl::AnyTrainingStarted() const
{
    for (const SPhy& roPhy : m_aoPhys)
    {
        if (roPhy.uiDoneAtUs != msc_uiNotStarted)
        {
            return true;
        }
    }
    return false;
}

bool CQelSimChipMemCtl::ControllerReady() const
{
    const MUINT32 uiPhys = ControllerPhys();
    if (uiPhys == 0 || m_roChip.Board().Faults().bControllerNotReady || !m_roChip.MemoryClocksRunning() ||
        !PolledEnough(m_uiStatusReads))
    {
        return false;
    }
    for (MUINT32 uiPhy = 0; uiPhy < PHY_COUNT; uiPhy++)
    {
        if ((uiPhys & (1u << uiPhy)) != 0 && !PhyTrained(uiPhy))
        {
            return false;
        }
    }
    return true;
}

MUINT32 CQelSimChipMemCtl::PhyStatus(MUINT32 uiPhy) const
{
    const MUINT32 uiStored = m_aoPhys[uiPhy].auiRegisters[(RegMPHY_PGSR0 - REG_PHY_FIRST) / 4];
    if (!PhyDone(uiPhy))
    {
        return uiStored & ~PHY_PGSR0_DONE;
    }
    const bool bError = (m_roChip.Board().Faults().uiPhyError & (1u << uiPhy)) != 0;
    return uiStored | PHY_PGSR0_DONE | (bError ? PHY_PGSR0_ERROR : 0);
}

MUINT32 CQelSimChipMemCtl::OnRead(CQelSimBoard&, MUINT32 uiOffset, MUINT32 uiStored, MUINT32)
{
    if (uiOffset == RegMEM_STATUS1)
    {
        CountStatusRead(m_uiStatusReads);
        if (ControllerReady())
        {
            return MEM_STATUS1_READY;
        }
        return AnyTrainingStarted() ? MEM_STATUS1_BUSY : 0;
    }
    if (uiOffset < REG_PHY_FIRST)
    {
        return uiStored;
    }
    // The lowest selected PHY answers.
    const MUINT32 uiSelected = SelectedPhys();
    if (uiSelected == 0)
    {
        return 0;
    }
    const MUINT32 uiPhy = (MUINT32)__builtin_ctz(uiSelected);
    if (uiOffset != RegMPHY_PGSR0)
    {
        return m_aoPhys[uiPhy].auiRegisters[(uiOffset - REG_PHY_FIRST) / 4];
    }
    CountStatusRead(m_aoPhys[uiPhy].uiStatusReads);
    return PhyStatus(uiPhy);
}

MUINT32 CQelSimChipMemCtl::OnWrite(CQelSimBoard&, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten, MUINT32)
{
    if (uiOffset == RegMEM_STATUS1)
    {
        return uiStored;   // read only
    }
    if (uiOffset == RegMEM_CTL0)
    {
        if (ControllerReady())
        {
            m_roChip.SetMemoryUp(true);
        }
        return uiWritten;
    }
    const MUINT32 uiSelected = SelectedPhys();
    const MUINT32 uiIndex = (uiOffset - REG_PHY_FIRST) / 4;
    const bool bStart = uiOffset == RegMPHY_PIR && (uiWritten & PHY_PIR_INIT) != 0;
    for (MUINT32 uiPhy = 0; uiPhy < PHY_COUNT; uiPhy++)
    {
        if ((uiSelected & (1u << uiPhy)) == 0)
        {
            continue;
        }
        SPhy& roPhy = m_aoPhys[uiPhy];
        if (uiOffset != RegMPHY_PGSR0)
        {
            roPhy.auiRegisters[uiIndex] = uiWritten;
        }
        if (bStart)
        {
            // Training needs the memory clocks; without them the PHY never completes.
            roPhy.uiDoneAtUs = m_roChip.MemoryClocksRunning() ? m_roChip.NowUs() + msc_uiTrainingUs : msc_uiNotStarted;
            roPhy.uiStatusReads = 0;
        }
    }
    if (bStart && uiSelected != 0)
    {
        m_uiStatusReads = 0;
        m_roChip.SetMemoryUp(false);   // retraining takes the memory away from its clients
    }
    return uiWritten;
}
