// PCI configuration-space layout used by the context manager and the hardware access objects:
// the standard header (identical for endpoints and bridges at these offsets, except the bus
// numbers that a bridge keeps where an endpoint has BAR 2), the base address registers, the
// capability list and the PCI Express link control register.
#pragma once

#include "QelBaseTypes.h"

namespace XPciCfg
{
// ---- Standard header.
inline constexpr MUINT32 RegID             = 0x00;   // vendor id (low half), device id (high half)
inline constexpr MUINT32 RegCOMMAND_STATUS = 0x04;   // command (low half), status (high half)
inline constexpr MUINT32 RegHEADER         = 0x0C;   // cache line, latency timer, header type (byte 2), BIST
inline constexpr MUINT32 RegBAR0           = 0x10;
inline constexpr MUINT32 RegBAR1           = 0x14;
inline constexpr MUINT32 RegBAR2           = 0x18;
inline constexpr MUINT32 RegBAR3           = 0x1C;
// Bridges (type 1 header): primary (byte 0), secondary (byte 1) and subordinate (byte 2) bus.
inline constexpr MUINT32 RegBRIDGE_BUSES   = 0x18;
inline constexpr MUINT32 RegCAP_PTR        = 0x34;   // first capability pointer (low byte)

// The last offset of the 256-byte configuration space at which a dword or a byte still fits.
inline constexpr MUINT32 LastDwordOffset = 0xFC;
inline constexpr MUINT32 LastByteOffset  = 0xFF;

// An absent function answers every read with all ones.
inline constexpr MUINT32 AbsentFunctionId = 0xFFFFFFFF;

// Status register bit 4, seen in the command/status dword: the function has a capability list.
inline constexpr MUINT32 STATUS_CAP_LIST = 1u << 20;

// Header type, seen in the dword at RegHEADER. Only bit 0 of the type is tested: 0x01 and 0x81
// (multi-function) are bridges, 0x00, 0x80 and 0x02 (CardBus) are not.
inline constexpr MUINT32 HEADER_TYPE_SHIFT      = 16;
inline constexpr MUINT32 HEADER_TYPE_BRIDGE_BIT = 1u << HEADER_TYPE_SHIFT;

// Bus numbers of a bridge, seen in the dword at RegBRIDGE_BUSES: the buses behind it are
// secondary to subordinate, both included.
inline constexpr MUINT32 SECONDARY_BUS_SHIFT   = 8;
inline constexpr MUINT32 SUBORDINATE_BUS_SHIFT = 16;
inline constexpr MUINT32 BUS_NUMBER_MASK       = 0xFF;
inline constexpr MUINT32 SecondaryBus(MUINT32 uiBuses) { return (uiBuses >> SECONDARY_BUS_SHIFT) & BUS_NUMBER_MASK; }
inline constexpr MUINT32 SubordinateBus(MUINT32 uiBuses) { return (uiBuses >> SUBORDINATE_BUS_SHIFT) & BUS_NUMBER_MASK; }

// ---- Base address register fields.
inline constexpr MUINT32 BAR_IO_SPACE         = 1u << 0;   // I/O BAR, not a memory window
inline constexpr MUINT32 BAR_MEM_TYPE_MASK    = 3u << 1;
inline constexpr MUINT32 BAR_MEM_TYPE_64BIT   = 2u << 1;   // this BAR and the next form a 64-bit base

// ---- Capability list. Every capability starts with its id (byte 0) and the pointer to the
// next one (byte 1). Pointers lie in the device-specific part of the header, dword aligned;
// their two low bits are reserved.
inline constexpr MUINT32 CAP_PTR_FIRST     = 0x40;
inline constexpr MUINT32 CAP_PTR_LAST      = 0xFC;
inline constexpr MUINT32 CAP_PTR_ALIGN     = 0xFC;
inline constexpr MUINT32 CAP_ID_MASK       = 0xFF;
inline constexpr MUINT32 CAP_NEXT_SHIFT    = 8;
inline constexpr MUINT32 CAP_NEXT_MASK     = 0xFF;
// At most this many capabilities fit between CAP_PTR_FIRST and CAP_PTR_LAST; a longer walk has
// met a loop in the list.
inline constexpr MUINT32 CAP_MAX_COUNT     = (CAP_PTR_LAST - CAP_PTR_FIRST) / 4 + 1;

inline constexpr MUINT32 CAP_ID_PCI_EXPRESS = 0x10;

// ---- PCI Express capability: Link Control (low half) and Link Status (high half) share one
// dword.
inline constexpr MUINT32 PCIE_CAP_LINK_CTL_STATUS = 0x10;
inline constexpr MUINT32 PCIE_LINK_CTL_RETRAIN    = 1u << 5;
}  // namespace XPciCfg
