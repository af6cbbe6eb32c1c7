// Built-in parameter blocks of the board family, chosen by the board's PCI subsystem word.
#include "XHb4DefaultPins.h"

#include <cstring>

// Generated from Data/<Name>.json at build time.
#define XHB4_DEFAULT_BLOCK(name)                             \
    extern const unsigned char XHb4DefaultPins_##name[];     \
    extern const unsigned int XHb4DefaultPins_##name##_size;

XHB4_DEFAULT_BLOCK(Generic)
XHB4_DEFAULT_BLOCK(Ref4Phy)
XHB4_DEFAULT_BLOCK(Ref4PhyIo)
XHB4_DEFAULT_BLOCK(Ref2Phy)
XHB4_DEFAULT_BLOCK(Ref2PhyRev0)
XHB4_DEFAULT_BLOCK(RefFanless)

#undef XHB4_DEFAULT_BLOCK

namespace
{
// The blocks of one board design, and the refinements that GetPinsContent may pick instead of its
// block (all of the design's size).
struct SDefaultPinsDesign
{
    const unsigned char* puiPins;
    const unsigned int*  puiSize;
    const unsigned char* puiInputOutputVariant;   // variant selector 1, or null
    const unsigned char* puiFirstRevision;        // PCB revision (uRev) 0, or null
};

// Only the quad design's reference board was also built as an input/output variant; the first PCB
// revision of the dual design shipped under all of its words.
const SDefaultPinsDesign msc_oQuadPhyReference = {XHb4DefaultPins_Ref4Phy, &XHb4DefaultPins_Ref4Phy_size,
                                                  XHb4DefaultPins_Ref4PhyIo, nullptr};
const SDefaultPinsDesign msc_oQuadPhy = {XHb4DefaultPins_Ref4Phy, &XHb4DefaultPins_Ref4Phy_size, nullptr, nullptr};
const SDefaultPinsDesign msc_oDualPhy = {XHb4DefaultPins_Ref2Phy, &XHb4DefaultPins_Ref2Phy_size, nullptr,
                                         XHb4DefaultPins_Ref2PhyRev0};
const SDefaultPinsDesign msc_oFanless = {XHb4DefaultPins_RefFanless, &XHb4DefaultPins_RefFanless_size, nullptr,
                                         nullptr};

// The design of each word of the supported list, at the word's index (row for row as laid out
// there).
const SDefaultPinsDesign* const msc_apoDesigns[XHb4DefaultPins::msc_uiSupportedCount] = {
    &msc_oQuadPhyReference,  &msc_oQuadPhy,           &msc_oQuadPhy,           &msc_oQuadPhy,
    &msc_oQuadPhy,           &msc_oQuadPhy,           &msc_oQuadPhy,           &msc_oQuadPhy,
    &msc_oQuadPhy,           &msc_oQuadPhy,           &msc_oQuadPhy,           &msc_oQuadPhy,
    &msc_oDualPhy,           &msc_oDualPhy,           &msc_oDualPhy,           &msc_oDualPhy,
    &msc_oDualPhy,           &msc_oDualPhy,           &msc_oDualPhy,           &msc_oDualPhy,
    &msc_oDualPhy,           &msc_oDualPhy,           &msc_oDualPhy,           &msc_oDualPhy,
    &msc_oFanless,           &msc_oFanless,           &msc_oFanless,           &msc_oFanless,
    &msc_oFanless,           &msc_oFanless,           &msc_oFanless,           &msc_oFanless,
};

const SDefaultPinsDesign* FindDesign(MUINT32 uiSubsysId)
{
    for (MUINT32 uiIndex = 0; uiIndex < XHb4DefaultPins::msc_uiSupportedCount; ++uiIndex)
    {
        if (XHb4DefaultPins::msc_aeSupportedSubSysId[uiIndex] == uiSubsysId)
            return msc_apoDesigns[uiIndex];
    }
    return nullptr;
}
}  // namespace

// Both are fixed when the program is loaded: the size is the record's, not the generated
// XHb4DefaultPins_Generic_size, whose value another source file supplies only at start-up, so a
// constructor that ran first would have read 0 (the tests check that the two agree).
const MUINT8* const DefaultPins::msc_oPins = XHb4DefaultPins_Generic;
const MUINT32 DefaultPins::msc_uiPinsSize = sizeof(tagDefaultPins10);

// Every word has a block of its own; the OEM versions of a design share the design's block.
const MUINT32 XHb4DefaultPins::msc_aeSupportedSubSysId[msc_uiSupportedCount] = {
    E_SUB_SYS_ID_REF_QUAD_PHY,   E_SUB_SYS_ID_QUAD_PHY_OEM1,  E_SUB_SYS_ID_QUAD_PHY_OEM2,  E_SUB_SYS_ID_QUAD_PHY_OEM3,
    E_SUB_SYS_ID_QUAD_PHY_OEM4,  E_SUB_SYS_ID_QUAD_PHY_OEM5,  E_SUB_SYS_ID_QUAD_PHY_OEM6,  E_SUB_SYS_ID_QUAD_PHY_OEM7,
    E_SUB_SYS_ID_QUAD_PHY_OEM8,  E_SUB_SYS_ID_QUAD_PHY_OEM9,  E_SUB_SYS_ID_QUAD_PHY_OEM10, E_SUB_SYS_ID_QUAD_PHY_OEM11,
    E_SUB_SYS_ID_REF_DUAL_PHY,   E_SUB_SYS_ID_DUAL_PHY_OEM1,  E_SUB_SYS_ID_DUAL_PHY_OEM2,  E_SUB_SYS_ID_DUAL_PHY_OEM3,
    E_SUB_SYS_ID_DUAL_PHY_OEM4,  E_SUB_SYS_ID_DUAL_PHY_OEM5,  E_SUB_SYS_ID_DUAL_PHY_OEM6,  E_SUB_SYS_ID_DUAL_PHY_OEM7,
    E_SUB_SYS_ID_DUAL_PHY_OEM8,  E_SUB_SYS_ID_DUAL_PHY_OEM9,  E_SUB_SYS_ID_DUAL_PHY_OEM10, E_SUB_SYS_ID_DUAL_PHY_OEM11,
    E_SUB_SYS_ID_REF_FANLESS,    E_SUB_SYS_ID_FANLESS_OEM1,   E_SUB_SYS_ID_FANLESS_OEM2,   E_SUB_SYS_ID_FANLESS_OEM3,
    E_SUB_SYS_ID_FANLESS_OEM4,   E_SUB_SYS_ID_FANLESS_OEM5,   E_SUB_SYS_ID_FANLESS_OEM6,   E_SUB_SYS_ID_FANLESS_OEM7,
};

const MUINT32 XHb4DefaultPins::msc_aeFanlessSubsysIds[msc_uiFanlessCount] = {
    E_SUB_SYS_ID_REF_FANLESS,  E_SUB_SYS_ID_FANLESS_OEM1, E_SUB_SYS_ID_FANLESS_OEM2, E_SUB_SYS_ID_FANLESS_OEM3,
    E_SUB_SYS_ID_FANLESS_OEM4, E_SUB_SYS_ID_FANLESS_OEM5, E_SUB_SYS_ID_FANLESS_OEM6, E_SUB_SYS_ID_FANLESS_OEM7,
};

MUINT32 XHb4DefaultPins::GetDefaultPinsSize(MUINT32 uiSubsysId, const tagPinsHeaderPcbInfo* /*poPcbInfo*/,
                                            MUINT32 /*uiVariant*/)
{
    // Variants and revisions of a design share its size.
    const SDefaultPinsDesign* poDesign = FindDesign(uiSubsysId);
    return poDesign ? *poDesign->puiSize : DefaultPins::msc_uiPinsSize;
}

const MUINT8* XHb4DefaultPins::GetPinsContent(MUINT32 uiSubsysId, const tagPinsHeaderPcbInfo* poPcbInfo,
                                              MUINT32 uiVariant)
{
    const SDefaultPinsDesign* poDesign = FindDesign(uiSubsysId);
    if (poDesign == nullptr)
        return DefaultPins::msc_oPins;
    if (poDesign->puiInputOutputVariant != nullptr && uiVariant == msc_uiVariantInputOutput)
        return poDesign->puiInputOutputVariant;
    if (poDesign->puiFirstRevision != nullptr && poPcbInfo != nullptr && poPcbInfo->uRev == 0)
        return poDesign->puiFirstRevision;
    return poDesign->puiPins;
}

MUINT32 XHb4DefaultPins::GetSupportedSubsysIds(MUINT32* pauiIds)
{
    if (pauiIds != nullptr)
        memcpy(pauiIds, msc_aeSupportedSubSysId, sizeof(msc_aeSupportedSubSysId));
    return msc_uiSupportedCount;
}

MBOOL32 XHb4DefaultPins::IsFanlessSubsysId(MUINT32 uiSubsysId)
{
    // The whole list is scanned, whatever matched.
    MBOOL32 bFanless = 0;
    for (MUINT32 uiEntry : msc_aeFanlessSubsysIds)
    {
        if (uiEntry == uiSubsysId)
            bFanless = 1;
    }
    return bFanless;
}
