// On-board DDR memory behind a board's memory window. Sparse: a 4 KiB page is allocated on its
// first write; memory never written reads as a fixed byte pattern. The page table itself is
// zeroed lazily by the kernel, so a 256 MiB memory costs nothing until it is written: the table
// is half a megabyte that the simulator would otherwise clear (and fault in) at every start.
//
// A page's first write costs an allocation and a page fault or two of the host, microseconds
// each. In real time the simulator prepares spare pages while the host busy-waits
// (PrepareSparePage, from the waits of the board's initialisation), and first writes take them.
//
// The memory only holds data while its controller is trained. SetContentsValid(false) models an
// untrained controller: reads return address-dependent garbage and writes are lost. A board's
// chip model (QelVxdSimChip.h) switches it; a memory without one keeps its contents valid.
#pragma once

#include <memory>
#include <vector>

#include "QelBaseTypes.h"
#include "QelVxdBackend.h"
#include "QelVxdSimZeroed.h"

class CQelSimDram
{
public:
    static constexpr MUINT32 msc_uiPageSize        = 4096;
    static constexpr MUINT8 msc_ucUnwrittenPattern = 0xA5;

    explicit CQelSimDram(MUINT32 uiSize);
    CQelSimDram(const CQelSimDram&)            = delete;
    CQelSimDram& operator=(const CQelSimDram&) = delete;

    MUINT32 Size() const { return m_uiSize; }
    void SetContentsValid(bool bValid)
    {
        m_bContentsValid = bValid;
        Changed();
    }
    bool ContentsValid() const { return m_bContentsValid; }
    // Data lines stuck high: every dword read through the bus has these bits set (a faulty
    // memory; 0 for none).
    void SetStuckBits(MUINT32 uiMask)
    {
        m_uiStuckBits = uiMask;
        Changed();
    }
    MUINT32 StuckBits() const { return m_uiStuckBits; }
    // Drops every page: all memory reads the unwritten pattern again (contents lost in a reset).
    void Forget();

    // A page of this memory published to the platform layer (QelVxdBackend.h), or null. Whatever
    // changes how an access is answered, as opposed to the data it finds, withdraws it first:
    // contents made valid or lost, data lines stuck or freed, pages dropped, and the board's
    // memory window decoded or not (the board reports that with NoteDecodeChanged). So an access
    // through the published page is always answered as the bus would answer it, also when a test
    // changes the board behind the simulator's back.
    void Publish(SQelVxdDirectPage* poPage) { m_poPublished = poPage; }
    void NoteDecodeChanged() { Changed(); }

    // Bus view: an access of 1, 2 or 4 bytes, little-endian, as the memory window answers it.
    // Bytes beyond the memory read as 0xFF and are not written.
    MUINT32 Read(MUINT32 uiOffset, MUINT32 uiBytes) const;
    void Write(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue);

    // Storage view for tests: what the cells hold, whatever the controller state.
    MUINT8 PeekByte(MUINT32 uiOffset) const;
    void PokeByte(MUINT32 uiOffset, MUINT8 ucValue);

    size_t AllocatedPages() const;

    // Spare pages: allocated, filled with the unwritten pattern and so already backed by the host,
    // taken by first writes before any page is allocated. msc_uiSparePages covers the first half
    // megabyte of memory, what a memory test of the bottom of the memory writes.
    static constexpr size_t msc_uiSparePages = 128;
    // Prepares one more spare page; false when msc_uiSparePages are ready already (or the
    // allocation failed: first writes then allocate as usual).
    bool PrepareSparePage();
    size_t SparePages() const { return m_aoSpares.size(); }
    // The bytes of the page holding uiOffset (< size): null until the page is written, and again
    // after Forget. A page keeps its bytes at the same address until Forget drops it.
    MUINT8* PageAt(MUINT32 uiOffset) const { return m_ppucPageTable[uiOffset / msc_uiPageSize]; }

private:
    void Changed()
    {
        if (m_poPublished != nullptr)
        {
            *m_poPublished = SQelVxdDirectPage();
            m_poPublished  = nullptr;
        }
    }
    MUINT8 GarbageByte(MUINT32 uiOffset) const;
    // A page that reads the unwritten pattern; null when it cannot be allocated.
    static std::unique_ptr<MUINT8[]> NewUnwrittenPage();
    // The page holding uiOffset (< size), allocated on first use (a spare when there is one).
    MUINT8* WritablePage(MUINT32 uiOffset);

    MUINT32 m_uiSize;
    bool m_bContentsValid;
    MUINT32 m_uiStuckBits = 0;
    SQelVxdDirectPage* m_poPublished = nullptr;
    // One entry per page, null until the page is written (untouched entries cost no memory). The
    // pages are owned by m_aoPages, which also lists them for Forget.
    CQelSimZeroed<MUINT8*> m_ppucPageTable;
    struct SPage
    {
        MUINT32 uiIndex;
        std::unique_ptr<MUINT8[]> pucBytes;
    };
    std::vector<SPage> m_aoPages;
    std::vector<std::unique_ptr<MUINT8[]>> m_aoSpares;
};
