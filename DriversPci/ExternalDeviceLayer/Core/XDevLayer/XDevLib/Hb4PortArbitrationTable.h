// Memory bandwidth shares of the chip's four memory-client ports, by the combination of port uses.
#pragma once

#include "QelBaseTypes.h"

// A combination of port uses: how many ports are used as demultiplexer outputs, FPGA outputs and
// FPGA inputs (a port unused counts nowhere).
union tagPortConfigCode
{
    MUINT32 uiValue;
    struct
    {
        MUINT32 uNbDemOut  : 8;
        MUINT32 uNbFpgaOut : 8;
        MUINT32 uNbFpgaIn  : 8;
        MUINT32 uReserved  : 8;
    };
};
static_assert(sizeof(tagPortConfigCode) == 4);

inline constexpr MUINT32 PortConfigCode(MUINT32 uiNbDemOut, MUINT32 uiNbFpgaOut, MUINT32 uiNbFpgaIn)
{
    return (uiNbFpgaIn << 16) | (uiNbFpgaOut << 8) | uiNbDemOut;
}

struct SPortConfigMbeArbitration
{
    tagPortConfigCode oPortConfig;
    MUINT32 uiRegMbeArb0;                // MBE arbitration words
    MUINT32 uiRegMbeArb1;
    MUINT32 uiMfeArb0DemInCycleAlloc;    // MFE cycle shares in percent
    MUINT32 uiMfeArb0DemOutCycleAlloc;
};

inline constexpr MUINT32 HB4_PORT_ARBITRATION_ROWS = 35;
// Searched in order; the first row of a combination applies.
extern const SPortConfigMbeArbitration g_aoHb4PortArbitration[HB4_PORT_ARBITRATION_ROWS];
