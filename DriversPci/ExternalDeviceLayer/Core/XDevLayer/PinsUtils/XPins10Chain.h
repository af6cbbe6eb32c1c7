// Bounded checks of a Pins10 block chain: each block is checked against the size of the buffer
// that holds the chain. Nothing here reports or writes; the validator, the JSON description code
// and the build-time generator all build on these checks.
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

// The faults of a block header by itself, in the order every walk tests them: length 0, length
// not a multiple of 4, signature 0. PINS10_BLOCK_NEXT when none applies.
EPins10BlockCheck Pins10CheckBlockShape(MUINT16 uiSignature, MUINT16 uiLength);

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
