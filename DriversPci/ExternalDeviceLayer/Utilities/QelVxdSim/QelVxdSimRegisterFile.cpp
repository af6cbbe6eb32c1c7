#include "QelVxdSimRegisterFile.h"

#include <algorithm>

namespace
{
// A naturally aligned access of 1, 2 or 4 bytes; its byte lanes in the dword. The widths are
// powers of two, so the alignment is a mask test: every register access of a run passes here,
// and a division would be the dearest instruction on that path.
bool IsAligned(MUINT32 uiOffset, MUINT32 uiBytes)
{
    return (uiBytes == 1 || uiBytes == 2 || uiBytes == 4) && (uiOffset & (uiBytes - 1)) == 0;
}

MUINT32 LaneMask(MUINT32 uiOffset, MUINT32 uiBytes)
{
    return (uiBytes == 4 ? 0xFFFFFFFFu : ((1u << (8 * uiBytes)) - 1)) << (8 * (uiOffset & 3));
}
}  // namespace

MUINT32 CQelSimRegBehaviour::OnRead(CQelSimBoard&, MUINT32, MUINT32 uiStored, MUINT32)
{
    return uiStored;
}

MUINT32 CQelSimRegBehaviour::OnWrite(CQelSimBoard&, MUINT32, MUINT32, MUINT32 uiWritten, MUINT32)
{
    return uiWritten;
}

MUINT32 CQelSimRegReadOnlyBits::OnWrite(CQelSimBoard&, MUINT32, MUINT32 uiStored, MUINT32 uiWritten, MUINT32)
{
    return (uiWritten & ~m_uiReadOnlyMask) | (uiStored & m_uiReadOnlyMask);
}

CQelSimRegisterFile::CQelSimRegisterFile(MUINT32 uiSize)
    : m_auiCells(uiSize / 4), m_aucBehaviour(uiSize / 4), m_aucFlags(uiSize / 4), m_poSink(nullptr)
{
}

bool CQelSimRegisterFile::Attach(MUINT32 uiOffset, MUINT32 uiSize, CQelSimRegBehaviour* poBehaviour)
{
    if (poBehaviour == nullptr || uiSize == 0 || !Contains(uiOffset, uiSize))
    {
        return false;
    }
    size_t uiIndex = std::find(m_apoBehaviours.begin(), m_apoBehaviours.end(), poBehaviour) - m_apoBehaviours.begin();
    if (uiIndex == m_apoBehaviours.size())
    {
        if (m_apoBehaviours.size() >= msc_uiMaxBehaviours)
        {
            return false;
        }
        m_apoBehaviours.push_back(poBehaviour);
    }
    for (MUINT32 uiDword = uiOffset / 4; uiDword <= (uiOffset + uiSize - 1) / 4; ++uiDword)
    {
        m_aucBehaviour[uiDword] = (MUINT8)(uiIndex + 1);
    }
    return true;
}

CQelSimRegBehaviour* CQelSimRegisterFile::BehaviourAt(MUINT32 uiOffset) const
{
    if (!Contains(uiOffset, 1))
    {
        return nullptr;
    }
    const MUINT8 ucIndex = m_aucBehaviour[uiOffset / 4];
    return ucIndex != 0 ? m_apoBehaviours[ucIndex - 1] : nullptr;
}

void CQelSimRegisterFile::SetPersistent(MUINT32 uiOffset)
{
    if (Contains(uiOffset, 1))
    {
        m_aucFlags[uiOffset / 4] |= FLAG_PERSISTENT;
    }
}

bool CQelSimRegisterFile::IsPersistent(MUINT32 uiOffset) const
{
    return Contains(uiOffset, 1) && (m_aucFlags[uiOffset / 4] & FLAG_PERSISTENT) != 0;
}

MUINT32 CQelSimRegisterFile::Get(MUINT32 uiOffset) const
{
    return Contains(uiOffset, 1) ? m_auiCells[uiOffset / 4] : 0xFFFFFFFF;
}

void CQelSimRegisterFile::Set(MUINT32 uiOffset, MUINT32 uiValue)
{
    if (Contains(uiOffset, 1))
    {
        SetDword(uiOffset / 4, uiValue);
    }
}

MUINT32 CQelSimRegisterFile::ReadPartial(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiBytes)
{
    if (IsAligned(uiOffset, uiBytes) && Contains(uiOffset, uiBytes))
    {
        const MUINT32 uiLanes = LaneMask(uiOffset, uiBytes);
        return (ReadLanes(roBoard, uiOffset / 4, uiLanes) & uiLanes) >> (8 * (uiOffset & 3));
    }
    MUINT32 uiValue = 0;
    for (MUINT32 uiByte = 0; uiByte < uiBytes && uiByte < 4; ++uiByte)
    {
        const MUINT32 uiAt       = uiOffset + uiByte;
        const MUINT32 uiLaneByte = uiAt >= uiOffset && Contains(uiAt, 1)
                                       ? (ReadLanes(roBoard, uiAt / 4, LaneMask(uiAt, 1)) >> (8 * (uiAt & 3))) & 0xFF
                                       : 0xFF;
        uiValue |= uiLaneByte << (8 * uiByte);
    }
    return uiValue;
}

void CQelSimRegisterFile::WritePartial(CQelSimBoard& roBoard, MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue)
{
    if (IsAligned(uiOffset, uiBytes) && Contains(uiOffset, uiBytes))
    {
        WriteLanes(roBoard, uiOffset / 4, LaneMask(uiOffset, uiBytes), uiValue << (8 * (uiOffset & 3)));
        return;
    }
    for (MUINT32 uiByte = 0; uiByte < uiBytes && uiByte < 4; ++uiByte)
    {
        const MUINT32 uiAt = uiOffset + uiByte;
        if (uiAt >= uiOffset && Contains(uiAt, 1))
        {
            WriteLanes(roBoard, uiAt / 4, LaneMask(uiAt, 1), ((uiValue >> (8 * uiByte)) & 0xFF) << (8 * (uiAt & 3)));
        }
    }
}
