// Interrupt managers. XInterruptMgr keeps a board's interrupt handlers and switches them on and
// off as a whole; the chip-specific part (which register arms which source) is its
// XInterruptAlgo. XInterruptMgrDummy, over XInterruptAlgoDummy and without a thread, serves
// boards that take no interrupts.
#pragma once

#include <atomic>

#include "OsServicesClient_Linux.h"
#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XInterruptHandler.h"
#include "XObject.h"

class OsServices;
class XHwAccess;
class XBufferMgr;

// How one chip arms, disarms and services its interrupt sources.
class XInterruptAlgo : public XObject
{
public:
    ~XInterruptAlgo() override {}

    virtual LStatus Init() = 0;
    // Services what the chip has pending.
    virtual LStatus HandleInterrupt() = 0;
    virtual LStatus EnableInterrupt(EInterruptType eType, MUINT32 uiNumber) = 0;
    virtual LStatus DisableInterrupt(EInterruptType eType, MUINT32 uiNumber) = 0;
    // Number of sources of that type.
    virtual MUINT32 GetNbOfInterrupt(EInterruptType eType) = 0;
};

// A chip with no interrupt source: everything succeeds and nothing ever fires.
class XInterruptAlgoDummy : public XInterruptAlgo
{
public:
    LStatus Init() override { return 0; }
    LStatus HandleInterrupt() override { return 1; }
    LStatus EnableInterrupt(EInterruptType, MUINT32) override { return 1; }
    LStatus DisableInterrupt(EInterruptType, MUINT32) override { return 1; }
    // 0; a type past INTTYPE_LAST is reported.
    MUINT32 GetNbOfInterrupt(EInterruptType eType) override;
};

class XInterruptMgr : public XObject
{
public:
    // Takes ownership of poAlgo (null leaves the manager not initialised). With bUseDPCThread the
    // handlers run on a deferred-procedure thread that Enable starts and Disable stops.
    XInterruptMgr(OsServices* poOsServices, XHwAccess* poHwAccess, XBufferMgr* poBufferMgr, XInterruptAlgo* poAlgo,
                  MBOOL32 bUseDPCThread);
    // Stops the thread if it still runs, then destroys the algorithm. The handlers belong to
    // their clients.
    ~XInterruptMgr() override;

    // 0; -2 for null, -1 when the handler is already registered.
    virtual LStatus AddHandler(XInterruptHandler* poHandler);
    // 0; -2 for null, -1 when it is not registered.
    virtual LStatus RemoveHandler(XInterruptHandler* poHandler);
    // Marks a registered handler as wanted and, while the manager is enabled, arms its source:
    // the algorithm's result (0 when the manager is disabled). -2 null, -1 not registered.
    virtual LStatus EnableHandler(XInterruptHandler* poHandler);
    // Disarms the handler's source and marks it unwanted: the algorithm's result. -2 null, -1 not
    // registered.
    virtual LStatus DisableHandler(XInterruptHandler* poHandler);

    // Switches the manager on and arms every wanted handler. A manager that is already enabled
    // is switched off instead and -1 returned, so Enable toggles; callers that need it on test
    // m_bIsEnabled first. The first handler that fails to arm is reported, leaves the manager
    // disabled and its result is returned. Otherwise the last handler's result, or -1 (manager
    // on) when no handler is wanted.
    LStatus Enable();
    // Disarms every wanted handler, which stay wanted for the next Enable. The first failure is
    // reported and returned with the manager still enabled. Otherwise stops the thread, switches
    // the manager off and returns the last handler's result, or -1 when no handler is wanted.
    LStatus Disable();

    // Runs every wanted handler of that source; the number of handlers run. Called by the
    // algorithm's servicing, or by the driver for a software interrupt.
    MUINT32 Dispatch(EInterruptType eType, MUINT32 uiNumber);
    // Asks the deferred-procedure thread to service the chip; 0, or -1 when it does not run.
    LStatus QueueDpc();

    OsServices*     m_poOsServices;
    XHwAccess*      m_poHwAccess;
    XBufferMgr*     m_poBufferMgr;
    XInterruptAlgo* m_poAlgo;
    CMArray<XInterruptHandler*, XInterruptHandler*> m_dapoInterruptHandler;
    MBOOL32          m_bUseDPCThread;
    volatile MBOOL32 m_bIsEnabled;

private:
    // 0 for a registered handler (with an algorithm to arm it); -2 null, -1 otherwise.
    LStatus CheckHandler(const XInterruptHandler* poHandler) const;
    static void* DpcThread(void* pvManager);
    LStatus StartDpcThread();
    void StopDpcThread();

    SHCpuThread       m_hDpcThread;    // null when the thread does not run
    SHEvent           m_hDpcEvent;     // wakes the thread: QueueDpc and the stop request
    std::atomic<bool> m_bStopDpc;
};

class XInterruptMgrDummy : public XInterruptMgr
{
public:
    XInterruptMgrDummy(OsServices* poOsServices, XHwAccess* poHwAccess, XBufferMgr* poBufferMgr);
};
