#include "QelVxdSimChip.h"

#include <cstdio>

#include "QelVxdSimBoard.h"
#include "QelVxdSimChipClocks.h"
#include "QelVxdSimChipEngines.h"
#include "QelVxdSimChipMemCtl.h"
#include "QelVxdSimChipRegs.h"
#include "QelVxdSimFaults.h"
#include "QelVxdSimPciRegs.h"

using namespace QelSimChip;

CQelSimChip* CQelSimChip::Attach(CQelSimBoard& roBoard)
{
    // The model is the second-generation chip's; a first-generation board keeps plain registers
    // and a memory that always works.
    if (!roBoard.IsSecondGeneration())
    {
        return nullptr;
    }
    CQelSimChip* poChip = roBoard.AddBehaviour<CQelSimChip>(RegCHIP_CTL, 4, roBoard);
    if (poChip == nullptr)
    {
        return nullptr;
    }
    poChip->m_poClocks = roBoard.AddBehaviour<CQelSimChipClocks>(REG_CLKCTL_FIRST, 4, *poChip);
    poChip->m_poMemCtl = roBoard.AddBehaviour<CQelSimChipMemCtl>(RegMEM_CTL0, 4, *poChip);
    poChip->m_poEngines = roBoard.AddBehaviour<CQelSimChipEngines>(RegARMA_CTL, 4, *poChip);
    if (poChip->m_poClocks == nullptr || poChip->m_poMemCtl == nullptr || poChip->m_poEngines == nullptr)
    {
        return nullptr;   // no room for the behaviours: cannot happen in a 64 KiB window
    }
    poChip->m_poClocks->Attach();
    poChip->m_poMemCtl->Attach();
    poChip->m_poEngines->Attach();

    poChip->m_poClocks->PowerOn();
    poChip->m_poMemCtl->PowerOn();
    poChip->m_poEngines->PowerOn();
    roBoard.Dram().SetContentsValid(false);
    if ((roBoard.PeekReg(RegINIT_STATUS) & INIT_STATUS_MEMORY_READY) != 0)
    {
        poChip->StartRunning();
    }
    return poChip;
}

CQelSimChip* CQelSimChip::Of(CQelSimBoard& roBoard)
{
    return dynamic_cast<CQelSimChip*>(roBoard.Registers().BehaviourAt(RegCHIP_CTL));
}

MUINT64 CQelSimChip::NowUs() const { return m_roBoard.Env().poClock->NowUs(); }

void CQelSimChip::StartRunning()
{
    m_poClocks->StartRunning();
    m_poMemCtl->StartRunning();
    if (m_poMemCtl->ControllerReady())
    {
        m_bMemoryUp = true;
        m_roBoard.Dram().SetContentsValid(true);
    }
}

bool CQelSimChip::MemoryClocksRunning() const
{
    return m_poClocks->DomainOnSystemSynthesizer(RegSYS_MBECLKCTL) &&
           m_poClocks->DomainOnSystemSynthesizer(RegSYS_MFECLKCTL);
}

void CQelSimChip::OnClocksChanged()
{
    if (!MemoryClocksRunning())
    {
        m_poMemCtl->LoseTraining();
        SetMemoryUp(false);
    }
}

void CQelSimChip::SetMemoryUp(bool bUp)
{
    CQelSimDram& roDram = m_roBoard.Dram();
    if (bUp && m_bMemoryUp)
    {
        return;   // the control word written again: still the same initialisation
    }
    if (bUp)
    {
        // Counted from 1: the first N initialisations of the memory_fail_inits fault get a memory
        // with a stuck data line.
        m_uiMemoryInits++;
        const MUINT32 uiFailing = m_roBoard.Faults().uiMemoryFailInits;
        const bool bStuck = uiFailing == QELSIM_FAULT_ALWAYS || m_uiMemoryInits <= uiFailing;
        roDram.SetStuckBits(bStuck ? STUCK_DATA_BIT : 0);
        roDram.SetContentsValid(true);
        char szNote[64];
        snprintf(szNote, sizeof(szNote), "memory up (initialisation %u%s)", (unsigned)m_uiMemoryInits,
                 bStuck ? ", data bit 13 stuck high" : "");
        m_roBoard.Note(szNote);
    }
    else if (m_bMemoryUp)
    {
        // Without refresh the DRAM forgets its contents.
        roDram.Forget();
        roDram.SetContentsValid(false);
        m_roBoard.Note("memory lost");
    }
    m_bMemoryUp = bUp;
}

void CQelSimChip::Reset(const char* pszHow)
{
    m_uiResetCount++;
    m_roBoard.Note(pszHow);
    SetMemoryUp(false);
    m_roBoard.Dram().Forget();
    m_roBoard.Dram().SetContentsValid(false);
    m_poClocks->PowerOn();
    m_poMemCtl->PowerOn();
    m_poEngines->PowerOn();
    if (m_roBoard.Faults().bDevctlUnstable)
    {
        m_roBoard.PokeConfig(QelSimPci::RegCOMMAND_STATUS,
                             m_roBoard.PeekConfig(QelSimPci::RegCOMMAND_STATUS) | CFG_STATUS_PARITY_ERROR);
    }
    if (m_roBoard.Faults().bGoneAfterReset)
    {
        m_roBoard.DropOffBus();   // the link never trains again after the reset
    }
}

void CQelSimChip::PulseResetPin() { Reset("chip reset by its reset pin"); }

MUINT32 CQelSimChip::OnWrite(CQelSimBoard& roBoard, MUINT32, MUINT32, MUINT32 uiWritten, MUINT32)
{
    // Only revision 1 resets through this register; earlier chips ignore the bit.
    if ((uiWritten & CHIP_CTL_RESET) != 0 && roBoard.ChipRevision() == 1)
    {
        Reset("chip reset by its control register");
    }
    return uiWritten & ~CHIP_CTL_RESET;
}
