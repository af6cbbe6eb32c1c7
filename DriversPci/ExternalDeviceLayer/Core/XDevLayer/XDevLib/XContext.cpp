#include "XContext.h"

#include <cstring>
#include <new>

#include "OsServices.h"
#include "QelAssert.h"
#include "XBoard.h"
#include "XBufferMgr.h"
#include "XCounterMgr.h"
#include "XDevCoreInit.h"
#include "XEventNotificationMgr.h"
#include "XHwAccess.h"
#include "XInterruptHandler.h"
#include "XInterruptMgr.h"
#include "XIoPin.h"
#include "XPtrRegistry.h"
#include "XServices.h"
#include "XServicesCore.h"
#include "XTracesMgr.h"
#include "XTracesReg.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_NO_OS_SERVICES_OR_HW_ACCESS = 118,
    REPORT_NO_TRACES_MANAGER           = 130,
    REPORT_NO_TRACES_REG               = 138,
    REPORT_NO_EVENT_MANAGER            = 146,
    REPORT_NO_SERVICES_CORE            = 155,
    REPORT_NO_BOARD                    = 163,
    REPORT_NO_IRQ_TIMING_EVENT         = 171,
    REPORT_NO_IRQ_TIMING_HANDLER       = 180,
    REPORT_SERVICES_ALREADY_REGISTERED = 246,
    REPORT_SERVICES_MISSING            = 251,
    REPORT_DEVICE_ALREADY_REGISTERED   = 273,
    REPORT_BOARD_ALREADY_REGISTERED    = 304,
    REPORT_RESET_NULL_DEVICE           = 392,
    REPORT_DEVICE_RESET_FAILED         = 402,
};
}  // namespace

CMArray<XContext*, XContext*>* XContext::ms_pdapoContexts = nullptr;

namespace
{

const MUINT16 s_uiTagTestTraceManager = 0x1200;

// The done marks of ResetDevices: a small table, grown ten nodes at a time.
const MUINT32 s_uiResetHashTableSize = 17;
const MINT32 s_iResetGrowSize = 10;

// Copies pszText into a buffer of uiSize characters, cut and always terminated.
void CopyText(MCHAR8* pszDestination, MUINT32 uiSize, const MCHAR8* pszText)
{
    if (pszDestination == nullptr || uiSize == 0)
        return;
    const size_t uiLength = strnlen(pszText, uiSize - 1);
    memcpy(pszDestination, pszText, uiLength);
    pszDestination[uiLength] = 0;
}

// Registers poElement in an array registry and hands it to the context's owned objects.
template <class TYPE>
LStatus AddOwned(CMArray<TYPE*, TYPE*>& rdapoRegistry, TYPE* poElement, CMArray<XObject*, XObject*>& rdapoOwned)
{
    const LStatus iResult = XPtrRegistryAdd(rdapoRegistry, poElement);
    if (iResult == 0 && !rdapoOwned.Contains(poElement))
        rdapoOwned.Add(poElement);
    return iResult;
}

// Registers poElement under uiIndex in a map registry (0; -2 null, -1 index taken) and hands it
// to the context's owned objects.
template <class TYPE>
LStatus MapRegisterOwned(CMMap<MUINT32, TYPE*, MUINT32, TYPE*>& rmappoRegistry, MUINT32 uiIndex, TYPE* poElement,
                         CMArray<XObject*, XObject*>& rdapoOwned)
{
    if (poElement == nullptr)
        return -2;
    TYPE* poExisting = nullptr;
    if (rmappoRegistry.Lookup(uiIndex, poExisting))
        return -1;
    rmappoRegistry.SetAt(uiIndex, poElement);
    if (!rdapoOwned.Contains(poElement))
        rdapoOwned.Add(poElement);
    return 0;
}

template <class TYPE>
TYPE* MapLookup(const CMMap<MUINT32, TYPE*, MUINT32, TYPE*>& rmappoRegistry, MUINT32 uiIndex)
{
    TYPE* poElement = nullptr;
    rmappoRegistry.Lookup(uiIndex, poElement);
    return poElement;
}

template <class TYPE>
LStatus MapUnregister(CMMap<MUINT32, TYPE*, MUINT32, TYPE*>& rmappoRegistry, MUINT32 uiIndex)
{
    return rmappoRegistry.RemoveKey(uiIndex) ? 0 : -1;
}
}  // namespace

// ================================================================================================
// Construction and destruction

XContext::XContext(OsServices* poOsServices, XHwAccess* poHwAccess, XTracesMgr* poTracesMgr)
    : m_poOsServices(poOsServices), m_poHwAccess(poHwAccess), m_poTracesMgr(poTracesMgr)
{
    if (!BuildStep(poOsServices != nullptr && poHwAccess != nullptr, REPORT_NO_OS_SERVICES_OR_HW_ACCESS))
        return;

    if (ms_pdapoContexts == nullptr)
        ms_pdapoContexts = new (std::nothrow) CMArray<XContext*, XContext*>;
    if (ms_pdapoContexts != nullptr)
        ms_pdapoContexts->Add(this);

    if (!BuildStep(poTracesMgr != nullptr && poTracesMgr->m_bInitialized, REPORT_NO_TRACES_MANAGER))
        return;
    m_poTracesReg = new (std::nothrow) XTracesReg(*poTracesMgr, poHwAccess->m_roReg);
    if (!BuildStep(m_poTracesReg != nullptr, REPORT_NO_TRACES_REG))
        return;
    m_poEventNotificationMgr = new (std::nothrow) XEventNotificationMgr(poOsServices);
    if (!BuildStep(m_poEventNotificationMgr != nullptr && m_poEventNotificationMgr->m_bInitialized,
                   REPORT_NO_EVENT_MANAGER))
        return;
    m_poServicesCore = new (std::nothrow)
        XServicesCore(*this, *poOsServices, *poHwAccess, *poTracesMgr, *m_poEventNotificationMgr, *m_poTracesReg);
    if (!BuildStep(m_poServicesCore != nullptr, REPORT_NO_SERVICES_CORE))
        return;
    m_poXBoard = new (std::nothrow) XBoard();
    if (!BuildStep(m_poXBoard != nullptr && m_poXBoard->m_bInitialized, REPORT_NO_BOARD))
        return;
    if (!BuildStep(poOsServices->Event_Create(m_hTimePerIrqEvent) != 0, REPORT_NO_IRQ_TIMING_EVENT))
    {
        m_hTimePerIrqEvent = nullptr;
        return;
    }
    m_poTimePerIrqSoftIrq =
        new (std::nothrow) XInterruptHandler(ReceiveTestSoftIrq, this, INTTYPE_SOFTWARE, msc_uiTimePerIrqNumber);
    BuildStep(m_poTimePerIrqSoftIrq != nullptr, REPORT_NO_IRQ_TIMING_HANDLER);
}

bool XContext::BuildStep(bool bBuilt, int iReport)
{
    if (!bBuilt)
    {
        QEL_ASSERT_REPORT_AT(iReport);
        m_bInitialized = FALSE;
    }
    return bBuilt;
}

XContext::~XContext()
{
    // The registries only point at objects; the objects go with m_dapoRegistredObject below.
    m_dapoXDev.RemoveAll();
    m_dapoXI2cEnumerable.RemoveAll();
    m_dapoXI2c.RemoveAll();
    m_dapoXPinCtrl.RemoveAll();
    UnregisterAllFpgaPort();

    if (ms_pdapoContexts != nullptr)
    {
        const MINT32 iIndex = ms_pdapoContexts->Find(this);
        if (iIndex >= 0)
            ms_pdapoContexts->RemoveAt(iIndex);
        if (ms_pdapoContexts->IsEmpty())
        {
            delete ms_pdapoContexts;
            ms_pdapoContexts = nullptr;
        }
    }

    if (m_poOsServices != nullptr && m_hTimePerIrqEvent != nullptr)
        m_poOsServices->Event_Destroy(m_hTimePerIrqEvent);

    // Last registered first: a device may still use the ones registered before it.
    for (MINT32 i = m_dapoRegistredObject.GetSize() - 1; i >= 0; i--)
        delete m_dapoRegistredObject[i];
    m_dapoRegistredObject.RemoveAll();

    UnRegisterAllVideoIn();
    UnRegisterAllVideoOut();
    UnRegisterAllAudioOut();
    UnRegisterAllAudioIn();

    if (m_poInterruptMgr != nullptr && m_poTimePerIrqSoftIrq != nullptr)
    {
        m_poInterruptMgr->DisableHandler(m_poTimePerIrqSoftIrq);
        m_poInterruptMgr->RemoveHandler(m_poTimePerIrqSoftIrq);
    }
    delete m_poTimePerIrqSoftIrq;

    delete m_poServices;
    delete m_poInterruptMgr;
    delete m_poCounterMgr;
    delete m_poXBoard;
    delete m_poBufferMgr;
    delete m_poServicesCore;
    delete m_poEventNotificationMgr;
    delete m_poTracesReg;
    delete m_poTracesMgr;
    delete m_poHwAccess;
}

// ================================================================================================
// Services and devices

LStatus XContext::RegisterDeviceServices(XBufferMgr* poBufferMgr, XCounterMgr* poCounterMgr,
                                         XInterruptMgr* poInterruptMgr)
{
    if (m_poBufferMgr != nullptr || m_poCounterMgr != nullptr || m_poInterruptMgr != nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SERVICES_ALREADY_REGISTERED);
        return -1;
    }
    if (poBufferMgr == nullptr || poCounterMgr == nullptr || poInterruptMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SERVICES_MISSING);
        return -2;
    }

    m_poBufferMgr = poBufferMgr;
    m_poCounterMgr = poCounterMgr;
    m_poInterruptMgr = poInterruptMgr;
    if (m_poServicesCore != nullptr)
        m_poServices = new (std::nothrow) XServices(*m_poServicesCore, *poInterruptMgr, *poCounterMgr, *poBufferMgr);

    // The time-per-interrupt handler is armed whenever the manager is enabled.
    poInterruptMgr->AddHandler(m_poTimePerIrqSoftIrq);
    poInterruptMgr->EnableHandler(m_poTimePerIrqSoftIrq);
    return 0;
}

LStatus XContext::RegisterDevice(XDev* poDevice)
{
    if (poDevice == nullptr)
        return -2;
    if (m_dapoXDev.Contains(poDevice) || m_dapoRegistredObject.Contains(poDevice))
    {
        QEL_ASSERT_REPORT_AT(REPORT_DEVICE_ALREADY_REGISTERED);
        return -1;
    }

    m_dapoXDev.Add(poDevice);
    m_dapoRegistredObject.Add(poDevice);

    const LStatus iResult = poDevice->m_bInitialized ? 0 : -1;
    if (m_poTracesMgr != nullptr)
    {
        m_poTracesMgr->Add(XTrace(msc_uiTagRegisterDevice, ArgFmt::Dec32, static_cast<MUINT32>(m_dapoXDev.GetSize()),
                                  ArgFmt::Dec32, poDevice->m_eType),
                           iResult);
    }
    return iResult;
}

LStatus XContext::SetRefCntDevice(XDevReferenceCnt* poRefCnt)
{
    const LStatus iResult = RegisterDevice(poRefCnt);
    if (iResult >= 0)
        m_poXDevRefCnt = poRefCnt;
    return iResult;
}

LStatus XContext::RegisterBoard(XBoard* poBoard)
{
    if (poBoard == nullptr)
        return -2;
    if (m_poXBoard != nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BOARD_ALREADY_REGISTERED);
        return -1;
    }
    m_poXBoard = poBoard;
    if (m_poTracesMgr != nullptr)
        m_poTracesMgr->Add(XTrace(msc_uiTagRegisterBoard), 0);
    return 0;
}

LStatus XContext::SetInitDevice(XDevCoreInit* poDevice)
{
    if (poDevice == nullptr || m_poXDevCoreInit != nullptr)
        return -1;
    m_poXDevCoreInit = poDevice;
    return 0;
}

XDev* XContext::GetXDevice(MUINT32 uiIndex)
{
    // Out of range is a caller's error: the container reports it and gives a null element.
    return m_dapoXDev[static_cast<MINT32>(uiIndex)];
}

XDev* XContext::GetXDevice(XDev::EType eType, MUINT32 uiIndex)
{
    for (MINT32 i = 0; i < m_dapoXDev.GetSize(); i++)
    {
        XDev* poDevice = m_dapoXDev[i];
        if (poDevice->m_eType != eType)
            continue;
        if (uiIndex == 0)
            return poDevice;
        uiIndex--;
    }
    return nullptr;
}

MUINT32 XContext::GetXDeviceCount(XDev::EType eType) const
{
    MUINT32 uiCount = 0;
    for (MINT32 i = 0; i < m_dapoXDev.GetSize(); i++)
    {
        if (m_dapoXDev[i]->m_eType == eType)
            uiCount++;
    }
    return uiCount;
}

// ================================================================================================
// Start sequence

LStatus XContext::InitializeCore()
{
    // The memory cube keeps data in the board's memory, which the initialisation wipes.
    XDevHmc* poHmc = dynamic_cast<XDevHmc*>(GetXDevice(XDev::TYPE_HMC, 0));
    if (poHmc != nullptr)
        poHmc->DeAllocatedData(TRUE);

    if (m_poXDevCoreInit == nullptr)
        return -1;

    const LStatus iResult = m_poXDevCoreInit->InitializeHardware();
    if (iResult < 0)
        return iResult;

    if (m_poXBoard != nullptr)
        m_poXBoard->SetMemoryInitialization(1);
    if (m_poBufferMgr != nullptr)
        m_poBufferMgr->Reset();
    return iResult;
}

LStatus XContext::ClearInitializeCore()
{
    if (m_poXDevCoreInit == nullptr)
        return -1;
    const LStatus iResult = m_poXDevCoreInit->ClearInitialized();
    // The board record follows the core device's answer as it stands: any non-zero result,
    // including "it was not set" (-1), leaves the record's flag set.
    if (m_poXBoard != nullptr)
        m_poXBoard->SetMemoryInitialization(iResult != 0 ? 1 : 0);
    return iResult;
}

void XContext::ResetWithDependencies(XDev* poDevice, int iMode, CMMap<XDev*, int, XDev*, int>& roDone)
{
    if (poDevice == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_RESET_NULL_DEVICE);
        return;
    }
    for (MINT32 i = 0; i < poDevice->m_dapoResetBefore.GetSize(); i++)
        ResetWithDependencies(poDevice->m_dapoResetBefore[i], iMode, roDone);

    int& riDone = roDone[poDevice];
    if (riDone == 0)
    {
        if (poDevice->Reset(iMode) < 0)
            QEL_ASSERT_REPORT_AT(REPORT_DEVICE_RESET_FAILED);
        riDone = 1;
    }
}

LStatus XContext::ResetDevices(int iMode)
{
    CMMap<XDev*, int, XDev*, int> oDone(s_iResetGrowSize);
    oDone.InitHashTable(s_uiResetHashTableSize);
    for (MINT32 i = 0; i < m_dapoXDev.GetSize(); i++)
        oDone[m_dapoXDev[i]] = 0;

    for (MINT32 i = 0; i < m_dapoXDev.GetSize(); i++)
        ResetWithDependencies(m_dapoXDev[i], iMode, oDone);

    // The outputs run on the devices just reset: program them again.
    MPOSITION uiPosition = m_mappoVideoOut.GetStartPosition();
    while (uiPosition != 0)
    {
        MUINT32 uiIndex = 0;
        XVideoOut* poVideoOut = nullptr;
        m_mappoVideoOut.GetNextAssoc(uiPosition, uiIndex, poVideoOut);
        poVideoOut->RestoreState();
    }
    return 0;
}

LStatus XContext::InitializeHardware()
{
    if (m_poInterruptMgr != nullptr && m_poInterruptMgr->m_bIsEnabled)
        m_poInterruptMgr->Disable();

    const LStatus iResult = InitializeCore();
    if (iResult < 0)
        return iResult;

    const LStatus iResetResult = ResetDevices(1);

    if (m_poInterruptMgr != nullptr)
        m_poInterruptMgr->Enable();

    return (iResetResult < 0) ? -1 : iResult;
}

int XContext::ReceiveTestSoftIrq(XInterruptHandler* poHandler)
{
    XContext* poContext = (poHandler != nullptr) ? static_cast<XContext*>(poHandler->m_pvUserData) : nullptr;
    if (poContext == nullptr || poContext->m_poCounterMgr == nullptr || poContext->m_poOsServices == nullptr)
        return 1;
    poContext->m_uiIrqTickRef = poContext->m_poCounterMgr->GetReferenceCount();
    poContext->m_poOsServices->Event_Trigger(poContext->m_hTimePerIrqEvent);
    return 1;
}

LStatus XContext::GetTickPerIrq(MUINT32 uiTimeoutMs, MUINT64& ruiTick)
{
    if (m_poOsServices == nullptr || m_poCounterMgr == nullptr || m_hTimePerIrqEvent == nullptr)
        return -1;
    const MINT32 iWait = m_poOsServices->Event_Wait(m_hTimePerIrqEvent, uiTimeoutMs);
    if (iWait != OSSERVICES_WAIT_SIGNALED)
        return (iWait == OSSERVICES_WAIT_TIMEOUT) ? OSSERVICES_WAIT_TIMEOUT : -1;
    ruiTick = m_uiIrqTickRef;
    return 0;
}

// ================================================================================================
// Video and audio inputs and outputs

XVideoOut* XContext::GetVideoOut(MUINT32 uiIndex) const { return MapLookup(m_mappoVideoOut, uiIndex); }
XAudioOut* XContext::GetAudioOut(MUINT32 uiIndex) const { return MapLookup(m_mappoAudioOut, uiIndex); }
XVideoIn* XContext::GetVideoIn(MUINT32 uiIndex) const { return MapLookup(m_mappoVideoIn, uiIndex); }
XAudioIn* XContext::GetAudioIn(MUINT32 uiIndex) const { return MapLookup(m_mappoAudioIn, uiIndex); }

LStatus XContext::RegisterVideoOut(MUINT32 uiIndex, XVideoOut* poVideoOut)
{
    return MapRegisterOwned(m_mappoVideoOut, uiIndex, poVideoOut, m_dapoRegistredObject);
}

LStatus XContext::RegisterAudioOut(MUINT32 uiIndex, XAudioOut* poAudioOut)
{
    return MapRegisterOwned(m_mappoAudioOut, uiIndex, poAudioOut, m_dapoRegistredObject);
}

LStatus XContext::RegisterVideoIn(MUINT32 uiIndex, XVideoIn* poVideoIn)
{
    return MapRegisterOwned(m_mappoVideoIn, uiIndex, poVideoIn, m_dapoRegistredObject);
}

LStatus XContext::RegisterAudioIn(MUINT32 uiIndex, XAudioIn* poAudioIn)
{
    return MapRegisterOwned(m_mappoAudioIn, uiIndex, poAudioIn, m_dapoRegistredObject);
}

LStatus XContext::UnRegisterVideoOut(MUINT32 uiIndex) { return MapUnregister(m_mappoVideoOut, uiIndex); }
LStatus XContext::UnRegisterAudioOut(MUINT32 uiIndex) { return MapUnregister(m_mappoAudioOut, uiIndex); }
LStatus XContext::UnRegisterVideoIn(MUINT32 uiIndex) { return MapUnregister(m_mappoVideoIn, uiIndex); }
LStatus XContext::UnRegisterAudioIn(MUINT32 uiIndex) { return MapUnregister(m_mappoAudioIn, uiIndex); }

// ================================================================================================
// FPGA bridge ports

LStatus XContext::RegisterFpgaPort(MUINT32 uiIndex, XFpgaPort* poPort)
{
    return MapRegisterOwned(m_mappoXFpgaPort, uiIndex, poPort, m_dapoRegistredObject);
}

XFpgaPort* XContext::GetFpgaPort(MUINT32 uiIndex) const { return MapLookup(m_mappoXFpgaPort, uiIndex); }

LStatus XContext::GetFpgaPortIndex(const XFpgaPort* poPort, MUINT32& ruiIndex) const
{
    MPOSITION uiPosition = m_mappoXFpgaPort.GetStartPosition();
    while (uiPosition != 0)
    {
        MUINT32 uiIndex = 0;
        XFpgaPort* poCandidate = nullptr;
        m_mappoXFpgaPort.GetNextAssoc(uiPosition, uiIndex, poCandidate);
        if (poCandidate == poPort)
        {
            ruiIndex = uiIndex;
            return 0;
        }
    }
    return -1;
}

LStatus XContext::UnRegisterFpgaPort(MUINT32 uiIndex) { return MapUnregister(m_mappoXFpgaPort, uiIndex); }

void XContext::UnregisterAllFpgaPort()
{
    m_mappoXFpgaPort.RemoveAll();
    for (MUINT32 uiPort = 0; uiPort < msc_uiFpgaVideoPortCount; uiPort++)
    {
        m_mappoFpgaVideoIn[uiPort].RemoveAll();
        m_mappoFpgaVideoOut[uiPort].RemoveAll();
    }
}

LStatus XContext::StoreFpgaVIn(MUINT32 uiPort, XVideoIn* poVideoIn)
{
    if (poVideoIn == nullptr)
        return -2;
    if (uiPort >= msc_uiFpgaVideoPortCount)
        return -1;
    m_mappoFpgaVideoIn[uiPort].Add(poVideoIn);
    return 0;
}

LStatus XContext::StoreFpgaVOut(MUINT32 uiPort, XVideoOut* poVideoOut)
{
    if (poVideoOut == nullptr)
        return -2;
    if (uiPort >= msc_uiFpgaVideoPortCount)
        return -1;
    m_mappoFpgaVideoOut[uiPort].Add(poVideoOut);
    return 0;
}

// ================================================================================================
// I2C buses, I/O pins, LED controllers

LStatus XContext::RegisterI2cBus(XI2cBus* poBus)
{
    return AddOwned(m_dapoXI2c, poBus, m_dapoRegistredObject);
}

LStatus XContext::RegisterEnumerableI2cBus(XI2cBus* poBus)
{
    return AddOwned(m_dapoXI2cEnumerable, poBus, m_dapoRegistredObject);
}

XI2cBus* XContext::GetI2cBus(MUINT32 uiIndex) const { return XPtrRegistryAt(m_dapoXI2c, uiIndex); }

LStatus XContext::RegisterEnumerableIoPin(XIoPin* poPin)
{
    return AddOwned(m_dapoXIoEnumerable, poPin, m_dapoRegistredObject);
}

LStatus XContext::RegisterEnableIoPin(XIoPin* poPin)
{
    return AddOwned(m_dapoXPinCtrl, poPin, m_dapoRegistredObject);
}

XIoPin* XContext::GetIoPin(MUINT32 uiIndex) const { return XPtrRegistryAt(m_dapoXIoEnumerable, uiIndex); }

LStatus XContext::FindIoPinIndex(const MCHAR8* pszName, MUINT32& ruiIndex) const
{
    if (pszName == nullptr)
        return -2;
    for (MINT32 i = 0; i < m_dapoXIoEnumerable.GetSize(); i++)
    {
        if (m_dapoXIoEnumerable[i]->m_szName == pszName)
        {
            ruiIndex = static_cast<MUINT32>(i);
            return 0;
        }
    }
    return -1;
}

XLedCtrl* XContext::GetLedCtrl(MUINT32 uiIndex) const { return XPtrRegistryAt(m_dapoLedCtrl, uiIndex); }

LStatus XContext::AddLedCtrl(XLedCtrl* poLedCtrl)
{
    return AddOwned(m_dapoLedCtrl, poLedCtrl, m_dapoRegistredObject);
}

// ================================================================================================
// FPGA designs

LStatus XContext::AddFpgaInfoIfNotPresent(const SFpgaInfo& roInfo)
{
    if (IsFpgaInfoPresent(roInfo))
        return 1;
    m_daoFpgaInfo.Add(roInfo);
    return 0;
}

LStatus XContext::GetFpgaInfo(MUINT32 uiIndex, SFpgaInfo& roInfo) const
{
    if (uiIndex >= GetFpgaInfoCount())
        return -1;
    roInfo = m_daoFpgaInfo[static_cast<MINT32>(uiIndex)];
    return 0;
}

// ================================================================================================
// Diagnostics

LStatus XContext::TestTraceManager()
{
    if (m_poTracesMgr == nullptr)
        return -1;
    return m_poTracesMgr->Add(XTrace(s_uiTagTestTraceManager), 0);
}

void XContext::ReportHardwareMalfunction(const MCHAR8* pszReason)
{
    m_bHardwareMalfunction = TRUE;
    CopyText(m_szHardWareMalfunction, sizeof(m_szHardWareMalfunction), (pszReason != nullptr) ? pszReason : "");
}

MBOOL32 XContext::GetHardwareMalfunction(MCHAR8* pszReason, MUINT32 uiSize) const
{
    CopyText(pszReason, uiSize, m_szHardWareMalfunction);
    return m_bHardwareMalfunction;
}

XContext* XContext::FindContextBySerialNumber(const MCHAR8* pszSerialNumber)
{
    if (ms_pdapoContexts == nullptr || pszSerialNumber == nullptr)
        return nullptr;
    for (MINT32 i = 0; i < ms_pdapoContexts->GetSize(); i++)
    {
        XContext* poContext = (*ms_pdapoContexts)[i];
        if (poContext->m_szSerialNumber == pszSerialNumber)
            return poContext;
    }
    return nullptr;
}
