// JSON descriptions of Pins10 parameter blocks, both ways.
#include "Pins10Json.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "Pins10Layout.h"
#include "XPins10Chain.h"

namespace
{
constexpr MUINT32 msc_uiBlockHeaderSize = sizeof(tagPinsBlock);
constexpr MUINT32 msc_uiListHeaderSize = sizeof(tagPinsBlockList);
constexpr MUINT32 msc_uiMaxBlockData = 0xFFFF;

// ---------------------------------------------------------------------------------------------
// Small conversions
// ---------------------------------------------------------------------------------------------

std::string Format(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* pszFormat, ...)
{
    char szText[256];
    va_list oArgs;
    va_start(oArgs, pszFormat);
    vsnprintf(szText, sizeof(szText), pszFormat, oArgs);
    va_end(oArgs);
    return szText;
}

std::string HexBytes(const MUINT8* puiData, MUINT32 uiSize)
{
    static const char sc_szDigits[] = "0123456789abcdef";
    std::string szHex;
    szHex.reserve(uiSize * 2);
    for (MUINT32 i = 0; i < uiSize; ++i)
    {
        szHex += sc_szDigits[puiData[i] >> 4];
        szHex += sc_szDigits[puiData[i] & 0xF];
    }
    return szHex;
}

int HexDigit(char cDigit)
{
    if (cDigit >= '0' && cDigit <= '9')
        return cDigit - '0';
    if (cDigit >= 'a' && cDigit <= 'f')
        return cDigit - 'a' + 10;
    if (cDigit >= 'A' && cDigit <= 'F')
        return cDigit - 'A' + 10;
    return -1;
}

// Hex digits in pairs; blanks between pairs are allowed for readability.
MBOOL32 ParseHexBytes(const std::string& rszHex, std::vector<MUINT8>& rauiBytes)
{
    rauiBytes.clear();
    int iHigh = -1;
    for (char cDigit : rszHex)
    {
        if (cDigit == ' ' || cDigit == '\n' || cDigit == '\t')
        {
            if (iHigh >= 0)
                return 0;
            continue;
        }
        const int iValue = HexDigit(cDigit);
        if (iValue < 0)
            return 0;
        if (iHigh < 0)
            iHigh = iValue;
        else
        {
            rauiBytes.push_back((MUINT8)(iHigh << 4 | iValue));
            iHigh = -1;
        }
    }
    return iHigh < 0;
}

// A number as JSON: unsigned integer, or a string in hexadecimal ("0x...") or decimal.
MBOOL32 ReadNumber(const CPins10Json& roValue, MUINT64 uiMax, MUINT64& ruiValue)
{
    if (roValue.is_number_unsigned())
        ruiValue = roValue.get<MUINT64>();
    else if (roValue.is_number_integer() && roValue.get<MINT64>() >= 0)
        ruiValue = (MUINT64)roValue.get<MINT64>();
    else if (roValue.is_string())
    {
        const std::string szText = roValue.get<std::string>();
        const bool bHex = szText.size() > 2 && szText[0] == '0' && (szText[1] == 'x' || szText[1] == 'X');
        const size_t uiStart = bHex ? 2 : 0;
        if (szText.size() == uiStart || szText.size() - uiStart > 20)
            return 0;
        ruiValue = 0;
        for (size_t i = uiStart; i < szText.size(); ++i)
        {
            const int iDigit = bHex ? HexDigit(szText[i]) : (szText[i] >= '0' && szText[i] <= '9' ? szText[i] - '0' : -1);
            if (iDigit < 0)
                return 0;
            const MUINT64 uiBase = bHex ? 16 : 10;
            if (ruiValue > (~(MUINT64)0 - (MUINT64)iDigit) / uiBase)
                return 0;
            ruiValue = ruiValue * uiBase + (MUINT64)iDigit;
        }
    }
    else
        return 0;
    return ruiValue <= uiMax;
}

MUINT64 ReadLe(const MUINT8* puiData, MUINT32 uiWidth)
{
    MUINT64 uiValue = 0;
    for (MUINT32 i = 0; i < uiWidth; ++i)
        uiValue |= (MUINT64)puiData[i] << (8 * i);
    return uiValue;
}

void WriteLe(MUINT8* puiData, MUINT32 uiWidth, MUINT64 uiValue)
{
    for (MUINT32 i = 0; i < uiWidth; ++i)
        puiData[i] = (MUINT8)(uiValue >> (8 * i));
}

MUINT64 WidthMax(MUINT32 uiWidth) { return uiWidth >= 8 ? ~(MUINT64)0 : ((MUINT64)1 << (8 * uiWidth)) - 1; }

// Printable ASCII followed only by zeros: shown as a plain string.
bool IsPlainText(const MUINT8* puiText, MUINT32 uiSize)
{
    MUINT32 i = 0;
    while (i < uiSize && puiText[i] >= 0x20 && puiText[i] <= 0x7E)
        ++i;
    for (; i < uiSize; ++i)
    {
        if (puiText[i] != 0)
            return false;
    }
    return true;
}

bool IsCommentKey(const std::string& rszKey) { return rszKey == "comment"; }

// ---------------------------------------------------------------------------------------------
// Record <-> JSON object, field by field
// ---------------------------------------------------------------------------------------------

CPins10Json EncodeNumber(MUINT64 uiValue, MUINT32 uiWidth, EPins10FieldShow eShow)
{
    if (eShow == PINS10_SHOW_HEX || eShow == PINS10_SHOW_CLOCK_CONTROL)
        return Pins10HexNumber(uiValue, uiWidth);
    return uiValue;
}

CPins10Json EncodeField(const SPins10Field& roField, const MUINT8* puiRecord)
{
    const MUINT8* puiField = puiRecord + roField.uiOffset;
    switch (roField.eType)
    {
    case PINS10_FIELD_TEXT:
        if (IsPlainText(puiField, roField.uiCount))
            return std::string((const char*)puiField, strnlen((const char*)puiField, roField.uiCount));
        return CPins10Json{{"hex", HexBytes(puiField, roField.uiCount)}};
    case PINS10_FIELD_DATE:
        return Pins10DateText(Pins10ReadU32(puiField));
    case PINS10_FIELD_PCB_INFO:
    {
        tagPinsHeaderPcbInfo oPcb;
        oPcb.uiValue = Pins10ReadU32(puiField);
        return CPins10Json{{"uPcbNum", (MUINT32)oPcb.uPcbNum}, {"uRev", (MUINT32)oPcb.uRev}, {"uSubRev", (MUINT32)oPcb.uSubRev}};
    }
    default:
        break;
    }
    const MUINT32 uiWidth = Pins10FieldElementSize(roField.eType);
    if (roField.uiCount == 1)
        return EncodeNumber(ReadLe(puiField, uiWidth), uiWidth, roField.eShow);
    CPins10Json oArray = CPins10Json::array();
    for (MUINT32 i = 0; i < roField.uiCount; ++i)
        oArray.push_back(EncodeNumber(ReadLe(puiField + i * uiWidth, uiWidth), uiWidth, roField.eShow));
    return oArray;
}

MBOOL32 DecodeDate(const CPins10Json& roValue, MUINT32& ruiDate)
{
    if (roValue.is_string() && roValue.get<std::string>().find('-') != std::string::npos)
    {
        unsigned int uiYear = 0, uiMonth = 0, uiDay = 0;
        char cExtra = 0;
        if (sscanf(roValue.get<std::string>().c_str(), "%u-%u-%u%c", &uiYear, &uiMonth, &uiDay, &cExtra) != 3 ||
            uiYear > 0xFFFF || uiMonth > 0xFF || uiDay > 0xFF)
            return 0;
        ruiDate = (uiYear << 16) | (uiMonth << 8) | uiDay;
        return 1;
    }
    MUINT64 uiValue = 0;
    if (!ReadNumber(roValue, 0xFFFFFFFFu, uiValue))
        return 0;
    ruiDate = (MUINT32)uiValue;
    return 1;
}

MBOOL32 DecodePcbInfo(const CPins10Json& roValue, MUINT32& ruiPcbInfo, std::string& rszError)
{
    if (!roValue.is_object())
    {
        MUINT64 uiValue = 0;
        if (!ReadNumber(roValue, 0xFFFFFFFFu, uiValue))
            return 0;
        ruiPcbInfo = (MUINT32)uiValue;
        return 1;
    }
    struct SPart
    {
        const char* pszName;
        MUINT32 uiShift;
        MUINT64 uiMax;
    };
    static const SPart sc_aoParts[] = {{"uPcbNum", 16, 0xFFFF}, {"uRev", 8, 0xFF}, {"uSubRev", 0, 0xFF}};
    ruiPcbInfo = 0;
    for (const auto& roItem : roValue.items())
    {
        const SPart* poPart = nullptr;
        for (const SPart& roPart : sc_aoParts)
            poPart = roItem.key() == roPart.pszName ? &roPart : poPart;
        MUINT64 uiValue = 0;
        if (poPart == nullptr || !ReadNumber(roItem.value(), poPart->uiMax, uiValue))
        {
            rszError = "uiPcbInfo: bad or unknown part '" + roItem.key() + "'";
            return 0;
        }
        ruiPcbInfo |= (MUINT32)uiValue << poPart->uiShift;
    }
    return 1;
}

MBOOL32 DecodeText(const SPins10Field& roField, const CPins10Json& roValue, MUINT8* puiField)
{
    std::vector<MUINT8> auiBytes;
    if (roValue.is_string())
    {
        const std::string szText = roValue.get<std::string>();
        auiBytes.assign(szText.begin(), szText.end());
    }
    else if (!(roValue.is_object() && roValue.size() == 1 && roValue.contains("hex") && roValue["hex"].is_string() &&
               ParseHexBytes(roValue["hex"].get<std::string>(), auiBytes)))
        return 0;
    if (auiBytes.size() > roField.uiCount)
        return 0;
    memcpy(puiField, auiBytes.data(), auiBytes.size());
    return 1;
}

MBOOL32 DecodeField(const SPins10Field& roField, const CPins10Json& roValue, MUINT8* puiRecord, std::string& rszError)
{
    MUINT8* puiField = puiRecord + roField.uiOffset;
    const MUINT32 uiWidth = Pins10FieldElementSize(roField.eType);
    MBOOL32 bOk = 1;
    MUINT32 uiWord = 0;
    switch (roField.eType)
    {
    case PINS10_FIELD_TEXT:
        bOk = DecodeText(roField, roValue, puiField);
        if (!bOk)
            rszError = Format("%s: expected text of at most %u characters or {\"hex\": ...}", roField.pszName,
                              roField.uiCount);
        return bOk;
    case PINS10_FIELD_DATE:
        bOk = DecodeDate(roValue, uiWord);
        break;
    case PINS10_FIELD_PCB_INFO:
        bOk = DecodePcbInfo(roValue, uiWord, rszError);
        break;
    default:
        if (roField.uiCount == 1)
        {
            MUINT64 uiValue = 0;
            bOk = ReadNumber(roValue, WidthMax(uiWidth), uiValue);
            WriteLe(puiField, uiWidth, uiValue);
        }
        else
        {
            bOk = roValue.is_array() && roValue.size() <= roField.uiCount;
            for (MUINT32 i = 0; bOk && i < roValue.size(); ++i)
            {
                MUINT64 uiValue = 0;
                bOk = ReadNumber(roValue[i], WidthMax(uiWidth), uiValue);
                WriteLe(puiField + i * uiWidth, uiWidth, uiValue);
            }
        }
        if (!bOk)
            rszError = Format("%s: expected %s of %u-bit numbers", roField.pszName,
                              roField.uiCount == 1 ? "one" : "an array", 8 * uiWidth);
        return bOk;
    }
    if (!bOk)
    {
        if (rszError.empty())
            rszError = Format("%s: bad value", roField.pszName);
        return 0;
    }
    Pins10WriteU32(puiField, uiWord);
    return 1;
}

const SPins10Field* FindField(const SPins10Kind& roKind, const std::string& rszName)
{
    for (MUINT32 i = 0; i < roKind.uiFieldCount; ++i)
    {
        if (rszName == roKind.paoFields[i].pszName)
            return &roKind.paoFields[i];
    }
    return nullptr;
}

// Reads the fields of one record from a JSON object; aszOtherKeys are allowed and skipped.
MBOOL32 DecodeRecord(const SPins10Kind& roKind, const CPins10Json& roObject, std::initializer_list<const char*> aszOtherKeys,
                     std::vector<MUINT8>& rauiRecord, std::string& rszError)
{
    rauiRecord.assign(roKind.uiRecordSize, 0);
    for (const auto& roItem : roObject.items())
    {
        const std::string& rszKey = roItem.key();
        bool bOther = IsCommentKey(rszKey);
        for (const char* pszOther : aszOtherKeys)
            bOther = bOther || rszKey == pszOther;
        if (bOther)
            continue;
        const SPins10Field* poField = FindField(roKind, rszKey);
        if (poField == nullptr)
        {
            rszError = "unknown field '" + rszKey + "' for kind '" + roKind.pszKey + "'";
            return 0;
        }
        if (!DecodeField(*poField, roItem.value(), rauiRecord.data(), rszError))
            return 0;
    }
    return 1;
}

CPins10Json EncodeRecord(const SPins10Kind& roKind, const MUINT8* puiRecord)
{
    CPins10Json oObject = CPins10Json::object();
    for (MUINT32 i = 0; i < roKind.uiFieldCount; ++i)
        oObject[roKind.paoFields[i].pszName] = EncodeField(roKind.paoFields[i], puiRecord);
    return oObject;
}

// ---------------------------------------------------------------------------------------------
// Blocks
// ---------------------------------------------------------------------------------------------

bool IsListSignature(MUINT16 uiSignature) { return (uiSignature & PINS10_SIGNATURE_LIST_FLAG) != 0; }

// Whether a block is written field by field: a known kind with its usual signature and length.
bool IsStructured(const SPins10Kind* poKind, const MUINT8* puiBlock)
{
    const MUINT16 uiSignature = Pins10BlockSignature(puiBlock);
    const MUINT32 uiLength = Pins10BlockLength(puiBlock);
    if (poKind == nullptr || uiSignature != poKind->uiSignature)
        return false;
    if (!IsListSignature(uiSignature))
        return uiLength == poKind->uiRecordSize;
    if (uiLength < msc_uiListHeaderSize - msc_uiBlockHeaderSize)
        return false;
    const MUINT32 uiNbItems = Pins10ReadU16(puiBlock + offsetof(tagPinsBlockList, uiNbItems));
    const MUINT32 uiItemSize = Pins10ReadU16(puiBlock + offsetof(tagPinsBlockList, uiItemSize));
    return uiItemSize == poKind->uiRecordSize && uiLength == 4 + uiNbItems * uiItemSize;
}

CPins10Json EncodeBlock(const MUINT8* puiBlock)
{
    const MUINT16 uiSignature = Pins10BlockSignature(puiBlock);
    const MUINT32 uiLength = Pins10BlockLength(puiBlock);
    const SPins10Kind* poKind = Pins10FindKindBySignature(uiSignature);
    CPins10Json oBlock = CPins10Json::object();
    if (poKind != nullptr)
        oBlock["kind"] = poKind->pszKey;
    if (!IsStructured(poKind, puiBlock))
    {
        oBlock["signature"] = Pins10HexNumber(uiSignature, 2);
        oBlock["data"] = HexBytes(puiBlock + msc_uiBlockHeaderSize, uiLength);
        return oBlock;
    }
    if (!IsListSignature(uiSignature))
    {
        oBlock.update(EncodeRecord(*poKind, puiBlock + msc_uiBlockHeaderSize));
        return oBlock;
    }
    const MUINT32 uiNbItems = Pins10ReadU16(puiBlock + offsetof(tagPinsBlockList, uiNbItems));
    CPins10Json oItems = CPins10Json::array();
    for (MUINT32 i = 0; i < uiNbItems; ++i)
        oItems.push_back(EncodeRecord(*poKind, puiBlock + msc_uiListHeaderSize + i * poKind->uiRecordSize));
    oBlock["items"] = oItems;
    return oBlock;
}

void AppendBlock(std::vector<MUINT8>& rauiOut, MUINT16 uiSignature, const std::vector<MUINT8>& rauiData)
{
    MUINT8 auiHeader[msc_uiBlockHeaderSize];
    Pins10WriteU16(auiHeader, uiSignature);
    Pins10WriteU16(auiHeader + 2, (MUINT16)rauiData.size());
    rauiOut.insert(rauiOut.end(), auiHeader, auiHeader + sizeof(auiHeader));
    rauiOut.insert(rauiOut.end(), rauiData.begin(), rauiData.end());
}

MBOOL32 DecodeListItems(const SPins10Kind& roKind, const CPins10Json& roItems, std::vector<MUINT8>& rauiData,
                        std::string& rszError)
{
    if (!roItems.is_array())
    {
        rszError = "'items' must be an array";
        return 0;
    }
    rauiData.assign(msc_uiListHeaderSize - msc_uiBlockHeaderSize, 0);
    Pins10WriteU16(rauiData.data(), (MUINT16)roItems.size());
    Pins10WriteU16(rauiData.data() + 2, (MUINT16)roKind.uiRecordSize);
    for (size_t i = 0; i < roItems.size(); ++i)
    {
        std::vector<MUINT8> auiItem;
        if (!roItems[i].is_object() || !DecodeRecord(roKind, roItems[i], {}, auiItem, rszError))
        {
            rszError = Format("item %zu: ", i) + (rszError.empty() ? "must be an object" : rszError);
            return 0;
        }
        rauiData.insert(rauiData.end(), auiItem.begin(), auiItem.end());
    }
    if (roItems.size() > 0xFFFF)
    {
        rszError = "too many items";
        return 0;
    }
    return 1;
}

// The kind a block names (null when it names none) and its signature, given or the kind's usual
// one. False with what is wrong when the two are missing or do not belong together.
bool DecodeBlockIdentity(const CPins10Json& roBlock, const SPins10Kind*& rpoKind, MUINT64& ruiSignature,
                         std::string& rszError)
{
    rpoKind = nullptr;
    if (roBlock.contains("kind"))
    {
        if (roBlock["kind"].is_string())
            rpoKind = Pins10FindKindByKey(roBlock["kind"].get<std::string>().c_str());
        if (rpoKind == nullptr)
        {
            rszError = "unknown kind " + roBlock["kind"].dump();
            return false;
        }
    }
    ruiSignature = rpoKind ? rpoKind->uiSignature : 0;
    if (roBlock.contains("signature") && !ReadNumber(roBlock["signature"], 0xFFFF, ruiSignature))
    {
        rszError = "'signature' must be a 16-bit number";
        return false;
    }
    if (rpoKind == nullptr && !roBlock.contains("signature"))
    {
        rszError = "a block needs a 'kind' or a 'signature'";
        return false;
    }
    if (rpoKind != nullptr && Pins10FindKindBySignature((MUINT16)ruiSignature) != rpoKind)
    {
        rszError = Format("signature 0x%04X does not belong to kind '%s'", (unsigned)ruiSignature, rpoKind->pszKey);
        return false;
    }
    return true;
}

// True with the first key of a block other than its kind, its signature, pszContentKey and
// comments; false when there is none.
bool FindForeignKey(const CPins10Json& roBlock, const char* pszContentKey, std::string& rszKey)
{
    for (const auto& roItem : roBlock.items())
    {
        if (roItem.key() != "kind" && roItem.key() != "signature" && roItem.key() != pszContentKey &&
            !IsCommentKey(roItem.key()))
        {
            rszKey = roItem.key();
            return true;
        }
    }
    return false;
}

MBOOL32 DecodeBlock(const CPins10Json& roBlock, std::vector<MUINT8>& rauiOut, std::string& rszError)
{
    if (!roBlock.is_object())
    {
        rszError = "a block must be an object";
        return 0;
    }
    const SPins10Kind* poKind = nullptr;
    MUINT64 uiSignature = 0;
    if (!DecodeBlockIdentity(roBlock, poKind, uiSignature, rszError))
        return 0;

    std::vector<MUINT8> auiData;
    std::string szKey;
    if (roBlock.contains("data"))
    {
        if (FindForeignKey(roBlock, "data", szKey))
        {
            rszError = "a block given as 'data' takes no field '" + szKey + "'";
            return 0;
        }
        if (!roBlock["data"].is_string() || !ParseHexBytes(roBlock["data"].get<std::string>(), auiData))
        {
            rszError = "'data' must be a string of hex byte pairs";
            return 0;
        }
    }
    else if (poKind == nullptr || uiSignature != poKind->uiSignature)
    {
        rszError = Format("block 0x%04X has no 'data' (fields are read for the usual signature of a kind only)",
                          (unsigned)uiSignature);
        return 0;
    }
    else if (IsListSignature(poKind->uiSignature))
    {
        if (FindForeignKey(roBlock, "items", szKey))
        {
            rszError = "unknown key '" + szKey + "' in a list block (elements go in 'items')";
            return 0;
        }
        if (!DecodeListItems(*poKind, roBlock.contains("items") ? roBlock["items"] : CPins10Json::array(), auiData,
                             rszError))
            return 0;
    }
    else if (!DecodeRecord(*poKind, roBlock, {"kind", "signature"}, auiData, rszError))
        return 0;

    if (auiData.size() > msc_uiMaxBlockData)
    {
        rszError = Format("block data of %zu bytes does not fit a block", auiData.size());
        return 0;
    }
    AppendBlock(rauiOut, (MUINT16)uiSignature, auiData);
    return 1;
}

std::string BlockName(const CPins10Json& roBlock, size_t uiIndex)
{
    if (roBlock.is_object() && roBlock.contains("kind") && roBlock["kind"].is_string())
        return Format("block %zu (%s)", uiIndex, roBlock["kind"].get<std::string>().c_str());
    return Format("block %zu", uiIndex);
}
}  // namespace

// ---------------------------------------------------------------------------------------------

std::string Pins10HexNumber(MUINT64 uiValue, MUINT32 uiWidthInBytes)
{
    return Format("0x%0*llX", (int)(2 * uiWidthInBytes), (unsigned long long)uiValue);
}

std::string Pins10DateText(MUINT32 uiDate)
{
    return Format("%04u-%02u-%02u", uiDate >> 16, (uiDate >> 8) & 0xFF, uiDate & 0xFF);
}

MBOOL32 Pins10Diagnose(const MUINT8* puiBlock, MUINT32 uiSize, std::string& rszReason)
{
    if (puiBlock == nullptr || uiSize < PINS10_MIN_BLOCK_SIZE)
    {
        rszReason = Format("%u bytes is too small for a parameter block (at least %u)", uiSize, PINS10_MIN_BLOCK_SIZE);
        return 0;
    }
    const MUINT16 uiFirst = Pins10ReadU16(puiBlock);
    if ((uiFirst & PINS10_SIGNATURE_KIND_MASK) != PINS10_SIGNATURE_HEADER)
    {
        rszReason = Format("first block has signature 0x%04X, not the header's 0x%04X", uiFirst, PINS10_SIGNATURE_HEADER);
        return 0;
    }
    MUINT32 uiOffset = 0;
    const EPins10BlockCheck eCheck = Pins10WalkChain(puiBlock, uiSize, &uiOffset);
    if (eCheck != PINS10_BLOCK_END)
    {
        rszReason = Format("block at offset 0x%04X: %s", uiOffset, Pins10BlockCheckText(eCheck));
        return 0;
    }
    return 1;
}

MBOOL32 Pins10ParseJson(const std::string& rszText, CPins10Json& roJson, std::string& rszError)
{
    try
    {
        roJson = CPins10Json::parse(rszText);
        return 1;
    }
    catch (const std::exception& roError)
    {
        rszError = roError.what();
        return 0;
    }
}

MBOOL32 Pins10DescriptionToBinary(const CPins10Json& roDescription, std::vector<MUINT8>& rauiBlock,
                                  std::string& rszError)
{
    try
    {
        rauiBlock.clear();
        if (!roDescription.is_object() || !roDescription.contains("blocks") || !roDescription["blocks"].is_array())
        {
            rszError = "a description is an object with a 'blocks' array";
            return 0;
        }
        for (const auto& roItem : roDescription.items())
        {
            if (roItem.key() != "blocks" && roItem.key() != "trailer" && !IsCommentKey(roItem.key()))
            {
                rszError = "unknown key '" + roItem.key() + "' in the description";
                return 0;
            }
        }
        const CPins10Json& roBlocks = roDescription["blocks"];
        for (size_t i = 0; i < roBlocks.size(); ++i)
        {
            std::string szError;
            if (!DecodeBlock(roBlocks[i], rauiBlock, szError))
            {
                rszError = BlockName(roBlocks[i], i) + ": " + szError;
                return 0;
            }
        }
        if (roDescription.contains("trailer"))
        {
            std::vector<MUINT8> auiTrailer;
            if (!roDescription["trailer"].is_string() || !ParseHexBytes(roDescription["trailer"].get<std::string>(), auiTrailer))
            {
                rszError = "'trailer' must be a string of hex byte pairs";
                return 0;
            }
            rauiBlock.insert(rauiBlock.end(), auiTrailer.begin(), auiTrailer.end());
        }
        if (rauiBlock.size() > 0xFFFFFFFFu)
        {
            rszError = "description too large";
            return 0;
        }
        std::string szReason;
        if (!Pins10Diagnose(rauiBlock.data(), (MUINT32)rauiBlock.size(), szReason))
        {
            rszError = "the description does not give a valid parameter block: " + szReason;
            return 0;
        }
        return 1;
    }
    catch (const std::exception& roError)
    {
        rszError = roError.what();
        return 0;
    }
}

MBOOL32 Pins10BinaryToDescription(const MUINT8* puiBlock, MUINT32 uiSize, CPins10Json& roDescription,
                                  std::string& rszError)
{
    try
    {
        MUINT32 uiEndOffset = 0;
        const EPins10BlockCheck eCheck = puiBlock ? Pins10WalkChain(puiBlock, uiSize, &uiEndOffset) : PINS10_BLOCK_HEADER_OUTSIDE;
        if (eCheck != PINS10_BLOCK_END)
        {
            rszError = Format("block at offset 0x%04X: %s", uiEndOffset, Pins10BlockCheckText(eCheck));
            return 0;
        }
        CPins10Json oBlocks = CPins10Json::array();
        MUINT32 uiOffset = 0;
        for (;;)
        {
            oBlocks.push_back(EncodeBlock(puiBlock + uiOffset));
            const MUINT32 uiNext = uiOffset + msc_uiBlockHeaderSize + Pins10BlockLength(puiBlock + uiOffset);
            if (uiOffset == uiEndOffset)
            {
                uiOffset = uiNext;
                break;
            }
            uiOffset = uiNext;
        }
        roDescription = CPins10Json::object();
        roDescription["blocks"] = oBlocks;
        if (uiOffset < uiSize)
            roDescription["trailer"] = HexBytes(puiBlock + uiOffset, uiSize - uiOffset);
        return 1;
    }
    catch (const std::exception& roError)
    {
        rszError = roError.what();
        return 0;
    }
}
