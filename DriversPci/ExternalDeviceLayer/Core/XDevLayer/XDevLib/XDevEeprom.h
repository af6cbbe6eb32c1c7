// The board's SPI flash EEPROM, as far as it does not depend on how the flash is wired: which
// part it is (DetectEeprom), its size and instruction set, and the 4 KiB sector rewrite that
// lets callers change any byte range. A board family derives the bus access (XDevEepromHb4).
//
// Until DetectEeprom has identified the part its sizes are 0 and reads send no address bytes.
// Writes are serialised by a mutex; reads take no lock.
#pragma once

#include "OsServicesClient_Linux.h"
#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XDev.h"

class OsServices;

class XDevEeprom : public XDev
{
public:
    // SPI flash instruction bytes. Parts differ in their write and erase codes; the chip table of
    // DetectEeprom says which ones a detected part takes.
    enum ECommonInst : MUINT8
    {
        INST_NONE             = 0,
        INST_WRITE_STATUS     = 1,
        INST_PROGRAM          = 2,
        INST_READ             = 3,
        INST_WRITE_DISABLE    = 4,
        INST_READ_STATUS      = 5,
        INST_WRITE_ENABLE     = 6,
        INST_READ_STATUS_2A   = 7,
        INST_FAST_READ        = 11,
        INST_SUBSECTOR_ERASE  = 32,
        INST_READ_STATUS_2    = 53,
        INST_WRITE_ENABLE_SST = 80,
        INST_32K_BLOCK_ERASE  = 82,
        INST_CHIP_ERASE_SST   = 96,
        INST_WRITE_SST        = 175,
        INST_BULK_ERASE       = 199,
        INST_SECTOR_ERASE     = 216,
        INST_BLOCK_ERASE      = 216,
    };

    // Status register bits.
    enum ECommonInstStatus : MUINT8
    {
        INST_STATUS_READY  = 1,     // set while the part is busy with a program, erase or status write
        INST_WRITE_PENDING = 128,
    };

    // Bytes one erase instruction clears.
    enum ECommonEraseSizes : MUINT32
    {
        ERASE_SIZE_NONE     = 0,
        ERASE_SIZE_4KBYTES  = 4096,
        ERASE_SIZE_32KBYTES = 32768,
        ERASE_SIZE_64KBYTES = 65536,
    };

    // Identification instructions.
    enum EVendorIdInst : MUINT8
    {
        INST_VENDOR_ID_AT  = 0x15,   // vendor and product code, no address
        INST_VENDOR_ID_ALL = 0x90,   // manufacturer and device id after a 3-byte address
        INST_VENDOR_ID     = 0xAB,
        INST_VENDOR_ID_M   = 0x9E,   // JEDEC identification, no address
    };

    enum EVendorId : MUINT8
    {
        VENDOR_ID_CYPRESS  = 0x01,
        VENDOR_ID_ST       = 0x10,
        VENDOR_ID_SPANSION = 0x10,
        VENDOR_ID_ATMEL    = 0x1F,
        VENDOR_ID_MICRON   = 0x20,
        VENDOR_ID_PMC      = 0x9D,
        VENDOR_ID_ISSI     = 0x9D,
        VENDOR_ID_SST      = 0xBF,
        VENDOR_ID_WB       = 0xEF,
    };

    enum EDeviceId : MUINT8
    {
        DEVICE_ID_ISSI_IS25WD020        = 0x11,
        DEVICE_ID_ISSI_IS25WD040        = 0x12,
        DEVICE_ID_WB_W25Q64FV           = 0x16,
        DEVICE_ID_WB_W25Q128FV          = 0x17,
        DEVICE_ID_CYPRESS_25FL127S      = 0x17,
        DEVICE_ID_MICRON_N25Q128A_1     = 0x18,
        DEVICE_ID_MICRON_MT25QU256ABA_1 = 0x19,
        DEVICE_ID_MICRON_MT25QU512ABB_1 = 0x20,
        DEVICE_ID_SST_T25VF010          = 0x49,
        DEVICE_ID_PMC_25LV010           = 0x7C,
        DEVICE_ID_MICRON_N25Q128A_0     = 0xBA,
        DEVICE_ID_MICRON_MT25QU256ABA_0 = 0xBB,
        DEVICE_ID_MICRON_MT25QU512ABB_0 = 0xBB,
    };

    // What GetVendorDeviceName gives.
    enum EInfoType : MUINT32
    {
        INFO_TYPE_VENDOR = 0,
        INFO_TYPE_DEVICE = 1,
    };

    struct SEepromId
    {
        MUINT8 ui8VendorId;
        MUINT8 ui8DeviceId;
    };

    // Bytes per sector of the sector rewrite.
    static constexpr MUINT32 msc_uiSectorSize = ERASE_SIZE_4KBYTES;

    // Creates the write mutex; m_bInitialized is false when that fails.
    explicit XDevEeprom(OsServices& roOsServices);
    ~XDevEeprom() override;

    XDevEeprom(const XDevEeprom&) = delete;
    XDevEeprom& operator=(const XDevEeprom&) = delete;

    // ---- Chip level, implemented by the bus of the board family. 0 on success, negative on
    // failure (a register access error is passed on unchanged, -1 for bad arguments and
    // time-outs).

    // Erases the blocks of the instruction's erase size that cover [uiAddress, uiAddress + uiSize).
    virtual LStatus Erase(ECommonInst eInst, MUINT32 uiAddress, MUINT32 uiSize) = 0;
    // One read transaction: the instruction, uiAddressSize address bytes (none for 0), then
    // uiCount bytes from the part.
    virtual LStatus Read(MUINT8 ui8Inst, MUINT32 uiAddressSize, MUINT32 uiAddress, MUINT8* pui8Buffer,
                         MUINT32 uiCount) = 0;
    // Programs the bytes page by page with the write protection lifted for the time of it.
    virtual LStatus Write(MUINT32 uiAddressSize, MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount) = 0;

    // ---- Device level.

    // Reads with the part's read instruction and address size. 0, or negative on failure; -1 for
    // a range that leaves the part once its size is known.
    LStatus Read(MUINT32 uiAddress, MUINT8* pui8Buffer, MUINT32 uiCount);
    // Programs the bytes; with bReadModifyWrite, rewrites every 4 KiB sector they touch so that
    // the rest of each sector keeps its content (programming alone can only clear bits).
    LStatus Write(MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount, MBOOL32 bReadModifyWrite);

    // Identifies the part and sets its sizes and instructions: 1 for a known part, else 0.
    MBOOL32 DetectEeprom();
    // What the last DetectEeprom saw, so that a part it did not identify can be explained: the
    // status of the identification read that ended the detection (0 when none did), whether a
    // bus request timed out without a grant, and the last answer read.
    struct SDetectOutcome
    {
        LStatus iReadStatus = 0;
        MBOOL32 bBusNotGranted = FALSE;
        MUINT8 ui8IdInst = 0;
        MUINT8 aui8Id[4] = {0, 0, 0, 0};
        MUINT32 uiIdCount = 0;
    };
    const SDetectOutcome& GetDetectOutcome() const { return m_oDetectOutcome; }
    // 0 with the part's size in bytes (0 before detection).
    LStatus GetMemorySize(MUINT32& ruiSize) const;
    // Bytes one erase instruction clears: the whole part for a chip erase, ERASE_SIZE_NONE for an
    // instruction that erases nothing.
    MUINT32 GetEraseInstructionSize(MUINT8 ui8Inst) const;

    // Names for diagnostics: 0 with the name, or -1 with "Unknown".
    static LStatus GetVendorIdName(MUINT8 ui8VendorId, CMString& roName);
    static LStatus GetDeviceIdName(MUINT8 ui8VendorId, MUINT8 ui8DeviceId, CMString& roName);
    // The detected part's vendor or device name into a text buffer (cut to fit): 0, -1 for an
    // unknown part or info type, -2 for a null or empty buffer.
    LStatus GetVendorDeviceName(EInfoType eInfoType, MCHAR8* pszName, MUINT32 uiSize) const;

    MUINT32     m_uiAddressSize;
    MUINT32     m_uiWritePageSize;
    MUINT8      m_ui8WriteInst;
    MUINT8      m_ui8WriteEnable;
    MUINT8      m_ui8ChipWriteProtect;     // status value that protects the whole part
    MBOOL32     m_bReadStatusReg2Exist;
    ECommonInst m_eReadStatusReg2;
    SHMutex     m_oWriteAccessMutex;
    SEepromId   m_oEepromId;
    MUINT32     m_uiChipDensity;           // bits
    MUINT32     m_uiMemSize;               // bytes
    MUINT8      m_ui8ReadInst;
    MUINT8      m_ui8EraseInst;

protected:
    OsServices& m_roOsServices;
    SDetectOutcome m_oDetectOutcome;

private:
    LStatus RewriteSectors(MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount);
    // True when [uiAddress, uiAddress + uiCount) lies in the part, or the size is not known yet.
    bool IsInside(MUINT32 uiAddress, MUINT32 uiCount) const;
};
