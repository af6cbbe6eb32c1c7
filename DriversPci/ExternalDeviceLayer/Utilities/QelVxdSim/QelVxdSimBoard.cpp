#include "QelVxdSimBoard.h"

#include "QelVxdSimChipRegs.h"
#include "QelVxdSimEepromBus.h"
#include "QelVxdSimFiles.h"
#include "QelVxdSimPciRegs.h"
#include "QelVxdSimRig.h"

using namespace QelSimPci;

const std::vector<MUINT32>& CQelSimBoard::PersistentRegisters()
{
    static const std::vector<MUINT32> s_auiRegisters = {
        QelSimChip::RegINIT_STATUS,
    };
    return s_auiRegisters;
}

MUINT32 CQelSimBoard::RegisterWindowSize(MUINT32 uiIdDword)
{
    using namespace QelSimChip;
    return uiIdDword == ID_FIRST_GENERATION ? REG_WINDOW_SIZE_FIRST_GEN : REG_WINDOW_SIZE_SECOND_GEN;
}

MUINT32 CQelSimBoard::MemoryWindowSize(MUINT32 uiMemorySizeCode)
{
    return QelSimChip::MEMORY_SIZE_BY_CODE[uiMemorySizeCode & 3];
}

CQelSimBoard::CQelSimBoard(SQelSimBoardDesc&& roDesc, MUINT64 uiMemoryBase, MUINT64 uiRegisterBase,
                           SQelSimEnv& roEnv)
    : CQelSimFunction(roDesc.hLocation, EKind::Board, roEnv),
      m_uiIdDword(roDesc.uiVendorId | (roDesc.uiDeviceId << 16)),
      m_uiChipRevision(roDesc.uiChipRevision),
      m_uiMemorySizeCode(roDesc.uiMemorySizeCode),
      m_uiPhyMask(roDesc.uiPhyMask),
      m_uiOscillatorKhz(roDesc.uiOscillatorKhz),
      m_bBar64(roDesc.bBar64),
      m_oFaults(roDesc.oFaults),
      m_uiMemoryBase(uiMemoryBase),
      m_uiRegisterBase(uiRegisterBase),
      m_bMemoryDecoded(false),
      m_bRegistersDecoded(false),
      m_oRegisters(RegisterWindowSize(m_uiIdDword)),
      m_oDram(MemoryWindowSize(roDesc.uiMemorySizeCode)),
      m_poFlashChip(roDesc.poFlashChip),
      m_oFlash(std::move(roDesc.oFlash)),
      m_sFlashImagePath(roDesc.sFlashImagePath),
      m_bFlashChanged(false)
{
    DefineConfigSpace(roDesc);
    DefineRegisters(roDesc);
    ComputeDecode(m_bMemoryDecoded, m_bRegistersDecoded);
}

bool CQelSimBoard::IsSecondGeneration() const
{
    return m_uiIdDword != QelSimChip::ID_FIRST_GENERATION &&
           (m_uiIdDword & QelSimChip::ID_SECOND_GENERATION) == QelSimChip::ID_SECOND_GENERATION;
}

MUINT32 CQelSimBoard::RegisterBarOffset() const
{
    // A 64-bit memory BAR takes BARs 0 and 1; the register window then sits in BARs 2 and 3.
    return m_bBar64 ? RegBAR2 : RegBAR1;
}

void CQelSimBoard::DefineConfigSpace(const SQelSimBoardDesc& roDesc)
{
    // Firmware assigned the BARs at boot and enabled memory decoding and bus mastering.
    DefineHeader(roDesc.uiVendorId, roDesc.uiDeviceId, m_uiChipRevision, CLASS_VIDEO_CONTROLLER, 0,
                 COMMAND_MEMORY_ENABLE | COMMAND_BUS_MASTER);

    // Sized BARs: the bits below the window size are read only, so writing all ones reads back
    // the size mask. The memory window is prefetchable, the register window is not.
    const MUINT32 uiMemoryMask = ~(MemorySize() - 1) & ~BAR_FLAGS_MASK;
    const MUINT32 uiRegisterMask = ~(RegisterSize() - 1) & ~BAR_FLAGS_MASK;
    // A BAR that firmware left unassigned holds address 0 (its type bits are hardwired): the
    // board does not decode that window until software assigns it the window's address.
    const MUINT32 uiType = m_bBar64 ? BAR_TYPE_64BIT : 0;
    const MUINT64 uiMemoryAt = (m_oFaults.uiBarUnassigned & QELSIM_BAR_MEMORY) != 0 ? 0 : m_uiMemoryBase;
    const MUINT64 uiRegisterAt = (m_oFaults.uiBarUnassigned & QELSIM_BAR_REGISTERS) != 0 ? 0 : m_uiRegisterBase;
    Define(RegBAR0, (MUINT32)uiMemoryAt | uiType | BAR_PREFETCHABLE, uiMemoryMask);
    Define(RegisterBarOffset(), (MUINT32)uiRegisterAt | uiType, uiRegisterMask);
    if (m_bBar64)
    {
        Define(RegBAR1, (MUINT32)(uiMemoryAt >> 32), 0xFFFFFFFF);
        Define(RegisterBarOffset() + 4, (MUINT32)(uiRegisterAt >> 32), 0xFFFFFFFF);
    }
    m_bIgnoresConfigWrites = m_oFaults.bConfigWritesIgnored;

    Define(RegSUBSYSTEM, roDesc.uiSubsystem, 0);
    Define(RegCAP_PTR, BOARD_CAP_PM, 0);
    Define(REG_INTERRUPT, INTERRUPT_PIN_INTA, INTERRUPT_LINE_WRITABLE);
    if (!IsSecondGeneration())
    {
        Define(CfgMEM_SIZE, m_uiMemorySizeCode & CFG_MEM_SIZE_MASK, 0);
    }

    Define(BOARD_CAP_PM, CAP_ID_PM | (CAP_PCIE << CAP_NEXT_SHIFT) | PM_CAP_VERSION_3, 0);
    Define(BOARD_CAP_PM + PM_REG_CONTROL, 0, PM_CONTROL_WRITABLE);
    DefinePcieCapability(CAP_PCIE, 0, PCIE_TYPE_ENDPOINT, roDesc.uiLinkSpeed, roDesc.uiLinkWidth, 0);
    Define(CfgCHIP_CONTROL, BOARD_VENDOR_CTL_RESET, 0xFFFFFFFF);

    Define(EXT_CAP_AER, EXT_CAP_ID_AER | EXT_CAP_VERSION_1, 0);
    Define(EXT_CAP_AER + AER_UNCORR_MASK, 0, AER_UNCORR_MASK_WRITABLE);
}

void CQelSimBoard::DefineRegisters(const SQelSimBoardDesc& roDesc)
{
    using namespace QelSimChip;
    m_oRegisters.Set(RegSTRAP, (m_uiMemorySizeCode << MEMORY_SIZE_CODE_SHIFT) & MEMORY_SIZE_CODE_MASK);
    AddBehaviour<CQelSimRegReadOnlyBits>(RegSTRAP, 4, MEMORY_SIZE_CODE_MASK);
    m_oRegisters.Set(RegREVISION, (m_uiChipRevision << CHIP_REVISION_SHIFT) & CHIP_REVISION_MASK);
    AddBehaviour<CQelSimRegReadOnlyBits>(RegREVISION, 4, CHIP_REVISION_MASK);
    m_oRegisters.Set(RegINIT_STATUS, roDesc.uiMarker);
    for (MUINT32 uiOffset : PersistentRegisters())
    {
        m_oRegisters.SetPersistent(uiOffset);
    }
    QelVxdSim_AttachEepromBus(*this);
}

MUINT64 CQelSimBoard::BarAddress(MUINT32 uiBarOffset) const
{
    const MUINT64 uiLow = PeekConfig(uiBarOffset) & ~BAR_FLAGS_MASK;
    return m_bBar64 ? uiLow | ((MUINT64)PeekConfig(uiBarOffset + 4) << 32) : uiLow;
}

void CQelSimBoard::DropOffBus()
{
    if (!m_bOffBus)
    {
        m_bOffBus = true;
        Note("dropped off the bus (fault gone_after_reset)");
        UpdateDecode();
    }
}

void CQelSimBoard::ComputeDecode(bool& rbMemory, bool& rbRegisters) const
{
    const bool bEnabled = !m_bOffBus && (PeekConfig(RegCOMMAND_STATUS) & COMMAND_MEMORY_ENABLE) != 0;
    rbMemory = bEnabled && BarAddress(RegBAR0) == m_uiMemoryBase;
    rbRegisters = bEnabled && BarAddress(RegisterBarOffset()) == m_uiRegisterBase;
}

void CQelSimBoard::UpdateDecode()
{
    bool bMemory = false;
    bool bRegisters = false;
    ComputeDecode(bMemory, bRegisters);
    if (bMemory != m_bMemoryDecoded)
    {
        Note(bMemory ? "memory window decoded" : "memory window not decoded: reads give all ones");
        m_oDram.NoteDecodeChanged();
    }
    if (bRegisters != m_bRegistersDecoded)
    {
        Note(bRegisters ? "register window decoded" : "register window not decoded: reads give all ones");
    }
    m_bMemoryDecoded = bMemory;
    m_bRegistersDecoded = bRegisters;
}

void CQelSimBoard::OnConfigWritten(MUINT32 uiOffset)
{
    if (uiOffset == RegCOMMAND_STATUS || (uiOffset >= RegBAR0 && uiOffset < RegBAR0 + 4 * BAR_COUNT))
    {
        UpdateDecode();
    }
}

MUINT32 CQelSimBoard::RegRead(MUINT32 uiOffset, MUINT32 uiBytes)
{
    return m_bRegistersDecoded ? m_oRegisters.Read(*this, uiOffset, uiBytes) : QelSimAllOnes(uiBytes);
}

void CQelSimBoard::RegWrite(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue)
{
    if (m_bRegistersDecoded)
    {
        m_oRegisters.Write(*this, uiOffset, uiBytes, uiValue);
    }
}

MUINT32 CQelSimBoard::RegReadDword(MUINT32 uiDword)
{
    return m_bRegistersDecoded ? m_oRegisters.ReadDword(*this, uiDword) : QelSimAllOnes(sizeof(MUINT32));
}

void CQelSimBoard::RegWriteDword(MUINT32 uiDword, MUINT32 uiValue)
{
    if (m_bRegistersDecoded)
    {
        m_oRegisters.WriteDword(*this, uiDword, uiValue);
    }
}

MUINT32 CQelSimBoard::MemRead(MUINT32 uiOffset, MUINT32 uiBytes)
{
    return m_bMemoryDecoded ? m_oDram.Read(uiOffset, uiBytes) : QelSimAllOnes(uiBytes);
}

void CQelSimBoard::MemWrite(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue)
{
    if (m_bMemoryDecoded)
    {
        m_oDram.Write(uiOffset, uiBytes, uiValue);
    }
}

void CQelSimBoard::WriteFlash(MUINT32 uiOffset, const MUINT8* pucData, MUINT32 uiSize)
{
    if (m_oFlash.Write(uiOffset, pucData, uiSize))
    {
        m_bFlashChanged = true;
    }
}

bool CQelSimBoard::SaveFlash(std::string& rsError)
{
    if (!m_bFlashChanged || m_sFlashImagePath.empty())
    {
        return true;
    }
    const std::vector<MUINT8> aucImage = m_oFlash.Image();
    if (!QelVxdSim_WriteFileAtomic(m_sFlashImagePath, aucImage.data(), aucImage.size(), rsError))
    {
        return false;
    }
    m_bFlashChanged = false;
    return true;
}
