// Helpers shared by the fuzz targets: reading control fields off the front of an input, and
// heap copies of exactly the input's size so that AddressSanitizer sees any read past the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sanitizer/common_interface_defs.h>

#include "QelBaseTypes.h"

// Consumes an input from the front. Fields past the end read as 0.
class CFuzzInput
{
public:
    CFuzzInput(const std::uint8_t* puiData, std::size_t uiSize) : m_puiData(puiData), m_uiLeft(uiSize) {}

    MUINT8 U8()
    {
        MUINT8 uiValue = 0;
        if (m_uiLeft > 0)
        {
            uiValue = *m_puiData++;
            --m_uiLeft;
        }
        return uiValue;
    }
    MUINT16 U16()
    {
        const MUINT16 uiLow = U8();
        return static_cast<MUINT16>(uiLow | (U8() << 8));
    }
    // The next uiCount bytes, or as many as are left.
    CFuzzInput Take(std::size_t uiCount)
    {
        const std::size_t uiTaken = uiCount < m_uiLeft ? uiCount : m_uiLeft;
        CFuzzInput oPart(m_puiData, uiTaken);
        m_puiData += uiTaken;
        m_uiLeft -= uiTaken;
        return oPart;
    }
    CFuzzInput Rest() { return Take(m_uiLeft); }

    const std::uint8_t* Data() const { return m_puiData; }
    std::size_t Size() const { return m_uiLeft; }

private:
    const std::uint8_t* m_puiData;
    std::size_t m_uiLeft;
};

// A writable heap copy of exactly the given bytes (at least one byte is allocated, so that an
// empty buffer still has an address; its size stays 0).
class CFuzzBuffer
{
public:
    explicit CFuzzBuffer(const CFuzzInput& roInput) : CFuzzBuffer(roInput.Data(), roInput.Size()) {}
    CFuzzBuffer(const CFuzzBuffer& roOther) : CFuzzBuffer(roOther.m_puiData.get(), roOther.m_uiSize) {}
    CFuzzBuffer& operator=(const CFuzzBuffer&) = delete;

    MUINT8* Data() { return m_puiData.get(); }
    MUINT32 Size() const { return m_uiSize; }

private:
    CFuzzBuffer(const MUINT8* puiData, std::size_t uiSize)
        : m_puiData(new MUINT8[uiSize == 0 ? 1 : uiSize]), m_uiSize(static_cast<MUINT32>(uiSize))
    {
        if (uiSize > 0)
        {
            std::memcpy(m_puiData.get(), puiData, uiSize);
        }
    }

    std::unique_ptr<MUINT8[]> m_puiData;
    MUINT32 m_uiSize;
};

// A broken promise of the code under test: reported and aborted, which the fuzzer records as a
// crash with its input. The report goes through the sanitizer's channel, which stays open when
// the fuzzer closes the target's standard output and error (the library's reports are noise here).
inline void FuzzRequire(bool bHolds, const char* pszWhat, const char* pszFault)
{
    if (!bHolds)
    {
        char szReport[256];
        std::snprintf(szReport, sizeof(szReport), "fuzz: %s %s", pszWhat, pszFault);
        __sanitizer_report_error_summary(szReport);
        std::abort();
    }
}

// Reads every byte of a range the code under test handed out, so that a range reaching past its
// buffer is caught here.
inline void FuzzTouch(const MUINT8* puiData, MUINT32 uiSize)
{
    volatile MUINT8 uiSum = 0;
    for (MUINT32 i = 0; i < uiSize; ++i)
    {
        uiSum = static_cast<MUINT8>(uiSum + puiData[i]);
    }
}
