// The standard PCI configuration header as the bus scan, the capability walk and the base
// address register sizing see it. Offsets are byte offsets into configuration space; bit
// positions are given within the dword read at that offset.
#pragma once

#include "QelBaseTypes.h"

namespace QelVxdPciCfg
{
// ---- Configuration space.
inline constexpr MUINT32 SPACE_SIZE = 4096;   // PCI Express extended configuration space

// ---- Standard header registers.
inline constexpr MUINT32 REG_VENDOR_ID      = 0x00;   // 16 bits
inline constexpr MUINT32 REG_COMMAND_STATUS = 0x04;   // command (low half), status (high half)
inline constexpr MUINT32 REG_HEADER_DWORD   = 0x0C;   // cache line, latency, header type, BIST
inline constexpr MUINT32 REG_BRIDGE_BUSES   = 0x18;   // type 1 header: primary/secondary/subordinate bus
inline constexpr MUINT32 REG_CAP_PTR        = 0x34;   // low byte: first capability

// Vendor ids that mean "no function here": 0xFFFF is what a master abort returns, 0x0000 is
// what some host bridges return for an empty slot.
inline constexpr MUINT16 VENDOR_ID_NONE_LOW  = 0x0000;
inline constexpr MUINT16 VENDOR_ID_NONE_HIGH = 0xFFFF;

// ---- Header type byte, seen in the dword at REG_HEADER_DWORD.
inline constexpr MUINT32 HEADER_MULTI_FUNCTION = 1u << 23;
inline constexpr MUINT32 HEADER_TYPE_SHIFT     = 16;
inline constexpr MUINT32 HEADER_TYPE_MASK      = 0x7F;
inline constexpr MUINT32 HEADER_TYPE_BRIDGE    = 1;     // PCI-to-PCI bridge

// ---- Status register, seen in the dword at REG_COMMAND_STATUS.
inline constexpr MUINT32 STATUS_CAP_LIST = 1u << 20;

// ---- Capability list. Each entry: id (byte 0), next pointer (byte 1).
inline constexpr MUINT32 CAP_PTR_FIRST_MASK = 0xFC;   // the header pointer's two low bits are reserved
inline constexpr MUINT32 CAP_PTR_MIN        = 0x40;   // capabilities live above the standard header
inline constexpr MUINT32 CAP_PTR_MAX        = 0xFC;
inline constexpr MUINT32 CAP_ID_MASK        = 0xFF;
inline constexpr MUINT32 CAP_NEXT_SHIFT     = 8;
inline constexpr MUINT32 CAP_NEXT_MASK      = 0xFF;
// A healthy chain visits each pointer value at most once; more steps than there are pointer
// values means the chain loops.
inline constexpr MUINT32 CAP_MAX_STEPS      = CAP_PTR_MAX - CAP_PTR_MIN + 1;

inline constexpr MUINT32 CAP_ID_POWER_MANAGEMENT = 0x01;
inline constexpr MUINT32 CAP_ID_AGP              = 0x02;

// ---- Base address registers: the low 4 bits are type flags, not address bits.
inline constexpr MUINT32 BAR_FLAG_MASK = 0xF;
inline constexpr MUINT32 BAR_ALL_ONES  = 0xFFFFFFFF;

// ---- Topology.
inline constexpr MUINT32 BUS_COUNT          = 256;
inline constexpr MUINT32 DEVICES_PER_BUS    = 32;
inline constexpr MUINT32 LAST_FUNCTION      = 7;
}
