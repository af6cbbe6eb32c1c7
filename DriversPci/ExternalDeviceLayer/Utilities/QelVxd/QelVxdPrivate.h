// Internal to the platform layer: the backend pointer that every public function goes through,
// and the hook with which tests put their own backend behind the public functions.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdBackend.h"

// The backend that answers the public functions. Before the first call it points to a table
// whose entries select the real backend and then forward to it, so that every access costs one
// pointer load and one call, with no "already chosen?" test.
extern const SQelVxdBackend* g_poQelVxdBackend;
// The page that backend publishes in (its poDirectPage), kept beside it and changed with it, so
// that a memory dword reaches the page in one load rather than two.
extern SQelVxdDirectPage* g_poQelVxdDirectPage;

// Installs a backend for tests. Every member of the table must be set. Null forgets the
// installed backend: the next call selects one from QELVXD_SIM again.
void QelVxdSetBackendForTest(const SQelVxdBackend* poBackend);

// Only the low 16 bits of a PCIHANDLE name a function (bus, device, function).
inline constexpr PCIHANDLE QELVXD_PCI_HANDLE_MASK = 0xFFFF;
