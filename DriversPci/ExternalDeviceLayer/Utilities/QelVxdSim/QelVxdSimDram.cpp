#include "QelVxdSimDram.h"

#include <bit>
#include <cstring>
#include <new>

// Aligned dwords are copied as they lie in memory: the pages hold the bus's little-endian bytes.
static_assert(std::endian::native == std::endian::little);

CQelSimDram::CQelSimDram(MUINT32 uiSize)
    : m_uiSize(uiSize),
      m_bContentsValid(true),
      m_ppucPageTable((uiSize + msc_uiPageSize - 1) / msc_uiPageSize)
{
}

MUINT8 CQelSimDram::PeekByte(MUINT32 uiOffset) const
{
    if (uiOffset >= m_uiSize)
    {
        return 0xFF;
    }
    const MUINT8* pucPage = m_ppucPageTable[uiOffset / msc_uiPageSize];
    return pucPage != nullptr ? pucPage[uiOffset % msc_uiPageSize] : msc_ucUnwrittenPattern;
}

std::unique_ptr<MUINT8[]> CQelSimDram::NewUnwrittenPage()
{
    std::unique_ptr<MUINT8[]> pucBytes(new (std::nothrow) MUINT8[msc_uiPageSize]);
    if (pucBytes != nullptr)
    {
        // Filling the page is also what makes the host back it: a spare is resident when taken.
        memset(pucBytes.get(), msc_ucUnwrittenPattern, msc_uiPageSize);
    }
    return pucBytes;
}

MUINT8* CQelSimDram::WritablePage(MUINT32 uiOffset)
{
    const MUINT32 uiIndex = uiOffset / msc_uiPageSize;
    MUINT8*& rpucPage     = m_ppucPageTable[uiIndex];
    if (rpucPage == nullptr)
    {
        std::unique_ptr<MUINT8[]> pucBytes;
        if (!m_aoSpares.empty())
        {
            pucBytes = std::move(m_aoSpares.back());
            m_aoSpares.pop_back();
        }
        else
        {
            pucBytes = NewUnwrittenPage();
            if (pucBytes == nullptr)
            {
                throw std::bad_alloc();
            }
        }
        rpucPage = pucBytes.get();
        m_aoPages.push_back({uiIndex, std::move(pucBytes)});
    }
    return rpucPage;
}

bool CQelSimDram::PrepareSparePage()
{
    if (m_aoSpares.size() >= msc_uiSparePages)
    {
        return false;
    }
    std::unique_ptr<MUINT8[]> pucBytes = NewUnwrittenPage();
    if (pucBytes == nullptr)
    {
        return false;
    }
    m_aoSpares.push_back(std::move(pucBytes));
    return true;
}

void CQelSimDram::PokeByte(MUINT32 uiOffset, MUINT8 ucValue)
{
    if (uiOffset >= m_uiSize)
    {
        return;
    }
    WritablePage(uiOffset)[uiOffset % msc_uiPageSize] = ucValue;
}

MUINT8 CQelSimDram::GarbageByte(MUINT32 uiOffset) const
{
    // A fixed scramble of the dword address: stable from read to read, unlike any written pattern.
    const MUINT32 uiWord = ((uiOffset >> 2) * 0x9E3779B1u) ^ 0x5BD1E995u;
    return (MUINT8)(uiWord >> (8 * (uiOffset & 3)));
}

void CQelSimDram::Forget()
{
    for (const SPage& roPage : m_aoPages)
    {
        m_ppucPageTable[roPage.uiIndex] = nullptr;
    }
    m_aoPages.clear();
    Changed();
}

MUINT32 CQelSimDram::Read(MUINT32 uiOffset, MUINT32 uiBytes) const
{
    // Aligned dwords (the common case) straight from their page.
    if (uiBytes == 4 && (uiOffset & 3) == 0 && uiOffset < m_uiSize && m_bContentsValid)
    {
        const MUINT8* pucPage = m_ppucPageTable[uiOffset / msc_uiPageSize];
        MUINT32 uiWord = 0x01010101u * msc_ucUnwrittenPattern;
        if (pucPage != nullptr)
        {
            memcpy(&uiWord, pucPage + uiOffset % msc_uiPageSize, sizeof(uiWord));
        }
        return uiWord | m_uiStuckBits;
    }
    MUINT32 uiValue = 0;
    for (MUINT32 uiByte = 0; uiByte < uiBytes; ++uiByte)
    {
        const MUINT32 uiAt  = uiOffset + uiByte;
        const MUINT8 ucByte = uiAt < uiOffset || uiAt >= m_uiSize ? 0xFF
                              : m_bContentsValid                  ? PeekByte(uiAt)
                                                                  : GarbageByte(uiAt);
        uiValue |= (MUINT32)ucByte << (8 * uiByte);
    }
    return uiValue;
}

void CQelSimDram::Write(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue)
{
    if (!m_bContentsValid)
    {
        return;
    }
    if (uiBytes == 4 && (uiOffset & 3) == 0 && uiOffset < m_uiSize)
    {
        memcpy(WritablePage(uiOffset) + uiOffset % msc_uiPageSize, &uiValue, sizeof(uiValue));
        return;
    }
    for (MUINT32 uiByte = 0; uiByte < uiBytes; ++uiByte)
    {
        const MUINT32 uiAt = uiOffset + uiByte;
        if (uiAt >= uiOffset)
        {
            PokeByte(uiAt, (MUINT8)(uiValue >> (8 * uiByte)));
        }
    }
}

size_t CQelSimDram::AllocatedPages() const
{
    return m_aoPages.size();
}
