// Faults a rig can switch on per board ("faults": {"<name>": <value>}). Each fault is one row of
// a table: its name, the type of its value and where the value goes in SQelSimBoardFaults. The
// rig loader rejects names that are not in the table and values of the wrong type or range.
#pragma once

#include <string>
#include <vector>

#include "QelBaseTypes.h"

// A value fault that is not switched on.
inline constexpr MUINT32 QELSIM_FAULT_NONE = 0xFFFFFFFF;

struct SQelSimBoardFaults
{
    // Mapping the board's windows fails, as it does for a user without access to /dev/mem.
    bool bMapFails = false;
    // Mapping only the register window / only the memory window fails.
    bool bMapRegistersFails = false;
    bool bMapMemoryFails = false;
    // Windows whose BAR firmware left unassigned (address 0): bit 0 memory, bit 1 registers.
    MUINT32 uiBarUnassigned = 0;
    // The function ignores every write to its configuration space.
    bool bConfigWritesIgnored = false;
    // The chip's EEPROM engine never grants the bus to the host.
    bool bGrantNever = false;
    // The flash's busy bit never clears after a program or erase.
    bool bFlashStuckBusy = false;
    // The flash's data output as the host samples it: QELSIM_FAULT_NONE, or stuck at 0 or 1.
    MUINT32 uiFlashOutStuck = QELSIM_FAULT_NONE;
    // One bit in N that the flash shifts out reaches the host inverted (0: none), drawn from a
    // generator seeded by the board's location, so every run sees the same errors.
    MUINT32 uiFlashBitErrors = 0;

    // ---- Chip (QelVxdSimChip.h).
    // Synthesizers that never lock: bits 0-2 FS0-FS2, bits 3-6 VID0-VID3.
    MUINT32 uiPllNoLock = 0;
    // PHYs (bit i: PHY i) that never report their initialisation done / report it with an error.
    MUINT32 uiPhyNotDone = 0;
    MUINT32 uiPhyError = 0;
    // The memory controller never reports ready, even with every PHY trained.
    bool bControllerNotReady = false;
    // The memory of the first N controller initialisations has a data line stuck high;
    // QELSIM_FAULT_ALWAYS: of every one.
    MUINT32 uiMemoryFailInits = 0;
    // Both engine status registers report a fatal state (bit 3).
    bool bEngineFatal = false;
    // The engines run from power-on and never stop.
    bool bEnginesStuck = false;
    // After a chip reset the command/status dword never reads what it read before.
    bool bDevctlUnstable = false;
    // The first chip reset takes the board off the bus for good: configuration reads give all
    // ones, writes are dropped, and neither window answers.
    bool bGoneAfterReset = false;
    // After each training start the PHYs report done, and the controller ready, no earlier than
    // at the Nth read of their status (0: as soon as training allows).
    MUINT32 uiTrainingPolls = 0;
};

// The "-1" of a count fault: always.
inline constexpr MUINT32 QELSIM_FAULT_ALWAYS = 0xFFFFFFFF;

// Bits of uiBarUnassigned.
inline constexpr MUINT32 QELSIM_BAR_MEMORY = 1u << 0;
inline constexpr MUINT32 QELSIM_BAR_REGISTERS = 1u << 1;

enum class EQelSimFaultType
{
    Bool,
    Integer,  // JSON integer or "0x..." string within [uiMin, uiMax]
    CountOrAlways,  // like Integer, or -1 for "always" (QELSIM_FAULT_ALWAYS)
    IndexList,      // list of distinct integers within [uiMin, uiMax]; the value has bit i per index i
    NameList,       // list of distinct names of ppszNames; the value has bit i per name i
};

struct SQelSimFaultSpec
{
    const char* pszName;
    EQelSimFaultType eType;
    MUINT64 uiMin;
    MUINT64 uiMax;
    void (*pfnApply)(SQelSimBoardFaults& roFaults, MUINT64 uiValue);  // a Bool arrives as 0 or 1
    const char* const* ppszNames = nullptr;                            // NameList only
    MUINT32 uiNameCount = 0;
};

// The row of that name, or null.
const SQelSimFaultSpec* QelVxdSim_FindFault(const std::string& rsName);
// The names of every fault, in table order (tests prove that they cover them all).
std::vector<std::string> QelVxdSim_FaultNames();
