#include "QelVxdSimEepromBus.h"

#include "QelVxdSimBoard.h"

using namespace QelSimEeprom;

CQelSimEepromBus::CQelSimEepromBus(CQelSimBoard& roBoard)
    : m_bGrantNever(roBoard.Faults().bGrantNever), m_oFlash(roBoard), m_bClock(false), m_bChipSelectN(true),
      m_uiBusRequests(0)
{
}

MUINT32 CQelSimEepromBus::OnRead(CQelSimBoard&, MUINT32, MUINT32 uiStored, MUINT32)
{
    MUINT32 uiValue = uiStored & ~BYPASS_READ_ONLY;
    if (Granted(uiStored))
    {
        uiValue |= BYPASS_GRANT;
    }
    if (m_oFlash.DataOut())
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
    }
    m_bChipSelectN = bChipSelectN;
}

void QelVxdSim_AttachEepromBus(CQelSimBoard& roBoard)
{
    roBoard.PokeReg(REG_BYPASS, BYPASS_POWER_ON);
    roBoard.AddBehaviour<CQelSimEepromBus>(REG_BYPASS, 4, roBoard);
}

CQelSimEepromBus* QelVxdSim_EepromBus(const CQelSimBoard& roBoard)
{
    return dynamic_cast<CQelSimEepromBus*>(roBoard.Registers().BehaviourAt(REG_BYPASS));
}
