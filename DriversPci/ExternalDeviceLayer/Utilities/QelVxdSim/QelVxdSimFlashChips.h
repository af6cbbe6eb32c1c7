// SPI flash chips that a simulated board can carry ("eeprom": {"chip": "<name>", ...}): their size,
// what each answers to the three identification instructions, and the instructions in which the
// parts differ. Everything else (read 0x03, status 0x05, program, erase, status write) is common
// to all of them and lives in the flash model (QelVxdSimSpiFlash.h).
#pragma once

#include <string>

#include "QelBaseTypes.h"

// Bytes a part shifts out for one identification instruction, repeated or followed by ones as
// the model says. ucCount 0: the part does not know the instruction and leaves its output high.
struct SQelSimFlashId
{
    MUINT8 aucBytes[4];
    MUINT8 ucCount;
};

struct SQelSimFlashChip
{
    const char* pszName;
    MUINT32 uiSize;  // bytes
    // 0x15: vendor and product code, repeated for as long as the host clocks.
    SQelSimFlashId oIdProduct;
    // 0x90 followed by a 3-byte address: manufacturer and device id, alternating; an odd address
    // starts with the device id.
    SQelSimFlashId oIdManufacturer;
    // 0x9E: the JEDEC identification, then ones.
    SQelSimFlashId oIdJedec;
    MUINT8 ucWriteEnableInst;
    MUINT8 ucProgramInst;
    MUINT8 ucReadStatus2Inst;  // 0: the part has a single status register
};

// The chip of that name (exact spelling), or null.
const SQelSimFlashChip* QelVxdSim_FindFlashChip(const std::string& rsName);
// Names of all chips, comma-separated, for error messages.
std::string QelVxdSim_FlashChipNames();
