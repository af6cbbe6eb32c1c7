#include "QelVxdSimTrace.h"

#include <cerrno>
#include <cstring>

namespace
{
// Lines are collected in a large buffer and pushed out at every wait and note, so that the trace
// of a run stopped during a wait is complete up to that wait.
constexpr size_t TRACE_BUFFER_SIZE = 1u << 16;

const char* SpaceName(EQelSimSpace eSpace)
{
    switch (eSpace)
    {
    case EQelSimSpace::Config:
        return "cfg";
    case EQelSimSpace::Register:
        return "reg";
    case EQelSimSpace::Memory:
        return "mem";
    }
    return "?";
}
}  // namespace

std::string QelVxdSim_FormatLocation(PCIHANDLE hLocation)
{
    char szLocation[16];
    snprintf(szLocation, sizeof(szLocation), "%02x:%02x.%x", (unsigned)((hLocation >> 8) & 0xFF),
             (unsigned)((hLocation >> 3) & 0x1F), (unsigned)(hLocation & 0x7));
    return szLocation;
}

CQelSimTrace::~CQelSimTrace()
{
    if (m_pFile != nullptr)
    {
        fclose(m_pFile);
    }
}

bool CQelSimTrace::Open(const std::string& rsPath, std::string& rsError)
{
    m_pFile = fopen(rsPath.c_str(), "a");
    if (m_pFile == nullptr)
    {
        rsError = "cannot open trace file \"" + rsPath + "\": " + strerror(errno);
        return false;
    }
    setvbuf(m_pFile, nullptr, _IOFBF, TRACE_BUFFER_SIZE);
    return true;
}

void CQelSimTrace::Access(MUINT64 uiTimeUs, PCIHANDLE hLocation, EQelSimSpace eSpace, bool bWrite, MUINT32 uiOffset,
                          MUINT32 uiWidthBits, MUINT32 uiValue)
{
    fprintf(m_pFile, "%llu %02x:%02x.%x %s %c 0x%x %u 0x%0*x\n", (unsigned long long)uiTimeUs,
            (unsigned)((hLocation >> 8) & 0xFF), (unsigned)((hLocation >> 3) & 0x1F), (unsigned)(hLocation & 0x7),
            SpaceName(eSpace), bWrite ? 'W' : 'R', uiOffset, uiWidthBits, (int)(uiWidthBits / 4), uiValue);
}

void CQelSimTrace::Delay(MUINT64 uiTimeUs, MUINT32 uiMicroSeconds)
{
    fprintf(m_pFile, "%llu - delay %u\n", (unsigned long long)uiTimeUs, uiMicroSeconds);
    fflush(m_pFile);
}

void CQelSimTrace::Sleep(MUINT64 uiTimeUs, MUINT32 uiMicroSeconds)
{
    fprintf(m_pFile, "%llu - sleep %u\n", (unsigned long long)uiTimeUs, uiMicroSeconds);
    fflush(m_pFile);
}

void CQelSimTrace::Note(MUINT64 uiTimeUs, PCIHANDLE hLocation, const char* pszText)
{
    fprintf(m_pFile, "%llu %s note %s\n", (unsigned long long)uiTimeUs, QelVxdSim_FormatLocation(hLocation).c_str(),
            pszText);
    fflush(m_pFile);
}

void CQelSimTrace::Flush()
{
    if (m_pFile != nullptr)
    {
        fflush(m_pFile);
    }
}
