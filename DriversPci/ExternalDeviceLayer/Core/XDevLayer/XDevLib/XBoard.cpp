// XBoard: the board record and the private copy of the board's parameter block.
#include "XBoard.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <new>

#include "QelAssert.h"
#include "QelTools.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_GET_TEXT_NULL_OUTPUT         = 50,
    REPORT_SET_TEXT_NO_SOURCE           = 66,
    REPORT_READ_PINS_NO_DATA            = 152,
    REPORT_READ_PINS_NO_MEMORY          = 160,
    REPORT_READ_PINS_INVALID            = 166,
    REPORT_FILL_NO_CPU_MEMORY_OR_HEADER = 184,
    REPORT_FILL_NO_FACTORY_OPTIONS      = 195,
    REPORT_FILL_NAME_OR_SERIAL          = 211,
    REPORT_FILL_PCB_NUMBER              = 227,
    REPORT_STORE_PINS_NO_DATA           = 246,
};

const char msc_szUnknown[] = "Unknown";

// Bytes of the header texts that the record takes over.
constexpr unsigned int msc_uiHeaderTextLength = 16;

MUINT32 Bit0(int iValue) { return (MUINT32)iValue & 1u; }
}  // namespace

XBoard::XBoard() : m_puiPinsData(nullptr), m_uiPinsDataSize(0)
{
    memset(&m_oBoardInfo, 0, sizeof(m_oBoardInfo));
    m_oBoardInfo.uiSize = sizeof(m_oBoardInfo);
    for (LSTR64* pszText : {&m_oBoardInfo.szProductName, &m_oBoardInfo.szSerialNumber, &m_oBoardInfo.szPcbNumber,
                            &m_oBoardInfo.szFirmwareVersion})
        memcpy(*pszText, msc_szUnknown, sizeof(msc_szUnknown));
}

XBoard::XBoard(const tagLBoard_Info& roBoardInfo) : m_puiPinsData(nullptr), m_uiPinsDataSize(0)
{
    memcpy(&m_oBoardInfo, &roBoardInfo, sizeof(m_oBoardInfo));
}

XBoard::~XBoard() { delete[] m_puiPinsData; }

void XBoard::GetBoardInfo(tagLBoard_Info& roBoardInfo) const { memcpy(&roBoardInfo, &m_oBoardInfo, sizeof(roBoardInfo)); }

void XBoard::SetBoardInfo(const tagLBoard_Info& roBoardInfo) { memcpy(&m_oBoardInfo, &roBoardInfo, sizeof(m_oBoardInfo)); }

// ---- Texts

MINT32 XBoard::GetText(const LSTR64& rszField, char* pszOut) const
{
    if (pszOut == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_GET_TEXT_NULL_OUTPUT);
        return -1;
    }
    // A field written with 64 raw bytes has no terminator: terminate a copy so that the string
    // copy never reads past the field.
    char szField[msc_uiTextSize + 1];
    memcpy(szField, rszField, msc_uiTextSize);
    szField[msc_uiTextSize] = '\0';
    QelTools_strcpy_s(pszOut, msc_uiTextSize, szField);
    return 0;
}

MINT32 XBoard::SetText(LSTR64& rszField, unsigned int uiLength, const void* pvSource)
{
    if (uiLength == 0 || pvSource == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SET_TEXT_NO_SOURCE);
        return -1;
    }
    memcpy(rszField, pvSource, uiLength < msc_uiTextSize ? uiLength : msc_uiTextSize);
    return 0;
}

MINT32 XBoard::GetProductName(char* pszName) const { return GetText(m_oBoardInfo.szProductName, pszName); }
MINT32 XBoard::GetSerialNumber(char* pszSerial) const { return GetText(m_oBoardInfo.szSerialNumber, pszSerial); }
MINT32 XBoard::GetPcbNumber(char* pszPcbNumber) const { return GetText(m_oBoardInfo.szPcbNumber, pszPcbNumber); }
MINT32 XBoard::GetFirmwareVersion(char* pszVersion) const { return GetText(m_oBoardInfo.szFirmwareVersion, pszVersion); }

MINT32 XBoard::SetProductName(unsigned int uiLength, const unsigned char* puiName)
{
    return SetText(m_oBoardInfo.szProductName, uiLength, puiName);
}

MINT32 XBoard::SetSerialNumber(unsigned int uiLength, const unsigned char* puiSerial)
{
    return SetText(m_oBoardInfo.szSerialNumber, uiLength, puiSerial);
}

MINT32 XBoard::SetPcbNumber(unsigned int uiLength, const char* pszPcbNumber)
{
    return SetText(m_oBoardInfo.szPcbNumber, uiLength, pszPcbNumber);
}

MINT32 XBoard::SetFirmwareVersion(unsigned int uiLength, const char* pszVersion)
{
    return SetText(m_oBoardInfo.szFirmwareVersion, uiLength, pszVersion);
}

// ---- Flags

// Each flag setter keeps only bit 0 of its argument, so 2 stores false.
#define XBOARD_FLAG_SETTER(method, flag)      \
    MINT32 XBoard::method(int iValue)         \
    {                                         \
        m_oBoardInfo.flag = Bit0(iValue);     \
        return 0;                             \
    }

XBOARD_FLAG_SETTER(SetSystemProcessorOnBoard, bIsSystemProcessorOnBoard)
XBOARD_FLAG_SETTER(SetSystemProcessorOnPrimaryBus, bIsSystemProcessorOnPrimaryBus)
XBOARD_FLAG_SETTER(SetExternalProcessorAvailable, bIsExternalProcessorAvailable)
XBOARD_FLAG_SETTER(SetMemoryInitialization, bIsMemoryInitialized)
XBOARD_FLAG_SETTER(SetFactoryOptionsVpeEnabled, bIsAllVPEEnabled)
XBOARD_FLAG_SETTER(SetFactoryOptionsVpcEnabled, bIsAllVPCEnabled)
XBOARD_FLAG_SETTER(SetFactoryOptionsSubFieldEnabled, bIsSubFieldEnabled)
XBOARD_FLAG_SETTER(SetMemoryInterleaveDualMode, bIsMemoryInterleaveDualMode)
XBOARD_FLAG_SETTER(SetEncoderCapable, bIsEncoderCapable)
XBOARD_FLAG_SETTER(SetRgbYuvFullRangeConversion, bIsRgbYuvFullRangeConversion)

#undef XBOARD_FLAG_SETTER

// ---- Limits and connectors

void XBoard::SetEncoderDecoderLimit(MUINT32 uiEncoderLimit, MUINT32 uiDecoderLimit)
{
    m_oBoardInfo.uiEncoderLimit = uiEncoderLimit;
    m_oBoardInfo.uiDecoderLimit = uiDecoderLimit;
}

void XBoard::GetEncoderDecoderLimit(MUINT32& ruiEncoderLimit, MUINT32& ruiDecoderLimit) const
{
    ruiEncoderLimit = m_oBoardInfo.uiEncoderLimit;
    ruiDecoderLimit = m_oBoardInfo.uiDecoderLimit;
}

MINT32 XBoard::AddConnector(XConnector* poConnector) { return m_dapoConnector.Add(poConnector); }

XConnector* XBoard::GetConnector(unsigned int uiIndex) const
{
    if (uiIndex >= GetConnectorCount())
        return nullptr;
    return m_dapoConnector.GetAt((MINT32)uiIndex);
}

MUINT32 XBoard::GetConnectorCount() const { return (MUINT32)m_dapoConnector.GetSize(); }

// ---- Parameter block

MBOOL32 XBoard::ReadPinsData(unsigned int uiSize, const unsigned char* puiPins)
{
    if (uiSize == 0 || puiPins == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_PINS_NO_DATA);
        return 0;
    }
    // Validation rewrites an older header in place, and the caller's block may be constant data:
    // validate and read a private copy. Every accessor below reads that validated copy.
    MUINT8* puiCopy = new (std::nothrow) MUINT8[uiSize];
    if (puiCopy == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_PINS_NO_MEMORY);
        return 0;
    }
    memcpy(puiCopy, puiPins, uiSize);
    MBOOL32 bOk = Pins10Validate(puiCopy, uiSize);
    if (!bOk)
        QEL_ASSERT_REPORT_AT(REPORT_READ_PINS_INVALID);
    else
        bOk = FillFromPins(puiCopy);
    delete[] puiCopy;
    return bOk;
}

MBOOL32 XBoard::FillFromPins(const MUINT8* puiPins)
{
    tagPins10Cpu oCpu;
    tagPins10Mem_v2 oMemory;
    tagPins10Header oHeader;
    memset(&oCpu, 0, sizeof(oCpu));
    memset(&oMemory, 0, sizeof(oMemory));
    memset(&oHeader, 0, sizeof(oHeader));
    if (!XPins10Helper::GetCpuInfo(puiPins, &oCpu) || !XPins10Helper::GetPinsMemoryConfig(puiPins, &oMemory) ||
        !XPins10Helper::GetPinsHeader(puiPins, &oHeader))
    {
        QEL_ASSERT_REPORT_AT(REPORT_FILL_NO_CPU_MEMORY_OR_HEADER);
        return 0;
    }
    SetSystemProcessorOnBoard((oCpu.uiCpuOptions & PINS10_CPU_ON_BOARD) != 0);
    SetSystemProcessorOnPrimaryBus((oCpu.uiCpuOptions & PINS10_CPU_ON_PRIMARY_BUS) != 0);
    SetExternalProcessorAvailable((oCpu.uiCpuOptions & PINS10_CPU_EXTERNAL_AVAILABLE) != 0);

    if (!FillFactoryOptions(puiPins))
        return 0;

    m_oBoardInfo.uiSystemMemorySize = XPins10Helper::CalcMemorySizeInMB(oCpu.auiMemQty);
    m_oBoardInfo.uiLocalMemorySize = XPins10Helper::CalcMemorySizeInMB(oMemory.auiMemQty);
    m_oBoardInfo.uiPcbRev = oHeader.uiPcbInfo.uiValue & 0xFFFF;
    if (!FillHeaderTexts(oHeader))
        return 0;

    m_oBoardInfo.uiChipCount = 1;
    m_oBoardInfo.uiChipIndex = 0;

    tagPins10Limitation oLimitation;
    if (XPins10Helper::GetPinsLimitation(puiPins, &oLimitation))
        SetEncoderDecoderLimit(oLimitation.uiEncoderLimit, oLimitation.uiDecoderLimit);
    else
        SetEncoderDecoderLimit(msc_uiNoLimit, msc_uiNoLimit);
    return 1;
}

MBOOL32 XBoard::FillFactoryOptions(const MUINT8* puiPins)
{
    tagPins10FactoryOptions oOptions;
    memset(&oOptions, 0, sizeof(oOptions));
    if (!XPins10Helper::GetOptInfo(puiPins, &oOptions))
    {
        QEL_ASSERT_REPORT_AT(REPORT_FILL_NO_FACTORY_OPTIONS);
        return 0;
    }
    // The forced global reset (bit 3) is the core initialisation's business, not the record's.
    SetFactoryOptionsVpeEnabled((oOptions.uiFactoryOptions & PINS10_OPTION_ALL_VPE_ENABLED) != 0);
    SetFactoryOptionsVpcEnabled((oOptions.uiFactoryOptions & PINS10_OPTION_ALL_VPC_ENABLED) != 0);
    SetFactoryOptionsSubFieldEnabled((oOptions.uiFactoryOptions & PINS10_OPTION_SUB_FIELD_ENABLED) != 0);
    SetRgbYuvFullRangeConversion((oOptions.uiFactoryOptions & PINS10_OPTION_RGB_YUV_FULL_RANGE) != 0);
    return 1;
}

MBOOL32 XBoard::FillHeaderTexts(const tagPins10Header& roHeader)
{
    if (SetProductName(msc_uiHeaderTextLength, reinterpret_cast<const unsigned char*>(roHeader.szProductSku)) < 0 ||
        SetSerialNumber(msc_uiHeaderTextLength, reinterpret_cast<const unsigned char*>(roHeader.szSerialNumber)) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_FILL_NAME_OR_SERIAL);
        return 0;
    }
    m_oBoardInfo.oPInSReleaseDate.uiDate = roHeader.uiReleaseDate;

    // PCB number from the PCB word read as a date: year-month, and the day when there is one.
    const MUINT32 uiPcbInfo = roHeader.uiPcbInfo.uiValue;
    const int iYear = (int)(uiPcbInfo >> 16), iMonth = (int)((uiPcbInfo >> 8) & 0xFF), iDay = (int)(uiPcbInfo & 0xFF);
    char szPcbNumber[32];
    if (iDay != 0)
        snprintf(szPcbNumber, sizeof(szPcbNumber), "%04d-%02d%02d", iYear, iMonth, iDay);
    else
        snprintf(szPcbNumber, sizeof(szPcbNumber), "%04d-%02d", iYear, iMonth);
    // The terminator goes along, so a shorter number never keeps the tail of a longer one.
    if (SetPcbNumber((unsigned int)strlen(szPcbNumber) + 1, szPcbNumber) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_FILL_PCB_NUMBER);
        return 0;
    }
    return 1;
}

MBOOL32 XBoard::StorePinsData(unsigned int uiSize, const unsigned char* puiPins)
{
    if (uiSize == 0 || puiPins == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_STORE_PINS_NO_DATA);
        return 0;
    }
    delete[] m_puiPinsData;
    m_uiPinsDataSize = 0;
    m_puiPinsData = new (std::nothrow) MUINT8[uiSize];
    if (m_puiPinsData == nullptr)
        return 0;
    memcpy(m_puiPinsData, puiPins, uiSize);
    m_uiPinsDataSize = uiSize;
    return 1;
}

MBOOL32 XBoard::GetPinsData(unsigned int uiSize, unsigned char* puiOut) const
{
    if (puiOut == nullptr || m_puiPinsData == nullptr)
        return 0;
    memcpy(puiOut, m_puiPinsData, uiSize < m_uiPinsDataSize ? uiSize : m_uiPinsDataSize);
    return 1;
}
