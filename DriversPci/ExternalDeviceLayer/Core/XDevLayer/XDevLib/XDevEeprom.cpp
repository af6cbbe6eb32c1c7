#include "XDevEeprom.h"

#include <cstring>
#include <new>

#include "OsServices.h"
#include "QelAssert.h"
#include "QelTools.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_NO_WRITE_MUTEX           = 154,
    REPORT_READ_NULL_BUFFER         = 177,
    REPORT_READ_OUT_OF_RANGE        = 182,
    REPORT_WRITE_NULL_DATA          = 194,
    REPORT_WRITE_OUT_OF_RANGE       = 204,
    REPORT_WRITE_MUTEX_NOT_ACQUIRED = 209,
    REPORT_SECTOR_NO_MEMORY         = 223,
    REPORT_SECTOR_REWRITE_FAILED    = 247,
    REPORT_NAME_NULL_OUTPUT         = 333,
};

// A part as one identification instruction reports it, and how to drive it.
struct SChipDesc
{
    XDevEeprom::EVendorIdInst eIdInst;
    MUINT8 ui8VendorId;
    MBOOL32 bAnyDevice;          // every device id of the vendor
    MUINT8 ui8DeviceId;
    MUINT8 ui8Capacity;          // third identification byte; checked for INST_VENDOR_ID_M only
    MUINT32 uiDensityBits;
    MUINT32 uiAddressSize;
    MUINT8 ui8WriteInst;
    MUINT8 ui8WriteEnable;
    MUINT8 ui8ChipWriteProtect;
    XDevEeprom::ECommonInst eReadStatusReg2;   // INST_NONE: a single status register
};

using enum XDevEeprom::ECommonInst;
using enum XDevEeprom::EVendorIdInst;
using enum XDevEeprom::EVendorId;
using enum XDevEeprom::EDeviceId;

// Protection values: status-register write disable with all block-protect bits of the part.
constexpr MUINT8 PROTECT_3BP = 0x9C;   // parts with three block-protect bits
constexpr MUINT8 PROTECT_2BP = 0x8C;   // 1-Mbit parts with two

// The parts boards are built with, in the order they are tried. The older Atmel part answers only
// its own product-code instruction and takes no address bytes; most parts answer 0x90; the
// Micron part answers only the JEDEC identification.
const SChipDesc s_aoChips[] = {
    // id inst          vendor             any    device                       capacity                     bits       addr write inst      write enable           protect      status 2
    {INST_VENDOR_ID_AT,  VENDOR_ID_ATMEL,   TRUE,  0,                           0,                           0x100000,  0, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_2BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_SST,     FALSE, DEVICE_ID_SST_T25VF010,      0,                           0x100000,  3, INST_WRITE_SST, INST_WRITE_ENABLE_SST, PROTECT_2BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_ST,      TRUE,  0,                           0,                           0x100000,  3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_2BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_PMC,     FALSE, DEVICE_ID_PMC_25LV010,       0,                           0x100000,  3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_2BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_WB,      FALSE, DEVICE_ID_WB_W25Q64FV,       0,                           0x4000000, 3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_3BP, INST_READ_STATUS_2},
    {INST_VENDOR_ID_ALL, VENDOR_ID_WB,      FALSE, DEVICE_ID_WB_W25Q128FV,      0,                           0x8000000, 3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_3BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_ISSI,    FALSE, DEVICE_ID_ISSI_IS25WD020,    0,                           0x200000,  3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_3BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_ISSI,    FALSE, DEVICE_ID_ISSI_IS25WD040,    0,                           0x400000,  3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_3BP, INST_NONE},
    {INST_VENDOR_ID_ALL, VENDOR_ID_CYPRESS, FALSE, DEVICE_ID_CYPRESS_25FL127S,  0,                           0x8000000, 3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_3BP, INST_READ_STATUS_2A},
    {INST_VENDOR_ID_M,   VENDOR_ID_MICRON,  FALSE, DEVICE_ID_MICRON_N25Q128A_0, DEVICE_ID_MICRON_N25Q128A_1, 0x8000000, 3, INST_PROGRAM,   INST_WRITE_ENABLE,     PROTECT_3BP, INST_NONE},
};

// The identification reads, in the order DetectEeprom makes them. A failed 0x15 read only means
// the part is not the Atmel one; a failure of the others ends the detection.
struct SIdRead
{
    XDevEeprom::EVendorIdInst eIdInst;
    MUINT32 uiAddressSize;
    MUINT32 uiCount;
    MBOOL32 bFailureEnds;
    MBOOL32 bVendorOnly;   // only the vendor byte decides
};
const SIdRead s_aoIdReads[] = {
    {INST_VENDOR_ID_AT, 0, 2, FALSE, TRUE},
    {INST_VENDOR_ID_ALL, 3, 2, TRUE, FALSE},
    {INST_VENDOR_ID_M, 0, 4, TRUE, FALSE},
};

struct SVendorName
{
    MUINT8 ui8VendorId;
    const MCHAR8* pszName;
};
const SVendorName s_aoVendorNames[] = {
    {VENDOR_ID_CYPRESS, "Cypress"}, {VENDOR_ID_ST, "ST/Spansion"}, {VENDOR_ID_ATMEL, "Atmel"},
    {VENDOR_ID_MICRON, "Micron"},   {VENDOR_ID_PMC, "PMC/ISSI"},   {VENDOR_ID_SST, "SST"},
    {VENDOR_ID_WB, "Winbond"},
};

struct SDeviceName
{
    MUINT8 ui8VendorId;
    MBOOL32 bAnyDevice;
    MUINT8 ui8DeviceId;
    const MCHAR8* pszName;
};
const SDeviceName s_aoDeviceNames[] = {
    {VENDOR_ID_ATMEL, TRUE, 0, "AT25F1024"},
    {VENDOR_ID_SST, FALSE, DEVICE_ID_SST_T25VF010, "SST25VF010"},
    {VENDOR_ID_ST, TRUE, 0, "M25P10"},
    {VENDOR_ID_PMC, FALSE, DEVICE_ID_PMC_25LV010, "PM25LV010"},
    {VENDOR_ID_WB, FALSE, DEVICE_ID_WB_W25Q64FV, "W25Q64FV"},
    {VENDOR_ID_WB, FALSE, DEVICE_ID_WB_W25Q128FV, "W25Q128FV"},
    {VENDOR_ID_ISSI, FALSE, DEVICE_ID_ISSI_IS25WD020, "IS25WD020"},
    {VENDOR_ID_ISSI, FALSE, DEVICE_ID_ISSI_IS25WD040, "IS25WD040"},
    {VENDOR_ID_CYPRESS, FALSE, DEVICE_ID_CYPRESS_25FL127S, "S25FL127S"},
    {VENDOR_ID_MICRON, FALSE, DEVICE_ID_MICRON_N25Q128A_0, "N25Q128A"},
    {VENDOR_ID_MICRON, FALSE, DEVICE_ID_MICRON_MT25QU256ABA_0, "MT25QU256ABA/MT25QU512ABB"},
};

const MCHAR8* const UNKNOWN_NAME = "Unknown";

const MCHAR8* FindVendorName(MUINT8 ui8VendorId)
{
    for (const SVendorName& roEntry : s_aoVendorNames)
    {
        if (roEntry.ui8VendorId == ui8VendorId)
        {
            return roEntry.pszName;
        }
    }
    return nullptr;
}

const MCHAR8* FindDeviceName(MUINT8 ui8VendorId, MUINT8 ui8DeviceId)
{
    for (const SDeviceName& roEntry : s_aoDeviceNames)
    {
        if (roEntry.ui8VendorId == ui8VendorId && (roEntry.bAnyDevice || roEntry.ui8DeviceId == ui8DeviceId))
        {
            return roEntry.pszName;
        }
    }
    return nullptr;
}

LStatus SetName(const MCHAR8* pszName, CMString& roName)
{
    roName = pszName != nullptr ? pszName : UNKNOWN_NAME;
    return pszName != nullptr ? 0 : -1;
}
}  // namespace

XDevEeprom::XDevEeprom(OsServices& roOsServices)
    : XDev(TYPE_EEPROM),
      m_uiAddressSize(0),
      m_uiWritePageSize(0),
      m_ui8WriteInst(INST_PROGRAM),
      m_ui8WriteEnable(INST_WRITE_ENABLE),
      m_ui8ChipWriteProtect(0),
      m_bReadStatusReg2Exist(FALSE),
      m_eReadStatusReg2(INST_NONE),
      m_oWriteAccessMutex(nullptr),
      m_oEepromId{0, 0},
      m_uiChipDensity(0),
      m_uiMemSize(0),
      m_ui8ReadInst(INST_READ),
      m_ui8EraseInst(INST_SUBSECTOR_ERASE),
      m_roOsServices(roOsServices)
{
    if (!m_roOsServices.Mutex_Create(m_oWriteAccessMutex))
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_WRITE_MUTEX);
        m_oWriteAccessMutex = nullptr;
        m_bInitialized = FALSE;
    }
}

XDevEeprom::~XDevEeprom()
{
    if (m_oWriteAccessMutex != nullptr)
    {
        m_roOsServices.Mutex_Destroy(m_oWriteAccessMutex);
    }
}

bool XDevEeprom::IsInside(MUINT32 uiAddress, MUINT32 uiCount) const
{
    return m_uiMemSize == 0 || (uiAddress < m_uiMemSize && uiCount <= m_uiMemSize - uiAddress);
}

LStatus XDevEeprom::Read(MUINT32 uiAddress, MUINT8* pui8Buffer, MUINT32 uiCount)
{
    if (pui8Buffer == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_NULL_BUFFER);
        return -2;
    }
    if (!IsInside(uiAddress, uiCount))
    {
        QEL_ASSERT_REPORT_AT(REPORT_READ_OUT_OF_RANGE);
        return -1;
    }
    return Read(m_ui8ReadInst, m_uiAddressSize, uiAddress, pui8Buffer, uiCount);
}

LStatus XDevEeprom::Write(MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount, MBOOL32 bReadModifyWrite)
{
    if (bReadModifyWrite)
    {
        if (pui8Data == nullptr)
        {
            QEL_ASSERT_REPORT_AT(REPORT_WRITE_NULL_DATA);
            return -2;
        }
        if (uiCount == 0)
        {
            return -1;
        }
    }
    if (!IsInside(uiAddress, uiCount))
    {
        QEL_ASSERT_REPORT_AT(REPORT_WRITE_OUT_OF_RANGE);
        return -1;
    }
    if (m_oWriteAccessMutex == nullptr || !m_roOsServices.Mutex_Acquire(m_oWriteAccessMutex, OSSERVICES_INFINITE_TIMEOUT))
    {
        QEL_ASSERT_REPORT_AT(REPORT_WRITE_MUTEX_NOT_ACQUIRED);
        return -1;
    }
    const LStatus iStatus = bReadModifyWrite ? RewriteSectors(uiAddress, pui8Data, uiCount)
                                             : Write(m_uiAddressSize, uiAddress, pui8Data, uiCount);
    m_roOsServices.Mutex_Release(m_oWriteAccessMutex);
    return iStatus;
}

LStatus XDevEeprom::RewriteSectors(MUINT32 uiAddress, const MUINT8* pui8Data, MUINT32 uiCount)
{
    MUINT8* pui8Sector = new (std::nothrow) MUINT8[msc_uiSectorSize];
    if (pui8Sector == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SECTOR_NO_MEMORY);
        return -1;
    }
    LStatus iStatus = 0;
    MUINT32 uiDone = 0;
    for (MUINT32 uiSector = uiAddress - uiAddress % msc_uiSectorSize; uiDone < uiCount && iStatus >= 0;
         uiSector += msc_uiSectorSize)
    {
        // The part of the new data that falls into this sector.
        const MUINT32 uiOffset = uiAddress + uiDone - uiSector;
        const MUINT32 uiBytes = uiCount - uiDone < msc_uiSectorSize - uiOffset ? uiCount - uiDone : msc_uiSectorSize - uiOffset;

        iStatus = Read(m_ui8ReadInst, m_uiAddressSize, uiSector, pui8Sector, msc_uiSectorSize);
        if (iStatus >= 0)
        {
            memcpy(pui8Sector + uiOffset, pui8Data + uiDone, uiBytes);
            iStatus = Erase(static_cast<ECommonInst>(m_ui8EraseInst), uiSector, msc_uiSectorSize);
        }
        if (iStatus >= 0)
        {
            iStatus = Write(m_uiAddressSize, uiSector, pui8Sector, msc_uiSectorSize);
        }
        if (iStatus < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_SECTOR_REWRITE_FAILED);
        }
        uiDone += uiBytes;
    }
    delete[] pui8Sector;
    return iStatus;
}

MBOOL32 XDevEeprom::DetectEeprom()
{
    m_uiWritePageSize = 256;
    m_ui8ChipWriteProtect = PROTECT_3BP;
    m_oDetectOutcome = SDetectOutcome();

    for (const SIdRead& roRead : s_aoIdReads)
    {
        MUINT8 aui8Id[4] = {0, 0, 0, 0};
        const LStatus iStatus = Read(roRead.eIdInst, roRead.uiAddressSize, 0, aui8Id, roRead.uiCount);
        if (iStatus < 0)
        {
            if (roRead.bFailureEnds)
            {
                m_oDetectOutcome.iReadStatus = iStatus;
                return FALSE;
            }
            continue;
        }
        m_oDetectOutcome.ui8IdInst = roRead.eIdInst;
        m_oDetectOutcome.uiIdCount = roRead.uiCount;
        QelTools_memcpy(m_oDetectOutcome.aui8Id, aui8Id, sizeof(aui8Id));
        for (const SChipDesc& roChip : s_aoChips)
        {
            const bool bMatch = roChip.eIdInst == roRead.eIdInst && roChip.ui8VendorId == aui8Id[0] &&
                                (roRead.bVendorOnly || roChip.bAnyDevice || roChip.ui8DeviceId == aui8Id[1]) &&
                                (roRead.eIdInst != INST_VENDOR_ID_M || roChip.ui8Capacity == aui8Id[2]);
            if (bMatch)
            {
                m_oEepromId.ui8VendorId = aui8Id[0];
                m_oEepromId.ui8DeviceId = aui8Id[1];
                m_uiAddressSize = roChip.uiAddressSize;
                m_uiChipDensity = roChip.uiDensityBits;
                m_uiMemSize = roChip.uiDensityBits / 8;
                m_ui8WriteInst = roChip.ui8WriteInst;
                m_ui8WriteEnable = roChip.ui8WriteEnable;
                m_ui8ChipWriteProtect = roChip.ui8ChipWriteProtect;
                m_bReadStatusReg2Exist = roChip.eReadStatusReg2 != INST_NONE ? TRUE : FALSE;
                m_eReadStatusReg2 = roChip.eReadStatusReg2;
                return TRUE;
            }
        }
    }
    return FALSE;
}

LStatus XDevEeprom::GetMemorySize(MUINT32& ruiSize) const
{
    ruiSize = m_uiMemSize;
    return 0;
}

MUINT32 XDevEeprom::GetEraseInstructionSize(MUINT8 ui8Inst) const
{
    switch (ui8Inst)
    {
    case INST_SUBSECTOR_ERASE:
        return ERASE_SIZE_4KBYTES;
    case INST_32K_BLOCK_ERASE:
        return ERASE_SIZE_32KBYTES;
    case INST_BLOCK_ERASE:
        return ERASE_SIZE_64KBYTES;
    case INST_BULK_ERASE:
    case INST_CHIP_ERASE_SST:
        return m_uiMemSize;
    default:
        return ERASE_SIZE_NONE;
    }
}

LStatus XDevEeprom::GetVendorIdName(MUINT8 ui8VendorId, CMString& roName)
{
    return SetName(FindVendorName(ui8VendorId), roName);
}

LStatus XDevEeprom::GetDeviceIdName(MUINT8 ui8VendorId, MUINT8 ui8DeviceId, CMString& roName)
{
    return SetName(FindDeviceName(ui8VendorId, ui8DeviceId), roName);
}

LStatus XDevEeprom::GetVendorDeviceName(EInfoType eInfoType, MCHAR8* pszName, MUINT32 uiSize) const
{
    if (pszName == nullptr || uiSize == 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NAME_NULL_OUTPUT);
        return -2;
    }
    const MCHAR8* pszFound = nullptr;
    if (m_uiMemSize != 0)
    {
        pszFound = eInfoType == INFO_TYPE_VENDOR   ? FindVendorName(m_oEepromId.ui8VendorId)
                   : eInfoType == INFO_TYPE_DEVICE ? FindDeviceName(m_oEepromId.ui8VendorId, m_oEepromId.ui8DeviceId)
                                                   : nullptr;
    }
    QelTools_strcpy_s(pszName, uiSize, pszFound != nullptr ? pszFound : UNKNOWN_NAME);
    return pszFound != nullptr ? 0 : -1;
}
