// The content of a board's SPI flash chip. Only the bytes from address 0 up to the last one that an
// image loaded or a program changed are stored; the rest of the chip reads erased (0xFF), as a
// blank part does. An 8 MiB part whose image holds 128 KiB costs 128 KiB, not 8 MiB of memory
// filled and faulted in at every start of the simulator.
#ifndef QELVXDSIMFLASHCONTENT_H
#define QELVXDSIMFLASHCONTENT_H

#include <algorithm>
#include <vector>

#include "QelBaseTypes.h"

class CQelSimFlashContent
{
public:
    static constexpr MUINT8 ERASED = 0xFF;

    CQelSimFlashContent() = default;
    explicit CQelSimFlashContent(MUINT32 uiChipSize) : m_uiSize(uiChipSize) {}

    MUINT32 size() const { return m_uiSize; }
    MUINT8 operator[](MUINT32 uiAddress) const { return uiAddress < m_aucStored.size() ? m_aucStored[uiAddress] : ERASED; }
    // The bytes [uiAddress, uiAddress + uiCount) clipped to the chip.
    std::vector<MUINT8> Bytes(MUINT32 uiAddress, MUINT32 uiCount) const
    {
        std::vector<MUINT8> auc;
        for (MUINT32 uiAt = uiAddress; uiAt < m_uiSize && uiAt - uiAddress < uiCount; ++uiAt)
        {
            auc.push_back((*this)[uiAt]);
        }
        return auc;
    }
    // The stored bytes (a prefix of the chip); everything after them reads erased.
    const std::vector<MUINT8>& Stored() const { return m_aucStored; }
    // The whole chip, as an image file holds it.
    std::vector<MUINT8> Image() const
    {
        std::vector<MUINT8> auc(m_uiSize, ERASED);
        std::copy(m_aucStored.begin(), m_aucStored.end(), auc.begin());
        return auc;
    }

    // Sets bytes, clipped to the chip; true when some byte changed.
    bool Write(MUINT32 uiAddress, const MUINT8* pucData, MUINT32 uiCount)
    {
        bool bChanged = false;
        for (MUINT32 uiIndex = 0; uiIndex < uiCount && (MUINT64)uiAddress + uiIndex < m_uiSize; ++uiIndex)
        {
            const MUINT32 uiAt = uiAddress + uiIndex;
            if ((*this)[uiAt] == pucData[uiIndex])
            {
                continue;
            }
            if (uiAt >= m_aucStored.size())
            {
                m_aucStored.resize((size_t)uiAt + 1, ERASED);
            }
            m_aucStored[uiAt] = pucData[uiIndex];
            bChanged          = true;
        }
        return bChanged;
    }

    bool operator==(const CQelSimFlashContent& ro) const
    {
        if (m_uiSize != ro.m_uiSize)
        {
            return false;
        }
        const size_t uiStored = std::max(m_aucStored.size(), ro.m_aucStored.size());
        for (size_t uiAt = 0; uiAt < uiStored; ++uiAt)
        {
            if ((*this)[(MUINT32)uiAt] != ro[(MUINT32)uiAt])
            {
                return false;
            }
        }
        return true;
    }

private:
    MUINT32 m_uiSize = 0;
    std::vector<MUINT8> m_aucStored;
};

#endif
