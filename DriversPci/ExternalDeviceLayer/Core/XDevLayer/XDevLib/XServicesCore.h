// The services of one board that every device receives at construction: its context, OS
// services, hardware access, trace manager, event notification manager and the traced register
// access through which devices reach the board's registers.
#pragma once

#include "XObject.h"

class XContext;
class OsServices;
class XHwAccess;
class XTracesMgr;
class XEventNotificationMgr;
class XTracesReg;

class XServicesCore : public XObject
{
public:
    XServicesCore(XContext& roContext, OsServices& roOsServices, XHwAccess& roHwAccess, XTracesMgr& roTracesMgr,
                  XEventNotificationMgr& roEventNotificationMgr, XTracesReg& roTracesReg)
        : m_roContext(roContext),
          m_roOsServices(roOsServices),
          m_roHwAccess(roHwAccess),
          m_roTracesMgr(roTracesMgr),
          m_roEventNotificationMgr(roEventNotificationMgr),
          m_roTracesReg(roTracesReg)
    {
    }

    XContext&              m_roContext;
    OsServices&            m_roOsServices;
    XHwAccess&             m_roHwAccess;
    XTracesMgr&            m_roTracesMgr;
    XEventNotificationMgr& m_roEventNotificationMgr;
    // Register access of the board with every access traced; devices use it instead of
    // m_roHwAccess.m_roReg.
    XTracesReg&            m_roTracesReg;
};
