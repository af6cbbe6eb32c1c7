// Zero-filled arrays mapped straight from the kernel. Anonymous memory reads zero until it is
// written and costs nothing until then: a page of the array is faulted in only when the
// simulator first touches it. A page fault costs microseconds; the register window of a board
// (64 KiB of cells plus a byte of behaviour and flags per dword) and the page table of its memory
// are mostly never touched, and clearing them (as a vector or calloc from the heap does) would
// fault in every page at every start.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <type_traits>

template <typename T>
class CQelSimZeroed
{
    // All bits zero is the value 0 (or null) of the element type on the hosts this runs on.
    static_assert(std::is_trivial_v<T>);

public:
    // Throws std::bad_alloc when the host has no memory left, as a vector would.
    explicit CQelSimZeroed(size_t uiCount) : m_uiCount(uiCount), m_ptData(Map(uiCount), SUnmap{Bytes(uiCount)}) {}

    size_t size() const { return m_uiCount; }
    T& operator[](size_t uiIndex) { return m_ptData[uiIndex]; }
    const T& operator[](size_t uiIndex) const { return m_ptData[uiIndex]; }

private:
    // An empty array still maps one element, so that the data pointer is never null.
    static size_t Bytes(size_t uiCount) { return (uiCount != 0 ? uiCount : 1) * sizeof(T); }
    static T* Map(size_t uiCount)
    {
        if (uiCount > SIZE_MAX / sizeof(T))
        {
            throw std::bad_alloc();
        }
        void* pvData = mmap(nullptr, Bytes(uiCount), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pvData == MAP_FAILED)
        {
            throw std::bad_alloc();
        }
        return static_cast<T*>(pvData);
    }
    struct SUnmap
    {
        size_t uiBytes;
        void operator()(T* ptData) const { munmap(ptData, uiBytes); }
    };

    size_t m_uiCount;
    std::unique_ptr<T[], SUnmap> m_ptData;
};
