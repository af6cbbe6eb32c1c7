// Traced register access: performs each access on the board's register access, then hands a
// trace record of it, with the access result, to the trace manager. Devices reach the registers
// through it (XServicesCore::m_roTracesReg).
#pragma once

#include "XHwAccess.h"
#include "XTracesMgr.h"

class XTracesReg : public XRegAccess
{
public:
    // Trace tags of the six accesses.
    static constexpr MUINT16 msc_uiTagReadDword  = 0x1001;
    static constexpr MUINT16 msc_uiTagReadByte   = 0x1002;
    static constexpr MUINT16 msc_uiTagReadBlock  = 0x1003;
    static constexpr MUINT16 msc_uiTagWriteDword = 0x1004;
    static constexpr MUINT16 msc_uiTagWriteByte  = 0x1005;
    static constexpr MUINT16 msc_uiTagWriteBlock = 0x1006;

    // Reports the chip revision of the register access it wraps.
    XTracesReg(XTracesMgr& roTracesMgr, XRegAccess& roRegAccess);

    // Each returns the result of the underlying access unchanged.
    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override;
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override;
    int Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount) override;
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override;
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override;
    int Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount) override;

    XRegAccess& m_roRegAccess;
    XTracesMgr& m_roTracesMgr;
};
