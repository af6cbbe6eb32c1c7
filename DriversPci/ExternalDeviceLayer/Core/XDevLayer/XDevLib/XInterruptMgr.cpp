#include "XInterruptMgr.h"

#include <new>

#include "OsServices.h"
#include "QelAssert.h"
#include "XPtrRegistry.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_BAD_INTERRUPT_TYPE     = 12,
    REPORT_DPC_THREAD_NOT_STARTED = 88,
    REPORT_HANDLER_NOT_ENABLED    = 102,
    REPORT_HANDLER_NOT_DISABLED   = 125,
};
}  // namespace

MUINT32 XInterruptAlgoDummy::GetNbOfInterrupt(EInterruptType eType)
{
    if (eType > INTTYPE_LAST)
        QEL_ASSERT_REPORT_AT(REPORT_BAD_INTERRUPT_TYPE);
    return 0;
}

XInterruptMgr::XInterruptMgr(OsServices* poOsServices, XHwAccess* poHwAccess, XBufferMgr* poBufferMgr,
                             XInterruptAlgo* poAlgo, MBOOL32 bUseDPCThread)
    : m_poOsServices(poOsServices),
      m_poHwAccess(poHwAccess),
      m_poBufferMgr(poBufferMgr),
      m_poAlgo(poAlgo),
      m_bUseDPCThread(bUseDPCThread),
      m_bIsEnabled(FALSE),
      m_hDpcThread(nullptr),
      m_hDpcEvent(nullptr),
      m_bStopDpc(false)
{
    if (poAlgo == nullptr || poAlgo->Init() < 0)
        m_bInitialized = FALSE;
}

XInterruptMgr::~XInterruptMgr()
{
    StopDpcThread();
    if (m_hDpcEvent != nullptr && m_poOsServices != nullptr)
        m_poOsServices->Event_Destroy(m_hDpcEvent);
    delete m_poAlgo;
}

LStatus XInterruptMgr::AddHandler(XInterruptHandler* poHandler)
{
    return XPtrRegistryAdd(m_dapoInterruptHandler, poHandler);
}

LStatus XInterruptMgr::RemoveHandler(XInterruptHandler* poHandler)
{
    return XPtrRegistryRemove(m_dapoInterruptHandler, poHandler);
}

LStatus XInterruptMgr::CheckHandler(const XInterruptHandler* poHandler) const
{
    if (poHandler == nullptr)
        return -2;
    if (!m_dapoInterruptHandler.Contains(const_cast<XInterruptHandler*>(poHandler)) || m_poAlgo == nullptr)
        return -1;
    return 0;
}

LStatus XInterruptMgr::EnableHandler(XInterruptHandler* poHandler)
{
    const LStatus iCheck = CheckHandler(poHandler);
    if (iCheck < 0)
        return iCheck;
    poHandler->m_bIsEnabled = TRUE;
    if (!m_bIsEnabled)
        return 0;   // armed by Enable
    return m_poAlgo->EnableInterrupt(poHandler->m_eType, poHandler->m_uiNumber);
}

LStatus XInterruptMgr::DisableHandler(XInterruptHandler* poHandler)
{
    const LStatus iCheck = CheckHandler(poHandler);
    if (iCheck < 0)
        return iCheck;
    poHandler->m_bIsEnabled = FALSE;
    return m_poAlgo->DisableInterrupt(poHandler->m_eType, poHandler->m_uiNumber);
}

LStatus XInterruptMgr::Enable()
{
    if (m_bIsEnabled)
    {
        m_bIsEnabled = FALSE;
        return -1;
    }
    if (m_bUseDPCThread && StartDpcThread() < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_DPC_THREAD_NOT_STARTED);
        return -1;
    }
    m_bIsEnabled = TRUE;

    LStatus iResult = -1;
    for (MINT32 i = 0; i < m_dapoInterruptHandler.GetSize(); i++)
    {
        XInterruptHandler* poHandler = m_dapoInterruptHandler[i];
        if (!poHandler->m_bIsEnabled)
            continue;
        iResult = EnableHandler(poHandler);
        if (iResult < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_HANDLER_NOT_ENABLED);
            m_bIsEnabled = FALSE;
            StopDpcThread();
            return iResult;
        }
    }
    return iResult;
}

LStatus XInterruptMgr::Disable()
{
    LStatus iResult = -1;
    for (MINT32 i = 0; i < m_dapoInterruptHandler.GetSize(); i++)
    {
        XInterruptHandler* poHandler = m_dapoInterruptHandler[i];
        if (!poHandler->m_bIsEnabled)
            continue;
        iResult = DisableHandler(poHandler);
        // Switching the whole manager off does not change what the client wants: the handler
        // is armed again by the next Enable.
        poHandler->m_bIsEnabled = TRUE;
        if (iResult < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_HANDLER_NOT_DISABLED);
            return iResult;
        }
    }
    StopDpcThread();
    m_bIsEnabled = FALSE;
    return iResult;
}

MUINT32 XInterruptMgr::Dispatch(EInterruptType eType, MUINT32 uiNumber)
{
    MUINT32 uiRun = 0;
    for (MINT32 i = 0; i < m_dapoInterruptHandler.GetSize(); i++)
    {
        XInterruptHandler* poHandler = m_dapoInterruptHandler[i];
        if (poHandler->m_bIsEnabled && poHandler->m_eType == eType && poHandler->m_uiNumber == uiNumber)
        {
            poHandler->Call();
            uiRun++;
        }
    }
    return uiRun;
}

LStatus XInterruptMgr::QueueDpc()
{
    if (m_hDpcThread == nullptr)
        return -1;
    m_poOsServices->Event_Trigger(m_hDpcEvent);
    return 0;
}

void* XInterruptMgr::DpcThread(void* pvManager)
{
    XInterruptMgr* poManager = static_cast<XInterruptMgr*>(pvManager);
    while (!poManager->m_bStopDpc)
    {
        const MINT32 iWait = poManager->m_poOsServices->Event_Wait(poManager->m_hDpcEvent, OSSERVICES_INFINITE_TIMEOUT);
        if (poManager->m_bStopDpc)
            break;
        if (iWait == OSSERVICES_WAIT_SIGNALED)
            poManager->m_poAlgo->HandleInterrupt();
    }
    return nullptr;
}

LStatus XInterruptMgr::StartDpcThread()
{
    if (m_hDpcThread != nullptr)
        return 0;
    if (m_poOsServices == nullptr || m_poAlgo == nullptr)
        return -1;
    if (m_hDpcEvent == nullptr && !m_poOsServices->Event_Create(m_hDpcEvent))
        return -1;
    m_bStopDpc = false;
    if (!m_poOsServices->CpuThread_Create(DpcThread, this, m_hDpcThread))
    {
        m_hDpcThread = nullptr;
        return -1;
    }
    return 0;
}

void XInterruptMgr::StopDpcThread()
{
    if (m_hDpcThread == nullptr)
        return;
    m_bStopDpc = true;
    m_poOsServices->Event_Trigger(m_hDpcEvent);
    m_poOsServices->CpuThread_Join(m_hDpcThread);
    m_poOsServices->CpuThread_Destroy(m_hDpcThread);
    m_hDpcThread = nullptr;
}

XInterruptMgrDummy::XInterruptMgrDummy(OsServices* poOsServices, XHwAccess* poHwAccess, XBufferMgr* poBufferMgr)
    : XInterruptMgr(poOsServices, poHwAccess, poBufferMgr, new (std::nothrow) XInterruptAlgoDummy, FALSE)
{
}
