// Engines of the simulated chip that a reset must stop first, and the engine status registers.
//
// Engines start when software sets their run or enable bit and stop when told to:
//   - the embedded processor (0xA40): bit 0 asks it to halt and reads 1 until it has, which takes
//     msc_uiHaltUs; bit 1 stops it at once (both bits then read 0);
//   - the processing engines (0x3000, 0x3400, 0x3800, 0x4000, 0x4400): bit 0 running, bit 31 stops
//     them (both clear);
//   - their requesters (0x323C, 0x363C, 0x3A3C, 0x433C, 0x473C): bit 0 busy until bits 1 and 2
//     pause them;
//   - the stream channels (0x2934 + 0x200 k): bit 0 enable, bit 6 active; a channel stops when
//     bit 5 of its byte of 0x2930 is written, and that bit then reads 0;
//   - the DMA queues (0x4D00): bits 0-9 busy, as software leaves them.
// With the engines_stuck fault every one of them runs from power-on and ignores every request.
// The engine status registers of both engine blocks (0x310, 0x6B10) keep what is written, except
// bit 3, which reports the engine_fatal fault. A chip reset stops every engine.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdSimRegisterFile.h"

class CQelSimChip;

namespace QelSimChip
{
inline constexpr MUINT32 RegARMA_CTL         = 0xA40;
inline constexpr MUINT32 ARMA_CTL_HALT       = 1u << 0;
inline constexpr MUINT32 ARMA_CTL_STOP       = 1u << 1;
inline constexpr MUINT32 ENGINE_COUNT        = 5;
inline constexpr MUINT32 REG_ENGINE_CTL[ENGINE_COUNT] = {0x3000, 0x3400, 0x3800, 0x4000, 0x4400};
inline constexpr MUINT32 ENGINE_CTL_RUNNING  = 1u << 0;
inline constexpr MUINT32 ENGINE_CTL_STOP     = 1u << 31;
inline constexpr MUINT32 REG_ENGINE_REQ[ENGINE_COUNT] = {0x323C, 0x363C, 0x3A3C, 0x433C, 0x473C};
inline constexpr MUINT32 ENGINE_REQ_BUSY     = 1u << 0;
inline constexpr MUINT32 ENGINE_REQ_PAUSE    = (1u << 1) | (1u << 2);
inline constexpr MUINT32 STREAM_COUNT        = 4;
inline constexpr MUINT32 RegSTREAM_CTL0      = 0x2934;
inline constexpr MUINT32 STREAM_CTL_STRIDE   = 0x200;
inline constexpr MUINT32 STREAM_CTL_ENABLE   = 1u << 0;
inline constexpr MUINT32 STREAM_CTL_ACTIVE   = 1u << 6;
inline constexpr MUINT32 RegSTREAM_STOP      = 0x2930;
inline constexpr MUINT32 STREAM_STOP_REQUEST = 1u << 5;   // in each channel's byte
inline constexpr MUINT32 RegDMA_QUEUES       = 0x4D00;
inline constexpr MUINT32 DMA_QUEUES_BUSY     = 0x3FF;
inline constexpr MUINT32 ENGINE_BLOCK_STRIDE = 0x6800;
inline constexpr MUINT32 RegENG_STATUS       = 0x310;    // in each of the two engine blocks
inline constexpr MUINT32 ENGINE_STATUS_FATAL = 1u << 3;
}  // namespace QelSimChip

class CQelSimChipEngines : public CQelSimRegBehaviour
{
public:
    static constexpr MUINT32 msc_uiHaltUs = 1000;

    explicit CQelSimChipEngines(CQelSimChip& roChip) : m_roChip(roChip) {}

    void Attach();
    // Every engine stopped (running, with the engines_stuck fault).
    void PowerOn();

    MUINT32 OnRead(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiByteMask) override;
    MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                    MUINT32 uiByteMask) override;

private:
    enum class EKind
    {
        None,
        Processor,
        Engine,
        Requester,
        StreamControl,
        StreamStop,
        DmaQueues,
        Status,
    };
    EKind KindAt(MUINT32 uiOffset) const;
    bool Stuck() const;

    CQelSimChip& m_roChip;
    MUINT64 m_uiHaltAtUs = 0;   // when a requested processor halt completes
};
