#include "QelVxdSimSpiFlash.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "QelVxdSimBoard.h"
#include "QelVxdSimEepromBus.h"

namespace
{
// Instructions common to every part of the table.
constexpr MUINT8 INST_WRITE_STATUS    = 0x01;
constexpr MUINT8 INST_READ            = 0x03;
constexpr MUINT8 INST_WRITE_DISABLE   = 0x04;
constexpr MUINT8 INST_READ_STATUS     = 0x05;
constexpr MUINT8 INST_ID_PRODUCT      = 0x15;
constexpr MUINT8 INST_ERASE_4K        = 0x20;
constexpr MUINT8 INST_ERASE_32K       = 0x52;
constexpr MUINT8 INST_CHIP_ERASE_ALT  = 0x60;
constexpr MUINT8 INST_ID_MANUFACTURER = 0x90;
constexpr MUINT8 INST_ID_JEDEC        = 0x9E;
constexpr MUINT8 INST_CHIP_ERASE      = 0xC7;
constexpr MUINT8 INST_ERASE_64K       = 0xD8;

constexpr MUINT32 ADDRESS_BYTES = 3;

const MUINT8 s_aucErased[CQelSimSpiFlash::PAGE_SIZE] = {
#define QELSIM_FF8 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF
#define QELSIM_FF64 QELSIM_FF8, QELSIM_FF8, QELSIM_FF8, QELSIM_FF8, QELSIM_FF8, QELSIM_FF8, QELSIM_FF8, QELSIM_FF8
    QELSIM_FF64,
    QELSIM_FF64,
    QELSIM_FF64,
    QELSIM_FF64,
#undef QELSIM_FF64
#undef QELSIM_FF8
};
}  // namespace

CQelSimSpiFlash::CQelSimSpiFlash(CQelSimBoard& roBoard)
    : m_roBoard(roBoard), m_roChip(roBoard.FlashChip()), m_bStuckBusy(roBoard.Faults().bFlashStuckBusy),
      m_ucStatus(POWER_ON_STATUS), m_uiBusyReadsLeft(0), m_bBusyCanStick(false), m_bSelected(false), m_bDataOut(true),
      m_uiBits(0), m_ucShiftIn(0), m_uiBytes(0), m_eOp(EOp::Ignored), m_uiInputBytes(0), m_uiAddress(0),
      m_uiOutputIndex(0), m_ucShiftOut(0xFF), m_uiOutBits(0), m_ucNewStatus(0), m_aucPage(), m_auiPageLoaded()
{
}

void CQelSimSpiFlash::Select()
{
    m_bSelected     = true;
    m_bDataOut      = true;
    m_uiBits        = 0;
    m_ucShiftIn     = 0;
    m_uiBytes       = 0;
    m_eOp           = EOp::Ignored;
    m_uiInputBytes  = 0;
    m_uiAddress     = 0;
    m_uiOutputIndex = 0;
    m_uiOutBits     = 0;
}

void CQelSimSpiFlash::Deselect()
{
    if (!m_bSelected)
    {
        return;
    }
    m_bSelected = false;
    m_bDataOut  = true;
    ++m_oCounters.uiTransactions;
    if (m_uiBits % 8 != 0)
    {
        ++m_oCounters.uiChipSelectMidByte;
        Note("flash: chip select raised after %u bits of a byte: instruction ignored", m_uiBits % 8);
        return;
    }
    Execute();
}

void CQelSimSpiFlash::ClockRise(bool bDataIn)
{
    if (!m_bSelected)
    {
        return;
    }
    m_ucShiftIn = (MUINT8)((m_ucShiftIn << 1) | (bDataIn ? 1 : 0));
    if (++m_uiBits % 8 == 0)
    {
        OnByte(m_ucShiftIn);
    }
}

void CQelSimSpiFlash::ClockFall()
{
    if (!m_bSelected)
    {
        return;
    }
    if (m_uiBytes < m_uiInputBytes || m_eOp == EOp::Ignored || m_uiInputBytes == 0)
    {
        m_bDataOut = true;
        return;
    }
    if (m_uiOutBits == 0)
    {
        m_ucShiftOut = NextOutputByte();
        m_uiOutBits  = 8;
    }
    --m_uiOutBits;
    m_bDataOut = ((m_ucShiftOut >> m_uiOutBits) & 1) != 0;
}

CQelSimSpiFlash::EOp CQelSimSpiFlash::Decode(MUINT8 ucInstruction) const
{
    // The chip-specific codes first: they may replace standard ones.
    if (ucInstruction == m_roChip.ucWriteEnableInst)
    {
        return EOp::WriteEnable;
    }
    if (ucInstruction == m_roChip.ucProgramInst)
    {
        return EOp::Program;
    }
    if (m_roChip.ucReadStatus2Inst != 0 && ucInstruction == m_roChip.ucReadStatus2Inst)
    {
        return EOp::ReadStatus2;
    }
    switch (ucInstruction)
    {
    case INST_WRITE_STATUS:
        return EOp::WriteStatus;
    case INST_READ:
        return EOp::Read;
    case INST_WRITE_DISABLE:
        return EOp::WriteDisable;
    case INST_READ_STATUS:
        return EOp::ReadStatus;
    case INST_ID_PRODUCT:
        return m_roChip.oIdProduct.ucCount != 0 ? EOp::IdProduct : EOp::Ignored;
    case INST_ID_MANUFACTURER:
        return m_roChip.oIdManufacturer.ucCount != 0 ? EOp::IdManufacturer : EOp::Ignored;
    case INST_ID_JEDEC:
        return m_roChip.oIdJedec.ucCount != 0 ? EOp::IdJedec : EOp::Ignored;
    case INST_ERASE_4K:
        return EOp::Erase4K;
    case INST_ERASE_32K:
        return EOp::Erase32K;
    case INST_ERASE_64K:
        return EOp::Erase64K;
    case INST_CHIP_ERASE:
    case INST_CHIP_ERASE_ALT:
        return EOp::EraseChip;
    default:
        return EOp::Ignored;
    }
}

void CQelSimSpiFlash::OnByte(MUINT8 ucByte)
{
    const MUINT32 uiIndex = m_uiBytes++;
    if (uiIndex == 0)
    {
        m_eOp                  = Decode(ucByte);
        const bool bStatusRead = m_eOp == EOp::ReadStatus || m_eOp == EOp::ReadStatus2;
        if ((m_ucStatus & STATUS_BUSY) != 0 && !bStatusRead)
        {
            ++m_oCounters.uiWhileBusy;
            Note("flash: instruction 0x%02x while busy: ignored", ucByte);
            m_eOp = EOp::Ignored;
        }
        switch (m_eOp)
        {
        case EOp::Read:
        case EOp::IdManufacturer:
        case EOp::Program:
        case EOp::Erase4K:
        case EOp::Erase32K:
        case EOp::Erase64K:
            m_uiInputBytes = 1 + ADDRESS_BYTES;
            break;
        default:
            m_uiInputBytes = 1;
            break;
        }
        if (m_eOp == EOp::Program)
        {
            memset(m_auiPageLoaded, 0, sizeof(m_auiPageLoaded));
        }
        return;
    }
    if (uiIndex <= ADDRESS_BYTES && m_uiInputBytes > 1)
    {
        m_uiAddress = (m_uiAddress << 8) | ucByte;
        if (uiIndex == ADDRESS_BYTES)
        {
            m_uiAddress %= m_roChip.uiSize;
        }
        return;
    }
    if (m_eOp == EOp::Program)
    {
        // Data bytes fill the page from the address on and wrap within the page; a later byte
        // for the same place replaces the earlier one.
        const MUINT32 uiAt = (m_uiAddress + (uiIndex - m_uiInputBytes)) % PAGE_SIZE;
        m_aucPage[uiAt]    = ucByte;
        m_auiPageLoaded[uiAt / 64] |= 1ull << (uiAt % 64);
    }
    else if (m_eOp == EOp::WriteStatus && uiIndex == 1)
    {
        m_ucNewStatus = ucByte;
    }
}

MUINT8 CQelSimSpiFlash::NextOutputByte()
{
    const MUINT32 uiIndex = m_uiOutputIndex++;
    switch (m_eOp)
    {
    case EOp::Read: {
        const MUINT8 ucByte = m_roBoard.Flash()[m_uiAddress];
        m_uiAddress         = (m_uiAddress + 1) % m_roChip.uiSize;
        return ucByte;
    }
    case EOp::ReadStatus: {
        const MUINT8 ucStatus = m_ucStatus;
        ++m_oCounters.uiStatusReads;
        if ((m_ucStatus & STATUS_BUSY) != 0 && !(m_bBusyCanStick && m_bStuckBusy) && --m_uiBusyReadsLeft == 0)
        {
            m_ucStatus &= (MUINT8) ~(STATUS_BUSY | STATUS_WRITE_ENABLED);
        }
        return ucStatus;
    }
    case EOp::ReadStatus2:
        return 0x00;
    case EOp::IdProduct:
        return m_roChip.oIdProduct.aucBytes[uiIndex % m_roChip.oIdProduct.ucCount];
    case EOp::IdManufacturer:
        return m_roChip.oIdManufacturer.aucBytes[(uiIndex + (m_uiAddress & 1)) % 2];
    case EOp::IdJedec:
        return uiIndex < m_roChip.oIdJedec.ucCount ? m_roChip.oIdJedec.aucBytes[uiIndex] : 0xFF;
    default:
        return 0xFF;
    }
}

void CQelSimSpiFlash::Execute()
{
    switch (m_eOp)
    {
    case EOp::WriteEnable:
        m_ucStatus |= STATUS_WRITE_ENABLED;
        break;
    case EOp::WriteDisable:
        m_ucStatus &= (MUINT8)~STATUS_WRITE_ENABLED;
        break;
    case EOp::WriteStatus:
        if (m_uiBytes < 2)
        {
            break;
        }
        if ((m_ucStatus & STATUS_WRITE_ENABLED) == 0)
        {
            ++m_oCounters.uiWithoutWriteEnable;
            Note("flash: status write of 0x%02x without write enable", m_ucNewStatus);
            break;
        }
        if ((m_ucStatus & STATUS_WRITE_DISABLE) != 0 &&
            (m_roBoard.PeekReg(QelSimEeprom::HST_EEPROMWP) & QelSimEeprom::WRITE_PROTECT_LINE) != 0)
        {
            ++m_oCounters.uiRefused;
            Note("flash: status write refused: hardware write protect held");
            break;
        }
        m_ucStatus = (MUINT8)((m_ucStatus & ~STATUS_WRITABLE) | (m_ucNewStatus & STATUS_WRITABLE));
        ++m_oCounters.uiStatusWrites;
        StartBusy(BUSY_READS_STATUS_WRITE, false);
        break;
    case EOp::Program:
        if (m_uiBytes > m_uiInputBytes && MayModify("program", m_uiAddress))
        {
            Program();
        }
        break;
    case EOp::Erase4K:
    case EOp::Erase32K:
    case EOp::Erase64K:
        if (m_uiBytes >= m_uiInputBytes && MayModify("erase", m_uiAddress))
        {
            const bool b4K = m_eOp == EOp::Erase4K, b32K = m_eOp == EOp::Erase32K;
            Erase(b4K ? 4 * 1024 : b32K ? 32 * 1024 : 64 * 1024,
                  b4K ? BUSY_READS_ERASE_4K : b32K ? BUSY_READS_ERASE_32K : BUSY_READS_ERASE_64K);
        }
        break;
    case EOp::EraseChip:
        if (MayModify("chip erase", 0))
        {
            m_uiAddress = 0;
            Erase(m_roChip.uiSize, BUSY_READS_ERASE_CHIP);
        }
        break;
    default:
        break;
    }
}

bool CQelSimSpiFlash::MayModify(const char* pszWhat, MUINT32 uiAddress)
{
    if ((m_ucStatus & STATUS_WRITE_ENABLED) == 0)
    {
        ++m_oCounters.uiWithoutWriteEnable;
        Note("flash: %s at 0x%06x without write enable", pszWhat, uiAddress);
        return false;
    }
    if ((m_ucStatus & STATUS_BLOCK_PROTECT) != 0)
    {
        ++m_oCounters.uiRefused;
        Note("flash: %s at 0x%06x refused: array protected (status 0x%02x)", pszWhat, uiAddress, m_ucStatus);
        return false;
    }
    return true;
}

void CQelSimSpiFlash::Program()
{
    const MUINT32 uiPage = m_uiAddress - m_uiAddress % PAGE_SIZE;
    MUINT8 aucMerged[PAGE_SIZE];
    for (MUINT32 uiAt = 0; uiAt < PAGE_SIZE; ++uiAt)
    {
        aucMerged[uiAt] = m_roBoard.Flash()[uiPage + uiAt];
        if ((m_auiPageLoaded[uiAt / 64] >> (uiAt % 64)) & 1)
        {
            aucMerged[uiAt] &= m_aucPage[uiAt];
        }
    }
    m_roBoard.WriteFlash(uiPage, aucMerged, PAGE_SIZE);
    ++m_oCounters.uiPrograms;
    StartBusy(BUSY_READS_PROGRAM, true);
}

void CQelSimSpiFlash::Erase(MUINT32 uiBlockSize, MUINT32 uiBusyReads)
{
    const MUINT32 uiStart = m_uiAddress - m_uiAddress % uiBlockSize;
    for (MUINT32 uiAt = uiStart; uiAt < uiStart + uiBlockSize && uiAt < m_roChip.uiSize; uiAt += PAGE_SIZE)
    {
        m_roBoard.WriteFlash(uiAt, s_aucErased, PAGE_SIZE);
    }
    ++m_oCounters.uiErases;
    StartBusy(uiBusyReads, true);
}

void CQelSimSpiFlash::StartBusy(MUINT32 uiStatusReads, bool bCanStick)
{
    m_ucStatus |= STATUS_BUSY;
    m_uiBusyReadsLeft = uiStatusReads;
    m_bBusyCanStick   = bCanStick;
}

void CQelSimSpiFlash::Note(const char* pszFormat, ...)
{
    if (m_roBoard.Env().poTrace == nullptr)
    {
        return;
    }
    char szNote[128];
    va_list oArgs;
    va_start(oArgs, pszFormat);
    vsnprintf(szNote, sizeof(szNote), pszFormat, oArgs);
    va_end(oArgs);
    m_roBoard.Note(szNote);
}
