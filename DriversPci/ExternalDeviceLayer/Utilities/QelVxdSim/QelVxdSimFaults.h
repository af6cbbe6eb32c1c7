// Faults a rig can switch on per board ("faults": {"<name>": <value>}). Each fault is one row of
// a table: its name, the type of its value and where the value goes in SQelSimBoardFaults. The
// rig loader rejects names that are not in the table and values of the wrong type or range.
#pragma once

#include <string>

#include "QelBaseTypes.h"

struct SQelSimBoardFaults
{
    // Mapping the board's windows fails, as it does for a user without access to /dev/mem.
    bool bMapFails = false;
    // The chip's EEPROM engine never grants the bus to the host.
    bool bGrantNever = false;
    // The flash's busy bit never clears after a program or erase.
    bool bFlashStuckBusy = false;
};

enum class EQelSimFaultType
{
    Bool,
    Integer,  // JSON integer or "0x..." string within [uiMin, uiMax]
};

struct SQelSimFaultSpec
{
    const char* pszName;
    EQelSimFaultType eType;
    MUINT64 uiMin;
    MUINT64 uiMax;
    void (*pfnApply)(SQelSimBoardFaults& roFaults, MUINT64 uiValue);  // a Bool arrives as 0 or 1
};

// The row of that name, or null.
const SQelSimFaultSpec* QelVxdSim_FindFault(const std::string& rsName);
