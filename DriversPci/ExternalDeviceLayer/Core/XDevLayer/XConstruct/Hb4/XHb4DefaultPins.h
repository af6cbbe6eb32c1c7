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
// Each board design is sold under several words: the reference word of the design (subsystem id
// 0x0A0n) and the words of its OEM versions (0x0Amn, m = 1..), which carry the same board and so
// the same built-in block.
enum ESupportedSubSysId : MUINT32
{
    // Four DDR PHYs. The reference word alone has an input/output variant.
    E_SUB_SYS_ID_REF_QUAD_PHY   = 0x0A011E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM1  = 0x0A111E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM2  = 0x0A211E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM3  = 0x0A311E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM4  = 0x0A411E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM5  = 0x0A511E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM6  = 0x0A611E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM7  = 0x0A711E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM8  = 0x0A811E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM9  = 0x0A911E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM10 = 0x0AA11E5B,
    E_SUB_SYS_ID_QUAD_PHY_OEM11 = 0x0AB11E5B,
    // Two DDR PHYs. Every word of the design has a first-PCB-revision block.
    E_SUB_SYS_ID_REF_DUAL_PHY   = 0x0A021E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM1  = 0x0A121E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM2  = 0x0A221E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM3  = 0x0A321E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM4  = 0x0A421E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM5  = 0x0A521E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM6  = 0x0A621E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM7  = 0x0A721E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM8  = 0x0A821E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM9  = 0x0A921E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM10 = 0x0AA21E5B,
    E_SUB_SYS_ID_DUAL_PHY_OEM11 = 0x0AB21E5B,
    // Four DDR PHYs, no fan: the fanless words.
    E_SUB_SYS_ID_REF_FANLESS    = 0x0A031E5B,
    E_SUB_SYS_ID_FANLESS_OEM1   = 0x0A131E5B,
    E_SUB_SYS_ID_FANLESS_OEM2   = 0x0A231E5B,
    E_SUB_SYS_ID_FANLESS_OEM3   = 0x0A331E5B,
    E_SUB_SYS_ID_FANLESS_OEM4   = 0x0A431E5B,
    E_SUB_SYS_ID_FANLESS_OEM5   = 0x0A531E5B,
    E_SUB_SYS_ID_FANLESS_OEM6   = 0x0A631E5B,
    E_SUB_SYS_ID_FANLESS_OEM7   = 0x0A731E5B,

    E_SUB_SYS_ID_DEFAULT        = 0x12341E5B,   // selects the generic block
    E_SUB_SYS_ID_UNDEFINED      = 0xFFFFFFFF,   // no board: what an absent function reads
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
