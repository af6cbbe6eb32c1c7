#include "XEventNotificationMgr.h"

#include "OsServices.h"
#include "XPtrRegistry.h"

XEventNotificationMgr::XEventNotificationMgr(OsServices* poOsServices) : m_poOsServices(poOsServices)
{
    if (poOsServices == nullptr)
        m_bInitialized = FALSE;
}

LStatus XEventNotificationMgr::RegisterEvent(SHEvent hEvent)
{
    return XPtrRegistryAdd(m_dahEvent, hEvent);
}

LStatus XEventNotificationMgr::UnregisterEvent(SHEvent hEvent)
{
    return XPtrRegistryRemove(m_dahEvent, hEvent);
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
