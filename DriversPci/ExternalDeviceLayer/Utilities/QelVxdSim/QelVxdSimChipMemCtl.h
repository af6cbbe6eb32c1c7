// DDR memory controller of the simulated chip and its four PHYs.
//
// The PHY select register routes every access to the PHY register range to the selected PHYs: a
// write reaches each of them, a read answers from the lowest one (0 with none selected). Each PHY
// keeps its own registers. Writing the PIR with its init bit starts a PHY's initialisation and
// training, provided the memory clocks run; a fitted PHY (rig "phys") then reports done in PGSR0
// msc_uiTrainingUs later, a PHY that is not fitted never does. The controller uses the PHYs of its
// configuration register (bits 2-5) and reports ready in its status register (bit 24, busy bit 29
// clear) while each of them has trained without error and the clocks run. Writing its control
// word while it is ready brings the memory up. With the "training_polls" fault a PHY reports done
// no earlier than at the Nth read of its PGSR0 since its training started, and the controller
// ready no earlier than at the Nth read of its status since the last training start.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdSimRegisterFile.h"

class CQelSimChip;

namespace QelSimChip
{
inline constexpr MUINT32 REG_MEMCTL_FIRST      = 0x5C00;   // arbitration, configuration, status
inline constexpr MUINT32 REG_MEMCTL_END        = 0x5E04;
inline constexpr MUINT32 RegMEM_CONFIG         = 0x5D00;
inline constexpr MUINT32 MEM_CONFIG_PHY_SHIFT  = 2;
inline constexpr MUINT32 RegMEM_CTL0           = 0x5D04;
inline constexpr MUINT32 RegMEM_STATUS1        = 0x5DE4;
inline constexpr MUINT32 MEM_STATUS1_READY     = 1u << 24;
inline constexpr MUINT32 MEM_STATUS1_BUSY      = 1u << 29;
inline constexpr MUINT32 RegMEM_PHYSELECT      = 0x5E00;

inline constexpr MUINT32 PHY_COUNT          = 4;
inline constexpr MUINT32 PHY_MASK           = 0xF;
inline constexpr MUINT32 REG_PHY_FIRST      = 0x6000;
inline constexpr MUINT32 PHY_RANGE_SIZE     = 0x400;
inline constexpr MUINT32 RegMPHY_PIR        = 0x6004;
inline constexpr MUINT32 PHY_PIR_INIT       = 1u << 0;
inline constexpr MUINT32 RegMPHY_PGSR0      = 0x6010;
inline constexpr MUINT32 PHY_PGSR0_DONE     = 1u << 0;
inline constexpr MUINT32 PHY_PGSR0_ERROR    = 1u << 22;   // one of the training error bits 20-27
}  // namespace QelSimChip

class CQelSimChipMemCtl : public CQelSimRegBehaviour
{
public:
    static constexpr MUINT32 msc_uiTrainingUs = 3000;

    explicit CQelSimChipMemCtl(CQelSimChip& roChip) : m_roChip(roChip) {}

    void Attach();
    // Power-on: registers cleared, no PHY trained.
    void PowerOn();
    // The controller configured for the fitted PHYs, each of them trained, as a bring-up leaves
    // them.
    void StartRunning();
    // The memory clocks stopped: the PHYs must train again.
    void LoseTraining();

    // PHY p has finished its initialisation (with or without errors).
    bool PhyDone(MUINT32 uiPhy) const;
    bool PhyTrained(MUINT32 uiPhy) const;
    bool ControllerReady() const;

    MUINT32 OnRead(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiByteMask) override;
    MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                    MUINT32 uiByteMask) override;

private:
    static constexpr MUINT32 msc_uiPhyRegisterCount = QelSimChip::PHY_RANGE_SIZE / 4;
    static constexpr MUINT64 msc_uiNotStarted = ~0ull;
    // A status read count that no training_polls fault can exceed: the training was polled to
    // its end before this process (the board came up trained), and the count stays there.
    static constexpr MUINT32 msc_uiPolledOut = ~0u;

    struct SPhy
    {
        MUINT32 auiRegisters[msc_uiPhyRegisterCount] = {};
        MUINT64 uiDoneAtUs = msc_uiNotStarted;   // when the running initialisation completes
        MUINT32 uiStatusReads = 0;               // PGSR0 reads since it started
    };

    // Enough status reads for the training_polls fault.
    bool PolledEnough(MUINT32 uiReads) const;
    // Counts one status read, never past msc_uiPolledOut.
    static void CountStatusRead(MUINT32& ruiReads) { ruiReads += ruiReads != msc_uiPolledOut ? 1 : 0; }

    MUINT32 SelectedPhys() const;
    MUINT32 ControllerPhys() const;
    bool AnyTrainingStarted() const;
    MUINT32 PhyStatus(MUINT32 uiPhy) const;

    CQelSimChip& m_roChip;
    SPhy m_aoPhys[QelSimChip::PHY_COUNT];
    MUINT32 m_uiStatusReads = 0;   // controller status reads since the last training start
};
