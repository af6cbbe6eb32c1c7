#include "XContextConstructHb4MemInit.h"

#include <cstring>
#include <new>

#include "Hb4RegChip.h"
#include "Hb4RegPcieCfg.h"
#include "OsServices.h"
#include "QelAssert.h"
#include "XBoard.h"
#include "XContext.h"
#include "XContextConstructHb4.h"
#include "XDevCoreInit_Hb4.h"
#include "XDevEeprom_Hb4.h"
#include "XHb4DefaultPins.h"
#include "XHwAccess.h"
#include "XPinS10.h"
#include "XPins10Helper.h"
#include "XServicesCore.h"

using namespace XHb4BoardData;

namespace
{

// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    // Reported under this file's name.
    REPORT_BUILD_NO_HW_ACCESS            = 80,
    REPORT_BUILD_NO_OS_SERVICES          = 85,
    REPORT_POPULATE_NO_OS_SERVICES       = 240,
    REPORT_POPULATE_NO_CORE_OR_HW_ACCESS = 256,
    REPORT_POPULATE_NO_EEPROM_MEMORY     = 263,
    // Failures of the population, reported under the device API (ReportPopulateFailure).
    REPORT_EEPROM_REGISTRATION           = 700,
    REPORT_EEPROM_UNKNOWN                = 701,
    REPORT_EEPROM_HEADER                 = 702,
    REPORT_DEFAULT_FOR_MERGE             = 703,
    REPORT_MERGE                         = 704,
    REPORT_DEFAULT_ALONE                 = 705,
    REPORT_DEFAULT_INVALID               = 706,
    REPORT_BOARD_RECORD                  = 707,
    REPORT_BOARD_DATA                    = 708,
    REPORT_CPU_RECORD                    = 709,
    REPORT_INIT_RECORDS                  = 710,
    REPORT_CORE_DEVICE                   = 711,
    REPORT_CORE_REGISTRATION             = 712,
};

// Failures of the population are reported under the device API, the component the user drives.
const char* const g_pszReportSource = "DriversPci/ExternalDeviceLayer/Utilities/XDevQelVxd/XDevQelVxd.cpp";

void ReportPopulateFailure(EReport eReport)
{
    QelAssertReport(g_pszReportSource, eReport);
}

// What an identification reads from a data line that nobody drives: pulled high, or stuck low.
constexpr MUINT8 ID_LINE_IDLE_HIGH = 0xFF;
constexpr MUINT8 ID_LINE_IDLE_LOW  = 0x00;

// Tells the operator what the identification of a board's flash part saw: a bus the chip never
// granted, registers that did not answer, a bus on which no part answered, or an id no known part
// has. The board is left as it is in every case.
void HintUnidentifiedEeprom(const XDevEeprom::SDetectOutcome& roOutcome)
{
    const char* const pszLeft = "the board's parameter block cannot be read and the board is left as it is";
    if (roOutcome.bBusNotGranted)
    {
        OsServices::WriteOperatorHint("the chip never granted its EEPROM bus to the host: %s", pszLeft);
        return;
    }
    if (roOutcome.iReadStatus < 0)
    {
        OsServices::WriteOperatorHint("the EEPROM bus register could not be accessed (status %d): %s",
                                      static_cast<int>(roOutcome.iReadStatus), pszLeft);
        return;
    }
    const MUINT8* pui8Id = roOutcome.aui8Id;
    bool bIdleLine = true;
    for (MUINT32 uiIndex = 1; uiIndex < roOutcome.uiIdCount; ++uiIndex)
    {
        bIdleLine = bIdleLine && pui8Id[uiIndex] == pui8Id[0];
    }
    if (bIdleLine && (pui8Id[0] == ID_LINE_IDLE_HIGH || pui8Id[0] == ID_LINE_IDLE_LOW))
    {
        OsServices::WriteOperatorHint("no flash part answered on the board's EEPROM bus (its data line read 0x%02X "
                                      "throughout): %s", pui8Id[0], pszLeft);
        return;
    }
    OsServices::WriteOperatorHint("the board's EEPROM answered instruction 0x%02X with the id %02X %02X %02X %02X, "
                                  "which is not a known flash part: %s",
                                  roOutcome.ui8IdInst, pui8Id[0], pui8Id[1], pui8Id[2], pui8Id[3], pszLeft);
}

// The built-in blocks are chosen by subsystem word and PCB; the job never asks for a variant.
constexpr MUINT32 DEFAULT_PINS_VARIANT = 0;

// Factory option that asks for a chip reset before the first initialisation attempt.
constexpr MUINT32 FACTORY_OPTION_FORCE_GLOBAL_RESET = PINS10_OPTION_FORCE_GLOBAL_RESET;

// A copy of the built-in block for the board, owned by the caller; null when there is none.
MUINT8* CopyDefaultPins(MUINT32 uiSubsystem, const tagPinsHeaderPcbInfo* poPcbInfo, MUINT32& ruiSize)
{
    ruiSize = XHb4DefaultPins::GetDefaultPinsSize(uiSubsystem, poPcbInfo, DEFAULT_PINS_VARIANT);
    const MUINT8* puiDefault = XHb4DefaultPins::GetPinsContent(uiSubsystem, poPcbInfo, DEFAULT_PINS_VARIANT);
    if (ruiSize == 0 || puiDefault == nullptr)
    {
        return nullptr;
    }
    MUINT8* puiCopy = new (std::nothrow) MUINT8[ruiSize];
    if (puiCopy != nullptr)
    {
        std::memcpy(puiCopy, puiDefault, ruiSize);
    }
    return puiCopy;
}

// Where the board's processors are, and the memory of the one on the board. 0 (reported) when
// the pins lack the board data or the processor record.
MBOOL32 FillProcessorFacts(XContext& roContext, XBoard& roBoard, const MUINT8* puiPins)
{
    int iOnBoard = 0;
    int iOnPrimaryBus = 0;
    int iExternal = 0;
    if (!XContextConstructHb4::ExtractBoardData(puiPins, roContext, iOnBoard, iOnPrimaryBus, iExternal))
    {
        ReportPopulateFailure(REPORT_BOARD_DATA);
        return 0;
    }
    roBoard.SetSystemProcessorOnBoard(iOnBoard);
    roBoard.SetSystemProcessorOnPrimaryBus(iOnPrimaryBus);
    roBoard.SetExternalProcessorAvailable(iExternal);

    tagPins10Cpu oCpu = {};
    if (!XPins10Helper::GetCpuInfo(puiPins, &oCpu))
    {
        ReportPopulateFailure(REPORT_CPU_RECORD);
        return 0;
    }
    if (roBoard.IsSystemProcessorOnBoard())
    {
        roBoard.SetCpuMemSize(XPins10Helper::CalcMemorySizeInMB(oCpu.auiMemQty));
    }
    return 1;
}

// Creates the core initialisation device from the pins' clock, memory and factory records and
// makes it the context's initialisation device; notes on the board whether its memory is
// initialised already. 0 (reported) on failure.
MBOOL32 RegisterCoreInit(XContext& roContext, XBoard& roBoard, const MUINT8* puiPins)
{
    tagPins10Clock oClock = {};
    tagPins10Mem_v2 oMemory = {};
    tagPins10FactoryOptions oOptions = {};
    if (!XPins10Helper::GetPinsClock(puiPins, &oClock) || !XPins10Helper::GetPinsMemoryConfig(puiPins, &oMemory) ||
        !XPins10Helper::GetOptInfo(puiPins, &oOptions))
    {
        ReportPopulateFailure(REPORT_INIT_RECORDS);
        return 0;
    }

    // The device copies the records it needs.
    auto* poCoreInit = new (std::nothrow) XDevCoreInitHb4(
        *roContext.m_poServicesCore, oClock, oMemory, roBoard.IsSystemProcessorOnPrimaryBus(),
        roBoard.IsSystemProcessorOnBoard(), XDevCoreInit::OPTION_INIT_ALL,
        (oOptions.uiFactoryOptions & FACTORY_OPTION_FORCE_GLOBAL_RESET) ? 1 : 0);
    if (poCoreInit == nullptr)
    {
        ReportPopulateFailure(REPORT_CORE_DEVICE);
        return 0;
    }
    // The context owns the device from the registration on, whatever its result.
    if (roContext.RegisterDevice(poCoreInit) < 0 || roContext.SetInitDevice(poCoreInit) < 0)
    {
        ReportPopulateFailure(REPORT_CORE_REGISTRATION);
        return 0;
    }
    roBoard.SetMemoryInitialization(poCoreInit->IsHardwareInitialize() ? 1 : 0);
    return 1;
}

} // namespace

LStatus XContextConstructHb4MemInit::BuildCoreContext(LDeviceCreateOptTag oOptions, XContext& roContext)
{
    (void)oOptions;
    if (roContext.m_poHwAccess == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BUILD_NO_HW_ACCESS);
        return -1;
    }
    if (roContext.m_poOsServices == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_BUILD_NO_OS_SERVICES);
        return -1;
    }
    return 0;
}

LStatus XContextConstructHb4MemInit::BuildDevices(XContext& roContext)
{
    (void)roContext;
    return 0;
}

MBOOL32 XContextConstructHb4MemInit::IsSupported(MUINT32 uiVendorDevice, MUINT32 uiSubsystem)
{
    (void)uiSubsystem;
    return Hb4Chip::IsChipVariant(uiVendorDevice);
}

XContextConstruct* XContextConstructHb4MemInit::CreateClone()
{
    return new (std::nothrow) XContextConstructHb4MemInit();
}

MBOOL32 XContextConstructHb4MemInit::BuildPins(XDevEeprom& roEeprom, MUINT32 uiSubsystem, MUINT8*& rpuiPins,
                                               MUINT32& ruiSize, bool& rbMerged)
{
    rpuiPins = nullptr;
    ruiSize = 0;
    rbMerged = false;

    MUINT8* puiEeprom = nullptr;
    MUINT32 uiEepromSize = 0;
    if (XContextConstructHb4::ReadEepromPins(roEeprom, puiEeprom, uiEepromSize))
    {
        // The EEPROM's blocks come first and win; the model's block fills in what is missing.
        tagPins10Header oHeader = {};
        if (!XPins10Helper::GetPinsHeader(puiEeprom, &oHeader))
        {
            ReportPopulateFailure(REPORT_EEPROM_HEADER);
            delete[] puiEeprom;
            return 0;
        }
        MUINT32 uiDefaultSize = 0;
        MUINT8* puiDefault = CopyDefaultPins(uiSubsystem, &oHeader.uiPcbInfo, uiDefaultSize);
        if (puiDefault == nullptr)
        {
            ReportPopulateFailure(REPORT_DEFAULT_FOR_MERGE);
            delete[] puiEeprom;
            return 0;
        }
        const MBOOL32 bMergedOk =
            XPins10Helper::MergePinsData(puiEeprom, uiEepromSize, puiDefault, uiDefaultSize, &rpuiPins, &ruiSize);
        delete[] puiDefault;
        delete[] puiEeprom;
        if (!bMergedOk)
        {
            ReportPopulateFailure(REPORT_MERGE);
            rpuiPins = nullptr;
            ruiSize = 0;
            return 0;
        }
        rbMerged = true;
        return 1;
    }

    // No usable block in the EEPROM (blank, no header, broken chain): the model's block alone.
    MUINT32 uiDefaultSize = 0;
    MUINT8* puiDefault = CopyDefaultPins(uiSubsystem, nullptr, uiDefaultSize);
    if (puiDefault == nullptr)
    {
        ReportPopulateFailure(REPORT_DEFAULT_ALONE);
        return 0;
    }
    if (!Pins10Validate(puiDefault, uiDefaultSize))
    {
        ReportPopulateFailure(REPORT_DEFAULT_INVALID);
        delete[] puiDefault;
        return 0;
    }
    rpuiPins = puiDefault;
    ruiSize = uiDefaultSize;
    return 1;
}

MBOOL32 XContextConstructHb4MemInit::PopulateFromPins(XContext& roContext, MUINT8* puiPins, MUINT32 uiSize)
{
    XBoard* poBoard = roContext.m_poXBoard;
    if (poBoard == nullptr || !poBoard->ReadPinsData(uiSize, puiPins))
    {
        ReportPopulateFailure(REPORT_BOARD_RECORD);
        return 0;
    }
    if (!FillProcessorFacts(roContext, *poBoard, puiPins))
    {
        return 0;
    }
    MUINT32 uiLink = 0;
    roContext.m_poHwAccess->m_roCfg.Read(Hb4PcieCfg::RegPCIE_LINKCTL, uiLink);
    using namespace PciCfg;
    poBoard->SetPCIeLinkWidth(static_cast<unsigned short>((uiLink >> PCIE_LINK_WIDTH_SHIFT) & PCIE_LINK_WIDTH_MASK));
    poBoard->SetPCIeLinkSpeed(static_cast<unsigned short>((uiLink >> PCIE_LINK_SPEED_SHIFT) & PCIE_LINK_SPEED_MASK));
    return RegisterCoreInit(roContext, *poBoard, puiPins);
}

LStatus XContextConstructHb4MemInit::ReadEepromAndPopulateXContext(XContext& roContext)
{
    if (roContext.m_poOsServices == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_POPULATE_NO_OS_SERVICES);
        return -1;
    }
    if (m_bIsPopulate)
    {
        return 0;
    }
    // An EEPROM device already there means an earlier call got that far: the context counts as
    // populated, even if that call stopped before the core device.
    if (roContext.GetXDevice(XDev::TYPE_EEPROM, 0) != nullptr)
    {
        m_bIsPopulate = 1;
        return 0;
    }
    if (roContext.m_poServicesCore == nullptr || roContext.m_poHwAccess == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_POPULATE_NO_CORE_OR_HW_ACCESS);
        return -1;
    }

    auto* poEeprom = new (std::nothrow) XDevEepromHb4(*roContext.m_poOsServices, *roContext.m_poHwAccess);
    if (poEeprom == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_POPULATE_NO_EEPROM_MEMORY);
        return -1;
    }
    // From here on the result is the registration's; later failures leave the context without
    // an initialisation device, which is how the initialisation learns of them.
    const LStatus iResult = roContext.RegisterDevice(poEeprom);
    if (iResult < 0)
    {
        ReportPopulateFailure(REPORT_EEPROM_REGISTRATION);
        return iResult;
    }
    if (!poEeprom->DetectEeprom())
    {
        // An unknown flash part: its content cannot be trusted to be read right, so the
        // built-in block is not used either.
        HintUnidentifiedEeprom(poEeprom->GetDetectOutcome());
        ReportPopulateFailure(REPORT_EEPROM_UNKNOWN);
        return iResult;
    }
    return PopulateFromEeprom(roContext, *poEeprom) ? 0 : iResult;
}

MBOOL32 XContextConstructHb4MemInit::PopulateFromEeprom(XContext& roContext, XDevEeprom& roEeprom)
{
    MUINT32 uiSubsystem = 0;
    roContext.m_poServicesCore->m_roHwAccess.m_roCfg.Read(PciCfg::RegSUBSYSTEM, uiSubsystem);

    MUINT8* puiPins = nullptr;
    MUINT32 uiSize = 0;
    bool bMerged = false;
    if (!BuildPins(roEeprom, uiSubsystem, puiPins, uiSize, bMerged))
    {
        return 0;
    }

    if (XHb4DefaultPins::IsFanlessSubsysId(uiSubsystem))
    {
        // Fanless models have no fan to drive. Only a block read from the EEPROM is cleaned;
        // the built-in block of such a model is used as it is (the call then refuses the empty
        // block it is handed). The chain shrinks in place with its tail zeroed, so the buffer
        // size is handed on unchanged.
        MUINT32 uiRemoveSize = bMerged ? uiSize : 0;
        XPins10Helper::RemovePinsMultiBlockElement(PINS10_SIGNATURE_MISC_IO, PINS10_MISC_IO_TYPE_FAN, uiRemoveSize,
                                                   bMerged ? puiPins : nullptr);
    }

    const MBOOL32 bPopulated = PopulateFromPins(roContext, puiPins, uiSize);
    if (bPopulated)
    {
        m_bIsPopulate = 1;
    }
    delete[] puiPins;
    return bPopulated;
}
