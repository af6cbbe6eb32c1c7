// Non-template parts of the foundation containers: the allocation hook, CMString with its token
// iterator, CMArrayString and the map node blocks (CMPlex).
#include "QelMFCTypes.h"

#include <cctype>
#include <cstdio>
#include <strings.h>

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_STRING_NO_MEMORY           = 85,
    REPORT_CONSTRUCT_BAD_LENGTH       = 216,
    REPORT_CONSTRUCT_NEGATIVE_REPEAT  = 226,
    REPORT_NEGATIVE_LENGTH            = 263,
    REPORT_LENGTH_TOO_LONG            = 264,
    REPORT_GET_AT_BAD_INDEX           = 330,
    REPORT_GET_BUFFER_NEGATIVE_LENGTH = 361,
    REPORT_RELEASED_TOO_OFTEN         = 369,
    REPORT_RELEASE_BUFFER_BAD_LENGTH  = 401,
    REPORT_UNLOCK_NOT_LOCKED          = 435,
    REPORT_SEARCH_NULL_TEXT           = 449,
    REPORT_SEARCH_NEGATIVE_START      = 477,
    REPORT_COUNT_NULL_TEXT            = 492,
    REPORT_SET_AT_BAD_INDEX_OR_ZERO   = 561,
    REPORT_INSERT_NULL_TEXT           = 595,
    REPORT_TRIM_LEFT_NULL_TARGETS     = 693,
    REPORT_TRIM_RIGHT_NULL_TARGETS    = 706,
    REPORT_FORMAT_NULL                = 745,
    REPORT_FORMAT_FAILED              = 755,
    REPORT_ITERATOR_NO_DELIMITERS     = 825,
    REPORT_ITERATOR_READ_PAST_END     = 856,
    REPORT_ITERATOR_ADVANCE_PAST_END  = 866,
    REPORT_JOIN_NULL_SEPARATOR        = 888,
    REPORT_JOIN_TOO_LONG              = 900,
    REPORT_SPLIT_NULL_TEXT            = 924,
    REPORT_PLEX_EMPTY_BLOCK           = 940,
    REPORT_PLEX_NO_MEMORY             = 948,
};
}  // namespace

// ================================================================================================
// CMAllocator
// ================================================================================================
CMAllocator* CMAllocator::m_poGlobalAllocator = nullptr;

void* CMAllocator::AllocateMemory(size_t uiSize)
{
    if (m_poGlobalAllocator != nullptr)
        return m_poGlobalAllocator->Alloc(uiSize);
    return new MUINT8[uiSize];
}

void CMAllocator::FreeMemory(void* pvMemory)
{
    if (pvMemory == nullptr)
        return;
    if (m_poGlobalAllocator != nullptr)
        m_poGlobalAllocator->Free(pvMemory);
    else
        delete[] static_cast<MUINT8*>(pvMemory);
}

// ================================================================================================
// CMString
// ================================================================================================
namespace
{
// Constant-initialised, so it is usable from any static constructor of any other unit.
constinit const CMString s_oEmptyString;

constexpr MINT64 sc_iMaxStringLength = 0x7FFFFFFE;

// Length of a text as a string length; a text too long for a string yields a length that
// AllocData refuses.
MINT32 TextLength(const MCHAR8* pszText)
{
    if (pszText == nullptr)
        return 0;
    size_t uiLength = strlen(pszText);
    return (uiLength > static_cast<size_t>(sc_iMaxStringLength)) ? 0x7FFFFFFF : static_cast<MINT32>(uiLength);
}

MBOOL32 IsSameNoCase(MCHAR8 chA, MCHAR8 chB)
{
    return tolower(static_cast<unsigned char>(chA)) == tolower(static_cast<unsigned char>(chB));
}

// Whether the character is one of the set's characters (the terminator is not one of them).
MBOOL32 IsInSet(const MCHAR8* pszSet, MCHAR8 chCharacter)
{
    return chCharacter != 0 && strchr(pszSet, chCharacter) != nullptr;
}
}  // namespace

const CMString* const CMString::m_poEmptyString = &s_oEmptyString;

// ---- Storage ------------------------------------------------------------------------------------

SMetaData* CMString::AllocData(MINT64 iLength)
{
    if (iLength < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NEGATIVE_LENGTH);
        return nullptr;
    }
    if (iLength > sc_iMaxStringLength)
    {
        QEL_ASSERT_REPORT_AT(REPORT_LENGTH_TOO_LONG);
        return nullptr;
    }
    if (iLength == 0)
        return m_poDataNil;

    void* pvMemory = CMAllocator::AllocateMemory(sizeof(SMetaData) + static_cast<size_t>(iLength) + 1);
    if (pvMemory == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_STRING_NO_MEMORY);
        return nullptr;
    }
    MINT32 iLength32 = static_cast<MINT32>(iLength);
    SMetaData* poData = ::new (pvMemory) SMetaData{1, iLength32, iLength32};
    poData->GetChars()[iLength32] = 0;
    return poData;
}

void CMString::Release(SMetaData* poData)
{
    if (poData == m_poDataNil)
        return;
    // A count of 0 here means a reference was dropped twice; the count still goes down so that
    // the block is freed rather than kept forever.
    if (poData->iRefs == 0)
        QEL_ASSERT_REPORT_AT(REPORT_RELEASED_TOO_OFTEN);
    poData->iRefs--;
    if (poData->iRefs <= 0)
        CMAllocator::FreeMemory(poData);
}

void CMString::Release()
{
    Release(GetData());
    m_pchData = m_pszNil;
}

void CMString::Adopt(SMetaData* poData)
{
    Release(GetData());
    m_pchData = poData->GetChars();
}

void CMString::SetLength(MINT32 iLength)
{
    // The empty representation is shared by every empty string: it is never written.
    if (IsNil())
        return;
    GetData()->iDataLength = iLength;
    m_pchData[iLength] = 0;
}

MBOOL32 CMString::CopyBeforeWrite()
{
    SMetaData* poData = GetData();
    if (poData->iRefs <= 1)
        return TRUE;
    SMetaData* poNewData = AllocData(poData->iDataLength);
    if (poNewData == nullptr)
        return FALSE;
    memcpy(poNewData->GetChars(), m_pchData, static_cast<size_t>(poData->iDataLength));
    Adopt(poNewData);
    return TRUE;
}

MBOOL32 CMString::AllocBeforeWrite(MINT32 iLength)
{
    SMetaData* poData = GetData();
    if (poData->iRefs > 1 || iLength > poData->iAllocLength)
    {
        SMetaData* poNewData = AllocData(iLength);
        if (poNewData == nullptr)
            return FALSE;
        Adopt(poNewData);
    }
    return TRUE;
}

void CMString::AssignCopy(MINT32 iLength, const MCHAR8* pchText)
{
    // When the text lies in the current buffer, that buffer is big enough and is kept.
    if (!AllocBeforeWrite(iLength))
        return;
    if (iLength > 0)
        memmove(m_pchData, pchText, static_cast<size_t>(iLength));
    SetLength(iLength);
}

void CMString::ConcatCopy(MINT32 iLength1, const MCHAR8* pchText1, MINT32 iLength2, const MCHAR8* pchText2)
{
    SMetaData* poNewData = AllocData(static_cast<MINT64>(iLength1) + iLength2);
    if (poNewData == nullptr)
        return;
    if (iLength1 > 0)
        memcpy(poNewData->GetChars(), pchText1, static_cast<size_t>(iLength1));
    if (iLength2 > 0)
        memcpy(poNewData->GetChars() + iLength1, pchText2, static_cast<size_t>(iLength2));
    Adopt(poNewData);
}

void CMString::ConcatInPlace(MINT32 iLength, const MCHAR8* pchText)
{
    if (iLength <= 0)
        return;
    SMetaData* poData = GetData();
    if (poData->iRefs > 1 || static_cast<MINT64>(poData->iDataLength) + iLength > poData->iAllocLength)
    {
        // New buffer; the added text may lie in the old one, which is released only afterwards.
        ConcatCopy(poData->iDataLength, m_pchData, iLength, pchText);
        return;
    }
    memmove(m_pchData + poData->iDataLength, pchText, static_cast<size_t>(iLength));
    SetLength(poData->iDataLength + iLength);
}

// ---- Construction and assignment -----------------------------------------------------------------

CMString::CMString(const CMString& roSource) : m_pchData(m_pszNil)
{
    if (roSource.GetData()->iRefs > 0)
    {
        m_pchData = roSource.m_pchData;
        GetData()->iRefs++;
    }
    else
    {
        // A locked buffer is never shared; the empty representation needs no copy.
        AssignCopy(roSource.GetLength(), roSource.m_pchData);
    }
}

CMString::CMString(const MCHAR8* pszText) : m_pchData(m_pszNil)
{
    AssignCopy(TextLength(pszText), pszText);
}

CMString::CMString(const MCHAR8* pchText, MINT32 iLength) : m_pchData(m_pszNil)
{
    if (iLength < 0 || (pchText == nullptr && iLength > 0))
    {
        QEL_ASSERT_REPORT_AT(REPORT_CONSTRUCT_BAD_LENGTH);
        return;
    }
    AssignCopy(iLength, pchText);
}

CMString::CMString(MCHAR8 chCharacter, MINT32 iRepeat) : m_pchData(m_pszNil)
{
    if (iRepeat < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_CONSTRUCT_NEGATIVE_REPEAT);
        return;
    }
    SMetaData* poData = AllocData(iRepeat);
    if (poData == nullptr || iRepeat == 0)
        return;
    memset(poData->GetChars(), chCharacter, static_cast<size_t>(iRepeat));
    m_pchData = poData->GetChars();
}

CMString::~CMString()
{
    Release(GetData());
}

CMString& CMString::operator=(const CMString& roSource)
{
    if (m_pchData == roSource.m_pchData)
        return *this;
    if (IsLocked() || roSource.GetData()->iRefs < 0)
    {
        // A locked target keeps its buffer; a locked or empty source is copied, not shared.
        AssignCopy(roSource.GetLength(), roSource.m_pchData);
    }
    else
    {
        Release(GetData());
        m_pchData = roSource.m_pchData;
        GetData()->iRefs++;
    }
    return *this;
}

CMString& CMString::operator=(const MCHAR8* pszText)
{
    AssignCopy(TextLength(pszText), pszText);
    return *this;
}

CMString& CMString::operator=(MCHAR8 chCharacter)
{
    AssignCopy(1, &chCharacter);
    return *this;
}

CMString& CMString::operator+=(const CMString& roText)
{
    ConcatInPlace(roText.GetLength(), roText.m_pchData);
    return *this;
}

CMString& CMString::operator+=(const MCHAR8* pszText)
{
    ConcatInPlace(TextLength(pszText), pszText);
    return *this;
}

CMString& CMString::operator+=(MCHAR8 chCharacter)
{
    ConcatInPlace(1, &chCharacter);
    return *this;
}

CMString operator+(const CMString& roLeft, const CMString& roRight)
{
    CMString oResult;
    oResult.ConcatCopy(roLeft.GetLength(), roLeft.m_pchData, roRight.GetLength(), roRight.m_pchData);
    return oResult;
}

CMString operator+(const CMString& roLeft, const MCHAR8* pszRight)
{
    CMString oResult;
    oResult.ConcatCopy(roLeft.GetLength(), roLeft.m_pchData, TextLength(pszRight), pszRight);
    return oResult;
}

CMString operator+(const MCHAR8* pszLeft, const CMString& roRight)
{
    CMString oResult;
    oResult.ConcatCopy(TextLength(pszLeft), pszLeft, roRight.GetLength(), roRight.m_pchData);
    return oResult;
}

CMString operator+(const CMString& roLeft, MCHAR8 chRight)
{
    CMString oResult;
    oResult.ConcatCopy(roLeft.GetLength(), roLeft.m_pchData, 1, &chRight);
    return oResult;
}

CMString operator+(MCHAR8 chLeft, const CMString& roRight)
{
    CMString oResult;
    oResult.ConcatCopy(1, &chLeft, roRight.GetLength(), roRight.m_pchData);
    return oResult;
}

// ---- Access and comparison -----------------------------------------------------------------------

MCHAR8 CMString::GetAt(MINT32 iIndex) const
{
    if (iIndex < 0 || iIndex >= GetLength())
    {
        QEL_ASSERT_REPORT_AT(REPORT_GET_AT_BAD_INDEX);
        return 0;
    }
    return m_pchData[iIndex];
}

MINT32 CMString::Compare(const MCHAR8* pszText) const
{
    return strcmp(m_pchData, (pszText != nullptr) ? pszText : "");
}

MINT32 CMString::CompareNoCase(const MCHAR8* pszText) const
{
    return strcasecmp(m_pchData, (pszText != nullptr) ? pszText : "");
}

void CMString::Empty()
{
    // A locked buffer stays in place for the holder of its pointer.
    if (IsLocked())
        SetLength(0);
    else
        Release();
}

// ---- Direct buffer access ------------------------------------------------------------------------

MCHAR8* CMString::GetBuffer(MINT32 iMinLength)
{
    if (iMinLength < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_GET_BUFFER_NEGATIVE_LENGTH);
        iMinLength = 0;
    }
    SMetaData* poData = GetData();
    if (poData->iRefs > 1 || iMinLength > poData->iAllocLength)
    {
        MINT32 iLength = poData->iDataLength;
        SMetaData* poNewData = AllocData((iMinLength > iLength) ? iMinLength : iLength);
        if (poNewData == nullptr)
            return nullptr;
        if (poNewData != m_poDataNil)
        {
            memcpy(poNewData->GetChars(), m_pchData, static_cast<size_t>(iLength));
            poNewData->iDataLength = iLength;
            poNewData->GetChars()[iLength] = 0;
        }
        Adopt(poNewData);
    }
    return m_pchData;
}

MCHAR8* CMString::GetBufferSetLength(MINT32 iNewLength)
{
    if (GetBuffer(iNewLength) == nullptr)
        return nullptr;
    if (iNewLength >= 0)
        SetLength(iNewLength);
    return m_pchData;
}

void CMString::ReleaseBuffer(MINT32 iNewLength)
{
    if (!CopyBeforeWrite())
        return;
    MINT32 iAllocLength = GetData()->iAllocLength;
    if (iNewLength == -1)
        iNewLength = static_cast<MINT32>(strnlen(m_pchData, static_cast<size_t>(iAllocLength)));
    if (iNewLength < 0 || iNewLength > iAllocLength)
    {
        // The buffer cannot hold that many characters: keep what fits.
        QEL_ASSERT_REPORT_AT(REPORT_RELEASE_BUFFER_BAD_LENGTH);
        iNewLength = (iNewLength < 0) ? 0 : iAllocLength;
    }
    SetLength(iNewLength);
}

void CMString::FreeExtra()
{
    SMetaData* poData = GetData();
    // A locked buffer must not move under the holder of its pointer.
    if (poData->iDataLength == poData->iAllocLength || IsLocked())
        return;
    SMetaData* poNewData = AllocData(poData->iDataLength);
    if (poNewData == nullptr)
        return;
    memcpy(poNewData->GetChars(), m_pchData, static_cast<size_t>(poData->iDataLength));
    Adopt(poNewData);
}

MCHAR8* CMString::LockBuffer()
{
    MCHAR8* pchBuffer = GetBuffer(0);
    if (pchBuffer != nullptr && !IsNil())
        GetData()->iRefs = -1;
    return pchBuffer;
}

void CMString::UnlockBuffer()
{
    if (IsNil())
        return;
    if (GetData()->iRefs != -1)
    {
        // Not locked: the count belongs to the sharing strings and stays as it is.
        QEL_ASSERT_REPORT_AT(REPORT_UNLOCK_NOT_LOCKED);
        return;
    }
    GetData()->iRefs = 1;
}

// ---- Searches ------------------------------------------------------------------------------------

MINT32 CMString::Search(const MCHAR8* pchText, MINT32 iTextLength, MINT32 iStart, MBOOL32 bNoCase,
                        MBOOL32 bReverse) const
{
    if (pchText == nullptr)
    {
        // A null text is found nowhere.
        QEL_ASSERT_REPORT_AT(REPORT_SEARCH_NULL_TEXT);
        return -1;
    }
    MINT32 iLength = GetLength();
    auto Matches = [&](MINT32 iAt)
    {
        if (!bNoCase)
            return memcmp(m_pchData + iAt, pchText, static_cast<size_t>(iTextLength)) == 0;
        for (MINT32 i = 0; i < iTextLength; i++)
        {
            if (!IsSameNoCase(m_pchData[iAt + i], pchText[i]))
                return false;
        }
        return true;
    };

    if (bReverse)
    {
        for (MINT32 iAt = iLength - iTextLength; iAt >= 0; iAt--)
        {
            if (Matches(iAt))
                return iAt;
        }
        return -1;
    }

    if (iStart < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SEARCH_NEGATIVE_START);
        iStart = 0;
    }
    for (MINT64 iAt = iStart; iAt + iTextLength <= iLength; iAt++)
    {
        if (Matches(static_cast<MINT32>(iAt)))
            return static_cast<MINT32>(iAt);
    }
    return -1;
}

MINT32 CMString::Count(const MCHAR8* pchText, MINT32 iTextLength, MBOOL32 bNoCase) const
{
    if (pchText == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_COUNT_NULL_TEXT);
        return 0;
    }
    if (iTextLength == 0)
        return 0;
    MINT32 iCount = 0;
    for (MINT32 iAt = Search(pchText, iTextLength, 0, bNoCase, FALSE); iAt >= 0;
         iAt = Search(pchText, iTextLength, iAt + iTextLength, bNoCase, FALSE))
    {
        iCount++;
    }
    return iCount;
}

MINT32 CMString::Find(MCHAR8 chCharacter, MINT32 iStart) const { return Search(&chCharacter, 1, iStart, FALSE, FALSE); }
MINT32 CMString::FindNoCase(MCHAR8 chCharacter, MINT32 iStart) const { return Search(&chCharacter, 1, iStart, TRUE, FALSE); }
MINT32 CMString::ReverseFind(MCHAR8 chCharacter) const { return Search(&chCharacter, 1, 0, FALSE, TRUE); }
MINT32 CMString::ReverseFindNoCase(MCHAR8 chCharacter) const { return Search(&chCharacter, 1, 0, TRUE, TRUE); }
MINT32 CMString::CountOf(MCHAR8 chCharacter) const { return Count(&chCharacter, 1, FALSE); }
MINT32 CMString::CountOfNoCase(MCHAR8 chCharacter) const { return Count(&chCharacter, 1, TRUE); }

MINT32 CMString::Find(const MCHAR8* pszText, MINT32 iStart) const { return Search(pszText, TextLength(pszText), iStart, FALSE, FALSE); }
MINT32 CMString::FindNoCase(const MCHAR8* pszText, MINT32 iStart) const { return Search(pszText, TextLength(pszText), iStart, TRUE, FALSE); }
MINT32 CMString::ReverseFind(const MCHAR8* pszText) const { return Search(pszText, TextLength(pszText), 0, FALSE, TRUE); }
MINT32 CMString::ReverseFindNoCase(const MCHAR8* pszText) const { return Search(pszText, TextLength(pszText), 0, TRUE, TRUE); }
MINT32 CMString::CountOf(const MCHAR8* pszText) const { return Count(pszText, TextLength(pszText), FALSE); }
MINT32 CMString::CountOfNoCase(const MCHAR8* pszText) const { return Count(pszText, TextLength(pszText), TRUE); }

// ---- In-place changes ----------------------------------------------------------------------------

CMString& CMString::MapCharacters(int (*pfnMap)(int))
{
    if (CopyBeforeWrite())
    {
        for (MINT32 i = 0; i < GetLength(); i++)
            m_pchData[i] = static_cast<MCHAR8>(pfnMap(static_cast<unsigned char>(m_pchData[i])));
    }
    return *this;
}

CMString& CMString::MakeUpper()
{
    return MapCharacters(toupper);
}

CMString& CMString::MakeLower()
{
    return MapCharacters(tolower);
}

CMString& CMString::MakeReverse()
{
    if (CopyBeforeWrite())
    {
        for (MINT32 iLow = 0, iHigh = GetLength() - 1; iLow < iHigh; iLow++, iHigh--)
        {
            MCHAR8 chSwap = m_pchData[iLow];
            m_pchData[iLow] = m_pchData[iHigh];
            m_pchData[iHigh] = chSwap;
        }
    }
    return *this;
}

void CMString::SetAt(MINT32 iIndex, MCHAR8 chCharacter)
{
    // A zero would cut the text short of its recorded length.
    if (iIndex < 0 || iIndex >= GetLength() || chCharacter == 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SET_AT_BAD_INDEX_OR_ZERO);
        return;
    }
    if (CopyBeforeWrite())
        m_pchData[iIndex] = chCharacter;
}

MINT32 CMString::Delete(MINT32 iIndex, MINT32 iCount)
{
    MINT32 iLength = GetLength();
    if (iIndex < 0)
        iIndex = 0;
    if (iCount <= 0 || iIndex >= iLength)
        return iLength;
    if (iCount > iLength - iIndex)
        iCount = iLength - iIndex;
    if (!CopyBeforeWrite())
        return iLength;
    memmove(m_pchData + iIndex, m_pchData + iIndex + iCount, static_cast<size_t>(iLength - iIndex - iCount));
    SetLength(iLength - iCount);
    return iLength - iCount;
}

MINT32 CMString::Insert(MINT32 iIndex, MCHAR8 chCharacter)
{
    const MCHAR8 szText[2] = {chCharacter, 0};
    return Insert(iIndex, szText);
}

MINT32 CMString::Insert(MINT32 iIndex, const MCHAR8* pszText)
{
    MINT32 iLength = GetLength();
    if (pszText == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INSERT_NULL_TEXT);
        return iLength;
    }
    MINT32 iInsertLength = TextLength(pszText);
    if (iInsertLength == 0)
        return iLength;
    if (iIndex < 0)
        iIndex = 0;
    if (iIndex > iLength)
        iIndex = iLength;

    SMetaData* poData = GetData();
    MINT64 iNewLength = static_cast<MINT64>(iLength) + iInsertLength;
    MUINTPTR uiText = reinterpret_cast<MUINTPTR>(pszText);
    MUINTPTR uiBuffer = reinterpret_cast<MUINTPTR>(m_pchData);
    MBOOL32 bTextInBuffer = uiText >= uiBuffer && uiText <= uiBuffer + static_cast<MUINTPTR>(poData->iAllocLength);

    if (poData->iRefs > 1 || iNewLength > poData->iAllocLength || bTextInBuffer)
    {
        // Build the result in a new buffer: the inserted text may lie in the current one.
        SMetaData* poNewData = AllocData(iNewLength);
        if (poNewData == nullptr)
            return iLength;
        MCHAR8* pchNew = poNewData->GetChars();
        memcpy(pchNew, m_pchData, static_cast<size_t>(iIndex));
        memcpy(pchNew + iIndex, pszText, static_cast<size_t>(iInsertLength));
        memcpy(pchNew + iIndex + iInsertLength, m_pchData + iIndex, static_cast<size_t>(iLength - iIndex));
        Adopt(poNewData);
    }
    else
    {
        memmove(m_pchData + iIndex + iInsertLength, m_pchData + iIndex, static_cast<size_t>(iLength - iIndex));
        memcpy(m_pchData + iIndex, pszText, static_cast<size_t>(iInsertLength));
        SetLength(static_cast<MINT32>(iNewLength));
    }
    return GetLength();
}

// ---- Substrings and trimming ---------------------------------------------------------------------

CMString CMString::Mid(MINT32 iFirst) const
{
    return Mid(iFirst, GetLength());
}

CMString CMString::Mid(MINT32 iFirst, MINT32 iCount) const
{
    MINT32 iLength = GetLength();
    if (iFirst < 0)
        iFirst = 0;
    if (iFirst > iLength)
        iFirst = iLength;
    if (iCount < 0)
        iCount = 0;
    if (iCount > iLength - iFirst)
        iCount = iLength - iFirst;
    if (iFirst == 0 && iCount == iLength)
        return *this;
    return CMString(m_pchData + iFirst, iCount);
}

CMString CMString::Left(MINT32 iCount) const
{
    return Mid(0, iCount);
}

CMString CMString::Right(MINT32 iCount) const
{
    MINT32 iLength = GetLength();
    if (iCount < 0)
        iCount = 0;
    if (iCount > iLength)
        iCount = iLength;
    return Mid(iLength - iCount, iCount);
}

MINT32 CMString::LeadingCount(const MCHAR8* pszTargets) const
{
    MINT32 iLength = GetLength();
    MINT32 iCount = 0;
    while (iCount < iLength && IsInSet(pszTargets, m_pchData[iCount]))
        iCount++;
    return iCount;
}

MINT32 CMString::TrailingCount(const MCHAR8* pszTargets) const
{
    MINT32 iLength = GetLength();
    MINT32 iCount = 0;
    while (iCount < iLength && IsInSet(pszTargets, m_pchData[iLength - 1 - iCount]))
        iCount++;
    return iCount;
}

CMString& CMString::TrimLeft(const MCHAR8* pszTargets)
{
    if (pszTargets == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_TRIM_LEFT_NULL_TARGETS);
        return *this;
    }
    MINT32 iCount = LeadingCount(pszTargets);
    if (iCount > 0)
        Delete(0, iCount);
    return *this;
}

CMString& CMString::TrimRight(const MCHAR8* pszTargets)
{
    if (pszTargets == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_TRIM_RIGHT_NULL_TARGETS);
        return *this;
    }
    MINT32 iCount = TrailingCount(pszTargets);
    if (iCount > 0 && CopyBeforeWrite())
        SetLength(GetLength() - iCount);
    return *this;
}

CMString& CMString::Trim(const MCHAR8* pszTargets)
{
    TrimRight(pszTargets);
    return TrimLeft(pszTargets);
}

CMString& CMString::TrimLeft(MCHAR8 chTarget)
{
    const MCHAR8 szTargets[2] = {chTarget, 0};
    return TrimLeft(szTargets);
}

CMString& CMString::TrimRight(MCHAR8 chTarget)
{
    const MCHAR8 szTargets[2] = {chTarget, 0};
    return TrimRight(szTargets);
}

CMString& CMString::Trim(MCHAR8 chTarget)
{
    const MCHAR8 szTargets[2] = {chTarget, 0};
    return Trim(szTargets);
}

// ---- Formatting ----------------------------------------------------------------------------------

MINT32 CMString::GetFormattedLength(const MCHAR8* pszFormat, va_list oArgs)
{
    if (pszFormat == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_FORMAT_NULL);
        return -1;
    }
    // Measure on a copy: the caller formats from the same arguments afterwards.
    va_list oArgsCopy;
    va_copy(oArgsCopy, oArgs);
    int iLength = vsnprintf(nullptr, 0, pszFormat, oArgsCopy);
    va_end(oArgsCopy);
    if (iLength < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_FORMAT_FAILED);
        return -1;
    }
    return iLength;
}

// Both write into a new buffer and release the old one last, so the arguments may point into
// this string's own text.
void CMString::FormatV(const MCHAR8* pszFormat, va_list oArgs)
{
    MINT32 iLength = GetFormattedLength(pszFormat, oArgs);
    if (iLength < 0)
        return;
    SMetaData* poNewData = AllocData(iLength);
    if (poNewData == nullptr)
        return;
    if (iLength > 0)
        vsnprintf(poNewData->GetChars(), static_cast<size_t>(iLength) + 1, pszFormat, oArgs);
    Adopt(poNewData);
}

void CMString::AppendFormatV(const MCHAR8* pszFormat, va_list oArgs)
{
    MINT32 iAddLength = GetFormattedLength(pszFormat, oArgs);
    if (iAddLength <= 0)
        return;
    MINT32 iLength = GetLength();
    SMetaData* poNewData = AllocData(static_cast<MINT64>(iLength) + iAddLength);
    if (poNewData == nullptr)
        return;
    memcpy(poNewData->GetChars(), m_pchData, static_cast<size_t>(iLength));
    vsnprintf(poNewData->GetChars() + iLength, static_cast<size_t>(iAddLength) + 1, pszFormat, oArgs);
    Adopt(poNewData);
}

void CMString::Format(const MCHAR8* pszFormat, ...)
{
    va_list oArgs;
    va_start(oArgs, pszFormat);
    FormatV(pszFormat, oArgs);
    va_end(oArgs);
}

void CMString::AppendFormat(const MCHAR8* pszFormat, ...)
{
    va_list oArgs;
    va_start(oArgs, pszFormat);
    AppendFormatV(pszFormat, oArgs);
    va_end(oArgs);
}

// ---- Tokens --------------------------------------------------------------------------------------

CMString::CIterator CMString::Begin(const MCHAR8* pszDelimiters) const
{
    return CIterator(this, pszDelimiters);
}

CMString::CIterator CMString::End() const
{
    CIterator oEnd;
    oEnd.m_poString = this;
    return oEnd;
}

CMString::CIterator::CIterator(const CMString* poString, const MCHAR8* pszDelimiters)
    : m_poString(poString), m_oDelimiters(pszDelimiters), m_iTokenStart(-1), m_iTokenLength(0)
{
    // Without a delimiter set the whole text is one token.
    if (pszDelimiters == nullptr)
        QEL_ASSERT_REPORT_AT(REPORT_ITERATOR_NO_DELIMITERS);
    SeekToken(0);
}

void CMString::CIterator::SeekToken(MINT32 iFrom)
{
    m_iTokenStart = -1;
    m_iTokenLength = 0;
    // Bounded by the string's current length, so a string changed under the iterator is still
    // never read past its end.
    const MCHAR8* pchText = m_poString->GetString();
    MINT32 iLength = m_poString->GetLength();
    auto IsDelimiter = [this](MCHAR8 chCharacter)
    { return memchr(m_oDelimiters.GetString(), chCharacter, static_cast<size_t>(m_oDelimiters.GetLength())) != nullptr; };

    MINT32 iStart = iFrom;
    while (iStart < iLength && IsDelimiter(pchText[iStart]))
        iStart++;
    if (iStart >= iLength)
        return;
    MINT32 iEnd = iStart;
    while (iEnd < iLength && !IsDelimiter(pchText[iEnd]))
        iEnd++;
    m_iTokenStart = iStart;
    m_iTokenLength = iEnd - iStart;
}

CMString CMString::CIterator::operator*() const
{
    if (m_poString == nullptr || m_iTokenStart < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_ITERATOR_READ_PAST_END);
        return CMString();
    }
    return m_poString->Mid(m_iTokenStart, m_iTokenLength);
}

CMString::CIterator& CMString::CIterator::operator++()
{
    if (m_poString == nullptr || m_iTokenStart < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_ITERATOR_ADVANCE_PAST_END);
        return *this;
    }
    SeekToken(m_iTokenStart + m_iTokenLength);
    return *this;
}

CMString::CIterator CMString::CIterator::operator++(int)
{
    CIterator oBefore(*this);
    ++*this;
    return oBefore;
}

// ================================================================================================
// CMArrayString
// ================================================================================================
CMString CMArrayString::Join(const MCHAR8* pszSeparator) const
{
    CMString oResult;
    if (pszSeparator == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_JOIN_NULL_SEPARATOR);
        pszSeparator = "";
    }
    if (m_iSize == 0)
        return oResult;

    size_t uiSeparatorLength = strlen(pszSeparator);
    MINT64 iTotal = static_cast<MINT64>(uiSeparatorLength) * (m_iSize - 1);
    for (MINT32 i = 0; i < m_iSize; i++)
        iTotal += m_poData[i].GetLength();
    if (iTotal > sc_iMaxStringLength)
    {
        QEL_ASSERT_REPORT_AT(REPORT_JOIN_TOO_LONG);
        return oResult;
    }
    MCHAR8* pchOut = oResult.GetBufferSetLength(static_cast<MINT32>(iTotal));
    if (pchOut == nullptr)
        return oResult;
    for (MINT32 i = 0; i < m_iSize; i++)
    {
        if (i > 0)
        {
            memcpy(pchOut, pszSeparator, uiSeparatorLength);
            pchOut += uiSeparatorLength;
        }
        memcpy(pchOut, m_poData[i].GetString(), static_cast<size_t>(m_poData[i].GetLength()));
        pchOut += m_poData[i].GetLength();
    }
    return oResult;
}

MINT32 CMArrayString::InitFromString(const MCHAR8* pszText, const MCHAR8* pszDelimiters)
{
    RemoveAll();
    if (pszText == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_SPLIT_NULL_TEXT);
        return 0;
    }
    CMString oText(pszText);
    for (CMString::CIterator oToken = oText.Begin(pszDelimiters); oToken != oText.End(); ++oToken)
        Add(*oToken);
    return m_iSize;
}

// ================================================================================================
// CMPlex
// ================================================================================================
CMPlex* CMPlex::Create(CMPlex*& rpoHead, MUINT32 uiMax, MUINT32 uiElementSize)
{
    if (uiMax == 0 || uiElementSize == 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PLEX_EMPTY_BLOCK);
        return nullptr;
    }
    // Both factors are 32-bit: the product cannot overflow 64 bits.
    MUINT64 uiBytes = sizeof(CMPlex) + static_cast<MUINT64>(uiMax) * uiElementSize;
    void* pvMemory = CMAllocator::AllocateMemory(static_cast<size_t>(uiBytes));
    if (pvMemory == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PLEX_NO_MEMORY);
        return nullptr;
    }
    CMPlex* poBlock = ::new (pvMemory) CMPlex;
    poBlock->m_poNext = rpoHead;
    rpoHead = poBlock;
    return poBlock;
}

void CMPlex::FreeDataChain()
{
    CMPlex* poBlock = this;
    while (poBlock != nullptr)
    {
        CMPlex* poNext = poBlock->m_poNext;
        CMAllocator::FreeMemory(poBlock);
        poBlock = poNext;
    }
}
