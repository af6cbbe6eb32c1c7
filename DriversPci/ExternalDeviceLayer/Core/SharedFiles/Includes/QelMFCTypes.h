// Foundation containers of the library: a growable array (CMArray), a reference-counted string
// (CMString), an array of strings (CMArrayString), a hash map (CMMap) with its pooled node blocks
// (CMPlex), and the process-wide allocation hook (CMAllocator).
//
// None of them throws. A broken precondition makes an assertion report ("QelMFCTypes.h(<number>)
// Assertion failed", or QelMFCTypes.cpp) and the call carries on as far as it can without
// touching memory outside an allocation. Each report has a fixed number from its file's table; a
// bad array index (4267), a negative array size (4679), a bad string length (263 negative, 264
// too long) and a string released once too often (369) are the ones the messages are known by.
// The containers are not synchronised: each is owned by one object on one thread.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

#include "QelAssert.h"
#include "QelBaseTypes.h"

namespace QelMFCTypesReport
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_SET_SIZE_NO_MEMORY           = 179,
    REPORT_GROW_NO_MEMORY               = 215,
    REPORT_SET_AT_GROW_NEGATIVE_INDEX   = 255,
    REPORT_SET_AT_GROW_ARRAY_FULL       = 261,
    REPORT_APPEND_TOO_LARGE             = 305,
    REPORT_INSERT_BAD_RANGE             = 320,
    REPORT_REMOVE_BAD_RANGE             = 353,
    REPORT_FREE_EXTRA_NO_MEMORY         = 377,
    REPORT_MAP_BAD_GROW_SIZE            = 718,
    REPORT_MAP_HASH_TABLE_NOT_RESIZABLE = 729,
    REPORT_MAP_HASH_TABLE_NO_MEMORY     = 741,
    REPORT_MAP_NODE_NO_MEMORY           = 849,
    REPORT_MAP_WALK_PAST_END            = 896,
    REPORT_BAD_ARRAY_INDEX              = 4267,   // read or write alike
    REPORT_NEGATIVE_ARRAY_SIZE          = 4679,
};
}  // namespace QelMFCTypesReport

// ------------------------------------------------------------------------------------------------
// CMAllocator: every allocation of every container goes through m_poGlobalAllocator when it is
// set, through array new otherwise. Set it before the first container allocates and leave it in
// place until the last of those allocations is released: a block is always returned to the
// allocator that is installed at release time.
// Blocks must be aligned for any fundamental type (like malloc).
// ------------------------------------------------------------------------------------------------
class CMAllocator
{
public:
    virtual void* Alloc(size_t uiSize) = 0;
    virtual void  Free(void* pvMemory) = 0;
    virtual ~CMAllocator() {}

    static CMAllocator* m_poGlobalAllocator;

    // The containers' only way to memory. AllocateMemory returns null only when an installed
    // allocator refuses; FreeMemory ignores null.
    static void* AllocateMemory(size_t uiSize);
    static void  FreeMemory(void* pvMemory);
};

// ------------------------------------------------------------------------------------------------
// Element helpers: every creation of elements zero-fills their memory first and then
// default-constructs them in place; every removal calls their destructors.
// ------------------------------------------------------------------------------------------------
template <class TYPE>
inline void MConstructElements(TYPE* poElements, MINT32 iCount)
{
    if (iCount <= 0)
        return;
    memset(static_cast<void*>(poElements), 0, static_cast<size_t>(iCount) * sizeof(TYPE));
    for (MINT32 i = 0; i < iCount; i++)
        ::new (static_cast<void*>(poElements + i)) TYPE;
}

template <class TYPE>
inline void MDestructElements(TYPE* poElements, MINT32 iCount)
{
    for (MINT32 i = 0; i < iCount; i++)
        poElements[i].~TYPE();
}

// Stand-in for an element that does not exist (bad index, no memory for a new map node): a
// fresh zero-filled, default-constructed element for every use, so that writes through it land
// nowhere that matters and reads see a default value. Never destroyed, so it is safe during exit.
template <class TYPE>
inline TYPE& MScratchElement()
{
    alignas(TYPE) static MUINT8 s_auiStorage[sizeof(TYPE)];
    static MBOOL32 s_bConstructed = FALSE;
    TYPE* poScratch = reinterpret_cast<TYPE*>(s_auiStorage);
    if (s_bConstructed)
        MDestructElements(poScratch, 1);
    MConstructElements(poScratch, 1);
    s_bConstructed = TRUE;
    return *poScratch;
}

// ------------------------------------------------------------------------------------------------
// CMArray: growable array. Elements are moved by a plain byte copy when the storage grows or
// shrinks, so TYPE must be relocatable by copying its bytes (no pointers into itself).
// ------------------------------------------------------------------------------------------------
template <class TYPE, class ARG_TYPE = const TYPE&>
class CMArray
{
public:
    CMArray() : m_poData(nullptr), m_iSize(0), m_iMaxSize(0), m_iGrowBy(0) {}
    CMArray(const CMArray& roSource) : CMArray() { Copy(roSource); }
    CMArray& operator=(const CMArray& roSource)
    {
        Copy(roSource);
        return *this;
    }
    virtual ~CMArray() { SetSize(0, -1); }

    // iGrowBy -1 keeps the current step; 0 lets the first growth beyond the capacity choose it.
    virtual void SetSize(MINT32 iNewSize, MINT32 iGrowBy = -1);
    void SetCount(MINT32 iNewCount, MINT32 iGrowBy = -1) { SetSize(iNewCount, iGrowBy); }

    MINT32  GetSize() const { return m_iSize; }
    MINT32  GetCount() const { return m_iSize; }
    MINT32  GetUpperBound() const { return m_iSize - 1; }
    MBOOL32 IsEmpty() const { return m_iSize == 0; }

    const TYPE* GetData() const { return m_poData; }
    TYPE*       GetData() { return m_poData; }

    // Indexed access. A bad index is reported; reads then see a default-constructed element and
    // writes land in a scratch element, never outside the storage.
    const TYPE& GetAt(MINT32 iIndex) const { return const_cast<CMArray*>(this)->ElementAt(iIndex); }
    TYPE&       ElementAt(MINT32 iIndex);
    void        SetAt(MINT32 iIndex, ARG_TYPE oNewElement);
    const TYPE& operator[](MINT32 iIndex) const { return GetAt(iIndex); }
    TYPE&       operator[](MINT32 iIndex) { return ElementAt(iIndex); }

    // Grows the array to iIndex + 1 elements when needed, then assigns.
    void   SetAtGrow(MINT32 iIndex, ARG_TYPE oNewElement);
    MINT32 Add(ARG_TYPE oNewElement);                  // returns the new element's index
    MINT32 Append(const CMArray& roSource);           // returns the index of the first appended
    void   Copy(const CMArray& roSource);
    void   InsertAt(MINT32 iIndex, ARG_TYPE oNewElement, MINT32 iCount = 1);
    void   RemoveAt(MINT32 iIndex, MINT32 iCount = 1);
    void   RemoveAll() { SetSize(0, -1); }
    void   FreeExtra();

    // Linear searches with TYPE's operator==: index of the first match at or after iStart, or -1.
    MINT32  Find(ARG_TYPE oValue, MINT32 iStart = 0) const;
    MBOOL32 Contains(ARG_TYPE oValue) const { return Find(oValue) >= 0; }

    TYPE*  m_poData;     // the elements
    MINT32 m_iSize;      // number of elements
    MINT32 m_iMaxSize;   // capacity
    MINT32 m_iGrowBy;    // growth step; 0 = chosen at the first growth and kept from then on

private:
    static_assert(alignof(TYPE) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__,
                  "CMArray storage is only aligned for fundamental types");

    static TYPE* AllocStorage(MINT32 iCount)
    {
        return static_cast<TYPE*>(CMAllocator::AllocateMemory(static_cast<size_t>(iCount) * sizeof(TYPE)));
    }
    MBOOL32 IsValidIndex(MINT32 iIndex) const { return iIndex >= 0 && iIndex < m_iSize; }
};

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::SetSize(MINT32 iNewSize, MINT32 iGrowBy)
{
    if (iGrowBy != -1)
        m_iGrowBy = iGrowBy;

    if (iNewSize < 0)
    {
        // There is no sensible storage for a negative count: the elements stay as they are.
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_NEGATIVE_ARRAY_SIZE);
        return;
    }

    if (iNewSize == 0)
    {
        if (m_poData != nullptr)
        {
            MDestructElements(m_poData, m_iSize);
            CMAllocator::FreeMemory(m_poData);
            m_poData = nullptr;
        }
        m_iSize = 0;
        m_iMaxSize = 0;
        return;
    }

    if (m_poData == nullptr)
    {
        TYPE* poNewData = AllocStorage(iNewSize);
        if (poNewData == nullptr)
        {
            QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_SET_SIZE_NO_MEMORY);
            return;
        }
        MConstructElements(poNewData, iNewSize);
        m_poData = poNewData;
        m_iSize = iNewSize;
        m_iMaxSize = iNewSize;
        return;
    }

    if (iNewSize <= m_iMaxSize)
    {
        if (iNewSize > m_iSize)
            MConstructElements(m_poData + m_iSize, iNewSize - m_iSize);
        else if (iNewSize < m_iSize)
            MDestructElements(m_poData + iNewSize, m_iSize - iNewSize);
        m_iSize = iNewSize;
        return;
    }

    // Growth beyond the capacity. The automatic step is about an eighth of the current size,
    // between 4 and 1024 elements, and is kept for every later growth of this array.
    if (m_iGrowBy == 0)
    {
        MINT32 iStep = m_iSize / 8;
        m_iGrowBy = (iStep < 4) ? 4 : (iStep > 1024) ? 1024 : iStep;
    }
    MINT64 iNewMax = static_cast<MINT64>(m_iMaxSize) + m_iGrowBy;
    if (iNewMax < iNewSize)
        iNewMax = iNewSize;
    if (iNewMax > 0x7FFFFFFF)
        iNewMax = 0x7FFFFFFF;

    TYPE* poNewData = AllocStorage(static_cast<MINT32>(iNewMax));
    if (poNewData == nullptr)
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_GROW_NO_MEMORY);
        return;
    }
    memcpy(static_cast<void*>(poNewData), static_cast<const void*>(m_poData),
           static_cast<size_t>(m_iSize) * sizeof(TYPE));
    MConstructElements(poNewData + m_iSize, iNewSize - m_iSize);
    CMAllocator::FreeMemory(m_poData);
    m_poData = poNewData;
    m_iSize = iNewSize;
    m_iMaxSize = static_cast<MINT32>(iNewMax);
}

template <class TYPE, class ARG_TYPE>
TYPE& CMArray<TYPE, ARG_TYPE>::ElementAt(MINT32 iIndex)
{
    if (!IsValidIndex(iIndex))
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_BAD_ARRAY_INDEX);
        return MScratchElement<TYPE>();
    }
    return m_poData[iIndex];
}

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::SetAt(MINT32 iIndex, ARG_TYPE oNewElement)
{
    if (!IsValidIndex(iIndex))
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_BAD_ARRAY_INDEX);
        return;   // nothing to assign to
    }
    m_poData[iIndex] = oNewElement;
}

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::SetAtGrow(MINT32 iIndex, ARG_TYPE oNewElement)
{
    if (iIndex < 0)
    {
        // No element exists at a negative index: the value is dropped.
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_SET_AT_GROW_NEGATIVE_INDEX);
        return;
    }
    if (iIndex == 0x7FFFFFFF)
    {
        // An array cannot hold more elements than its 32-bit count can say.
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_SET_AT_GROW_ARRAY_FULL);
        return;
    }
    if (iIndex >= m_iSize)
    {
        // The value may be an element of this array: keep a copy across the reallocation.
        TYPE oValue(oNewElement);
        SetSize(iIndex + 1, -1);
        if (iIndex < m_iSize)
            m_poData[iIndex] = oValue;
        return;
    }
    m_poData[iIndex] = oNewElement;
}

template <class TYPE, class ARG_TYPE>
MINT32 CMArray<TYPE, ARG_TYPE>::Add(ARG_TYPE oNewElement)
{
    MINT32 iIndex = m_iSize;
    SetAtGrow(iIndex, oNewElement);
    return iIndex;
}

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::Copy(const CMArray& roSource)
{
    if (this == &roSource)
        return;
    SetSize(roSource.m_iSize, -1);
    for (MINT32 i = 0; i < m_iSize; i++)
        m_poData[i] = roSource.m_poData[i];
}

template <class TYPE, class ARG_TYPE>
MINT32 CMArray<TYPE, ARG_TYPE>::Append(const CMArray& roSource)
{
    MINT32 iOldSize = m_iSize;
    if (this == &roSource)
    {
        CMArray oCopy(roSource);
        return Append(oCopy);
    }
    if (static_cast<MINT64>(iOldSize) + roSource.m_iSize > 0x7FFFFFFF)
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_APPEND_TOO_LARGE);
        return iOldSize;
    }
    SetSize(iOldSize + roSource.m_iSize, -1);
    for (MINT32 i = iOldSize; i < m_iSize; i++)
        m_poData[i] = roSource.m_poData[i - iOldSize];
    return iOldSize;
}

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::InsertAt(MINT32 iIndex, ARG_TYPE oNewElement, MINT32 iCount)
{
    if (iIndex < 0 || iCount <= 0 || static_cast<MINT64>(iIndex) + iCount > 0x7FFFFFFF ||
        static_cast<MINT64>(m_iSize) + iCount > 0x7FFFFFFF)
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_INSERT_BAD_RANGE);
        return;
    }
    TYPE oValue(oNewElement);   // may be an element of this array
    MINT32 iOldSize = m_iSize;
    if (iIndex >= iOldSize)
    {
        // Inserting past the end grows the array to reach the index.
        SetSize(iIndex + iCount, -1);
        if (m_iSize != iIndex + iCount)
            return;
    }
    else
    {
        SetSize(iOldSize + iCount, -1);
        if (m_iSize != iOldSize + iCount)
            return;
        // Open the gap: the elements just constructed at the end are dropped, the tail is moved
        // up by bytes and the gap gets fresh elements.
        MDestructElements(m_poData + iOldSize, iCount);
        memmove(static_cast<void*>(m_poData + iIndex + iCount), static_cast<const void*>(m_poData + iIndex),
                static_cast<size_t>(iOldSize - iIndex) * sizeof(TYPE));
        MConstructElements(m_poData + iIndex, iCount);
    }
    for (MINT32 i = 0; i < iCount; i++)
        m_poData[iIndex + i] = oValue;
}

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::RemoveAt(MINT32 iIndex, MINT32 iCount)
{
    if (iIndex < 0 || iCount < 0 || static_cast<MINT64>(iIndex) + iCount > m_iSize)
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_REMOVE_BAD_RANGE);
        return;
    }
    MDestructElements(m_poData + iIndex, iCount);
    MINT32 iMoveCount = m_iSize - (iIndex + iCount);
    if (iMoveCount > 0)
    {
        memmove(static_cast<void*>(m_poData + iIndex), static_cast<const void*>(m_poData + iIndex + iCount),
                static_cast<size_t>(iMoveCount) * sizeof(TYPE));
    }
    m_iSize -= iCount;
}

template <class TYPE, class ARG_TYPE>
void CMArray<TYPE, ARG_TYPE>::FreeExtra()
{
    if (m_iSize == m_iMaxSize)
        return;
    TYPE* poNewData = nullptr;
    if (m_iSize != 0)
    {
        poNewData = AllocStorage(m_iSize);
        if (poNewData == nullptr)
        {
            QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_FREE_EXTRA_NO_MEMORY);
            return;
        }
        memcpy(static_cast<void*>(poNewData), static_cast<const void*>(m_poData),
               static_cast<size_t>(m_iSize) * sizeof(TYPE));
    }
    CMAllocator::FreeMemory(m_poData);
    m_poData = poNewData;
    m_iMaxSize = m_iSize;
}

template <class TYPE, class ARG_TYPE>
MINT32 CMArray<TYPE, ARG_TYPE>::Find(ARG_TYPE oValue, MINT32 iStart) const
{
    for (MINT32 i = (iStart < 0) ? 0 : iStart; i < m_iSize; i++)
    {
        if (m_poData[i] == oValue)
            return i;
    }
    return -1;
}

// ------------------------------------------------------------------------------------------------
// CMString: text shared between copies until one of them is written.
//
// One allocation holds the 12-byte header SMetaData followed by iAllocLength characters and a
// terminating zero. Copies share it and count themselves in iRefs; a writer first takes its own
// copy when iRefs is above 1. iRefs -1 marks a locked buffer (LockBuffer), which is never shared.
// All empty strings point at one static representation that is never counted or freed.
// ------------------------------------------------------------------------------------------------
struct SMetaData
{
    MINT32 iRefs;          // reference count; -1 locked (or the shared empty representation)
    MINT32 iDataLength;    // characters in use
    MINT32 iAllocLength;   // capacity in characters, terminator not counted

    MCHAR8* GetChars() { return reinterpret_cast<MCHAR8*>(this + 1); }
};
static_assert(sizeof(SMetaData) == 12, "the string header is three 32-bit fields");

// Storage of the shared empty representation: a header and a terminator, back to back.
struct SMEmptyRepresentation
{
    SMetaData oHeader;
    MCHAR8    szChars[4];
};

class CMString
{
public:
    class CIterator;

    constexpr CMString() : m_pchData(m_pszNil) {}
    CMString(const CMString& roSource);
    CMString(const MCHAR8* pszText);                       // null gives the empty string
    CMString(const MCHAR8* pchText, MINT32 iLength);       // exactly iLength characters
    CMString(MCHAR8 chCharacter, MINT32 iRepeat = 1);
    ~CMString();

    CMString& operator=(const CMString& roSource);
    CMString& operator=(const MCHAR8* pszText);
    CMString& operator=(MCHAR8 chCharacter);

    CMString& operator+=(const CMString& roText);
    CMString& operator+=(const MCHAR8* pszText);
    CMString& operator+=(MCHAR8 chCharacter);

    friend CMString operator+(const CMString& roLeft, const CMString& roRight);
    friend CMString operator+(const CMString& roLeft, const MCHAR8* pszRight);
    friend CMString operator+(const MCHAR8* pszLeft, const CMString& roRight);
    friend CMString operator+(const CMString& roLeft, MCHAR8 chRight);
    friend CMString operator+(MCHAR8 chLeft, const CMString& roRight);

    MINT32  GetLength() const { return GetData()->iDataLength; }
    MBOOL32 IsEmpty() const { return GetData()->iDataLength == 0; }
    const MCHAR8* GetString() const { return m_pchData; }
    operator const MCHAR8*() const { return m_pchData; }

    // Character at iIndex; a bad index is reported and reads as 0.
    MCHAR8 GetAt(MINT32 iIndex) const;
    MCHAR8 operator[](MINT32 iIndex) const { return GetAt(iIndex); }

    MINT32 Compare(const MCHAR8* pszText) const;         // <0, 0, >0 like strcmp
    MINT32 CompareNoCase(const MCHAR8* pszText) const;
    friend bool operator==(const CMString& roLeft, const CMString& roRight) { return roLeft.Compare(roRight) == 0; }
    friend bool operator==(const CMString& roLeft, const MCHAR8* pszRight) { return roLeft.Compare(pszRight) == 0; }
    friend bool operator<(const CMString& roLeft, const CMString& roRight) { return roLeft.Compare(roRight) < 0; }

    void Empty();

    // Direct access to the characters. GetBuffer returns room for at least iMinLength characters
    // plus the terminator, unshared; ReleaseBuffer ends the direct access and sets the length
    // (-1: up to the first zero). Both return null only when the installed allocator refuses.
    MCHAR8* GetBuffer(MINT32 iMinLength);
    MCHAR8* GetBufferSetLength(MINT32 iNewLength);
    void    ReleaseBuffer(MINT32 iNewLength = -1);
    void    FreeExtra();
    // A locked buffer is never shared with copies, so the pointer stays valid until UnlockBuffer.
    MCHAR8* LockBuffer();
    void    UnlockBuffer();

    // Searches return the index of the match or -1. An empty text matches at iStart.
    MINT32 Find(MCHAR8 chCharacter, MINT32 iStart = 0) const;
    MINT32 Find(const MCHAR8* pszText, MINT32 iStart = 0) const;
    MINT32 FindNoCase(MCHAR8 chCharacter, MINT32 iStart = 0) const;
    MINT32 FindNoCase(const MCHAR8* pszText, MINT32 iStart = 0) const;
    MINT32 ReverseFind(MCHAR8 chCharacter) const;
    MINT32 ReverseFind(const MCHAR8* pszText) const;
    MINT32 ReverseFindNoCase(MCHAR8 chCharacter) const;
    MINT32 ReverseFindNoCase(const MCHAR8* pszText) const;
    // Non-overlapping occurrences; an empty text occurs 0 times.
    MINT32 CountOf(MCHAR8 chCharacter) const;
    MINT32 CountOf(const MCHAR8* pszText) const;
    MINT32 CountOfNoCase(MCHAR8 chCharacter) const;
    MINT32 CountOfNoCase(const MCHAR8* pszText) const;

    CMString& MakeUpper();
    CMString& MakeLower();
    CMString& MakeReverse();

    // SetAt reports a bad index (or a zero character) and changes nothing. Delete and Insert
    // clamp the index into the string and return the new length.
    void   SetAt(MINT32 iIndex, MCHAR8 chCharacter);
    MINT32 Delete(MINT32 iIndex, MINT32 iCount = 1);
    MINT32 Insert(MINT32 iIndex, MCHAR8 chCharacter);
    MINT32 Insert(MINT32 iIndex, const MCHAR8* pszText);

    // Substrings; positions and counts are clamped into the string.
    CMString Mid(MINT32 iFirst) const;
    CMString Mid(MINT32 iFirst, MINT32 iCount) const;
    CMString Left(MINT32 iCount) const;
    CMString Right(MINT32 iCount) const;

    // Remove leading/trailing characters found in the set (white space by default).
    static constexpr const MCHAR8* msc_pszWhiteSpace = " \t\n\v\f\r";
    CMString& TrimLeft(const MCHAR8* pszTargets = msc_pszWhiteSpace);
    CMString& TrimLeft(MCHAR8 chTarget);
    CMString& TrimRight(const MCHAR8* pszTargets = msc_pszWhiteSpace);
    CMString& TrimRight(MCHAR8 chTarget);
    CMString& Trim(const MCHAR8* pszTargets = msc_pszWhiteSpace);
    CMString& Trim(MCHAR8 chTarget);

    // printf formatting. The arguments may refer to this string's own text.
    void Format(const MCHAR8* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    void FormatV(const MCHAR8* pszFormat, va_list oArgs) __attribute__((format(printf, 2, 0)));
    void AppendFormat(const MCHAR8* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    void AppendFormatV(const MCHAR8* pszFormat, va_list oArgs) __attribute__((format(printf, 2, 0)));
    // Characters that the format produces (terminator not counted), -1 on a bad format.
    static MINT32 GetFormattedLength(const MCHAR8* pszFormat, va_list oArgs) __attribute__((format(printf, 1, 0)));

    // Tokens: maximal runs of characters not in the delimiter set. Runs of delimiters separate,
    // and leading or trailing delimiters produce no empty tokens.
    CIterator Begin(const MCHAR8* pszDelimiters) const;
    CIterator End() const;

    // The shared empty representation.
    inline static SMEmptyRepresentation ms_oEmptyRepresentation = {{-1, 0, 0}, {0, 0, 0, 0}};
    static constexpr SMetaData* m_poDataNil = &ms_oEmptyRepresentation.oHeader;
    static constexpr MCHAR8* m_pszNil = ms_oEmptyRepresentation.szChars;
    static const CMString* const m_poEmptyString;

    MCHAR8* m_pchData;   // the characters; the header sits just before them

private:
    SMetaData* GetData() const { return reinterpret_cast<SMetaData*>(m_pchData) - 1; }
    MBOOL32 IsNil() const { return m_pchData == m_pszNil; }
    MBOOL32 IsLocked() const { return GetData()->iRefs < 0 && !IsNil(); }

    // A new unshared representation of iLength characters (length set, terminator written), the
    // empty representation for 0, null after a report for a bad length or a refused allocation.
    static SMetaData* AllocData(MINT64 iLength);
    static void Release(SMetaData* poData);
    void Release();                                // drop this string's text, become empty
    void Adopt(SMetaData* poData);                 // release the current text, take poData
    void SetLength(MINT32 iLength);                // within the capacity of an unshared buffer
    MBOOL32 CopyBeforeWrite();                     // make the text unshared, keeping it
    MBOOL32 AllocBeforeWrite(MINT32 iLength);      // unshared room for iLength, text discarded
    void AssignCopy(MINT32 iLength, const MCHAR8* pchText);
    void ConcatCopy(MINT32 iLength1, const MCHAR8* pchText1, MINT32 iLength2, const MCHAR8* pchText2);
    void ConcatInPlace(MINT32 iLength, const MCHAR8* pchText);
    MINT32 Search(const MCHAR8* pchText, MINT32 iTextLength, MINT32 iStart, MBOOL32 bNoCase, MBOOL32 bReverse) const;
    MINT32 Count(const MCHAR8* pchText, MINT32 iTextLength, MBOOL32 bNoCase) const;
    CMString& MapCharacters(int (*pfnMap)(int));   // each character through a <cctype> mapping
    MINT32 LeadingCount(const MCHAR8* pszTargets) const;
    MINT32 TrailingCount(const MCHAR8* pszTargets) const;
};

// Walks the tokens of a string. Holds a pointer to the string: the string must outlive it.
class CMString::CIterator
{
public:
    CIterator() : m_poString(nullptr), m_iTokenStart(-1), m_iTokenLength(0) {}

    CMString   operator*() const;   // the current token; empty (after a report) at the end
    CIterator& operator++();
    CIterator  operator++(int);
    bool operator==(const CIterator& roOther) const
    {
        return m_poString == roOther.m_poString && m_iTokenStart == roOther.m_iTokenStart;
    }

private:
    friend class CMString;
    CIterator(const CMString* poString, const MCHAR8* pszDelimiters);
    void SeekToken(MINT32 iFrom);

    const CMString* m_poString;
    CMString        m_oDelimiters;
    MINT32          m_iTokenStart;    // -1 once past the last token
    MINT32          m_iTokenLength;
};

// ------------------------------------------------------------------------------------------------
// CMArrayString: an array of strings that joins and splits.
// ------------------------------------------------------------------------------------------------
class CMArrayString : public CMArray<CMString, const CMString&>
{
public:
    // The elements with the separator between each two.
    CMString Join(const MCHAR8* pszSeparator) const;
    // Replaces the elements with the tokens of the text; returns their count.
    MINT32 InitFromString(const MCHAR8* pszText, const MCHAR8* pszDelimiters);
};

// ------------------------------------------------------------------------------------------------
// Hash of a map key: pointer value >> 4 for pointers (heap blocks are 16-byte aligned, the low
// bits carry nothing), the value itself for integers and enumerations, a multiplicative hash of
// the characters for strings.
// ------------------------------------------------------------------------------------------------
template <class KEY>
inline MUINT32 MHashKey(const KEY& oKey)
{
    if constexpr (std::is_pointer_v<KEY>)
        return static_cast<MUINT32>(reinterpret_cast<MUINTPTR>(oKey) >> 4);
    else if constexpr (std::is_integral_v<KEY> || std::is_enum_v<KEY>)
        return static_cast<MUINT32>(oKey);
    else
        static_assert(sizeof(KEY) == 0, "MHashKey needs a specialisation for this key type");
}

template <>
inline MUINT32 MHashKey<CMString>(const CMString& roKey)
{
    MUINT32 uiHash = 0;
    for (const MCHAR8* pch = roKey.GetString(); *pch != 0; pch++)
        uiHash = (uiHash << 5) + uiHash + static_cast<MUINT8>(*pch);
    return uiHash;
}

// ------------------------------------------------------------------------------------------------
// CMPlex: one block of map nodes. The header is followed by room for the nodes; blocks are
// chained and freed together.
// ------------------------------------------------------------------------------------------------
class alignas(std::max_align_t) CMPlex
{
public:
    CMPlex* m_poNext;

    void* GetData() { return this + 1; }
    // Allocates a block for uiMax elements of uiElementSize bytes and pushes it on the chain.
    // Null (after a report) when the size overflows or the allocator refuses.
    static CMPlex* Create(CMPlex*& rpoHead, MUINT32 uiMax, MUINT32 uiElementSize);
    // Frees this block and every block after it.
    void FreeDataChain();
};

// Iteration position of a map: a node address, 0 at the end.
typedef MUINTPTR MPOSITION;

// ------------------------------------------------------------------------------------------------
// CMMap: hash map with chained buckets. The bucket array is allocated on the first insertion;
// nodes come from CMPlex blocks of m_iGrowSize nodes and are recycled through a free list. An
// emptied map gives all its memory back.
// ------------------------------------------------------------------------------------------------
template <class KEY, class VALUE, class ARG_KEY = const KEY&, class ARG_VALUE = const VALUE&>
class CMMap
{
public:
    static constexpr MPOSITION sc_uiBeforeStartPosition = ~static_cast<MPOSITION>(0);
    static constexpr MUINT32   msc_uiDefaultHashTableSize = 17;
    static constexpr MINT32    msc_iDefaultGrowSize = 10;

    explicit CMMap(MINT32 iGrowSize = msc_iDefaultGrowSize);
    CMMap(const CMMap&) = delete;
    CMMap& operator=(const CMMap&) = delete;
    virtual ~CMMap() { RemoveAll(); }

    MINT32  GetCount() const { return m_iElementCount; }
    MINT32  GetSize() const { return m_iElementCount; }
    MBOOL32 IsEmpty() const { return m_iElementCount == 0; }
    MUINT32 GetHashTableSize() const { return m_uiHashTableSize; }

    MBOOL32 Lookup(ARG_KEY oKey, VALUE& roValue) const;
    // The value of the key, inserted default-constructed when missing.
    VALUE&  operator[](ARG_KEY oKey);
    void    SetAt(ARG_KEY oKey, ARG_VALUE oValue) { (*this)[oKey] = oValue; }
    MBOOL32 RemoveKey(ARG_KEY oKey);
    void    RemoveAll();

    // Sets the number of buckets; only possible while the map is empty.
    void InitHashTable(MUINT32 uiHashSize, MBOOL32 bAllocateNow = TRUE);

    // Iteration: pos = GetStartPosition(); while (pos != 0) GetNextAssoc(pos, key, value);
    // Order is bucket order. The map must not change during the walk.
    MPOSITION GetStartPosition() const { return (m_iElementCount == 0) ? 0 : sc_uiBeforeStartPosition; }
    void      GetNextAssoc(MPOSITION& ruiPosition, KEY& roKey, VALUE& roValue) const;

protected:
    struct SAssoc
    {
        SAssoc* poNext;
        MUINT32 uiBucket;   // index in m_ppoHashTable
        KEY     oKey;
        VALUE   oValue;
    };
    static_assert(alignof(SAssoc) <= alignof(CMPlex), "map nodes need more alignment than a node block gives");

    SAssoc* NewAssoc();
    void    FreeAssoc(SAssoc* poAssoc);
    SAssoc* GetAssocAt(ARG_KEY oKey, MUINT32& ruiBucket) const;

public:
    SAssoc** m_ppoHashTable;
    MUINT32  m_uiHashTableSize;
    MINT32   m_iElementCount;
    SAssoc*  m_poFreeList;
    CMPlex*  m_poBuffers;
    MINT32   m_iGrowSize;
};

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::CMMap(MINT32 iGrowSize)
    : m_ppoHashTable(nullptr),
      m_uiHashTableSize(msc_uiDefaultHashTableSize),
      m_iElementCount(0),
      m_poFreeList(nullptr),
      m_poBuffers(nullptr),
      m_iGrowSize(iGrowSize)
{
    if (iGrowSize <= 0)
    {
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_MAP_BAD_GROW_SIZE);
        m_iGrowSize = msc_iDefaultGrowSize;
    }
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
void CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::InitHashTable(MUINT32 uiHashSize, MBOOL32 bAllocateNow)
{
    if (m_iElementCount != 0 || uiHashSize == 0)
    {
        // Existing nodes sit in buckets of the old size; a size of 0 has no bucket at all.
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_MAP_HASH_TABLE_NOT_RESIZABLE);
        return;
    }
    CMAllocator::FreeMemory(m_ppoHashTable);
    m_ppoHashTable = nullptr;
    m_uiHashTableSize = uiHashSize;
    if (bAllocateNow)
    {
        size_t uiBytes = static_cast<size_t>(uiHashSize) * sizeof(SAssoc*);
        m_ppoHashTable = static_cast<SAssoc**>(CMAllocator::AllocateMemory(uiBytes));
        if (m_ppoHashTable == nullptr)
        {
            QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_MAP_HASH_TABLE_NO_MEMORY);
            return;
        }
        memset(static_cast<void*>(m_ppoHashTable), 0, uiBytes);
    }
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
void CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::RemoveAll()
{
    if (m_ppoHashTable != nullptr)
    {
        for (MUINT32 uiBucket = 0; uiBucket < m_uiHashTableSize; uiBucket++)
        {
            for (SAssoc* poAssoc = m_ppoHashTable[uiBucket]; poAssoc != nullptr; poAssoc = poAssoc->poNext)
            {
                MDestructElements(&poAssoc->oKey, 1);
                MDestructElements(&poAssoc->oValue, 1);
            }
        }
        CMAllocator::FreeMemory(m_ppoHashTable);
        m_ppoHashTable = nullptr;
    }
    m_iElementCount = 0;
    m_poFreeList = nullptr;
    if (m_poBuffers != nullptr)
    {
        m_poBuffers->FreeDataChain();
        m_poBuffers = nullptr;
    }
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
typename CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::SAssoc* CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::NewAssoc()
{
    if (m_poFreeList == nullptr)
    {
        CMPlex* poBlock = CMPlex::Create(m_poBuffers, static_cast<MUINT32>(m_iGrowSize), sizeof(SAssoc));
        if (poBlock == nullptr)
            return nullptr;
        // Chain the new nodes so that the first of the block is handed out first.
        SAssoc* poAssoc = static_cast<SAssoc*>(poBlock->GetData()) + m_iGrowSize - 1;
        for (MINT32 i = m_iGrowSize - 1; i >= 0; i--, poAssoc--)
        {
            poAssoc->poNext = m_poFreeList;
            m_poFreeList = poAssoc;
        }
    }
    SAssoc* poAssoc = m_poFreeList;
    m_poFreeList = m_poFreeList->poNext;
    m_iElementCount++;
    MConstructElements(&poAssoc->oKey, 1);
    MConstructElements(&poAssoc->oValue, 1);
    return poAssoc;
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
void CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::FreeAssoc(SAssoc* poAssoc)
{
    MDestructElements(&poAssoc->oKey, 1);
    MDestructElements(&poAssoc->oValue, 1);
    poAssoc->poNext = m_poFreeList;
    m_poFreeList = poAssoc;
    m_iElementCount--;
    if (m_iElementCount == 0)
        RemoveAll();
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
typename CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::SAssoc* CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::GetAssocAt(
    ARG_KEY oKey, MUINT32& ruiBucket) const
{
    ruiBucket = MHashKey<KEY>(oKey) % m_uiHashTableSize;
    if (m_ppoHashTable == nullptr)
        return nullptr;
    for (SAssoc* poAssoc = m_ppoHashTable[ruiBucket]; poAssoc != nullptr; poAssoc = poAssoc->poNext)
    {
        if (poAssoc->oKey == oKey)
            return poAssoc;
    }
    return nullptr;
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
MBOOL32 CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::Lookup(ARG_KEY oKey, VALUE& roValue) const
{
    MUINT32 uiBucket;
    SAssoc* poAssoc = GetAssocAt(oKey, uiBucket);
    if (poAssoc == nullptr)
        return FALSE;
    roValue = poAssoc->oValue;
    return TRUE;
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
VALUE& CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::operator[](ARG_KEY oKey)
{
    MUINT32 uiBucket;
    SAssoc* poAssoc = GetAssocAt(oKey, uiBucket);
    if (poAssoc != nullptr)
        return poAssoc->oValue;

    if (m_ppoHashTable == nullptr)
        InitHashTable(m_uiHashTableSize, TRUE);
    poAssoc = (m_ppoHashTable != nullptr) ? NewAssoc() : nullptr;
    if (poAssoc == nullptr)
    {
        // No memory for the node: the caller writes into a scratch value and the map is unchanged.
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_MAP_NODE_NO_MEMORY);
        return MScratchElement<VALUE>();
    }
    poAssoc->oKey = oKey;
    poAssoc->uiBucket = uiBucket;
    poAssoc->poNext = m_ppoHashTable[uiBucket];
    m_ppoHashTable[uiBucket] = poAssoc;
    return poAssoc->oValue;
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
MBOOL32 CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::RemoveKey(ARG_KEY oKey)
{
    if (m_ppoHashTable == nullptr)
        return FALSE;
    SAssoc** ppoLink = &m_ppoHashTable[MHashKey<KEY>(oKey) % m_uiHashTableSize];
    for (SAssoc* poAssoc = *ppoLink; poAssoc != nullptr; ppoLink = &poAssoc->poNext, poAssoc = poAssoc->poNext)
    {
        if (poAssoc->oKey == oKey)
        {
            *ppoLink = poAssoc->poNext;
            FreeAssoc(poAssoc);
            return TRUE;
        }
    }
    return FALSE;
}

template <class KEY, class VALUE, class ARG_KEY, class ARG_VALUE>
void CMMap<KEY, VALUE, ARG_KEY, ARG_VALUE>::GetNextAssoc(MPOSITION& ruiPosition, KEY& roKey, VALUE& roValue) const
{
    SAssoc* poAssoc = nullptr;
    if (ruiPosition == sc_uiBeforeStartPosition)
    {
        for (MUINT32 uiBucket = 0; m_ppoHashTable != nullptr && uiBucket < m_uiHashTableSize; uiBucket++)
        {
            if ((poAssoc = m_ppoHashTable[uiBucket]) != nullptr)
                break;
        }
    }
    else
    {
        poAssoc = reinterpret_cast<SAssoc*>(ruiPosition);
    }
    if (poAssoc == nullptr)
    {
        // Called at the end of the walk, or on an empty map.
        QEL_ASSERT_REPORT_AT(QelMFCTypesReport::REPORT_MAP_WALK_PAST_END);
        ruiPosition = 0;
        return;
    }

    SAssoc* poNext = poAssoc->poNext;
    for (MUINT32 uiBucket = poAssoc->uiBucket + 1; poNext == nullptr && uiBucket < m_uiHashTableSize; uiBucket++)
        poNext = m_ppoHashTable[uiBucket];

    ruiPosition = reinterpret_cast<MPOSITION>(poNext);
    roKey = poAssoc->oKey;
    roValue = poAssoc->oValue;
}
