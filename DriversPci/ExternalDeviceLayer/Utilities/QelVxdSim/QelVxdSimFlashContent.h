// The content of a board's SPI flash chip, kept in 4 KiB pages. A page is stored only once an
// image or a program put a byte other than erased (0xFF) into it; every other page reads erased,
// as a blank part does. A board image is mostly erased (the parameter block near the start, its
// pointer near the end of the first 128 KiB), so loading one stores two pages, not the 32 pages
// of memory that a flat copy would fill and fault in at every start of the simulator; an 8 MiB
// part costs no more than its used pages.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "QelBaseTypes.h"

class CQelSimFlashContent
{
public:
    static constexpr MUINT8 ERASED          = 0xFF;
    static constexpr MUINT32 msc_uiPageSize = 4096;

    CQelSimFlashContent() = default;
    explicit CQelSimFlashContent(MUINT32 uiChipSize) : m_uiSize(uiChipSize) {}

    MUINT32 size() const { return m_uiSize; }
    MUINT8 operator[](MUINT32 uiAddress) const
    {
        const MUINT32 uiPage = uiAddress / msc_uiPageSize;
        return uiPage < m_aaucPages.size() && !m_aaucPages[uiPage].empty()
                   ? m_aaucPages[uiPage][uiAddress % msc_uiPageSize]
                   : ERASED;
    }
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
    // Pages that hold memory (the rest costs none).
    size_t StoredPages() const
    {
        return (size_t)std::count_if(m_aaucPages.begin(), m_aaucPages.end(),
                                     [](const std::vector<MUINT8>& rauc) { return !rauc.empty(); });
    }
    // The whole chip, as an image file holds it.
    std::vector<MUINT8> Image() const { return Flat(m_uiSize); }
    // The chip up to its last byte that is not erased: an image file of what is used (the rest of
    // the chip reads erased when such a file is loaded).
    std::vector<MUINT8> UsedImage() const
    {
        std::vector<MUINT8> auc = Flat((MUINT32)std::min<size_t>(m_uiSize, m_aaucPages.size() * msc_uiPageSize));
        while (!auc.empty() && auc.back() == ERASED)
        {
            auc.pop_back();
        }
        return auc;
    }

    // Sets bytes, clipped to the chip; true when some byte changed. Erased bytes written to a page
    // that is not stored change nothing and store nothing.
    bool Write(MUINT32 uiAddress, const MUINT8* pucData, MUINT32 uiCount)
    {
        bool bChanged = false;
        while (uiCount != 0 && uiAddress < m_uiSize)
        {
            const MUINT32 uiInPage = uiAddress % msc_uiPageSize;
            const MUINT32 uiPiece  = std::min({uiCount, msc_uiPageSize - uiInPage, m_uiSize - uiAddress});
            bChanged               = WriteInPage(uiAddress / msc_uiPageSize, uiInPage, pucData, uiPiece) || bChanged;
            uiAddress += uiPiece;
            pucData += uiPiece;
            uiCount -= uiPiece;
        }
        return bChanged;
    }

    bool operator==(const CQelSimFlashContent& ro) const
    {
        if (m_uiSize != ro.m_uiSize)
        {
            return false;
        }
        const size_t uiPages = std::max(m_aaucPages.size(), ro.m_aaucPages.size());
        for (MUINT32 uiAt = 0; uiAt < m_uiSize && uiAt / msc_uiPageSize < uiPages; ++uiAt)
        {
            if ((*this)[uiAt] != ro[uiAt])
            {
                return false;
            }
        }
        return true;
    }

private:
    // True when the uiCount bytes all read erased. They are compared with a page of erased bytes,
    // which memcmp does many bytes at a time: a byte loop over the erased pages of an image cost
    // more than reading the file.
    static bool IsErased(const MUINT8* pucData, MUINT32 uiCount)
    {
        static constexpr std::array<MUINT8, msc_uiPageSize> sc_aucErased = [] {
            std::array<MUINT8, msc_uiPageSize> auc{};
            auc.fill(ERASED);
            return auc;
        }();
        for (MUINT32 uiPiece = 0; uiCount != 0; pucData += uiPiece, uiCount -= uiPiece)
        {
            uiPiece = std::min<MUINT32>(uiCount, msc_uiPageSize);
            if (memcmp(pucData, sc_aucErased.data(), uiPiece) != 0)
            {
                return false;
            }
        }
        return true;
    }

    // The first uiEnd bytes of the chip (uiEnd <= size) in one flat array.
    std::vector<MUINT8> Flat(MUINT32 uiEnd) const
    {
        std::vector<MUINT8> auc(uiEnd, ERASED);
        for (size_t uiPage = 0; uiPage < m_aaucPages.size() && uiPage * msc_uiPageSize < uiEnd; ++uiPage)
        {
            const std::vector<MUINT8>& raucPage = m_aaucPages[uiPage];
            const size_t uiStart                = uiPage * msc_uiPageSize;
            if (!raucPage.empty())
            {
                std::copy_n(raucPage.begin(), std::min<size_t>(msc_uiPageSize, uiEnd - uiStart), auc.begin() + uiStart);
            }
        }
        return auc;
    }
    bool WriteInPage(MUINT32 uiPage, MUINT32 uiInPage, const MUINT8* pucData, MUINT32 uiCount)
    {
        const bool bStored = uiPage < m_aaucPages.size() && !m_aaucPages[uiPage].empty();
        if (!bStored)
        {
            if (IsErased(pucData, uiCount))
            {
                return false;
            }
            if (uiPage >= m_aaucPages.size())
            {
                m_aaucPages.resize(uiPage + 1);
            }
            m_aaucPages[uiPage].assign(msc_uiPageSize, ERASED);
        }
        MUINT8* pucStored = m_aaucPages[uiPage].data() + uiInPage;
        if (memcmp(pucStored, pucData, uiCount) == 0)
        {
            return false;
        }
        memcpy(pucStored, pucData, uiCount);
        return true;
    }

    MUINT32 m_uiSize = 0;
    // Indexed by page; an empty page is not stored and reads erased. Grows only up to the last
    // page stored.
    std::vector<std::vector<MUINT8>> m_aaucPages;
};
