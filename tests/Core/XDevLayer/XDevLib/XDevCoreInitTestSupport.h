// Core initialisation on a simulated board: a rig with one board at 03:00.0 behind a root port, a
// context over the real platform layer, and the device built from a built-in reference block.
// Every register access of the device is recorded (through the context's trace manager); the
// configuration and memory accesses can be recorded as well.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OsServices.h"
#include "QelVxdSim.h"
#include "QelVxdSimChip.h"
#include "XContext.h"
#include "XDevCoreInit_Hb4.h"
#include "XHwAccess.h"
#include "XIoPin.h"
#include "XTracesMgrStub.h"
#include "XTracesReg.h"

// The reference blocks of the boards with four and with two DDR PHYs.
extern const unsigned char g_aucCoreInitRef4Phy[];
extern const unsigned char g_aucCoreInitRef2Phy[];

// One recorded access, read/write: register 'R'/'W', configuration 'c'/'C', memory 'm'/'M'.
struct SAccess
{
    char cKind;
    MUINT32 uiOffset;
    MUINT32 uiValue;
    bool operator==(const SAccess&) const = default;
};
std::ostream& operator<<(std::ostream& roOut, const SAccess& roAccess);

typedef std::vector<SAccess> CAccessLog;

inline bool Contains(const std::string& rsText, const std::string& rsPart)
{
    return rsText.find(rsPart) != std::string::npos;
}

// Trace manager that turns the traced register accesses into the log.
class CRegisterLog : public XTracesMgrStub
{
public:
    explicit CRegisterLog(CAccessLog& roLog) : m_roLog(roLog) {}
    LStatus Add(const XTrace& roTrace, LStatus iStatus) override;

    CAccessLog& m_roLog;
};

// A board I/O pin that logs what is done with it; "HB4_SRST" driven high pulses the simulated
// chip's reset line.
class CSimPin : public XIoPin
{
public:
    CSimPin(const char* pszName, std::vector<std::string>& rasLog, LStatus iAcquire = 0)
        : XIoPin(pszName), m_rasLog(rasLog), m_iAcquire(iAcquire)
    {
    }
    LStatus AcquireIOPin(MUINT32 uiTimeoutMs, MUINT32& ruiSessionId) override
    {
        Log("acquire", uiTimeoutMs);
        ruiSessionId = msc_uiSession;
        return m_iAcquire;
    }
    LStatus SetDirection(MUINT32 uiSessionId, EPinDirection eDirection) override
    {
        Log("direction", uiSessionId, eDirection);
        return 0;
    }
    LStatus SetState(MUINT32 uiSessionId, EPinState eState) override;
    LStatus ReleaseIOPin(MUINT32 uiSessionId) override
    {
        Log("release", uiSessionId);
        return 0;
    }
    // "<what> <pin> <first> [<second>]"
    void Log(const char* pszWhat, MUINT32 uiFirst, int iSecond = -1)
    {
        m_rasLog.push_back(std::string(pszWhat) + " " + m_szName.GetString() + " " + std::to_string(uiFirst) +
                           (iSecond >= 0 ? " " + std::to_string(iSecond) : ""));
    }

    static constexpr MUINT32 msc_uiSession = 7;
    std::vector<std::string>& m_rasLog;
    LStatus m_iAcquire;
};

struct SCoreSetup
{
    std::string sBoard{};   // extra members of the rig's board, e.g. "\"chip_revision\": 0"
    const unsigned char* puiPins = g_aucCoreInitRef4Phy;   // the block that gives the records
    int bOnPrimaryBus = 0;   // the system processor sits on the primary bus
    XDevCoreInit::EInitOption eOption = XDevCoreInit::OPTION_INIT_ALL;
    int bForceReset = 0;
    // Changes the records before the device is made from them.
    std::function<void(tagPins10Clock&, tagPins10Mem_v2&)> fnPatch{};
};

class CCoreInitTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Loads the rig and builds context and device; fails the test when that does not work.
    void Build(const SCoreSetup& roSetup = SCoreSetup());
    // Build with these extra members of the rig's board.
    void BuildBoard(const std::string& rsBoard) { Build({.sBoard = rsBoard}); }
    CQelSimBoard& Board() const { return *m_poBoard; }
    CQelSimChip& Chip() const { return *CQelSimChip::Of(*m_poBoard); }
    XDevCoreInitHb4& Core() const { return *m_poCore; }
    XContext& Context() const { return *m_poContext; }

    // Register writes (and only those) of the log, optionally from one offset.
    CAccessLog Writes() const;
    size_t Count(char cKind, MUINT32 uiOffset) const;
    // Output of the messages printed while running fn.
    template <class TFn>
    std::string Output(TFn&& rfn)
    {
        ::testing::internal::CaptureStdout();
        rfn();
        return ::testing::internal::GetCapturedStdout();
    }

    CAccessLog m_aoLog;
    bool m_bLogMemory = false;   // memory accesses are many: recorded only when asked
    alignas(4) tagPins10Clock m_oClock{};   // the records the device was made from
    alignas(4) tagPins10Mem_v2 m_oMem{};

private:
    std::unique_ptr<OsServices> m_poOs;
    XContext* m_poContext = nullptr;
    std::unique_ptr<XDevCoreInitHb4> m_poCore;
    CQelSimBoard* m_poBoard = nullptr;
    MBOOL32 m_abMsgLevel[3] = {};
};

template <class TCase>
class TCoreInitParamTest : public CCoreInitTest, public ::testing::WithParamInterface<TCase>
{
};

// Names the instances of a table after its cases.
inline constexpr auto CaseName = [](const auto& roInfo) { return std::string(roInfo.param.pszName); };
