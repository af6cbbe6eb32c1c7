// The standard PCI configuration space: the header registers (the same offsets for endpoints and
// bridges, except that a bridge keeps its bus numbers where an endpoint has BAR 2), the base
// address registers, the capability list and the PCI Express capability fields this system
// uses. Offsets are byte offsets into configuration space; bit positions are given within the
// dword read at that offset.
#pragma once

#include "QelBaseTypes.h"

namespace PciCfg
{
// ---- Space.
inline constexpr MUINT32 SPACE_SIZE      = 4096;   // PCI Express extended configuration space
// The last offset of the 256-byte standard space at which a dword or a byte still fits.
inline constexpr MUINT32 LastDwordOffset = 0xFC;
inline constexpr MUINT32 LastByteOffset  = 0xFF;

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
inline constexpr MUINT32 RegSUBSYSTEM      = 0x2C;   // type 0: subsystem vendor id (low half), subsystem id (high half)
inline constexpr MUINT32 RegCAP_PTR        = 0x34;   // first capability pointer (low byte)

// ---- Identity. An absent function answers every read with all ones; some host bridges answer
// vendor id 0 for an empty slot.
inline constexpr MUINT32 ID_ABSENT           = 0xFFFFFFFF;
inline constexpr MUINT16 VENDOR_ID_NONE_LOW  = 0x0000;
inline constexpr MUINT16 VENDOR_ID_NONE_HIGH = 0xFFFF;

// ---- Command register (low half of RegCOMMAND_STATUS).
inline constexpr MUINT32 COMMAND_IO_SPACE     = 1u << 0;
inline constexpr MUINT32 COMMAND_MEMORY_SPACE = 1u << 1;
// ---- Status register bit 4, seen in the command/status dword: the function has a capability list.
inline constexpr MUINT32 STATUS_CAP_LIST = 1u << 20;

// ---- Header type byte, seen in the dword at RegHEADER: type in bits 0-6, multi-function in bit 7.
inline constexpr MUINT32 HEADER_TYPE_SHIFT      = 16;
inline constexpr MUINT32 HEADER_TYPE_MASK       = 0x7F;
inline constexpr MUINT32 HEADER_TYPE_BRIDGE     = 1;   // PCI-to-PCI bridge
inline constexpr MUINT32 HEADER_MULTI_FUNCTION  = 1u << 23;
// Bit 0 of the type alone: set for 0x01 and 0x81 (bridges), clear for 0x00, 0x80 and 0x02 (CardBus).
inline constexpr MUINT32 HEADER_TYPE_BRIDGE_BIT = HEADER_TYPE_BRIDGE << HEADER_TYPE_SHIFT;

// ---- Bus numbers of a bridge, seen in the dword at RegBRIDGE_BUSES: the buses behind it are
// secondary to subordinate, both included.
inline constexpr MUINT32 SECONDARY_BUS_SHIFT   = 8;
inline constexpr MUINT32 SUBORDINATE_BUS_SHIFT = 16;
inline constexpr MUINT32 BUS_NUMBER_MASK       = 0xFF;
inline constexpr MUINT32 SecondaryBus(MUINT32 uiBuses) { return (uiBuses >> SECONDARY_BUS_SHIFT) & BUS_NUMBER_MASK; }
inline constexpr MUINT32 SubordinateBus(MUINT32 uiBuses) { return (uiBuses >> SUBORDINATE_BUS_SHIFT) & BUS_NUMBER_MASK; }

// ---- Base address registers: the low 4 bits are type flags, not address bits.
inline constexpr MUINT32 BAR_IO_SPACE       = 1u << 0;   // I/O BAR, not a memory window
inline constexpr MUINT32 BAR_MEM_TYPE_MASK  = 3u << 1;
inline constexpr MUINT32 BAR_MEM_TYPE_64BIT = 2u << 1;   // this BAR and the next form a 64-bit base
inline constexpr MUINT32 BAR_FLAG_MASK      = 0xF;
inline constexpr MUINT32 BAR_ALL_ONES       = 0xFFFFFFFF;   // written to read back the size mask

// ---- Capability list. Every capability starts with its id (byte 0) and the pointer to the
// next one (byte 1). Pointers lie above the standard header, dword aligned; their two low bits
// are reserved.
inline constexpr MUINT32 CAP_PTR_FIRST  = 0x40;
inline constexpr MUINT32 CAP_PTR_LAST   = 0xFC;
inline constexpr MUINT32 CAP_PTR_ALIGN  = 0xFC;
inline constexpr MUINT32 CAP_ID_MASK    = 0xFF;
inline constexpr MUINT32 CAP_NEXT_SHIFT = 8;
inline constexpr MUINT32 CAP_NEXT_MASK  = 0xFF;

inline constexpr MUINT32 CAP_ID_POWER_MANAGEMENT = 0x01;
inline constexpr MUINT32 CAP_ID_AGP              = 0x02;
inline constexpr MUINT32 CAP_ID_PCI_EXPRESS      = 0x10;

// ---- PCI Express capability, relative to the capability: Link Control (low half) and Link
// Status (high half) share one dword.
inline constexpr MUINT32 PCIE_CAP_LINK_CTL_STATUS = 0x10;
inline constexpr MUINT32 PCIE_LINK_CTL_RETRAIN    = 1u << 5;
inline constexpr MUINT32 PCIE_LINK_SPEED_SHIFT    = 16;   // current link speed, bits 16-19
inline constexpr MUINT32 PCIE_LINK_SPEED_MASK     = 0xF;
inline constexpr MUINT32 PCIE_LINK_SPEED_2_5GT    = 1;
inline constexpr MUINT32 PCIE_LINK_WIDTH_SHIFT    = 20;   // negotiated link width, bits 20-25
inline constexpr MUINT32 PCIE_LINK_WIDTH_MASK     = 0x3F;

// ---- Advanced error reporting (extended capability), relative to the capability: the
// uncorrectable error mask; bit 4 masks data link protocol errors, which a link retrain can raise.
inline constexpr MUINT32 AER_UNCORR_MASK  = 0x08;
inline constexpr MUINT32 AER_UNCORR_DLP   = 1u << 4;
}  // namespace PciCfg
