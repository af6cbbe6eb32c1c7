// Builder of device contexts: decides which PCI functions it handles and registers the devices a
// job needs into a board's context. The context manager keeps one private clone per board.
#pragma once

#include "QelBaseTypes.h"
#include "XObject.h"

class XContext;

// Which parts of a board a builder creates (bit fields from bit 0 upward).
union LDeviceCreateOptTag
{
    struct
    {
        MUINT32 uiEnableTraceMgr       : 1;
        MUINT32 uiEnableTickReference  : 1;
        MUINT32 uiAllowGlobalReset     : 1;
        MUINT32 uiUseEepromParFile     : 1;
        MUINT32 uiInitRegisterHw       : 1;
        MUINT32 uiInitMemoryHw         : 1;
        MUINT32 uiEnableBufferMgr      : 1;
        MUINT32 uiEnableHmcServices    : 1;
        MUINT32 uiEnableInterruptMgr   : 1;
        MUINT32 uiEnableFpgaPmcDevices : 1;
        MUINT32 uiEnableDevices        : 1;
        MUINT32 uiEnablePassthrough    : 1;
        MUINT32 uiEnableCableFrameLock : 1;
        MUINT32 uiReserved             : 19;
    };
    MUINT32 uiValue;
};
static_assert(sizeof(LDeviceCreateOptTag) == 4, "the creation options are one 32-bit word");

class XContextConstruct : public XObject
{
public:
    ~XContextConstruct() override {}

    // Registers the devices needed to start the board (EEPROM, core initialisation, board data).
    // Negative = failure.
    virtual LStatus BuildCoreContext(LDeviceCreateOptTag oOptions, XContext& roContext) = 0;
    // Registers the full device set of a running board. Negative = failure.
    virtual LStatus BuildDevices(XContext& roContext) = 0;
    // Non-zero when the builder handles a PCI function with this identity: configuration dword 0
    // (vendor id low, device id high) and dword 0x2C (subsystem vendor id low, subsystem id high).
    virtual MBOOL32 IsSupported(MUINT32 uiVendorDevice, MUINT32 uiSubsystem) = 0;
    // A new builder of the same kind, owned by the caller; null when none could be made.
    virtual XContextConstruct* CreateClone() = 0;
};
