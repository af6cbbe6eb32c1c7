// Context manager: finds the supported boards on the PCI bus and keeps one device context per
// board, addressed by a 0-based index in the order the boards were accepted.
//
// Use: register builders, PopulateXContext once, then query and initialise boards by index.
#pragma once

#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "QelVxdApi.h"
#include "XContextConstruct.h"

class OsServices;
class XHwAccess;
class XHwAccessVxd;
class XContext;
class XBufferMgr;
class XCounterMgr;
class XInterruptMgr;

typedef XBufferMgr* (*CreateBufferMgrFunc)(OsServices* poOsServices, XHwAccess* poHwAccess);
typedef XCounterMgr* (*CreateCounterMgrFunc)(OsServices* poOsServices, XHwAccess* poHwAccess,
                                             XInterruptMgr* poInterruptMgr);
typedef XInterruptMgr* (*CreateInterruptMgrFunc)(OsServices* poOsServices, XHwAccess* poHwAccess,
                                                 XBufferMgr* poBufferMgr);

// A registered builder with the factories of the managers its boards get.
struct SXContextConstructionKit
{
    XContextConstruct*     poContextConstruct;
    CreateBufferMgrFunc    pfnCreateBufferMgr;
    CreateCounterMgrFunc   pfnCreateCounterMgr;
    CreateInterruptMgrFunc pfnCreateInterruptMgr;
};

// One accepted board.
struct SXContextBundle
{
    XContext*                 poContext;                  // owned
    PCIHANDLE                 hPciHandle;
    XHwAccessVxd*             poHwAccessVxd;              // owned by the context
    SXContextConstructionKit* poContextConstructionKit;   // private copy with a cloned builder; owned
};

// A PCI-to-PCI bridge and the range of buses behind it.
struct SPciBridgeInfo
{
    PCIHANDLE hHandle;
    MUINT32   uiSecondaryBus;
    MUINT32   uiSubordinateBus;
};

class XContextMgr
{
public:
    // Options every board's core is built with: global reset allowed, parameters from the
    // EEPROM, registers and memory initialised.
    static constexpr MUINT32 msc_uiCoreBuildOptions = 0x3C;

    XContextMgr();
    // Destroys every board's context and its OS services, the clones, the registered builders,
    // and releases the PCI library.
    virtual ~XContextMgr();

    XContextMgr(const XContextMgr&) = delete;
    XContextMgr& operator=(const XContextMgr&) = delete;

    // Takes ownership of the builder. 1 while the manager is not populated; 0 after, when the
    // builder is kept (and destroyed with the manager) but never asked.
    MBOOL32 RegisterContextConstructor(XContextConstruct* poContextConstruct, CreateBufferMgrFunc pfnCreateBufferMgr,
                                       CreateCounterMgrFunc pfnCreateCounterMgr,
                                       CreateInterruptMgrFunc pfnCreateInterruptMgr);
    // Scans the PCI bus and creates a context for every function a builder supports. 1 when at
    // least one context exists afterwards; 0 otherwise, and 0 without a scan once populated.
    MBOOL32 PopulateXContext();

    MUINT32 GetNbOfContext() const { return static_cast<MUINT32>(m_daoContextBundle.GetSize()); }
    // 1 with the board's context; 0 for an index at or past the count.
    MBOOL32 GetContext(MUINT32 uiIndex, XContext*& rpoContext);
    // 1 with the context, the PCI handle and the register and memory windows (handle and size);
    // 0 for a bad index.
    MBOOL32 GetContext(MUINT32 uiIndex, XContext*& rpoContext, unsigned long& rhPciHandle, unsigned long& rhRegHandle,
                       MUINT32& ruiRegSize, unsigned long& rhMemHandle, MUINT32& ruiMemSize);
    // The board's cloned builder; null for a bad index.
    XContextConstruct* GetContextConstruct(MUINT32 uiIndex);

    // Creates the board's managers and lets its builder register the full device set. 1 on
    // success, 0 on failure; a board whose BuildDevices failed must only be destroyed after.
    MBOOL32 BuildDevices(MUINT32 uiIndex);
    // Initialises the board's hardware with its memory window unmapped, says how it went, and
    // maps the window again unless the initialisation failed: the context's result (0 done now,
    // 1 already done, negative failure), -1 for a bad index.
    LStatus InitializeHardware(MUINT32 uiIndex);

    // Factories of the managers for boards that move no data and take no interrupts.
    static XBufferMgr* CreateDummyBufferMgr(OsServices* poOsServices, XHwAccess* poHwAccess);
    static XCounterMgr* CreateDummyCounterMgr(OsServices* poOsServices, XHwAccess* poHwAccess,
                                              XInterruptMgr* poInterruptMgr);
    static XInterruptMgr* CreateDummyInterruptMgr(OsServices* poOsServices, XHwAccess* poHwAccess,
                                                  XBufferMgr* poBufferMgr);

    // Bus-scan callback: records every bridge and every other function. Always 0 (go on).
    static int PCIScanCallback(PCIHANDLE hPciHandle, void* pvManager);
    // Creates the context of one function if a builder supports it: 1 when added, else 0.
    MBOOL32 TryAddContext(PCIHANDLE hPciHandle);

    MBOOL32 m_bIsPopulated;
    CMArray<SXContextConstructionKit> m_daoContextConstructorKit;
    CMArray<SXContextBundle>          m_daoContextBundle;
    CMArray<SPciBridgeInfo>           m_daoPciBridge;
    CMArray<unsigned long, unsigned long> m_dahPciDev;

private:
    // The bundle of a valid index, or null (reported when bReport).
    SXContextBundle* GetBundle(MUINT32 uiIndex, MBOOL32 bReport);
    // The handle of the last bridge in scan order whose bus range holds uiBus; 0 for none.
    PCIHANDLE FindUpstreamBridge(MUINT32 uiBus) const;
    // The first registered kit whose builder supports the function's ids; null for none.
    const SXContextConstructionKit* FindKit(PCIHANDLE hPciHandle) const;
};
