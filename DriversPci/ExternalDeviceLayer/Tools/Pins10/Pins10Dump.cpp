// Human-readable views of a parameter block.
#include "Pins10Dump.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Pins10Layout.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

namespace
{
constexpr MUINT32 msc_uiBlockHeaderSize = sizeof(tagPinsBlock);
constexpr MUINT32 msc_uiListHeaderSize = sizeof(tagPinsBlockList);
constexpr int msc_iNameWidth = 22;

std::string Hex(MUINT64 uiValue, int iDigits)
{
    char szText[24];
    snprintf(szText, sizeof(szText), "0x%0*llX", iDigits, (unsigned long long)uiValue);
    return szText;
}

MUINT64 ReadLe(const MUINT8* puiData, MUINT32 uiWidth)
{
    MUINT64 uiValue = 0;
    for (MUINT32 i = 0; i < uiWidth; ++i)
        uiValue |= (MUINT64)puiData[i] << (8 * i);
    return uiValue;
}

std::string TextValue(const MUINT8* puiText, MUINT32 uiSize)
{
    std::string szText = "\"";
    MUINT32 uiLength = 0;
    while (uiLength < uiSize && puiText[uiLength] != 0)
        ++uiLength;
    for (MUINT32 i = 0; i < uiLength; ++i)
    {
        if (puiText[i] >= 0x20 && puiText[i] <= 0x7E && puiText[i] != '"' && puiText[i] != '\\')
            szText += (char)puiText[i];
        else
            szText += "\\x" + Hex(puiText[i], 2).substr(2);
    }
    szText += "\"";
    for (MUINT32 i = uiLength; i < uiSize; ++i)
    {
        if (puiText[i] != 0)
            return szText + " (bytes after the terminator are not zero)";
    }
    return uiLength == uiSize ? szText + " (no terminator)" : szText;
}

std::string NumberValue(MUINT64 uiValue, MUINT32 uiWidth, EPins10FieldShow eShow)
{
    switch (eShow)
    {
    case PINS10_SHOW_HEX:
    case PINS10_SHOW_CLOCK_CONTROL:
        return Hex(uiValue, (int)(2 * uiWidth));
    default:
        return std::to_string(uiValue);
    }
}

std::string FieldValue(const SPins10Field& roField, const MUINT8* puiRecord)
{
    const MUINT8* puiField = puiRecord + roField.uiOffset;
    switch (roField.eType)
    {
    case PINS10_FIELD_TEXT:
        return TextValue(puiField, roField.uiCount);
    case PINS10_FIELD_DATE:
        return Pins10DateText(Pins10ReadU32(puiField)) + " (" + Hex(Pins10ReadU32(puiField), 8) + ")";
    case PINS10_FIELD_PCB_INFO:
    {
        tagPinsHeaderPcbInfo oPcb;
        oPcb.uiValue = Pins10ReadU32(puiField);
        return Hex(oPcb.uiValue, 8) + " (PCB " + std::to_string(oPcb.uPcbNum) + ", revision " +
               std::to_string(oPcb.uRev) + ", sub-revision " + std::to_string(oPcb.uSubRev) + ")";
    }
    default:
        break;
    }
    const MUINT32 uiWidth = Pins10FieldElementSize(roField.eType);
    std::string szValues, szSources;
    for (MUINT32 i = 0; i < roField.uiCount; ++i)
    {
        const MUINT64 uiValue = ReadLe(puiField + i * uiWidth, uiWidth);
        // Appended piece by piece: g++ 12 at -O3 wrongly sees an overlapping copy in a text
        // literal + std::string (-Wrestrict), which stops a Release build.
        if (i != 0)
        {
            szValues += ' ';
            szSources += ' ';
        }
        szValues += NumberValue(uiValue, uiWidth, roField.eShow);
        szSources += Pins10ClockSourceName((MUINT32)uiValue);
    }
    if (roField.eShow == PINS10_SHOW_CLOCK_CONTROL)
        return szValues + (roField.uiCount == 1 ? " (source " : " (sources ") + szSources + ")";
    if (roField.eShow == PINS10_SHOW_KHZ)
        return szValues + " kHz";
    if (roField.eShow == PINS10_SHOW_MEMORY_CODES)
        return szValues + " (" + std::to_string(XPins10Helper::CalcMemorySizeInMB(puiField)) + " MiB)";
    return szValues;
}

void DumpRecord(const SPins10Kind& roKind, const MUINT8* puiRecord, std::ostream& roOut)
{
    for (MUINT32 i = 0; i < roKind.uiFieldCount; ++i)
    {
        const SPins10Field& roField = roKind.paoFields[i];
        char szLine[96];
        snprintf(szLine, sizeof(szLine), "          +0x%02X %-*s ", roField.uiOffset, msc_iNameWidth, roField.pszName);
        roOut << szLine << FieldValue(roField, puiRecord) << "\n";
    }
}

void DumpBytes(const MUINT8* puiData, MUINT32 uiSize, std::ostream& roOut)
{
    for (MUINT32 uiLine = 0; uiLine < uiSize; uiLine += 16)
    {
        char szLine[32];
        snprintf(szLine, sizeof(szLine), "          +0x%02X", uiLine);
        roOut << szLine;
        for (MUINT32 i = uiLine; i < uiSize && i < uiLine + 16; ++i)
            roOut << " " << Hex(puiData[i], 2).substr(2);
        roOut << "\n";
    }
}

// An older header is shown as the validation converts it.
bool DumpLegacyHeader(const MUINT8* puiData, MUINT32 uiLength, std::ostream& roOut)
{
    if (uiLength != PINS10_HEADER_MIN_SIZE || Pins10ReadU16(puiData) != PINS10_HEADER_REVISION_V1)
        return false;
    MUINT8 auiHeader[sizeof(tagPins10Header)] = {};
    memcpy(auiHeader, puiData, uiLength);
    ConvertPInS10HeaderRev1(auiHeader, uiLength);
    roOut << "          older header (revision 0x0A01), read after conversion as:\n";
    DumpRecord(*Pins10FindKindBySignature(PINS10_SIGNATURE_HEADER), auiHeader, roOut);
    return true;
}

void DumpBlock(const MUINT8* puiBlock, MUINT32 uiOffset, std::ostream& roOut)
{
    const MUINT16 uiSignature = Pins10BlockSignature(puiBlock);
    const MUINT32 uiLength = Pins10BlockLength(puiBlock);
    const SPins10Kind* poKind = Pins10FindKindBySignature(uiSignature);
    const bool bList = (uiSignature & PINS10_SIGNATURE_LIST_FLAG) != 0;
    const MUINT8* puiData = puiBlock + msc_uiBlockHeaderSize;

    roOut << Hex(uiOffset, 4) << "  " << (poKind ? poKind->pszTitle : "unknown kind") << " " << Hex(uiSignature, 4);
    if (bList && uiLength >= msc_uiListHeaderSize - msc_uiBlockHeaderSize)
    {
        const MUINT32 uiNbItems = Pins10ReadU16(puiBlock + offsetof(tagPinsBlockList, uiNbItems));
        const MUINT32 uiItemSize = Pins10ReadU16(puiBlock + offsetof(tagPinsBlockList, uiItemSize));
        const MUINT32 uiPresent = Pins10ListItemCount(puiBlock);
        roOut << ", " << uiNbItems << (uiNbItems == 1 ? " item" : " items") << " of " << uiItemSize << " bytes";
        if (uiPresent != uiNbItems)
            roOut << " (only " << uiPresent << " lie inside the block)";
        roOut << "\n";
        const bool bKnownLayout = poKind && uiItemSize == poKind->uiRecordSize;
        for (MUINT32 i = 0; i < uiPresent; ++i)
        {
            const MUINT32 uiItemOffset = uiOffset + msc_uiListHeaderSize + i * uiItemSize;
            roOut << "  " << Hex(uiItemOffset, 4) << "  [" << i << "]\n";
            if (bKnownLayout)
                DumpRecord(*poKind, puiBlock + msc_uiListHeaderSize + i * uiItemSize, roOut);
            else
                DumpBytes(puiBlock + msc_uiListHeaderSize + i * uiItemSize, uiItemSize, roOut);
        }
        return;
    }
    roOut << ", " << uiLength << " bytes\n";
    if (poKind && !bList && uiLength == poKind->uiRecordSize)
        DumpRecord(*poKind, puiData, roOut);
    else if (!(poKind && poKind->uiSignature == PINS10_SIGNATURE_HEADER && DumpLegacyHeader(puiData, uiLength, roOut)))
        DumpBytes(puiData, uiLength, roOut);
}

bool IsScalar(const CPins10Json& roValue) { return !roValue.is_object() && !roValue.is_array(); }

// One line: {"a": 1, "b": [1, 2]}.
std::string InlineJson(const CPins10Json& roValue)
{
    if (IsScalar(roValue))
        return roValue.dump();
    std::string szOut = roValue.is_array() ? "[" : "{";
    for (auto oItem = roValue.begin(); oItem != roValue.end(); ++oItem)
    {
        szOut += oItem == roValue.begin() ? "" : ", ";
        if (roValue.is_object())
            szOut += CPins10Json(oItem.key()).dump() + ": ";
        szOut += InlineJson(oItem.value());
    }
    return szOut + (roValue.is_array() ? "]" : "}");
}

// Arrays of numbers or texts, and small records such as the PCB info, stay on one line.
bool FitsOnOneLine(const CPins10Json& roValue)
{
    if (IsScalar(roValue) || roValue.empty())
        return true;
    if (!std::all_of(roValue.begin(), roValue.end(), IsScalar))
        return false;
    return roValue.is_array() || InlineJson(roValue).size() < 60;
}

void WriteJson(const CPins10Json& roValue, int iIndent, std::string& rszOut)
{
    if (FitsOnOneLine(roValue))
    {
        rszOut += InlineJson(roValue);
        return;
    }
    const std::string szPad(2 * (iIndent + 1), ' ');
    rszOut += roValue.is_array() ? "[\n" : "{\n";
    for (auto oItem = roValue.begin(); oItem != roValue.end(); ++oItem)
    {
        rszOut += oItem == roValue.begin() ? "" : ",\n";
        rszOut += szPad;
        if (roValue.is_object())
        {
            rszOut += CPins10Json(oItem.key()).dump();
            rszOut += ": ";
        }
        WriteJson(oItem.value(), iIndent + 1, rszOut);
    }
    // Appended piece by piece, for the same g++ 12 -O3 warning as in FieldValue.
    rszOut += '\n';
    rszOut.append(2 * iIndent, ' ');
    rszOut += roValue.is_array() ? ']' : '}';
}
}  // namespace

MBOOL32 Pins10DumpText(const MUINT8* puiBlock, MUINT32 uiSize, std::ostream& roOut, std::string& rszReason)
{
    const MBOOL32 bValid = Pins10Diagnose(puiBlock, uiSize, rszReason);
    roOut << "Parameter block of " << uiSize << " bytes\n";
    MUINT32 uiOffset = 0;
    for (;;)
    {
        const EPins10BlockCheck eCheck = Pins10CheckBlock(puiBlock, uiSize, uiOffset);
        if (eCheck != PINS10_BLOCK_NEXT && eCheck != PINS10_BLOCK_END)
            break;   // the reason names this block
        DumpBlock(puiBlock + uiOffset, uiOffset, roOut);
        uiOffset += msc_uiBlockHeaderSize + Pins10BlockLength(puiBlock + uiOffset);
        if (eCheck == PINS10_BLOCK_END)
        {
            if (uiOffset < uiSize)
                roOut << Hex(uiOffset, 4) << "  " << uiSize - uiOffset << " bytes after the end block\n";
            break;
        }
    }
    roOut << (bValid ? "valid\n" : "not valid: " + rszReason + "\n");
    return bValid;
}

std::string Pins10JsonText(const CPins10Json& roJson)
{
    std::string szOut;
    WriteJson(roJson, 0, szOut);
    return szOut + "\n";
}
