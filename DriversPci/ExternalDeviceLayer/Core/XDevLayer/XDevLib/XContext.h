// The device context of one board: the registry of the board's devices and the owner of its
// service objects. A builder registers the devices a job needs; InitializeHardware then runs the
// board's start sequence: interrupts off, core initialisation, every device reset after the
// devices it depends on, interrupts on.
//
// Ownership: the context owns the hardware access object and the trace manager it is given, every
// object handed to a Register... or Add... call, and the services it creates. The OS services
// object is its creator's, and must outlive the context.
#pragma once

#include "OsServicesClient_Linux.h"
#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XDev.h"
#include "XDevBoardModel.h"
#include "XObject.h"

class OsServices;
class XHwAccess;
class XTracesMgr;
class XTracesReg;
class XEventNotificationMgr;
class XServicesCore;
class XServices;
class XBoard;
class XBufferMgr;
class XCounterMgr;
class XInterruptMgr;
class XInterruptHandler;
class XDevCoreInit;
class XIoPin;

class XContext : public XObject
{
public:
    // Trace tags of the registrations.
    static constexpr MUINT16 msc_uiTagRegisterBoard  = 0x1201;
    static constexpr MUINT16 msc_uiTagRegisterDevice = 0x1202;
    // Software interrupt that measures the reference-counter ticks between two interrupts.
    static constexpr MUINT32 msc_uiTimePerIrqNumber = 21;
    // FPGA ports with their own video input and output lists.
    static constexpr MUINT32 msc_uiFpgaVideoPortCount = 4;
    static constexpr MUINT32 msc_uiMalfunctionTextSize = 256;

    // A failure leaves the context not initialised (m_bInitialized false) with what was built so
    // far, which the destructor cleans up.
    XContext(OsServices* poOsServices, XHwAccess* poHwAccess, XTracesMgr* poTracesMgr);
    ~XContext() override;

    XContext(const XContext&) = delete;
    XContext& operator=(const XContext&) = delete;

    // ---- Services and devices.

    // Once per context: 0; -1 when managers are already set, -2 for a null manager. The context
    // owns them afterwards.
    LStatus RegisterDeviceServices(XBufferMgr* poBufferMgr, XCounterMgr* poCounterMgr, XInterruptMgr* poInterruptMgr);
    // Adds a device; the context owns it from then on, even when the result is -1 because the
    // device's construction failed. -2 null, -1 already registered.
    LStatus RegisterDevice(XDev* poDevice);
    // RegisterDevice, and on success the device becomes the board's reference counter.
    LStatus SetRefCntDevice(XDevReferenceCnt* poRefCnt);
    XDevReferenceCnt* GetRefCntDevice() const { return m_poXDevRefCnt; }
    // -2 null; -1 (reported) when the context already has a board record.
    LStatus RegisterBoard(XBoard* poBoard);
    // Names the core-initialisation device (which must be registered separately). -1 for null or
    // when one is already set.
    LStatus SetInitDevice(XDevCoreInit* poDevice);
    XDevCoreInit* GetInitDevice() { return m_poXDevCoreInit; }
    const XDevCoreInit* GetInitDevice() const { return m_poXDevCoreInit; }

    // The device at that place in registration order; a bad index is reported and gives null.
    XDev* GetXDevice(MUINT32 uiIndex);
    // The uiIndex-th device (from 0) of that type in registration order, or null.
    XDev* GetXDevice(XDev::EType eType, MUINT32 uiIndex);
    MUINT32 GetXDeviceCount(XDev::EType eType) const;

    // ---- Start sequence.

    // Runs the core-initialisation device: 0 initialised now, 1 already initialised, negative
    // failure (-1 without a core device).
    LStatus InitializeCore();
    // Clears the chip's "memory initialised" marker so that the next run initialises again; the
    // core device's result, -1 without one.
    LStatus ClearInitializeCore();
    // Resets every device once, each after the devices of its reset-before list; 0.
    LStatus ResetDevices(int iMode);
    // Interrupts off, InitializeCore, ResetDevices, interrupts on. InitializeCore's result, or -1
    // when a device reset failed. A failed core initialisation returns at once and leaves the
    // interrupts off.
    LStatus InitializeHardware();

    // Callback of the time-per-interrupt software interrupt: records the reference counter and
    // wakes GetTickPerIrq. Always 1.
    static int ReceiveTestSoftIrq(XInterruptHandler* poHandler);
    // Waits up to uiTimeoutMs for the next time-per-interrupt interrupt and gives the reference
    // count it recorded: 0; -3 on time-out; -1 without the services it needs.
    LStatus GetTickPerIrq(MUINT32 uiTimeoutMs, MUINT64& ruiTick);

    // ---- Video and audio inputs and outputs, by index. Register: 0; -2 null, -1 index taken.
    // Unregister: 0, -1 when the index is free; the object stays owned by the context.
    MUINT32 GetNbOfVideoOut() const { return static_cast<MUINT32>(m_mappoVideoOut.GetCount()); }
    MUINT32 GetNbOfAudioOut() const { return static_cast<MUINT32>(m_mappoAudioOut.GetCount()); }
    MUINT32 GetNbOfVideoIn() const { return static_cast<MUINT32>(m_mappoVideoIn.GetCount()); }
    MUINT32 GetNbOfAudioIn() const { return static_cast<MUINT32>(m_mappoAudioIn.GetCount()); }
    XVideoOut* GetVideoOut(MUINT32 uiIndex) const;
    XAudioOut* GetAudioOut(MUINT32 uiIndex) const;
    XVideoIn* GetVideoIn(MUINT32 uiIndex) const;
    XAudioIn* GetAudioIn(MUINT32 uiIndex) const;
    LStatus RegisterVideoOut(MUINT32 uiIndex, XVideoOut* poVideoOut);
    LStatus RegisterAudioOut(MUINT32 uiIndex, XAudioOut* poAudioOut);
    LStatus RegisterVideoIn(MUINT32 uiIndex, XVideoIn* poVideoIn);
    LStatus RegisterAudioIn(MUINT32 uiIndex, XAudioIn* poAudioIn);
    LStatus UnRegisterVideoOut(MUINT32 uiIndex);
    LStatus UnRegisterAudioOut(MUINT32 uiIndex);
    LStatus UnRegisterVideoIn(MUINT32 uiIndex);
    LStatus UnRegisterAudioIn(MUINT32 uiIndex);
    void UnRegisterAllVideoOut() { m_mappoVideoOut.RemoveAll(); }
    void UnRegisterAllAudioOut() { m_mappoAudioOut.RemoveAll(); }
    void UnRegisterAllVideoIn() { m_mappoVideoIn.RemoveAll(); }
    void UnRegisterAllAudioIn() { m_mappoAudioIn.RemoveAll(); }

    // ---- FPGA bridge ports, by index (same results as above).
    LStatus RegisterFpgaPort(MUINT32 uiIndex, XFpgaPort* poPort);
    XFpgaPort* GetFpgaPort(MUINT32 uiIndex) const;
    // 0 with the port's index; -1 when it is not registered.
    LStatus GetFpgaPortIndex(const XFpgaPort* poPort, MUINT32& ruiIndex) const;
    MUINT32 GetFpgaPortCount() const { return static_cast<MUINT32>(m_mappoXFpgaPort.GetCount()); }
    LStatus UnRegisterFpgaPort(MUINT32 uiIndex);
    // Also forgets the video inputs and outputs stored per port.
    void UnregisterAllFpgaPort();
    // Remembers a video input or output that runs through FPGA port uiPort (not owned through
    // these lists): 0; -2 null, -1 port past msc_uiFpgaVideoPortCount.
    LStatus StoreFpgaVIn(MUINT32 uiPort, XVideoIn* poVideoIn);
    LStatus StoreFpgaVOut(MUINT32 uiPort, XVideoOut* poVideoOut);

    // ---- I2C buses, I/O pins, LED controllers. Register and Add: 0; -2 null, -1 already there.
    LStatus RegisterI2cBus(XI2cBus* poBus);
    LStatus RegisterEnumerableI2cBus(XI2cBus* poBus);
    XI2cBus* GetI2cBus(MUINT32 uiIndex) const;   // null past the count
    MUINT32 GetI2cBusCount() const { return static_cast<MUINT32>(m_dapoXI2c.GetSize()); }
    // A pin that users may look up by index or name.
    LStatus RegisterEnumerableIoPin(XIoPin* poPin);
    // A pin that gates the board's enable lines; kept with the pin controllers.
    LStatus RegisterEnableIoPin(XIoPin* poPin);
    XIoPin* GetIoPin(MUINT32 uiIndex) const;     // null past the count
    // 0 with the index of the first enumerable pin of that name; -1 when none, -2 for null.
    LStatus FindIoPinIndex(const MCHAR8* pszName, MUINT32& ruiIndex) const;
    MUINT32 GetIoPinCount() const { return static_cast<MUINT32>(m_dapoXIoEnumerable.GetSize()); }
    XLedCtrl* GetLedCtrl(MUINT32 uiIndex) const;   // null past the count
    LStatus AddLedCtrl(XLedCtrl* poLedCtrl);

    // ---- FPGA designs seen on the board.
    MBOOL32 IsFpgaInfoPresent(const SFpgaInfo& roInfo) const { return m_daoFpgaInfo.Contains(roInfo); }
    // 0 when added, 1 when it was already there.
    LStatus AddFpgaInfoIfNotPresent(const SFpgaInfo& roInfo);
    MUINT32 GetFpgaInfoCount() const { return static_cast<MUINT32>(m_daoFpgaInfo.GetSize()); }
    // 0; -1 past the count.
    LStatus GetFpgaInfo(MUINT32 uiIndex, SFpgaInfo& roInfo) const;

    // ---- Diagnostics.

    // Adds a test record to the trace manager: its result, -1 without one.
    LStatus TestTraceManager();
    // Marks the board as malfunctioning, with a reason (cut to 255 characters).
    void ReportHardwareMalfunction(const MCHAR8* pszReason);
    // Whether a malfunction was reported; the reason (or the "none" text) is copied into
    // pszReason, cut to uiSize - 1 characters, when it is not null.
    MBOOL32 GetHardwareMalfunction(MCHAR8* pszReason, MUINT32 uiSize) const;
    // The live context whose board has that serial number, or null.
    static XContext* FindContextBySerialNumber(const MCHAR8* pszSerialNumber);

    // ---- State, in declaration order.
    CMArray<XObject*, XObject*>  m_dapoRegistredObject;   // owned; destroyed last registered first
    CMArray<XI2cBus*, XI2cBus*>  m_dapoXI2c;
    CMArray<XI2cBus*, XI2cBus*>  m_dapoXI2cEnumerable;
    CMArray<XIoPin*, XIoPin*>    m_dapoXIoEnumerable;
    CMArray<XIoPin*, XIoPin*>    m_dapoXPinCtrl;
    CMArray<XDev*, XDev*>        m_dapoXDev;              // the device registry, in registration order
    XBoard*                      m_poXBoard = nullptr;
    CMMap<MUINT32, XVideoIn*, MUINT32, XVideoIn*>   m_mappoVideoIn;
    CMMap<MUINT32, XVideoOut*, MUINT32, XVideoOut*> m_mappoVideoOut;
    CMMap<MUINT32, XAudioOut*, MUINT32, XAudioOut*> m_mappoAudioOut;
    CMMap<MUINT32, XAudioIn*, MUINT32, XAudioIn*>   m_mappoAudioIn;
    CMArray<XVideoIn*, XVideoIn*>   m_mappoFpgaVideoIn[msc_uiFpgaVideoPortCount];
    CMArray<XVideoOut*, XVideoOut*> m_mappoFpgaVideoOut[msc_uiFpgaVideoPortCount];
    CMMap<MUINT32, XFpgaPort*, MUINT32, XFpgaPort*> m_mappoXFpgaPort;
    OsServices*            m_poOsServices;            // not owned
    XHwAccess*             m_poHwAccess;
    XBufferMgr*            m_poBufferMgr = nullptr;
    XCounterMgr*           m_poCounterMgr = nullptr;
    XInterruptMgr*         m_poInterruptMgr = nullptr;
    XDevCoreInit*          m_poXDevCoreInit = nullptr;  // owned as a registered object
    XDevReferenceCnt*      m_poXDevRefCnt = nullptr;    // owned as a registered object
    XEventNotificationMgr* m_poEventNotificationMgr = nullptr;
    XTracesMgr*            m_poTracesMgr;
    XTracesReg*            m_poTracesReg = nullptr;
    XServicesCore*         m_poServicesCore = nullptr;
    XServices*             m_poServices = nullptr;
    XCableFrameLock*       m_poCableFrameLock = nullptr;
    CMArray<XLedCtrl*, XLedCtrl*> m_dapoLedCtrl;
    XResetCtrl*            m_poResetCtrl = nullptr;
    CMString               m_szSerialNumber{"Unknown"};
    void*                  m_pvPrivateData = nullptr;   // the builder's
    static CMArray<XContext*, XContext*>* ms_pdapoContexts;   // every live context
    SHEvent                m_hTimePerIrqEvent = nullptr;
    XInterruptHandler*     m_poTimePerIrqSoftIrq = nullptr;
    volatile MUINT64       m_uiIrqTickRef = 0;
    CMArray<SFpgaInfo>     m_daoFpgaInfo;
    MBOOL32                m_bHardwareMalfunction = FALSE;
    MCHAR8                 m_szHardWareMalfunction[msc_uiMalfunctionTextSize] = "No hardware malfunction reported.";

private:
    // True when bBuilt; otherwise reports iReport (a number of the construction's report table)
    // and leaves the context not initialised.
    bool BuildStep(bool bBuilt, int iReport);
    // Resets poDevice after the devices it depends on, unless it is marked done.
    void ResetWithDependencies(XDev* poDevice, int iMode, CMMap<XDev*, int, XDev*, int>& roDone);
};
