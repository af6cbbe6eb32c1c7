// Block walker and validator of the Pins10 board parameter block.
#include "XPinS10.h"

#include <cstring>

#include "QelAssert.h"

namespace
{
constexpr MUINT32 msc_uiBlockHeaderSize = sizeof(tagPinsBlock);
constexpr MUINT32 msc_uiListHeaderSize = sizeof(tagPinsBlockList);

MUINT16 BlockSignature(const MUINT8* puiBlock) { return Pins10ReadU16(puiBlock + offsetof(tagPinsBlock, uiSignature)); }
MUINT16 BlockLength(const MUINT8* puiBlock) { return Pins10ReadU16(puiBlock + offsetof(tagPinsBlock, uiDataLenght)); }

// The block-level faults that stop a walk, in the order the walker tests them.
EPins10BlockCheck CheckBlockShape(MUINT16 uiSignature, MUINT16 uiLength)
{
    if (uiLength == 0)
        return PINS10_BLOCK_ZERO_LENGTH;
    if (uiLength % 4 != 0)
        return PINS10_BLOCK_LENGTH_NOT_ALIGNED;
    if (uiSignature == 0)
        return PINS10_BLOCK_ZERO_SIGNATURE;
    return PINS10_BLOCK_NEXT;
}

// Offsets inside the older 0x0A01 header data.
constexpr MUINT32 msc_uiV1DateOffset = 2;
constexpr MUINT32 msc_uiV1SerialOffset = 4;
constexpr MUINT32 msc_uiV1PcbOffset = 20;
constexpr MUINT32 msc_uiV1PartListOffset = 22;
constexpr MUINT32 msc_uiV1PartListSize = 6;
constexpr MUINT32 msc_uiV1SkuOffset = 28;
constexpr MUINT32 msc_uiV1SkuSize = 8;
constexpr MUINT32 msc_uiV1BaseYear = 2000;
constexpr MUINT32 msc_uiV1BasePcbNumber = 6000;
}  // namespace

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
    const MUINT16 uiSignature = BlockSignature(puiBlock);
    const MUINT16 uiLength = BlockLength(puiBlock);
    const MUINT32 uiRemaining = uiSize - uiOffset - msc_uiBlockHeaderSize;

    // The end block is accepted as soon as it is reached, whatever its length, provided it lies
    // inside the buffer.
    if (Pins10IsEndSignature(uiSignature))
        return uiLength <= uiRemaining ? PINS10_BLOCK_END : PINS10_BLOCK_DATA_OUTSIDE;

    const EPins10BlockCheck eShape = CheckBlockShape(uiSignature, uiLength);
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
        uiOffset += msc_uiBlockHeaderSize + BlockLength(puiBlock + uiOffset);
    }
}

MUINT32 Pins10ListItemCount(const MUINT8* puiListBlock)
{
    const MUINT32 uiLength = BlockLength(puiListBlock);
    if (uiLength < msc_uiListHeaderSize - msc_uiBlockHeaderSize)
        return 0;
    const MUINT32 uiNbItems = Pins10ReadU16(puiListBlock + offsetof(tagPinsBlockList, uiNbItems));
    const MUINT32 uiItemSize = Pins10ReadU16(puiListBlock + offsetof(tagPinsBlockList, uiItemSize));
    if (uiItemSize == 0)
        return uiNbItems;
    const MUINT32 uiFitting = (uiLength - (msc_uiListHeaderSize - msc_uiBlockHeaderSize)) / uiItemSize;
    return uiNbItems < uiFitting ? uiNbItems : uiFitting;
}

const MUINT8* Pins10NextBlockHeader(const MUINT8* puiBlock)
{
    if (puiBlock == nullptr)
    {
        QEL_ASSERT_REPORT();
        return nullptr;
    }
    const MUINT16 uiSignature = BlockSignature(puiBlock);
    const MUINT16 uiLength = BlockLength(puiBlock);
    if (CheckBlockShape(uiSignature, uiLength) != PINS10_BLOCK_NEXT)
    {
        QEL_ASSERT_REPORT();
        return nullptr;
    }
    if (Pins10IsEndSignature(uiSignature))
        return nullptr;
    return puiBlock + msc_uiBlockHeaderSize + uiLength;
}

const MUINT8* Pins10GetPinsBlockData(const MUINT8* puiBlock, MUINT16 uiSignature, MUINT32 uiIndex,
                                     MUINT32* puiSize)
{
    if (puiBlock == nullptr)
    {
        QEL_ASSERT_REPORT();
        return nullptr;
    }
    const MUINT8* puiFound = puiBlock;
    while (puiFound != nullptr && ((uiSignature ^ BlockSignature(puiFound)) & PINS10_SIGNATURE_KIND_MASK) != 0)
        puiFound = Pins10NextBlockHeader(puiFound);
    if (puiFound == nullptr)
        return nullptr;

    if ((BlockSignature(puiFound) & PINS10_SIGNATURE_LIST_FLAG) == 0)
    {
        if (puiSize)
            *puiSize = BlockLength(puiFound);
        return puiFound + msc_uiBlockHeaderSize;
    }
    // List: element uiIndex, present only when it lies wholly inside the block's data.
    if (uiIndex >= Pins10ListItemCount(puiFound))
        return nullptr;
    const MUINT32 uiItemSize = Pins10ReadU16(puiFound + offsetof(tagPinsBlockList, uiItemSize));
    if (puiSize)
        *puiSize = uiItemSize;
    return puiFound + msc_uiListHeaderSize + uiIndex * uiItemSize;
}

MBOOL32 Pins10CopyBlockData(const MUINT8* puiBlock, MUINT16 uiSignature, MUINT32 uiIndex, MUINT32 uiMaxSize,
                            MUINT32* puiSize, void* pvDestination)
{
    if (uiMaxSize == 0 || puiSize == nullptr || pvDestination == nullptr)
    {
        QEL_ASSERT_REPORT();
        return 0;
    }
    MUINT32 uiFoundSize = 0;
    const MUINT8* puiData = Pins10GetPinsBlockData(puiBlock, uiSignature, uiIndex, &uiFoundSize);
    if (puiData == nullptr)
        return 0;
    *puiSize = uiFoundSize < uiMaxSize ? uiFoundSize : uiMaxSize;
    memcpy(pvDestination, puiData, *puiSize);
    return 1;
}

MBOOL32 Pins10Validate(MUINT8* puiBlock, MUINT32 uiSize)
{
    if (puiBlock == nullptr || uiSize < PINS10_MIN_BLOCK_SIZE)
    {
        QEL_ASSERT_REPORT();
        return 0;
    }
    if ((BlockSignature(puiBlock) & PINS10_SIGNATURE_KIND_MASK) != PINS10_SIGNATURE_HEADER)
    {
        QEL_ASSERT_REPORT();
        return 0;
    }
    // The older header is converted before anything reads it, but only when its data lies in the
    // buffer.
    const MUINT32 uiHeaderLength = BlockLength(puiBlock);
    if (uiHeaderLength <= uiSize - msc_uiBlockHeaderSize)
        ConvertPInS10HeaderRev1(puiBlock + msc_uiBlockHeaderSize, uiHeaderLength);

    if (Pins10WalkChain(puiBlock, uiSize, nullptr) != PINS10_BLOCK_END)
    {
        QEL_ASSERT_REPORT();
        return 0;
    }
    return 1;
}

void ConvertPInS10HeaderRev1(MUINT8* puiHeaderData, MUINT32 uiDataSize)
{
    if (puiHeaderData == nullptr || uiDataSize < PINS10_HEADER_MIN_SIZE ||
        Pins10ReadU16(puiHeaderData) != PINS10_HEADER_REVISION_V1)
        return;

    const MUINT16 uiOldDate = Pins10ReadU16(puiHeaderData + msc_uiV1DateOffset);
    const MUINT16 uiOldPcb = Pins10ReadU16(puiHeaderData + msc_uiV1PcbOffset);

    tagPins10Header oHeader;
    memset(&oHeader, 0, sizeof(oHeader));
    oHeader.uiStructRevision = PINS10_HEADER_REVISION;
    // The old date packs year-2000 in bits 9-15 and the day in bits 0-4. Boards of that time took
    // the month from the low four bits as well; the converted date keeps that reading.
    oHeader.uiReleaseDate = (((MUINT32)(uiOldDate >> 9) + msc_uiV1BaseYear) << 16) |
                            ((MUINT32)(uiOldDate & 0x0F) << 8) | (MUINT32)(uiOldDate & 0x1F);
    memcpy(oHeader.szSerialNumber, puiHeaderData + msc_uiV1SerialOffset, sizeof(oHeader.szSerialNumber));
    oHeader.uiPcbInfo.uPcbNum = (MUINT32)(uiOldPcb >> 4) + msc_uiV1BasePcbNumber;
    oHeader.uiPcbInfo.uRev = uiOldPcb & 0x0F;
    oHeader.uiPcbInfo.uSubRev = 0;
    memcpy(oHeader.szPartListInfo, puiHeaderData + msc_uiV1PartListOffset, msc_uiV1PartListSize);
    memcpy(oHeader.szProductSku, puiHeaderData + msc_uiV1SkuOffset, msc_uiV1SkuSize);

    // The block keeps its 44-byte length: the last 8 SKU bytes of the new layout have no room.
    memcpy(puiHeaderData, &oHeader, PINS10_HEADER_MIN_SIZE);
}
