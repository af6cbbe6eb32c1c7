// PCI configuration space of the chip's PCI Express function, as far as the core initialisation
// reads and writes it beyond the standard header (QelPciCfgRegs.h): where the chip keeps its
// capabilities, and what its reset clears.
#pragma once

#include "QelPciCfgRegs.h"

namespace Hb4PcieCfg
{
// The chip's PCI Express capability sits at 0x60, its advanced error reporting at 0x100.
inline constexpr MUINT32 CAP_PCIE    = 0x60;
inline constexpr MUINT32 EXT_CAP_AER = 0x100;

inline constexpr MUINT32 RegPCIE_LINKCTL       = CAP_PCIE + PciCfg::PCIE_CAP_LINK_CTL_STATUS;   // 0x70
inline constexpr MUINT32 RegPCIE_UNCORERR_MASK = EXT_CAP_AER + PciCfg::AER_UNCORR_MASK;         // 0x108

// The standard header and capability area that a chip reset clears: 64 dwords from offset 0.
inline constexpr MUINT32 CONFIG_SAVE_DWORDS = 64;
// Dwords left out of the ascending write-back: the command/status dword, written last once the
// BARs are in place, and the dwords at 72 and 76, which are not written back at all.
inline constexpr MUINT32 CONFIG_RESTORE_SKIP_A = 72;
inline constexpr MUINT32 CONFIG_RESTORE_SKIP_B = 76;
}  // namespace Hb4PcieCfg
