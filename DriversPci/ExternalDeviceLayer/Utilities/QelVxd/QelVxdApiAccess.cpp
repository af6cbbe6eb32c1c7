// What a program checks before its first hardware access: that it has the boards to itself (an
// advisory lock on a file, so that a boot unit and a person at a shell never interleave their
// register sequences on the same chip), and that the bus can be read at all.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "QelVxdApi.h"
#include "QelVxdBackend.h"
#include "QelVxdPrivateLinux.h"

namespace
{
const char QELVXD_LOCK_PATH_LINUX[] = "/run/lock/InitMemContext.lock";
// Simulated rigs only: the wait in milliseconds, so that a test sees the give-up without
// waiting a minute. A run on the hardware never reads it.
const char QELVXD_SIM_LOCK_WAIT_VARIABLE[] = "QELVXD_SIM_LOCK_WAIT_MS";
constexpr long QELVXD_LOCK_POLL_NS = 50L * 1000 * 1000;

// The descriptor that holds the lock; never closed, so the lock lasts as long as the process.
int s_iLockFd = -1;

MUINT64 MonotonicMs()
{
    timespec oNow = {};
    clock_gettime(CLOCK_MONOTONIC, &oNow);
    return (MUINT64)oNow.tv_sec * 1000 + (MUINT64)oNow.tv_nsec / 1000000;
}
}

const char* QelVxdLockPath(void)
{
    const char* pszRig = QelVxdSimulatorRig();
    return pszRig == nullptr ? QELVXD_LOCK_PATH_LINUX : QelVxdSimLockPath(pszRig);
}

int QelVxdLockBoards(MUINT32 uiWaitSeconds, char* pszError, MUINT32 uiErrorSize)
{
    const char* pszPath = QelVxdLockPath();
    if (s_iLockFd >= 0 || pszPath[0] == '\0')
    {
        return 1;
    }

    MUINT64 uiWaitMs = (MUINT64)uiWaitSeconds * 1000;
    const char* pszTestWait = getenv(QELVXD_SIM_LOCK_WAIT_VARIABLE);
    if (QelVxdSimulatorRig() != nullptr && pszTestWait != nullptr && pszTestWait[0] != '\0')
    {
        uiWaitMs = strtoull(pszTestWait, nullptr, 10);
    }

    // /run/lock is writable by everyone: never follow a link planted there to another file.
    const int iFd = open(pszPath, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (iFd < 0)
    {
        const int iError = errno;
        snprintf(pszError, uiErrorSize, "cannot open the lock file %s: %s (%s)", pszPath, strerror(iError),
                 iError == ENOENT  ? "its directory is missing: create it"
                 : iError == ELOOP ? "it is a symbolic link: remove it"
                                   : "run as root, or make it a file you may write");
        return 0;
    }

    const MUINT64 uiDeadline = MonotonicMs() + uiWaitMs;
    for (;;)
    {
        if (flock(iFd, LOCK_EX | LOCK_NB) == 0)
        {
            s_iLockFd = iFd;
            return 1;
        }
        const int iError = errno;
        if (iError != EWOULDBLOCK && iError != EINTR)
        {
            snprintf(pszError, uiErrorSize, "cannot lock %s: %s", pszPath, strerror(iError));
            close(iFd);
            return 0;
        }
        if (MonotonicMs() >= uiDeadline)
        {
            const bool bSeconds = uiWaitMs % 1000 == 0;
            snprintf(pszError, uiErrorSize,
                     "the boards are in use by another process (lock %s held for %llu %s): nothing was done; run "
                     "again once it has finished",
                     pszPath, (unsigned long long)(bSeconds ? uiWaitMs / 1000 : uiWaitMs), bSeconds ? "s" : "ms");
            close(iFd);
            return 0;
        }
        const timespec oPoll = {0, QELVXD_LOCK_POLL_NS};
        nanosleep(&oPoll, nullptr);
    }
}

int QelVxdCheckBusAccess(char* pszError, MUINT32 uiErrorSize)
{
    // A simulated rig that loaded has its bus; a rig that did not stopped the process already.
    return QelVxdBackend() == &g_oQelVxdLinuxBackend ? QelVxdLinuxCheckPci(pszError, uiErrorSize) : 1;
}
