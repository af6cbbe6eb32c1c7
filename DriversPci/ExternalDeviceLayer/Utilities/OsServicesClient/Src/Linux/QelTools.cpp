// String, memory and integer helpers.
#include "QelTools.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int QelTools_memcmp(const void* pvA, const void* pvB, MUINT32 uiSize) { return memcmp(pvA, pvB, uiSize); }
void* QelTools_memcpy(void* pvDestination, const void* pvSource, MUINT32 uiSize) { return memcpy(pvDestination, pvSource, uiSize); }
void* QelTools_memset(void* pvDestination, int iValue, MUINT32 uiSize) { return memset(pvDestination, iValue, uiSize); }
void* QelTools_memmove(void* pvDestination, const void* pvSource, MUINT32 uiSize) { return memmove(pvDestination, pvSource, uiSize); }

int QelTools_strlen(const char* pszText) { return (int)strlen(pszText); }
int QelTools_wcslen(const wchar_t* pwszText) { return (int)wcslen(pwszText); }
int QelTools_strcmp(const char* pszA, const char* pszB) { return strcmp(pszA, pszB); }
int QelTools_strncmp(const char* pszA, const char* pszB, MUINT32 uiCount) { return strncmp(pszA, pszB, uiCount); }
const char* QelTools_strstr(const char* pszText, const char* pszSearch) { return strstr(pszText, pszSearch); }
const char* QelTools_strchr(const char* pszText, int iChar) { return strchr(pszText, iChar); }
const char* QelTools_strrchr(const char* pszText, int iChar) { return strrchr(pszText, iChar); }
int QelTools_atoi(const char* pszText) { return (int)strtol(pszText, nullptr, 10); }

// isdigit() is only defined for EOF and the values of unsigned char; a plain char above 0x7F
// arrives here negative and is no digit.
int QelTools_isDigit(int iChar)
{
    if (iChar < 0 || iChar > 0xFF)
        return 0;
    return isdigit(iChar);
}

// Copies at most uiSize - 1 characters and always terminates when uiSize > 0. A null source
// copies as the empty text.
int QelTools_strcpy_s(char* pszDestination, MUINT32 uiSize, const char* pszSource)
{
    return snprintf(pszDestination, uiSize, "%s", pszSource != nullptr ? pszSource : "");
}

int QelTools_vsprintf_s(char* pszDestination, MUINT32 uiSize, const char* pszFormat, va_list oArgs)
{
    return vsnprintf(pszDestination, uiSize, pszFormat, oArgs);
}

char* QelTools_strtok_s(char* pszText, const char* pszDelimiters, char** ppszContext)
{
    return strtok_r(pszText, pszDelimiters, ppszContext);
}

// Byte-wise comparison with only 'A'-'Z' folded to lower case; bytes are taken as signed.
int QelTools_stricmp(const char* pszA, const char* pszB)
{
    for (;; ++pszA, ++pszB)
    {
        int iA = (signed char)*pszA;
        int iB = (signed char)*pszB;
        if (iA >= 'A' && iA <= 'Z')
            iA += 'a' - 'A';
        if (iB >= 'A' && iB <= 'Z')
            iB += 'a' - 'A';
        if (iA != iB)
            return iA - iB;
        if (iA == 0)
            return 0;
    }
}

char* QelTools_strupr_s(char* pszText, MUINT32 uiSize)
{
    if (pszText == nullptr || uiSize == 0)
        return pszText;
    for (MUINT32 i = 0; i < uiSize && pszText[i] != '\0'; ++i)
    {
        if (pszText[i] >= 'a' && pszText[i] <= 'z')
            pszText[i] = (char)(pszText[i] - 'a' + 'A');
    }
    return pszText;
}

char* QelTools_strlwr_s(char* pszText, MUINT32 uiSize)
{
    if (pszText == nullptr || uiSize == 0)
        return pszText;
    for (MUINT32 i = 0; i < uiSize && pszText[i] != '\0'; ++i)
    {
        if (pszText[i] >= 'A' && pszText[i] <= 'Z')
            pszText[i] = (char)(pszText[i] - 'A' + 'a');
    }
    return pszText;
}

char* QelTools_strrev(char* pszText)
{
    if (pszText == nullptr)
        return pszText;
    size_t uiLength = strlen(pszText);
    for (size_t i = 0, j = uiLength; i + 1 < j; ++i, --j)
    {
        char cTemp = pszText[i];
        pszText[i] = pszText[j - 1];
        pszText[j - 1] = cTemp;
    }
    return pszText;
}

// Rounds half up: for an even divisor a remainder of exactly half rounds up; for an odd one the
// remainder must exceed half (rounded down).
MUINT32 QelTools_RoundedDivision(MUINT32 uiDividend, MUINT32 uiDivisor)
{
    if (uiDivisor == 0)
        return 0;
    MUINT32 uiQuotient = uiDividend / uiDivisor;
    MUINT32 uiRemainder = uiDividend % uiDivisor;
    MUINT32 uiHalf = uiDivisor / 2;
    bool bRoundUp = (uiDivisor % 2 == 0) ? (uiRemainder >= uiHalf) : (uiRemainder > uiHalf);
    return bRoundUp ? uiQuotient + 1 : uiQuotient;
}

MUINT32 QelTools_RoundedDownDivision(MUINT32 uiDividend, MUINT32 uiDivisor)
{
    return uiDivisor == 0 ? 0 : uiDividend / uiDivisor;
}

MUINT32 QelTools_RoundedUpDivision(MUINT32 uiDividend, MUINT32 uiDivisor)
{
    if (uiDivisor == 0)
        return 0;
    return uiDividend / uiDivisor + ((uiDividend % uiDivisor) != 0 ? 1 : 0);
}

// Integer square root, rounded down, by Newton's iteration. Below 2 the result is n / 2, so 1
// gives 0: callers depend on that.
MUINT32 QelTools_SquareRoot(MUINT32 uiValue)
{
    if (uiValue < 2)
        return uiValue / 2;
    MUINT32 uiX = uiValue / 2;
    MUINT32 uiY = (uiValue / uiX + uiX) / 2;
    while (uiY < uiX)
    {
        uiX = uiY;
        uiY = (uiValue / uiX + uiX) / 2;
    }
    return uiX;
}

void QelTools_Assert(int /*iCondition*/, const char* /*pszFile*/, int /*iLine*/) {}
