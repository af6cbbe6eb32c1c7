// Trace manager that keeps nothing: tracing costs one call, and a traced access behaves exactly
// like a plain one. This is the trace manager of every board of the memory-initialisation tool.
#pragma once

#include "XTracesMgr.h"

class XTracesMgrStub : public XTracesMgr
{
public:
    LStatus Add(const XTrace&, LStatus) override { return 1; }
    LStatus ClearTraceBuffer() override { return 1; }
    MUINT32 GetTraceSize() override { return 0; }
    LStatus GetTraceBuff(MUINT8*, MUINT32& ruiSize, MUINT32& ruiRecordCount) override
    {
        ruiSize = 0;
        ruiRecordCount = 0;
        return 1;
    }
    MUINT32 GetTraceTotalSize() override { return 0; }
    MUINT32 GetTraceStringTableSize() override { return 0; }
    const MCHAR8* GetTraceStringTable() override { return nullptr; }
    LStatus DisableTrace() override { return 1; }
    LStatus EnableTrace() override { return 1; }
};
