// InitMemContext: programs the clocks and initialises and tests the on-board memory of every
// board of the family found on the PCI bus, or lists those boards.
//
// Exit status: 0, or -1 when a selected board failed to initialise or when a filter was given
// and some board did not match it (every such board says so on its own line), or 3 when the
// boards could not be reached at all (one line on standard error says why; nothing was touched).
#include <cstdio>

#include "InitMemContextArgs.h"
#include "QelVxdApi.h"
#include "XDevQelVxd.h"

namespace
{

const char* const g_pszClearText = "Will use global reset to clear the last intilization\n";
const char* const g_pszResultDone = "Memory was successfully initialized";
const char* const g_pszResultAlready = "Memory is already initialized, nothing done, use -c to force re-initialization";
const char* const g_pszResultFailed = "Fail to initialize memory";

constexpr int INITMEM_STATUS_FAILED = -1;
constexpr int INITMEM_STATUS_NO_ACCESS = 3;
// A boot unit and a person at a shell may start the tool at the same time; the second one waits
// this long for the first to finish with the boards.
constexpr MUINT32 INITMEM_LOCK_WAIT_SECONDS = 60;
constexpr MUINT32 INITMEM_ERROR_SIZE = 512;

// Takes the boards for this process and checks that the bus can be read, before the first
// hardware access; false after printing why not.
bool ReachBoards()
{
    char szError[INITMEM_ERROR_SIZE] = "";
    if (!QelVxdLockBoards(INITMEM_LOCK_WAIT_SECONDS, szError, sizeof(szError)) ||
        !QelVxdCheckBusAccess(szError, sizeof(szError)))
    {
        std::fprintf(stderr, "InitMemContext: %s\n", szError);
        return false;
    }
    return true;
}

// Initialises one selected board and prints its result line; the board's status contribution.
int InitializeBoard(MUINT32 uiIndex, const SInitMemOptions& roOptions)
{
    if (roOptions.bClearFirst)
    {
        // The clear only matters through the next initialisation, whose result is reported.
        XDevQelVxd_ClearInitialized(uiIndex);
        std::printf("[hb4_%d] : %s", static_cast<int>(uiIndex), g_pszClearText);
    }
    const int iResult = XDevQelVxd_InitializeDevice(uiIndex);
    std::printf("[hb4_%d] : ", static_cast<int>(uiIndex));
    if (iResult == 0)
    {
        std::puts(g_pszResultDone);
        return 0;
    }
    if (iResult == 1)
    {
        std::puts(g_pszResultAlready);
        return 0;
    }
    std::puts(g_pszResultFailed);
    return INITMEM_STATUS_FAILED;
}

// Lists board uiIndex, or initialises it when the filters select it and says why not when they do
// not. The board's contribution to the exit status: 0, or the status it sets.
int ProcessBoard(MUINT32 uiIndex, const SInitMemOptions& roOptions)
{
    MUINT64 hPciHandle = 0;
    MUINT64 hRegs = 0;
    MUINT32 uiRegsSize = 0;
    MUINT64 hMem = 0;
    MUINT32 uiMemSize = 0;
    XDevQelVxd_GetDevice(uiIndex, &hPciHandle, &hRegs, &uiRegsSize, &hMem, &uiMemSize);

    if (roOptions.bListMode)
    {
        std::printf("%d - [PciHandle %X]\n", static_cast<int>(uiIndex), static_cast<MUINT32>(hPciHandle));
        return 0;
    }
    const bool bNoFilter =
        roOptions.uiHandleFilter == INITMEM_NO_HANDLE_FILTER && roOptions.iIndexFilter == INITMEM_NO_INDEX_FILTER;
    const bool bSelected = bNoFilter || static_cast<MINT32>(uiIndex) == roOptions.iIndexFilter ||
                           static_cast<MUINT64>(roOptions.uiHandleFilter) == hPciHandle;
    if (bSelected)
    {
        return InitializeBoard(uiIndex, roOptions);
    }
    if (roOptions.iIndexFilter != INITMEM_NO_INDEX_FILTER)
    {
        std::printf("%s '%d'\n", "ERROR - Invalid device index", roOptions.iIndexFilter);
        return INITMEM_STATUS_FAILED;
    }
    if (roOptions.uiHandleFilter != INITMEM_NO_HANDLE_FILTER)
    {
        std::printf("%s %X %s\n", "ERROR - Device", roOptions.uiHandleFilter, "not found!");
        return roOptions.iIndexFilter;
    }
    std::printf("%s", "ERROR - Unknown");
    return roOptions.iIndexFilter;
}

} // namespace

int main(int argc, char** argv)
{
    // Each line goes out when it is printed, also into a pipe or the journal: a board's result
    // is stamped with the time it was reached, and a run killed by a time-out keeps the lines of
    // the boards it finished.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    SInitMemOptions oOptions;
    InitMemParseArguments(argc, argv, oOptions);
    if (!oOptions.bGoOn)
    {
        std::fflush(stdout);
        return 0;
    }

    if (!ReachBoards())
    {
        std::fflush(stdout);
        return INITMEM_STATUS_NO_ACCESS;
    }

    int iStatus = 0;
    XDevQelVxd_Init();
    MUINT32 uiCount = 0;
    if (!XDevQelVxd_GetNbDevice(&uiCount))
    {
        uiCount = 0;
    }

    for (MUINT32 n = 0; n < uiCount; ++n)
    {
        const int iBoardStatus = ProcessBoard(n, oOptions);
        if (iBoardStatus != 0)
        {
            iStatus = iBoardStatus;
        }
        std::putchar('\n');
    }

    XDevQelVxd_Cleanup();
    std::fflush(stdout);
    return iStatus;
}
