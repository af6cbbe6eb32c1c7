// Test doubles of the device layer: an in-memory board, recording devices and trace manager, a
// scripted core-initialisation device and a scripted interrupt algorithm.
#pragma once

#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "QelBaseTypes.h"
#include "XBufferMgr.h"
#include "XDev.h"
#include "XDevBoardModel.h"
#include "XDevCoreInit.h"
#include "XHwAccess.h"
#include "XInterruptMgr.h"
#include "XTracesMgrStub.h"

// A resource of the given kind backed by an array of bytes; accesses past its end fail with -1
// and block transfers with -10.
template <class BASE>
class TFakeRes : public BASE
{
public:
    explicit TFakeRes(MUINT32 uiSize) : m_auiBytes(uiSize, 0) {}

    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override { return Copy(uiOffset, &ruiValue, 4, false); }
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override { return Copy(uiOffset, &ruiValue, 1, false); }
    int Read(MUINT32, MUINT8*, MUINT32) override { return -10; }
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override { return Copy(uiOffset, &uiValue, 4, true); }
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override { return Copy(uiOffset, &uiValue, 1, true); }
    int Write(MUINT32, const MUINT8*, MUINT32) override { return -10; }

    std::vector<MUINT8> m_auiBytes;

private:
    int Copy(MUINT32 uiOffset, void* pvValue, MUINT32 uiBytes, bool bWrite)
    {
        if (uiOffset > m_auiBytes.size() || m_auiBytes.size() - uiOffset < uiBytes)
            return -1;
        if (bWrite)
            memcpy(&m_auiBytes[uiOffset], pvValue, uiBytes);
        else
            memcpy(pvValue, &m_auiBytes[uiOffset], uiBytes);
        return 0;
    }
};

class CFakeMem : public TFakeRes<XMemAccess>
{
public:
    CFakeMem() : TFakeRes(0x1000) {}
    MEMHANDLE GetMappedMemory() const override { return 0; }
    MUINT64 GetPhysMemory() const override { return 0; }
    MUINT32 GetSize() const override { return 0x1000; }
    int MapMemory() override { return 1; }
    int UnMapMemory() override { return 1; }
};

// The three windows, built before the XHwAccess that refers to them.
struct SFakeHwParts
{
    TFakeRes<XCfgAccess> m_oCfg{256};
    CFakeMem m_oMem;
    TFakeRes<XRegAccess> m_oReg{0x10000};
};

class CFakeHwAccess : private SFakeHwParts, public XHwAccess
{
public:
    CFakeHwAccess() : XHwAccess(m_oCfg, m_oMem, m_oReg) {}
    int RetrainLink() override { return 0; }
    using SFakeHwParts::m_oReg;
};

// Log shared by the doubles of one test: "reset A", "delete A", ...
typedef std::vector<std::string> CEventLog;

// A device that logs its resets and its destruction.
class CLoggingDev : public XDev
{
public:
    CLoggingDev(CEventLog& roLog, const std::string& rsName, XDev::EType eType = XDev::TYPE_GENERIC)
        : XDev(eType), m_roLog(roLog), m_sName(rsName)
    {
    }
    ~CLoggingDev() override { m_roLog.push_back("delete " + m_sName); }
    LStatus Reset(int iMode) override
    {
        m_roLog.push_back("reset " + m_sName + " " + std::to_string(iMode));
        return m_iResetResult;
    }

    CEventLog& m_roLog;
    std::string m_sName;
    LStatus m_iResetResult = 0;
};

// Core-initialisation device whose results the test sets.
class CScriptedCoreInit : public XDevCoreInit
{
public:
    explicit CScriptedCoreInit(CEventLog& roLog, LStatus iInitResult = 0)
        : XDevCoreInit(OPTION_INIT_ALL), m_roLog(roLog), m_iInitResult(iInitResult)
    {
    }
    LStatus ClearInitialized() override
    {
        m_roLog.push_back("clear");
        return m_iClearResult;
    }
    MBOOL32 IsHardwareInitialize() override { return FALSE; }
    LStatus InitializeHardware() override
    {
        m_roLog.push_back("init core");
        return m_iInitResult;
    }
    MBOOL32 IsDriverRunning() const override { return FALSE; }

    CEventLog& m_roLog;
    LStatus m_iInitResult;
    LStatus m_iClearResult = 0;
};

class CLoggingHmc : public XDevHmc
{
public:
    explicit CLoggingHmc(CEventLog& roLog) : m_roLog(roLog) {}
    LStatus DeAllocatedData(MBOOL32 bFreeAll) override
    {
        m_roLog.push_back("hmc free " + std::to_string(bFreeAll));
        return 0;
    }
    CEventLog& m_roLog;
};

class CFixedRefCnt : public XDevReferenceCnt
{
public:
    explicit CFixedRefCnt(MUINT64 uiCount) : m_uiCount(uiCount) {}
    MUINT64 GetReferenceCount() override { return m_uiCount; }
    MUINT64 m_uiCount;
};

class CLoggingBufferMgr : public XBufferMgrDummy
{
public:
    explicit CLoggingBufferMgr(CEventLog& roLog) : XBufferMgrDummy(nullptr, nullptr), m_roLog(roLog) {}
    void Reset() override { m_roLog.push_back("buffers reset"); }
    CEventLog& m_roLog;
};

// Interrupt algorithm whose arm and disarm results the test sets.
class CScriptedAlgo : public XInterruptAlgo
{
public:
    LStatus Init() override { return 0; }
    LStatus HandleInterrupt() override
    {
        m_uiHandled++;
        return 1;
    }
    LStatus EnableInterrupt(EInterruptType, MUINT32 uiNumber) override
    {
        m_auiArmed.push_back(uiNumber);
        return m_iEnableResult;
    }
    LStatus DisableInterrupt(EInterruptType, MUINT32 uiNumber) override
    {
        m_auiDisarmed.push_back(uiNumber);
        return m_iDisableResult;
    }
    MUINT32 GetNbOfInterrupt(EInterruptType) override { return 0; }

    LStatus m_iEnableResult = 1;
    LStatus m_iDisableResult = 1;
    std::vector<MUINT32> m_auiArmed;
    std::vector<MUINT32> m_auiDisarmed;
    std::atomic<MUINT32> m_uiHandled{0};
};

// Keeps every record it is given.
class CRecordingTracesMgr : public XTracesMgrStub
{
public:
    struct SRecord
    {
        XTrace oTrace;
        LStatus iStatus;
    };

    LStatus Add(const XTrace& roTrace, LStatus iStatus) override
    {
        m_aoRecords.push_back({roTrace, iStatus});
        return 1;
    }

    std::vector<SRecord> m_aoRecords;
};
