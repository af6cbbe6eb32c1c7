// Event notification manager of a board: clients register OS events, and the board's devices
// notify them all when something happens that clients wait for (a cable plugged, a mode change).
#pragma once

#include "OsServicesClient_Linux.h"
#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XObject.h"

class OsServices;

class XEventNotificationMgr : public XObject
{
public:
    // Not initialised without OS services.
    explicit XEventNotificationMgr(OsServices* poOsServices);
    ~XEventNotificationMgr() override {}

    // 0; -2 for a null event, -1 when it is already registered. The event stays the client's.
    LStatus RegisterEvent(SHEvent hEvent);
    // 0; -2 for a null event, -1 when it is not registered.
    LStatus UnregisterEvent(SHEvent hEvent);
    // Triggers every registered event; the number triggered.
    MUINT32 Notify();
    MUINT32 GetEventCount() const { return static_cast<MUINT32>(m_dahEvent.GetSize()); }

    OsServices* m_poOsServices;
    CMArray<SHEvent, SHEvent> m_dahEvent;
};
