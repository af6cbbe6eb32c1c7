// Bounded checks of a Pins10 block chain.
#include "XPins10Chain.h"

namespace
{
constexpr MUINT32 msc_uiBlockHeaderSize = sizeof(tagPinsBlock);
constexpr MUINT32 msc_uiListHeaderSize = sizeof(tagPinsBlockList);

}  // namespace

// The block-level faults that stop a walk, in the order the walker tests them.
EPins10BlockCheck Pins10CheckBlockShape(MUINT16 uiSignature, MUINT16 uiLength)
{
    if (uiLength == 0)
        return PINS10_BLOCK_ZERO_LENGTH;
    if (uiLength % 4 != 0)
        return PINS10_BLOCK_LENGTH_NOT_ALIGNED;
    if (uiSignature == 0)
        return PINS10_BLOCK_ZERO_SIGNATURE;
    return PINS10_BLOCK_NEXT;
}

const char* Pins10BlockCheckText(EPins10BlockCheck eCheck)
{
    switch (eCheck)
    {
    case PINS10_BLOCK_NEXT:
    case PINS10_BLOCK_END:
        return "";
    case PINS10_BLOCK_HEADER_OUTSIDE:
        return "no end block before the end of the data";
    case PINS10_BLOCK_ZERO_LENGTH:
        return "block data length is 0";
    case PINS10_BLOCK_LENGTH_NOT_ALIGNED:
        return "block data length is not a multiple of 4";
    case PINS10_BLOCK_ZERO_SIGNATURE:
        return "block signature is 0";
    case PINS10_BLOCK_DATA_OUTSIDE:
        return "block data runs past the end of the data";
    }
    return "unknown block fault";
}

EPins10BlockCheck Pins10CheckBlock(const MUINT8* puiBuffer, MUINT32 uiSize, MUINT32 uiOffset)
{
    if (uiOffset > uiSize || uiSize - uiOffset < msc_uiBlockHeaderSize)
        return PINS10_BLOCK_HEADER_OUTSIDE;
    const MUINT8* puiBlock = puiBuffer + uiOffset;
    const MUINT16 uiSignature = Pins10BlockSignature(puiBlock);
    const MUINT16 uiLength = Pins10BlockLength(puiBlock);
    const MUINT32 uiRemaining = uiSize - uiOffset - msc_uiBlockHeaderSize;

    // The end block is accepted as soon as it is reached, whatever its length, provided it lies
    // inside the buffer.
    if (Pins10IsEndSignature(uiSignature))
        return uiLength <= uiRemaining ? PINS10_BLOCK_END : PINS10_BLOCK_DATA_OUTSIDE;

    const EPins10BlockCheck eShape = Pins10CheckBlockShape(uiSignature, uiLength);
    if (eShape != PINS10_BLOCK_NEXT)
        return eShape;
    return uiLength <= uiRemaining ? PINS10_BLOCK_NEXT : PINS10_BLOCK_DATA_OUTSIDE;
}

EPins10BlockCheck Pins10WalkChain(const MUINT8* puiBlock, MUINT32 uiSize, MUINT32* puiOffset)
{
    MUINT32 uiOffset = 0;
    for (;;)
    {
        const EPins10BlockCheck eCheck = Pins10CheckBlock(puiBlock, uiSize, uiOffset);
        if (eCheck != PINS10_BLOCK_NEXT)
        {
            if (puiOffset)
                *puiOffset = uiOffset;
            return eCheck;
        }
        uiOffset += msc_uiBlockHeaderSize + Pins10BlockLength(puiBlock + uiOffset);
    }
}

MUINT32 Pins10ListItemCount(const MUINT8* puiListBlock)
{
    const MUINT32 uiLength = Pins10BlockLength(puiListBlock);
    if (uiLength < msc_uiListHeaderSize - msc_uiBlockHeaderSize)
        return 0;
    const MUINT32 uiNbItems = Pins10ReadU16(puiListBlock + offsetof(tagPinsBlockList, uiNbItems));
    const MUINT32 uiItemSize = Pins10ReadU16(puiListBlock + offsetof(tagPinsBlockList, uiItemSize));
    if (uiItemSize == 0)
        return uiNbItems;
    const MUINT32 uiFitting = (uiLength - (msc_uiListHeaderSize - msc_uiBlockHeaderSize)) / uiItemSize;
    return uiNbItems < uiFitting ? uiNbItems : uiFitting;
}

