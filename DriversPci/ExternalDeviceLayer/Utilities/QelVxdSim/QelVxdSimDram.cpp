#include "QelVxdSimDram.h"

#include <cstring>

CQelSimDram::CQelSimDram(MUINT32 uiSize)
    : m_uiSize(uiSize), m_bContentsValid(true), m_apucPages((uiSize + msc_uiPageSize - 1) / msc_uiPageSize)
{
}

MUINT8 CQelSimDram::PeekByte(MUINT32 uiOffset) const
{
    if (uiOffset >= m_uiSize)
    {
        return 0xFF;
    }
    const MUINT8* pucPage = m_apucPages[uiOffset / msc_uiPageSize].get();
    return pucPage != nullptr ? pucPage[uiOffset % msc_uiPageSize] : msc_ucUnwrittenPattern;
}

void CQelSimDram::PokeByte(MUINT32 uiOffset, MUINT8 ucValue)
{
    if (uiOffset >= m_uiSize)
    {
        return;
    }
    std::unique_ptr<MUINT8[]>& rpucPage = m_apucPages[uiOffset / msc_uiPageSize];
    if (rpucPage == nullptr)
    {
        rpucPage.reset(new MUINT8[msc_uiPageSize]);
        memset(rpucPage.get(), msc_ucUnwrittenPattern, msc_uiPageSize);
    }
    rpucPage[uiOffset % msc_uiPageSize] = ucValue;
}

MUINT8 CQelSimDram::GarbageByte(MUINT32 uiOffset) const
{
    // A fixed scramble of the dword address: stable from read to read, unlike any written pattern.
    const MUINT32 uiWord = ((uiOffset >> 2) * 0x9E3779B1u) ^ 0x5BD1E995u;
    return (MUINT8)(uiWord >> (8 * (uiOffset & 3)));
}

MUINT32 CQelSimDram::Read(MUINT32 uiOffset, MUINT32 uiBytes) const
{
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
    size_t uiCount = 0;
    for (const std::unique_ptr<MUINT8[]>& rpucPage : m_apucPages)
    {
        uiCount += rpucPage != nullptr ? 1 : 0;
    }
    return uiCount;
}
