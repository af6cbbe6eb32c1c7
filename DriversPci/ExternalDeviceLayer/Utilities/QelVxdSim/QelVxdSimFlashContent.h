// The content of a board's SPI flash chip. Only the bytes from address 0 up to the last one that an
// image loaded or a program changed are stored; the rest of the chip reads erased (0xFF), as a
// blank part does. An 8 MiB part whose image holds 128 KiB costs 128 KiB, not 8 MiB of memory
// filled and faulted in at every start of the simulator.
#pragma once

#include <algorithm>
#include <cstring>
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

    // Sets bytes, clipped to the chip; true when some byte changed. Erased bytes past the stored
    // prefix change nothing and are not stored, and the storage grows once, not byte by byte: a
    // whole image is loaded at every start of the simulator.
    bool Write(MUINT32 uiAddress, const MUINT8* pucData, MUINT32 uiCount)
    {
        if (uiAddress >= m_uiSize)
        {
            return false;
        }
        const size_t uiStored = m_aucStored.size();
        size_t uiEnd          = std::min<size_t>(uiCount, m_uiSize - uiAddress);
        while (uiEnd != 0 && uiAddress + uiEnd > uiStored && pucData[uiEnd - 1] == ERASED)
        {
            --uiEnd;
        }
        if (uiEnd == 0)
        {
            return false;
        }
        if (uiAddress + uiEnd > uiStored)
        {
            m_aucStored.resize(uiAddress + uiEnd, ERASED);
        }
        MUINT8* pucStored   = m_aucStored.data() + uiAddress;
        const bool bChanged = memcmp(pucStored, pucData, uiEnd) != 0;
        if (bChanged)
        {
            memcpy(pucStored, pucData, uiEnd);
        }
        return bChanged;
    }

    // Loads a whole image into a blank chip, taking over its bytes rather than copying them;
    // bytes past the chip are dropped, and so are erased bytes at the end (they read erased).
    void LoadImage(std::vector<MUINT8>&& raucImage)
    {
        m_aucStored = std::move(raucImage);
        if (m_aucStored.size() > m_uiSize)
        {
            m_aucStored.resize(m_uiSize);
        }
        while (!m_aucStored.empty() && m_aucStored.back() == ERASED)
        {
            m_aucStored.pop_back();
        }
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
