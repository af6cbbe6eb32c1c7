#include "XContextMgr.h"

#include <new>

#include "Hb4RegChip.h"
#include "OsServices.h"
#include "QelAssert.h"
#include "XBufferMgr.h"
#include "XContext.h"
#include "XCounterMgr.h"
#include "XHwAccess_Vxd.h"
#include "XInterruptMgr.h"
#include "QelPciCfgRegs.h"
#include "XTracesMgrStub.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_KIT_NO_MEMORY                  = 143,
    REPORT_BUILDER_NOT_CLONED             = 149,
    REPORT_NO_CONTEXT                     = 171,
    REPORT_CORE_CONTEXT_NOT_BUILT         = 193,
    REPORT_BAD_CONTEXT_INDEX              = 216,
    REPORT_INCOMPLETE_KIT                 = 268,
    REPORT_NO_BUFFER_MANAGER              = 275,
    REPORT_DEVICE_SERVICES_NOT_REGISTERED = 286,
    REPORT_DEVICES_NOT_BUILT              = 296,
    REPORT_INIT_NO_HW_ACCESS              = 310,
    REPORT_COUNTER_MANAGER_ARGUMENTS      = 356,
};

// Results of XContext::InitializeHardware that the manager tells apart.
constexpr LStatus INIT_ALREADY_DONE      = 1;
constexpr LStatus INIT_FAILED            = -1;
constexpr LStatus INIT_STRAPS            = -10;

MUINT32 ReadConfigDword(PCIHANDLE hPciHandle, int iOffset)
{
    MUINT32 uiValue = 0;   // an unreadable dword reads as 0, which no builder accepts
    csReadDword(hPciHandle, iOffset, &uiValue);
    return uiValue;
}

// Tells the operator why a board's registers are out of reach: the firmware gave the window no
// address, or the system refused to map it.
void HintUnmappedRegisters(const PCILOCATION& roLocation, bool bNoAddress)
{
    const unsigned uiBus = roLocation.bus;
    const unsigned uiDevice = roLocation.device;
    const unsigned uiFunction = roLocation.function;
    if (bNoAddress)
    {
        OsServices::WriteOperatorHint("the board at PCI %02x:%02x.%x has no address for its register window (its "
                                      "BAR reads 0), so nothing is done on it: assign it in the firmware's PCI "
                                      "settings", uiBus, uiDevice, uiFunction);
        return;
    }
    OsServices::WriteOperatorHint("the registers of the board at PCI %02x:%02x.%x could not be mapped through "
                                  "/dev/mem, so nothing is done on it: run as root, on a kernel that allows "
                                  "/dev/mem access to the board's windows", uiBus, uiDevice, uiFunction);
}

// A private copy of a kit, with its own clone of the builder; null (reported) when either could
// not be made.
SXContextConstructionKit* CloneKit(const SXContextConstructionKit& roKit)
{
    SXContextConstructionKit* poKitCopy = new (std::nothrow) SXContextConstructionKit(roKit);
    if (poKitCopy == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_KIT_NO_MEMORY);
        return nullptr;
    }
    poKitCopy->poContextConstruct = roKit.poContextConstruct->CreateClone();
    if (poKitCopy->poContextConstruct == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BUILDER_NOT_CLONED);
        delete poKitCopy;
        return nullptr;
    }
    return poKitCopy;
}

void DeleteKitCopy(SXContextConstructionKit* poKitCopy)
{
    delete poKitCopy->poContextConstruct;
    delete poKitCopy;
}

// A context over its own OS services, hardware access (rpoHwAccess) and trace manager; null
// (reported, with what was made deleted) when any of them could not be made.
XContext* CreateContext(PCIHANDLE hPciHandle, PCIHANDLE hBridge, XHwAccessVxd*& rpoHwAccess)
{
    OsServices* poOsServices = new (std::nothrow) OsServices();
    XHwAccessVxd* poHwAccess = new (std::nothrow) XHwAccessVxd(hPciHandle, hBridge);
    XTracesMgrStub* poTracesMgr = new (std::nothrow) XTracesMgrStub();
    XContext* poContext = (poOsServices != nullptr && poHwAccess != nullptr && poTracesMgr != nullptr)
                              ? new (std::nothrow) XContext(poOsServices, poHwAccess, poTracesMgr)
                              : nullptr;
    if (poContext == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_CONTEXT);
        delete poTracesMgr;
        delete poHwAccess;
        delete poOsServices;
        return nullptr;
    }
    rpoHwAccess = poHwAccess;
    return poContext;
}
}  // namespace

XContextMgr::XContextMgr() : m_bIsPopulated(FALSE)
{
    InitQELLibrary();
}

XContextMgr::~XContextMgr()
{
    for (MINT32 i = 0; i < m_daoContextBundle.GetSize(); i++)
    {
        SXContextBundle& roBundle = m_daoContextBundle[i];
        // The context still destroys an event through its OS services: it goes first.
        OsServices* poOsServices = (roBundle.poContext != nullptr) ? roBundle.poContext->m_poOsServices : nullptr;
        delete roBundle.poContext;
        delete poOsServices;
        if (roBundle.poContextConstructionKit != nullptr)
            delete roBundle.poContextConstructionKit->poContextConstruct;
        delete roBundle.poContextConstructionKit;
    }
    m_daoContextBundle.RemoveAll();

    for (MINT32 i = 0; i < m_daoContextConstructorKit.GetSize(); i++)
        delete m_daoContextConstructorKit[i].poContextConstruct;
    m_daoContextConstructorKit.RemoveAll();

    ReleaseQELLibrary();
}

MBOOL32 XContextMgr::RegisterContextConstructor(XContextConstruct* poContextConstruct,
                                                CreateBufferMgrFunc pfnCreateBufferMgr,
                                                CreateCounterMgrFunc pfnCreateCounterMgr,
                                                CreateInterruptMgrFunc pfnCreateInterruptMgr)
{
    m_daoContextConstructorKit.Add(
        SXContextConstructionKit{poContextConstruct, pfnCreateBufferMgr, pfnCreateCounterMgr, pfnCreateInterruptMgr});
    return m_bIsPopulated ? FALSE : TRUE;
}

// ================================================================================================
// Discovery

int XContextMgr::PCIScanCallback(PCIHANDLE hPciHandle, void* pvManager)
{
    XContextMgr* poManager = static_cast<XContextMgr*>(pvManager);
    if (poManager == nullptr)
        return 0;

    using namespace PciCfg;
    const MUINT32 uiHeader = ReadConfigDword(hPciHandle, RegHEADER);
    if ((uiHeader & HEADER_TYPE_BRIDGE_BIT) != 0)
    {
        const MUINT32 uiBuses = ReadConfigDword(hPciHandle, RegBRIDGE_BUSES);
        poManager->m_daoPciBridge.Add(SPciBridgeInfo{hPciHandle, SecondaryBus(uiBuses), SubordinateBus(uiBuses)});
    }
    else
    {
        poManager->m_dahPciDev.Add(hPciHandle);
    }
    return 0;
}

MBOOL32 XContextMgr::PopulateXContext()
{
    if (m_bIsPopulated)
        return FALSE;

    pciScan(PCIScanCallback, this);
    for (MINT32 i = 0; i < m_dahPciDev.GetSize(); i++)
        TryAddContext(m_dahPciDev[i]);

    if (m_daoContextBundle.IsEmpty())
        return FALSE;
    m_bIsPopulated = TRUE;
    return TRUE;
}

PCIHANDLE XContextMgr::FindUpstreamBridge(MUINT32 uiBus) const
{
    // Bridges nest: the last one in scan order whose range holds the bus is the closest.
    PCIHANDLE hBridge = 0;
    for (MINT32 i = 0; i < m_daoPciBridge.GetSize(); i++)
    {
        const SPciBridgeInfo& roBridge = m_daoPciBridge[i];
        if (roBridge.uiSecondaryBus <= uiBus && uiBus <= roBridge.uiSubordinateBus)
            hBridge = roBridge.hHandle;
    }
    return hBridge;
}

MBOOL32 XContextMgr::TryAddContext(PCIHANDLE hPciHandle)
{
    const SXContextConstructionKit* poKit = FindKit(hPciHandle);
    if (poKit == nullptr)
        return FALSE;   // not ours: the function is left exactly as it was
    SXContextConstructionKit* poKitCopy = CloneKit(*poKit);
    if (poKitCopy == nullptr)
        return FALSE;

    // The board's windows answer only with memory space decoding on.
    csWriteDword(hPciHandle, PciCfg::RegCOMMAND_STATUS,
                 ReadConfigDword(hPciHandle, PciCfg::RegCOMMAND_STATUS) | PciCfg::COMMAND_MEMORY_SPACE);
    csWriteDword(hPciHandle, Hb4Chip::CfgCHIP_CONTROL,
                 ReadConfigDword(hPciHandle, Hb4Chip::CfgCHIP_CONTROL) & ~Hb4Chip::CHIP_CONTROL_CLEAR);

    PCILOCATION oLocation = {};
    pciGetLocation(hPciHandle, &oLocation);
    XHwAccessVxd* poHwAccess = nullptr;
    XContext* poContext = CreateContext(hPciHandle, FindUpstreamBridge(oLocation.bus), poHwAccess);
    if (poContext == nullptr)
    {
        DeleteKitCopy(poKitCopy);
        return FALSE;
    }
    if (!poHwAccess->IsRegisterWindowMapped())
    {
        // The board stays listed; every access to its registers fails, so nothing drives it.
        HintUnmappedRegisters(oLocation, poHwAccess->m_oReg.PhysicalAddress() == 0);
    }

    LDeviceCreateOptTag oOptions;
    oOptions.uiValue = msc_uiCoreBuildOptions;
    if (poKitCopy->poContextConstruct->BuildCoreContext(oOptions, *poContext) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_CORE_CONTEXT_NOT_BUILT);
        // The context owns the hardware access, the trace manager and whatever the builder
        // registered; the OS services outlive it.
        OsServices* poOsServices = poContext->m_poOsServices;
        delete poContext;
        delete poOsServices;
        DeleteKitCopy(poKitCopy);
        return FALSE;
    }

    poHwAccess->m_roMem.MapMemory();
    m_daoContextBundle.Add(SXContextBundle{poContext, hPciHandle, poHwAccess, poKitCopy});
    return TRUE;
}

const SXContextConstructionKit* XContextMgr::FindKit(PCIHANDLE hPciHandle) const
{
    const MUINT32 uiVendorDevice = ReadConfigDword(hPciHandle, PciCfg::RegID);
    const MUINT32 uiSubsystem = ReadConfigDword(hPciHandle, PciCfg::RegSUBSYSTEM);
    for (MINT32 i = 0; i < m_daoContextConstructorKit.GetSize(); i++)
    {
        const SXContextConstructionKit& roKit = m_daoContextConstructorKit[i];
        if (roKit.poContextConstruct != nullptr && roKit.poContextConstruct->IsSupported(uiVendorDevice, uiSubsystem))
            return &roKit;
    }
    return nullptr;
}

// ================================================================================================
// Queries

SXContextBundle* XContextMgr::GetBundle(MUINT32 uiIndex, MBOOL32 bReport)
{
    if (uiIndex >= GetNbOfContext())
    {
        if (bReport)
            QEL_ASSERT_REPORT_AT(REPORT_BAD_CONTEXT_INDEX);
        return nullptr;
    }
    return &m_daoContextBundle[static_cast<MINT32>(uiIndex)];
}

MBOOL32 XContextMgr::GetContext(MUINT32 uiIndex, XContext*& rpoContext)
{
    const SXContextBundle* poBundle = GetBundle(uiIndex, FALSE);
    if (poBundle == nullptr)
        return FALSE;
    rpoContext = poBundle->poContext;
    return TRUE;
}

MBOOL32 XContextMgr::GetContext(MUINT32 uiIndex, XContext*& rpoContext, unsigned long& rhPciHandle,
                                unsigned long& rhRegHandle, MUINT32& ruiRegSize, unsigned long& rhMemHandle,
                                MUINT32& ruiMemSize)
{
    const SXContextBundle* poBundle = GetBundle(uiIndex, FALSE);
    if (poBundle == nullptr)
        return FALSE;
    rpoContext = poBundle->poContext;
    rhPciHandle = poBundle->hPciHandle;
    rhRegHandle = poBundle->poHwAccessVxd->m_oReg.m_hRegMem;
    ruiRegSize = poBundle->poHwAccessVxd->m_oReg.m_uiSize;
    rhMemHandle = poBundle->poHwAccessVxd->m_oMm.m_hMmMem;
    ruiMemSize = poBundle->poHwAccessVxd->m_oMm.GetSize();
    return TRUE;
}

XContextConstruct* XContextMgr::GetContextConstruct(MUINT32 uiIndex)
{
    const SXContextBundle* poBundle = GetBundle(uiIndex, FALSE);
    if (poBundle == nullptr || poBundle->poContextConstructionKit == nullptr)
        return nullptr;
    return poBundle->poContextConstructionKit->poContextConstruct;
}

// ================================================================================================
// Building and initialising a board

MBOOL32 XContextMgr::BuildDevices(MUINT32 uiIndex)
{
    SXContextBundle* poBundle = GetBundle(uiIndex, TRUE);
    if (poBundle == nullptr)
        return FALSE;
    const SXContextConstructionKit* poKit = poBundle->poContextConstructionKit;
    XContext* poContext = poBundle->poContext;
    if (poKit == nullptr || poKit->pfnCreateBufferMgr == nullptr || poKit->pfnCreateCounterMgr == nullptr ||
        poKit->pfnCreateInterruptMgr == nullptr || poContext == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INCOMPLETE_KIT);
        return FALSE;
    }

    XBufferMgr* poBufferMgr = poKit->pfnCreateBufferMgr(poContext->m_poOsServices, poContext->m_poHwAccess);
    if (poBufferMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_BUFFER_MANAGER);
        return FALSE;
    }
    XInterruptMgr* poInterruptMgr =
        poKit->pfnCreateInterruptMgr(poContext->m_poOsServices, poContext->m_poHwAccess, poBufferMgr);
    XCounterMgr* poCounterMgr =
        poKit->pfnCreateCounterMgr(poContext->m_poOsServices, poContext->m_poHwAccess, poInterruptMgr);

    if (poInterruptMgr == nullptr || poCounterMgr == nullptr ||
        poContext->RegisterDeviceServices(poBufferMgr, poCounterMgr, poInterruptMgr) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_DEVICE_SERVICES_NOT_REGISTERED);
        delete poBufferMgr;
        delete poInterruptMgr;
        delete poCounterMgr;
        return FALSE;
    }

    // From here the managers are the context's: a failed build leaves them to its destructor.
    if (poKit->poContextConstruct->BuildDevices(*poContext) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_DEVICES_NOT_BUILT);
        return FALSE;
    }
    return TRUE;
}

LStatus XContextMgr::InitializeHardware(MUINT32 uiIndex)
{
    SXContextBundle* poBundle = GetBundle(uiIndex, TRUE);
    if (poBundle == nullptr)
        return INIT_FAILED;
    XContext* poContext = poBundle->poContext;
    if (poContext == nullptr || poContext->m_poHwAccess == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INIT_NO_HW_ACCESS);
        return INIT_FAILED;
    }
    XHwAccess& roHwAccess = *poContext->m_poHwAccess;
    if (!roHwAccess.IsRegisterWindowMapped())
    {
        // Already reported when the board was found; nothing can be done with it.
        return INIT_FAILED;
    }

    // The initialisation maps the memory window itself to test the memory.
    roHwAccess.m_roMem.UnMapMemory();

    const LStatus iResult = poContext->InitializeHardware();
    if (iResult == INIT_STRAPS)
    {
        OsServices::WriteErrorMsg("%s", "Check if your STRAPS are programmed correctly\n");
    }
    else if (iResult == INIT_FAILED)
    {
        OsServices::WriteErrorMsg("%s", "failure re-run sometimes fix the problem\n");
    }
    else
    {
        // Any other failure code comes from the final marker write, after the memory came up
        // and passed its test.
        OsServices::WriteMsg("%s", (iResult == INIT_ALREADY_DONE) ? "The memory is already initialized\n"
                                                                  : "Memory correctly initialized\n");
        roHwAccess.m_roMem.MapMemory();
    }
    return iResult;
}

// ================================================================================================
// Factories of the do-nothing managers

XBufferMgr* XContextMgr::CreateDummyBufferMgr(OsServices* poOsServices, XHwAccess* poHwAccess)
{
    return new (std::nothrow) XBufferMgrDummy(poOsServices, poHwAccess);
}

XCounterMgr* XContextMgr::CreateDummyCounterMgr(OsServices* poOsServices, XHwAccess* poHwAccess,
                                                XInterruptMgr* poInterruptMgr)
{
    if (poOsServices == nullptr || poHwAccess == nullptr || poInterruptMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_COUNTER_MANAGER_ARGUMENTS);
        return nullptr;
    }
    return new (std::nothrow) XCounterMgrDummy(poOsServices, poHwAccess, poInterruptMgr);
}

XInterruptMgr* XContextMgr::CreateDummyInterruptMgr(OsServices* poOsServices, XHwAccess* poHwAccess,
                                                    XBufferMgr* poBufferMgr)
{
    if (poOsServices == nullptr || poHwAccess == nullptr)
        return nullptr;
    return new (std::nothrow) XInterruptMgrDummy(poOsServices, poHwAccess, poBufferMgr);
}
