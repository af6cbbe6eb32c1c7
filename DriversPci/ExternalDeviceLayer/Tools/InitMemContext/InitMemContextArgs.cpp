#include "InitMemContextArgs.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "QelTools.h"

const char* const g_pszInitMemUsage =
    "Initializes the clocks and memory.\n"
    "Optional arguments:\n"
    "  -h,      --help          : This usage information\n"
    "  -c,      --clearinit     : Will use global reset to clear the last intilization\n"
    "  -dev,    --Dev           : Initializes the memory of a specific device handle (default: all devices are "
    "initialized)\n"
    "  -i,      --Index         : Initializes the memory of a specific device index (default: all devices are "
    "initialized)\n"
    "  -l,      --list          : Shows a list of all devices found";

namespace
{

bool IsOneOf(const char* pszArg, std::initializer_list<const char*> lpszSpellings)
{
    for (const char* pszSpelling : lpszSpellings)
    {
        if (std::strcmp(pszArg, pszSpelling) == 0)
        {
            return true;
        }
    }
    return false;
}

// An option value exists at argv[iNext] and is not itself an option.
bool HasValue(int argc, const char* const* argv, int iNext)
{
    return iNext < argc && argv[iNext][0] != '-';
}

void PrintUsage()
{
    // puts adds a line end after each string: two empty lines before and after the text.
    std::puts("\n");
    std::puts(g_pszInitMemUsage);
    std::puts("\n");
}

} // namespace

MUINT32 atoh(const char* pszText)
{
    MUINT32 uiValue = 0;
    for (const char* pc = pszText; *pc != '\0'; ++pc)
    {
        MUINT32 uiDigit;
        if (*pc >= '0' && *pc <= '9')
        {
            uiDigit = static_cast<MUINT32>(*pc - '0');
        }
        else if (*pc >= 'a' && *pc <= 'f')
        {
            uiDigit = static_cast<MUINT32>(*pc - 'a' + 10);
        }
        else if (*pc >= 'A' && *pc <= 'F')
        {
            uiDigit = static_cast<MUINT32>(*pc - 'A' + 10);
        }
        else if (*pc == 'x' || *pc == 'X')
        {
            continue;
        }
        else
        {
            break;
        }
        uiValue = (uiValue << 4) | uiDigit;
    }
    return uiValue;
}

void InitMemParseArguments(int argc, const char* const* argv, SInitMemOptions& roOptions)
{
    // Every test below looks at the same argument; only -i and -dev consume a value, and the
    // list test still sees the argument that was examined first.
    int i = 1;
    while (i < argc)
    {
        const char* pszArg = argv[i];
        if (IsOneOf(pszArg, {"?", "-?", "--?", "-h", "--help"}))
        {
            PrintUsage();
            roOptions.bGoOn = false;
        }
        if (IsOneOf(pszArg, {"-c", "--clearinit"}))
        {
            roOptions.bClearFirst = true;
        }
        if (IsOneOf(pszArg, {"-i", "--Index"}) && HasValue(argc, argv, i + 1))
        {
            roOptions.iIndexFilter = QelTools_atoi(argv[i + 1]);
            i += 2;
        }
        else
        {
            i += 1;
        }
        if (IsOneOf(pszArg, {"-dev", "--Dev"}) && HasValue(argc, argv, i))
        {
            roOptions.uiHandleFilter = atoh(argv[i]);
            i += 1;
        }
        if (IsOneOf(pszArg, {"-l", "--list"}))
        {
            roOptions.bListMode = true;
        }
    }
}
