// Block walker and validator of the Pins10 board parameter block.
//
// A parameter block is a chain of blocks laid end to end: header block first, end block last,
// each block a 4-byte header (signature, data length) followed by its data. The walker
// functions that take no size (Pins10NextBlockHeader, Pins10GetPinsBlockData,
// Pins10CopyBlockData) rely on the end block to stop; they are safe only on a chain that
// Pins10Validate accepted with the size of its buffer, which proves that the walk reaches an end
// block lying wholly inside that buffer. Every block that comes from outside the program (the
// board EEPROM, a file) must therefore be validated before anything else touches it.
#pragma once

#include "QelBaseTypes.h"
#include "XPins10Chain.h"
#include "XPins10Types.h"

// The block after this one, or null at the end block and on a malformed block (reported).
const MUINT8* Pins10NextBlockHeader(const MUINT8* puiBlock);

// Data of the first block of that kind (list flag ignored in the comparison). For a list block,
// element uiIndex, absent when the index is not below uiNbItems or the element would run past the
// block's data; single blocks ignore the index. *puiSize (optional) receives the data size.
const MUINT8* Pins10GetPinsBlockData(const MUINT8* puiBlock, MUINT16 uiSignature, MUINT32 uiIndex,
                                     MUINT32* puiSize);

// Copies min(found size, uiMaxSize) bytes of that data into pvDestination; 1 when found.
MBOOL32 Pins10CopyBlockData(const MUINT8* puiBlock, MUINT16 uiSignature, MUINT32 uiIndex, MUINT32 uiMaxSize,
                            MUINT32* puiSize, void* pvDestination);

// 1 when the buffer of uiSize bytes holds a usable chain: header block first, an end block
// reachable through well-formed blocks that all lie inside the buffer. Rewrites an older header
// into the current layout in place (see ConvertPInS10HeaderRev1).
MBOOL32 Pins10Validate(MUINT8* puiBlock, MUINT32 uiSize);

// Rewrites header data of revision 0x0A01 (44 bytes, small fields 16-bit) as a current header,
// keeping the 44-byte length. Anything else, or fewer than 44 bytes of data, is left untouched.
void ConvertPInS10HeaderRev1(MUINT8* puiHeaderData, MUINT32 uiDataSize);
