#include "QelVxdSimEepromBus.h"

#include "QelVxdSimBoard.h"

using namespace QelSimEeprom;

namespace
{
// One step of a 32-bit xorshift generator: the same sequence on every host, so that a run with
// bit errors is reproducible.
MUINT32 NextRandom(MUINT32& ruiState)
{
    ruiState ^= ruiState << 13;
    ruiState ^= ruiState >> 17;
    ruiState ^= ruiState << 5;
    return ruiState;
}
}  // namespace

CQelSimEepromBus::CQelSimEepromBus(CQelSimBoard& roBoard)
    : m_bGrantNever(roBoard.Faults().bGrantNever), m_uiOutStuck(roBoard.Faults().uiFlashOutStuck),
      m_uiBitErrors(roBoard.Faults().uiFlashBitErrors),
      m_uiErrorSeed(0x9E3779B9u ^ (MUINT32)roBoard.Location()),   // never 0, which xorshift keeps
      m_bInverted(false), m_oFlash(roBoard), m_bClock(false), m_bChipSelectN(true), m_uiBusRequests(0)
{
}

bool CQelSimEepromBus::DataOutLine() const
{
    if (m_uiOutStuck != QELSIM_FAULT_NONE)
    {
        return m_uiOutStuck != 0;
    }
    return m_oFlash.DataOut() != m_bInverted;
}

MUINT32 CQelSimEepromBus::OnRead(CQelSimBoard&, MUINT32, MUINT32 uiStored, MUINT32)
{
    MUINT32 uiValue = uiStored & ~BYPASS_READ_ONLY;
    if (Granted(uiStored))
    {
        uiValue |= BYPASS_GRANT;
    }
    if (DataOutLine())
    {
        uiValue |= BYPASS_DATA_OUT;
    }
    return uiValue;
}

MUINT32 CQelSimEepromBus::OnWrite(CQelSimBoard&, MUINT32, MUINT32 uiStored, MUINT32 uiWritten, MUINT32)
{
    const MUINT32 uiNew = uiWritten & ~BYPASS_READ_ONLY;
    if ((uiNew & ~uiStored & BYPASS_REQUEST) != 0)
    {
        ++m_uiBusRequests;
    }
    const bool bGranted     = Granted(uiNew);
    const bool bClock       = bGranted && (uiNew & BYPASS_CLOCK) != 0;
    const bool bChipSelectN = !bGranted || (uiNew & BYPASS_CS0_N) != 0;
    const bool bDataIn      = (uiNew & BYPASS_DATA_IN) != 0;
    if (bChipSelectN != m_bChipSelectN)
    {
        DriveSelectChange(bClock, bChipSelectN, bDataIn);
    }
    else if (bClock != m_bClock)
    {
        // Nearly every write of a transaction: one clock edge, chip select held.
        DriveClock(bClock, bDataIn);
    }
    return uiNew;
}

void CQelSimEepromBus::DriveClock(bool bClock, bool bDataIn)
{
    if (bClock)
    {
        m_oFlash.ClockRise(bDataIn);
    }
    else
    {
        m_oFlash.ClockFall();
        // The flash drives its next bit now; a faulty line may invert it.
        m_bInverted = m_uiBitErrors != 0 && NextRandom(m_uiErrorSeed) % m_uiBitErrors == 0;
    }
    m_bClock = bClock;
}

void CQelSimEepromBus::DriveSelectChange(bool bClock, bool bChipSelectN, bool bDataIn)
{
    // Lines that change together: a falling chip select comes first and a rising one last, so
    // that a clock edge in the same write still belongs to the transaction.
    if (!bChipSelectN)
    {
        m_oFlash.Select();
    }
    if (bClock != m_bClock)
    {
        DriveClock(bClock, bDataIn);
    }
    if (bChipSelectN)
    {
        m_oFlash.Deselect();
        m_bInverted = false;   // a deselected flash does not drive the line
    }
    m_bChipSelectN = bChipSelectN;
}

void QelVxdSim_AttachEepromBus(CQelSimBoard& roBoard)
{
    roBoard.PokeReg(HST_EEPROMBYP, BYPASS_POWER_ON);
    roBoard.AddBehaviour<CQelSimEepromBus>(HST_EEPROMBYP, 4, roBoard);
}

CQelSimEepromBus* QelVxdSim_EepromBus(const CQelSimBoard& roBoard)
{
    return dynamic_cast<CQelSimEepromBus*>(roBoard.Registers().BehaviourAt(HST_EEPROMBYP));
}
