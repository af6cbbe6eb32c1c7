#include "QelVxdSimBus.h"

#include <sys/mman.h>

#include "QelVxdApi.h"
#include "QelVxdSimBoard.h"
#include "QelVxdSimPciRegs.h"
#include "QelVxdSimRig.h"

using namespace QelSimPci;

namespace
{
constexpr MUINT64 PAGE_SIZE = 4096;
}  // namespace

// ---- CQelSimPcieLink

MUINT32 CQelSimPcieLink::ControlOffset() const
{
    return m_uiCapOffset + PCIE_CAP_LINK_CTL_STATUS;
}

MUINT32 CQelSimPcieLink::OnRead(MUINT32 uiStored, MUINT64 uiNowUs) const
{
    return uiNowUs < m_uiTrainingUntilUs ? uiStored | LINKSTA_TRAINING : uiStored;
}

bool CQelSimPcieLink::OnWrite(MUINT32 uiWritten, MUINT32 uiByteMask, MUINT64 uiNowUs)
{
    // Retrain Link is defined for downstream ports only; an endpoint ignores it.
    if (!m_bDownstreamPort || (uiByteMask & uiWritten & LINKCTL_RETRAIN) == 0)
    {
        return false;
    }
    ++m_uiRetrainCount;
    m_uiTrainingUntilUs = uiNowUs + msc_uiTrainingUs;
    return true;
}

// ---- CQelSimFunction

CQelSimFunction::CQelSimFunction(PCIHANDLE hLocation, EKind eKind, SQelSimEnv& roEnv)
    : m_roEnv(roEnv), m_hLocation(hLocation), m_eKind(eKind)
{
    m_auiConfig.fill(0);
    m_auiWritable.fill(0);
}

void CQelSimFunction::Define(MUINT32 uiOffset, MUINT32 uiValue, MUINT32 uiWritable)
{
    m_auiConfig[(uiOffset / 4) % msc_uiConfigDwords]   = uiValue;
    m_auiWritable[(uiOffset / 4) % msc_uiConfigDwords] = uiWritable;
}

void CQelSimFunction::DefineHeader(MUINT32 uiVendorId, MUINT32 uiDeviceId, MUINT32 uiRevision, MUINT32 uiClassCode,
                                   MUINT32 uiHeaderType, MUINT32 uiCommand)
{
    Define(RegID, uiVendorId | (uiDeviceId << 16), 0);
    Define(RegCOMMAND_STATUS, uiCommand, COMMAND_WRITABLE);
    Define(REG_CLASS, (uiClassCode << CLASS_SHIFT) | uiRevision, 0);
    Define(RegHEADER, uiHeaderType << HEADER_TYPE_SHIFT, HEADER_WRITABLE);
}

void CQelSimFunction::DefinePcieCapability(MUINT32 uiOffset, MUINT32 uiNext, MUINT32 uiPortType, MUINT32 uiLinkSpeed,
                                           MUINT32 uiLinkWidth, MUINT32 uiLinkStatusExtra)
{
    Define(RegCOMMAND_STATUS, PeekConfig(RegCOMMAND_STATUS) | STATUS_CAP_LIST, COMMAND_WRITABLE);
    Define(uiOffset + PCIE_REG_FLAGS,
           CAP_ID_PCIE | (uiNext << CAP_NEXT_SHIFT) | PCIE_FLAGS_VERSION_2 | (uiPortType << PCIE_FLAGS_TYPE_SHIFT), 0);
    Define(uiOffset + PCIE_REG_DEVCAP, PCIE_DEVCAP_PAYLOAD_256, 0);
    Define(uiOffset + PCIE_REG_DEVCTL, 0, PCIE_DEVCTL_WRITABLE);
    Define(uiOffset + PCIE_REG_LINKCAP, (uiLinkSpeed << LINKCAP_SPEED_SHIFT) | (uiLinkWidth << LINKCAP_WIDTH_SHIFT), 0);
    Define(uiOffset + PCIE_CAP_LINK_CTL_STATUS,
           (uiLinkSpeed << LINKSTA_SPEED_SHIFT) | (uiLinkWidth << LINKSTA_WIDTH_SHIFT) | LINKSTA_SLOT_CLOCK |
               uiLinkStatusExtra,
           LINKCTL_WRITABLE);
    m_poLink = std::make_unique<CQelSimPcieLink>(uiOffset, uiPortType != PCIE_TYPE_ENDPOINT);
}

MUINT32 CQelSimFunction::ConfigRead(MUINT32 uiOffset, MUINT32 uiBytes)
{
    if (m_bOffBus)
    {
        return QelSimAllOnes(uiBytes);
    }
    const MUINT32 uiDwordOffset = uiOffset & ~3u;
    MUINT32 uiDword             = PeekConfig(uiDwordOffset);
    if (m_poLink != nullptr && uiDwordOffset == m_poLink->ControlOffset())
    {
        uiDword = m_poLink->OnRead(uiDword, m_roEnv.poClock->NowUs());
    }
    const MUINT32 uiShift = 8 * (uiOffset & 3);
    return uiBytes >= 4 ? uiDword : (uiDword >> uiShift) & QelSimAllOnes(uiBytes);
}

void CQelSimFunction::ConfigWrite(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue)
{
    if (m_bOffBus || m_bIgnoresConfigWrites)
    {
        return;
    }
    const MUINT32 uiDwordOffset = uiOffset & ~3u;
    const MUINT32 uiShift       = 8 * (uiOffset & 3);
    const MUINT32 uiByteMask    = QelSimAllOnes(uiBytes) << uiShift;
    const MUINT32 uiWritten     = uiValue << uiShift;
    const MUINT32 uiIndex       = (uiDwordOffset / 4) % msc_uiConfigDwords;
    const MUINT32 uiChange      = m_auiWritable[uiIndex] & uiByteMask;
    m_auiConfig[uiIndex]        = (m_auiConfig[uiIndex] & ~uiChange) | (uiWritten & uiChange);
    if (m_poLink != nullptr && uiDwordOffset == m_poLink->ControlOffset() &&
        m_poLink->OnWrite(uiWritten, uiByteMask, m_roEnv.poClock->NowUs()))
    {
        Note("link retrain");
    }
    OnConfigWritten(uiDwordOffset);
}

void CQelSimFunction::PokeConfig(MUINT32 uiOffset, MUINT32 uiValue)
{
    m_auiConfig[(uiOffset / 4) % msc_uiConfigDwords] = uiValue;
    OnConfigWritten(uiOffset & ~3u);
}

void CQelSimFunction::SetMultiFunction()
{
    Define(RegHEADER, PeekConfig(RegHEADER) | (HEADER_TYPE_MULTI_FUNCTION << HEADER_TYPE_SHIFT), HEADER_WRITABLE);
}

void CQelSimFunction::Note(const char* pszText)
{
    if (m_roEnv.poTrace != nullptr)
    {
        m_roEnv.poTrace->Note(m_roEnv.poClock->NowUs(), m_hLocation, pszText);
    }
}

void CQelSimFunction::OnConfigWritten(MUINT32) {}

// ---- CQelSimDevice, CQelSimBridge

CQelSimDevice::CQelSimDevice(const SQelSimDeviceDesc& roDesc, SQelSimEnv& roEnv)
    : CQelSimFunction(roDesc.hLocation, EKind::Device, roEnv)
{
    DefineHeader(roDesc.uiVendorId, roDesc.uiDeviceId, 0, 0, 0, 0);
    Define(RegSUBSYSTEM, roDesc.uiSubsystem, 0);
    Define(REG_INTERRUPT, 0, INTERRUPT_LINE_WRITABLE);
}

CQelSimBridge::CQelSimBridge(const SQelSimBridgeDesc& roDesc, SQelSimEnv& roEnv)
    : CQelSimFunction(roDesc.hLocation, EKind::Bridge, roEnv)
{
    // A bridge on bus 0 is a root port; further down it is a switch's downstream port. Either
    // way it forwards memory cycles and masters for the bus below, so firmware enabled both.
    const MUINT32 uiBus = (MUINT32)(roDesc.hLocation >> 8);
    DefineHeader(roDesc.uiVendorId, roDesc.uiDeviceId, 0, CLASS_PCI_BRIDGE, HEADER_TYPE_BRIDGE,
                 COMMAND_MEMORY_ENABLE | COMMAND_BUS_MASTER);
    Define(RegBRIDGE_BUSES, uiBus | (roDesc.uiSecondaryBus << 8) | (roDesc.uiSubordinateBus << 16),
           BUS_NUMBERS_WRITABLE);
    Define(RegCAP_PTR, BRIDGE_CAP_PCIE, 0);
    Define(REG_INTERRUPT, INTERRUPT_PIN_INTA, INTERRUPT_LINE_WRITABLE);
    DefinePcieCapability(BRIDGE_CAP_PCIE, 0, uiBus == 0 ? PCIE_TYPE_ROOT_PORT : PCIE_TYPE_DOWNSTREAM_PORT,
                         roDesc.uiLinkSpeed, roDesc.uiLinkWidth, LINKSTA_DLL_ACTIVE);
}

MUINT32 CQelSimBridge::SecondaryBus() const
{
    return (PeekConfig(RegBRIDGE_BUSES) >> 8) & 0xFF;
}

MUINT32 CQelSimBridge::SubordinateBus() const
{
    return (PeekConfig(RegBRIDGE_BUSES) >> 16) & 0xFF;
}

// ---- CQelSimBus

CQelSimBus::CQelSimBus() = default;

CQelSimBus::~CQelSimBus()
{
    for (const SQelSimMapping& roMapping : m_aoMappings)
    {
        munmap(reinterpret_cast<void*>(roMapping.uiStart), roMapping.uiEnd - roMapping.uiStart);
    }
}

void CQelSimBus::Add(std::unique_ptr<CQelSimFunction> poFunction)
{
    if (poFunction->Kind() == CQelSimFunction::EKind::Board)
    {
        m_apoBoards.push_back(static_cast<CQelSimBoard*>(poFunction.get()));
    }
    const PCIHANDLE hLocation = poFunction->Location();
    m_auiDevicesOnBus[QelVxdPciBus(hLocation)] |= 1u << QelVxdPciDevice(hLocation);
    m_oFunctions[hLocation] = std::move(poFunction);
}

CQelSimFunction* CQelSimBus::Find(PCIHANDLE hLocation) const
{
    if ((m_auiDevicesOnBus[QelVxdPciBus(hLocation)] & (1u << QelVxdPciDevice(hLocation))) == 0)
    {
        return nullptr;
    }
    auto it = m_oFunctions.find(hLocation & 0xFFFF);
    return it != m_oFunctions.end() ? it->second.get() : nullptr;
}

CQelSimBoard* CQelSimBus::FindBoard(PCIHANDLE hLocation) const
{
    CQelSimFunction* poFunction = Find(hLocation);
    return poFunction != nullptr && poFunction->Kind() == CQelSimFunction::EKind::Board
               ? static_cast<CQelSimBoard*>(poFunction)
               : nullptr;
}

MEMHANDLE CQelSimBus::Map(MUINT64 uiPhysical, MUINT32 uiLength)
{
    if (uiLength == 0)
    {
        return 0;
    }
    const MUINT64 uiPageStart  = uiPhysical & ~(PAGE_SIZE - 1);
    const MUINT64 uiPageLength = ((uiPhysical - uiPageStart) + uiLength + PAGE_SIZE - 1) & ~(PAGE_SIZE - 1);
    for (CQelSimBoard* poBoard : m_apoBoards)
    {
        const struct
        {
            EQelSimSpace eSpace;
            MUINT64 uiBase;
            MUINT64 uiSize;
        } aoWindows[] = {{EQelSimSpace::Memory, poBoard->MemoryBase(), poBoard->MemorySize()},
                         {EQelSimSpace::Register, poBoard->RegisterBase(), poBoard->RegisterSize()}};
        for (const auto& roWindow : aoWindows)
        {
            if (uiPageStart < roWindow.uiBase || uiPageStart + uiPageLength > roWindow.uiBase + roWindow.uiSize)
            {
                continue;
            }
            const SQelSimBoardFaults& roFaults = poBoard->Faults();
            const bool bMemory = roWindow.eSpace == EQelSimSpace::Memory;
            if (roFaults.bMapFails || (bMemory ? roFaults.bMapMemoryFails : roFaults.bMapRegistersFails))
            {
                poBoard->Note(roFaults.bMapFails ? "mapping refused (fault map_fails)"
                              : bMemory          ? "mapping refused (fault map_memory_fails)"
                                                 : "mapping refused (fault map_registers_fails)");
                return 0;
            }
            // Reserve inaccessible address space: the handle is unique while the mapping lives,
            // and any access that bypasses the simulator faults at once.
            void* pvStart = mmap(nullptr, uiPageLength, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
            if (pvStart == MAP_FAILED)
            {
                return 0;
            }
            SQelSimMapping oMapping;
            oMapping.uiStart        = reinterpret_cast<MUINTPTR>(pvStart);
            oMapping.uiEnd          = oMapping.uiStart + uiPageLength;
            oMapping.hHandle        = oMapping.uiStart + (MUINTPTR)(uiPhysical - uiPageStart);
            oMapping.poBoard        = poBoard;
            oMapping.eSpace         = roWindow.eSpace;
            oMapping.uiWindowOffset = (MUINT32)(uiPageStart - roWindow.uiBase);
            m_aoMappings.push_back(oMapping);
            return oMapping.hHandle;
        }
    }
    return 0;
}

bool CQelSimBus::Unmap(MEMHANDLE hAddress)
{
    for (size_t uiIndex = 0; uiIndex < m_aoMappings.size(); ++uiIndex)
    {
        const SQelSimMapping& roMapping = m_aoMappings[uiIndex];
        if (roMapping.hHandle == hAddress)
        {
            munmap(reinterpret_cast<void*>(roMapping.uiStart), roMapping.uiEnd - roMapping.uiStart);
            m_aoMappings.erase(m_aoMappings.begin() + (std::ptrdiff_t)uiIndex);
            m_uiLastHit = 0;
            return true;
        }
    }
    return false;
}

const SQelSimMapping* CQelSimBus::Decode(MUINTPTR uiAddress, MUINT32 uiBytes)
{
    auto bHolds = [&](const SQelSimMapping& ro) {
        return uiAddress >= ro.uiStart && uiAddress < ro.uiEnd && uiBytes <= ro.uiEnd - uiAddress;
    };
    if (m_uiLastHit < m_aoMappings.size() && bHolds(m_aoMappings[m_uiLastHit]))
    {
        return &m_aoMappings[m_uiLastHit];
    }
    for (size_t uiIndex = 0; uiIndex < m_aoMappings.size(); ++uiIndex)
    {
        if (bHolds(m_aoMappings[uiIndex]))
        {
            m_uiLastHit = uiIndex;
            return &m_aoMappings[uiIndex];
        }
    }
    return nullptr;
}
