// PCI configuration space of the simulated functions: offsets and bit fields of the type 0 and
// type 1 headers, the capabilities this simulator implements, and the layout it gives them.
#pragma once

#include "QelBaseTypes.h"

namespace QelSimPci
{
// Size of a PCI Express function's configuration space (extended space included).
inline constexpr MUINT32 CONFIG_SIZE = 4096;

// ---- Header, common to type 0 and type 1.
inline constexpr MUINT32 RegID           = 0x00;  // vendor id (low), device id (high)
inline constexpr MUINT32 RegCOMMAND_STATUS = 0x04;  // command (low half), status (high half)
inline constexpr MUINT32 REG_CLASS       = 0x08;  // revision id (byte 0), class code (bytes 1-3)
inline constexpr MUINT32 RegHEADER       = 0x0C;  // cache line, latency, header type, BIST
inline constexpr MUINT32 RegBAR0         = 0x10;
inline constexpr MUINT32 RegBAR1         = 0x14;
inline constexpr MUINT32 RegBAR2         = 0x18;
inline constexpr MUINT32 BAR_COUNT       = 6;  // type 0; type 1 has two
inline constexpr MUINT32 RegCAP_PTR      = 0x34;
inline constexpr MUINT32 REG_INTERRUPT   = 0x3C;  // line (byte 0, writable), pin (byte 1)

// ---- Type 0 only.
inline constexpr MUINT32 RegSUBSYSTEM  = 0x2C;  // subsystem vendor id (low), subsystem id (high)

// ---- Type 1 only.
inline constexpr MUINT32 RegBRIDGE_BUSES      = 0x18;  // primary, secondary, subordinate, latency
inline constexpr MUINT32 BUS_NUMBERS_WRITABLE = 0xFFFFFFFF;

// Command register (low half of RegCOMMAND_STATUS). Bits the simulated functions let software change:
// I/O space, memory space, bus master, parity error response, SERR#, interrupt disable.
inline constexpr MUINT32 COMMAND_MEMORY_ENABLE = 1u << 1;
inline constexpr MUINT32 COMMAND_BUS_MASTER    = 1u << 2;
inline constexpr MUINT32 COMMAND_WRITABLE      = 0x0547;
// Status register (high half of RegCOMMAND_STATUS): capabilities list present.
inline constexpr MUINT32 STATUS_CAP_LIST = 1u << (16 + 4);

// Header type byte (byte 2 of RegHEADER).
inline constexpr MUINT32 HEADER_TYPE_SHIFT          = 16;
inline constexpr MUINT32 HEADER_TYPE_BRIDGE         = 0x01;
inline constexpr MUINT32 HEADER_TYPE_MULTI_FUNCTION = 0x80;
inline constexpr MUINT32 HEADER_WRITABLE            = 0x0000FFFF;  // cache line size, latency timer

inline constexpr MUINT32 INTERRUPT_LINE_WRITABLE = 0x000000FF;
inline constexpr MUINT32 INTERRUPT_PIN_INTA      = 0x00000100;

// Base address register low bits (read only).
inline constexpr MUINT32 BAR_FLAGS_MASK   = 0x0000000F;
inline constexpr MUINT32 BAR_TYPE_64BIT   = 0x00000004;  // bits 1-2 = 10b
inline constexpr MUINT32 BAR_PREFETCHABLE = 0x00000008;

// Class codes (bytes 1-3 of REG_CLASS).
inline constexpr MUINT32 CLASS_VIDEO_CONTROLLER = 0x040000;  // multimedia, video
inline constexpr MUINT32 CLASS_PCI_BRIDGE       = 0x060400;
inline constexpr MUINT32 CLASS_SHIFT            = 8;

// ---- Capabilities (standard list, first entry at 0x40 or above).
inline constexpr MUINT32 CAP_ID_PM      = 0x01;
inline constexpr MUINT32 CAP_ID_PCIE    = 0x10;
inline constexpr MUINT32 CAP_NEXT_SHIFT = 8;

// Power management capability: PMC version 3; PMCSR power state (bits 0-1) writable.
inline constexpr MUINT32 PM_CAP_VERSION_3    = 0x0003u << 16;
inline constexpr MUINT32 PM_REG_CONTROL      = 0x04;
inline constexpr MUINT32 PM_CONTROL_WRITABLE = 0x00000003;

// PCI Express capability: registers relative to the capability.
inline constexpr MUINT32 PCIE_REG_FLAGS   = 0x00;  // id, next, capabilities register (high half)
inline constexpr MUINT32 PCIE_REG_DEVCAP  = 0x04;
inline constexpr MUINT32 PCIE_REG_DEVCTL  = 0x08;  // device control (low), device status (high)
inline constexpr MUINT32 PCIE_REG_LINKCAP = 0x0C;
inline constexpr MUINT32 PCIE_CAP_LINK_CTL_STATUS = 0x10;  // link control (low), link status (high)
inline constexpr MUINT32 PCIE_CAP_SIZE    = 0x3C;

inline constexpr MUINT32 PCIE_FLAGS_VERSION_2      = 0x0002u << 16;
inline constexpr MUINT32 PCIE_FLAGS_TYPE_SHIFT     = 16 + 4;
inline constexpr MUINT32 PCIE_TYPE_ENDPOINT        = 0x0;
inline constexpr MUINT32 PCIE_TYPE_ROOT_PORT       = 0x4;
inline constexpr MUINT32 PCIE_TYPE_DOWNSTREAM_PORT = 0x6;
inline constexpr MUINT32 PCIE_DEVCTL_WRITABLE      = 0x0000FFFF;  // device control; status bits are not modelled
inline constexpr MUINT32 PCIE_DEVCAP_PAYLOAD_256   = 0x00000001;

// Link capabilities: maximum speed (bits 0-3) and width (bits 4-9).
inline constexpr MUINT32 LINKCAP_SPEED_SHIFT = 0;
inline constexpr MUINT32 LINKCAP_WIDTH_SHIFT = 4;
// Link control (low half): ASPM, read completion boundary, link disable, common clock and
// extended synch are stored; Retrain Link (bit 5) is an action and always reads 0.
inline constexpr MUINT32 LINKCTL_WRITABLE = 0x000000DB;
inline constexpr MUINT32 LINKCTL_RETRAIN  = 1u << 5;
// Link status (high half of the link control dword).
inline constexpr MUINT32 LINKSTA_SPEED_SHIFT = 16;  // current link speed, 1 = 2.5 Gb/s
inline constexpr MUINT32 LINKSTA_SPEED_MASK  = 0xFu;
inline constexpr MUINT32 LINKSTA_WIDTH_SHIFT = 20;  // negotiated link width
inline constexpr MUINT32 LINKSTA_WIDTH_MASK  = 0x3Fu;
inline constexpr MUINT32 LINKSTA_TRAINING    = 1u << 27;  // link training in progress
inline constexpr MUINT32 LINKSTA_SLOT_CLOCK  = 1u << 28;
inline constexpr MUINT32 LINKSTA_DLL_ACTIVE  = 1u << 29;

// ---- Extended capabilities (from 0x100).
inline constexpr MUINT32 EXT_CAP_AER              = 0x100;  // the boards' advanced error reporting
inline constexpr MUINT32 EXT_CAP_ID_AER           = 0x0001;
inline constexpr MUINT32 EXT_CAP_VERSION_1        = 0x1u << 16;
inline constexpr MUINT32 AER_UNCORR_MASK          = 0x08;
inline constexpr MUINT32 AER_UNCORR_MASK_WRITABLE = 0x03FFF030;

// ---- Layout of the simulated functions.
// Boards: power management at 0x50, PCI Express at 0x60 (link control and status at 0x70),
// advanced error reporting at 0x100, a vendor-specific control dword at 0xE0.
inline constexpr MUINT32 BOARD_CAP_PM           = 0x50;
inline constexpr MUINT32 CAP_PCIE               = 0x60;
inline constexpr MUINT32 CfgMEM_SIZE            = 0x40;  // first generation: memory size code, bits 0-1
inline constexpr MUINT32 CFG_MEM_SIZE_MASK      = 0x3;
inline constexpr MUINT32 CfgCHIP_CONTROL        = 0xE0;
inline constexpr MUINT32 BOARD_VENDOR_CTL_RESET = 0x00000003;  // power-on value; bits 0-1 set
// Bridges: PCI Express at 0x40 (link control and status at 0x50).
inline constexpr MUINT32 BRIDGE_CAP_PCIE = 0x40;
}  // namespace QelSimPci
