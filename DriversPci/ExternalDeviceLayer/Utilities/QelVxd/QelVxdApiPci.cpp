// PCI bus enumeration, capability lookup and base address register sizing, built on the
// configuration-space functions so that every backend enumerates the same way.
#include "QelVxdApi.h"
#include "QelPciCfgRegs.h"

using namespace PciCfg;

namespace
{
// The bus topology the scan walks.
constexpr MUINT32 BUS_COUNT       = 256;
constexpr MUINT32 DEVICES_PER_BUS = 32;
constexpr MUINT32 LAST_FUNCTION   = 7;

// A healthy chain visits each pointer value at most once; more steps than there are pointer
// values means the chain loops.
constexpr MUINT32 CAP_MAX_STEPS = CAP_PTR_LAST - CAP_PTR_FIRST + 1;

bool IsFunctionPresent(PCIHANDLE hPci)
{
    MUINT16 uiVendorId = VENDOR_ID_NONE_HIGH;
    csReadWord(hPci, RegID, &uiVendorId);
    return (uiVendorId != VENDOR_ID_NONE_LOW) && (uiVendorId != VENDOR_ID_NONE_HIGH);
}
}

int pciScan(PCISCANCALLBACK pfnCallback, void* pvContext)
{
    if (pfnCallback == nullptr)
    {
        return 0;
    }

    for (MUINT32 uiBus = 0; uiBus < BUS_COUNT; uiBus++)
    {
        for (MUINT32 uiDevice = 0; uiDevice < DEVICES_PER_BUS; uiDevice++)
        {
            // Functions 1-7 exist only behind a present, multi-function function 0.
            MUINT32 uiLastFunction = 0;
            for (MUINT32 uiFunction = 0; uiFunction <= uiLastFunction; uiFunction++)
            {
                const PCIHANDLE hPci = QelVxdMakePciHandle(uiBus, uiDevice, uiFunction);
                if (!IsFunctionPresent(hPci))
                {
                    continue;
                }

                MUINT32 uiHeader = 0;
                csReadDword(hPci, RegHEADER, &uiHeader);
                if ((uiFunction == 0) && ((uiHeader & HEADER_MULTI_FUNCTION) != 0))
                {
                    uiLastFunction = LAST_FUNCTION;
                }
                if (((uiHeader >> HEADER_TYPE_SHIFT) & HEADER_TYPE_MASK) == HEADER_TYPE_BRIDGE)
                {
                    // The bridge's bus numbers are read as part of probing it, as the
                    // enumeration has always done; nothing below depends on the value.
                    MUINT32 uiBusNumbers = 0;
                    csReadDword(hPci, RegBRIDGE_BUSES, &uiBusNumbers);
                }

                if (pfnCallback(hPci, pvContext) != 0)
                {
                    return 1;
                }
            }
        }
    }
    return 0;
}

int pciScanBus(PCISCANCALLBACK pfnCallback, void* pvContext)
{
    return pciScan(pfnCallback, pvContext);
}

int pciFindCapability(PCIHANDLE hPci, MUINT32* puiOffset, MUINT32 uiCapabilityId)
{
    if (puiOffset == nullptr)
    {
        return 0;
    }

    MUINT32 uiCommandStatus = 0;
    csReadDword(hPci, RegCOMMAND_STATUS, &uiCommandStatus);
    if ((uiCommandStatus & STATUS_CAP_LIST) == 0)
    {
        return 0;
    }

    MUINT32 uiCapPtr = 0;
    csReadDword(hPci, RegCAP_PTR, &uiCapPtr);
    MUINT32 uiPointer = uiCapPtr & CAP_PTR_ALIGN;
    if (uiPointer < CAP_PTR_FIRST)
    {
        return 0;
    }

    // A broken device can link its list into a loop; give up after more steps than a list
    // without repeats can have.
    for (MUINT32 uiStep = 0; uiStep < CAP_MAX_STEPS; uiStep++)
    {
        MUINT32 uiEntry = 0;
        csReadDword(hPci, (int)uiPointer, &uiEntry);
        if ((uiEntry & CAP_ID_MASK) == uiCapabilityId)
        {
            *puiOffset = uiPointer;
            return 1;
        }
        uiPointer = (uiEntry >> CAP_NEXT_SHIFT) & CAP_NEXT_MASK;
        if ((uiPointer < CAP_PTR_FIRST) || (uiPointer > CAP_PTR_LAST))
        {
            return 0;
        }
    }
    return 0;
}

int pciFindPMCapability(PCIHANDLE hPci, MUINT32* puiOffset)
{
    return pciFindCapability(hPci, puiOffset, CAP_ID_POWER_MANAGEMENT);
}

int pciFindAGPCapability(PCIHANDLE hPci, MUINT32* puiOffset)
{
    return pciFindCapability(hPci, puiOffset, CAP_ID_AGP);
}

int pciGetTermbase(PCIHANDLE hPci, MUINT32 uiOffset, MUINT32* puiBase, MUINT32* puiMask)
{
    if ((puiBase == nullptr) || (puiMask == nullptr))
    {
        return 0;
    }

    // A base address register answers all-ones with its size mask: the address bits it
    // decodes read back as set, the bits below its size as clear. The original value goes
    // back at once so the window does not stay moved.
    MUINT32 uiOriginal = 0;
    MUINT32 uiSizing = 0;
    csReadDword(hPci, (int)uiOffset, &uiOriginal);
    csWriteDword(hPci, (int)uiOffset, BAR_ALL_ONES);
    csReadDword(hPci, (int)uiOffset, &uiSizing);
    csWriteDword(hPci, (int)uiOffset, uiOriginal);

    *puiBase = uiOriginal & ~BAR_FLAG_MASK;
    *puiMask = uiSizing & ~BAR_FLAG_MASK;
    return 1;
}

int pciGetLocation(PCIHANDLE hPci, PCILOCATION* poLocation)
{
    if (poLocation == nullptr)
    {
        return 0;
    }
    poLocation->function = QelVxdPciFunction(hPci);
    poLocation->device = QelVxdPciDevice(hPci);
    poLocation->bus = QelVxdPciBus(hPci);
    poLocation->reserved = 0;
    return 1;
}
