// Records of the Pins10 board parameter block, the self-describing chain of typed blocks that
// every board of the family carries in its configuration EEPROM.
//
// The stored format is little-endian and byte-packed. The records below are copied to and from
// the block with memcpy, so the host must be little-endian too (checked at compile time), and
// every record's size and the offsets that the board data depends on are checked as well.
#pragma once

#include <bit>
#include <cstddef>

#include "QelBaseTypes.h"

static_assert(std::endian::native == std::endian::little,
              "Pins10 records are copied as little-endian memory images");

// ---- Block kinds. The raw value is what stands in the block; lookups compare with the list
// flag (bit 15) masked off.
enum EPins10Signature : MUINT16
{
    PINS10_SIGNATURE_HEADER          = 0x412E,
    PINS10_SIGNATURE_CPU             = 0x0E15,
    PINS10_SIGNATURE_CLOCK           = 0x0D8B,
    PINS10_SIGNATURE_MEMORY          = 0x34AD,
    PINS10_SIGNATURE_LIMITATION      = 0x148C,
    PINS10_SIGNATURE_FACTORY_OPTIONS = 0x3E14,
    PINS10_SIGNATURE_MISC_IO         = 0xB52F,
    PINS10_SIGNATURE_I2C_BUS         = 0x8AB3,
    PINS10_SIGNATURE_I2C_DEVICE      = 0x90B6,
    PINS10_SIGNATURE_CONNECTOR       = 0x8DEE,
    PINS10_SIGNATURE_MAPS            = 0xB430,
    PINS10_SIGNATURE_CALIBRATION     = 0x8C2C,
    PINS10_SIGNATURE_END             = 0x15C4,
};

constexpr MUINT16 PINS10_SIGNATURE_LIST_FLAG = 0x8000;   // bit 15: the block is a list
constexpr MUINT16 PINS10_SIGNATURE_KIND_MASK = 0x7FFF;

// ---- Versions carried inside records.
constexpr MUINT32 PINS10_HEADER_REVISION      = 0x0A02;
constexpr MUINT16 PINS10_HEADER_REVISION_V1   = 0x0A01;   // older 44-byte header, converted on validation
constexpr MUINT32 PINS10_MEMORY_VERSION       = 0x0201;
constexpr MUINT32 PINS10_MEMORY_VERSION_V1    = 0x0101;   // older 256-byte memory record
constexpr MUINT32 PINS10_CALIBRATION_VERSION  = 0x0101;

// tagPins10Cpu::uiCpuOptions.
constexpr MUINT16 PINS10_CPU_ON_BOARD            = 0x0001;   // a system processor sits on the board
constexpr MUINT16 PINS10_CPU_ON_PRIMARY_BUS      = 0x0002;   // ... on the primary PCI bus
constexpr MUINT16 PINS10_CPU_EXTERNAL_AVAILABLE  = 0x0004;   // an external processor is available

// tagPins10FactoryOptions::uiFactoryOptions.
constexpr MUINT32 PINS10_OPTION_ALL_VPE_ENABLED       = 1u << 0;
constexpr MUINT32 PINS10_OPTION_ALL_VPC_ENABLED       = 1u << 1;
constexpr MUINT32 PINS10_OPTION_SUB_FIELD_ENABLED     = 1u << 2;
constexpr MUINT32 PINS10_OPTION_FORCE_GLOBAL_RESET    = 1u << 3;   // reset the chip before the first attempt
constexpr MUINT32 PINS10_OPTION_RGB_YUV_FULL_RANGE    = 1u << 4;

// Element type of the module fan in the I/O-pin list; fanless models have it removed.
constexpr MUINT16 PINS10_MISC_IO_TYPE_FAN = 8;

// Number of memory channels (one DDR PHY each) described by a size-code array.
constexpr MUINT32 PINS10_MEMORY_CHANNEL_COUNT = 4;

#pragma pack(push, 1)

// ---- Chain structure.
struct tagPinsBlock
{
    MUINT16 uiSignature;
    MUINT16 uiDataLenght;    // data bytes after this header; non-zero, a multiple of 4
};

struct tagPinsBlockList
{
    MUINT16 uiSignature;     // bit 15 set
    MUINT16 uiDataLenght;    // 4 + uiNbItems * uiItemSize
    MUINT16 uiNbItems;
    MUINT16 uiItemSize;
};

// ---- Header: PCB number, revision and sub-revision in one word.
union tagPinsHeaderPcbInfo
{
    MUINT32 uiValue;
    struct
    {
        MUINT32 uSubRev : 8;
        MUINT32 uRev    : 8;
        MUINT32 uPcbNum : 16;
    };
};

struct tagPins10Header
{
    MUINT32              uiStructRevision;   // PINS10_HEADER_REVISION
    MUINT32              uiReleaseDate;      // year bits 16-31, month bits 8-15, day bits 0-7
    MCHAR8               szSerialNumber[16]; // not necessarily terminated
    tagPinsHeaderPcbInfo uiPcbInfo;
    MCHAR8               szPartListInfo[8];
    MCHAR8               szProductSku[16];
};

struct tagPins10Cpu
{
    MUINT16 uiCpuOptions;    // bit 0 on board, bit 1 on primary bus, bit 2 external processor
    MUINT16 uiCpuVersion;
    MUINT8  auiMemQty[PINS10_MEMORY_CHANNEL_COUNT];
};

// Frequencies in kHz; *CLKCTL words are clock-control register images (bits 1-3: source).
struct tagPins10Clock
{
    MUINT32 uiFreqRef;
    MUINT32 uiVid1ClkFreqRef;
    MUINT32 uiVco1Min;
    MUINT32 uiVco1Max;
    MUINT32 uiVco2Min;
    MUINT32 uiVco2Max;
    MUINT32 uiFreqRef2Min;
    MUINT32 uiFreqRef2Max;
    MUINT32 uiFS0FOut;
    MUINT32 uiFS1FOut;
    MUINT32 uiFS2FOut;
    MUINT32 uiFSVidFOut[4];
    MUINT32 auiFSVgaFOutA[2];
    MUINT32 auiFSVgaFOutB[2];
    MUINT32 uiSYS_MBECLKCTL;
    MUINT32 uiSYS_MFECLKCTL;
    MUINT32 uiSYS_CPUCLKCTL;
    MUINT32 uiSYS_GPUCLKCTL;
    MUINT32 uiSYS_HRBCLKCTL;
    MUINT32 uiSYS_VCEECLKCTL;
    MUINT32 auiSYS_VCPECLKCTL[2];
    MUINT32 auiSYS_VCTECLKCTL[2];
    MUINT32 auiSYS_VPCCLKCTL[2];
    MUINT32 auiSYS_VPECLKCTL[3];
    MUINT32 uiSYS_RNDGENCLKCTL;
    MUINT32 uiSYS_HMCCLKCTL;
    MUINT32 uiSYS_FPGACLKCTL;
    MUINT32 uiSYS_CTL;
    MUINT32 uiSYS_MBEDELAY;
};

// Register image of the DDR memory controller and its PHYs.
struct tagPins10Mem_v2
{
    MUINT32 uiVersion;       // PINS10_MEMORY_VERSION
    MUINT8  auiMemQty[PINS10_MEMORY_CHANNEL_COUNT];
    MUINT32 uiMEM_CONFIG;
    MUINT32 uiMBE_ARB0;
    MUINT32 uiMEM_CTL0;
    MUINT32 uiMEM_WTST0;
    MUINT32 uiMEM_WTST1;
    MUINT32 uiMEM_WTST2;
    MUINT32 uiMEM_WTST3;
    MUINT32 uiMEM_DREG;
    MUINT32 uiMPHY_RIDR;
    MUINT32 uiMPHY_PIR;
    MUINT32 uiMPHY_PGCR0;
    MUINT32 uiMPHY_PGCR1;
    MUINT32 uiMPHY_PLLCR;
    MUINT32 uiMPHY_DXCCR;
    MUINT32 uiMPHY_DSGCR;
    MUINT32 uiMPHY_MR0;
    MUINT32 uiMPHY_MR1;
    MUINT32 uiMPHY_MR2;
    MUINT32 uiMPHY_PGCR2;
    MUINT32 uiMPHY_GPR0;
    MUINT32 uiMPHY_ZQCR1;
    MUINT32 auiMPHY_DXLCDLR0[4];
    MUINT32 auiMPHY_DXLCDLR1[4];
    MUINT32 auiMPHY_DXLCDLR2[4];
    MUINT32 auiMPHY_DXGTR[4];
};

struct tagPins10Limitation
{
    MUINT32 uiEncoderLimit;
    MUINT32 uiDecoderLimit;
};

struct tagPins10FactoryOptions
{
    MUINT32 uiFactoryOptions;
};

struct tagPins10MiscIo
{
    MUINT16 uiMiscIoId;
    MUINT16 uiType;
    MCHAR8  szName[32];
    MUINT16 uiIndex;
    MUINT16 uiDeviceId;
};

struct tagPins10I2cBus
{
    MUINT16 uiBusId;
    MUINT16 uiType;
    MCHAR8  szName[32];
    MUINT16 uiI2cDeviceId;
    MUINT8  uiSclPinsIndex;
    MUINT8  uiSdaPinsIndex;
    MUINT16 uiMaxFreqInKHz;
    MUINT16 uiDeviceId;
};

struct tagPins10DeviceI2c
{
    MUINT16 uiDeviceId;
    MUINT16 uiType;
    MCHAR8  szName[32];
    MUINT16 uiBusId;
    MUINT8  auiI2cAddress[16];
    MUINT16 uiChipSelectMiscIoId;
    MUINT16 uiChipInterruptId;
    MUINT16 uiParentId;
};

struct tagPins10Connector
{
    MUINT16 uiConnectorId;
    MUINT16 uiType;
    MCHAR8  szName[32];
    MUINT32 uiUsage;
    MUINT32 uiFeatures;
    MUINT16 auiDeviceId[2];
    MUINT16 uiDdcBusId;
    MUINT16 uiHpdPinId;
};

struct tagPins10Maps
{
    MUINT16 uiType;
    MUINT16 uiDeviceId;
    MUINT16 uiFpgaDeviceId;
    MUINT16 uiClockType;
    MUINT16 uiClockDeviceId;
    MUINT8  uiPortIndex;
    MUINT8  uiBridgePortIndex;
    MUINT16 uiConnectorId;
    MUINT16 uiInternalInterruptId;
};

struct tagPins10Calibrate_v1
{
    MUINT32 uiVersion;       // PINS10_CALIBRATION_VERSION
    MUINT16 uiFpgaDeviceId;
    MUINT8  uiPortIndex;
    MUINT8  uiGenCtlCfgDelayClkAdj;
    MUINT8  uiFpgaToHb4DelayClk;
    MUINT8  uiFpgaToHb4DelayDat;
    MUINT8  auiReserved[2];
};

// Data of the end block. Nothing computes or checks the checksum; blocks built here carry 0.
struct PinsCheck
{
    MUINT8 uiCheckSum;
    MUINT8 auiReserved[3];
};

#pragma pack(pop)

static_assert(sizeof(tagPinsBlock) == 4);
static_assert(sizeof(tagPinsBlockList) == 8);
static_assert(sizeof(tagPinsHeaderPcbInfo) == 4);
static_assert(sizeof(tagPins10Header) == 52);
static_assert(offsetof(tagPins10Header, uiPcbInfo) == 24 && offsetof(tagPins10Header, szProductSku) == 36);
static_assert(sizeof(tagPins10Cpu) == 8);
static_assert(sizeof(tagPins10Clock) == 156);
static_assert(offsetof(tagPins10Clock, uiFSVidFOut) == 44 && offsetof(tagPins10Clock, uiSYS_MBECLKCTL) == 76);
static_assert(offsetof(tagPins10Clock, auiSYS_VPECLKCTL) == 124 && offsetof(tagPins10Clock, uiSYS_MBEDELAY) == 152);
static_assert(sizeof(tagPins10Mem_v2) == 156);
static_assert(offsetof(tagPins10Mem_v2, uiMEM_CTL0) == 16 && offsetof(tagPins10Mem_v2, uiMPHY_DXCCR) == 60);
static_assert(offsetof(tagPins10Mem_v2, auiMPHY_DXLCDLR0) == 92 && offsetof(tagPins10Mem_v2, auiMPHY_DXGTR) == 140);
static_assert(sizeof(tagPins10Limitation) == 8);
static_assert(sizeof(tagPins10FactoryOptions) == 4);
static_assert(sizeof(tagPins10MiscIo) == 40);
static_assert(sizeof(tagPins10I2cBus) == 44);
static_assert(sizeof(tagPins10DeviceI2c) == 60);
static_assert(offsetof(tagPins10DeviceI2c, uiChipSelectMiscIoId) == 54);
static_assert(sizeof(tagPins10Connector) == 52);
static_assert(offsetof(tagPins10Connector, uiDdcBusId) == 48);
static_assert(sizeof(tagPins10Maps) == 16);
static_assert(sizeof(tagPins10Calibrate_v1) == 12);
static_assert(sizeof(PinsCheck) == 4);

// ---- Sizes that accessors read and the smallest they accept.
constexpr MUINT32 PINS10_HEADER_MIN_SIZE      = 44;    // the older header layout
constexpr MUINT32 PINS10_MEMORY_V1_SIZE       = 256;
constexpr MUINT32 PINS10_CONNECTOR_MIN_SIZE   = 48;    // connectors written before uiDdcBusId/uiHpdPinId

// The smallest buffer worth validating: a header block and the next block's header.
constexpr MUINT32 PINS10_MIN_BLOCK_SIZE = sizeof(tagPinsBlock) + sizeof(tagPins10Header);
static_assert(PINS10_MIN_BLOCK_SIZE == 56);

// ---- Little-endian field access inside a byte buffer, independent of alignment.
inline MUINT16 Pins10ReadU16(const MUINT8* puiBytes)
{
    return (MUINT16)(puiBytes[0] | (puiBytes[1] << 8));
}

inline MUINT32 Pins10ReadU32(const MUINT8* puiBytes)
{
    return (MUINT32)puiBytes[0] | ((MUINT32)puiBytes[1] << 8) | ((MUINT32)puiBytes[2] << 16) |
           ((MUINT32)puiBytes[3] << 24);
}

inline void Pins10WriteU16(MUINT8* puiBytes, MUINT16 uiValue)
{
    puiBytes[0] = (MUINT8)uiValue;
    puiBytes[1] = (MUINT8)(uiValue >> 8);
}

inline void Pins10WriteU32(MUINT8* puiBytes, MUINT32 uiValue)
{
    for (int i = 0; i < 4; ++i)
        puiBytes[i] = (MUINT8)(uiValue >> (8 * i));
}

// Block header fields of the block that starts at puiBlock.
inline MUINT16 Pins10BlockSignature(const MUINT8* puiBlock) { return Pins10ReadU16(puiBlock); }
inline MUINT16 Pins10BlockLength(const MUINT8* puiBlock) { return Pins10ReadU16(puiBlock + 2); }
