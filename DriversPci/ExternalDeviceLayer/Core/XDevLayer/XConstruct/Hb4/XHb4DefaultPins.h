// Built-in parameter blocks of the board family, chosen by the board's PCI subsystem word.
//
// A board whose EEPROM holds no usable parameter block is initialised from its model's built-in
// block; a board whose EEPROM block lacks some kinds gets them from there (the EEPROM block is
// merged first, so its blocks win). A subsystem word without a model of its own gets the generic
// block. The blocks are described in Data/*.json and compiled in as constant byte arrays.
#pragma once

#include "QelBaseTypes.h"
#include "XPins10Types.h"

// Subsystem words: subsystem id in bits 16-31, the family's vendor id 0x1E5B in bits 0-15.
enum ESupportedSubSysId : MUINT32
{
    E_SUB_SYS_ID_REF_QUAD_PHY = 0x0A011E5B,   // four DDR PHYs; plain and input/output variants
    E_SUB_SYS_ID_REF_DUAL_PHY = 0x0A021E5B,   // two DDR PHYs; current and first PCB revision
    E_SUB_SYS_ID_REF_FANLESS  = 0x0A031E5B,   // four DDR PHYs, no fan
    E_SUB_SYS_ID_DEFAULT      = 0x12341E5B,   // selects the generic block
    E_SUB_SYS_ID_UNDEFINED    = 0xFFFFFFFF,   // an unused entry of the lists below
};

#pragma pack(push, 1)
// Layout of the generic block: the usual order of a parameter block.
struct tagDefaultPins10
{
    tagPinsBlock            oHeaderBlock;
    tagPins10Header         oHeader;
    tagPinsBlock            oCpuBlock;
    tagPins10Cpu            oCpu;
    tagPinsBlock            oClockBlock;
    tagPins10Clock          oClock;
    tagPinsBlock            oMemoryBlock;
    tagPins10Mem_v2         oMemory;
    tagPinsBlockList        oMiscIoList;
    tagPins10MiscIo         aoMiscIo[3];
    tagPinsBlockList        oI2cBusList;
    tagPins10I2cBus         aoI2cBus[1];
    tagPinsBlock            oOptionsBlock;
    tagPins10FactoryOptions oOptions;
    tagPinsBlock            oEndBlock;
    PinsCheck               oCheck;
};
#pragma pack(pop)
static_assert(sizeof(tagDefaultPins10) == 584);
static_assert(offsetof(tagDefaultPins10, oCpuBlock) == 56 && offsetof(tagDefaultPins10, oClockBlock) == 68);
static_assert(offsetof(tagDefaultPins10, oMemoryBlock) == 228 && offsetof(tagDefaultPins10, oMiscIoList) == 388);
static_assert(offsetof(tagDefaultPins10, oI2cBusList) == 516 && offsetof(tagDefaultPins10, oOptionsBlock) == 568);
static_assert(offsetof(tagDefaultPins10, oEndBlock) == 576);

// The generic block (laid out as tagDefaultPins10).
class DefaultPins
{
public:
    static const MUINT8* const msc_oPins;
    static const MUINT32 msc_uiPinsSize;
};

class XHb4DefaultPins
{
public:
    static constexpr MUINT32 msc_uiSupportedCount = 32;
    static constexpr MUINT32 msc_uiFanlessCount = 8;
    static constexpr MUINT32 msc_uiVariantInputOutput = 1;

    static const MUINT32 msc_aeSupportedSubSysId[msc_uiSupportedCount];
    static const MUINT32 msc_aeFanlessSubsysIds[msc_uiFanlessCount];

    // Size of the block that GetPinsContent returns for the same arguments; never 0.
    static MUINT32 GetDefaultPinsSize(MUINT32 uiSubsysId, const tagPinsHeaderPcbInfo* poPcbInfo, MUINT32 uiVariant);
    // The constant block for a subsystem word. uiVariant 1 picks a model's input/output variant;
    // a PCB info with revision (uRev) 0 picks a model's first-revision block. Never null; the
    // caller copies it and never writes or frees it.
    static const MUINT8* GetPinsContent(MUINT32 uiSubsysId, const tagPinsHeaderPcbInfo* poPcbInfo, MUINT32 uiVariant);
    // Copies the 32 supported subsystem words when pauiIds is not null; returns 32.
    static MUINT32 GetSupportedSubsysIds(MUINT32* pauiIds);
    static MBOOL32 IsFanlessSubsysId(MUINT32 uiSubsysId);
};
