// On-board DDR memory behind a board's memory window. Sparse: a 4 KiB page is allocated on its
// first write; memory never written reads as a fixed byte pattern.
//
// The memory only holds data while its controller is trained. SetContentsValid(false) models an
// untrained controller: reads return address-dependent garbage and writes are lost. A board's
// chip model (QelVxdSimChip.h) switches it; a memory without one keeps its contents valid.
#pragma once

#include <memory>
#include <vector>

#include "QelBaseTypes.h"

class CQelSimDram
{
public:
    static constexpr MUINT32 msc_uiPageSize        = 4096;
    static constexpr MUINT8 msc_ucUnwrittenPattern = 0xA5;

    explicit CQelSimDram(MUINT32 uiSize);

    MUINT32 Size() const { return m_uiSize; }
    void SetContentsValid(bool bValid) { m_bContentsValid = bValid; }
    bool ContentsValid() const { return m_bContentsValid; }
    // Data lines stuck high: every dword read through the bus has these bits set (a faulty
    // memory; 0 for none).
    void SetStuckBits(MUINT32 uiMask) { m_uiStuckBits = uiMask; }
    MUINT32 StuckBits() const { return m_uiStuckBits; }
    // Drops every page: all memory reads the unwritten pattern again (contents lost in a reset).
    void Forget();

    // Bus view: an access of 1, 2 or 4 bytes, little-endian, as the memory window answers it.
    // Bytes beyond the memory read as 0xFF and are not written.
    MUINT32 Read(MUINT32 uiOffset, MUINT32 uiBytes) const;
    void Write(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue);

    // Storage view for tests: what the cells hold, whatever the controller state.
    MUINT8 PeekByte(MUINT32 uiOffset) const;
    void PokeByte(MUINT32 uiOffset, MUINT8 ucValue);

    size_t AllocatedPages() const;

private:
    MUINT8 GarbageByte(MUINT32 uiOffset) const;
    // The page holding uiOffset (< size), allocated on first use.
    MUINT8* WritablePage(MUINT32 uiOffset);

    MUINT32 m_uiSize;
    bool m_bContentsValid;
    MUINT32 m_uiStuckBits = 0;
    std::vector<std::unique_ptr<MUINT8[]>> m_apucPages;
};
