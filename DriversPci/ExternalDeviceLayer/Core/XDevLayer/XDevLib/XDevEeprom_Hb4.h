// The board EEPROM of this board family: an SPI flash behind the chip's EEPROM engine, reached
// by bit-banging the engine's bypass register (Hb4RegEeprom.h).
//
// Every transaction takes the bus from the engine (request, wait for the grant) and gives it
// back. Each line change is one read of the bypass register and, only when the bit really
// changes, one write; each received bit is one more read. A bit costs three to six register
// accesses over PCI, so a whole parameter block is read in one transaction. Program and erase
// lift the flash's write protection (status register and hardware line) for their duration and
// restore it on every path, failures included.
//
// Register accesses go through the register access given at construction; the memory
// initialisation gives the board's register window itself. A failed access is reported and its
// status returned unchanged.
#pragma once

#include "QelBaseTypes.h"
#include "XDevEeprom.h"

class OsServices;
class XHwAccess;
class XRegAccess;
class XServicesCore;

class XDevEepromHb4 : public XDevEeprom
{
public:
    // Levels of SetChipSelect: the chip select line is active low.
    static constexpr MBOOL32 msc_bCSActive = 0;
    static constexpr MBOOL32 msc_bCSInactive = 1;

    // Grant polls, one per microsecond, before a bus request gives up.
    static constexpr MUINT32 msc_uiGrantPolls = 99999;
    // Status reads before a program or erase counts as hung, and before a status write does.
    static constexpr MUINT32 msc_uiBusyPolls = 2000000;
    static constexpr MUINT32 msc_uiStatusWritePolls = 100000;
    static constexpr MUINT32 msc_uiStatusPollDelayUs = 5;
    static constexpr MUINT32 msc_uiMaxAddressSize = 4;

    // On a context: register accesses through the services' register access.
    explicit XDevEepromHb4(XServicesCore& roServicesCore);
    // Register accesses straight on the hardware access's register window.
    XDevEepromHb4(OsServices& roOsServices, XHwAccess& roHwAccess);
    XDevEepromHb4(OsServices& roOsServices, XHwAccess& roHwAccess, XRegAccess& roRegAccess);
    ~XDevEepromHb4() override {}

    using XDevEeprom::Read;
    using XDevEeprom::Write;

    LStatus Erase(ECommonInst eInst, MUINT32 uiAddress, MUINT32 uiSize) override;
    LStatus Read(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, MUINT8* pui8Buffer,
                 MUINT32 uiCount) override;
    // Program and erase refuse a part that DetectEeprom did not identify (-1).
    LStatus Write(MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount) override;

    // Chip select line: msc_bCSActive selects the flash.
    virtual LStatus SetChipSelect(MBOOL32 bLevel);

    // Switches the flash's write protection: status register (through the bus, which is taken
    // when the host does not hold it and always given back) and hardware line. Switching on
    // always ends with the hardware line set, also when the status write failed; on a part not
    // identified it sets only the line (-1).
    LStatus SetProtection(MBOOL32 bOn);
    // Hardware write-protect line. Register errors are ignored: always 0.
    LStatus SetHwProtection(MBOOL32 bOn);

    XHwAccess& m_roHwAccess;

protected:
    // ---- Bus primitives: 0, or the failed register access's status.
    LStatus SetClock(MBOOL32 bHigh);
    LStatus SetDataIn(MBOOL32 bHigh);
    LStatus GetDataOut(MBOOL32& rbHigh);
    // 1: request the bus and wait for the grant (-1 and the request withdrawn on time-out);
    // 0: give it back.
    LStatus SetStateMachine(MBOOL32 bRequest);
    // 1: take the bus with the clock low and the flash deselected; 0: give it back.
    LStatus EnableSoftCom(MBOOL32 bEnable);
    LStatus SendByte(MUINT8 ui8Byte);
    LStatus ReceiveByte(MUINT8& rui8Byte);
    // uiAddressSize bytes of the address, most significant first; -1 for a size of 0 or above 4.
    LStatus SendAddress(MUINT32 uiAddressSize, MUINT32 uiAddress);
    // One transaction: select, the instruction, uiAddressSize address bytes (none for 0), the
    // bytes out, a pause of uiTurnaroundUs (none for 0), the bytes in, deselect. A failed step
    // ends it at once and leaves the flash selected.
    LStatus Transaction(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Out,
                        MUINT32 uiOutCount, MUINT8* pui8In, MUINT32 uiInCount, MUINT32 uiTurnaroundUs);
    // An instruction alone in its own transaction.
    LStatus SendInstruction(MUINT8 ui8Inst);
    // Reads the status until the busy bit clears: 0, or -1 after uiPolls reads.
    LStatus WaitWhileBusy(MUINT32 uiPolls);

    XRegAccess& m_roRegAccess;
    // Status reads before a program or erase, or a status write, counts as hung: the hardware
    // limits above; a test may shorten them to meet a hung part within its time.
    MUINT32 m_uiBusyPolls;
    MUINT32 m_uiStatusWritePolls;

private:
    // Reads the bypass register and sets or clears bits of it, writing only when they change.
    LStatus UpdateBypass(MUINT32 uiMask, MBOOL32 bSet);
    // The status write of SetProtection, on a bus it holds.
    LStatus WriteProtectionStatus(MBOOL32 bOn);
    // One program or erase: write enable, the transaction, the wait until the part is done.
    LStatus ModifyStep(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Data,
                       MUINT32 uiCount);
    // Program and erase: protection lifted and bus taken; on failure protection is restored.
    LStatus BeginModify();
    // Write disable, bus given back, protection restored.
    LStatus EndModify();
    // After a failed step: deselect, restore protection; returns iStatus.
    LStatus AbortModify(LStatus iStatus);
};
