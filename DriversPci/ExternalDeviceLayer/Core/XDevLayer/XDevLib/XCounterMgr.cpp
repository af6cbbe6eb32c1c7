#include "XCounterMgr.h"

#include "XDevBoardModel.h"

XCounterMgr::XCounterMgr(OsServices* poOsServices, XHwAccess* poHwAccess, XInterruptMgr* poInterruptMgr,
                         XDevReferenceCnt* poRefCnt, MUINT64* puiCounters, MUINT32 uiCounterCount)
    : m_poOsServices(poOsServices),
      m_poHwAccess(poHwAccess),
      m_poInterruptMgr(poInterruptMgr),
      m_poRefCnt(poRefCnt),
      m_puiCounters(puiCounters),
      m_uiCounterCount((puiCounters != nullptr) ? uiCounterCount : 0)
{
}

MUINT64 XCounterMgr::GetReferenceCount()
{
    return (m_poRefCnt != nullptr) ? m_poRefCnt->GetReferenceCount() : 0;
}

LStatus XCounterMgr::GetCounter(MUINT32 uiIndex, MUINT64& ruiValue) const
{
    if (uiIndex >= m_uiCounterCount)
        return -1;
    ruiValue = m_puiCounters[uiIndex];
    return 0;
}
