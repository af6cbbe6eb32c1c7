// On-board DDR memory behind a board's memory window. Sparse: a 4 KiB page is allocated on its
// first write; memory never written reads as a fixed byte pattern.
//
// The memory only holds data while its controller is trained. SetContentsValid(false) models an
// untrained controller: reads return address-dependent garbage and writes are lost. The memory
// controller model switches it; until a board has such a model the contents are valid.
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

    MUINT32 m_uiSize;
    bool m_bContentsValid;
    std::vector<std::unique_ptr<MUINT8[]>> m_apucPages;
};
