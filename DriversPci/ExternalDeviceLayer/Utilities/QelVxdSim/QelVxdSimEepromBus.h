// The chip's EEPROM bus as the host sees it: register 0x360 lets the host take the SPI bus of the
// board's flash away from the chip's own EEPROM engine and drive its lines bit by bit, and bit 2
// of register 0x358 drives the flash's hardware write-protect line.
//
// Register 0x360: bit 0 requests the bus; bit 1 (read only) shows the grant, which the idle
// engine gives at once; while the bus is granted, bits 4, 8 and 12 drive the clock, the data to
// the flash and chip select 0 (active low), and bit 16 (read only) returns the flash's data
// output. Without the grant the engine keeps chip select high and the clock low, so a bus given
// back in the middle of a transaction ends it. The "grant_never" fault keeps the grant away.
// The data output reaches the host through the "flash_out_stuck" and "flash_bit_errors" faults:
// a line stuck at one level, or single bits inverted as the flash shifts them out.
//
// Every access costs a few bit operations; the flash model is called only on line changes.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdSimRegisterFile.h"
#include "QelVxdSimSpiFlash.h"

namespace QelSimEeprom
{
inline constexpr MUINT32 HST_EEPROMBYP    = 0x360;
inline constexpr MUINT32 BYPASS_REQUEST   = 1u << 0;
inline constexpr MUINT32 BYPASS_GRANT     = 1u << 1;  // read only
inline constexpr MUINT32 BYPASS_CLOCK     = 1u << 4;
inline constexpr MUINT32 BYPASS_DATA_IN   = 1u << 8;  // host to flash
inline constexpr MUINT32 BYPASS_CS0_N     = 1u << 12;
inline constexpr MUINT32 BYPASS_CS1_N     = 1u << 13;  // no second flash is fitted
inline constexpr MUINT32 BYPASS_DATA_OUT  = 1u << 16;  // flash to host, read only
inline constexpr MUINT32 BYPASS_READ_ONLY = BYPASS_GRANT | BYPASS_DATA_OUT;
// Both chip selects come out of reset inactive.
inline constexpr MUINT32 BYPASS_POWER_ON = BYPASS_CS0_N | BYPASS_CS1_N;

inline constexpr MUINT32 HST_EEPROMWP       = 0x358;
inline constexpr MUINT32 WRITE_PROTECT_LINE = 1u << 2;  // set: the flash's write-protect pin is held
}  // namespace QelSimEeprom

class CQelSimEepromBus : public CQelSimRegBehaviour
{
public:
    explicit CQelSimEepromBus(CQelSimBoard& roBoard);

    MUINT32 OnRead(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiByteMask) override;
    MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                    MUINT32 uiByteMask) override;

    CQelSimSpiFlash& Flash() { return m_oFlash; }
    MUINT32 BusRequests() const { return m_uiBusRequests; }

private:
    bool Granted(MUINT32 uiStored) const { return (uiStored & QelSimEeprom::BYPASS_REQUEST) != 0 && !m_bGrantNever; }
    // The data output line as the host samples it.
    bool DataOutLine() const;
    // The flash's lines after a write: a clock edge alone, or a chip select change (which begins
    // or ends a transaction, and is kept out of the clock's path).
    void DriveClock(bool bClock, bool bDataIn);
    [[gnu::noinline]] void DriveSelectChange(bool bClock, bool bChipSelectN, bool bDataIn);

    bool m_bGrantNever;
    MUINT32 m_uiOutStuck;    // QELSIM_FAULT_NONE, 0 or 1
    MUINT32 m_uiBitErrors;   // one bit in N inverted, 0: none
    MUINT32 m_uiErrorSeed;   // generator of the inverted bits
    bool m_bInverted;        // the bit on the line now is inverted
    CQelSimSpiFlash m_oFlash;
    bool m_bClock;  // the lines as the flash sees them
    bool m_bChipSelectN;
    MUINT32 m_uiBusRequests;
};

// Puts the EEPROM bus and its flash on a board (called once while the board is built).
void QelVxdSim_AttachEepromBus(CQelSimBoard& roBoard);
// The EEPROM bus of a board, for tests; null when the board has none.
CQelSimEepromBus* QelVxdSim_EepromBus(const CQelSimBoard& roBoard);
