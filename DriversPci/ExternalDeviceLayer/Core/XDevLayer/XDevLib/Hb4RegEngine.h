// Engine blocks of the chip and the engine registers that must be quiet before the chip is reset.
//
// The chip has two copies of its engine block, 0x6800 apart; which one reports the state that the
// initialisation checks depends on where the board's system processor sits. Block 0 also holds
// the chip-wide reset control. The remaining engines (processor, processing engines and their
// requesters, host DMA, stream channels) are stopped by the reset sequence only; their registers
// are named after what that sequence does with them.
#pragma once

#include "QelBaseTypes.h"

namespace Hb4Engine
{
// ---- Engine blocks.
inline constexpr MUINT32 ENGINE_BLOCK_STRIDE = 0x6800;
inline constexpr MUINT32 ENGINE_BLOCK_COUNT  = 2;
inline constexpr MUINT32 EngineBlockBase(MUINT32 uiBlock) { return uiBlock * ENGINE_BLOCK_STRIDE; }

// Offsets inside a block.
inline constexpr MUINT32 RegENG_STATUS = 0x310;
inline constexpr MUINT32 ENG_STATUS_FATAL = 1u << 3;   // a strap or power fault the engine cannot run with
inline constexpr MUINT32 RegENG_BUS_CFG = 0x3A8;
inline constexpr MUINT32 ENG_BUS_CFG_CLEAR = 1u << 9;
inline constexpr MUINT32 ENG_BUS_CFG_SET   = 1u << 24;

// Three words that hand the memory to the memory test: written at offsets 4, 8, then 0.
inline constexpr MUINT32 RegENG_MEMPATH0 = 0x0;
inline constexpr MUINT32 RegENG_MEMPATH1 = 0x4;
inline constexpr MUINT32 RegENG_MEMPATH2 = 0x8;
inline constexpr MUINT32 ENG_MEMPATH0_TEST = 0x00200000;
inline constexpr MUINT32 ENG_MEMPATH1_TEST = 0x20000000;
inline constexpr MUINT32 ENG_MEMPATH2_TEST = 0x42FE0000;

// ---- Chip reset through block 0 (revision 1 chips; revision 0 chips are reset by a board pin).
inline constexpr MUINT32 RegCHIP_CTL        = 0x300;
inline constexpr MUINT32 CHIP_CTL_RESET     = 1u << 1;
inline constexpr MUINT32 ENG_STATUS_RESET_CLEAR = (1u << 24) | (1u << 25);   // cleared with the reset
// The reset also sets uHstResetCfg and uE2wpchg in the EEPROM write-protect register
// (HST_EEPROMWP, Hb4RegEeprom.h).

// ---- Host ports, put in their idle configuration before a pin reset.
inline constexpr MUINT32 HOST_PORT_COUNT = 4;
inline constexpr MUINT32 RegHOST_PORT_CFG(MUINT32 uiPort) { return 0x1000 + uiPort * 0x400; }
inline constexpr MUINT32 RegHOST_PORT_MODE(MUINT32 uiPort) { return 0x2000 + uiPort * 4; }
inline constexpr MUINT32 HOST_PORT_CFG_IDLE  = 0x98000018;
inline constexpr MUINT32 HOST_PORT_MODE_IDLE = 0x00020001;

// ---- DMA queues: bits 0-9 report a busy queue, bits 16-25 enable the queues.
inline constexpr MUINT32 RegDMA_QUEUES       = 0x4D00;
inline constexpr MUINT32 DMA_QUEUES_BUSY     = 0x3FFu;
inline constexpr MUINT32 DMA_QUEUES_ENABLE   = 0x3FFu << 16;

// ---- Embedded processor: bit 0 asks it to halt and reads 1 until it has; bit 1 stops it at once.
inline constexpr MUINT32 RegARMA_CTL   = 0xA40;
inline constexpr MUINT32 ARMA_CTL_HALT = 1u << 0;
inline constexpr MUINT32 ARMA_CTL_STOP = 1u << 1;

// ---- Processing engines, 0x400 apart: group A three engines from 0x3000, group B two from
// 0x4000. Control: bit 0 running, bit 31 stop request. Each engine's memory requester sits above
// its control register (0x23C in group A, 0x33C in group B): bits 1 and 2 pause it, bit 9 aborts
// its requests, bit 0 reads 1 while it is busy. In group B the abort bit is in the control
// register.
inline constexpr MUINT32 ENGINE_STRIDE       = 0x400;
inline constexpr MUINT32 ENGINE_A_COUNT      = 3;
inline constexpr MUINT32 ENGINE_B_COUNT      = 2;
inline constexpr MUINT32 RegENGA_CTL(MUINT32 uiEngine) { return 0x3000 + uiEngine * ENGINE_STRIDE; }
inline constexpr MUINT32 RegENGB_CTL(MUINT32 uiEngine) { return 0x4000 + uiEngine * ENGINE_STRIDE; }
inline constexpr MUINT32 ENGINE_A_REQ_FROM_CTL = 0x23C;
inline constexpr MUINT32 ENGINE_B_REQ_FROM_CTL = 0x33C;
inline constexpr MUINT32 RegENGA_REQ(MUINT32 uiEngine) { return RegENGA_CTL(uiEngine) + ENGINE_A_REQ_FROM_CTL; }
inline constexpr MUINT32 RegENGB_REQ(MUINT32 uiEngine) { return RegENGB_CTL(uiEngine) + ENGINE_B_REQ_FROM_CTL; }
inline constexpr MUINT32 ENGINE_CTL_RUNNING  = 1u << 0;
inline constexpr MUINT32 ENGINE_CTL_ABORT    = 1u << 9;
inline constexpr MUINT32 ENGINE_CTL_STOP     = 1u << 31;
inline constexpr MUINT32 ENGINE_REQ_BUSY     = 1u << 0;
inline constexpr MUINT32 ENGINE_REQ_PAUSE    = (1u << 1) | (1u << 2);
inline constexpr MUINT32 ENGINE_REQ_ABORT    = 1u << 9;

// ---- Host DMA channels, 0x80 apart: bit 2 stops the channel.
inline constexpr MUINT32 HOST_DMA_COUNT = 3;
inline constexpr MUINT32 RegHOST_DMA_CTL(MUINT32 uiChannel) { return 0x80C + uiChannel * 0x80; }
inline constexpr MUINT32 HOST_DMA_CTL_STOP = 1u << 2;

// ---- Stream channels. Each has a control register (bit 0 enable, bit 6 active) and a byte of the
// shared stop register: bit 4 arms the stop, bit 5 requests it and reads 1 until the channel has
// stopped.
inline constexpr MUINT32 STREAM_COUNT = 4;
inline constexpr MUINT32 RegSTREAM_CTL(MUINT32 uiChannel) { return 0x2934 + uiChannel * 0x200; }
inline constexpr MUINT32 STREAM_CTL_ENABLE = 1u << 0;
inline constexpr MUINT32 STREAM_CTL_ACTIVE = 1u << 6;
inline constexpr MUINT32 RegSTREAM_STOP = 0x2930;
inline constexpr MUINT32 StreamStopArm(MUINT32 uiChannel) { return (1u << 4) << (8 * uiChannel); }
inline constexpr MUINT32 StreamStopRequest(MUINT32 uiChannel) { return (1u << 5) << (8 * uiChannel); }

// ---- FPGA clock domain while the engines stop: bit 17 set, and of the low byte only bit 4 kept.
inline constexpr MUINT32 FPGACLK_QUIESCE_SET      = 1u << 17;
inline constexpr MUINT32 FPGACLK_LOW_BYTE         = 0xFF;
inline constexpr MUINT32 FPGACLK_QUIESCE_KEEP_LOW = 1u << 4;
}  // namespace Hb4Engine
