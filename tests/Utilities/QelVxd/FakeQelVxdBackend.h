// A recording backend for testing the generic platform code: a small model of configuration
// spaces and base address registers, real test memory behind the mapped-access primitives, and
// a log of every call made through the backend table.
#pragma once

#include <array>
#include <map>
#include <set>
#include <vector>

#include "QelBaseTypes.h"
#include "QelVxdBackend.h"

struct SFakeAccess
{
    char cKind;          // 'r'/'w' configuration read/write, 'R'/'W' mapped read/write, 'm' map
    PCIHANDLE hDevice;   // configuration accesses
    MUINT64 uiAddress;   // configuration offset, mapped address, or map flags
    MUINT32 uiSize;      // byte count or access width

    bool operator==(const SFakeAccess&) const = default;
};

class CFakeQelVxdBackend
{
public:
    CFakeQelVxdBackend();
    ~CFakeQelVxdBackend();

    // Creates a function whose configuration space reads as zeros except for the vendor id.
    std::array<MUINT8, 4096>& AddFunction(PCIHANDLE hDevice, MUINT16 uiVendorId = 0x1234, MUINT8 uiHeaderType = 0);
    void SetDword(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiValue);
    MUINT32 GetDword(PCIHANDLE hDevice, MUINT32 uiOffset) const;
    // Makes the dword at uiOffset behave as a memory base address register decoding uiSize bytes.
    void AddBar(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiSize);

    // The logged calls whose kind is one of pszKinds, in order.
    std::vector<SFakeAccess> Log(const char* pszKinds) const;

    std::map<PCIHANDLE, std::array<MUINT8, 4096>> m_oFunctions;
    std::map<std::pair<PCIHANDLE, MUINT32>, MUINT32> m_oBarSizes;
    std::set<MUINT32> m_oMapFlagsThatWork;   // pfnMap succeeds only for these flags
    std::vector<SFakeAccess> m_daLog;

    static CFakeQelVxdBackend* ms_poCurrent;
    static const SQelVxdBackend msc_oTable;
};
