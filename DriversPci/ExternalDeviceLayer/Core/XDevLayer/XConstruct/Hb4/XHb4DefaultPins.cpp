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
// One model: its block, and the refinements that GetPinsContent may pick instead (same size).
struct SDefaultPinsModel
{
    MUINT32              uiSubsysId;
    const unsigned char* puiPins;
    const unsigned int*  puiSize;
    const unsigned char* puiInputOutputVariant;   // variant selector 1, or null
    const unsigned char* puiFirstRevision;        // PCB revision (uRev) 0, or null
};

// Several words may share one block (a model sold under several subsystem ids).
const SDefaultPinsModel msc_aoModels[] = {
    {E_SUB_SYS_ID_REF_QUAD_PHY, XHb4DefaultPins_Ref4Phy, &XHb4DefaultPins_Ref4Phy_size, XHb4DefaultPins_Ref4PhyIo, nullptr},
    {E_SUB_SYS_ID_REF_DUAL_PHY, XHb4DefaultPins_Ref2Phy, &XHb4DefaultPins_Ref2Phy_size, nullptr, XHb4DefaultPins_Ref2PhyRev0},
    {E_SUB_SYS_ID_REF_FANLESS, XHb4DefaultPins_RefFanless, &XHb4DefaultPins_RefFanless_size, nullptr, nullptr},
};

const SDefaultPinsModel* FindModel(MUINT32 uiSubsysId)
{
    for (const SDefaultPinsModel& roModel : msc_aoModels)
    {
        if (roModel.uiSubsysId == uiSubsysId)
            return &roModel;
    }
    return nullptr;
}
}  // namespace

// Both are fixed when the program is loaded: the size is the record's, not the generated
// XHb4DefaultPins_Generic_size, whose value another source file supplies only at start-up, so a
// constructor that ran first would have read 0 (the tests check that the two agree).
const MUINT8* const DefaultPins::msc_oPins = XHb4DefaultPins_Generic;
const MUINT32 DefaultPins::msc_uiPinsSize = sizeof(tagDefaultPins10);

// Models with a block of their own first; unused entries stay undefined.
const MUINT32 XHb4DefaultPins::msc_aeSupportedSubSysId[msc_uiSupportedCount] = {
    E_SUB_SYS_ID_REF_QUAD_PHY, E_SUB_SYS_ID_REF_DUAL_PHY, E_SUB_SYS_ID_REF_FANLESS, E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED,
};

const MUINT32 XHb4DefaultPins::msc_aeFanlessSubsysIds[msc_uiFanlessCount] = {
    E_SUB_SYS_ID_REF_FANLESS, E_SUB_SYS_ID_UNDEFINED, E_SUB_SYS_ID_UNDEFINED, E_SUB_SYS_ID_UNDEFINED,
    E_SUB_SYS_ID_UNDEFINED,   E_SUB_SYS_ID_UNDEFINED, E_SUB_SYS_ID_UNDEFINED, E_SUB_SYS_ID_UNDEFINED,
};

MUINT32 XHb4DefaultPins::GetDefaultPinsSize(MUINT32 uiSubsysId, const tagPinsHeaderPcbInfo* /*poPcbInfo*/,
                                            MUINT32 /*uiVariant*/)
{
    // Variants and revisions of a model share its size.
    const SDefaultPinsModel* poModel = FindModel(uiSubsysId);
    return poModel ? *poModel->puiSize : DefaultPins::msc_uiPinsSize;
}

const MUINT8* XHb4DefaultPins::GetPinsContent(MUINT32 uiSubsysId, const tagPinsHeaderPcbInfo* poPcbInfo,
                                              MUINT32 uiVariant)
{
    const SDefaultPinsModel* poModel = FindModel(uiSubsysId);
    if (poModel == nullptr)
        return DefaultPins::msc_oPins;
    if (poModel->puiInputOutputVariant != nullptr && uiVariant == msc_uiVariantInputOutput)
        return poModel->puiInputOutputVariant;
    if (poModel->puiFirstRevision != nullptr && poPcbInfo != nullptr && poPcbInfo->uRev == 0)
        return poModel->puiFirstRevision;
    return poModel->puiPins;
}

MUINT32 XHb4DefaultPins::GetSupportedSubsysIds(MUINT32* pauiIds)
{
    if (pauiIds != nullptr)
        memcpy(pauiIds, msc_aeSupportedSubSysId, sizeof(msc_aeSupportedSubSysId));
    return msc_uiSupportedCount;
}

MBOOL32 XHb4DefaultPins::IsFanlessSubsysId(MUINT32 uiSubsysId)
{
    // The whole list is scanned. An unused entry never matches: a subsystem word that reads as
    // all ones (an absent function) must not cost a board its fan.
    MBOOL32 bFanless = 0;
    for (MUINT32 uiEntry : msc_aeFanlessSubsysIds)
    {
        if (uiEntry != E_SUB_SYS_ID_UNDEFINED && uiEntry == uiSubsysId)
            bFanless = 1;
    }
    return bFanless;
}
