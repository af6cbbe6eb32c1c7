// Trace manager: where the trace records of a board go.
#pragma once

#include "QelBaseTypes.h"
#include "XObject.h"
#include "XTrace.h"

class XTracesMgr : public XObject
{
public:
    ~XTracesMgr() override {}

    // Keeps the record with the status of the traced operation.
    virtual LStatus Add(const XTrace& roTrace, LStatus iStatus) = 0;
    virtual LStatus ClearTraceBuffer() = 0;
    // Bytes of records currently kept.
    virtual MUINT32 GetTraceSize() = 0;
    // Copies up to ruiSize bytes of records into puiBuffer; ruiSize receives the bytes copied and
    // ruiRecordCount the number of records.
    virtual LStatus GetTraceBuff(MUINT8* puiBuffer, MUINT32& ruiSize, MUINT32& ruiRecordCount) = 0;
    // Bytes of the trace buffer (kept or not).
    virtual MUINT32 GetTraceTotalSize() = 0;
    // Table of the texts that Msg16 and Str8 arguments refer to.
    virtual MUINT32 GetTraceStringTableSize() = 0;
    virtual const MCHAR8* GetTraceStringTable() = 0;
    virtual LStatus DisableTrace() = 0;
    virtual LStatus EnableTrace() = 0;
};
