// Command line of InitMemContext: the option walk and the hexadecimal handle parser, kept apart
// from main so that they can be exercised without hardware.
#pragma once

#include "QelBaseTypes.h"

// No index filter: every board is processed.
constexpr MINT32 INITMEM_NO_INDEX_FILTER = -1;
// No handle filter (a PCI handle of 0 is the host bridge, never a board).
constexpr MUINT32 INITMEM_NO_HANDLE_FILTER = 0;

struct SInitMemOptions
{
    MUINT32 uiHandleFilter = INITMEM_NO_HANDLE_FILTER;   // -dev / --Dev
    MINT32  iIndexFilter   = INITMEM_NO_INDEX_FILTER;    // -i / --Index
    bool    bListMode      = false;                      // -l / --list
    bool    bClearFirst    = false;                      // -c / --clearinit
    bool    bGoOn          = true;                       // cleared once the usage text was shown
};

// The usage block exactly as printed for a help option (without the empty lines around it).
extern const char* const g_pszInitMemUsage;

// Hexadecimal text to a 32-bit value: 'x' and 'X' are skipped wherever they stand, digits are
// shifted in (the oldest fall off the top), any other character ends the conversion.
MUINT32 atoh(const char* pszText);

// Walks the arguments once, left to right. Unknown arguments are ignored; a value that is
// missing or starts with '-' is not taken (the option keeps its earlier value and the next
// argument is examined as an option). Every help spelling prints the usage block on stdout.
void InitMemParseArguments(int argc, const char* const* argv, SInitMemOptions& roOptions);
