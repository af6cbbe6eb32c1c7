// Builds Pins10 block chains byte by byte for tests, including malformed ones.
#pragma once

#include <cstring>
#include <vector>

#include "XPins10Types.h"

class CPins10TestChain
{
public:
    CPins10TestChain& Block(MUINT16 uiSignature, const void* pvData, size_t uiSize, MUINT16 uiLength)
    {
        PutU16(uiSignature);
        PutU16(uiLength);
        const MUINT8* puiData = static_cast<const MUINT8*>(pvData);
        m_auiBytes.insert(m_auiBytes.end(), puiData, puiData + uiSize);
        return *this;
    }
    CPins10TestChain& Block(MUINT16 uiSignature, const void* pvData, size_t uiSize)
    {
        return Block(uiSignature, pvData, uiSize, (MUINT16)uiSize);
    }
    template <class TRecord>
    CPins10TestChain& Record(MUINT16 uiSignature, const TRecord& roRecord)
    {
        return Block(uiSignature, &roRecord, sizeof(roRecord));
    }
    template <class TRecord>
    CPins10TestChain& List(MUINT16 uiSignature, const std::vector<TRecord>& aoItems, MUINT16 uiItemSize = sizeof(TRecord))
    {
        PutU16(uiSignature);
        PutU16((MUINT16)(4 + aoItems.size() * uiItemSize));
        PutU16((MUINT16)aoItems.size());
        PutU16(uiItemSize);
        for (const TRecord& roItem : aoItems)
        {
            const MUINT8* puiItem = reinterpret_cast<const MUINT8*>(&roItem);
            std::vector<MUINT8> auiItem(uiItemSize, 0);
            memcpy(auiItem.data(), puiItem, uiItemSize < sizeof(TRecord) ? uiItemSize : sizeof(TRecord));
            m_auiBytes.insert(m_auiBytes.end(), auiItem.begin(), auiItem.end());
        }
        return *this;
    }
    CPins10TestChain& End(MUINT8 uiCheckSum = 0)
    {
        const PinsCheck oCheck = {uiCheckSum, {0, 0, 0}};
        return Record(PINS10_SIGNATURE_END, oCheck);
    }
    std::vector<MUINT8> Bytes() const { return m_auiBytes; }

private:
    void PutU16(MUINT16 uiValue)
    {
        m_auiBytes.push_back((MUINT8)uiValue);
        m_auiBytes.push_back((MUINT8)(uiValue >> 8));
    }

    std::vector<MUINT8> m_auiBytes;
};

inline tagPins10Header Pins10TestHeader(MUINT32 uiPcbInfo = 0x1D370100)
{
    tagPins10Header oHeader = {};
    oHeader.uiStructRevision = PINS10_HEADER_REVISION;
    oHeader.uiReleaseDate = 0x07DF0508;
    memcpy(oHeader.szSerialNumber, "SN0001", 6);
    oHeader.uiPcbInfo.uiValue = uiPcbInfo;
    memcpy(oHeader.szPartListInfo, "100", 3);
    memcpy(oHeader.szProductSku, "TestBoard", 9);
    return oHeader;
}

inline tagPins10MiscIo Pins10TestMiscIo(MUINT16 uiId, MUINT16 uiType)
{
    tagPins10MiscIo oPin = {};
    oPin.uiMiscIoId = uiId;
    oPin.uiType = uiType;
    oPin.szName[0] = (MCHAR8)('A' + uiId);
    oPin.uiIndex = (MUINT16)(20 + uiId);
    return oPin;
}

// Header, processor, three I/O pins (the last one a fan), factory options, end.
inline CPins10TestChain Pins10TestTypicalChain()
{
    tagPins10Cpu oCpu = {0x0001, 2, {6, 6, 0, 0}};
    tagPins10FactoryOptions oOptions = {0x00000010};
    CPins10TestChain oChain;
    oChain.Record(PINS10_SIGNATURE_HEADER, Pins10TestHeader())
        .Record(PINS10_SIGNATURE_CPU, oCpu)
        .List(PINS10_SIGNATURE_MISC_IO, std::vector<tagPins10MiscIo>{Pins10TestMiscIo(1, 1), Pins10TestMiscIo(2, 1),
                                                                     Pins10TestMiscIo(3, PINS10_MISC_IO_TYPE_FAN)})
        .Record(PINS10_SIGNATURE_FACTORY_OPTIONS, oOptions);
    return oChain;
}
