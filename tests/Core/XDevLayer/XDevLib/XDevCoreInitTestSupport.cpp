#include "XDevCoreInitTestSupport.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "XHwAccess_Vxd.h"
#include "XPins10Helper.h"
#include "XTracesReg.h"

namespace
{
const PCIHANDLE hBoard = QelVxdMakePciHandle(3, 0, 0);
const PCIHANDLE hBridge = QelVxdMakePciHandle(0, 0x1C, 0);

// Forwards to the board's access objects, logging configuration accesses and, when asked,
// memory accesses.
template <class TBase>
class TLoggingRes : public TBase
{
public:
    TLoggingRes(TBase& roInner, CAccessLog& roLog, char cRead, const bool* pbEnabled)
        : m_roInner(roInner), m_roLog(roLog), m_cRead(cRead), m_pbEnabled(pbEnabled)
    {
    }
    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override
    {
        const int iStatus = m_roInner.Read(uiOffset, ruiValue);
        Log(m_cRead, uiOffset, ruiValue);
        return iStatus;
    }
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override { return m_roInner.Read(uiOffset, ruiValue); }
    int Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount) override
    {
        return m_roInner.Read(uiOffset, puiBuffer, uiCount);
    }
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override
    {
        Log((char)toupper(m_cRead), uiOffset, uiValue);
        return m_roInner.Write(uiOffset, uiValue);
    }
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override { return m_roInner.Write(uiOffset, uiValue); }
    int Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount) override
    {
        return m_roInner.Write(uiOffset, puiBuffer, uiCount);
    }

protected:
    void Log(char cKind, MUINT32 uiOffset, MUINT32 uiValue)
    {
        if (m_pbEnabled == nullptr || *m_pbEnabled)
            m_roLog.push_back({cKind, uiOffset, uiValue});
    }
    TBase& m_roInner;
    CAccessLog& m_roLog;
    char m_cRead;
    const bool* m_pbEnabled;
};

class CLoggingMem : public TLoggingRes<XMemAccess>
{
public:
    using TLoggingRes::TLoggingRes;
    MEMHANDLE GetMappedMemory() const override { return m_roInner.GetMappedMemory(); }
    MUINT64 GetPhysMemory() const override { return m_roInner.GetPhysMemory(); }
    MUINT32 GetSize() const override { return m_roInner.GetSize(); }
    int MapMemory() override { return m_roInner.MapMemory(); }
    int UnMapMemory() override { return m_roInner.UnMapMemory(); }
};

// The board's hardware access with logging configuration and memory accesses; register accesses
// are logged by the trace manager instead. The logging windows are only referred to while the
// base is built.
class CLoggingHwAccess : public XHwAccess
{
public:
    CLoggingHwAccess(XHwAccessVxd* poInner, CAccessLog& roLog, const bool& rbLogMemory)
        : XHwAccess(m_oCfg, m_oMem, poInner->m_oReg),
          m_poInner(poInner),
          m_oCfg(poInner->m_oCfg, roLog, 'c', nullptr),
          m_oMem(poInner->m_oMm, roLog, 'm', &rbLogMemory)
    {
    }
    int RetrainLink() override { return m_poInner->RetrainLink(); }

private:
    std::unique_ptr<XHwAccessVxd> m_poInner;
    TLoggingRes<XCfgAccess> m_oCfg;
    CLoggingMem m_oMem;
};
}  // namespace

std::ostream& operator<<(std::ostream& roOut, const SAccess& roAccess)
{
    return roOut << roAccess.cKind << " 0x" << std::hex << roAccess.uiOffset << " 0x" << roAccess.uiValue << std::dec;
}

LStatus CRegisterLog::Add(const XTrace& roTrace, LStatus)
{
    const MUINT16 uiTag = roTrace.GetTag();
    if (uiTag == XTracesReg::msc_uiTagReadDword || uiTag == XTracesReg::msc_uiTagWriteDword)
    {
        m_roLog.push_back({uiTag == XTracesReg::msc_uiTagReadDword ? 'R' : 'W', (MUINT32)roTrace.GetArg(0),
                           (MUINT32)roTrace.GetArg(1)});
    }
    return 1;
}

LStatus CSimPin::SetState(MUINT32 uiSessionId, EPinState eState)
{
    Log("state", uiSessionId, eState);
    if (eState == PIN_STATE_HIGH && m_szName == CMString("HB4_SRST"))
    {
        CQelSimChip::Of(*QelVxdSim_Current()->FindBoard(hBoard))->PulseResetPin();
    }
    return 0;
}

void CCoreInitTest::SetUp()
{
    OsServices::GetMsgLevel(&m_abMsgLevel[0], &m_abMsgLevel[1], &m_abMsgLevel[2]);
    OsServices::SetMsgLevel(1, 1, 1);   // the sequence's progress messages are on the debug channel
}

void CCoreInitTest::TearDown()
{
    m_poCore.reset();
    delete m_poContext;
    m_poContext = nullptr;
    m_poOs.reset();
    QelVxdSetBackendForTest(nullptr);
    QelVxdSim_Unload();
    OsServices::SetMsgLevel(m_abMsgLevel[0], m_abMsgLevel[1], m_abMsgLevel[2]);
}

void CCoreInitTest::Build(const SCoreSetup& roSetup)
{
    const std::string sRig = R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 3}],
        "boards": [{"bus": 3, "device": 0, "function": 0)" +
                             (roSetup.sBoard.empty() ? "" : ", " + roSetup.sBoard) + "}]}";
    std::string sError;
    const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(sRig, "/tmp", sError);
    ASSERT_NE(poBackend, nullptr) << sError;
    QelVxdSetBackendForTest(poBackend);
    m_poBoard = QelVxdSim_Current()->FindBoard(hBoard);

    ASSERT_TRUE(XPins10Helper::GetPinsClock(roSetup.puiPins, &m_oClock));
    ASSERT_TRUE(XPins10Helper::GetPinsMemoryConfig(roSetup.puiPins, &m_oMem));
    if (roSetup.fnPatch)
        roSetup.fnPatch(m_oClock, m_oMem);

    m_poOs = std::make_unique<OsServices>();
    XHwAccessVxd* poInner = new XHwAccessVxd(hBoard, hBridge);
    m_poContext = new XContext(m_poOs.get(), new CLoggingHwAccess(poInner, m_aoLog, m_bLogMemory), new CRegisterLog(m_aoLog));
    ASSERT_TRUE(m_poContext->IsInitialized());
    m_poCore = std::make_unique<XDevCoreInitHb4>(*m_poContext->m_poServicesCore, m_oClock, m_oMem, roSetup.bOnPrimaryBus, 1,
                                                 roSetup.eOption, roSetup.bForceReset);
}

CAccessLog CCoreInitTest::Writes() const
{
    CAccessLog aoWrites;
    std::copy_if(m_aoLog.begin(), m_aoLog.end(), std::back_inserter(aoWrites),
                 [](const SAccess& roAccess) { return roAccess.cKind == 'W'; });
    return aoWrites;
}

size_t CCoreInitTest::Count(char cKind, MUINT32 uiOffset) const
{
    return std::count_if(m_aoLog.begin(), m_aoLog.end(),
                         [&](const SAccess& ro) { return ro.cKind == cKind && ro.uiOffset == uiOffset; });
}
