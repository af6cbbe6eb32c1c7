#include "XHwAccess_Vxd.h"

#include "QelVxdApi.h"
#include "Hb4RegChip.h"
#include "QelPciCfgRegs.h"

namespace
{
const int iStatusOk           = 0;
const int iStatusFailed       = -1;
const int iStatusNotSupported = -10;

// At most this many capabilities fit between the first and the last capability pointer; a longer
// walk has met a loop in the list.
constexpr MUINT32 CAP_MAX_COUNT = (PciCfg::CAP_PTR_LAST - PciCfg::CAP_PTR_FIRST) / 4 + 1;

// ---- Mapped windows.

// True when an access of uiWidth bytes at uiOffset lies inside a mapped window of uiSize bytes.
// The end of the access is computed in 64 bits, where it cannot wrap: one comparison per access.
bool IsInsideWindow(MEMHANDLE hWindow, MUINT32 uiSize, MUINT32 uiOffset, MUINT32 uiWidth)
{
    return hWindow != 0 && (MUINT64)uiOffset + uiWidth <= uiSize;
}

// One access of the value's width, 32 or 8 bits (the platform's copy splits a dword at an
// unaligned offset into narrower accesses).
template <class TValue>
int WindowRead(MEMHANDLE hWindow, MUINT32 uiSize, MUINT32 uiOffset, TValue& ruiValue)
{
    if (!IsInsideWindow(hWindow, uiSize, uiOffset, sizeof(TValue)))
    {
        return iStatusFailed;
    }
    if constexpr (sizeof(TValue) == sizeof(MUINT32))
    {
        memReadDword(hWindow, uiOffset, &ruiValue);
    }
    else
    {
        memReadByte(hWindow, uiOffset, &ruiValue);
    }
    return iStatusOk;
}

template <class TValue>
int WindowWrite(MEMHANDLE hWindow, MUINT32 uiSize, MUINT32 uiOffset, TValue uiValue)
{
    if (!IsInsideWindow(hWindow, uiSize, uiOffset, sizeof(TValue)))
    {
        return iStatusFailed;
    }
    if constexpr (sizeof(TValue) == sizeof(MUINT32))
    {
        memWriteDword(hWindow, uiOffset, uiValue);
    }
    else
    {
        memWriteByte(hWindow, uiOffset, uiValue);
    }
    return iStatusOk;
}

void UnmapWindow(MEMHANDLE& rhWindow)
{
    if (rhWindow != 0)
    {
        memUnmap(rhWindow);
        rhWindow = 0;
    }
}

MUINT64 JoinAddress(MUINT32 uiLow, MUINT32 uiHigh)
{
    return (static_cast<MUINT64>(uiHigh) << 32) | uiLow;
}

MUINT32 LowHalf(MUINT64 uiValue)
{
    return static_cast<MUINT32>(uiValue);
}

MUINT32 HighHalf(MUINT64 uiValue)
{
    return static_cast<MUINT32>(uiValue >> 32);
}

// ---- Configuration space of the board.

MUINT32 ReadCfgDword(PCIHANDLE hPci, MUINT32 uiOffset)
{
    MUINT32 uiValue = 0;
    csReadDword(hPci, static_cast<int>(uiOffset), &uiValue);
    return uiValue;
}

// True when the function is a bridge and uiBus lies in the range of buses behind it.
bool IsBridgeOver(PCIHANDLE hBridge, MUINT32 uiBus)
{
    using namespace PciCfg;
    if ((ReadCfgDword(hBridge, RegHEADER) & HEADER_TYPE_BRIDGE_BIT) == 0)
    {
        return false;
    }
    const MUINT32 uiBuses = ReadCfgDword(hBridge, RegBRIDGE_BUSES);
    return SecondaryBus(uiBuses) <= uiBus && uiBus <= SubordinateBus(uiBuses);
}

// Base address of the memory window that a BAR (with its upper half) decodes. An I/O BAR
// decodes none: its base is reported as 0, like an unassigned BAR, so that nothing is ever mapped
// at the port number it holds. This also covers an absent function, whose BARs read all ones.
// The owners of the windows map nothing at physical address 0.
MUINT64 MemoryBarBase(MUINT32 uiBar, MUINT32 uiHigh, MUINT32 uiBaseMask)
{
    if ((uiBar & PciCfg::BAR_IO_SPACE) != 0)
    {
        return 0;
    }
    return JoinAddress(uiBar & uiBaseMask, uiHigh);
}
}  // namespace

// ================================================================================================
// XCfgAccessVxd

int XCfgAccessVxd::Read(MUINT32 uiOffset, MUINT32& ruiValue)
{
    if (uiOffset > PciCfg::LastDwordOffset)
    {
        return iStatusFailed;
    }
    csReadDword(m_hPciHandle, static_cast<int>(uiOffset), &ruiValue);
    return iStatusOk;
}

int XCfgAccessVxd::Read(MUINT32 uiOffset, MUINT8& ruiValue)
{
    if (uiOffset > PciCfg::LastByteOffset)
    {
        return iStatusFailed;
    }
    csReadByte(m_hPciHandle, static_cast<int>(uiOffset), &ruiValue);
    return iStatusOk;
}

int XCfgAccessVxd::Read(MUINT32, MUINT8*, MUINT32)
{
    return iStatusNotSupported;
}

int XCfgAccessVxd::Write(MUINT32 uiOffset, MUINT32 uiValue)
{
    if (uiOffset > PciCfg::LastDwordOffset)
    {
        return iStatusFailed;
    }
    csWriteDword(m_hPciHandle, static_cast<int>(uiOffset), uiValue);
    return iStatusOk;
}

int XCfgAccessVxd::Write(MUINT32 uiOffset, MUINT8 uiValue)
{
    if (uiOffset > PciCfg::LastByteOffset)
    {
        return iStatusFailed;
    }
    csWriteByte(m_hPciHandle, static_cast<int>(uiOffset), uiValue);
    return iStatusOk;
}

int XCfgAccessVxd::Write(MUINT32, const MUINT8*, MUINT32)
{
    return iStatusNotSupported;
}

// ================================================================================================
// XWindowAccessVxd

template <class TAccess, class TWindow>
int XWindowAccessVxd<TAccess, TWindow>::Read(MUINT32 uiOffset, MUINT32& ruiValue)
{
    return WindowRead(Window().WindowAddress(), Window().WindowSize(), uiOffset, ruiValue);
}

template <class TAccess, class TWindow>
int XWindowAccessVxd<TAccess, TWindow>::Read(MUINT32 uiOffset, MUINT8& ruiValue)
{
    return WindowRead(Window().WindowAddress(), Window().WindowSize(), uiOffset, ruiValue);
}

template <class TAccess, class TWindow>
int XWindowAccessVxd<TAccess, TWindow>::Read(MUINT32, MUINT8*, MUINT32)
{
    return iStatusNotSupported;
}

template <class TAccess, class TWindow>
int XWindowAccessVxd<TAccess, TWindow>::Write(MUINT32 uiOffset, MUINT32 uiValue)
{
    return WindowWrite(Window().WindowAddress(), Window().WindowSize(), uiOffset, uiValue);
}

template <class TAccess, class TWindow>
int XWindowAccessVxd<TAccess, TWindow>::Write(MUINT32 uiOffset, MUINT8 uiValue)
{
    return WindowWrite(Window().WindowAddress(), Window().WindowSize(), uiOffset, uiValue);
}

template <class TAccess, class TWindow>
int XWindowAccessVxd<TAccess, TWindow>::Write(MUINT32, const MUINT8*, MUINT32)
{
    return iStatusNotSupported;
}

template class XWindowAccessVxd<XRegAccess, XRegAccessVxd>;
template class XWindowAccessVxd<XMemAccess, XMmAccessVxd>;

// ================================================================================================
// XRegAccessVxd

XRegAccessVxd::~XRegAccessVxd()
{
    UnmapWindow(m_hRegMem);
}

void XRegAccessVxd::Init(MUINT32, MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiSize)
{
    UnmapWindow(m_hRegMem);
    m_uiSize = uiSize;

    m_uiPhysAddr = JoinAddress(uiAddressLow, uiAddressHigh);
    if (m_uiPhysAddr != 0 && uiSize != 0)
    {
        m_hRegMem = memMap64(m_uiPhysAddr, uiSize, XMmAccessVxd::msc_uiMapUncached);
    }
}

// ================================================================================================
// XMmAccessVxd

XMmAccessVxd::~XMmAccessVxd()
{
    UnmapWindow(m_hMmMem);
}

void XMmAccessVxd::Init(MUINT32, MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiSize)
{
    m_uiPhysAddr = JoinAddress(uiAddressLow, uiAddressHigh);
    m_uiSize = uiSize;
}

int XMmAccessVxd::MapMemory()
{
    if (m_hMmMem != 0)
    {
        return 1;   // mapping again would lose the first mapping
    }
    if (m_uiPhysAddr == 0 || m_uiSize == 0)
    {
        return 0;   // the BAR decodes no memory window
    }
    // Some platforms refuse a cacheable mapping of device memory; an uncached one still works.
    m_hMmMem = memMap64(m_uiPhysAddr, m_uiSize, msc_uiMapCacheable);
    if (m_hMmMem == 0)
    {
        m_hMmMem = memMap64(m_uiPhysAddr, m_uiSize, msc_uiMapUncached);
    }
    return m_hMmMem != 0 ? 1 : 0;
}

int XMmAccessVxd::UnMapMemory()
{
    UnmapWindow(m_hMmMem);
    return 1;
}

// ================================================================================================
// XHwAccessVxd

XHwAccessVxd::XHwAccessVxd(PCIHANDLE hPciHandle, PCIHANDLE hParentBridgePciHandle)
    : XHwAccess(m_oCfg, m_oMm, m_oReg),
      m_oCfg(static_cast<MUINT32>(hPciHandle)),
      m_uiParentBridgePciHandle(static_cast<MUINT32>(hParentBridgePciHandle))
{
    using namespace PciCfg;
    using namespace Hb4Chip;

    const MUINT32 uiId = ReadCfgDword(hPciHandle, RegID);
    // The first-generation id has some of the second generation's bits too.
    const bool bSecondGeneration = uiId != ID_FIRST_GENERATION && IsSecondGeneration(uiId);
    const MUINT32 uiRegWindowSize = bSecondGeneration ? REG_WINDOW_SIZE_SECOND_GEN : REG_WINDOW_SIZE_FIRST_GEN;

    // BAR 0 is the memory window. When it is a 64-bit BAR it takes BAR 1 as its upper half and
    // the register window moves to BARs 2-3; otherwise the register window is BAR 1, below 4 GiB.
    const MUINT32 uiBar0 = ReadCfgDword(hPciHandle, RegBAR0);
    MUINT32 uiMemHigh = 0;
    MUINT32 uiRegBar = 0;
    MUINT32 uiRegHigh = 0;
    if ((uiBar0 & BAR_MEM_TYPE_MASK) == BAR_MEM_TYPE_64BIT)
    {
        uiMemHigh = ReadCfgDword(hPciHandle, RegBAR1);
        uiRegBar = ReadCfgDword(hPciHandle, RegBAR2);
        uiRegHigh = ReadCfgDword(hPciHandle, RegBAR3);
    }
    else
    {
        uiRegBar = ReadCfgDword(hPciHandle, RegBAR1);
    }
    const MUINT64 uiMemBase = MemoryBarBase(uiBar0, uiMemHigh, MEM_WINDOW_BASE_MASK);
    const MUINT64 uiRegBase = MemoryBarBase(uiRegBar, uiRegHigh, REG_WINDOW_BASE_MASK);

    m_oReg.Init(static_cast<MUINT32>(hPciHandle), LowHalf(uiRegBase), HighHalf(uiRegBase),
                uiRegWindowSize);

    // The memory size comes from the board straps: on the second generation through the
    // register window, on the first through configuration space. When the register window did
    // not map, the strap and revision registers cannot be read: the code stays 0 (the smallest
    // memory window) and the revision 0; the owner must not drive such a board anyway.
    MUINT32 uiSizeCode = 0;
    if (bSecondGeneration)
    {
        MUINT32 uiValue = 0;
        if (m_oReg.Read(RegSTRAP, uiValue) == iStatusOk)
        {
            uiSizeCode = (uiValue >> STRAP_MEM_SIZE_SHIFT) & STRAP_MEM_SIZE_MASK;
        }
        if (m_oReg.Read(RegREVISION, uiValue) == iStatusOk)
        {
            m_oReg.m_uiChipRevision = (uiValue >> REVISION_SHIFT) & REVISION_MASK;
        }
    }
    else
    {
        uiSizeCode = ReadCfgDword(hPciHandle, CfgMEM_SIZE) & CFG_MEM_SIZE_MASK;
    }

    m_oMm.Init(static_cast<MUINT32>(hPciHandle), LowHalf(uiMemBase), HighHalf(uiMemBase),
               MEM_WINDOW_SIZE_BY_CODE[uiSizeCode]);
}

int XHwAccessVxd::RetrainLink()
{
    using namespace PciCfg;

    // The retrain goes only to a bridge whose buses hold the board's bus. The parent handle is 0
    // when no bridge above the board was found (a board on the root bus), and 00:00.0 is then
    // some other function, often the host bridge: setting bits in its registers would disturb
    // a device that has nothing to do with the board.
    const PCIHANDLE hBridge = m_uiParentBridgePciHandle;
    if (!IsBridgeOver(hBridge, QelVxdPciBus(m_oCfg.m_hPciHandle)) ||
        (ReadCfgDword(hBridge, RegCOMMAND_STATUS) & STATUS_CAP_LIST) == 0)
    {
        return iStatusFailed;
    }

    // Walk the capability list to the PCI Express capability. A list can be corrupt and loop
    // back on itself: no more capabilities than fit in the header are visited.
    MUINT32 uiCap = ReadCfgDword(hBridge, RegCAP_PTR) & CAP_NEXT_MASK;
    for (MUINT32 uiVisited = 0; uiVisited < CAP_MAX_COUNT; ++uiVisited)
    {
        if (uiCap < CAP_PTR_FIRST || uiCap > CAP_PTR_LAST)
        {
            return iStatusFailed;
        }
        uiCap &= CAP_PTR_ALIGN;
        const MUINT32 uiHeader = ReadCfgDword(hBridge, uiCap);
        if ((uiHeader & CAP_ID_MASK) == CAP_ID_PCI_EXPRESS)
        {
            // Link Control and Link Status are written back together, the status half as it
            // was read. The link retrains in the background; the caller waits as it needs.
            const MUINT32 uiLinkOffset = uiCap + PCIE_CAP_LINK_CTL_STATUS;
            const MUINT32 uiLink = ReadCfgDword(hBridge, uiLinkOffset);
            csWriteDword(hBridge, static_cast<int>(uiLinkOffset), uiLink | PCIE_LINK_CTL_RETRAIN);
            return iStatusOk;
        }
        uiCap = (uiHeader >> CAP_NEXT_SHIFT) & CAP_NEXT_MASK;
    }
    return iStatusFailed;
}
