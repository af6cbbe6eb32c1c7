#include "QelVxdSimChipEngines.h"

#include "QelVxdSimBoard.h"
#include "QelVxdSimChip.h"

using namespace QelSimChip;

namespace
{
MUINT32 StreamControlRegister(MUINT32 uiChannel) { return RegSTREAM_CTL0 + uiChannel * STREAM_CTL_STRIDE; }
MUINT32 StreamStopBit(MUINT32 uiChannel) { return STREAM_STOP_REQUEST << (8 * uiChannel); }
}  // namespace

void CQelSimChipEngines::Attach()
{
    CQelSimRegisterFile& roRegisters = m_roChip.Board().Registers();
    roRegisters.Attach(RegARMA_CTL, 4, this);
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_COUNT; uiEngine++)
    {
        roRegisters.Attach(REG_ENGINE_CTL[uiEngine], 4, this);
        roRegisters.Attach(REG_ENGINE_REQ[uiEngine], 4, this);
    }
    for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT; uiChannel++)
    {
        roRegisters.Attach(StreamControlRegister(uiChannel), 4, this);
    }
    roRegisters.Attach(RegSTREAM_STOP, 4, this);
    roRegisters.Attach(RegDMA_QUEUES, 4, this);
    roRegisters.Attach(RegENG_STATUS, 4, this);
    roRegisters.Attach(ENGINE_BLOCK_STRIDE + RegENG_STATUS, 4, this);
}

bool CQelSimChipEngines::Stuck() const { return m_roChip.Board().Faults().bEnginesStuck; }

CQelSimChipEngines::EKind CQelSimChipEngines::KindAt(MUINT32 uiOffset) const
{
    if (uiOffset == RegARMA_CTL)
        return EKind::Processor;
    if (uiOffset == RegSTREAM_STOP)
        return EKind::StreamStop;
    if (uiOffset == RegDMA_QUEUES)
        return EKind::DmaQueues;
    if (uiOffset == RegENG_STATUS || uiOffset == ENGINE_BLOCK_STRIDE + RegENG_STATUS)
        return EKind::Status;
    for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT; uiChannel++)
    {
        if (uiOffset == StreamControlRegister(uiChannel))
            return EKind::StreamControl;
    }
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_COUNT; uiEngine++)
    {
        if (uiOffset == REG_ENGINE_CTL[uiEngine])
            return EKind::Engine;
        if (uiOffset == REG_ENGINE_REQ[uiEngine])
            return EKind::Requester;
    }
    return EKind::None;
}

void CQelSimChipEngines::PowerOn()
{
    CQelSimBoard& roBoard = m_roChip.Board();
    roBoard.PokeReg(RegARMA_CTL, 0);
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_COUNT; uiEngine++)
    {
        roBoard.PokeReg(REG_ENGINE_CTL[uiEngine], 0);
        roBoard.PokeReg(REG_ENGINE_REQ[uiEngine], 0);
    }
    for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT; uiChannel++)
    {
        roBoard.PokeReg(StreamControlRegister(uiChannel), 0);
    }
    roBoard.PokeReg(RegSTREAM_STOP, 0);
    roBoard.PokeReg(RegDMA_QUEUES, 0);
    m_uiHaltAtUs = 0;
}

MUINT32 CQelSimChipEngines::OnRead(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32)
{
    const bool bStuck = Stuck();
    switch (KindAt(uiOffset))
    {
    case EKind::Processor:
        if (bStuck)
            return uiStored | ARMA_CTL_HALT;
        if ((uiStored & ARMA_CTL_HALT) != 0 && m_roChip.NowUs() >= m_uiHaltAtUs)
        {
            roBoard.PokeReg(uiOffset, uiStored & ~ARMA_CTL_HALT);   // the processor has halted
            return uiStored & ~ARMA_CTL_HALT;
        }
        return uiStored;
    case EKind::Engine: return bStuck ? uiStored | ENGINE_CTL_RUNNING : uiStored;
    case EKind::Requester: return bStuck ? uiStored | ENGINE_REQ_BUSY : uiStored;
    case EKind::StreamControl: return bStuck ? uiStored | STREAM_CTL_ACTIVE : uiStored;
    case EKind::DmaQueues: return bStuck ? uiStored | DMA_QUEUES_BUSY : uiStored;
    case EKind::Status: return roBoard.Faults().bEngineFatal ? uiStored | ENGINE_STATUS_FATAL : uiStored;
    default: return uiStored;
    }
}

MUINT32 CQelSimChipEngines::OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                                    MUINT32)
{
    const bool bStuck = Stuck();
    switch (KindAt(uiOffset))
    {
    case EKind::Processor:
        if (bStuck)
            return uiWritten;
        if ((uiWritten & ARMA_CTL_STOP) != 0)
            return uiWritten & ~(ARMA_CTL_HALT | ARMA_CTL_STOP);
        if ((uiWritten & ARMA_CTL_HALT) != 0 && (uiStored & ARMA_CTL_HALT) == 0)
            m_uiHaltAtUs = m_roChip.NowUs() + msc_uiHaltUs;
        return uiWritten;
    case EKind::Engine:
        return !bStuck && (uiWritten & ENGINE_CTL_STOP) != 0 ? uiWritten & ~(ENGINE_CTL_RUNNING | ENGINE_CTL_STOP)
                                                              : uiWritten;
    case EKind::Requester:
        return !bStuck && (uiWritten & ENGINE_REQ_PAUSE) == ENGINE_REQ_PAUSE ? uiWritten & ~ENGINE_REQ_BUSY : uiWritten;
    case EKind::StreamControl:
        // Enabling starts the channel; disabling alone leaves it draining until its stop request.
        return (uiWritten & STREAM_CTL_ENABLE) != 0 ? uiWritten | STREAM_CTL_ACTIVE
                                                    : (uiWritten & ~STREAM_CTL_ACTIVE) | (uiStored & STREAM_CTL_ACTIVE);
    case EKind::StreamStop:
    {
        MUINT32 uiKept = uiWritten;
        for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT && !bStuck; uiChannel++)
        {
            if ((uiWritten & StreamStopBit(uiChannel)) != 0)
            {
                const MUINT32 uiControl = StreamControlRegister(uiChannel);
                roBoard.PokeReg(uiControl, roBoard.PeekReg(uiControl) & ~(STREAM_CTL_ACTIVE | STREAM_CTL_ENABLE));
                uiKept &= ~StreamStopBit(uiChannel);
            }
        }
        return uiKept;
    }
    case EKind::Status: return (uiWritten & ~ENGINE_STATUS_FATAL) | (uiStored & ENGINE_STATUS_FATAL);
    default: return uiWritten;
    }
}
