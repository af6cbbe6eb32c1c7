// The processing chip of a simulated board: its clock synthesizers and clock domains
// (QelVxdSimChipClocks), its DDR memory controller with four PHYs (QelVxdSimChipMemCtl), the
// engines that a reset must stop (QelVxdSimChipEngines), and the chip reset that returns all of
// them to their power-on state.
//
// The memory holds data only once a correct bring-up has run: the memory back-end and front-end
// clock domains run from locked system synthesizers, every PHY the controller uses has trained,
// and the controller's control word was written after the controller reported ready. Anything
// that takes the clocks away or restarts the training loses the memory again.
//
// A board whose initialisation status register says "memory initialised" when the rig is loaded
// (from the rig's marker or the state file) comes up as an earlier process left it: clocks
// locked, PHYs trained, memory up, provided its faults allow it.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdSimRegisterFile.h"

class CQelSimBoard;
class CQelSimChipClocks;
class CQelSimChipMemCtl;
class CQelSimChipEngines;

namespace QelSimChip
{
// Chip control register (engine block 0): bit 1 resets a revision-1 chip and reads back 0.
inline constexpr MUINT32 RegCHIP_CTL    = 0x300;
inline constexpr MUINT32 CHIP_CTL_RESET = 1u << 1;

// Status bit that a board with the devctl_unstable fault raises in its command/status dword at
// every chip reset (detected parity error), so that the dword never reads back as before.
inline constexpr MUINT32 CFG_STATUS_PARITY_ERROR = 1u << 31;

// The data line that the memory of a failing controller initialisation holds high.
inline constexpr MUINT32 STUCK_DATA_BIT = 1u << 13;
}  // namespace QelSimChip

class CQelSimChip : public CQelSimRegBehaviour
{
public:
    // Builds the model on a second-generation board whose persisted registers are in place; once
    // per board. Null for a first-generation board, which has no such model.
    static CQelSimChip* Attach(CQelSimBoard& roBoard);
    // The model of a board, or null.
    static CQelSimChip* Of(CQelSimBoard& roBoard);

    explicit CQelSimChip(CQelSimBoard& roBoard) : m_roBoard(roBoard) {}

    CQelSimBoard& Board() const { return m_roBoard; }
    CQelSimChipClocks& Clocks() const { return *m_poClocks; }
    CQelSimChipMemCtl& MemCtl() const { return *m_poMemCtl; }
    CQelSimChipEngines& Engines() const { return *m_poEngines; }
    MUINT64 NowUs() const;

    // The board's reset line was pulsed (how a revision-0 chip is reset, through a board pin).
    void PulseResetPin();
    MUINT32 ResetCount() const { return m_uiResetCount; }

    // ---- Memory state.
    // The memory back end and front end run from locked system synthesizers.
    bool MemoryClocksRunning() const;
    // The clocks changed: without running memory clocks the PHYs lose their training.
    void OnClocksChanged();
    // The controller handed the trained memory to its clients (bUp), or the memory was lost.
    void SetMemoryUp(bool bUp);
    bool MemoryUp() const { return m_bMemoryUp; }
    // Controller initialisations that brought the memory up since the rig was loaded.
    MUINT32 MemoryInitCount() const { return m_uiMemoryInits; }

    // Chip control register.
    MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                    MUINT32 uiByteMask) override;

private:
    void Reset(const char* pszHow);
    // What a completed bring-up leaves, for a board found initialised at load.
    void StartRunning();

    CQelSimBoard& m_roBoard;
    CQelSimChipClocks* m_poClocks = nullptr;   // owned by the board, like every behaviour
    CQelSimChipMemCtl* m_poMemCtl = nullptr;
    CQelSimChipEngines* m_poEngines = nullptr;
    bool m_bMemoryUp = false;
    MUINT32 m_uiMemoryInits = 0;
    MUINT32 m_uiResetCount = 0;
};
