// The full services bundle of a board that streams data: the core services plus the interrupt,
// counter and buffer managers. Exists once the context's device services are registered.
#pragma once

#include "XObject.h"

class XServicesCore;
class XInterruptMgr;
class XCounterMgr;
class XBufferMgr;

class XServices : public XObject
{
public:
    XServices(XServicesCore& roServicesCore, XInterruptMgr& roInterruptMgr, XCounterMgr& roCounterMgr,
              XBufferMgr& roBufferMgr)
        : m_roServicesCore(roServicesCore),
          m_roInterruptMgr(roInterruptMgr),
          m_roCounterMgr(roCounterMgr),
          m_roBufferMgr(roBufferMgr)
    {
    }

    XServicesCore& m_roServicesCore;
    XInterruptMgr& m_roInterruptMgr;
    XCounterMgr&   m_roCounterMgr;
    XBufferMgr&    m_roBufferMgr;
};
