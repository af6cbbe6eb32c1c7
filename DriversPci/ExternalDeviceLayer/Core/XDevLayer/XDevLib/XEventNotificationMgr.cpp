#include "XEventNotificationMgr.h"

#include "OsServices.h"

XEventNotificationMgr::XEventNotificationMgr(OsServices* poOsServices) : m_poOsServices(poOsServices)
{
    if (poOsServices == nullptr)
        m_bInitialized = FALSE;
}

LStatus XEventNotificationMgr::RegisterEvent(SHEvent hEvent)
{
    if (hEvent == nullptr)
        return -2;
    if (m_dahEvent.Contains(hEvent))
        return -1;
    m_dahEvent.Add(hEvent);
    return 0;
}

LStatus XEventNotificationMgr::UnregisterEvent(SHEvent hEvent)
{
    const MINT32 iIndex = m_dahEvent.Find(hEvent);
    if (iIndex < 0)
        return -1;
    m_dahEvent.RemoveAt(iIndex);
    return 0;
}

MUINT32 XEventNotificationMgr::Notify()
{
    if (m_poOsServices == nullptr)
        return 0;
    MUINT32 uiTriggered = 0;
    for (MINT32 i = 0; i < m_dahEvent.GetSize(); i++)
    {
        if (m_poOsServices->Event_Trigger(m_dahEvent[i]))
            uiTriggered++;
    }
    return uiTriggered;
}
