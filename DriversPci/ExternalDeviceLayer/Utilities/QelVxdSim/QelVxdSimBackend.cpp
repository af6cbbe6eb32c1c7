// The simulator as a backend of the platform layer: the operations table, forwarding to the
// current simulator, and the entry point that loads the rig named by QELVXD_SIM.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "QelVxdBackend.h"
#include "QelVxdSim.h"

namespace
{
// Without a simulator (after QelVxdSim_Unload) the bus is empty and mapped reads give all ones.
int SimConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->ConfigRead(hDevice, uiOffset, pvBuffer, uiSize) : 0;
}

int SimConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->ConfigWrite(hDevice, uiOffset, pvBuffer, uiSize) : 0;
}

void SimReleasePci()
{
    // The simulated bus is never cached above this table: nothing to forget.
}

MEMHANDLE SimMap(MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiLength, MUINT32)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->Map(((MUINT64)uiAddressHigh << 32) | uiAddressLow, uiLength) : 0;
}

int SimUnmap(MEMHANDLE hAddress)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->Unmap(hAddress) : 0;
}

template <MUINT32 TBytes> MUINT32 SimRead(MEMHANDLE hAddress)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->Read(hAddress, TBytes) : 0xFFFFFFFFu;
}

template <MUINT32 TBytes> void SimWrite(MEMHANDLE hAddress, MUINT32 uiValue)
{
    if (CQelSim* poSim = QelVxdSim_Current())
    {
        poSim->Write(hAddress, TBytes, uiValue);
    }
}

MUINT8 SimRead8(MEMHANDLE hAddress)
{
    return (MUINT8)SimRead<1>(hAddress);
}
MUINT16 SimRead16(MEMHANDLE hAddress)
{
    return (MUINT16)SimRead<2>(hAddress);
}
MUINT32 SimRead32(MEMHANDLE hAddress)
{
    return SimRead<4>(hAddress);
}
void SimWrite8(MEMHANDLE hAddress, MUINT8 uiValue)
{
    SimWrite<1>(hAddress, uiValue);
}
void SimWrite16(MEMHANDLE hAddress, MUINT16 uiValue)
{
    SimWrite<2>(hAddress, uiValue);
}
void SimWrite32(MEMHANDLE hAddress, MUINT32 uiValue)
{
    SimWrite<4>(hAddress, uiValue);
}

int SimCounter(MUINT64* puiMicroSeconds)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->Counter(puiMicroSeconds) : 0;
}

void SimDelay(MUINT32 uiMicroSeconds)
{
    if (CQelSim* poSim = QelVxdSim_Current())
    {
        poSim->Delay(uiMicroSeconds);
    }
}

int SimSleep(MUINT32 uiMicroSeconds)
{
    CQelSim* poSim = QelVxdSim_Current();
    return poSim != nullptr ? poSim->Sleep(uiMicroSeconds) : 0;
}

// The current simulator's open page (CQelSim::m_roOpenPage).
SQelVxdDirectPage s_oOpenPage;

const SQelVxdBackend s_oSimBackend = {
    "simulator", SimConfigRead, SimConfigWrite, SimReleasePci, SimMap,   SimUnmap,  SimRead8,     SimRead16,
    SimRead32,   SimWrite8,     SimWrite16,     SimWrite32,    SimCounter, SimDelay, SimSleep, &s_oOpenPage,
};
}  // namespace

const SQelVxdBackend* QelVxdSim_Backend()
{
    return &s_oSimBackend;
}

const SQelVxdBackend* QelVxdSimCreateBackend(const char* pszRig)
{
    std::string sError;
    const SQelVxdBackend* poBackend = nullptr;
    if (pszRig != nullptr && strcmp(pszRig, "default") == 0)
    {
        poBackend = QelVxdSim_LoadDefaultRig(sError);
    }
    else
    {
        poBackend = QelVxdSim_LoadRigFile(pszRig != nullptr ? pszRig : "", sError);
    }
    if (poBackend == nullptr)
    {
        fprintf(stderr, "%s\n", sError.c_str());
        exit(2);
    }
    return poBackend;
}
