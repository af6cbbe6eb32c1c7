// A client of a board's interrupts: the callback to run for one interrupt source (type and
// number), with the client's data. The interrupt manager calls it, from its deferred-procedure
// thread when it has one.
#pragma once

#include "QelBaseTypes.h"
#include "XObject.h"

// Interrupt source types: 0-15 are the chip's hardware sources, 16 the software interrupts that
// the driver raises itself.
enum EInterruptType : MUINT32
{
    INTTYPE_HARDWARE_FIRST = 0,
    INTTYPE_HARDWARE_LAST  = 15,
    INTTYPE_SOFTWARE       = 16,
    INTTYPE_LAST           = INTTYPE_SOFTWARE,
};

class XInterruptHandler;

// Runs for each interrupt of the handler's source; returns a status.
typedef int (*PFNINTERRUPTCALLBACK)(XInterruptHandler* poHandler);

class XInterruptHandler : public XObject
{
public:
    // Created disabled. A null callback or a type past INTTYPE_LAST leaves it not initialised.
    XInterruptHandler(PFNINTERRUPTCALLBACK pfnCallback, void* pvUserData, EInterruptType eType, MUINT32 uiNumber);

    // Runs the callback; -1 when there is none.
    int Call();

    PFNINTERRUPTCALLBACK m_pfnCallback;
    void*                m_pvUserData;
    EInterruptType       m_eType;
    MUINT32              m_uiNumber;
    // The client wants its interrupts (set by XInterruptMgr::EnableHandler, cleared by
    // DisableHandler). Read by the manager's thread.
    volatile MBOOL32     m_bIsEnabled;
};
