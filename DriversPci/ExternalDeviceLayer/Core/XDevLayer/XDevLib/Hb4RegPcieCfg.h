// PCI configuration space of the chip's PCI Express function, as far as the core initialisation
// reads and writes it.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4PcieCfg
{
inline constexpr MUINT32 RegPCIE_ID             = 0x00;   // vendor id (low half), device id (high half)
inline constexpr MUINT32 RegPCIE_COMMAND_STATUS = 0x04;

// Identity of the chip once it answers again after a reset: vendor 0x1E5B, device 0x0550 with
// any value in bits 16-19 (the device ids of the chip's variants).
inline constexpr MUINT32 PCIE_ID_CHIP         = 0x05501E5B;
inline constexpr MUINT32 PCIE_ID_VARIANT_MASK = 0x000F0000;
// What a read gives while the function is off the bus.
inline constexpr MUINT32 PCIE_ID_ABSENT       = 0xFFFFFFFF;

// Link control (low half) and link status (high half) of the PCI Express capability.
inline constexpr MUINT32 RegPCIE_LINKCTL           = 0x70;
inline constexpr MUINT32 PCIE_LINK_SPEED_SHIFT     = 16;   // bits 16-19
inline constexpr MUINT32 PCIE_LINK_SPEED_MASK      = 0xF;
inline constexpr MUINT32 PCIE_LINK_WIDTH_SHIFT     = 20;   // bits 20-25
inline constexpr MUINT32 PCIE_LINK_WIDTH_MASK      = 0x3F;
inline constexpr MUINT32 PCIE_LINK_SPEED_2_5GT     = 1;

// Uncorrectable error mask of the advanced error reporting capability; bit 4 masks data link
// protocol errors, which a link retrain can raise.
inline constexpr MUINT32 RegPCIE_UNCORERR_MASK     = 0x108;
inline constexpr MUINT32 PCIE_UNCORERR_DLP         = 1u << 4;

// The standard header and capability area that a chip reset clears: 64 dwords from offset 0.
inline constexpr MUINT32 CONFIG_SAVE_DWORDS = 64;
// Dwords left out of the ascending write-back: the command/status dword, written last once the
// BARs are in place, and the dwords at 72 and 76, which are not written back at all.
inline constexpr MUINT32 CONFIG_RESTORE_SKIP_A = 72;
inline constexpr MUINT32 CONFIG_RESTORE_SKIP_B = 76;
}  // namespace Hb4PcieCfg
