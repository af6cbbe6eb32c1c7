// Basic fixed-width types shared by every layer of the library.
#pragma once

#include <cstddef>
#include <cstdint>

typedef uint32_t  MBOOL32;   // 32-bit boolean: 0 false, anything else true
typedef uint8_t   MUINT8;
typedef uint16_t  MUINT16;
typedef uint32_t  MUINT32;
typedef int32_t   MINT32;
typedef uint64_t  MUINT64;
typedef int64_t   MINT64;
typedef uintptr_t MUINTPTR;
typedef char      MCHAR8;

// Virtual address of a mapped physical window; 0 means "not mapped".
typedef MUINTPTR MEMHANDLE;

// Signed 32-bit status: negative failure, 0 success, 1 success with an "already done" meaning.
typedef MINT32 LStatus;

// PCI function handle: bus * 256 + device * 8 + function. Passed as 64 bits, only the low 16
// bits carry meaning.
typedef unsigned long PCIHANDLE;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
