#include "XDevEeprom_Hb4.h"

#include "Hb4RegEeprom.h"
#include "OsServices.h"
#include "QelAssert.h"
#include "XHwAccess.h"
#include "XServicesCore.h"
#include "XTracesReg.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_BYPASS_NOT_READ_FOR_UPDATE = 47,
    REPORT_BYPASS_NOT_WRITTEN         = 59,
    REPORT_DATA_OUT_NOT_READ          = 87,
    REPORT_GRANT_POLL_NOT_READ        = 109,
    REPORT_BUS_NOT_GRANTED            = 119,
    REPORT_BAD_ADDRESS_SIZE           = 200,
    REPORT_STATUS_POLL_FAILED         = 259,
    REPORT_STILL_BUSY                 = 267,
    REPORT_MODIFY_STEP_FAILED         = 285,
    REPORT_READ_NO_INSTRUCTION        = 297,
    REPORT_READ_NULL_BUFFER           = 302,
    REPORT_READ_FAILED                = 316,
    REPORT_PROTECT_UNIDENTIFIED_PART  = 387,
    REPORT_PROTECTION_NOT_WRITTEN     = 394,
    REPORT_BEGIN_UNPROTECT_FAILED     = 412,
    REPORT_BEGIN_SOFT_COM_FAILED      = 419,
    REPORT_END_MODIFY_FAILED          = 434,
    REPORT_END_PROTECT_FAILED         = 440,
    REPORT_WRITE_REFUSED              = 458,
    REPORT_ERASE_REFUSED              = 488,
};
}  // namespace

using namespace Hb4RegEeprom;

XDevEepromHb4::XDevEepromHb4(XServicesCore& roServicesCore)
    : XDevEepromHb4(roServicesCore.m_roOsServices, roServicesCore.m_roHwAccess, roServicesCore.m_roTracesReg)
{
}

XDevEepromHb4::XDevEepromHb4(OsServices& roOsServices, XHwAccess& roHwAccess)
    : XDevEepromHb4(roOsServices, roHwAccess, roHwAccess.m_roReg)
{
}

XDevEepromHb4::XDevEepromHb4(OsServices& roOsServices, XHwAccess& roHwAccess, XRegAccess& roRegAccess)
    : XDevEeprom(roOsServices),
      m_roHwAccess(roHwAccess),
      m_roRegAccess(roRegAccess),
      m_uiBusyPolls(msc_uiBusyPolls),
      m_uiStatusWritePolls(msc_uiStatusWritePolls)
{
}

// ---- Bus primitives.
//
// Each line change reads the bypass register, changes its one bit and writes the register back
// only when that bit must change. No delay is inserted between clock edges: the read before each
// edge is a round trip over PCI Express, and it is what paces the clock. It also makes every
// write reach the chip before the next one is issued, so logic that samples the register in a
// slower clock domain sees each level the flash must see.

LStatus XDevEepromHb4::UpdateBypass(MUINT32 uiMask, MBOOL32 bSet)
{
    MUINT32 uiValue = 0;
    LStatus iStatus = m_roRegAccess.Read(HST_EEPROMBYP, uiValue);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BYPASS_NOT_READ_FOR_UPDATE);
        return iStatus;
    }
    const MUINT32 uiNew = bSet ? (uiValue | uiMask) : (uiValue & ~uiMask);
    if (uiNew == uiValue)
    {
        return 0;
    }
    iStatus = m_roRegAccess.Write(HST_EEPROMBYP, uiNew);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BYPASS_NOT_WRITTEN);
        return iStatus;
    }
    return 0;
}

LStatus XDevEepromHb4::SetClock(MBOOL32 bHigh)
{
    return UpdateBypass(uE2pbypclk, bHigh);
}

LStatus XDevEepromHb4::SetDataIn(MBOOL32 bHigh)
{
    return UpdateBypass(uE2pbypd, bHigh);
}

LStatus XDevEepromHb4::SetChipSelect(MBOOL32 bLevel)
{
    return UpdateBypass(uE2pbypcsn0, bLevel);
}

LStatus XDevEepromHb4::GetDataOut(MBOOL32& rbHigh)
{
    MUINT32 uiValue = 0;
    const LStatus iStatus = m_roRegAccess.Read(HST_EEPROMBYP, uiValue);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_DATA_OUT_NOT_READ);
        return iStatus;
    }
    rbHigh = (uiValue & uE2pq) != 0 ? TRUE : FALSE;
    return 0;
}

LStatus XDevEepromHb4::SetStateMachine(MBOOL32 bRequest)
{
    LStatus iStatus = UpdateBypass(uE2pbyp, bRequest);
    if (iStatus < 0 || !bRequest)
    {
        return iStatus;
    }
    for (MUINT32 uiPoll = 0; uiPoll < msc_uiGrantPolls; ++uiPoll)
    {
        MUINT32 uiValue = 0;
        iStatus = m_roRegAccess.Read(HST_EEPROMBYP, uiValue);
        if (iStatus < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_GRANT_POLL_NOT_READ);
            return iStatus;
        }
        if ((uiValue & uE2pgnt) != 0)
        {
            return 0;
        }
        OsServices::WaitMicroSeconds(1);
    }
    // The engine kept the bus: withdraw the request so that it is not granted later, to nobody.
    m_oDetectOutcome.bBusNotGranted = TRUE;
    QEL_ASSERT_REPORT_AT(REPORT_BUS_NOT_GRANTED);
    UpdateBypass(uE2pbyp, FALSE);
    return -1;
}

LStatus XDevEepromHb4::EnableSoftCom(MBOOL32 bEnable)
{
    if (!bEnable)
    {
        return SetStateMachine(FALSE);
    }
    LStatus iStatus = SetClock(FALSE);
    if (iStatus >= 0)
    {
        iStatus = SetChipSelect(msc_bCSInactive);
    }
    if (iStatus >= 0)
    {
        iStatus = SetStateMachine(TRUE);
    }
    if (iStatus >= 0)
    {
        iStatus = SetClock(TRUE);
    }
    return iStatus;
}

LStatus XDevEepromHb4::SendByte(MUINT8 ui8Byte)
{
    // Mode 0: the flash samples the data line on the rising edge.
    for (MUINT32 uiBit = 8; uiBit-- > 0;)
    {
        LStatus iStatus = SetClock(FALSE);
        if (iStatus >= 0)
        {
            iStatus = SetDataIn((ui8Byte >> uiBit) & 1);
        }
        if (iStatus >= 0)
        {
            iStatus = SetClock(TRUE);
        }
        if (iStatus < 0)
        {
            return iStatus;
        }
    }
    return 0;
}

LStatus XDevEepromHb4::ReceiveByte(MUINT8& rui8Byte)
{
    // The flash shifts its next bit out on the falling edge; it is stable after the rising one.
    MUINT8 ui8Byte = 0;
    for (MUINT32 uiBit = 0; uiBit < 8; ++uiBit)
    {
        MBOOL32 bHigh = FALSE;
        LStatus iStatus = SetClock(FALSE);
        if (iStatus >= 0)
        {
            iStatus = SetClock(TRUE);
        }
        if (iStatus >= 0)
        {
            iStatus = GetDataOut(bHigh);
        }
        if (iStatus < 0)
        {
            return iStatus;
        }
        ui8Byte = (MUINT8)((ui8Byte << 1) | (bHigh ? 1 : 0));
    }
    rui8Byte = ui8Byte;
    return 0;
}

LStatus XDevEepromHb4::SendAddress(MUINT32 uiAddressSize, MUINT32 uiAddress)
{
    if (uiAddressSize == 0 || uiAddressSize > msc_uiMaxAddressSize)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BAD_ADDRESS_SIZE);
        return -1;
    }
    for (MUINT32 uiByte = uiAddressSize; uiByte-- > 0;)
    {
        const LStatus iStatus = SendByte((MUINT8)(uiAddress >> (8 * uiByte)));
        if (iStatus < 0)
        {
            return iStatus;
        }
    }
    return 0;
}

LStatus XDevEepromHb4::Transaction(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Out,
                                   MUINT32 uiOutCount, MUINT8* pui8In, MUINT32 uiInCount, MUINT32 uiTurnaroundUs)
{
    LStatus iStatus = SetChipSelect(msc_bCSActive);
    if (iStatus >= 0)
    {
        iStatus = SendByte(ui8Inst);
    }
    if (iStatus >= 0 && uiAddressSize != 0)
    {
        iStatus = SendAddress(uiAddressSize, uiAddress);
    }
    for (MUINT32 uiIndex = 0; iStatus >= 0 && uiIndex < uiOutCount; ++uiIndex)
    {
        iStatus = SendByte(pui8Out[uiIndex]);
    }
    if (iStatus >= 0 && uiTurnaroundUs != 0)
    {
        OsServices::WaitMicroSeconds(uiTurnaroundUs);
    }
    for (MUINT32 uiIndex = 0; iStatus >= 0 && uiIndex < uiInCount; ++uiIndex)
    {
        iStatus = ReceiveByte(pui8In[uiIndex]);
    }
    if (iStatus >= 0)
    {
        iStatus = SetChipSelect(msc_bCSInactive);
    }
    return iStatus;
}

LStatus XDevEepromHb4::SendInstruction(MUINT8 ui8Inst)
{
    return Transaction(ui8Inst, 0, 0, nullptr, 0, nullptr, 0, 0);
}

LStatus XDevEepromHb4::WaitWhileBusy(MUINT32 uiPolls)
{
    for (MUINT32 uiPoll = 0; uiPoll < uiPolls; ++uiPoll)
    {
        MUINT8 ui8Status = 0;
        const LStatus iStatus =
            Transaction(INST_READ_STATUS, 0, 0, nullptr, 0, &ui8Status, 1, msc_uiStatusPollDelayUs);
        if (iStatus < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_STATUS_POLL_FAILED);
            return iStatus;
        }
        if ((ui8Status & INST_STATUS_READY) == 0)
        {
            return 0;
        }
    }
    QEL_ASSERT_REPORT_AT(REPORT_STILL_BUSY);
    return -1;
}

LStatus XDevEepromHb4::ModifyStep(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Data,
                                  MUINT32 uiCount)
{
    LStatus iStatus = SendInstruction(m_ui8WriteEnable);
    if (iStatus >= 0)
    {
        iStatus = Transaction(ui8Inst, uiAddressSize, uiAddress, pui8Data, uiCount, nullptr, 0, 0);
    }
    if (iStatus >= 0)
    {
        iStatus = WaitWhileBusy(m_uiBusyPolls);
    }
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_MODIFY_STEP_FAILED);
    }
    return iStatus;
}

// ---- Transactions.

LStatus XDevEepromHb4::Read(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, MUINT8* pui8Buffer,
                            MUINT32 uiCount)
{
    if (ui8Inst == INST_NONE)
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_NO_INSTRUCTION);
        return -1;
    }
    if (pui8Buffer == nullptr && uiCount != 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_NULL_BUFFER);
        return -2;
    }
    LStatus iStatus = EnableSoftCom(TRUE);
    if (iStatus >= 0)
    {
        iStatus = Transaction(ui8Inst, uiAddressSize, uiAddress, nullptr, 0, pui8Buffer, uiCount, 0);
    }
    if (iStatus >= 0)
    {
        iStatus = EnableSoftCom(FALSE);
    }
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_FAILED);
        // Best effort: a chip select left low would swallow the next instruction, and a bus left
        // requested keeps the chip's own engine away from its EEPROM.
        SetChipSelect(msc_bCSInactive);
        EnableSoftCom(FALSE);
        return iStatus;
    }
    return 0;
}

LStatus XDevEepromHb4::SetHwProtection(MBOOL32 bOn)
{
    MUINT32 uiValue = 0;
    if (m_roRegAccess.Read(HST_EEPROMWP, uiValue) >= 0)
    {
        uiValue = (bOn ? (uiValue | uE2wp) : (uiValue & ~uE2wp)) | uE2wpchg;
        m_roRegAccess.Write(HST_EEPROMWP, uiValue);
    }
    return 0;
}

LStatus XDevEepromHb4::WriteProtectionStatus(MBOOL32 bOn)
{
    MUINT32 uiValue = 0;
    LStatus iStatus = m_roRegAccess.Read(HST_EEPROMBYP, uiValue);
    if (iStatus >= 0 && (uiValue & uE2pbyp) == 0)
    {
        iStatus = SetClock(FALSE);
        if (iStatus >= 0)
        {
            iStatus = SetClock(TRUE);
        }
        if (iStatus >= 0)
        {
            iStatus = SetStateMachine(TRUE);
        }
    }
    if (iStatus < 0)
    {
        return iStatus;
    }
    if (!bOn)
    {
        // The flash refuses a status write while its write-protect pin is held.
        SetHwProtection(FALSE);
    }
    const MUINT8 ui8Status = bOn ? m_ui8ChipWriteProtect : 0;
    iStatus = SendInstruction(m_ui8WriteEnable);
    if (iStatus >= 0)
    {
        iStatus = Transaction(INST_WRITE_STATUS, 0, 0, &ui8Status, 1, nullptr, 0, 0);
    }
    if (iStatus >= 0)
    {
        iStatus = WaitWhileBusy(m_uiStatusWritePolls);
    }
    if (iStatus >= 0)
    {
        // One more status read, whose value is not needed, before the bus goes back.
        MUINT8 ui8Ignored = 0;
        iStatus = Transaction(INST_READ_STATUS, 0, 0, nullptr, 0, &ui8Ignored, 1, 0);
    }
    return iStatus;
}

LStatus XDevEepromHb4::SetProtection(MBOOL32 bOn)
{
    if (bOn && m_ui8ChipWriteProtect == 0)
    {
        // The part is not identified: its protection value is unknown, and a status write of 0
        // would lift the protection it has.
        QEL_ASSERT_REPORT_AT(REPORT_PROTECT_UNIDENTIFIED_PART);
        SetHwProtection(TRUE);
        return -1;
    }
    LStatus iStatus = WriteProtectionStatus(bOn);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PROTECTION_NOT_WRITTEN);
        // A step may have failed with the flash selected: end its transaction first.
        SetChipSelect(msc_bCSInactive);
    }
    // The bus goes back to the chip's engine whether or not the host held it before.
    const LStatus iRelease = SetStateMachine(FALSE);
    if (bOn)
    {
        SetHwProtection(TRUE);
    }
    return iStatus < 0 ? iStatus : iRelease;
}

LStatus XDevEepromHb4::BeginModify()
{
    LStatus iStatus = SetProtection(FALSE);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BEGIN_UNPROTECT_FAILED);
        SetProtection(TRUE);
        return iStatus;
    }
    iStatus = EnableSoftCom(TRUE);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BEGIN_SOFT_COM_FAILED);
        return AbortModify(iStatus);
    }
    return 0;
}

LStatus XDevEepromHb4::EndModify()
{
    LStatus iStatus = SendInstruction(INST_WRITE_DISABLE);
    if (iStatus >= 0)
    {
        iStatus = EnableSoftCom(FALSE);
    }
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_END_MODIFY_FAILED);
        return AbortModify(iStatus);
    }
    iStatus = SetProtection(TRUE);
    if (iStatus < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_END_PROTECT_FAILED);
    }
    return iStatus;
}

LStatus XDevEepromHb4::AbortModify(LStatus iStatus)
{
    SetChipSelect(msc_bCSInactive);
    SetProtection(TRUE);
    return iStatus;
}

LStatus XDevEepromHb4::Write(MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount)
{
    // Only an identified part is programmed: its address size and instructions are known.
    if (pui8Data == nullptr || uiCount == 0 || m_ui8WriteInst == INST_NONE || m_ui8WriteEnable == INST_NONE ||
        m_uiWritePageSize == 0 || m_uiMemSize == 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_WRITE_REFUSED);
        SetProtection(TRUE);
        return -1;
    }
    LStatus iStatus = BeginModify();
    if (iStatus < 0)
    {
        return iStatus;
    }
    // Chunks of one page each, counted from the start address.
    for (MUINT32 uiDone = 0; uiDone < uiCount; uiDone += m_uiWritePageSize)
    {
        const MUINT32 uiChunk = uiCount - uiDone < m_uiWritePageSize ? uiCount - uiDone : m_uiWritePageSize;
        iStatus = ModifyStep(m_ui8WriteInst, uiAddressSize, uiAddress + uiDone, pui8Data + uiDone, uiChunk);
        if (iStatus < 0)
        {
            return AbortModify(iStatus);
        }
    }
    return EndModify();
}

LStatus XDevEepromHb4::Erase(ECommonInst eInst, MUINT32 uiAddress, MUINT32 uiSize)
{
    const MUINT32 uiBlock = GetEraseInstructionSize(eInst);
    const bool bChipErase = eInst == INST_BULK_ERASE || eInst == INST_CHIP_ERASE_SST;
    // Only an identified part is erased, and only within it.
    if (uiBlock == ERASE_SIZE_NONE || m_uiMemSize == 0 || uiSize == 0 || uiAddress % uiBlock != 0 ||
        m_ui8WriteEnable == INST_NONE || uiAddress >= m_uiMemSize || uiSize > m_uiMemSize - uiAddress)
    {
        QEL_ASSERT_REPORT_AT(REPORT_ERASE_REFUSED);
        return -1;
    }
    LStatus iStatus = BeginModify();
    if (iStatus < 0)
    {
        return iStatus;
    }
    const MUINT32 uiBlocks = uiSize / uiBlock + (uiSize % uiBlock != 0 ? 1 : 0);
    for (MUINT32 uiIndex = 0; uiIndex < uiBlocks; ++uiIndex)
    {
        // A chip erase takes no address.
        iStatus = ModifyStep(eInst, bChipErase ? 0 : m_uiAddressSize, uiAddress + uiIndex * uiBlock, nullptr, 0);
        if (iStatus < 0)
        {
            return AbortModify(iStatus);
        }
    }
    return EndModify();
}
