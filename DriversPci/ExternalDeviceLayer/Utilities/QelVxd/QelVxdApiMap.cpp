// Mappings of physical windows (board registers and memory) into the process.
#include "QelVxdApi.h"
#include "QelVxdPrivate.h"

namespace
{
// Cacheability requests tried by memMap, most preferred first.
constexpr MUINT32 s_auiMapFlagsInOrder[] = {0, 1, 6};
}

MEMHANDLE memMap64(MUINT64 uiPhysicalAddress, MUINT32 uiLength, MUINT32 uiFlags)
{
    return g_poQelVxdBackend->pfnMap((MUINT32)uiPhysicalAddress, (MUINT32)(uiPhysicalAddress >> 32), uiLength,
                                     uiFlags);
}

MEMHANDLE memMapEx(MUINT32 uiPhysicalAddress, MUINT32 uiLength, MUINT32 uiFlags)
{
    return memMap64(uiPhysicalAddress, uiLength, uiFlags);
}

MEMHANDLE memMap(MUINT32 uiPhysicalAddress, MUINT32 uiLength)
{
    for (MUINT32 uiFlags : s_auiMapFlagsInOrder)
    {
        const MEMHANDLE hAddress = memMapEx(uiPhysicalAddress, uiLength, uiFlags);
        if (hAddress != 0)
        {
            return hAddress;
        }
    }
    return 0;
}

int memUnmap(MEMHANDLE hAddress)
{
    return g_poQelVxdBackend->pfnUnmap(hAddress);
}
