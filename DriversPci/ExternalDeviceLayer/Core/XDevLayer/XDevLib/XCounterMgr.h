// Counter managers: keep a board's event counters and read its reference counter.
// XCounterMgrDummy has neither, for boards that count nothing.
#pragma once

#include "QelBaseTypes.h"
#include "XObject.h"

class OsServices;
class XHwAccess;
class XInterruptMgr;
class XDevReferenceCnt;

class XCounterMgr : public XObject
{
public:
    // puiCounters: storage of uiCounterCount counters, owned by the caller; null with 0 for none.
    XCounterMgr(OsServices* poOsServices, XHwAccess* poHwAccess, XInterruptMgr* poInterruptMgr,
                XDevReferenceCnt* poRefCnt, MUINT64* puiCounters, MUINT32 uiCounterCount);
    ~XCounterMgr() override {}

    // The board's reference counter now; 0 without a reference-counter device.
    virtual MUINT64 GetReferenceCount();
    MUINT32 GetCounterCount() const { return m_uiCounterCount; }
    // 0 with the counter's value; -1 for an index past the last counter.
    LStatus GetCounter(MUINT32 uiIndex, MUINT64& ruiValue) const;

    OsServices*       m_poOsServices;
    XHwAccess*        m_poHwAccess;
    XInterruptMgr*    m_poInterruptMgr;
    XDevReferenceCnt* m_poRefCnt;
    MUINT64*          m_puiCounters;
    MUINT32           m_uiCounterCount;
};

class XCounterMgrDummy : public XCounterMgr
{
public:
    XCounterMgrDummy(OsServices* poOsServices, XHwAccess* poHwAccess, XInterruptMgr* poInterruptMgr)
        : XCounterMgr(poOsServices, poHwAccess, poInterruptMgr, nullptr, nullptr, 0)
    {
    }
};
