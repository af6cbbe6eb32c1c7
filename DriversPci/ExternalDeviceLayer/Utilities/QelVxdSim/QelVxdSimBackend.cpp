// Entry point of the simulator backend.
#include <cstdio>
#include <cstdlib>

#include "QelVxdBackend.h"

const SQelVxdBackend* QelVxdSimCreateBackend(const char* pszRig)
{
    fprintf(stderr, "QELVXD_SIM=%s: the board simulator is not part of this build\n", pszRig);
    exit(2);
}
