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
#include "XPins10Types.h"

// Result of checking one block header against the buffer that holds the chain.
enum EPins10BlockCheck
{
    PINS10_BLOCK_NEXT = 0,          // a well-formed block; another block follows it
    PINS10_BLOCK_END,               // the end block, wholly inside the buffer
    PINS10_BLOCK_HEADER_OUTSIDE,    // the 4-byte block header runs past the buffer
    PINS10_BLOCK_ZERO_LENGTH,
    PINS10_BLOCK_LENGTH_NOT_ALIGNED,
    PINS10_BLOCK_ZERO_SIGNATURE,
    PINS10_BLOCK_DATA_OUTSIDE,      // the block's data runs past the buffer
};

// One line of text saying what is wrong with a block ("" for the two good results).
const char* Pins10BlockCheckText(EPins10BlockCheck eCheck);

// Checks the block whose header starts at uiOffset of a buffer of uiSize bytes. No report.
EPins10BlockCheck Pins10CheckBlock(const MUINT8* puiBuffer, MUINT32 uiSize, MUINT32 uiOffset);

// Walks the chain from offset 0 within uiSize bytes. Returns PINS10_BLOCK_END with the end
// block's offset in *puiOffset, or the first problem with the offending block's offset. No report.
EPins10BlockCheck Pins10WalkChain(const MUINT8* puiBlock, MUINT32 uiSize, MUINT32* puiOffset);

// Signature with the list flag masked off: an end block stops every walk, list flag or not.
inline MBOOL32 Pins10IsEndSignature(MUINT16 uiSignature)
{
    return (uiSignature & PINS10_SIGNATURE_KIND_MASK) == PINS10_SIGNATURE_END;
}

// Number of elements of a list block that lie wholly inside its data (uiNbItems at most).
MUINT32 Pins10ListItemCount(const MUINT8* puiListBlock);

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
