// Where the parameter block lives in the board's configuration EEPROM, and how it is found in a
// raw image of that EEPROM: the same rules the board's builder applies when it reads the chip.
#pragma once

#include <string>
#include <vector>

#include "QelBaseTypes.h"

// Little-endian 16-bit EEPROM address of the parameter block.
constexpr MUINT32 PINS10_EEPROM_POINTER_ADDRESS = 0x1FE7C;
// Every block header must end at or below this address.
constexpr MUINT32 PINS10_EEPROM_BLOCK_LIMIT = 8024;
// Lengths that a blank or erased EEPROM reads as.
constexpr MUINT32 PINS10_EEPROM_BLANK_LENGTH = 0xFFFF;

// Copies the parameter block out of an EEPROM image: pointer word, header signature at the
// pointer, block headers up to the end block within the address limit, then validation.
// 0 with the reason when there is no usable block.
MBOOL32 Pins10ExtractFromEeprom(const std::vector<MUINT8>& rauiImage, std::vector<MUINT8>& rauiBlock,
                                std::string& rszReason);
