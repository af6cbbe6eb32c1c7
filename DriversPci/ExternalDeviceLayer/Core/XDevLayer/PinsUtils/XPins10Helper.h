// Accessors and combinations of Pins10 board parameter blocks.
//
// Every operation takes the chain by a pointer to its first byte and keeps no state. The
// accessors receive no size: hand them only chains that Pins10Validate accepted (see XPinS10.h).
// MergePinsData, AddPinsData and RemovePinsMultiBlockElement validate their inputs themselves.
#pragma once

#include "QelBaseTypes.h"
#include "XPins10Types.h"

class XPins10Helper
{
public:
    virtual ~XPins10Helper() {}

    // Single records: 1 when the block exists and holds at least the record's smallest size.
    static MBOOL32 GetPinsHeader(const MUINT8* puiPins, tagPins10Header* poHeader);
    static MBOOL32 GetCpuInfo(const MUINT8* puiPins, tagPins10Cpu* poCpu);
    static MBOOL32 GetPinsClock(const MUINT8* puiPins, tagPins10Clock* poClock);
    // Always returned as version 0x0201; an older 256-byte record is converted.
    static MBOOL32 GetPinsMemoryConfig(const MUINT8* puiPins, tagPins10Mem_v2* poMemory);
    static MBOOL32 GetPinsLimitation(const MUINT8* puiPins, tagPins10Limitation* poLimitation);
    static MBOOL32 GetOptInfo(const MUINT8* puiPins, tagPins10FactoryOptions* poOptions);

    // List elements by index.
    static MBOOL32 GetPinsMiscIo(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10MiscIo* poMiscIo);
    static MBOOL32 GetPinsI2cBus(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10I2cBus* poI2cBus);
    static MBOOL32 GetPinsI2cDevice(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10DeviceI2c* poDevice);
    static MBOOL32 GetPinsI2cDeviceById(const MUINT8* puiPins, MUINT32 uiDeviceId, tagPins10DeviceI2c* poDevice);
    static MBOOL32 GetPinsConnector(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10Connector* poConnector);
    static MBOOL32 GetPinsMap(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10Maps* poMap);
    static MBOOL32 GetPinsCalibration(const MUINT8* puiPins, MUINT32 uiIndex, tagPins10Calibrate_v1* poCalibration);

    // Total memory of the four size codes in MiB: code n (1..10) stands for 16 * 2^n MiB.
    static MUINT32 CalcMemorySizeInMB(const MUINT8 auiMemQty[PINS10_MEMORY_CHANNEL_COUNT]);
    // True when exactly two of the four channels are unpopulated.
    static MBOOL32 IsMemoryInterleaveDualMode(const MUINT8 auiMemQty[PINS10_MEMORY_CHANNEL_COUNT]);

    // New chain: every block of A, then the blocks of B whose raw signature A lacks, then an end
    // block. *ppuiOut receives an array that the caller frees with delete[].
    static MBOOL32 MergePinsData(MUINT8* puiPinsA, MUINT32 uiSizeA, MUINT8* puiPinsB, MUINT32 uiSizeB,
                                 MUINT8** ppuiOut, MUINT32* puiOutSize);
    // Like MergePinsData, but a list present in both is written once with A's elements followed by
    // B's, all cut to the smaller item size. A single block other than the header present in both
    // is refused.
    static MBOOL32 AddPinsData(MUINT8* puiPinsA, MUINT32 uiSizeA, MUINT8* puiPinsB, MUINT32 uiSizeB,
                               MUINT8** ppuiOut, MUINT32* puiOutSize);
    // Removes, in place, every element of type uiType from the list block uiSignature. ruiSize is
    // the buffer's size on entry and the chain's new length on return; the freed tail is zeroed.
    static MBOOL32 RemovePinsMultiBlockElement(MUINT16 uiSignature, MUINT16 uiType, MUINT32& ruiSize,
                                               MUINT8* puiPins);
};
