// Parameter blocks come from files and from board EEPROMs: any bytes at all. This target hands
// arbitrary bytes to the validator, and the chains it accepts to every accessor, then combines
// two chains with merge and add and removes list elements from one.
//
// Input: an 8-byte control word, then chain A, then chain B.
//   bytes 0-1  size of A (little-endian; cut to what is there), the rest is B
//   bytes 2-3  block signature for the raw lookups and the removal
//   bytes 4-5  element type for the removal
//   bytes 6-7  element index (and I2C device id) for the list accessors
// Each chain sits in a heap buffer of exactly its size, so a read past it is an ASan finding.
// Besides memory errors the target checks what the callers rely on: a combination that succeeds
// yields a chain the validator accepts, and a removal leaves a valid chain, never grows it,
// zeroes what it freed and returns its new length.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "FuzzSupport.h"
#include "XPinS10.h"
#include "XPins10Chain.h"
#include "XPins10Helper.h"

namespace
{

// Every accessor on a chain that the validator accepted.
void ReadEverything(const MUINT8* puiPins, MUINT16 uiSignature, MUINT32 uiIndex)
{
    tagPins10Header oHeader;
    tagPins10Cpu oCpu;
    tagPins10Clock oClock;
    tagPins10Mem_v2 oMemory;
    tagPins10Limitation oLimitation;
    tagPins10FactoryOptions oOptions;
    XPins10Helper::GetPinsHeader(puiPins, &oHeader);
    if (XPins10Helper::GetCpuInfo(puiPins, &oCpu))
    {
        XPins10Helper::CalcMemorySizeInMB(oCpu.auiMemQty);
        XPins10Helper::IsMemoryInterleaveDualMode(oCpu.auiMemQty);
    }
    XPins10Helper::GetPinsClock(puiPins, &oClock);
    if (XPins10Helper::GetPinsMemoryConfig(puiPins, &oMemory))
    {
        XPins10Helper::CalcMemorySizeInMB(oMemory.auiMemQty);
    }
    XPins10Helper::GetPinsLimitation(puiPins, &oLimitation);
    XPins10Helper::GetOptInfo(puiPins, &oOptions);

    for (MUINT32 uiAt : {MUINT32(0), uiIndex})
    {
        tagPins10MiscIo oMiscIo;
        tagPins10I2cBus oI2cBus;
        tagPins10DeviceI2c oDevice;
        tagPins10Connector oConnector;
        tagPins10Maps oMap;
        tagPins10Calibrate_v1 oCalibration;
        XPins10Helper::GetPinsMiscIo(puiPins, uiAt, &oMiscIo);
        XPins10Helper::GetPinsI2cBus(puiPins, uiAt, &oI2cBus);
        XPins10Helper::GetPinsI2cDevice(puiPins, uiAt, &oDevice);
        XPins10Helper::GetPinsI2cDeviceById(puiPins, uiAt, &oDevice);
        XPins10Helper::GetPinsConnector(puiPins, uiAt, &oConnector);
        XPins10Helper::GetPinsMap(puiPins, uiAt, &oMap);
        XPins10Helper::GetPinsCalibration(puiPins, uiAt, &oCalibration);
    }

    // The raw lookups, into a destination smaller than most records.
    MUINT8 auiSmall[16];
    MUINT32 uiSize = 0;
    const MUINT8* puiData = Pins10GetPinsBlockData(puiPins, uiSignature, uiIndex, &uiSize);
    if (puiData != nullptr)
    {
        FuzzTouch(puiData, uiSize);
    }
    Pins10CopyBlockData(puiPins, uiSignature, uiIndex, sizeof(auiSmall), &uiSize, auiSmall);

    // The walk, and the element count of every list on the way.
    for (const MUINT8* puiBlock = puiPins; puiBlock != nullptr; puiBlock = Pins10NextBlockHeader(puiBlock))
    {
        MUINT16 uiBlockSignature;
        std::memcpy(&uiBlockSignature, puiBlock, sizeof(uiBlockSignature));
        if (uiBlockSignature & PINS10_SIGNATURE_LIST_FLAG)
        {
            Pins10ListItemCount(puiBlock);
        }
    }
}

using CombineFunction = MBOOL32 (*)(MUINT8*, MUINT32, MUINT8*, MUINT32, MUINT8**, MUINT32*);

// Combines copies of A and B (the combinations validate their inputs themselves). When it claims
// success, the result must be a chain the validator takes at its size.
void Combine(const char* pszWhat, CombineFunction pfnCombine, const CFuzzBuffer& roA, const CFuzzBuffer& roB)
{
    CFuzzBuffer oCopyA(roA), oCopyB(roB);
    MUINT8* puiOut = nullptr;
    MUINT32 uiOutSize = 0;
    if (pfnCombine(oCopyA.Data(), oCopyA.Size(), oCopyB.Data(), oCopyB.Size(), &puiOut, &uiOutSize))
    {
        FuzzRequire(puiOut != nullptr && uiOutSize > 0, pszWhat, "succeeded without a chain");
        std::vector<MUINT8> auiCopy(puiOut, puiOut + uiOutSize);
        FuzzRequire(Pins10Validate(auiCopy.data(), uiOutSize) != 0, pszWhat, "made a chain that does not validate");
    }
    delete[] puiOut;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* puiData, std::size_t uiSize)
{
    CFuzzInput oInput(puiData, uiSize);
    const MUINT32 uiSizeA = oInput.U16();
    const MUINT16 uiSignature = oInput.U16();
    const MUINT16 uiType = oInput.U16();
    const MUINT32 uiIndex = oInput.U16();
    CFuzzBuffer oA(oInput.Take(uiSizeA));
    CFuzzBuffer oB(oInput.Rest());

    // Validation on its own copy: it may rewrite an older header in place.
    {
        CFuzzBuffer oCopy(oA);
        if (Pins10Validate(oCopy.Data(), oCopy.Size()))
        {
            ReadEverything(oCopy.Data(), uiSignature, uiIndex);
        }
    }

    Combine("merge", XPins10Helper::MergePinsData, oA, oB);
    Combine("add", XPins10Helper::AddPinsData, oA, oB);
    {
        CFuzzBuffer oCopy(oA);
        const MUINT32 uiBefore = oCopy.Size();
        MUINT32 uiAfter = uiBefore;
        if (XPins10Helper::RemovePinsMultiBlockElement(uiSignature, uiType, uiAfter, oCopy.Data()))
        {
            FuzzRequire(uiAfter <= uiBefore, "remove", "grew the chain");
            for (MUINT32 i = uiAfter; i < uiBefore; ++i)
            {
                FuzzRequire(oCopy.Data()[i] == 0, "remove", "left data in the freed tail");
            }
            // The caller keeps its buffer; the new length is where the chain in it now ends (a chain
            // may be shorter than the smallest buffer the validator takes).
            MUINT32 uiEnd = 0;
            FuzzRequire(Pins10Validate(oCopy.Data(), uiBefore) != 0, "remove", "made a chain that does not validate");
            Pins10WalkChain(oCopy.Data(), uiBefore, &uiEnd);
            FuzzRequire(uiAfter == uiEnd + sizeof(tagPinsBlock) + Pins10BlockLength(oCopy.Data() + uiEnd), "remove",
                        "returned a length that is not the chain's");
        }
    }
    return 0;
}
