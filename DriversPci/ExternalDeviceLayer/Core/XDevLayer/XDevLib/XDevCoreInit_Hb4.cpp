#include "XDevCoreInit_Hb4.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "Hb4PortArbitrationTable.h"
#include "Hb4RegChip.h"
#include "Hb4RegClock.h"
#include "Hb4RegEeprom.h"
#include "Hb4RegEngine.h"
#include "Hb4RegInitStatus.h"
#include "Hb4RegMemCtl.h"
#include "Hb4RegPcieCfg.h"
#include "Hb4RegPhy.h"
#include "QelPciCfgRegs.h"
#include "OsServices.h"
#include "QelAssert.h"
#include "QelTools.h"
#include "XContext.h"
#include "XHwAccess.h"
#include "XIoPin.h"
#include "XServicesCore.h"
#include "XTracesReg.h"

using namespace Hb4Clock;
using namespace Hb4RegEeprom;
using namespace Hb4Engine;
using namespace Hb4InitStatus;
using namespace Hb4MemCtl;
using namespace Hb4PcieCfg;
using namespace Hb4Phy;
using namespace PciCfg;

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_MEMORY_RECORD_VERSION = 237,
    REPORT_NO_PLL_SOLVER         = 257,
    REPORT_REGISTERS_UNREADABLE  = 392,
    REPORT_ENGINE_FATAL          = 416,
    REPORT_MAP_MEMORY            = 471,
    REPORT_UNMAP_MEMORY          = 482,
    REPORT_TOO_MANY_TRIES        = 496,
    REPORT_LINK_WIDTH            = 515,
    REPORT_LINK_RETRAIN          = 522,
    REPORT_PORT_INDEX            = 614,
    REPORT_PORT_USE              = 642,
    REPORT_PORT_COMBINATION      = 664,
    REPORT_PHY_MASK              = 783,
    REPORT_NO_DIVIDER_SET        = 843,
    REPORT_PHYS_BUSY             = 870,
    REPORT_PHY_ERROR             = 884,
    REPORT_MEMORY_NOT_READY      = 1042,
    REPORT_RESET_REVISION        = 1129,
    REPORT_DEVCTL_UNSTABLE       = 1190,
    REPORT_CHIP_NOT_RECOVERED    = 1309,
    REPORT_NO_RESET_PIN          = 1315,
    REPORT_NO_PINS               = 1321,
    REPORT_HRB_SOURCE            = 1427,
    REPORT_MFE_SOURCE_BUS_ONLY   = 1450,
    REPORT_HRB_SYNTHESIZER       = 1497,
    REPORT_MFE_SYNTHESIZER       = 1506,
    REPORT_MFE_SOURCE            = 1563,
    REPORT_FS0                   = 1628,
    REPORT_FS1                   = 1636,
    REPORT_FS2                   = 1644,
    REPORT_FS_VIDEO              = 1654,
    REPORT_NO_SOLVER             = 1724,
    REPORT_DIVIDER_SEARCH_FAILED = 1735,
    REPORT_DMA_QUEUES_BUSY       = 1883,
    REPORT_ARMA_RUNNING          = 2077,
    REPORT_ENGINE_A_REQ_BUSY     = 2083,
    REPORT_ENGINE_A_RUNNING      = 2085,
    REPORT_ENGINE_B_REQ_BUSY     = 2092,
    REPORT_ENGINE_B_RUNNING      = 2094,
    REPORT_STREAM0_STOPPING      = 2098,   // channels 1-3 take the next three numbers
};

// ---- Waits (microseconds) and poll counts of the sequence.
constexpr MUINT32 msc_uiMemoryTestSettleUs = 5000;
constexpr MUINT32 msc_uiRetryResetDelayMs = 1000;
constexpr MUINT32 msc_uiFsResetPulseUs = 5000;
constexpr MUINT32 msc_uiFsLockSettleUs = 10;
constexpr MUINT32 msc_uiFsLockReads = 100;
constexpr MUINT32 msc_uiClockSettleUs = 500;
constexpr MUINT32 msc_uiPhyPollUs = 1000;
constexpr MUINT32 msc_uiPhyPollReads = 51;
constexpr MUINT32 msc_uiReadyPollUs = 1000;
constexpr MUINT32 msc_uiReadyPollReads = 50;
constexpr MUINT32 msc_uiDevctlPollUs = 1000;
constexpr MUINT32 msc_uiDevctlPolls = 1000;
constexpr MUINT32 msc_uiPinResetSettleUs = 100;
constexpr MUINT32 msc_uiProcessorResetMs = 20;
constexpr MUINT32 msc_uiProcessorRecoverUs = 300000;
constexpr MUINT32 msc_uiRecoverPollUs = 10000;
constexpr MUINT32 msc_uiRecoverPolls = 1000;
constexpr MUINT32 msc_uiRecoveredSettleUs = 5000;
constexpr MUINT32 msc_uiDmaQueuePollUs = 10;
constexpr MUINT32 msc_uiDmaQueuePolls = 200;
constexpr MUINT32 msc_uiEngineStopMs = 20;

// Board pins of a revision-0 reset: the system processor's reset button (active low) and the
// chip's reset line.
const MCHAR8 msc_szProcessorResetPin[] = "PMC_RSTBTNn";
const MCHAR8 msc_szChipResetPin[] = "HB4_SRST";

// The memory test pattern: two runs of 65535 words, word i at byte 4 x i holding i shifted left.
// The first run, from word 0, holds each word's index; the second, from word 0x10000 (byte
// 0x40000), the index in the upper half. Together they drive every data line to both levels.
struct STestRun
{
    MUINT32 uiFirstIndex;
    MUINT32 uiShift;
};
constexpr MUINT32 msc_uiTestRunWords = 0xFFFF;
const STestRun msc_aoTestRuns[] = {{0, 0}, {0x10000, 16}};

// Calls fnWord(offset, value) for every word of the pattern, run by run, in address order, and
// stops at the first call that returns false; true when none did. The offset steps by a word and
// the value by the run's unit (1 shifted left by the run's shift) rather than being shifted from
// each index: adding modulo 2^32 wraps exactly as the shifted index is truncated to 32 bits.
template <typename TWord>
bool ForEachTestWord(TWord fnWord)
{
    for (const STestRun& roRun : msc_aoTestRuns)
    {
        const MUINT32 uiEnd = (roRun.uiFirstIndex + msc_uiTestRunWords) * 4;
        const MUINT32 uiStep = 1u << roRun.uiShift;
        MUINT32 uiValue = roRun.uiFirstIndex << roRun.uiShift;
        for (MUINT32 uiOffset = roRun.uiFirstIndex * 4; uiOffset < uiEnd; uiOffset += 4, uiValue += uiStep)
        {
            if (!fnWord(uiOffset, uiValue))
            {
                return false;
            }
        }
    }
    return true;
}

// The two halves of the test, 131,070 single accesses each, kept out of line. Inlined into the
// initialisation function, they share its inlining budget, and a release build then leaves the
// reads a virtual call through the access object, a quarter of the read loop's time. On their own,
// both loops call the window's access directly, with the virtual call kept as the fallback.
[[gnu::noinline]] void WriteTestPattern(XMemAccess& roMem)
{
    ForEachTestWord([&roMem](MUINT32 uiOffset, MUINT32 uiValue) {
        roMem.Write(uiOffset, uiValue);
        return true;
    });
}

// True when every word reads back as written.
[[gnu::noinline]] bool CheckTestPattern(XMemAccess& roMem)
{
    return ForEachTestWord([&roMem](MUINT32 uiOffset, MUINT32 uiExpected) {
        MUINT32 uiValue = 0;
        return roMem.Read(uiOffset, uiValue) >= 0 && uiValue == uiExpected;
    });
}

// Clock domains in the order they are parked and then switched to their synthesizers, with the
// clock record word that each receives.
struct SClockDomain
{
    MUINT32 uiRegister;
    size_t uiRecordOffset;
};

#define CLOCK_WORD(field) offsetof(tagPins10Clock, field)
const SClockDomain msc_aoClockDomains[] = {
    {RegSYS_HRBCLKCTL, CLOCK_WORD(uiSYS_HRBCLKCTL)},
    {RegSYS_MFECLKCTL, CLOCK_WORD(uiSYS_MFECLKCTL)},
    {RegSYS_MBECLKCTL, CLOCK_WORD(uiSYS_MBECLKCTL)},
    {RegSYS_CPUCLKCTL, CLOCK_WORD(uiSYS_CPUCLKCTL)},
    {RegSYS_GPUCLKCTL, CLOCK_WORD(uiSYS_GPUCLKCTL)},
    {RegSYS_VCEECLKCTL, CLOCK_WORD(uiSYS_VCEECLKCTL)},
    {RegSYS_VCPECLKCTL0, CLOCK_WORD(auiSYS_VCPECLKCTL)},
    {RegSYS_VCPECLKCTL0 + CLKCTL_REG_STRIDE, CLOCK_WORD(auiSYS_VCPECLKCTL) + 4},
    {RegSYS_VCTECLKCTL0, CLOCK_WORD(auiSYS_VCTECLKCTL)},
    {RegSYS_VCTECLKCTL0 + CLKCTL_REG_STRIDE, CLOCK_WORD(auiSYS_VCTECLKCTL) + 4},
    {RegSYS_VPCCLKCTL0, CLOCK_WORD(auiSYS_VPCCLKCTL)},
    {RegSYS_VPCCLKCTL0 + CLKCTL_REG_STRIDE, CLOCK_WORD(auiSYS_VPCCLKCTL) + 4},
    {RegSYS_VPECLKCTL0, CLOCK_WORD(auiSYS_VPECLKCTL)},
    {RegSYS_VPECLKCTL0 + CLKCTL_REG_STRIDE, CLOCK_WORD(auiSYS_VPECLKCTL) + 4},
    {RegSYS_VPECLKCTL0 + 2 * CLKCTL_REG_STRIDE, CLOCK_WORD(auiSYS_VPECLKCTL) + 8},
    {RegSYS_RNDGENCLKCTL, CLOCK_WORD(uiSYS_RNDGENCLKCTL)},
    {RegSYS_HMCCLKCTL, CLOCK_WORD(uiSYS_HMCCLKCTL)},
    {RegSYS_FPGACLKCTL, CLOCK_WORD(uiSYS_FPGACLKCTL)},
};
#undef CLOCK_WORD

// A register and the value it receives.
struct SRegValue
{
    MUINT32 uiRegister;
    MUINT32 uiValue;
};

// Client arbitration of the MBE as the controller is brought up (clients 2 and 16 are written
// together).
const SRegValue msc_aoClientArbitration[] = {
    {MbeClientArbReg(0), CLIENT_ARB_HOST_NO_PORT},   {MbeClientArbReg(1), 0x0A0F0A00},
    {MbeClientArbReg(2), CLIENT_ARB_FPGA_DEFAULT},   {MbeClientArbReg(16), CLIENT_ARB_FPGA_DEFAULT},
    {MbeClientArbReg(3), 0x060F0600},                {MbeClientArbReg(4), 0x070F0400},
    {MbeClientArbReg(5), 0x070F0400},                {MbeClientArbReg(6), 0x070F0400},
    {MbeClientArbReg(7), 0x070F0400},                {MbeClientArbReg(8), 0x070F0400},
    {MbeClientArbReg(9), 0x0C0F0C00},                {MbeClientArbReg(10), 0x0E0F0E00},
    {MbeClientArbReg(11), 0x040F0400},               {MbeClientArbReg(12), 0x040F0400},
    {MbeClientArbReg(13), 0x040F0400},               {MbeClientArbReg(14), 0x040F0400},
    {MbeClientArbReg(15), 0x040F0400},
};

// MFE arbitration as the controller is brought up: no cycles for the demultiplexer, all 100 %
// for the other clients.
const SRegValue msc_aoMfeArbitration[] = {
    {RegMFE_ARB0, 0},          {RegMFE_ARB1, 0x6400},     {RegMFE_ARB2, MFE_ARB_TOTAL_PERCENT},
    {RegMFE_ARB3, 0x00640064}, {RegMFE_ARB4, 0x0A100600}, {RegMFE_ARB5, 0x00101020},
    {RegMFE_ARB6, 0x00080810},
};

// Interleave mode by PHY mask (0-15); a mask with three PHYs or none has no mode.
constexpr MUINT32 msc_uiNoMode = 0xFFFFFFFF;
const MUINT32 msc_auiInterleaveMode[PHY_MASK_ALL + 1] = {
    msc_uiNoMode,    INTERLEAVE_MONO, INTERLEAVE_MONO, INTERLEAVE_DUAL,   // 0-3
    INTERLEAVE_MONO, INTERLEAVE_DUAL, INTERLEAVE_DUAL, msc_uiNoMode,      // 4-7
    INTERLEAVE_MONO, INTERLEAVE_DUAL, INTERLEAVE_DUAL, msc_uiNoMode,      // 8-11
    INTERLEAVE_DUAL, msc_uiNoMode,    msc_uiNoMode,    INTERLEAVE_QUAD,   // 12-15
};

// Assertion report through the debug channel, for a check whose failure is routine enough that
// the sequence only notes it.
void ReportQuietly(const char* pszSourcePath, EReport eReport)
{
    OsServices::WriteMsg("%s(%d) Assertion failed\n", OsServices::GetFileNameOnlySubSring(pszSourcePath), eReport);
    QelTools_Assert(0, pszSourcePath, eReport);
}

// The board's processor and chip reset pins among its first uiPinCount pins (the last of each
// name); a pin that is missing is left null.
void FindResetPins(const XContext& roContext, MUINT32 uiPinCount, XIoPin*& rpoProcessorReset, XIoPin*& rpoChipReset)
{
    for (MUINT32 uiPin = 0; uiPin < uiPinCount; uiPin++)
    {
        XIoPin* poPin = roContext.GetIoPin(uiPin);
        if (poPin == nullptr)
        {
            continue;
        }
        if (QelTools_strcmp(poPin->m_szName.GetString(), msc_szProcessorResetPin) == 0)
        {
            rpoProcessorReset = poPin;
        }
        if (QelTools_strcmp(poPin->m_szName.GetString(), msc_szChipResetPin) == 0)
        {
            rpoChipReset = poPin;
        }
    }
}

// Makes the pin an output at that level; false when the pin could not be acquired.
bool DrivePin(XIoPin& roPin, XIoPin::EPinState eState)
{
    MUINT32 uiSession = 0;
    if (roPin.AcquireIOPin(XIoPin::msc_uiInfiniteTimeout, uiSession) < 0)
    {
        return false;
    }
    roPin.SetDirection(uiSession, XIoPin::PIN_DIR_OUTPUT);
    roPin.SetState(uiSession, eState);
    roPin.ReleaseIOPin(uiSession);
    return true;
}
}  // namespace

// ================================================================================================
// Construction
// ================================================================================================

XDevCoreInitHb4::XDevCoreInitHb4(XServicesCore& roServicesCore, const tagPins10Clock& roPinsClock,
                                 const tagPins10Mem_v2& roPinsMem, int bSystemProcessorOnPrimaryBus,
                                 int bSystemProcessorOnBoard, EInitOption eInitOption, int bForceGlobalReset)
    : XDevCoreInit(eInitOption),
      m_roServicesCore(roServicesCore),
      m_roOsServices(roServicesCore.m_roOsServices),
      m_roHwAccess(roServicesCore.m_roHwAccess),
      m_roXContext(roServicesCore.m_roContext),
      m_uiEngine(bSystemProcessorOnPrimaryBus == 0 ? 1 : 0),
      m_oPinsClock(roPinsClock),
      m_oPinsMem(roPinsMem),
      m_bSystemProcessorOnBoard(bSystemProcessorOnBoard != 0 ? 1 : 0),
      m_aePortConfig{PORT_UNUSED, PORT_UNUSED, PORT_UNUSED, PORT_UNUSED},
      m_bForceGlobalReset(bForceGlobalReset != 0 ? 1 : 0)
{
    if (m_oPinsMem.uiVersion != PINS10_MEMORY_VERSION)
    {
        QEL_ASSERT_REPORT_AT(REPORT_MEMORY_RECORD_VERSION);
        m_bInitialized = 0;
    }

    const SPllData oPllData = {
        {FS_M0_MIN, FS_M0_MAX},
        {FS_M1_MIN, FS_M1_MAX},
        {FS_P0_MIN, FS_P0_MAX},
        {FS_P1_MIN, FS_P1_MAX},
        {m_oPinsClock.uiVco1Min, m_oPinsClock.uiVco1Max},
        {m_oPinsClock.uiFreqRef2Min, m_oPinsClock.uiFreqRef2Max},
        {m_oPinsClock.uiVco2Min, m_oPinsClock.uiVco2Max},
    };
    m_ptoAlgo.reset(new (std::nothrow) XCascadedPll(oPllData));
    if (m_ptoAlgo == nullptr || !m_ptoAlgo->IsInitialized())
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_PLL_SOLVER);
        m_bInitialized = 0;
    }
}

XDevCoreInitHb4::~XDevCoreInitHb4() {}

// ================================================================================================
// Access helpers
// ================================================================================================

XRegAccess& XDevCoreInitHb4::Reg() const { return m_roServicesCore.m_roTracesReg; }
XCfgAccess& XDevCoreInitHb4::Cfg() const { return m_roHwAccess.m_roCfg; }
XMemAccess& XDevCoreInitHb4::Mem() const { return m_roHwAccess.m_roMem; }

MUINT32 XDevCoreInitHb4::ReadReg(MUINT32 uiOffset) const
{
    MUINT32 uiValue = 0;
    return Reg().Read(uiOffset, uiValue) < 0 ? 0 : uiValue;
}

void XDevCoreInitHb4::WriteReg(MUINT32 uiOffset, MUINT32 uiValue) const { Reg().Write(uiOffset, uiValue); }

void XDevCoreInitHb4::ModifyReg(MUINT32 uiOffset, MUINT32 uiClear, MUINT32 uiSet) const
{
    WriteReg(uiOffset, (ReadReg(uiOffset) & ~uiClear) | uiSet);
}

MUINT32 XDevCoreInitHb4::ReadCfg(MUINT32 uiOffset) const
{
    MUINT32 uiValue = 0;
    return Cfg().Read(uiOffset, uiValue) < 0 ? 0 : uiValue;
}

void XDevCoreInitHb4::WaitUs(MUINT32 uiMicroSeconds) const { m_roOsServices.WaitMicroSeconds(uiMicroSeconds); }

MUINT32 XDevCoreInitHb4::EngineBase() const { return EngineBlockBase(m_uiEngine); }

MUINT32 XDevCoreInitHb4::PhyMaskFromRecord() const
{
    MUINT32 uiMask = 0;
    for (MUINT32 uiPhy = 0; uiPhy < PINS10_MEMORY_CHANNEL_COUNT; uiPhy++)
    {
        uiMask |= m_oPinsMem.auiMemQty[uiPhy] != 0 ? 1u << uiPhy : 0;
    }
    return uiMask;
}

void XDevCoreInitHb4::SelectPhys(MUINT32 uiPhyMask) const { WriteReg(RegMEM_PHYSELECT, uiPhyMask); }

template <class TFn>
void XDevCoreInitHb4::ForEachPhy(MUINT32 uiPhyMask, TFn&& rfnPerPhy) const
{
    for (MUINT32 uiPhy = 0; uiPhy < PHY_COUNT; uiPhy++)
    {
        if ((uiPhyMask & (1u << uiPhy)) != 0)
        {
            SelectPhys(1u << uiPhy);
            rfnPerPhy();
        }
    }
}

MUINT32 XDevCoreInitHb4::PollRegister(MUINT32 uiOffset, MUINT32 uiBit, MUINT32 uiWaitUs, MUINT32 uiMaxReads,
                                      MUINT32& ruiLast) const
{
    MUINT32 uiReads = 0;
    do
    {
        ruiLast = ReadReg(uiOffset);
        WaitUs(uiWaitUs);
        uiReads++;
    } while ((ruiLast & uiBit) == 0 && uiReads < uiMaxReads);
    return uiReads;
}

// ================================================================================================
// Marker and top-level sequence
// ================================================================================================

MBOOL32 XDevCoreInitHb4::IsHardwareInitialize()
{
    return (ReadReg(RegINIT_STATUS) & INIT_STATUS_MEMORY_INITIALIZED) != 0 ? 1 : 0;
}

MBOOL32 XDevCoreInitHb4::IsDriverRunning() const
{
    return (ReadReg(RegINIT_STATUS) & INIT_STATUS_DRIVER_RUNNING) != 0 ? 1 : 0;
}

LStatus XDevCoreInitHb4::ClearInitialized()
{
    MUINT32 uiStatus = 0;
    const LStatus iRead = Reg().Read(RegINIT_STATUS, uiStatus);
    if (iRead < 0)
    {
        return iRead;
    }
    if ((uiStatus & INIT_STATUS_MEMORY_INITIALIZED) == 0)
    {
        return -1;
    }
    const LStatus iWrite = Reg().Write(RegINIT_STATUS, uiStatus & ~INIT_STATUS_MEMORY_INITIALIZED);
    return iWrite < 0 ? iWrite : 0;
}

LStatus XDevCoreInitHb4::InitializeHardware()
{
    MUINT32 uiStatus = 0;
    const LStatus iState = CheckChipState(uiStatus);
    if (iState != 0)
    {
        return iState;
    }

    const bool bAllowReset = (m_eInitOption & OPTION_ALLOW_GLOBAL_RESET) != 0;
    const bool bInitMemory = (m_eInitOption & OPTION_INIT_MEMORY) != 0;
    if (bAllowReset && ((uiStatus & INIT_STATUS_GLOBAL_RESET_REQUESTED) != 0 || m_bForceGlobalReset))
    {
        OsServices::WriteMsg("Global reset was triggered\n");
        HardwareReset();
    }
    if (RunAttempts(bAllowReset, bInitMemory) < 0)
    {
        return -1;
    }
    ConfigureBusSide();

    if (!bInitMemory)
    {
        return 0;
    }
    const LStatus iWrite =
        Reg().Write(RegINIT_STATUS, uiStatus | INIT_STATUS_MEMORY_INITIALIZED | INIT_STATUS_GLOBAL_RESET_REQUESTED);
    return iWrite <= 0 ? iWrite : 0;
}

// A chip whose registers cannot be read is not touched at all, nor one whose engine reports a
// fatal state, nor one whose memory is already initialised. 0 when the initialisation goes on,
// with the status word in ruiStatus; otherwise the result InitializeHardware returns.
LStatus XDevCoreInitHb4::CheckChipState(MUINT32& ruiStatus)
{
    MUINT32 uiEngineStatus = 0;
    LStatus iRead = Reg().Read(RegINIT_STATUS, ruiStatus);
    if (iRead >= 0)
    {
        iRead = Reg().Read(EngineBase() + RegENG_STATUS, uiEngineStatus);
    }
    if (iRead < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_REGISTERS_UNREADABLE);
        return iRead;
    }
    if ((uiEngineStatus & ENG_STATUS_FATAL) != 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_ENGINE_FATAL);
        return msc_iNotSupported;
    }
    return (ruiStatus & INIT_STATUS_MEMORY_INITIALIZED) != 0 ? 1 : 0;
}

// Attempts. The count, not the outcome of the last attempt, decides: more than msc_uiMaxTries
// attempts fail even when the last one passed. Without reset permission a single attempt is made
// and its failure does not fail the initialisation. 0 done, -1 failure.
LStatus XDevCoreInitHb4::RunAttempts(bool bAllowReset, bool bInitMemory)
{
    MUINT32 uiTries = 0;
    bool bOk = false;
    for (;;)
    {
        if (bAllowReset && uiTries > 0)
        {
            OsServices::WriteMsg("Memory Initialization fail, try hardware reset in 1 second\n");
            m_roOsServices.SleepMilliSeconds(msc_uiRetryResetDelayMs);
            HardwareReset();
        }
        if (bInitMemory)
        {
            const LStatus iAttempt = AttemptMemoryInit();
            if (iAttempt < 0)
            {
                return -1;
            }
            bOk = iAttempt > 0;
        }
        else if ((m_eInitOption & OPTION_INIT_REGISTERS) != 0)
        {
            ClockRegInitOnly();
            uiTries++;
            break;
        }
        uiTries++;
        if (bOk || uiTries > msc_uiMaxTries || !bAllowReset)
        {
            break;
        }
    }
    if (uiTries > msc_uiMaxTries)
    {
        OsServices::WriteErrorMsg("Memory initialization fail after %d tries\n", (int)uiTries);
        QEL_ASSERT_REPORT_AT(REPORT_TOO_MANY_TRIES);
        return -1;
    }
    return 0;
}

// One attempt: clocks, controller, then the memory test through the mapped window. 1 the memory
// passed, 0 the attempt failed, -1 the window could not be mapped or unmapped.
LStatus XDevCoreInitHb4::AttemptMemoryInit()
{
    if (!ClockMemInit() || InitMctl(PhyMaskFromRecord()) != 0)
    {
        return 0;
    }
    WaitUs(msc_uiMemoryTestSettleUs);
    if (!Mem().MapMemory())
    {
        QEL_ASSERT_REPORT_AT(REPORT_MAP_MEMORY);
        return -1;
    }
    const bool bOk = TestMemory() != 0;
    if (!bOk)
    {
        OsServices::WriteMsg("Memory initialization fail: Memory test failed\n");
    }
    if (!Mem().UnMapMemory())
    {
        QEL_ASSERT_REPORT_AT(REPORT_UNMAP_MEMORY);
        return -1;
    }
    return bOk ? 1 : 0;
}

// After the attempts: ports unused, the link checked, the engine blocks' bus configuration, and
// data-link protocol errors masked.
void XDevCoreInitHb4::ConfigureBusSide()
{
    for (MUINT32 uiPort = 0; uiPort < msc_uiPortCount; uiPort++)
    {
        PortArbitration(uiPort, PORT_UNUSED);
    }
    if (m_bSystemProcessorOnBoard)
    {
        LinkCheck();
    }
    for (MUINT32 uiBlock = 0; uiBlock < ENGINE_BLOCK_COUNT; uiBlock++)
    {
        ModifyReg(EngineBlockBase(uiBlock) + RegENG_BUS_CFG, ENG_BUS_CFG_CLEAR, ENG_BUS_CFG_SET);
    }
    // The uncorrectable error mask lies in the extended configuration space; where the
    // configuration access cannot reach it, the read fails and the mask is left alone.
    MUINT32 uiErrorMask = 0;
    if (Cfg().Read(RegPCIE_UNCORERR_MASK, uiErrorMask) >= 0)
    {
        Cfg().Write(RegPCIE_UNCORERR_MASK, uiErrorMask | AER_UNCORR_DLP);
    }
}

// The system processor sits behind a PCI Express bridge on the board; a link that came up at
// 2.5 Gb/s is retrained through the bridge above the chip.
void XDevCoreInitHb4::LinkCheck()
{
    const MUINT32 uiLink = ReadCfg(RegPCIE_LINKCTL);
    if (((uiLink >> PCIE_LINK_WIDTH_SHIFT) & PCIE_LINK_WIDTH_MASK) == 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_LINK_WIDTH);
    }
    if (((uiLink >> PCIE_LINK_SPEED_SHIFT) & PCIE_LINK_SPEED_MASK) == PCIE_LINK_SPEED_2_5GT)
    {
        OsServices::WriteMsg("LinkSpeed is 2.5 Gb/s, try to retrain PCIE link using Bridge\n");
        if (m_roHwAccess.RetrainLink() < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_LINK_RETRAIN);
        }
    }
}

// ================================================================================================
// Reset
// ================================================================================================

MBOOL32 XDevCoreInitHb4::HardwareReset()
{
    const MUINT32 uiRevision = Reg().m_uiChipRevision;
    if (uiRevision > 1)
    {
        QEL_ASSERT_REPORT_AT(REPORT_RESET_REVISION);
        return 0;
    }
    if (!ResetEngines())
    {
        OsServices::WriteErrorMsg("Fails to reset engines try to continue normally\n");
    }
    return uiRevision == 1 ? ResetThroughRegister() : ResetThroughPins();
}

// Revision 1: the chip resets itself through its control register and keeps its configuration
// space. The device control path is stable again once the command/status dword reads what it
// read before the reset.
MBOOL32 XDevCoreInitHb4::ResetThroughRegister()
{
    const MUINT32 uiBefore = ReadCfg(RegCOMMAND_STATUS);
    ModifyReg(RegCHIP_CTL, 0, CHIP_CTL_RESET);
    ModifyReg(RegENG_STATUS, ENG_STATUS_RESET_CLEAR, 0);
    ModifyReg(HST_EEPROMWP, 0, uHstResetCfg | uE2wpchg);

    // Nothing is read before the first wait: the dword cannot be trusted during the reset itself.
    MUINT32 uiNow = 0;
    MUINT32 uiWaits = 0;
    while (uiNow != uiBefore)
    {
        if (uiWaits == msc_uiDevctlPolls)
        {
            OsServices::WriteErrorMsg("DEVCTL is still unstable (0x%08X) after %d ms\n", uiNow, (int)msc_uiDevctlPolls);
            QEL_ASSERT_REPORT_AT(REPORT_DEVCTL_UNSTABLE);
            return 0;
        }
        WaitUs(msc_uiDevctlPollUs);
        uiWaits++;
        uiNow = ReadCfg(RegCOMMAND_STATUS);
    }
    OsServices::WriteMsg("DEVCTL was stable (0x%08X) after %d ms\n", uiBefore, (int)uiWaits);
    return 1;
}

// Revision 0: the board pulls the chip (and, when it has one, the system processor) into reset
// through its I/O pins. The chip drops off the bus and comes back with its configuration space
// cleared, so that space is saved first and written back once the chip answers again.
MBOOL32 XDevCoreInitHb4::ResetThroughPins()
{
    const MUINT32 uiPinCount = m_roXContext.GetIoPinCount();
    if (uiPinCount == 0)
    {
        OsServices::WriteUserMsg(
            "%s\n", "Hb4 MiscIo pins are not available, hardware reset cannot be initiated, continuing normally!");
        QEL_ASSERT_REPORT_AT(REPORT_NO_PINS);
        return 0;
    }
    for (MUINT32 uiPort = 0; uiPort < HOST_PORT_COUNT; uiPort++)
    {
        WriteReg(RegHOST_PORT_CFG(uiPort), HOST_PORT_CFG_IDLE);
        WriteReg(RegHOST_PORT_MODE(uiPort), HOST_PORT_MODE_IDLE);
    }
    MUINT32 auiConfig[msc_uiConfigDwords];
    SaveConfigurationData(auiConfig);

    XIoPin* poProcessorReset = nullptr;
    XIoPin* poChipReset = nullptr;
    FindResetPins(m_roXContext, uiPinCount, poProcessorReset, poChipReset);
    if (poChipReset == nullptr)
    {
        OsServices::WriteUserMsg("%s\n",
                                 "Hb4 reset MiscIo pin missing, no hardware reset performed, continuing normally!");
        QEL_ASSERT_REPORT_AT(REPORT_NO_RESET_PIN);
        return 0;
    }
    const bool bProcessorReset =
        poProcessorReset != nullptr && DrivePin(*poProcessorReset, XIoPin::PIN_STATE_LOW);
    if (bProcessorReset)
    {
        m_roOsServices.SleepMilliSeconds(msc_uiProcessorResetMs);
    }
    DrivePin(*poChipReset, XIoPin::PIN_STATE_HIGH);

    if (!WaitForChipAfterPinReset(bProcessorReset))
    {
        OsServices::WriteErrorMsg("%s\n", "Hb4 Chips did not recover from hardware reset");
        QEL_ASSERT_REPORT_AT(REPORT_CHIP_NOT_RECOVERED);
        return 0;
    }
    OsServices::WriteMsg("%s\n", "Hb4 Chips recovered from hardware reset");
    RestoreConfigurationData(auiConfig);
    WaitUs(msc_uiRecoveredSettleUs);
    return 1;
}

// The chip drops off the bus while its reset line is driven; true once its identity reads back.
// A processor that was reset as well is given its time to come up first.
bool XDevCoreInitHb4::WaitForChipAfterPinReset(bool bProcessorReset)
{
    WaitUs(msc_uiPinResetSettleUs);
    if (ReadCfg(RegID) != ID_ABSENT)
    {
        OsServices::WriteMsg("%s\n", "Reset Hardware using Misc39 is not functional (PMB I), continue normally");
    }
    if (bProcessorReset)
    {
        WaitUs(msc_uiProcessorRecoverUs);
    }
    bool bBack = false;
    for (MUINT32 uiPoll = 0; uiPoll < msc_uiRecoverPolls && !bBack; uiPoll++)
    {
        if (uiPoll > 0)
        {
            WaitUs(msc_uiRecoverPollUs);
        }
        bBack = Hb4Chip::IsChipVariant(ReadCfg(RegID));
    }
    return bBack;
}

void XDevCoreInitHb4::SaveConfigurationData(MUINT32 (&rauiConfig)[msc_uiConfigDwords])
{
    for (MUINT32 uiDword = 0; uiDword < msc_uiConfigDwords; uiDword++)
    {
        rauiConfig[uiDword] = ReadCfg(uiDword * 4);
    }
}

void XDevCoreInitHb4::RestoreConfigurationData(const MUINT32 (&rauiConfig)[msc_uiConfigDwords])
{
    for (MUINT32 uiDword = 0; uiDword < msc_uiConfigDwords; uiDword++)
    {
        const MUINT32 uiOffset = uiDword * 4;
        if (uiOffset != RegCOMMAND_STATUS && uiOffset != CONFIG_RESTORE_SKIP_A && uiOffset != CONFIG_RESTORE_SKIP_B)
        {
            Cfg().Write(uiOffset, rauiConfig[uiDword]);
        }
    }
    // Memory decoding and bus mastering come back last, once the windows are in place.
    Cfg().Write(RegCOMMAND_STATUS, rauiConfig[RegCOMMAND_STATUS / 4]);
}

MBOOL32 XDevCoreInitHb4::ResetEngines()
{
    DrainDmaQueues();
    RequestEngineStops();
    // Hold the FPGA clock domain while its clients stop; its value is put back on the way out.
    const MUINT32 uiFpgaClock = ReadReg(RegSYS_FPGACLKCTL) | FPGACLK_QUIESCE_SET;
    WriteReg(RegSYS_FPGACLKCTL, uiFpgaClock);
    WriteReg(RegSYS_FPGACLKCTL, (uiFpgaClock & ~FPGACLK_LOW_BYTE) | (uiFpgaClock & FPGACLK_QUIESCE_KEEP_LOW));
    const MUINT32 uiActiveStreams = DisableActiveStreams();

    // Give everything time to stop by itself, then force what still runs.
    m_roOsServices.SleepMilliSeconds(msc_uiEngineStopMs);
    ForceEngineStops();
    ForceStreamStops(uiActiveStreams);

    const MBOOL32 bAllStopped = CheckEnginesStopped();
    if (uiFpgaClock != 0)
    {
        WriteReg(RegSYS_FPGACLKCTL, uiFpgaClock);
    }
    return bAllStopped;
}

// DMA queues: disable them and wait for the busy ones to drain.
void XDevCoreInitHb4::DrainDmaQueues()
{
    ModifyReg(RegDMA_QUEUES, DMA_QUEUES_BUSY | DMA_QUEUES_ENABLE, 0);
    bool bQueuesIdle = false;
    for (MUINT32 uiRead = 0; uiRead < msc_uiDmaQueuePolls && !bQueuesIdle; uiRead++)
    {
        if (uiRead > 0)
        {
            WaitUs(msc_uiDmaQueuePollUs);
        }
        bQueuesIdle = (ReadReg(RegDMA_QUEUES) & DMA_QUEUES_BUSY) == 0;
    }
    if (!bQueuesIdle)
    {
        ReportQuietly(__FILE__, REPORT_DMA_QUEUES_BUSY);
    }
}

// Ask the processor to halt, pause and abort the engines' requesters, stop the host DMA.
void XDevCoreInitHb4::RequestEngineStops()
{
    ModifyReg(RegARMA_CTL, 0, ARMA_CTL_HALT);
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_A_COUNT; uiEngine++)
    {
        ModifyReg(RegENGA_REQ(uiEngine), 0, ENGINE_REQ_PAUSE);
        ModifyReg(RegENGA_REQ(uiEngine), 0, ENGINE_REQ_ABORT);
    }
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_B_COUNT; uiEngine++)
    {
        ModifyReg(RegENGB_REQ(uiEngine), 0, ENGINE_REQ_PAUSE);
        ModifyReg(RegENGB_CTL(uiEngine), 0, ENGINE_CTL_ABORT);
    }
    for (MUINT32 uiChannel = 0; uiChannel < HOST_DMA_COUNT; uiChannel++)
    {
        ModifyReg(RegHOST_DMA_CTL(uiChannel), 0, HOST_DMA_CTL_STOP);
    }
}

// Disable the active stream channels and arm their stop; bit i of the result: channel i was
// active.
MUINT32 XDevCoreInitHb4::DisableActiveStreams()
{
    MUINT32 uiActive = 0;
    for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT; uiChannel++)
    {
        const MUINT32 uiControl = ReadReg(RegSTREAM_CTL(uiChannel));
        if ((uiControl & STREAM_CTL_ACTIVE) != 0)
        {
            uiActive |= 1u << uiChannel;
            WriteReg(RegSTREAM_CTL(uiChannel), uiControl & ~STREAM_CTL_ENABLE);
            ModifyReg(RegSTREAM_STOP, 0, StreamStopArm(uiChannel));
        }
    }
    return uiActive;
}

// Stop the processor and the engines that did not stop by themselves.
void XDevCoreInitHb4::ForceEngineStops()
{
    if ((ReadReg(RegARMA_CTL) & ARMA_CTL_HALT) != 0)
    {
        ModifyReg(RegARMA_CTL, 0, ARMA_CTL_STOP);
    }
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_A_COUNT + ENGINE_B_COUNT; uiEngine++)
    {
        const MUINT32 uiRegister =
            uiEngine < ENGINE_A_COUNT ? RegENGA_CTL(uiEngine) : RegENGB_CTL(uiEngine - ENGINE_A_COUNT);
        const MUINT32 uiControl = ReadReg(uiRegister);
        if ((uiControl & ENGINE_CTL_RUNNING) != 0)
        {
            WriteReg(uiRegister, uiControl | ENGINE_CTL_STOP);
        }
    }
}

// The stream stop requests of the active, armed channels go out in one write; the last
// channel's turn makes it at once.
void XDevCoreInitHb4::ForceStreamStops(MUINT32 uiActiveStreams)
{
    MUINT32 uiStreamStop = ReadReg(RegSTREAM_STOP);
    bool bStopRequested = false;
    bool bWritten = false;
    for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT; uiChannel++)
    {
        if ((uiActiveStreams & (1u << uiChannel)) != 0 && (uiStreamStop & StreamStopArm(uiChannel)) != 0)
        {
            uiStreamStop |= StreamStopRequest(uiChannel);
            bStopRequested = true;
            if (uiChannel == STREAM_COUNT - 1)
            {
                WriteReg(RegSTREAM_STOP, uiStreamStop);
                m_roOsServices.SleepMilliSeconds(msc_uiEngineStopMs);
                bWritten = true;
            }
        }
    }
    if (!bWritten)
    {
        WriteReg(RegSTREAM_STOP, uiStreamStop);
        if (bStopRequested)
        {
            m_roOsServices.SleepMilliSeconds(msc_uiEngineStopMs);
        }
    }
}

// Every check runs; each one still running is reported. 1 when all stopped.
MBOOL32 XDevCoreInitHb4::CheckEnginesStopped()
{
    MBOOL32 bAllStopped = 1;
    auto fnCheck = [&bAllStopped, this](MUINT32 uiRegister, MUINT32 uiBusyMask, EReport eReport)
    {
        if ((ReadReg(uiRegister) & uiBusyMask) != 0)
        {
            QEL_ASSERT_REPORT_AT(eReport);
            bAllStopped = 0;
        }
    };
    fnCheck(RegARMA_CTL, ARMA_CTL_HALT, REPORT_ARMA_RUNNING);
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_A_COUNT; uiEngine++)
    {
        fnCheck(RegENGA_REQ(uiEngine), ENGINE_REQ_BUSY, REPORT_ENGINE_A_REQ_BUSY);
        fnCheck(RegENGA_CTL(uiEngine), ENGINE_CTL_RUNNING, REPORT_ENGINE_A_RUNNING);
    }
    for (MUINT32 uiEngine = 0; uiEngine < ENGINE_B_COUNT; uiEngine++)
    {
        fnCheck(RegENGB_REQ(uiEngine), ENGINE_REQ_BUSY, REPORT_ENGINE_B_REQ_BUSY);
        fnCheck(RegENGB_CTL(uiEngine), ENGINE_CTL_RUNNING, REPORT_ENGINE_B_RUNNING);
    }
    const MUINT32 uiStopStatus = ReadReg(RegSTREAM_STOP);
    for (MUINT32 uiChannel = 0; uiChannel < STREAM_COUNT; uiChannel++)
    {
        if ((uiStopStatus & StreamStopRequest(uiChannel)) != 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_STREAM0_STOPPING + (int)uiChannel);
            bAllStopped = 0;
        }
    }
    return bAllStopped;
}

// ================================================================================================
// Clocks
// ================================================================================================

MBOOL32 XDevCoreInitHb4::InitFS(MUINT32 uiRegA, MUINT32 uiRegB, MUINT32 uiFreqOut, MUINT32 uiFreqRef,
                                MUINT32 uiTolerance)
{
    if (m_ptoAlgo == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_SOLVER);
        return 0;
    }
    if (uiFreqOut == 0)
    {
        const MUINT32 uiA = ReadReg(uiRegA);
        const MUINT32 uiB = ReadReg(uiRegB);
        WriteReg(uiRegA, uiA | FS_A_POWER_DOWN | FS_A_RESET);
        WriteReg(uiRegB, uiB | FS_B_POWER_DOWN);
        return 1;
    }
    SParamResult oParam;
    if (m_ptoAlgo->ComputeParam(uiFreqOut, uiFreqRef, uiTolerance, 1, oParam) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_DIVIDER_SEARCH_FAILED);
        return 0;
    }
    if (oParam.uiM0 == 0)
    {
        // No divider set keeps the PLLs within their ranges: nothing sensible can be programmed.
        QEL_ASSERT_REPORT_AT(REPORT_NO_DIVIDER_SET);
        return 0;
    }
    const MUINT32 uiIntermediate = oParam.uiM0 * uiFreqRef / oParam.uiP0;

    WriteReg(uiRegA, FS_A_RESET);
    WaitUs(msc_uiFsResetPulseUs);
    WriteReg(uiRegA, 0);
    WaitUs(msc_uiFsResetPulseUs);

    const MUINT32 uiA = EncodeFsM0(oParam.uiM0) | FS_A_ENABLE;
    const MUINT32 uiB = EncodeFsM1(oParam.uiM1) | EncodeFsP0(oParam.uiP0) | EncodeFsP1(oParam.uiP1) |
                        (uiIntermediate > FS_FI_HIGH_ABOVE_KHZ ? FS_B_FI_HIGH : 0);
    WriteReg(uiRegA, uiA);
    WriteReg(uiRegB, uiB);

    WaitUs(msc_uiFsLockSettleUs);
    for (MUINT32 uiRead = 0; uiRead < msc_uiFsLockReads; uiRead++)
    {
        const MUINT32 uiLockA = ReadReg(uiRegA);
        const MUINT32 uiLockB = ReadReg(uiRegB);
        if ((uiLockA & FS_A_LOCKED) != 0 && (uiLockB & FS_B_LOCKED) != 0)
        {
            return 1;
        }
    }
    return 0;
}

bool XDevCoreInitHb4::SystemSynthesizerOf(MUINT32 uiClkCtl, MUINT32& ruiIndex, MUINT32& ruiFreq) const
{
    switch (DecodeClkCtlSource(uiClkCtl))
    {
    case Reg_SysClkSrc_FSSYS0:
        ruiIndex = 0;
        ruiFreq = m_oPinsClock.uiFS0FOut;
        return true;
    case Reg_SysClkSrc_FSSYS1:
        ruiIndex = 1;
        ruiFreq = m_oPinsClock.uiFS1FOut;
        return true;
    case Reg_SysClkSrc_FSSYS2:
        ruiIndex = 2;
        ruiFreq = m_oPinsClock.uiFS2FOut;
        return true;
    default:
        return false;
    }
}

bool XDevCoreInitHb4::StartClockProgramming(int iMfeSourceReport, MUINT32& ruiMfeSynthesizer)
{
    // The bus-side domain (MFE) must run from a system synthesizer; its frequency picks the EEPROM
    // engine's clock divider (uE2clkdiv).
    MUINT32 uiMfeFreq = 0;
    if (!SystemSynthesizerOf(m_oPinsClock.uiSYS_MFECLKCTL, ruiMfeSynthesizer, uiMfeFreq))
    {
        QEL_ASSERT_REPORT_AT(iMfeSourceReport);
        return false;
    }
    const MUINT32 uiRange = uiMfeFreq >= uE2clkdiv_HIGH_FROM_KHZ ? uE2clkdiv_HIGH_RANGE : uE2clkdiv_LOW_RANGE;
    ModifyReg(HST_EEPROMBYP, uE2clkdiv_MASK, uiRange << uE2clkdiv_SHIFT);
    WriteReg(RegSYS_CTL, m_oPinsClock.uiSYS_CTL);
    WaitUs(msc_uiClockSettleUs);
    return true;
}

bool XDevCoreInitHb4::ProgramSynthesizer(MUINT32 uiRegA, MUINT32 uiFreq, int iFailureReport)
{
    if (!InitFS(uiRegA, FsRegB(uiRegA), uiFreq, m_oPinsClock.uiFreqRef, msc_uiFsTolerance))
    {
        QEL_ASSERT_REPORT_AT(iFailureReport);
        return false;
    }
    return true;
}

MBOOL32 XDevCoreInitHb4::ClockMemInit()
{
    MUINT32 uiMfe = 0;
    if (!StartClockProgramming(REPORT_MFE_SOURCE, uiMfe))
    {
        return 0;
    }

    // Every domain runs from the oscillator while the synthesizers are reprogrammed.
    for (const SClockDomain& roDomain : msc_aoClockDomains)
    {
        WriteReg(roDomain.uiRegister, CLKCTL_PARKED_ON_OSC);
    }
    WaitUs(msc_uiClockSettleUs);

    const MUINT32 auiSystemFreq[FS_SYSTEM_COUNT] = {m_oPinsClock.uiFS0FOut, m_oPinsClock.uiFS1FOut,
                                                    m_oPinsClock.uiFS2FOut};
    const EReport aeSystemReport[FS_SYSTEM_COUNT] = {REPORT_FS0, REPORT_FS1, REPORT_FS2};
    for (MUINT32 uiFs = 0; uiFs < FS_SYSTEM_COUNT; uiFs++)
    {
        if (!ProgramSynthesizer(FsSystemRegA(uiFs), auiSystemFreq[uiFs], aeSystemReport[uiFs]))
        {
            return 0;
        }
    }
    for (MUINT32 uiFs = 0; uiFs < FS_VIDEO_COUNT; uiFs++)
    {
        if (!ProgramSynthesizer(FsVideoRegA(uiFs), m_oPinsClock.uiFSVidFOut[uiFs], REPORT_FS_VIDEO))
        {
            return 0;
        }
    }

    WaitUs(msc_uiClockSettleUs);
    const MUINT8* puiRecord = reinterpret_cast<const MUINT8*>(&m_oPinsClock);
    for (const SClockDomain& roDomain : msc_aoClockDomains)
    {
        MUINT32 uiWord = 0;
        memcpy(&uiWord, puiRecord + roDomain.uiRecordOffset, sizeof(uiWord));
        WriteReg(roDomain.uiRegister, uiWord);
    }
    WaitUs(msc_uiClockSettleUs);
    return 1;
}

MBOOL32 XDevCoreInitHb4::ClockRegInitOnly()
{
    MUINT32 uiHrb = 0;
    MUINT32 uiHrbFreq = 0;
    if (!SystemSynthesizerOf(m_oPinsClock.uiSYS_HRBCLKCTL, uiHrb, uiHrbFreq))
    {
        QEL_ASSERT_REPORT_AT(REPORT_HRB_SOURCE);
        return 0;
    }
    MUINT32 uiMfe = 0;
    if (!StartClockProgramming(REPORT_MFE_SOURCE_BUS_ONLY, uiMfe))
    {
        return 0;
    }

    WriteReg(RegSYS_HRBCLKCTL, CLKCTL_PARKED_ON_OSC);
    WriteReg(RegSYS_MFECLKCTL, CLKCTL_PARKED_ON_OSC);
    WaitUs(msc_uiClockSettleUs);

    // A separate MFE synthesizer gets the HRB frequency as well: both bus-side domains run at
    // the host request bus rate in this mode.
    if (!ProgramSynthesizer(FsSystemRegA(uiHrb), uiHrbFreq, REPORT_HRB_SYNTHESIZER) ||
        (uiMfe != uiHrb && !ProgramSynthesizer(FsSystemRegA(uiMfe), uiHrbFreq, REPORT_MFE_SYNTHESIZER)))
    {
        return 0;
    }

    WaitUs(msc_uiClockSettleUs);
    WriteReg(RegSYS_HRBCLKCTL, m_oPinsClock.uiSYS_HRBCLKCTL);
    WriteReg(RegSYS_MFECLKCTL, m_oPinsClock.uiSYS_MFECLKCTL);
    WaitUs(msc_uiClockSettleUs);
    return 1;
}

// ================================================================================================
// Memory controller, port arbitration, memory test
// ================================================================================================

LStatus XDevCoreInitHb4::InitMctl(MUINT32 uiPhyMask)
{
    const MUINT32 uiMode = uiPhyMask <= PHY_MASK_ALL ? msc_auiInterleaveMode[uiPhyMask] : msc_uiNoMode;
    if (uiMode == msc_uiNoMode)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PHY_MASK);
        return -1;
    }
    ConfigureController(uiPhyMask, uiMode);
    ConfigurePhys(uiPhyMask);
    // Start initialisation and training on all of them at once.
    SelectPhys(uiPhyMask);
    WriteReg(RegMPHY_PGCR2, m_oPinsMem.uiMPHY_PGCR2);
    WriteReg(RegMPHY_PIR, m_oPinsMem.uiMPHY_PIR);

    // From here every step runs even after a failure, so that the PHYs are never left held.
    bool bFailed = !CheckPhyTraining(uiPhyMask);
    WriteLaneDelays(uiPhyMask);
    // Wait for the controller. The number of reads decides: the attempt fails when the poll
    // used all of them, even if the last one showed the controller ready.
    MUINT32 uiStatus = 0;
    if (PollRegister(RegMEM_STATUS1, MEM_STATUS1_READY, msc_uiReadyPollUs, msc_uiReadyPollReads, uiStatus) >=
        msc_uiReadyPollReads)
    {
        bFailed = true;
    }

    WriteReg(RegMPHY_GPR0, m_oPinsMem.uiMPHY_GPR0);
    WriteReg(RegMEM_CTL0, m_oPinsMem.uiMEM_CTL0);
    ForEachPhy(uiPhyMask, [this] { ModifyReg(RegMPHY_PGCR1, PGCR1_INIT_HOLD, 0); });
    return bFailed ? -1 : 0;
}

// The controller: its configuration, the client and MFE arbitration it starts with, and the
// memory's wait states.
void XDevCoreInitHb4::ConfigureController(MUINT32 uiPhyMask, MUINT32 uiMode)
{
    const tagPins10Mem_v2& roMem = m_oPinsMem;
    WriteReg(RegMEM_CONFIG, (uiPhyMask << MEM_CONFIG_PHY_SHIFT) | roMem.uiMEM_CONFIG | uiMode);
    SelectPhys(uiPhyMask);
    for (const SRegValue& roWrite : msc_aoClientArbitration)
    {
        WriteReg(roWrite.uiRegister, roWrite.uiValue);
    }
    for (const SRegValue& roWrite : msc_aoMfeArbitration)
    {
        WriteReg(roWrite.uiRegister, roWrite.uiValue);
    }
    WriteReg(RegMBE_ARB0, roMem.uiMBE_ARB0);
    WriteReg(RegMBE_ARB1, MBE_ARB1_DEFAULT);
    const MUINT32 auiWaitStates[WTST_COUNT] = {roMem.uiMEM_WTST0, roMem.uiMEM_WTST1, roMem.uiMEM_WTST2,
                                               roMem.uiMEM_WTST3};
    for (MUINT32 uiIndex = 0; uiIndex < WTST_COUNT; uiIndex++)
    {
        WriteReg(RegMEM_WTST0 + 4 * uiIndex, auiWaitStates[uiIndex]);
    }
}

// PHY configuration, broadcast to every fitted PHY; then, per PHY, hold it while it initialises
// and set its training field.
void XDevCoreInitHb4::ConfigurePhys(MUINT32 uiPhyMask)
{
    const tagPins10Mem_v2& roMem = m_oPinsMem;
    SelectPhys(uiPhyMask);
    const SRegValue aoPhyConfig[] = {
        {RegMPHY_PLLCR, roMem.uiMPHY_PLLCR}, {RegMPHY_DXCCR, roMem.uiMPHY_DXCCR},
        {RegMPHY_ZQCR1, roMem.uiMPHY_ZQCR1}, {RegMPHY_MR0, roMem.uiMPHY_MR0},
        {RegMPHY_MR1, roMem.uiMPHY_MR1},     {RegMPHY_MR2, roMem.uiMPHY_MR2},
        {RegMPHY_DSGCR, roMem.uiMPHY_DSGCR}, {RegMPHY_PGCR1, roMem.uiMPHY_PGCR1},
        {RegMPHY_PGCR0, roMem.uiMPHY_PGCR0}, {RegMPHY_GPR0, roMem.uiMPHY_GPR0 | GPR0_INIT},
    };
    for (const SRegValue& roWrite : aoPhyConfig)
    {
        WriteReg(roWrite.uiRegister, roWrite.uiValue);
    }
    ForEachPhy(uiPhyMask, [this]
    {
        const MUINT32 uiPgcr0 = ReadReg(RegMPHY_PGCR0);
        const MUINT32 uiPgcr1 = ReadReg(RegMPHY_PGCR1);
        WriteReg(RegMPHY_PGCR1, uiPgcr1 | PGCR1_INIT_HOLD);
        WriteReg(RegMPHY_PGCR0, (uiPgcr0 & ~PGCR0_TRAINING_FIELD_MASK) | PGCR0_TRAINING_FIELD);
    });
}

// Waits for the PHYs to finish, then checks every one for a training error, even after a
// PHY that stayed busy. true when all finished without error.
bool XDevCoreInitHb4::CheckPhyTraining(MUINT32 uiPhyMask)
{
    bool bOk = true;
    if (!PoolPhysDone(uiPhyMask))
    {
        OsServices::WriteErrorMsg(
            "Memory initialization fail, Phys stay busy (may occur when memory is already initialized)\n");
        QEL_ASSERT_REPORT_AT(REPORT_PHYS_BUSY);
        bOk = false;
    }
    ForEachPhy(uiPhyMask, [this, &bOk]
    {
        if ((ReadReg(RegMPHY_PGSR0) & PGSR0_ERROR_MASK) != 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_PHY_ERROR);
            bOk = false;
        }
    });
    return bOk;
}

// Lane delays, broadcast, all lanes of one register kind before the next kind.
void XDevCoreInitHb4::WriteLaneDelays(MUINT32 uiPhyMask)
{
    const tagPins10Mem_v2& roMem = m_oPinsMem;
    SelectPhys(uiPhyMask);
    const MUINT32* apuiLaneWords[] = {roMem.auiMPHY_DXLCDLR0, roMem.auiMPHY_DXLCDLR1, roMem.auiMPHY_DXLCDLR2,
                                      roMem.auiMPHY_DXGTR};
    const MUINT32 auiLaneRegisters[] = {RegMPHY_DX0LCDLR0, RegMPHY_DX0LCDLR1, RegMPHY_DX0LCDLR2, RegMPHY_DX0GTR};
    for (MUINT32 uiKind = 0; uiKind < 4; uiKind++)
    {
        for (MUINT32 uiLane = 0; uiLane < LANE_COUNT; uiLane++)
        {
            WriteReg(auiLaneRegisters[uiKind] + uiLane * LANE_STRIDE, apuiLaneWords[uiKind][uiLane]);
        }
    }
}

MBOOL32 XDevCoreInitHb4::PoolPhysDone(MUINT32 uiPhyMask)
{
    // Highest PHY first; the first one that stays busy ends the poll.
    for (MUINT32 uiPhy = PHY_COUNT; uiPhy-- > 0;)
    {
        const MUINT32 uiBit = 1u << uiPhy;
        if ((uiPhyMask & uiBit) == 0)
        {
            continue;
        }
        SelectPhys(uiBit);
        MUINT32 uiStatus = 0;
        PollRegister(RegMPHY_PGSR0, PGSR0_INIT_DONE, msc_uiPhyPollUs, msc_uiPhyPollReads, uiStatus);
        if ((uiStatus & PGSR0_INIT_DONE) == 0)
        {
            return 0;
        }
    }
    return 1;
}

MUINT32 XDevCoreInitHb4::ReadIndividualPhyReg(MUINT32 uiPhy, MUINT32 uiRegister)
{
    XRegAccess& roPlain = m_roHwAccess.m_roReg;
    roPlain.Write(RegMEM_PHYSELECT, uiPhy < PHY_COUNT ? 1u << uiPhy : 0u);
    MUINT32 uiValue = 0;
    return roPlain.Read(uiRegister, uiValue) < 0 ? 0 : uiValue;
}

LStatus XDevCoreInitHb4::PortArbitration(MUINT32 uiPort, EPortConfig ePortConfig)
{
    if (uiPort >= msc_uiPortCount)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PORT_INDEX);
        return -1;
    }
    if (Reg().m_uiChipRevision != 1)
    {
        return 0;   // earlier chips have fixed shares
    }
    m_aePortConfig[uiPort] = ePortConfig;

    MUINT32 uiDemOut = 0;
    MUINT32 uiFpgaOut = 0;
    MUINT32 uiFpgaIn = 0;
    for (EPortConfig eUse : m_aePortConfig)
    {
        switch (eUse)
        {
        case PORT_UNUSED: break;
        case PORT_DEM_OUT: uiDemOut++; break;
        case PORT_FPGA_OUT: uiFpgaOut++; break;
        case PORT_FPGA_IN: uiFpgaIn++; break;
        default: QEL_ASSERT_REPORT_AT(REPORT_PORT_USE); break;
        }
    }
    const MUINT32 uiCode = PortConfigCode(uiDemOut, uiFpgaOut, uiFpgaIn);
    const SPortConfigMbeArbitration* poRow = nullptr;
    for (const SPortConfigMbeArbitration& roRow : g_aoHb4PortArbitration)
    {
        if (roRow.oPortConfig.uiValue == uiCode)
        {
            poRow = &roRow;
            break;
        }
    }
    if (poRow == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PORT_COMBINATION);
        return -1;
    }

    const MUINT32 uiDemIn = poRow->uiMfeArb0DemInCycleAlloc;
    const MUINT32 uiDemOutShare = poRow->uiMfeArb0DemOutCycleAlloc;
    WriteReg(RegMBE_ARB0, poRow->uiRegMbeArb0);
    WriteReg(RegMBE_ARB1, poRow->uiRegMbeArb1);
    WriteReg(RegMFE_ARB0, (uiDemIn << MFE_ARB_SHARE_SHIFT) + (uiDemOutShare & MFE_ARB_SHARE_MASK));
    WriteReg(RegMFE_ARB1, ((MFE_ARB_TOTAL_PERCENT - uiDemIn - uiDemOutShare) & MFE_ARB_SHARE_MASK)
                              << MFE_ARB_SHARE_SHIFT);
    WriteReg(RegMFE_ARB2, MFE_ARB_TOTAL_PERCENT);

    const bool bFpgaOutOnly = uiFpgaIn == 0 && uiDemOut == 0 && uiFpgaOut != 0;
    const MUINT32 uiFpgaShare = bFpgaOutOnly ? CLIENT_ARB_FPGA_OUT_ONLY : CLIENT_ARB_FPGA_DEFAULT;
    WriteReg(MbeClientArbReg(MBE_CLIENT_FPGA_A), uiFpgaShare);
    WriteReg(MbeClientArbReg(MBE_CLIENT_FPGA_B), uiFpgaShare);
    const bool bNoPort = uiDemOut == 0 && uiFpgaOut == 0 && uiFpgaIn == 0;
    WriteReg(MbeClientArbReg(MBE_CLIENT_HOST), bNoPort ? CLIENT_ARB_HOST_NO_PORT : CLIENT_ARB_HOST_PORTS);
    return 0;
}

MBOOL32 XDevCoreInitHb4::TestMemory()
{
    const MUINT32 uiStatus = ReadReg(RegMEM_STATUS1);
    const bool bReady = (uiStatus & MEM_STATUS1_READY) != 0 && (uiStatus & MEM_STATUS1_BUSY) == 0;
    if (!bReady)
    {
        OsServices::WriteErrorMsg("Memory initialization fail: MBE stay busy\n");
        QEL_ASSERT_REPORT_AT(REPORT_MEMORY_NOT_READY);
    }
    const MUINT32 uiBase = EngineBase();
    WriteReg(uiBase + RegENG_MEMPATH1, ENG_MEMPATH1_TEST);
    WriteReg(uiBase + RegENG_MEMPATH2, ENG_MEMPATH2_TEST);
    WriteReg(uiBase + RegENG_MEMPATH0, ENG_MEMPATH0_TEST);
    if (!bReady)
    {
        return 0;
    }

    // Everything is written before anything is read back, so that a write that lands on another
    // address shows up as a mismatch there.
    WriteTestPattern(Mem());
    return CheckTestPattern(Mem()) ? 1 : 0;
}
