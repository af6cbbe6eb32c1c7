// A simulated board: its PCI function (configuration space with sized BARs, PCI Express link,
// power management and error reporting capabilities), its chip's register file, its DDR memory
// and its SPI flash content.
//
// Chip behaviour is added per register: a CQelSimRegBehaviour attached to a register range sees
// every host access to it. The board itself attaches the strap registers (memory size code,
// chip revision); the EEPROM bus, clocks, memory controller, engines and reset attach theirs
// with AddBehaviour.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QelVxdSimBus.h"
#include "QelVxdSimDram.h"
#include "QelVxdSimFaults.h"
#include "QelVxdSimFlashChips.h"
#include "QelVxdSimFlashContent.h"
#include "QelVxdSimRegisterFile.h"

struct SQelSimBoardDesc;

// What the host asked of one board during the run: bus transactions by space and direction (a
// configuration request wider than the host bridge issues counts once per piece), and the busy
// waits and sleeps requested while the board's initialisation ran (QELVXD_SIM_STATS=1 prints
// them at exit).
struct SQelSimBoardStats
{
    MUINT64 uiCfgReads  = 0;
    MUINT64 uiCfgWrites = 0;
    MUINT64 uiRegReads  = 0;
    MUINT64 uiRegWrites = 0;
    MUINT64 uiMemReads  = 0;
    MUINT64 uiMemWrites = 0;
    MUINT64 uiDelayUs   = 0;
    MUINT64 uiSleepUs   = 0;
};

class CQelSimBoard : public CQelSimFunction
{
public:
    // Registers that survive between runs (the state file); a register outside the board's
    // register window is skipped.
    static const std::vector<MUINT32>& PersistentRegisters();
    // Window sizes of a board with this id dword (vendor id low, device id high) and memory size
    // code.
    static MUINT32 RegisterWindowSize(MUINT32 uiIdDword);
    static MUINT32 MemoryWindowSize(MUINT32 uiMemorySizeCode);

    // Takes over the description's flash content.
    CQelSimBoard(SQelSimBoardDesc&& roDesc, MUINT64 uiMemoryBase, MUINT64 uiRegisterBase, SQelSimEnv& roEnv);

    // ---- Identity and board options.
    MUINT32 IdDword() const { return m_uiIdDword; }
    bool IsSecondGeneration() const;
    MUINT32 ChipRevision() const { return m_uiChipRevision; }
    MUINT32 MemorySizeCode() const { return m_uiMemorySizeCode; }
    MUINT32 PhyMask() const { return m_uiPhyMask; }
    MUINT32 OscillatorKhz() const { return m_uiOscillatorKhz; }
    const SQelSimBoardFaults& Faults() const { return m_oFaults; }

    // ---- Windows: physical placement, and whether the board answers there now (memory space
    // enabled in the command register and the BAR still holding the window's address).
    MUINT64 MemoryBase() const { return m_uiMemoryBase; }
    MUINT32 MemorySize() const { return m_oDram.Size(); }
    MUINT64 RegisterBase() const { return m_uiRegisterBase; }
    MUINT32 RegisterSize() const { return m_oRegisters.Size(); }
    MUINT32 RegisterBarOffset() const;
    bool MemoryDecoded() const { return m_bMemoryDecoded; }
    bool RegistersDecoded() const { return m_bRegistersDecoded; }
    // The board leaves the bus for good: no configuration access and no window answers again.
    void DropOffBus();

    // ---- Host accesses of 1, 2 or 4 bytes at an offset in a window. A window the board does not
    // decode reads as all ones and drops writes, as an unclaimed PCI Express request does.
    MUINT32 RegRead(MUINT32 uiOffset, MUINT32 uiBytes);
    void RegWrite(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue);
    MUINT32 MemRead(MUINT32 uiOffset, MUINT32 uiBytes);
    void MemWrite(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue);
    // A whole register by its dword index (< RegisterSize() / 4).
    MUINT32 RegReadDword(MUINT32 uiDword);
    void RegWriteDword(MUINT32 uiDword, MUINT32 uiValue);

    // ---- Views for behaviours and tests: register cells without behaviour (a store still
    // reaches the state file when the register is persistent), the memory, the flash.
    MUINT32 PeekReg(MUINT32 uiOffset) const { return m_oRegisters.Get(uiOffset); }
    void PokeReg(MUINT32 uiOffset, MUINT32 uiValue) { m_oRegisters.Set(uiOffset, uiValue); }
    CQelSimRegisterFile& Registers() { return m_oRegisters; }
    const CQelSimRegisterFile& Registers() const { return m_oRegisters; }
    CQelSimDram& Dram() { return m_oDram; }
    SQelSimBoardStats& Stats() { return m_oStats; }
    const SQelSimBoardStats& Stats() const { return m_oStats; }

    const SQelSimFlashChip& FlashChip() const { return *m_poFlashChip; }
    const CQelSimFlashContent& Flash() const { return m_oFlash; }
    // Changes flash bytes (clipped to the chip); the image file is rewritten by SaveFlash.
    void WriteFlash(MUINT32 uiOffset, const MUINT8* pucData, MUINT32 uiSize);
    bool FlashChanged() const { return m_bFlashChanged; }
    const std::string& FlashImagePath() const { return m_sFlashImagePath; }
    // Rewrites the image file (atomically) when the content changed and the rig named a file.
    bool SaveFlash(std::string& rsError);

    // Creates a behaviour owned by the board and attaches it to [uiOffset, uiOffset + uiSize).
    // Null when the range is not in the register window.
    template <class TBehaviour, class... TArgs>
    TBehaviour* AddBehaviour(MUINT32 uiOffset, MUINT32 uiSize, TArgs&&... rArgs)
    {
        auto poBehaviour  = std::make_unique<TBehaviour>(std::forward<TArgs>(rArgs)...);
        TBehaviour* poRaw = poBehaviour.get();
        if (!m_oRegisters.Attach(uiOffset, uiSize, poRaw))
        {
            return nullptr;
        }
        m_apoBehaviours.push_back(std::move(poBehaviour));
        return poRaw;
    }

protected:
    void OnConfigWritten(MUINT32 uiOffset) override;

private:
    void DefineConfigSpace(const SQelSimBoardDesc& roDesc);
    void DefineRegisters(const SQelSimBoardDesc& roDesc);
    MUINT64 BarAddress(MUINT32 uiBarOffset) const;
    void ComputeDecode(bool& rbMemory, bool& rbRegisters) const;
    void UpdateDecode();

    MUINT32 m_uiIdDword;
    MUINT32 m_uiChipRevision;
    MUINT32 m_uiMemorySizeCode;
    MUINT32 m_uiPhyMask;
    MUINT32 m_uiOscillatorKhz;
    bool m_bBar64;
    SQelSimBoardFaults m_oFaults;
    MUINT64 m_uiMemoryBase;
    MUINT64 m_uiRegisterBase;
    bool m_bMemoryDecoded;
    bool m_bRegistersDecoded;
    CQelSimRegisterFile m_oRegisters;
    CQelSimDram m_oDram;
    std::vector<std::unique_ptr<CQelSimRegBehaviour>> m_apoBehaviours;
    const SQelSimFlashChip* m_poFlashChip;
    CQelSimFlashContent m_oFlash;
    std::string m_sFlashImagePath;
    bool m_bFlashChanged;
    SQelSimBoardStats m_oStats;
};
