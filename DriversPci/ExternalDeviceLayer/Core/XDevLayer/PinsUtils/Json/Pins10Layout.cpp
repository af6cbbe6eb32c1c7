// Field tables of the Pins10 records. Offsets and widths come from the records themselves, so a
// table cannot drift from the structure it describes.
#include "Pins10Layout.h"

#include <cstddef>
#include <cstring>

#include "XPins10Types.h"

namespace
{
constexpr MUINT32 ElementSize(EPins10FieldType eType)
{
    switch (eType)
    {
    case PINS10_FIELD_U8:
    case PINS10_FIELD_TEXT:
        return 1;
    case PINS10_FIELD_U16:
        return 2;
    case PINS10_FIELD_U32:
    case PINS10_FIELD_DATE:
    case PINS10_FIELD_PCB_INFO:
        return 4;
    }
    return 1;
}

#define PINS10_FIELD(record, name, type, show) \
    SPins10Field { #name, (MUINT32)offsetof(record, name), type, (MUINT32)(sizeof(record::name) / ElementSize(type)), show }

#define U8(record, name, show)  PINS10_FIELD(record, name, PINS10_FIELD_U8, show)
#define U16(record, name, show) PINS10_FIELD(record, name, PINS10_FIELD_U16, show)
#define U32(record, name, show) PINS10_FIELD(record, name, PINS10_FIELD_U32, show)
#define TEXT(record, name)      PINS10_FIELD(record, name, PINS10_FIELD_TEXT, PINS10_SHOW_DEC)

constexpr SPins10Field msc_aoHeaderFields[] = {
    U32(tagPins10Header, uiStructRevision, PINS10_SHOW_HEX),
    PINS10_FIELD(tagPins10Header, uiReleaseDate, PINS10_FIELD_DATE, PINS10_SHOW_HEX),
    TEXT(tagPins10Header, szSerialNumber),
    PINS10_FIELD(tagPins10Header, uiPcbInfo, PINS10_FIELD_PCB_INFO, PINS10_SHOW_HEX),
    TEXT(tagPins10Header, szPartListInfo),
    TEXT(tagPins10Header, szProductSku),
};

constexpr SPins10Field msc_aoCpuFields[] = {
    U16(tagPins10Cpu, uiCpuOptions, PINS10_SHOW_HEX),
    U16(tagPins10Cpu, uiCpuVersion, PINS10_SHOW_DEC),
    U8(tagPins10Cpu, auiMemQty, PINS10_SHOW_MEMORY_CODES),
};

constexpr SPins10Field msc_aoClockFields[] = {
    U32(tagPins10Clock, uiFreqRef, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiVid1ClkFreqRef, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiVco1Min, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiVco1Max, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiVco2Min, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiVco2Max, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiFreqRef2Min, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiFreqRef2Max, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiFS0FOut, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiFS1FOut, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiFS2FOut, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiFSVidFOut, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, auiFSVgaFOutA, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, auiFSVgaFOutB, PINS10_SHOW_KHZ),
    U32(tagPins10Clock, uiSYS_MBECLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_MFECLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_CPUCLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_GPUCLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_HRBCLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_VCEECLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, auiSYS_VCPECLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, auiSYS_VCTECLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, auiSYS_VPCCLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, auiSYS_VPECLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_RNDGENCLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_HMCCLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_FPGACLKCTL, PINS10_SHOW_CLOCK_CONTROL),
    U32(tagPins10Clock, uiSYS_CTL, PINS10_SHOW_HEX),
    U32(tagPins10Clock, uiSYS_MBEDELAY, PINS10_SHOW_HEX),
};

constexpr SPins10Field msc_aoMemoryFields[] = {
    U32(tagPins10Mem_v2, uiVersion, PINS10_SHOW_HEX),
    U8(tagPins10Mem_v2, auiMemQty, PINS10_SHOW_MEMORY_CODES),
    U32(tagPins10Mem_v2, uiMEM_CONFIG, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMBE_ARB0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMEM_CTL0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMEM_WTST0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMEM_WTST1, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMEM_WTST2, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMEM_WTST3, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMEM_DREG, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_RIDR, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_PIR, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_PGCR0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_PGCR1, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_PLLCR, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_DXCCR, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_DSGCR, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_MR0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_MR1, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_MR2, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_PGCR2, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_GPR0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, uiMPHY_ZQCR1, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, auiMPHY_DXLCDLR0, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, auiMPHY_DXLCDLR1, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, auiMPHY_DXLCDLR2, PINS10_SHOW_HEX),
    U32(tagPins10Mem_v2, auiMPHY_DXGTR, PINS10_SHOW_HEX),
};

constexpr SPins10Field msc_aoLimitationFields[] = {
    U32(tagPins10Limitation, uiEncoderLimit, PINS10_SHOW_DEC),
    U32(tagPins10Limitation, uiDecoderLimit, PINS10_SHOW_DEC),
};

constexpr SPins10Field msc_aoFactoryOptionsFields[] = {
    U32(tagPins10FactoryOptions, uiFactoryOptions, PINS10_SHOW_HEX),
};

constexpr SPins10Field msc_aoMiscIoFields[] = {
    U16(tagPins10MiscIo, uiMiscIoId, PINS10_SHOW_DEC),
    U16(tagPins10MiscIo, uiType, PINS10_SHOW_DEC),
    TEXT(tagPins10MiscIo, szName),
    U16(tagPins10MiscIo, uiIndex, PINS10_SHOW_DEC),
    U16(tagPins10MiscIo, uiDeviceId, PINS10_SHOW_DEC),
};

constexpr SPins10Field msc_aoI2cBusFields[] = {
    U16(tagPins10I2cBus, uiBusId, PINS10_SHOW_DEC),
    U16(tagPins10I2cBus, uiType, PINS10_SHOW_DEC),
    TEXT(tagPins10I2cBus, szName),
    U16(tagPins10I2cBus, uiI2cDeviceId, PINS10_SHOW_DEC),
    U8(tagPins10I2cBus, uiSclPinsIndex, PINS10_SHOW_DEC),
    U8(tagPins10I2cBus, uiSdaPinsIndex, PINS10_SHOW_DEC),
    U16(tagPins10I2cBus, uiMaxFreqInKHz, PINS10_SHOW_DEC),
    U16(tagPins10I2cBus, uiDeviceId, PINS10_SHOW_DEC),
};

constexpr SPins10Field msc_aoI2cDeviceFields[] = {
    U16(tagPins10DeviceI2c, uiDeviceId, PINS10_SHOW_DEC),
    U16(tagPins10DeviceI2c, uiType, PINS10_SHOW_DEC),
    TEXT(tagPins10DeviceI2c, szName),
    U16(tagPins10DeviceI2c, uiBusId, PINS10_SHOW_DEC),
    U8(tagPins10DeviceI2c, auiI2cAddress, PINS10_SHOW_HEX),
    U16(tagPins10DeviceI2c, uiChipSelectMiscIoId, PINS10_SHOW_DEC),
    U16(tagPins10DeviceI2c, uiChipInterruptId, PINS10_SHOW_DEC),
    U16(tagPins10DeviceI2c, uiParentId, PINS10_SHOW_DEC),
};

constexpr SPins10Field msc_aoConnectorFields[] = {
    U16(tagPins10Connector, uiConnectorId, PINS10_SHOW_DEC),
    U16(tagPins10Connector, uiType, PINS10_SHOW_DEC),
    TEXT(tagPins10Connector, szName),
    U32(tagPins10Connector, uiUsage, PINS10_SHOW_HEX),
    U32(tagPins10Connector, uiFeatures, PINS10_SHOW_HEX),
    U16(tagPins10Connector, auiDeviceId, PINS10_SHOW_DEC),
    U16(tagPins10Connector, uiDdcBusId, PINS10_SHOW_DEC),
    U16(tagPins10Connector, uiHpdPinId, PINS10_SHOW_DEC),
};

constexpr SPins10Field msc_aoMapsFields[] = {
    U16(tagPins10Maps, uiType, PINS10_SHOW_DEC),
    U16(tagPins10Maps, uiDeviceId, PINS10_SHOW_DEC),
    U16(tagPins10Maps, uiFpgaDeviceId, PINS10_SHOW_DEC),
    U16(tagPins10Maps, uiClockType, PINS10_SHOW_DEC),
    U16(tagPins10Maps, uiClockDeviceId, PINS10_SHOW_DEC),
    U8(tagPins10Maps, uiPortIndex, PINS10_SHOW_DEC),
    U8(tagPins10Maps, uiBridgePortIndex, PINS10_SHOW_DEC),
    U16(tagPins10Maps, uiConnectorId, PINS10_SHOW_DEC),
    U16(tagPins10Maps, uiInternalInterruptId, PINS10_SHOW_DEC),
};

constexpr SPins10Field msc_aoCalibrationFields[] = {
    U32(tagPins10Calibrate_v1, uiVersion, PINS10_SHOW_HEX),
    U16(tagPins10Calibrate_v1, uiFpgaDeviceId, PINS10_SHOW_DEC),
    U8(tagPins10Calibrate_v1, uiPortIndex, PINS10_SHOW_DEC),
    U8(tagPins10Calibrate_v1, uiGenCtlCfgDelayClkAdj, PINS10_SHOW_DEC),
    U8(tagPins10Calibrate_v1, uiFpgaToHb4DelayClk, PINS10_SHOW_DEC),
    U8(tagPins10Calibrate_v1, uiFpgaToHb4DelayDat, PINS10_SHOW_DEC),
    U8(tagPins10Calibrate_v1, auiReserved, PINS10_SHOW_HEX),
};

constexpr SPins10Field msc_aoEndFields[] = {
    U8(PinsCheck, uiCheckSum, PINS10_SHOW_HEX),
    U8(PinsCheck, auiReserved, PINS10_SHOW_HEX),
};

#undef U8
#undef U16
#undef U32
#undef TEXT
#undef PINS10_FIELD

#define PINS10_KIND(signature, key, title, record, fields) \
    SPins10Kind { signature, key, title, sizeof(record), fields, sizeof(fields) / sizeof(fields[0]) }

constexpr SPins10Kind msc_aoKinds[] = {
    PINS10_KIND(PINS10_SIGNATURE_HEADER, "header", "header", tagPins10Header, msc_aoHeaderFields),
    PINS10_KIND(PINS10_SIGNATURE_CPU, "cpu", "processor", tagPins10Cpu, msc_aoCpuFields),
    PINS10_KIND(PINS10_SIGNATURE_CLOCK, "clock", "clocks", tagPins10Clock, msc_aoClockFields),
    PINS10_KIND(PINS10_SIGNATURE_MEMORY, "memory", "memory controller", tagPins10Mem_v2, msc_aoMemoryFields),
    PINS10_KIND(PINS10_SIGNATURE_LIMITATION, "limitation", "limitation", tagPins10Limitation, msc_aoLimitationFields),
    PINS10_KIND(PINS10_SIGNATURE_FACTORY_OPTIONS, "factoryOptions", "factory options", tagPins10FactoryOptions,
                msc_aoFactoryOptionsFields),
    PINS10_KIND(PINS10_SIGNATURE_MISC_IO, "miscIo", "I/O pins", tagPins10MiscIo, msc_aoMiscIoFields),
    PINS10_KIND(PINS10_SIGNATURE_I2C_BUS, "i2cBus", "I2C buses", tagPins10I2cBus, msc_aoI2cBusFields),
    PINS10_KIND(PINS10_SIGNATURE_I2C_DEVICE, "i2cDevice", "I2C devices", tagPins10DeviceI2c, msc_aoI2cDeviceFields),
    PINS10_KIND(PINS10_SIGNATURE_CONNECTOR, "connector", "connectors", tagPins10Connector, msc_aoConnectorFields),
    PINS10_KIND(PINS10_SIGNATURE_MAPS, "maps", "signal maps", tagPins10Maps, msc_aoMapsFields),
    PINS10_KIND(PINS10_SIGNATURE_CALIBRATION, "calibration", "calibrations", tagPins10Calibrate_v1,
                msc_aoCalibrationFields),
    PINS10_KIND(PINS10_SIGNATURE_END, "end", "end", PinsCheck, msc_aoEndFields),
};

#undef PINS10_KIND

// Every byte of every record belongs to exactly one field, in order: a description written from
// the fields gives back every byte of the block.
constexpr bool FieldsTileRecord(const SPins10Kind& roKind)
{
    MUINT32 uiNext = 0;
    for (MUINT32 i = 0; i < roKind.uiFieldCount; ++i)
    {
        const SPins10Field& roField = roKind.paoFields[i];
        if (roField.uiOffset != uiNext)
            return false;
        uiNext += roField.uiCount * ElementSize(roField.eType);
    }
    return uiNext == roKind.uiRecordSize;
}

constexpr bool AllFieldsTileTheirRecords()
{
    for (const SPins10Kind& roKind : msc_aoKinds)
    {
        if (!FieldsTileRecord(roKind))
            return false;
    }
    return true;
}
static_assert(AllFieldsTileTheirRecords(), "a field table leaves a gap or overlaps in its record");

// Clock sources selected by bits 1-3 of a clock-control word.
constexpr const char* msc_apszClockSources[8] = {"OSC", "FSSYS0", "FSSYS1", "FSVID0", "FSSYS2", "VID0CLK", "VID1CLK",
                                                 "VID2CLK"};
}  // namespace

const SPins10Kind* Pins10FindKindBySignature(MUINT16 uiSignature)
{
    for (const SPins10Kind& roKind : msc_aoKinds)
    {
        if (((roKind.uiSignature ^ uiSignature) & PINS10_SIGNATURE_KIND_MASK) == 0)
            return &roKind;
    }
    return nullptr;
}

const SPins10Kind* Pins10FindKindByKey(const char* pszKey)
{
    for (const SPins10Kind& roKind : msc_aoKinds)
    {
        if (strcmp(roKind.pszKey, pszKey) == 0)
            return &roKind;
    }
    return nullptr;
}

MUINT32 Pins10FieldElementSize(EPins10FieldType eType) { return ElementSize(eType); }

const char* Pins10ClockSourceName(MUINT32 uiClockControl) { return msc_apszClockSources[(uiClockControl >> 1) & 0x7]; }
