// Builder of the memory-initialisation job: recognises the family's boards by PCI id and fills a
// board's context with the two devices the job needs, the board EEPROM and the core
// initialisation device. On the way it reads the parameter block from the EEPROM, completes it
// from the built-in block of the board's model, and fills the board record.
#pragma once

#include "QelBaseTypes.h"
#include "XContextConstruct.h"

class XContext;
class XDevEeprom;

class XContextConstructHb4MemInit : public XContextConstruct
{
public:
    XContextConstructHb4MemInit() : m_bIsPopulate(0) {}
    ~XContextConstructHb4MemInit() override {}

    // 0 when the context has its hardware access and OS services; the devices come later, from
    // ReadEepromAndPopulateXContext, once the job is about to run.
    LStatus BuildCoreContext(LDeviceCreateOptTag oOptions, XContext& roContext) override;
    // The job needs no other device: 0.
    LStatus BuildDevices(XContext& roContext) override;
    MBOOL32 IsSupported(MUINT32 uiVendorDevice, MUINT32 uiSubsystem) override;
    XContextConstruct* CreateClone() override;

    // Registers the EEPROM and core initialisation devices, once per builder. 0 on success; -1
    // without OS services or services core; a negative registration result of the EEPROM device.
    // A later failure is reported and returns the (non-negative) EEPROM registration result: the
    // context then has no initialisation device, so initialising it fails.
    LStatus ReadEepromAndPopulateXContext(XContext& roContext);

    MBOOL32 m_bIsPopulate;

private:
    // The EEPROM's block completed from the model's built-in block, or the built-in block alone.
    // 1 with an array the caller frees with delete[]; bMerged says which path was taken.
    MBOOL32 BuildPins(XDevEeprom& roEeprom, MUINT32 uiSubsystem, MUINT8*& rpuiPins, MUINT32& ruiSize, bool& rbMerged);
    // Fills the board record and creates the core initialisation device: 1 when it is registered
    // as the context's initialisation device.
    MBOOL32 PopulateFromPins(XContext& roContext, MUINT8* puiPins, MUINT32 uiSize);
    // The pins from the identified EEPROM (or the built-in block), cleaned for fanless models,
    // then PopulateFromPins; 1 when the context is populated.
    MBOOL32 PopulateFromEeprom(XContext& roContext, XDevEeprom& roEeprom);
};
