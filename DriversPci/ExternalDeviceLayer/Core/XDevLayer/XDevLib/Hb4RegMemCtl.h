// Memory controller of the chip: the DDR controller with its memory back end (MBE) and memory
// front end (MFE) arbiters, and the select register that routes PHY register accesses to one or
// several of the four DDR PHYs (Hb4RegPhy.h).
#pragma once

#include "QelBaseTypes.h"

namespace Hb4MemCtl
{
// ---- Controller.
inline constexpr MUINT32 RegMEM_CONFIG = 0x5D00;   // bits 0-1 interleave mode, bits 2-5 PHYs in use
inline constexpr MUINT32 RegMEM_CTL0   = 0x5D04;   // written last: hands the trained memory to the clients
inline constexpr MUINT32 RegMEM_WTST0  = 0x5D10;   // four wait-state (DRAM timing) registers
inline constexpr MUINT32 WTST_COUNT    = 4;
inline constexpr MUINT32 RegMBE_ARB0   = 0x5D20;
inline constexpr MUINT32 RegMBE_ARB1   = 0x5D24;

inline constexpr MUINT32 MEM_CONFIG_PHY_SHIFT = 2;

enum EInterleaveMode : MUINT32
{
    INTERLEAVE_MONO = 0,   // one PHY
    INTERLEAVE_DUAL = 1,   // two PHYs
    INTERLEAVE_QUAD = 2,   // four PHYs
};

inline constexpr MUINT32 RegMEM_STATUS1        = 0x5DE4;
inline constexpr MUINT32 MEM_STATUS1_READY     = 1u << 24;
inline constexpr MUINT32 MEM_STATUS1_BUSY      = 1u << 29;

// Bits 0-3: the PHYs that receive the PHY register accesses that follow (several at once for a
// broadcast write).
inline constexpr MUINT32 RegMEM_PHYSELECT = 0x5E00;
inline constexpr MUINT32 PHY_COUNT        = 4;
inline constexpr MUINT32 PHY_MASK_ALL     = 0xF;

// ---- Client arbitration of the MBE: one word per memory client, 17 clients from 0x5D60.
inline constexpr MUINT32 RegMBE_CLIENT_ARB0   = 0x5D60;
inline constexpr MUINT32 MBE_CLIENT_COUNT     = 17;
inline constexpr MUINT32 MbeClientArbReg(MUINT32 uiClient) { return RegMBE_CLIENT_ARB0 + 4 * uiClient; }
inline constexpr MUINT32 MBE_ARB1_DEFAULT     = 0x08601060;

// Client 0 is the host: a full share while no memory-client port is used, less otherwise.
inline constexpr MUINT32 MBE_CLIENT_HOST          = 0;
inline constexpr MUINT32 CLIENT_ARB_HOST_NO_PORT  = 0x0F0F0F00;
inline constexpr MUINT32 CLIENT_ARB_HOST_PORTS    = 0x0F0F0800;
// Clients 2 and 16 serve the FPGA ports together: their common share, and the share they need
// when the only ports in use are FPGA outputs.
inline constexpr MUINT32 MBE_CLIENT_FPGA_A        = 2;
inline constexpr MUINT32 MBE_CLIENT_FPGA_B        = 16;
inline constexpr MUINT32 CLIENT_ARB_FPGA_DEFAULT  = 0x08080800;
inline constexpr MUINT32 CLIENT_ARB_FPGA_OUT_ONLY = 0x080F0400;

// ---- MFE arbitration. ARB0-ARB2 share the client cycles in percent: ARB0 bits 8-15 the
// demultiplexer inputs, bits 0-7 its outputs; ARB1 bits 8-15 the rest; ARB2 the total.
inline constexpr MUINT32 RegMFE_ARB0 = 0x5C00;
inline constexpr MUINT32 RegMFE_ARB1 = 0x5C04;
inline constexpr MUINT32 RegMFE_ARB2 = 0x5C08;
inline constexpr MUINT32 RegMFE_ARB3 = 0x5C0C;
inline constexpr MUINT32 RegMFE_ARB4 = 0x5C10;
inline constexpr MUINT32 RegMFE_ARB5 = 0x5C14;
inline constexpr MUINT32 RegMFE_ARB6 = 0x5C18;
inline constexpr MUINT32 MFE_ARB_SHARE_SHIFT = 8;
inline constexpr MUINT32 MFE_ARB_SHARE_MASK  = 0xFF;
inline constexpr MUINT32 MFE_ARB_TOTAL_PERCENT = 100;
}  // namespace Hb4MemCtl
