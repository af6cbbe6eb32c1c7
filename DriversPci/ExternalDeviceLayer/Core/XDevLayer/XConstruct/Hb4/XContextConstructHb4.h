// Board data of the family's full-board builder that the memory-initialisation builder shares:
// finding and reading the parameter block in the board EEPROM, and working out where the board's
// system processor sits. The functions keep no state.
#pragma once

#include "QelBaseTypes.h"

class XContext;
class XDevEeprom;

namespace XHb4BoardData
{
// EEPROM layout: a little-endian 16-bit pointer to the parameter block sits at this address; the
// block starts with the header's signature, and no block header may end past the block limit.
inline constexpr MUINT32 EEPROM_PINS_POINTER_ADDR = 0x1FE7C;
inline constexpr MUINT32 EEPROM_PINS_POINTER_SIZE = 2;
inline constexpr MUINT32 EEPROM_PINS_LIMIT_ADDR   = 8024;   // 0x1F58
// A block length that cannot be real: a zeroed or an erased header.
inline constexpr MUINT16 EEPROM_PINS_LENGTH_ZERO   = 0x0000;
inline constexpr MUINT16 EEPROM_PINS_LENGTH_ERASED = 0xFFFF;

// Chip register telling, on a board whose processor is not on the primary bus, whether an
// external processor is fitted.
inline constexpr MUINT32 REG_PROCESSOR_STRAPS          = 0x5670;
inline constexpr MUINT32 PROCESSOR_STRAPS_EXTERNAL_BIT = 29;

// The PCB whose processor presence is wired to the strap register above.
inline constexpr MUINT32 PCB_NUMBER_STRAPPED_PROCESSOR = 7470;
} // namespace XHb4BoardData

class XContextConstructHb4
{
public:
    // 1 with the EEPROM address of the parameter block; 0 when the pointer does not lead to a
    // header signature (a blank EEPROM) or a read failed.
    static MBOOL32 FindPinsOffset(XDevEeprom& roEeprom, MUINT32& ruiOffset);
    // 1 with a validated parameter block read from the EEPROM, which the caller frees with
    // delete[]; 0 with a null pointer and a size of 0.
    static MBOOL32 ReadEepromPins(XDevEeprom& roEeprom, MUINT8*& rpuiPins, MUINT32& ruiSize);
    // Where the board's processor sits, from the processor record and, for a processor that is
    // both on board and external, from whether the board answers I/O cycles. 1, or 0 when the
    // block lacks the records.
    static MBOOL32 ExtractBoardData(const MUINT8* puiPins, XContext& roContext, int& riOnBoard, int& riOnPrimaryBus,
                                    int& riExternal);
};
