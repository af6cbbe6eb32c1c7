// SPI flash chips that a simulated board can carry ("eeprom": {"chip": "<name>", ...}).
#pragma once

#include <string>

#include "QelBaseTypes.h"

struct SQelSimFlashChip
{
    const char* pszName;
    MUINT32 uiSize;  // bytes
};

// The chip of that name (exact spelling), or null.
const SQelSimFlashChip* QelVxdSim_FindFlashChip(const std::string& rsName);
// Names of all chips, comma-separated, for error messages.
std::string QelVxdSim_FlashChipNames();
