// Human-readable views of a parameter block: the text dump with offsets and decoded values, and
// the layout of JSON descriptions.
#pragma once

#include <ostream>
#include <string>

#include "Pins10Json.h"
#include "QelBaseTypes.h"

// Every block and list element with its offset, field names, values and their meaning (dates,
// PCB number, memory sizes, clock sources). Walks only inside uiSize bytes; a chain that breaks
// off is shown up to the fault. Returns 1 when the block is valid, else 0 with the reason.
MBOOL32 Pins10DumpText(const MUINT8* puiBlock, MUINT32 uiSize, std::ostream& roOut, std::string& rszReason);

// JSON text laid out for reading: one field per line, short arrays and small objects inline.
std::string Pins10JsonText(const CPins10Json& roJson);
