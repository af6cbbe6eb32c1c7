// Block walker and validator of the Pins10 board parameter block.
#include "XPinS10.h"

#include <cstring>

#include "QelAssert.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_NEXT_NULL_BLOCK       = 30,
    REPORT_NEXT_BAD_BLOCK_SHAPE  = 37,
    REPORT_GET_DATA_NULL_BLOCK   = 50,
    REPORT_COPY_BAD_DESTINATION  = 79,
    REPORT_VALIDATE_TOO_SMALL    = 95,
    REPORT_VALIDATE_NO_HEADER    = 100,
    REPORT_VALIDATE_BROKEN_CHAIN = 111,
};

constexpr MUINT32 msc_uiBlockHeaderSize = sizeof(tagPinsBlock);
constexpr MUINT32 msc_uiListHeaderSize = sizeof(tagPinsBlockList);


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

const MUINT8* Pins10NextBlockHeader(const MUINT8* puiBlock)
{
    if (puiBlock == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NEXT_NULL_BLOCK);
        return nullptr;
    }
    const MUINT16 uiSignature = Pins10BlockSignature(puiBlock);
    const MUINT16 uiLength = Pins10BlockLength(puiBlock);
    if (Pins10CheckBlockShape(uiSignature, uiLength) != PINS10_BLOCK_NEXT)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NEXT_BAD_BLOCK_SHAPE);
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
        QEL_ASSERT_REPORT_AT(REPORT_GET_DATA_NULL_BLOCK);
        return nullptr;
    }
    const MUINT8* puiFound = puiBlock;
    while (puiFound != nullptr && ((uiSignature ^ Pins10BlockSignature(puiFound)) & PINS10_SIGNATURE_KIND_MASK) != 0)
        puiFound = Pins10NextBlockHeader(puiFound);
    if (puiFound == nullptr)
        return nullptr;

    if ((Pins10BlockSignature(puiFound) & PINS10_SIGNATURE_LIST_FLAG) == 0)
    {
        if (puiSize)
            *puiSize = Pins10BlockLength(puiFound);
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
        QEL_ASSERT_REPORT_AT(REPORT_COPY_BAD_DESTINATION);
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
        QEL_ASSERT_REPORT_AT(REPORT_VALIDATE_TOO_SMALL);
        return 0;
    }
    if ((Pins10BlockSignature(puiBlock) & PINS10_SIGNATURE_KIND_MASK) != PINS10_SIGNATURE_HEADER)
    {
        QEL_ASSERT_REPORT_AT(REPORT_VALIDATE_NO_HEADER);
        return 0;
    }
    // The older header is converted before anything reads it, but only when its data lies in the
    // buffer.
    const MUINT32 uiHeaderLength = Pins10BlockLength(puiBlock);
    if (uiHeaderLength <= uiSize - msc_uiBlockHeaderSize)
        ConvertPInS10HeaderRev1(puiBlock + msc_uiBlockHeaderSize, uiHeaderLength);

    if (Pins10WalkChain(puiBlock, uiSize, nullptr) != PINS10_BLOCK_END)
    {
        QEL_ASSERT_REPORT_AT(REPORT_VALIDATE_BROKEN_CHAIN);
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
