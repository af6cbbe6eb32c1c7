#include "XTracesReg.h"

namespace
{
// First byte of a transferred block, 0 when there is no buffer.
MUINT8 FirstByte(const MUINT8* puiBuffer)
{
    return (puiBuffer != nullptr) ? puiBuffer[0] : 0;
}
}  // namespace

XTracesReg::XTracesReg(XTracesMgr& roTracesMgr, XRegAccess& roRegAccess)
    : m_roRegAccess(roRegAccess), m_roTracesMgr(roTracesMgr)
{
    m_uiChipRevision = roRegAccess.m_uiChipRevision;
}

int XTracesReg::Read(MUINT32 uiOffset, MUINT32& ruiValue)
{
    const int iStatus = m_roRegAccess.Read(uiOffset, ruiValue);
    m_roTracesMgr.Add(XTrace(msc_uiTagReadDword, ArgFmt::Hex16, uiOffset, ArgFmt::Hex32, ruiValue), iStatus);
    return iStatus;
}

int XTracesReg::Read(MUINT32 uiOffset, MUINT8& ruiValue)
{
    const int iStatus = m_roRegAccess.Read(uiOffset, ruiValue);
    m_roTracesMgr.Add(XTrace(msc_uiTagReadByte, ArgFmt::Hex16, uiOffset, ArgFmt::Hex8, ruiValue), iStatus);
    return iStatus;
}

int XTracesReg::Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount)
{
    const int iStatus = m_roRegAccess.Read(uiOffset, puiBuffer, uiCount);
    m_roTracesMgr.Add(XTrace(msc_uiTagReadBlock, ArgFmt::Hex16, uiOffset, ArgFmt::Hex8, uiCount, ArgFmt::Hex8,
                             FirstByte(puiBuffer)),
                      iStatus);
    return iStatus;
}

int XTracesReg::Write(MUINT32 uiOffset, MUINT32 uiValue)
{
    const int iStatus = m_roRegAccess.Write(uiOffset, uiValue);
    m_roTracesMgr.Add(XTrace(msc_uiTagWriteDword, ArgFmt::Hex16, uiOffset, ArgFmt::Hex32, uiValue), iStatus);
    return iStatus;
}

int XTracesReg::Write(MUINT32 uiOffset, MUINT8 uiValue)
{
    const int iStatus = m_roRegAccess.Write(uiOffset, uiValue);
    m_roTracesMgr.Add(XTrace(msc_uiTagWriteByte, ArgFmt::Hex16, uiOffset, ArgFmt::Hex8, uiValue), iStatus);
    return iStatus;
}

int XTracesReg::Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount)
{
    const int iStatus = m_roRegAccess.Write(uiOffset, puiBuffer, uiCount);
    m_roTracesMgr.Add(XTrace(msc_uiTagWriteBlock, ArgFmt::Hex16, uiOffset, ArgFmt::Hex8, uiCount, ArgFmt::Hex8,
                             FirstByte(puiBuffer)),
                      iStatus);
    return iStatus;
}
