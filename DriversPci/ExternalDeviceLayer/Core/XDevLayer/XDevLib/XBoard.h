// XBoard: the description of one board (PCI identity, revisions, names, capability flags, memory
// sizes, PCI location, link) and a private copy of the board's parameter block. Every context
// owns one; the builder fills it from the board's parameter block, the core initialisation keeps
// its memory-initialised flag current, the device API reads it.
#pragma once

#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XObject.h"

class XConnector;
struct tagPins10Header;

typedef MCHAR8 LSTR64[64];

// Release date of a parameter block: year bits 16-31, month bits 8-15, day bits 0-7.
union LBoard_Date
{
    MUINT32 uiDate;
    struct
    {
        MUINT32 uiDay   : 8;
        MUINT32 uiMonth : 8;
        MUINT32 uiYear  : 16;
    };
};
static_assert(sizeof(LBoard_Date) == 4);

// The board record, copied whole by GetBoardInfo/SetBoardInfo.
struct tagLBoard_Info
{
    MUINT32     uiSize;             // this record's size, 352
    MUINT16     ui16DevID;
    MUINT16     ui16VendorID;
    MUINT32     uiSubSystemID;      // PCI subsystem dword: subsystem id high, vendor low
    MUINT32     uiAsicRev;
    MUINT32     uiPcbRev;
    LSTR64      szProductName;
    LSTR64      szSerialNumber;
    LSTR64      szPcbNumber;
    LSTR64      szFirmwareVersion;
    MUINT32     bIsSystemProcessorOnBoard      : 1;
    MUINT32     bIsSystemProcessorOnPrimaryBus : 1;
    MUINT32     bIsExternalProcessorAvailable  : 1;
    MUINT32     bIsMemoryInitialized           : 1;
    MUINT32     bIsAllVPEEnabled               : 1;
    MUINT32     bIsAllVPCEnabled               : 1;
    MUINT32     bIsSubFieldEnabled             : 1;
    MUINT32     bIsMemoryInterleaveDualMode    : 1;
    MUINT32     bIsEncoderCapable              : 1;
    MUINT32     bIsRgbYuvFullRangeConversion   : 1;
    MUINT32     uiReserved1                    : 22;
    MUINT32     uiLocalMemorySize;  // MiB of the board's own memory
    MUINT32     uiSystemMemorySize; // MiB of the on-board processor's memory
    MUINT32     uiMaxApertureSize;
    MUINT64     uiMemAddress;       // PCI address of the memory window
    MUINT64     uiRegAddress;       // PCI address of the register window
    MUINT32     uiBusNumber;
    MUINT32     uiDeviceNumber;
    MUINT32     uiFunctionNumber;
    MUINT32     uiSlotNumber;
    MUINT32     uiChipCount;
    MUINT32     uiChipIndex;
    LBoard_Date oPInSReleaseDate;
    MUINT16     uiPCIeLinkWidth;
    MUINT16     uiPCIeLinkSpeed;
    MUINT32     uiEncoderLimit;
    MUINT32     uiDecoderLimit;
};
static_assert(sizeof(tagLBoard_Info) == 352);
static_assert(offsetof(tagLBoard_Info, uiMemAddress) == 296 && offsetof(tagLBoard_Info, uiEncoderLimit) == 344);

class XBoard : public XObject
{
public:
    static constexpr MUINT32 msc_uiTextSize = sizeof(LSTR64);
    static constexpr MUINT32 msc_uiNoLimit = 0xFFFFFFFF;

    XBoard();
    explicit XBoard(const tagLBoard_Info& roBoardInfo);
    ~XBoard() override;
    XBoard(const XBoard&) = delete;
    XBoard& operator=(const XBoard&) = delete;

    void GetBoardInfo(tagLBoard_Info& roBoardInfo) const;
    void SetBoardInfo(const tagLBoard_Info& roBoardInfo);

    // Texts: copied terminated into a caller's buffer of at least 64 characters; 0, or -1 on a
    // null buffer.
    MINT32 GetProductName(char* pszName) const;
    MINT32 GetSerialNumber(char* pszSerial) const;
    MINT32 GetPcbNumber(char* pszPcbNumber) const;
    MINT32 GetFirmwareVersion(char* pszVersion) const;
    // min(uiLength, 64) raw bytes over the start of the field, no terminator added; -1 on a zero
    // length or a null source.
    MINT32 SetProductName(unsigned int uiLength, const unsigned char* puiName);
    MINT32 SetSerialNumber(unsigned int uiLength, const unsigned char* puiSerial);
    MINT32 SetPcbNumber(unsigned int uiLength, const char* pszPcbNumber);
    MINT32 SetFirmwareVersion(unsigned int uiLength, const char* pszVersion);

    // Flags: only bit 0 of the argument is stored (2 stores false).
    MINT32 SetSystemProcessorOnBoard(int iValue);
    MINT32 SetSystemProcessorOnPrimaryBus(int iValue);
    MINT32 SetExternalProcessorAvailable(int iValue);
    MINT32 SetMemoryInitialization(int iValue);
    MINT32 SetFactoryOptionsVpeEnabled(int iValue);
    MINT32 SetFactoryOptionsVpcEnabled(int iValue);
    MINT32 SetFactoryOptionsSubFieldEnabled(int iValue);
    MINT32 SetMemoryInterleaveDualMode(int iValue);
    MINT32 SetEncoderCapable(int iValue);
    MINT32 SetRgbYuvFullRangeConversion(int iValue);
    MBOOL32 IsSystemProcessorOnBoard() const { return m_oBoardInfo.bIsSystemProcessorOnBoard; }
    MBOOL32 IsSystemProcessorOnPrimaryBus() const { return m_oBoardInfo.bIsSystemProcessorOnPrimaryBus; }
    MBOOL32 IsExternalProcessorAvailable() const { return m_oBoardInfo.bIsExternalProcessorAvailable; }
    MBOOL32 IsMemoryInitialized() const { return m_oBoardInfo.bIsMemoryInitialized; }
    MBOOL32 GetRgbYuvFullRangeConversion() const { return m_oBoardInfo.bIsRgbYuvFullRangeConversion; }

    // Plain fields.
    MUINT16 GetPciDeviceId() const { return m_oBoardInfo.ui16DevID; }
    void    SetPciDeviceId(MUINT16 uiDeviceId) { m_oBoardInfo.ui16DevID = uiDeviceId; }
    MUINT16 GetPciVendorId() const { return m_oBoardInfo.ui16VendorID; }
    void    SetPciVendorId(MUINT16 uiVendorId) { m_oBoardInfo.ui16VendorID = uiVendorId; }
    MUINT32 GetPciSubSystemId() const { return m_oBoardInfo.uiSubSystemID; }
    void    SetPciSubSystemId(MUINT32 uiSubSystemId) { m_oBoardInfo.uiSubSystemID = uiSubSystemId; }
    MUINT32 GetAsicRev() const { return m_oBoardInfo.uiAsicRev; }
    void    SetAsicRev(MUINT32 uiAsicRev) { m_oBoardInfo.uiAsicRev = uiAsicRev; }
    MUINT32 GetPcbRev() const { return m_oBoardInfo.uiPcbRev; }
    void    SetPcbRev(MUINT32 uiPcbRev) { m_oBoardInfo.uiPcbRev = uiPcbRev; }
    MUINT32 GetMemSize() const { return m_oBoardInfo.uiLocalMemorySize; }
    void    SetMemSize(MUINT32 uiSizeInMB) { m_oBoardInfo.uiLocalMemorySize = uiSizeInMB; }
    MUINT32 GetCpuMemSize() const { return m_oBoardInfo.uiSystemMemorySize; }
    void    SetCpuMemSize(MUINT32 uiSizeInMB) { m_oBoardInfo.uiSystemMemorySize = uiSizeInMB; }
    MUINT32 GetMaxApertureSize() const { return m_oBoardInfo.uiMaxApertureSize; }
    void    SetMaxApertureSize(MUINT32 uiSize) { m_oBoardInfo.uiMaxApertureSize = uiSize; }
    MUINT64 GetPciMemAddr() const { return m_oBoardInfo.uiMemAddress; }
    void    SetPciMemAddr(MUINT64 uiAddress) { m_oBoardInfo.uiMemAddress = uiAddress; }
    MUINT64 GetPciRegAddr() const { return m_oBoardInfo.uiRegAddress; }
    void    SetPciRegAddr(MUINT64 uiAddress) { m_oBoardInfo.uiRegAddress = uiAddress; }
    MUINT32 GetPciBusNumber() const { return m_oBoardInfo.uiBusNumber; }
    void    SetPciBusNumber(MUINT32 uiBus) { m_oBoardInfo.uiBusNumber = uiBus; }
    MUINT32 GetPciDeviceNumber() const { return m_oBoardInfo.uiDeviceNumber; }
    void    SetPciDeviceNumber(MUINT32 uiDevice) { m_oBoardInfo.uiDeviceNumber = uiDevice; }
    MUINT32 GetPciFunctionNumber() const { return m_oBoardInfo.uiFunctionNumber; }
    void    SetPciFunctionNumber(MUINT32 uiFunction) { m_oBoardInfo.uiFunctionNumber = uiFunction; }
    MUINT32 GetPciSlotNumber() const { return m_oBoardInfo.uiSlotNumber; }
    void    SetPciSlotNumber(MUINT32 uiSlot) { m_oBoardInfo.uiSlotNumber = uiSlot; }
    MUINT32 GetChipIndex() const { return m_oBoardInfo.uiChipIndex; }
    void    SetChipIndex(MUINT32 uiIndex) { m_oBoardInfo.uiChipIndex = uiIndex; }
    MUINT32 GetChipCount() const { return m_oBoardInfo.uiChipCount; }
    void    SetChipCount(MUINT32 uiCount) { m_oBoardInfo.uiChipCount = uiCount; }
    LBoard_Date GetPInSReleaseDate() const { return m_oBoardInfo.oPInSReleaseDate; }
    void        SetPInSReleaseDate(LBoard_Date oDate) { m_oBoardInfo.oPInSReleaseDate = oDate; }
    MUINT16 GetPCIeLinkWidth() const { return m_oBoardInfo.uiPCIeLinkWidth; }
    void    SetPCIeLinkWidth(unsigned short uiWidth) { m_oBoardInfo.uiPCIeLinkWidth = uiWidth; }
    MUINT16 GetPCIeLinkSpeed() const { return m_oBoardInfo.uiPCIeLinkSpeed; }
    void    SetPCIeLinkSpeed(unsigned short uiSpeed) { m_oBoardInfo.uiPCIeLinkSpeed = uiSpeed; }
    void SetEncoderDecoderLimit(MUINT32 uiEncoderLimit, MUINT32 uiDecoderLimit);
    void GetEncoderDecoderLimit(MUINT32& ruiEncoderLimit, MUINT32& ruiDecoderLimit) const;

    // Connectors (owned by the context's registry, not by the record).
    MINT32      AddConnector(XConnector* poConnector);
    XConnector* GetConnector(unsigned int uiIndex) const;
    MUINT32     GetConnectorCount() const;

    // Fills the record from a parameter block of uiSize bytes; 1 on success, 0 on failure (the
    // fields filled so far stay). The block is validated first; no copy of it is kept.
    MBOOL32 ReadPinsData(unsigned int uiSize, const unsigned char* puiPins);

    // Keeps a private copy of a parameter block; 1 on success.
    MBOOL32 StorePinsData(unsigned int uiSize, const unsigned char* puiPins);
    MUINT32 GetStoredPinsDataSize() const { return m_uiPinsDataSize; }
    // Copies min(uiSize, stored size) bytes of the copy; 1 when there is a copy to read.
    MBOOL32 GetPinsData(unsigned int uiSize, unsigned char* puiOut) const;
    const unsigned char* GetPinsData() const { return m_puiPinsData; }
    MUINT32 GetPinsDataSize() const { return m_uiPinsDataSize; }

    tagLBoard_Info                             m_oBoardInfo;
    CMArray<XConnector*, XConnector*>          m_dapoConnector;
    MUINT8*                                    m_puiPinsData;
    MUINT32                                    m_uiPinsDataSize;

private:
    MINT32 SetText(LSTR64& rszField, unsigned int uiLength, const void* pvSource);
    MINT32 GetText(const LSTR64& rszField, char* pszOut) const;
    MBOOL32 FillFromPins(const MUINT8* puiPins);
    // The factory options the record keeps; 0 (reported) when the pins have none.
    MBOOL32 FillFactoryOptions(const MUINT8* puiPins);
    // Product name, serial number, release date and PCB number from the header; 0 (reported)
    // when one does not fit.
    MBOOL32 FillHeaderTexts(const tagPins10Header& roHeader);
};
