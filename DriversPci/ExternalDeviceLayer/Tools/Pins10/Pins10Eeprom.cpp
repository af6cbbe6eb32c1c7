// Finding the parameter block in a raw EEPROM image.
#include "Pins10Eeprom.h"

#include <cstdio>

#include "Pins10Json.h"
#include "XPins10Types.h"

namespace
{
std::string Reason(const char* pszFormat, unsigned uiA, unsigned uiB = 0)
{
    char szText[160];
    snprintf(szText, sizeof(szText), pszFormat, uiA, uiB);
    return szText;
}

// The address just past the end block of the chain that starts at uiStart. The builder reads
// block headers one by one and stops at the end block; every header must end within the first
// 8024 bytes, and a length of 0 or 0xFFFF means an erased or broken chain. False with the reason
// otherwise.
bool FindChainEnd(const std::vector<MUINT8>& rauiImage, MUINT32 uiStart, MUINT32& ruiEnd, std::string& rszReason)
{
    MUINT32 uiAddress = uiStart;
    const size_t uiImageSize = rauiImage.size();
    for (;;)
    {
        if (uiAddress + sizeof(tagPinsBlock) > uiImageSize)
        {
            rszReason = Reason("block header at 0x%04X lies outside the image", uiAddress);
            return false;
        }
        const MUINT16 uiSignature = Pins10BlockSignature(&rauiImage[uiAddress]);
        const MUINT32 uiLength = Pins10BlockLength(&rauiImage[uiAddress]);
        const MUINT32 uiHeaderAddress = uiAddress;
        uiAddress += sizeof(tagPinsBlock);
        if (uiLength == 0 || uiLength == PINS10_EEPROM_BLANK_LENGTH)
        {
            rszReason = Reason("block at 0x%04X has length 0x%04X", uiHeaderAddress, uiLength);
            return false;
        }
        if (uiAddress > PINS10_EEPROM_BLOCK_LIMIT)
        {
            rszReason = Reason("block header at 0x%04X ends beyond address %u", uiHeaderAddress, PINS10_EEPROM_BLOCK_LIMIT);
            return false;
        }
        uiAddress += uiLength;
        if (uiSignature == PINS10_SIGNATURE_END)
            break;
    }
    ruiEnd = uiAddress;
    return true;
}
}  // namespace

MBOOL32 Pins10ExtractFromEeprom(const std::vector<MUINT8>& rauiImage, std::vector<MUINT8>& rauiBlock,
                                std::string& rszReason)
{
    rauiBlock.clear();
    const size_t uiImageSize = rauiImage.size();
    if (uiImageSize < PINS10_EEPROM_POINTER_ADDRESS + 2)
    {
        rszReason = Reason("an image of %u bytes ends before the block pointer at 0x%X", (unsigned)uiImageSize,
                           PINS10_EEPROM_POINTER_ADDRESS);
        return 0;
    }
    const MUINT32 uiStart = Pins10ReadU16(&rauiImage[PINS10_EEPROM_POINTER_ADDRESS]);
    if (uiStart + 2 > uiImageSize || Pins10ReadU16(&rauiImage[uiStart]) != PINS10_SIGNATURE_HEADER)
    {
        rszReason = Reason("no parameter block: the pointer names address 0x%04X, which does not hold the header "
                           "signature 0x412E",
                           uiStart);
        return 0;
    }
    MUINT32 uiAddress = 0;
    if (!FindChainEnd(rauiImage, uiStart, uiAddress, rszReason))
        return 0;
    if (uiAddress > uiImageSize)
    {
        rszReason = Reason("the block chain from 0x%04X runs past the end of the image", uiStart);
        return 0;
    }
    rauiBlock.assign(rauiImage.begin() + uiStart, rauiImage.begin() + uiAddress);
    std::string szInvalid;
    if (!Pins10Diagnose(rauiBlock.data(), (MUINT32)rauiBlock.size(), szInvalid))
    {
        rszReason = Reason("the block at 0x%04X is not valid: ", uiStart) + szInvalid;
        rauiBlock.clear();
        return 0;
    }
    return 1;
}
