// One trace record: a 16-bit tag naming the event and up to three arguments, each with the
// format a trace viewer prints it in. Trace managers stamp the thread and time when they keep a
// record.
#pragma once

#include <cstring>

#include "QelBaseTypes.h"

// How a viewer prints one argument. The numbers are stored in trace files.
enum class ArgFmt : MUINT32
{
    None  = 0,
    Dec8  = 1,
    Hex8  = 2,
    Chr8  = 3,
    Dec16 = 4,
    Hex16 = 5,
    Msg16 = 6,
    Dec32 = 7,
    Hex32 = 8,
    Dec64 = 9,
    Hex64 = 10,
    Str8  = 11,
};

// Header word of a record, fields from bit 0 upward.
struct tagTraceCode
{
    MUINT32 bUseRepCtn : 1;    // uiRepetitionCounter counts identical records folded into this one
    MUINT32 bIsError   : 1;    // the traced operation failed
    MUINT32 uReserved  : 2;
    MUINT32 uArg3Fmt   : 4;    // ArgFmt of each argument
    MUINT32 uArg2Fmt   : 4;
    MUINT32 uArg1Fmt   : 4;
    MUINT32 uTagHeader : 16;   // what happened
};
static_assert(sizeof(tagTraceCode) == 4, "the trace header is one 32-bit word");

struct TraceCode
{
    static constexpr MUINT32 msc_uiArgCount = 3;
    static constexpr MUINT32 msc_uiArgBytes = 8;   // every argument has a 64-bit slot

    tagTraceCode oHeader;
    MUINT16      uiThreadId;
    MUINT16      uiRepetitionCounter;
    MUINT64      uiTimestamp;
    MUINT8       auiData[msc_uiArgCount * msc_uiArgBytes];   // argument i at byte i * 8, little-endian
};
static_assert(sizeof(TraceCode) == 40, "trace records are 40 bytes in trace files");

class XTrace
{
public:
    explicit XTrace(MUINT16 uiTag, ArgFmt eFmt1 = ArgFmt::None, MUINT64 uiArg1 = 0, ArgFmt eFmt2 = ArgFmt::None,
                    MUINT64 uiArg2 = 0, ArgFmt eFmt3 = ArgFmt::None, MUINT64 uiArg3 = 0)
    {
        memset(&m_oCode, 0, sizeof(m_oCode));
        m_oCode.oHeader.uTagHeader = uiTag;
        m_oCode.oHeader.uArg1Fmt = static_cast<MUINT32>(eFmt1);
        m_oCode.oHeader.uArg2Fmt = static_cast<MUINT32>(eFmt2);
        m_oCode.oHeader.uArg3Fmt = static_cast<MUINT32>(eFmt3);
        StoreArg(0, uiArg1);
        StoreArg(1, uiArg2);
        StoreArg(2, uiArg3);
    }

    MUINT16 GetTag() const { return static_cast<MUINT16>(m_oCode.oHeader.uTagHeader); }
    ArgFmt GetArgFmt(MUINT32 uiIndex) const
    {
        switch (uiIndex)
        {
        case 0: return static_cast<ArgFmt>(m_oCode.oHeader.uArg1Fmt);
        case 1: return static_cast<ArgFmt>(m_oCode.oHeader.uArg2Fmt);
        case 2: return static_cast<ArgFmt>(m_oCode.oHeader.uArg3Fmt);
        default: return ArgFmt::None;
        }
    }
    // The argument's value; 0 past the third.
    MUINT64 GetArg(MUINT32 uiIndex) const
    {
        MUINT64 uiValue = 0;
        if (uiIndex < TraceCode::msc_uiArgCount)
        {
            for (MUINT32 uiByte = TraceCode::msc_uiArgBytes; uiByte-- > 0;)
                uiValue = (uiValue << 8) | m_oCode.auiData[uiIndex * TraceCode::msc_uiArgBytes + uiByte];
        }
        return uiValue;
    }

    TraceCode m_oCode;

private:
    void StoreArg(MUINT32 uiIndex, MUINT64 uiValue)
    {
        for (MUINT32 uiByte = 0; uiByte < TraceCode::msc_uiArgBytes; uiByte++, uiValue >>= 8)
            m_oCode.auiData[uiIndex * TraceCode::msc_uiArgBytes + uiByte] = static_cast<MUINT8>(uiValue);
    }
};
