// Runs a command once and prints its wall time in microseconds: from just before the process is
// started to just after it has been reaped, with its standard output and error sent to
// /dev/null. With --cpu it prints instead the processor time the command used (user and system,
// as the kernel accounts it to the reaped process), so that CPU time is also known per run.
// The process is started with posix_spawn, which does not copy the caller's address space
// first: timed from a shell, a run would also pay for forking the shell, a cost of the
// measurement and not of the command. Exit status: 0 when the command could be started and was
// reaped (whatever its own status), 2 on a usage error, 1 when it could not be run.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "QelBenchClock.h"

extern char** environ;

int main(int iArgc, char** ppszArgv)
{
    const char* pszSelf = ppszArgv[0];
    const bool bCpu     = iArgc >= 2 && strcmp(ppszArgv[1], "--cpu") == 0;
    if (bCpu)
    {
        --iArgc;
        ++ppszArgv;
    }
    if (iArgc < 2)
    {
        fprintf(stderr, "usage: %s [--cpu] COMMAND [ARGUMENT...]\n", pszSelf);
        return 2;
    }
    posix_spawn_file_actions_t oActions;
    if (posix_spawn_file_actions_init(&oActions) != 0 ||
        posix_spawn_file_actions_addopen(&oActions, 1, "/dev/null", O_WRONLY, 0) != 0 ||
        posix_spawn_file_actions_addopen(&oActions, 2, "/dev/null", O_WRONLY, 0) != 0)
    {
        fprintf(stderr, "%s: cannot set up the run\n", pszSelf);
        return 1;
    }
    const long long llStart = QelBenchMonotonicNs();
    pid_t iChild            = 0;
    const int iError        = posix_spawnp(&iChild, ppszArgv[1], &oActions, nullptr, ppszArgv + 1, environ);
    if (iError != 0)
    {
        fprintf(stderr, "%s: cannot run %s: %s\n", pszSelf, ppszArgv[1], strerror(iError));
        return 1;
    }
    int iStatus   = 0;
    rusage oUsage = {};
    while (wait4(iChild, &iStatus, 0, &oUsage) < 0)
    {
        if (errno != EINTR)
        {
            fprintf(stderr, "%s: cannot wait for %s: %s\n", pszSelf, ppszArgv[1], strerror(errno));
            return 1;
        }
    }
    const long long llEnd = QelBenchMonotonicNs();
    posix_spawn_file_actions_destroy(&oActions);
    const auto llMicroSeconds = [](const timeval& roTime) { return roTime.tv_sec * 1000000LL + roTime.tv_usec; };
    const long long llCpuUs   = llMicroSeconds(oUsage.ru_utime) + llMicroSeconds(oUsage.ru_stime);
    printf("%lld\n", bCpu ? llCpuUs : (llEnd - llStart) / 1000);
    return 0;
}
