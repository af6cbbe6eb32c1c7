// Core initialisation of the board's processing chip: brings the chip from power-on (or from a
// previous run) to running clocks and trained, tested DDR memory, and keeps the chip's "memory
// initialised" marker.
//
// InitializeHardware runs the whole sequence: engine state check, marker test, an optional reset
// of the chip, then attempts of clock programming, memory controller bring-up and memory test
// (with a reset between failed attempts when allowed), port arbitration, PCI Express link check,
// and the marker. The steps are public so that each can be driven on its own.
//
// Every register access goes through the traced register access of the services bundle, except
// ReadIndividualPhyReg, which reads through the plain one.
#pragma once

#include <memory>

#include "QelBaseTypes.h"
#include "XCascadedPll.h"
#include "XDevCoreInit.h"
#include "XPins10Types.h"

class OsServices;
class XCfgAccess;
class XContext;
class XHwAccess;
class XMemAccess;
class XRegAccess;
class XServicesCore;

class XDevCoreInitHb4 : public XDevCoreInit
{
public:
    static constexpr MUINT32 msc_uiPortCount = 4;
    // Attempts are counted; more than this many make the initialisation fail.
    static constexpr MUINT32 msc_uiMaxTries = 10;
    // Tolerance of every synthesizer, in 0.01 %: 1.1 %.
    static constexpr MUINT32 msc_uiFsTolerance = 110;
    // Configuration dwords saved across a pin reset: the standard header and capability area.
    static constexpr MUINT32 msc_uiConfigDwords = 64;

    // The records are copied. bSystemProcessorOnPrimaryBus selects the engine block whose state
    // is checked (block 0 when set, else block 1); bSystemProcessorOnBoard enables the PCI
    // Express link check. The object is not initialised when the memory record is not version
    // 0x201 or the divider solver cannot be made.
    XDevCoreInitHb4(XServicesCore& roServicesCore, const tagPins10Clock& roPinsClock, const tagPins10Mem_v2& roPinsMem,
                    int bSystemProcessorOnPrimaryBus, int bSystemProcessorOnBoard, EInitOption eInitOption,
                    int bForceGlobalReset);
    ~XDevCoreInitHb4() override;

    XDevCoreInitHb4(const XDevCoreInitHb4&) = delete;
    XDevCoreInitHb4& operator=(const XDevCoreInitHb4&) = delete;

    // ---- XDevCoreInit.
    // 0 when the marker was set and is now cleared (the reset request stays set); -1 when it was
    // not set (nothing written).
    LStatus ClearInitialized() override;
    MBOOL32 IsHardwareInitialize() override;
    // 0 done; 1 already initialised (nothing written); -10 the engine reports a fatal state
    // (nothing written); -1 failure; or the negative result of the final marker write.
    LStatus InitializeHardware() override;
    MBOOL32 IsDriverRunning() const override;
    // Sets the use of one memory-client port and the bandwidth shares of the resulting
    // combination (revision 1 chips only; 0 without doing anything on others). -1 for a port
    // index above 3 or a combination the chip has no shares for.
    LStatus PortArbitration(MUINT32 uiPort, EPortConfig ePortConfig) override;

    // ---- Reset.
    // Resets the chip: by register on revision 1, through the board's reset pins on revision 0.
    // 1 done, 0 when the reset could not be made or the chip did not come back.
    MBOOL32 HardwareReset();
    // Stops every engine that could be using the memory or the bus. 1 all stopped, 0 otherwise.
    MBOOL32 ResetEngines();
    void SaveConfigurationData(MUINT32 (&rauiConfig)[msc_uiConfigDwords]);
    void RestoreConfigurationData(const MUINT32 (&rauiConfig)[msc_uiConfigDwords]);

    // ---- Clocks (frequencies in kHz).
    // Programs one synthesizer (control register A, divider register B) for uiFreqOut and waits
    // for its lock; a target of 0 switches it off. 1 locked or off, 0 failure.
    MBOOL32 InitFS(MUINT32 uiRegA, MUINT32 uiRegB, MUINT32 uiFreqOut, MUINT32 uiFreqRef, MUINT32 uiTolerance);
    // Every synthesizer and every clock domain. 1 done, 0 failure.
    MBOOL32 ClockMemInit();
    // Only the synthesizers of the two bus-side domains. 1 done, 0 failure.
    MBOOL32 ClockRegInitOnly();

    // ---- Memory.
    // Programs the controller and the PHYs of uiPhyMask (bit i: PHY i fitted), trains them and
    // waits for the controller. 0 success, -1 failure.
    LStatus InitMctl(MUINT32 uiPhyMask);
    // 1 when every PHY of the mask reports its initialisation done, 0 otherwise.
    MBOOL32 PoolPhysDone(MUINT32 uiPhyMask);
    MUINT32 ReadIndividualPhyReg(MUINT32 uiPhy, MUINT32 uiRegister);
    // Writes and reads back a pattern over the first 512 KiB of the mapped memory window.
    // 1 pass, 0 fail.
    MBOOL32 TestMemory();

    XServicesCore& m_roServicesCore;
    OsServices& m_roOsServices;
    XHwAccess& m_roHwAccess;
    std::unique_ptr<XCascadedPll> m_ptoAlgo;
    XContext& m_roXContext;
    MUINT32 m_uiEngine;
    // The records are byte-packed; their copies are kept word-aligned so that their words can be
    // read in place.
    alignas(4) tagPins10Clock m_oPinsClock;
    alignas(4) tagPins10Mem_v2 m_oPinsMem;
    MBOOL32 m_bSystemProcessorOnBoard;
    EPortConfig m_aePortConfig[msc_uiPortCount];
    MBOOL32 m_bForceGlobalReset;

private:
    XRegAccess& Reg() const;
    XCfgAccess& Cfg() const;
    XMemAccess& Mem() const;
    // Register and configuration accesses whose failure the sequence does not act on: a read
    // that fails gives 0.
    MUINT32 ReadReg(MUINT32 uiOffset) const;
    void WriteReg(MUINT32 uiOffset, MUINT32 uiValue) const;
    void ModifyReg(MUINT32 uiOffset, MUINT32 uiClear, MUINT32 uiSet) const;
    MUINT32 ReadCfg(MUINT32 uiOffset) const;
    void WaitUs(MUINT32 uiMicroSeconds) const;

    MUINT32 EngineBase() const;
    MUINT32 PhyMaskFromRecord() const;
    void SelectPhys(MUINT32 uiPhyMask) const;
    // Selects each PHY of the mask alone, lowest first, and runs rfnPerPhy with it selected.
    template <class TFn>
    void ForEachPhy(MUINT32 uiPhyMask, TFn&& rfnPerPhy) const;
    // Reads uiOffset, waits uiWaitUs, and again, until uiBit is set or uiMaxReads reads were made;
    // the number of reads, with the last value in ruiLast.
    MUINT32 PollRegister(MUINT32 uiOffset, MUINT32 uiBit, MUINT32 uiWaitUs, MUINT32 uiMaxReads, MUINT32& ruiLast) const;
    // Target and synthesizer index (0-2) of a clock-control word whose source is a system
    // synthesizer; false for any other source.
    bool SystemSynthesizerOf(MUINT32 uiClkCtl, MUINT32& ruiIndex, MUINT32& ruiFreq) const;
    // First steps of both clock programmings: the MFE source check (reported as iMfeSourceReport),
    // the EEPROM engine's clock divider (uE2clkdiv) and the system control word.
    bool StartClockProgramming(int iMfeSourceReport, MUINT32& ruiMfeSynthesizer);
    // InitFS of the synthesizer at uiRegA from the board's reference; a failure is reported as
    // iFailureReport.
    bool ProgramSynthesizer(MUINT32 uiRegA, MUINT32 uiFreq, int iFailureReport);
    // Steps of InitMctl, in their order.
    void ConfigureController(MUINT32 uiPhyMask, MUINT32 uiMode);
    void ConfigurePhys(MUINT32 uiPhyMask);
    bool CheckPhyTraining(MUINT32 uiPhyMask);
    void WriteLaneDelays(MUINT32 uiPhyMask);
    MBOOL32 ResetThroughRegister();
    MBOOL32 ResetThroughPins();
    bool WaitForChipAfterPinReset(bool bProcessorReset);
    // Steps of ResetEngines, in their order.
    void DrainDmaQueues();
    void RequestEngineStops();
    MUINT32 DisableActiveStreams();
    void ForceEngineStops();
    void ForceStreamStops(MUINT32 uiActiveStreams);
    MBOOL32 CheckEnginesStopped();
    // Steps of InitializeHardware, in their order.
    LStatus CheckChipState(MUINT32& ruiStatus);
    LStatus RunAttempts(bool bAllowReset, bool bInitMemory);
    LStatus AttemptMemoryInit();
    void ConfigureBusSide();
    void LinkCheck();
};
