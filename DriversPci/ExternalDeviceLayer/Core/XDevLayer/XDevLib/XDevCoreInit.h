// The core-initialisation device of a board: resets the chip, programs its clocks, brings up and
// tests its memory, and keeps the chip's "memory initialised" marker. The context drives it
// through this interface; each chip family implements it.
#pragma once

#include "QelBaseTypes.h"
#include "XDev.h"

class XDevCoreInit : public XDev
{
public:
    // What InitializeHardware may do (bit flags).
    enum EInitOption : MUINT32
    {
        OPTION_NONE               = 0,
        OPTION_ALLOW_GLOBAL_RESET = 1,   // reset the chip before the first attempt when asked, and between failed attempts
        OPTION_INIT_REGISTERS     = 2,   // program the clock registers
        OPTION_INIT_MEMORY        = 4,   // memory clocks, memory controller, memory test, marker
        OPTION_INIT_ALL           = 7,
    };

    // Use of each of the four memory-client ports.
    enum EPortConfig : MUINT32
    {
        PORT_UNUSED   = 0,
        PORT_DEM_OUT  = 1,
        PORT_FPGA_OUT = 2,
        PORT_FPGA_IN  = 3,
    };

    static constexpr LStatus msc_iNotSupported = -10;

    explicit XDevCoreInit(EInitOption eInitOption) : XDev(TYPE_CORE_INIT), m_eInitOption(eInitOption) {}
    ~XDevCoreInit() override {}

    // Clears the "memory initialised" marker: 0 when it was set, -1 when it was not.
    virtual LStatus ClearInitialized() = 0;
    // 1 when the chip's memory is initialised, else 0.
    virtual MBOOL32 IsHardwareInitialize() = 0;
    // 0 initialised now, 1 already initialised (nothing done), negative failure (-10: the chip
    // reports a state that needs the board's straps checked).
    virtual LStatus InitializeHardware() = 0;
    // 1 when a driver has marked the chip as in use, else 0.
    virtual MBOOL32 IsDriverRunning() const = 0;
    // Sets the memory bandwidth share of one client port. Chips without port arbitration do not
    // support it.
    virtual LStatus PortArbitration(MUINT32 uiPort, EPortConfig ePortConfig)
    {
        (void)uiPort;
        (void)ePortConfig;
        return msc_iNotSupported;
    }

    EInitOption m_eInitOption;
};
