// Busy-waits for a number of microseconds and exits: the requested waits of a whole run with
// nothing else around them. Its wall time, measured like the tool's, is what process start and
// a busy wait cost on this machine, the floor under the tool's own overhead ratio.
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "QelBenchClock.h"

int main(int iArgc, char** ppszArgv)
{
    char* pszEnd = nullptr;
    const long long llMicroSeconds = iArgc == 2 ? strtoll(ppszArgv[1], &pszEnd, 10) : -1;
    // The wait is counted in nanoseconds: refuse what would not fit (and any overflow of strtoll).
    if (iArgc != 2 || *pszEnd != '\0' || llMicroSeconds < 0 || llMicroSeconds > LLONG_MAX / 1000)
    {
        fprintf(stderr, "usage: %s MICROSECONDS\n", ppszArgv[0]);
        return 2;
    }
    const long long llStart = QelBenchMonotonicNs();
    while (QelBenchMonotonicNs() - llStart < llMicroSeconds * 1000)
    {
    }
    return 0;
}
