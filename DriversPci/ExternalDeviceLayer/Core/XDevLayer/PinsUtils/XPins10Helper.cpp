// Accessors and combinations of Pins10 board parameter blocks.
#include "XPins10Helper.h"

#include <cstring>
#include <new>

#include "QelAssert.h"
#include "XPinS10.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_RECORD_NULL_ARGUMENT    = 46,
    REPORT_RECORD_TOO_SHORT        = 55,
    REPORT_MEMORY_V1_TOO_SHORT     = 79,
    REPORT_COMBINE_NULL_OUTPUT     = 294,
    REPORT_COMBINE_LIST_TOO_LONG   = 321,
    REPORT_COMBINE_SHARED_REFUSED  = 327,
    REPORT_COMBINE_TOO_LARGE       = 333,
    REPORT_COMBINE_NO_MEMORY       = 340,
    REPORT_COMBINE_WRITE_FAILED    = 365,
    REPORT_MEMORY_NULL_ARGUMENT    = 398,
    REPORT_MEMORY_NO_VERSION       = 406,
    REPORT_MEMORY_V2_TOO_SHORT     = 414,
    REPORT_MEMORY_UNKNOWN_VERSION  = 421,
    REPORT_CALIBRATION_BAD_VERSION = 484,
    // A fanless board with a blank EEPROM shows this one at every start; the README tells
    // operators it is harmless.
    REPORT_REMOVE_BAD_ARGUMENTS    = 507,
    REPORT_REMOVE_BAD_CHAIN        = 533,
    REPORT_REMOVE_NO_MEMORY        = 539,
    REPORT_REMOVE_WRITE_FAILED     = 557,
};

// ---------------------------------------------------------------------------------------------
// Record accessors
// ---------------------------------------------------------------------------------------------

struct SRecordAccess
{
    MUINT16 uiSignature;
    MUINT32 uiReadSize;       // bytes copied at most
    MUINT32 uiMinSize;        // fewer bytes present: the record is unusable
    MBOOL32 bReportFailure;   // a null argument or a short record is an assertion report
};

constexpr SRecordAccess msc_oHeaderAccess = {PINS10_SIGNATURE_HEADER, sizeof(tagPins10Header), PINS10_HEADER_MIN_SIZE, 1};
constexpr SRecordAccess msc_oCpuAccess = {PINS10_SIGNATURE_CPU, sizeof(tagPins10Cpu), sizeof(tagPins10Cpu), 1};
constexpr SRecordAccess msc_oClockAccess = {PINS10_SIGNATURE_CLOCK, sizeof(tagPins10Clock), sizeof(tagPins10Clock), 1};
constexpr SRecordAccess msc_oLimitationAccess = {PINS10_SIGNATURE_LIMITATION, sizeof(tagPins10Limitation),
                                                 sizeof(tagPins10Limitation), 0};
constexpr SRecordAccess msc_oOptionsAccess = {PINS10_SIGNATURE_FACTORY_OPTIONS, sizeof(tagPins10FactoryOptions),
                                              sizeof(tagPins10FactoryOptions), 1};
constexpr SRecordAccess msc_oMiscIoAccess = {PINS10_SIGNATURE_MISC_IO, sizeof(tagPins10MiscIo), sizeof(tagPins10MiscIo), 1};
constexpr SRecordAccess msc_oI2cBusAccess = {PINS10_SIGNATURE_I2C_BUS, sizeof(tagPins10I2cBus), sizeof(tagPins10I2cBus), 1};
constexpr SRecordAccess msc_oI2cDeviceAccess = {PINS10_SIGNATURE_I2C_DEVICE, sizeof(tagPins10DeviceI2c),
                                                sizeof(tagPins10DeviceI2c), 1};
constexpr SRecordAccess msc_oConnectorAccess = {PINS10_SIGNATURE_CONNECTOR, sizeof(tagPins10Connector),
                                                PINS10_CONNECTOR_MIN_SIZE, 0};
constexpr SRecordAccess msc_oMapAccess = {PINS10_SIGNATURE_MAPS, sizeof(tagPins10Maps), sizeof(tagPins10Maps), 0};
constexpr SRecordAccess msc_oCalibrationAccess = {PINS10_SIGNATURE_CALIBRATION, sizeof(tagPins10Calibrate_v1),
                                                  sizeof(tagPins10Calibrate_v1), 1};

MBOOL32 CopyRecord(const SRecordAccess& roAccess, const MUINT8* puiPins, MUINT32 uiIndex, void* pvRecord)
{
    if (pvRecord == nullptr || (puiPins == nullptr && roAccess.bReportFailure))
    {
        if (roAccess.bReportFailure)
            QEL_ASSERT_REPORT_AT(REPORT_RECORD_NULL_ARGUMENT);
        return 0;
    }
    MUINT32 uiCopied = 0;
    if (!Pins10CopyBlockData(puiPins, roAccess.uiSignature, uiIndex, roAccess.uiReadSize, &uiCopied, pvRecord))
        return 0;
    if (uiCopied < roAccess.uiMinSize)
    {
        if (roAccess.bReportFailure)
            QEL_ASSERT_REPORT_AT(REPORT_RECORD_TOO_SHORT);
        return 0;
    }
    return 1;
}

// The older 256-byte memory record: the controller words sit further up, and the word at 112 is
// left behind on purpose (the current controller has no register for it).
constexpr MUINT32 msc_uiMemV1MemQtyOffset = 4;
constexpr MUINT32 msc_uiMemV1ConfigOffset = 8;
constexpr MUINT32 msc_uiMemV1MbeArb0Offset = 108;
constexpr MUINT32 msc_uiMemV1MemCtl0Offset = 116;
constexpr MUINT32 msc_uiMemV2RegisterWords =
    (sizeof(tagPins10Mem_v2) - offsetof(tagPins10Mem_v2, uiMEM_CTL0)) / sizeof(MUINT32);
static_assert(msc_uiMemV2RegisterWords == 35);
static_assert(msc_uiMemV1MemCtl0Offset + 4 * msc_uiMemV2RegisterWords == PINS10_MEMORY_V1_SIZE);

MBOOL32 ConvertMemoryV1(const MUINT8* puiPins, tagPins10Mem_v2* poMemory)
{
    MUINT8 auiOld[PINS10_MEMORY_V1_SIZE] = {};
    MUINT32 uiCopied = 0;
    Pins10CopyBlockData(puiPins, PINS10_SIGNATURE_MEMORY, 0, sizeof(auiOld), &uiCopied, auiOld);
    if (uiCopied < sizeof(auiOld))
    {
        QEL_ASSERT_REPORT_AT(REPORT_MEMORY_V1_TOO_SHORT);
        return 0;
    }
    poMemory->uiVersion = PINS10_MEMORY_VERSION;
    memcpy(poMemory->auiMemQty, auiOld + msc_uiMemV1MemQtyOffset, sizeof(poMemory->auiMemQty));
    poMemory->uiMEM_CONFIG = Pins10ReadU32(auiOld + msc_uiMemV1ConfigOffset);
    poMemory->uiMBE_ARB0 = Pins10ReadU32(auiOld + msc_uiMemV1MbeArb0Offset);
    memcpy(&poMemory->uiMEM_CTL0, auiOld + msc_uiMemV1MemCtl0Offset, 4 * msc_uiMemV2RegisterWords);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Chains handled as a whole
// ---------------------------------------------------------------------------------------------

constexpr MUINT32 msc_uiBlockHeaderSize = sizeof(tagPinsBlock);
constexpr MUINT32 msc_uiListHeaderSize = sizeof(tagPinsBlockList);
constexpr MUINT32 msc_uiEndBlockSize = sizeof(tagPinsBlock) + sizeof(PinsCheck);
constexpr MUINT32 msc_uiMaxLength = 0xFFFF;

MUINT32 BlockSize(const MUINT8* puiBlock) { return msc_uiBlockHeaderSize + Pins10BlockLength(puiBlock); }
MUINT32 ListItemSize(const MUINT8* puiBlock) { return Pins10ReadU16(puiBlock + offsetof(tagPinsBlockList, uiItemSize)); }
MBOOL32 IsList(MUINT16 uiSignature) { return (uiSignature & PINS10_SIGNATURE_LIST_FLAG) != 0; }

// Records that the lookups find for a kind (list flag ignored, as they ignore it): the elements of
// a list, and 1 for a single block, which answers every index with its one record. 1 as well when
// the kind is absent, so that the lookup of index 0 is still made and fails as it does.
MUINT32 RecordCount(const MUINT8* puiPins, MUINT16 uiSignature)
{
    const MUINT8* puiBlock = puiPins;
    while (puiBlock != nullptr && ((Pins10BlockSignature(puiBlock) ^ uiSignature) & PINS10_SIGNATURE_KIND_MASK) != 0)
        puiBlock = Pins10NextBlockHeader(puiBlock);
    if (puiBlock == nullptr || !IsList(Pins10BlockSignature(puiBlock)))
        return 1;
    return Pins10ListItemCount(puiBlock);
}
MUINT32 RoundUp4(MUINT32 uiValue) { return (uiValue + 3u) & ~3u; }

// A chain that passed validation: its blocks lie in [0, uiEndOffset), the end block follows.
struct SChain
{
    const MUINT8* puiData;
    MUINT32 uiEndOffset;

    // First block before the end block whose raw signature is uiSignature, or null.
    const MUINT8* FindRaw(MUINT16 uiSignature) const
    {
        for (MUINT32 uiOffset = 0; uiOffset < uiEndOffset; uiOffset += BlockSize(puiData + uiOffset))
        {
            if (Pins10BlockSignature(puiData + uiOffset) == uiSignature)
                return puiData + uiOffset;
        }
        return nullptr;
    }
};

MBOOL32 OpenChain(MUINT8* puiPins, MUINT32 uiSize, SChain& roChain)
{
    if (!Pins10Validate(puiPins, uiSize))
        return 0;
    roChain.puiData = puiPins;
    Pins10WalkChain(puiPins, uiSize, &roChain.uiEndOffset);
    return 1;
}

// Writes into a zero-filled array and refuses to go past its end.
class COutCursor
{
public:
    COutCursor(MUINT8* puiData, MUINT32 uiCapacity) : m_puiData(puiData), m_uiCapacity(uiCapacity), m_uiPos(0) {}

    MBOOL32 Put(const void* pvSource, MUINT32 uiSize)
    {
        if (uiSize > m_uiCapacity - m_uiPos)
            return 0;
        if (pvSource != nullptr)
            memcpy(m_puiData + m_uiPos, pvSource, uiSize);
        m_uiPos += uiSize;
        return 1;
    }
    MBOOL32 PutBlockHeader(MUINT16 uiSignature, MUINT16 uiLength)
    {
        MUINT8 auiHeader[msc_uiBlockHeaderSize];
        Pins10WriteU16(auiHeader, uiSignature);
        Pins10WriteU16(auiHeader + 2, uiLength);
        return Put(auiHeader, sizeof(auiHeader));
    }
    MBOOL32 PutEndBlock()
    {
        const PinsCheck oCheck = {};
        return PutBlockHeader(PINS10_SIGNATURE_END, sizeof(oCheck)) && Put(&oCheck, sizeof(oCheck));
    }
    // Only called on positions already written.
    void PatchU16(MUINT32 uiPos, MUINT16 uiValue) { Pins10WriteU16(m_puiData + uiPos, uiValue); }
    MUINT32 Position() const { return m_uiPos; }

private:
    MUINT8* m_puiData;
    MUINT32 m_uiCapacity;
    MUINT32 m_uiPos;
};

// Offset of the element's type field in the lists that have one.
struct SListTypeField
{
    MUINT16 uiSignature;
    MUINT32 uiOffset;
};

constexpr SListTypeField msc_aoListTypeField[] = {
    {PINS10_SIGNATURE_MISC_IO, offsetof(tagPins10MiscIo, uiType)},
    {PINS10_SIGNATURE_I2C_BUS, offsetof(tagPins10I2cBus, uiType)},
    {PINS10_SIGNATURE_I2C_DEVICE, offsetof(tagPins10DeviceI2c, uiType)},
    {PINS10_SIGNATURE_CONNECTOR, offsetof(tagPins10Connector, uiType)},
    {PINS10_SIGNATURE_MAPS, offsetof(tagPins10Maps, uiType)},
};

// Whether list element puiElement (uiItemSize bytes) of list uiSignature has type uiType.
MBOOL32 IsElementOfType(MUINT16 uiSignature, const MUINT8* puiElement, MUINT32 uiItemSize, MUINT16 uiType)
{
    for (const SListTypeField& roField : msc_aoListTypeField)
    {
        if (((roField.uiSignature ^ uiSignature) & PINS10_SIGNATURE_KIND_MASK) == 0)
            return roField.uiOffset + 2 <= uiItemSize && Pins10ReadU16(puiElement + roField.uiOffset) == uiType;
    }
    return 0;   // a list without a known type field keeps every element
}

enum ECombineMode
{
    COMBINE_MERGE,   // A's block wins
    COMBINE_ADD,     // lists are concatenated
};

// What happens to a block kind that both chains carry.
enum ESharedBlock
{
    SHARED_KEEP_A,
    SHARED_CONCATENATE,
    SHARED_REFUSE,
};

ESharedBlock ClassifyShared(ECombineMode eMode, MUINT16 uiSignature)
{
    if (eMode == COMBINE_MERGE || (uiSignature & PINS10_SIGNATURE_KIND_MASK) == PINS10_SIGNATURE_HEADER)
        return SHARED_KEEP_A;
    return IsList(uiSignature) ? SHARED_CONCATENATE : SHARED_REFUSE;
}

MUINT32 SmallerItemSize(const MUINT8* puiListA, const MUINT8* puiListB)
{
    return ListItemSize(puiListA) < ListItemSize(puiListB) ? ListItemSize(puiListA) : ListItemSize(puiListB);
}

// Data length of the list that concatenates lists A and B, or 0 when it would not fit a block.
MUINT32 ConcatenatedLength(const MUINT8* puiListA, const MUINT8* puiListB)
{
    const MUINT64 uiCount = (MUINT64)Pins10ListItemCount(puiListA) + Pins10ListItemCount(puiListB);
    const MUINT64 uiLength = 4 + ((uiCount * SmallerItemSize(puiListA, puiListB) + 3) & ~(MUINT64)3);
    if (uiCount > msc_uiMaxLength || uiLength > msc_uiMaxLength)
        return 0;
    return (MUINT32)uiLength;
}

// Writes the elements of a list cut (or kept) to uiItemSize bytes, leaving out those of type
// uiSkipType when it is not 0; ruiCount grows by the number written.
MBOOL32 PutListElements(COutCursor& roOut, const MUINT8* puiList, MUINT32 uiItemSize, MUINT16 uiSkipType,
                        MUINT32& ruiCount)
{
    const MUINT16 uiSignature = Pins10BlockSignature(puiList);
    const MUINT32 uiSourceItemSize = ListItemSize(puiList);
    const MUINT32 uiCount = Pins10ListItemCount(puiList);
    MBOOL32 bOk = 1;
    for (MUINT32 i = 0; bOk && i < uiCount; ++i)
    {
        const MUINT8* puiElement = puiList + msc_uiListHeaderSize + i * uiSourceItemSize;
        if (uiSkipType != 0 && IsElementOfType(uiSignature, puiElement, uiSourceItemSize, uiSkipType))
            continue;
        bOk = roOut.Put(puiElement, uiItemSize);
        ++ruiCount;
    }
    return bOk;
}

// Writes list header uiSignature/uiItemSize, then the elements of one or two lists (elements of
// type uiSkipType left out when it is not 0), then the padding to a 4-byte multiple, and patches
// the header's count and length.
MBOOL32 PutList(COutCursor& roOut, MUINT16 uiSignature, MUINT32 uiItemSize, const MUINT8* puiListA,
                const MUINT8* puiListB, MUINT16 uiSkipType)
{
    const MUINT32 uiHeaderPos = roOut.Position();
    MUINT32 uiCount = 0;
    MBOOL32 bOk = roOut.PutBlockHeader(uiSignature, 0) && roOut.Put(nullptr, 4);
    bOk = bOk && PutListElements(roOut, puiListA, uiItemSize, uiSkipType, uiCount);
    bOk = bOk && (puiListB == nullptr || PutListElements(roOut, puiListB, uiItemSize, uiSkipType, uiCount));
    const MUINT32 uiBytes = uiCount * uiItemSize;
    const MUINT32 uiLength = 4 + RoundUp4(uiBytes);
    bOk = bOk && roOut.Put(nullptr, uiLength - 4 - uiBytes);
    if (!bOk || uiCount > msc_uiMaxLength || uiLength > msc_uiMaxLength)
        return 0;
    roOut.PatchU16(uiHeaderPos + offsetof(tagPinsBlockList, uiDataLenght), (MUINT16)uiLength);
    roOut.PatchU16(uiHeaderPos + offsetof(tagPinsBlockList, uiNbItems), (MUINT16)uiCount);
    roOut.PatchU16(uiHeaderPos + offsetof(tagPinsBlockList, uiItemSize), (MUINT16)uiItemSize);
    return 1;
}

// Adds to ruiSize (A's share) what B brings to the combination. False (reported) when the chains
// cannot be combined.
bool AddSizeFromB(ECombineMode eMode, const SChain& roA, const SChain& roB, MUINT64& ruiSize)
{
    for (MUINT32 uiOffset = 0; uiOffset < roB.uiEndOffset; uiOffset += BlockSize(roB.puiData + uiOffset))
    {
        const MUINT8* puiBlockB = roB.puiData + uiOffset;
        const MUINT8* puiBlockA = roA.FindRaw(Pins10BlockSignature(puiBlockB));
        if (puiBlockA == nullptr)
        {
            ruiSize += BlockSize(puiBlockB);
            continue;
        }
        switch (ClassifyShared(eMode, Pins10BlockSignature(puiBlockB)))
        {
        case SHARED_KEEP_A:
            break;
        case SHARED_CONCATENATE:
            if (puiBlockB != roB.FindRaw(Pins10BlockSignature(puiBlockB)))
                break;   // a second list of the same kind in B: A's list already took the first
            if (ConcatenatedLength(puiBlockA, puiBlockB) == 0)
            {
                QEL_ASSERT_REPORT_AT(REPORT_COMBINE_LIST_TOO_LONG);
                return false;
            }
            ruiSize += RoundUp4(Pins10ListItemCount(puiBlockB) * ListItemSize(puiBlockB));
            break;
        case SHARED_REFUSE:
            QEL_ASSERT_REPORT_AT(REPORT_COMBINE_SHARED_REFUSED);
            return false;
        }
    }
    return true;
}

// A's blocks in order, a shared list joined with B's, then B's blocks that A lacks, and the end
// block. False when the output does not take them.
MBOOL32 WriteCombined(ECombineMode eMode, const SChain& roA, const SChain& roB, COutCursor& roOut)
{
    MBOOL32 bOk = 1;
    for (MUINT32 uiOffset = 0; bOk && uiOffset < roA.uiEndOffset; uiOffset += BlockSize(roA.puiData + uiOffset))
    {
        const MUINT8* puiBlockA = roA.puiData + uiOffset;
        const MUINT16 uiSignature = Pins10BlockSignature(puiBlockA);
        const MUINT8* puiBlockB = roB.FindRaw(uiSignature);
        if (puiBlockB != nullptr && ClassifyShared(eMode, uiSignature) == SHARED_CONCATENATE &&
            puiBlockA == roA.FindRaw(uiSignature))
            bOk = PutList(roOut, uiSignature, SmallerItemSize(puiBlockA, puiBlockB), puiBlockA, puiBlockB, 0);
        else
            bOk = roOut.Put(puiBlockA, BlockSize(puiBlockA));
    }
    for (MUINT32 uiOffset = 0; bOk && uiOffset < roB.uiEndOffset; uiOffset += BlockSize(roB.puiData + uiOffset))
    {
        const MUINT8* puiBlockB = roB.puiData + uiOffset;
        if (roA.FindRaw(Pins10BlockSignature(puiBlockB)) == nullptr)
            bOk = roOut.Put(puiBlockB, BlockSize(puiBlockB));
    }
    return bOk && roOut.PutEndBlock();
}

MBOOL32 CombinePins(ECombineMode eMode, MUINT8* puiPinsA, MUINT32 uiSizeA, MUINT8* puiPinsB, MUINT32 uiSizeB,
                    MUINT8** ppuiOut, MUINT32* puiOutSize)
{
    if (ppuiOut == nullptr || puiOutSize == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_COMBINE_NULL_OUTPUT);
        return 0;
    }
    SChain oA, oB;
    if (!OpenChain(puiPinsA, uiSizeA, oA) || !OpenChain(puiPinsB, uiSizeB, oB))
        return 0;
    // Size: all of A (with room for a full end block), plus what B brings.
    MUINT64 uiSize = uiSizeA > oA.uiEndOffset + msc_uiEndBlockSize ? uiSizeA : oA.uiEndOffset + msc_uiEndBlockSize;
    if (!AddSizeFromB(eMode, oA, oB, uiSize))
        return 0;
    if (uiSize > 0xFFFFFFFFu)
    {
        QEL_ASSERT_REPORT_AT(REPORT_COMBINE_TOO_LARGE);
        return 0;
    }

    MUINT8* puiOut = new (std::nothrow) MUINT8[(size_t)uiSize]();
    if (puiOut == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_COMBINE_NO_MEMORY);
        return 0;
    }
    COutCursor oOut(puiOut, (MUINT32)uiSize);
    if (!WriteCombined(eMode, oA, oB, oOut))
    {
        QEL_ASSERT_REPORT_AT(REPORT_COMBINE_WRITE_FAILED);
        delete[] puiOut;
        return 0;
    }
    Pins10Validate(puiOut, (MUINT32)uiSize);
    *ppuiOut = puiOut;
    *puiOutSize = (MUINT32)uiSize;
    return 1;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

MBOOL32 XPins10Helper::GetPinsHeader(const MUINT8* puiPins, tagPins10Header* poHeader)
{
    return CopyRecord(msc_oHeaderAccess, puiPins, 0, poHeader);
}

MBOOL32 XPins10Helper::GetCpuInfo(const MUINT8* puiPins, tagPins10Cpu* poCpu)
{
    return CopyRecord(msc_oCpuAccess, puiPins, 0, poCpu);
}

MBOOL32 XPins10Helper::GetPinsClock(const MUINT8* puiPins, tagPins10Clock* poClock)
{
    return CopyRecord(msc_oClockAccess, puiPins, 0, poClock);
}

MBOOL32 XPins10Helper::GetPinsMemoryConfig(const MUINT8* puiPins, tagPins10Mem_v2* poMemory)
{
    if (puiPins == nullptr || poMemory == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_MEMORY_NULL_ARGUMENT);
        return 0;
    }
    MUINT32 uiCopied = 0;
    if (!Pins10CopyBlockData(puiPins, PINS10_SIGNATURE_MEMORY, 0, sizeof(*poMemory), &uiCopied, poMemory))
        return 0;
    if (uiCopied < sizeof(poMemory->uiVersion))
    {
        QEL_ASSERT_REPORT_AT(REPORT_MEMORY_NO_VERSION);
        return 0;
    }
    switch (poMemory->uiVersion)
    {
    case PINS10_MEMORY_VERSION:
        if (uiCopied < sizeof(*poMemory))
        {
            QEL_ASSERT_REPORT_AT(REPORT_MEMORY_V2_TOO_SHORT);
            return 0;
        }
        return 1;
    case PINS10_MEMORY_VERSION_V1:
        return ConvertMemoryV1(puiPins, poMemory);
    default:
        QEL_ASSERT_REPORT_AT(REPORT_MEMORY_UNKNOWN_VERSION);
        return 0;
    }
}

MBOOL32 XPins10Helper::GetPinsLimitation(const MUINT8* puiPins, tagPins10Limitation* poLimitation)
{
    return CopyRecord(msc_oLimitationAccess, puiPins, 0, poLimitation);
}

MBOOL32 XPins10Helper::GetOptInfo(const MUINT8* puiPins, tagPins10FactoryOptions* poOptions)
{
    return CopyRecord(msc_oOptionsAccess, puiPins, 0, poOptions);
}

MBOOL32 XPins10Helper::GetPinsMiscIo(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10MiscIo* poMiscIo)
{
    return CopyRecord(msc_oMiscIoAccess, puiPins, uiIndex, poMiscIo);
}

MBOOL32 XPins10Helper::GetPinsI2cBus(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10I2cBus* poI2cBus)
{
    return CopyRecord(msc_oI2cBusAccess, puiPins, uiIndex, poI2cBus);
}

MBOOL32 XPins10Helper::GetPinsI2cDevice(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10DeviceI2c* poDevice)
{
    return CopyRecord(msc_oI2cDeviceAccess, puiPins, uiIndex, poDevice);
}

MBOOL32 XPins10Helper::GetPinsI2cDeviceById(const MUINT8* puiPins, MUINT32 uiDeviceId, tagPins10DeviceI2c* poDevice)
{
    if (poDevice == nullptr)
        return 0;
    constexpr SRecordAccess oQuietAccess = {PINS10_SIGNATURE_I2C_DEVICE, sizeof(tagPins10DeviceI2c),
                                            sizeof(tagPins10DeviceI2c), 0};
    // Bounded by the record count: an I2C-device block stored without the list flag answers every
    // index with the same record, and a walk bounded only by the lookups would never end.
    const MUINT32 uiCount = RecordCount(puiPins, PINS10_SIGNATURE_I2C_DEVICE);
    for (MUINT32 uiIndex = 0; uiIndex < uiCount && CopyRecord(oQuietAccess, puiPins, uiIndex, poDevice); ++uiIndex)
    {
        if (poDevice->uiDeviceId == uiDeviceId)
            return 1;
    }
    return 0;
}

MBOOL32 XPins10Helper::GetPinsConnector(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10Connector* poConnector)
{
    return CopyRecord(msc_oConnectorAccess, puiPins, uiIndex, poConnector);
}

MBOOL32 XPins10Helper::GetPinsMap(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10Maps* poMap)
{
    return CopyRecord(msc_oMapAccess, puiPins, uiIndex, poMap);
}

MBOOL32 XPins10Helper::GetPinsCalibration(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10Calibrate_v1* poCalibration)
{
    if (!CopyRecord(msc_oCalibrationAccess, puiPins, uiIndex, poCalibration))
        return 0;
    if (poCalibration->uiVersion != PINS10_CALIBRATION_VERSION)
    {
        QEL_ASSERT_REPORT_AT(REPORT_CALIBRATION_BAD_VERSION);
        return 0;
    }
    return 1;
}

MUINT32 XPins10Helper::CalcMemorySizeInMB(const MUINT8 auiMemQty[PINS10_MEMORY_CHANNEL_COUNT])
{
    constexpr MUINT32 uiLargestCode = 10;   // 16 GiB on one channel
    MUINT32 uiTotal = 0;
    for (MUINT32 i = 0; i < PINS10_MEMORY_CHANNEL_COUNT; ++i)
    {
        if (auiMemQty[i] >= 1 && auiMemQty[i] <= uiLargestCode)
            uiTotal += 16u << auiMemQty[i];
    }
    return uiTotal;
}

MBOOL32 XPins10Helper::IsMemoryInterleaveDualMode(const MUINT8 auiMemQty[PINS10_MEMORY_CHANNEL_COUNT])
{
    MUINT32 uiEmpty = 0;
    for (MUINT32 i = 0; i < PINS10_MEMORY_CHANNEL_COUNT; ++i)
        uiEmpty += auiMemQty[i] == 0 ? 1 : 0;
    return uiEmpty == 2;
}

MBOOL32 XPins10Helper::MergePinsData(MUINT8* puiPinsA, MUINT32 uiSizeA, MUINT8* puiPinsB, MUINT32 uiSizeB,
                                     MUINT8** ppuiOut, MUINT32* puiOutSize)
{
    return CombinePins(COMBINE_MERGE, puiPinsA, uiSizeA, puiPinsB, uiSizeB, ppuiOut, puiOutSize);
}

MBOOL32 XPins10Helper::AddPinsData(MUINT8* puiPinsA, MUINT32 uiSizeA, MUINT8* puiPinsB, MUINT32 uiSizeB,
                                   MUINT8** ppuiOut, MUINT32* puiOutSize)
{
    return CombinePins(COMBINE_ADD, puiPinsA, uiSizeA, puiPinsB, uiSizeB, ppuiOut, puiOutSize);
}

MBOOL32 XPins10Helper::RemovePinsMultiBlockElement(MUINT16 uiSignature, MUINT16 uiType, MUINT32& ruiSize,
                                                   MUINT8* puiPins)
{
    if (uiSignature == 0 || uiType == 0 || ruiSize == 0 || puiPins == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_REMOVE_BAD_ARGUMENTS);
        return 0;
    }
    SChain oChain;
    if (!OpenChain(puiPins, ruiSize, oChain))
    {
        QEL_ASSERT_REPORT_AT(REPORT_REMOVE_BAD_CHAIN);
        return 0;
    }
    MUINT8* puiCopy = new (std::nothrow) MUINT8[ruiSize]();
    if (puiCopy == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_REMOVE_NO_MEMORY);
        return 0;
    }
    COutCursor oOut(puiCopy, ruiSize);
    MBOOL32 bOk = 1;
    for (MUINT32 uiOffset = 0; bOk && uiOffset < oChain.uiEndOffset; uiOffset += BlockSize(puiPins + uiOffset))
    {
        const MUINT8* puiBlock = puiPins + uiOffset;
        if (!IsList(Pins10BlockSignature(puiBlock)) || Pins10BlockSignature(puiBlock) != uiSignature)
        {
            bOk = oOut.Put(puiBlock, BlockSize(puiBlock));
            continue;
        }
        bOk = PutList(oOut, uiSignature, ListItemSize(puiBlock), puiBlock, nullptr, uiType);
    }
    bOk = bOk && oOut.Put(puiPins + oChain.uiEndOffset, BlockSize(puiPins + oChain.uiEndOffset));
    if (!bOk)
    {
        QEL_ASSERT_REPORT_AT(REPORT_REMOVE_WRITE_FAILED);
        delete[] puiCopy;
        return 0;
    }
    const MUINT32 uiNewSize = oOut.Position();
    memcpy(puiPins, puiCopy, ruiSize);   // the copy's tail past the new chain is already zero
    delete[] puiCopy;
    ruiSize = uiNewSize;
    return 1;
}
