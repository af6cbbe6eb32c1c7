// Register file of a simulated chip: one 32-bit cell per dword of the register window, and per
// dword an optional behaviour (what a read returns, what a write does) and a persistence flag.
//
// Registers without a behaviour keep what is written. A behaviour sees every bus access to the
// dwords it is attached to; the dispatch is one table look-up per access (no search, no
// allocation). Accesses narrower than 32 bits reach the behaviour as an access of the whole
// dword with byte enables, as a 32-bit register block sees them on the bus.
#pragma once

#include <vector>

#include "QelBaseTypes.h"
#include "QelVxdSimZeroed.h"

class CQelSimBoard;

class CQelSimRegBehaviour
{
public:
    virtual ~CQelSimRegBehaviour() = default;

    // A read of the dword at uiOffset (a multiple of 4). uiStored is what the cell holds;
    // uiByteMask has 0xFF in each byte lane read. Returns the dword the bus sees.
    virtual MUINT32 OnRead(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiByteMask);
    // A write: uiWritten is the stored dword with the written byte lanes (uiByteMask) merged in.
    // Returns what the cell holds afterwards.
    virtual MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                            MUINT32 uiByteMask);
};

// Bits set by board straps or fixed in silicon: writes cannot change them.
class CQelSimRegReadOnlyBits : public CQelSimRegBehaviour
{
public:
    explicit CQelSimRegReadOnlyBits(MUINT32 uiReadOnlyMask) : m_uiReadOnlyMask(uiReadOnlyMask) {}
    MUINT32 OnWrite(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten,
                    MUINT32 uiByteMask) override;

private:
    MUINT32 m_uiReadOnlyMask;
};

// Told when the value of a persistent register changes, whoever changed it.
class CQelSimPersistenceSink
{
public:
    virtual ~CQelSimPersistenceSink()                          = default;
    virtual void OnPersistentRegisterChanged(MUINT32 uiOffset) = 0;
};

class CQelSimRegisterFile
{
public:
    static constexpr size_t msc_uiMaxBehaviours = 255;

    explicit CQelSimRegisterFile(MUINT32 uiSize);

    MUINT32 Size() const { return (MUINT32)(m_auiCells.size() * 4); }
    bool Contains(MUINT32 uiOffset, MUINT32 uiBytes) const { return uiBytes <= Size() && uiOffset <= Size() - uiBytes; }

    // Attaches the behaviour to every dword of [uiOffset, uiOffset + uiSize), replacing what was
    // attached there. The register file does not own it. False when the range leaves the window
    // or msc_uiMaxBehaviours different behaviours are attached already.
    bool Attach(MUINT32 uiOffset, MUINT32 uiSize, CQelSimRegBehaviour* poBehaviour);
    CQelSimRegBehaviour* BehaviourAt(MUINT32 uiOffset) const;

    // Persistent registers survive between runs (state file); the sink hears of every change.
    void SetPersistent(MUINT32 uiOffset);
    bool IsPersistent(MUINT32 uiOffset) const;
    void SetPersistenceSink(CQelSimPersistenceSink* poSink) { m_poSink = poSink; }

    // The cell of the dword holding uiOffset, without behaviour.
    MUINT32 Get(MUINT32 uiOffset) const;
    void Set(MUINT32 uiOffset, MUINT32 uiValue);

    // Bus access of 1, 2 or 4 bytes, little-endian. A misaligned access is made byte by byte;
    // bytes outside the window read as 0xFF and are not written. An aligned dword, nearly every
    // access of a run (the EEPROM's bit-banging alone makes forty thousand), is answered here;
    // the narrower and misaligned ones out of line.
    MUINT32 Read(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiBytes)
    {
        if (IsWholeDword(uiOffset, uiBytes))
        {
            return ReadDword(roBoard, uiOffset / 4);
        }
        return ReadPartial(roBoard, uiOffset, uiBytes);
    }
    void Write(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue)
    {
        if (IsWholeDword(uiOffset, uiBytes))
        {
            WriteDword(roBoard, uiOffset / 4, uiValue);
            return;
        }
        WritePartial(roBoard, uiOffset, uiBytes, uiValue);
    }
    // Whether an access of uiBytes at uiOffset is one whole register: an aligned dword inside the
    // window.
    bool IsWholeDword(MUINT32 uiOffset, MUINT32 uiBytes) const
    {
        return uiBytes == 4 && (uiOffset & 3) == 0 && uiOffset / 4 < m_auiCells.size();
    }
    // Read and Write of the whole dword uiDword (< Size() / 4), whose place and width the caller has
    // checked already.
    MUINT32 ReadDword(CQelSimBoard& roBoard, MUINT32 uiDword) { return ReadLanes(roBoard, uiDword, msc_uiAllLanes); }
    void WriteDword(CQelSimBoard& roBoard, MUINT32 uiDword, MUINT32 uiValue)
    {
        WriteLanes(roBoard, uiDword, msc_uiAllLanes, uiValue);
    }

private:
    enum : MUINT8
    {
        FLAG_PERSISTENT = 0x01,
    };
    static constexpr MUINT32 msc_uiAllLanes = 0xFFFFFFFFu;

    MUINT32 ReadPartial(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiBytes);
    void WritePartial(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue);

    MUINT32 ReadLanes(CQelSimBoard& roBoard, MUINT32 uiDword, MUINT32 uiByteMask)
    {
        const MUINT32 uiStored = m_auiCells[uiDword];
        const MUINT8 ucIndex   = m_aucBehaviour[uiDword];
        return ucIndex == 0 ? uiStored
                            : m_apoBehaviours[ucIndex - 1]->OnRead(roBoard, uiDword * 4, uiStored, uiByteMask);
    }
    void WriteLanes(CQelSimBoard& roBoard, MUINT32 uiDword, MUINT32 uiByteMask, MUINT32 uiLaneValue)
    {
        const MUINT32 uiStored = m_auiCells[uiDword];
        MUINT32 uiNew          = (uiStored & ~uiByteMask) | (uiLaneValue & uiByteMask);
        const MUINT8 ucIndex   = m_aucBehaviour[uiDword];
        if (ucIndex != 0)
        {
            uiNew = m_apoBehaviours[ucIndex - 1]->OnWrite(roBoard, uiDword * 4, uiStored, uiNew, uiByteMask);
        }
        SetDword(uiDword, uiNew);
    }
    void SetDword(MUINT32 uiDword, MUINT32 uiValue)
    {
        const MUINT32 uiOld = m_auiCells[uiDword];
        m_auiCells[uiDword] = uiValue;
        if (uiOld != uiValue && (m_aucFlags[uiDword] & FLAG_PERSISTENT) != 0 && m_poSink != nullptr)
        {
            m_poSink->OnPersistentRegisterChanged(uiDword * 4);
        }
    }

    CQelSimZeroed<MUINT32> m_auiCells;
    CQelSimZeroed<MUINT8> m_aucBehaviour;  // per dword: 0 none, else index + 1 in m_apoBehaviours
    CQelSimZeroed<MUINT8> m_aucFlags;      // per dword
    std::vector<CQelSimRegBehaviour*> m_apoBehaviours;
    CQelSimPersistenceSink* m_poSink;
};
