#include "SpiBusDecoder.h"

#include <cstdio>
#include <sstream>

namespace
{
constexpr MUINT32 HST_EEPROMBYP = 0x360;
constexpr MUINT32 REQUEST = 1u << 0;
constexpr MUINT32 GRANT = 1u << 1;
constexpr MUINT32 CLOCK = 1u << 4;
constexpr MUINT32 DATA_IN = 1u << 8;
constexpr MUINT32 CHIP_SELECT_N = 1u << 12;
constexpr MUINT32 DATA_OUT = 1u << 16;
constexpr MUINT32 HOST_LINES = REQUEST | CLOCK | DATA_IN | CHIP_SELECT_N;
}  // namespace

MUINT32 SSpiTransaction::Address24() const
{
    return aucOut.size() < 4 ? ~0u : ((MUINT32)aucOut[1] << 16) | ((MUINT32)aucOut[2] << 8) | aucOut[3];
}

void CSpiBusDecoder::OnWrite(MUINT32 uiValue)
{
    if ((uiValue & REQUEST) != 0 && (m_uiLastWrite & REQUEST) == 0)
    {
        ++m_uiBusRequests;
    }
    if (((uiValue ^ m_uiLastWrite) & HOST_LINES) == 0)
    {
        ++m_uiIdleWrites;
    }
    m_uiUnpacedWrites += m_bWrotePreviously ? 1 : 0;
    m_uiLastWrite = uiValue;
    Drive(m_bGranted && (uiValue & REQUEST) != 0, uiValue);
    m_bWrotePreviously = true;
}

void CSpiBusDecoder::OnRead(MUINT32 uiValue)
{
    m_bWrotePreviously = false;
    if (m_bSamplePending)
    {
        m_ucIn = (MUINT8)((m_ucIn << 1) | ((uiValue & DATA_OUT) != 0 ? 1 : 0));
        if (++m_uiInBits % 8 == 0)
        {
            m_oCurrent.aucIn.push_back(m_ucIn);
        }
        m_bSamplePending = false;
    }
    if (!m_bGranted && (m_uiLastWrite & REQUEST) != 0 && (uiValue & GRANT) != 0)
    {
        Drive(true, m_uiLastWrite);
    }
}

void CSpiBusDecoder::Drive(bool bGranted, MUINT32 uiLines)
{
    m_bGranted = bGranted;
    const bool bClock = bGranted && (uiLines & CLOCK) != 0;
    const bool bSelected = bGranted && (uiLines & CHIP_SELECT_N) == 0;
    if (bSelected && !m_bSelected)
    {
        m_oCurrent = SSpiTransaction();
        m_uiOutBits = m_uiInBits = 0;
        m_bSamplePending = false;
    }
    if (bSelected && m_bSelected && bClock && !m_bClock)
    {
        if (m_bSamplePending)
        {
            ++m_uiUnsampledEdges;
            OnRead(DATA_OUT);  // a clock nobody sampled: the idle line reads high
        }
        m_ucOut = (MUINT8)((m_ucOut << 1) | ((uiLines & DATA_IN) != 0 ? 1 : 0));
        if (++m_uiOutBits % 8 == 0)
        {
            m_oCurrent.aucOut.push_back(m_ucOut);
        }
        m_bSamplePending = true;
    }
    if (!bSelected && m_bSelected)
    {
        m_aoTransactions.push_back(m_oCurrent);
        m_bSamplePending = false;
    }
    m_bClock = bClock;
    m_bSelected = bSelected;
}

std::string CSpiBusDecoder::Summary() const
{
    std::string sSummary;
    for (size_t uiIndex = 0; uiIndex < m_aoTransactions.size(); ++uiIndex)
    {
        const MUINT8 ucInst = m_aoTransactions[uiIndex].Instruction();
        if (uiIndex > 0 && m_aoTransactions[uiIndex - 1].Instruction() == ucInst)
        {
            if (sSummary.back() != '*')
            {
                sSummary += '*';
            }
            continue;
        }
        char szByte[4];
        snprintf(szByte, sizeof(szByte), "%02x", ucInst);
        sSummary += (sSummary.empty() ? "" : " ") + std::string(szByte);
    }
    return sSummary;
}

CSpiBusDecoder CSpiBusDecoder::FromSimTrace(const std::string& rsTraceText, const std::string& rsLocation)
{
    CSpiBusDecoder oDecoder;
    std::istringstream oText(rsTraceText);
    for (std::string sLine; std::getline(oText, sLine);)
    {
        std::istringstream oFields(sLine);
        std::string sTime, sLocation, sSpace, sOp, sOffset, sWidth, sValue;
        oFields >> sTime >> sLocation >> sSpace >> sOp >> sOffset >> sWidth >> sValue;
        if (sLocation != rsLocation || sSpace != "reg" || sWidth != "32" || std::stoul(sOffset, nullptr, 16) != HST_EEPROMBYP)
        {
            continue;
        }
        const MUINT32 uiValue = (MUINT32)std::stoul(sValue, nullptr, 16);
        if (sOp == "W")
        {
            oDecoder.OnWrite(uiValue);
        }
        else
        {
            oDecoder.OnRead(uiValue);
        }
    }
    return oDecoder;
}
