// Library start and release, and the choice of the backend that answers every platform call.
#include <cstdio>
#include <cstdlib>

#include "QelVxdApi.h"
#include "QelVxdBackend.h"
#include "QelVxdPrivate.h"
#include "QelVxdPrivateLinux.h"

namespace
{
// A page nobody publishes in. Real hardware answers every access on the bus, so the Linux backend
// has no page of its own; nor has the table in place before a backend is chosen (its first access
// chooses one).
SQelVxdDirectPage s_oNoDirectPage;
}

const SQelVxdBackend g_oQelVxdLinuxBackend = {
    "linux",
    QelVxdLinuxConfigRead,
    QelVxdLinuxConfigWrite,
    QelVxdLinuxReleasePci,
    QelVxdMapMemoryLinux,
    QelVxdUnmapMemoryLinux,
    QelVxdLinuxRead8,
    QelVxdLinuxRead16,
    QelVxdLinuxRead32,
    QelVxdLinuxWrite8,
    QelVxdLinuxWrite16,
    QelVxdLinuxWrite32,
    QelVxdPrivateLinuxTimer_Counter,
    QelVxdPrivateLinuxTimer_Delay,
    QelVxdPrivateLinuxTimer_Sleep,
    &s_oNoDirectPage,
};

namespace
{
// Forwards one operation of the not-yet-selected table to the selected backend.
template <auto pMember>
struct SSelectThenForward;

template <typename TResult, typename... TArgs, TResult (*SQelVxdBackend::*pMember)(TArgs...)>
struct SSelectThenForward<pMember>
{
    static TResult Call(TArgs... args) { return (QelVxdBackend()->*pMember)(args...); }
};

template <auto pMember>
constexpr auto SelectThenForward = &SSelectThenForward<pMember>::Call;

const SQelVxdBackend s_oUnselectedBackend = {
    "unselected",
    SelectThenForward<&SQelVxdBackend::pfnConfigRead>,
    SelectThenForward<&SQelVxdBackend::pfnConfigWrite>,
    SelectThenForward<&SQelVxdBackend::pfnReleasePci>,
    SelectThenForward<&SQelVxdBackend::pfnMap>,
    SelectThenForward<&SQelVxdBackend::pfnUnmap>,
    SelectThenForward<&SQelVxdBackend::pfnRead8>,
    SelectThenForward<&SQelVxdBackend::pfnRead16>,
    SelectThenForward<&SQelVxdBackend::pfnRead32>,
    SelectThenForward<&SQelVxdBackend::pfnWrite8>,
    SelectThenForward<&SQelVxdBackend::pfnWrite16>,
    SelectThenForward<&SQelVxdBackend::pfnWrite32>,
    SelectThenForward<&SQelVxdBackend::pfnCounter>,
    SelectThenForward<&SQelVxdBackend::pfnDelay>,
    SelectThenForward<&SQelVxdBackend::pfnSleep>,
    &s_oNoDirectPage,
};

bool IsComplete(const SQelVxdBackend* poBackend)
{
    const SQelVxdBackend& ro = *poBackend;
    return ro.pfnConfigRead && ro.pfnConfigWrite && ro.pfnReleasePci && ro.pfnMap && ro.pfnUnmap &&
           ro.pfnRead8 && ro.pfnRead16 && ro.pfnRead32 && ro.pfnWrite8 && ro.pfnWrite16 &&
           ro.pfnWrite32 && ro.pfnCounter && ro.pfnDelay && ro.pfnSleep && ro.poDirectPage;
}
}

const SQelVxdBackend* g_poQelVxdBackend = &s_oUnselectedBackend;
SQelVxdDirectPage* g_poQelVxdDirectPage = &s_oNoDirectPage;

namespace
{
const SQelVxdBackend* Use(const SQelVxdBackend* poBackend)
{
    g_poQelVxdBackend    = poBackend;
    g_poQelVxdDirectPage = poBackend->poDirectPage;
    return poBackend;
}
}

const char* QelVxdSimulatorRig(void)
{
    const char* pszRig = getenv("QELVXD_SIM");
    return (pszRig == nullptr || pszRig[0] == '\0') ? nullptr : pszRig;
}

const SQelVxdBackend* QelVxdBackend(void)
{
    if (g_poQelVxdBackend != &s_oUnselectedBackend)
    {
        return g_poQelVxdBackend;
    }

    const char* pszRig = QelVxdSimulatorRig();
    if (pszRig == nullptr)
    {
        return Use(&g_oQelVxdLinuxBackend);
    }

    // The simulator ends the process itself on a bad rig. A table with holes would crash on
    // the first access that needs one, possibly half way through a board's initialisation, so
    // stop here, before anything is touched.
    const SQelVxdBackend* poSim = QelVxdSimCreateBackend(pszRig);
    if ((poSim == nullptr) || !IsComplete(poSim))
    {
        fprintf(stderr, "QELVXD_SIM=%s: the board simulator did not provide a complete backend\n", pszRig);
        exit(2);
    }
    return Use(poSim);
}

void QelVxdSetBackendForTest(const SQelVxdBackend* poBackend)
{
    Use((poBackend != nullptr) ? poBackend : &s_oUnselectedBackend);
}

int InitQELLibrary(void)
{
    // Nothing is opened here: libpci is set up on the first configuration access, and each
    // mapping opens the memory device itself.
    return 1;
}

int ReleaseQELLibrary(void)
{
    // Choosing a backend only to release it would start a simulator that was never used.
    if (g_poQelVxdBackend != &s_oUnselectedBackend)
    {
        g_poQelVxdBackend->pfnReleasePci();
    }
    return 1;
}
