#include "XDevQelVxd.h"

#include <new>

#include "OsServices.h"
#include "QelAssert.h"
#include "QelTools.h"
#include "QelVxdApi.h"
#include "XBoard.h"
#include "XContext.h"
#include "XContextConstructHb4MemInit.h"
#include "XContextMgr.h"
#include "XHwAccess.h"

XContextMgr* g_poContextMgr = nullptr;

namespace
{

// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_INIT_NO_MANAGER         = 345,
    REPORT_INIT_REGISTER_REFUSED   = 354,
    REPORT_INIT_POPULATE_FAILED    = 357,
    REPORT_NBDEVICE_NO_MANAGER     = 413,
    REPORT_NBDEVICE_NULL           = 414,
    REPORT_GETDEVICE_NO_MANAGER    = 453,
    REPORT_GETDEVICE_BAD_INDEX     = 469,
    REPORT_GETDEVICE_NO_CONTEXT    = 471,
    REPORT_INITDEVICE_NO_MANAGER   = 528,
    REPORT_INITDEVICE_NO_CONTEXT   = 530,
    REPORT_INITDEVICE_NO_BUILDER   = 534,
    REPORT_INITDEVICE_POPULATE     = 536,
    REPORT_INITDEVICE_NO_MEMORY    = 538,
    REPORT_INFO_NO_MANAGER         = 577,
    REPORT_INFO_NULL               = 578,
    REPORT_INFO_NO_CONTEXT         = 584,
    REPORT_INFO_NO_BUILDER         = 588,
    REPORT_INFO_POPULATE           = 590,
    REPORT_INFO_NO_BOARD           = 594,
    REPORT_INFO_PRODUCT_NAME       = 598,
    REPORT_INFO_SERIAL_NUMBER      = 601,
    REPORT_INFO_FIRMWARE_VERSION   = 604,
    REPORT_CLEAR_NO_MANAGER        = 645,
    REPORT_CLEAR_NO_CONTEXT        = 647,
    REPORT_CLEAR_NO_BUILDER        = 651,
    REPORT_CLEAR_POPULATE          = 653,
    // 700-712 are taken: the memory-initialisation builder reports its population failures
    // under this file's name (XContextConstructHb4MemInit.cpp).
};

// Where a call stopped while preparing a board.
enum class EPrepareFailure
{
    NONE,
    NO_CONTEXT,
    NO_BUILDER,
    POPULATE,
    UNREACHABLE,   // register window not mapped: reported when the board was found
    NO_MEMORY,     // memory window without an address: the board's memory cannot be reached
};

// The reports of one caller's PrepareBoard failures.
struct SPrepareReports
{
    EReport eNoContext;
    EReport eNoBuilder;
    EReport ePopulate;
    bool bNeedsMemoryWindow = false;   // the call tests or uses the board's memory
};

// Firmware leaves a BAR at address 0 when it could not give the window a place. Physical
// address 0 is system RAM, never the board: such a board must not be brought up, since its
// memory could be neither tested nor used. One line on standard error tells the operator why.
bool MemoryWindowAssigned(MUINT32 uiIndex, const XContext& roContext)
{
    if (roContext.m_poHwAccess == nullptr || roContext.m_poHwAccess->m_roMem.GetPhysMemory() != 0)
    {
        return true;
    }
    XContext* poContext = nullptr;
    MUINT64 hPci = 0;
    MUINT64 hRegs = 0;
    MUINT64 hMem = 0;
    MUINT32 uiRegsSize = 0;
    MUINT32 uiMemSize = 0;
    PCILOCATION oLocation = {};
    if (g_poContextMgr->GetContext(uiIndex, poContext, hPci, hRegs, uiRegsSize, hMem, uiMemSize))
    {
        pciGetLocation(hPci, &oLocation);
    }
    OsServices::WriteOperatorHint("the board at PCI %02x:%02x.%x has no address for its memory window (BAR 0 "
                                  "reads 0), so its memory is not initialised: assign it in the firmware's PCI "
                                  "settings",
                                  (unsigned)oLocation.bus, (unsigned)oLocation.device, (unsigned)oLocation.function);
    return false;
}

// Gets the board's context and builder and lets the builder read the EEPROM and populate the
// context (the builder does this once per board). A board whose register window is not mapped
// is left alone: nothing could reach it, and the manager already told the user why. A call that
// needs the memory window also leaves a board alone whose memory window has no address.
EPrepareFailure PrepareBoard(MUINT32 uiIndex, const SPrepareReports& roReports, XContext*& rpoContext)
{
    rpoContext = nullptr;
    if (!g_poContextMgr->GetContext(uiIndex, rpoContext) || rpoContext == nullptr)
    {
        QEL_ASSERT_REPORT_AT(roReports.eNoContext);
        return EPrepareFailure::NO_CONTEXT;
    }
    auto* poBuilder = static_cast<XContextConstructHb4MemInit*>(g_poContextMgr->GetContextConstruct(uiIndex));
    if (poBuilder == nullptr)
    {
        QEL_ASSERT_REPORT_AT(roReports.eNoBuilder);
        return EPrepareFailure::NO_BUILDER;
    }
    if (rpoContext->m_poHwAccess != nullptr && !rpoContext->m_poHwAccess->IsRegisterWindowMapped())
    {
        return EPrepareFailure::UNREACHABLE;
    }
    if (roReports.bNeedsMemoryWindow && !MemoryWindowAssigned(uiIndex, *rpoContext))
    {
        QEL_ASSERT_REPORT_AT(REPORT_INITDEVICE_NO_MEMORY);
        return EPrepareFailure::NO_MEMORY;
    }
    if (poBuilder->ReadEepromAndPopulateXContext(*rpoContext) < 0)
    {
        QEL_ASSERT_REPORT_AT(roReports.ePopulate);
        return EPrepareFailure::POPULATE;
    }
    return EPrepareFailure::NONE;
}

} // namespace

int XDevQelVxd_Init()
{
    if (g_poContextMgr == nullptr)
    {
        g_poContextMgr = new (std::nothrow) XContextMgr();
        if (g_poContextMgr == nullptr)
        {
            QEL_ASSERT_REPORT_AT(REPORT_INIT_NO_MANAGER);
            return 0;
        }
    }

    // A new builder on every call; the manager owns it from the registration on.
    auto* poBuilder = new (std::nothrow) XContextConstructHb4MemInit();
    if (poBuilder == nullptr ||
        !g_poContextMgr->RegisterContextConstructor(poBuilder, XContextMgr::CreateDummyBufferMgr,
                                                    XContextMgr::CreateDummyCounterMgr,
                                                    XContextMgr::CreateDummyInterruptMgr))
    {
        QEL_ASSERT_REPORT_AT(REPORT_INIT_REGISTER_REFUSED);
        return 0;
    }

    if (!g_poContextMgr->PopulateXContext())
    {
        QEL_ASSERT_REPORT_AT(REPORT_INIT_POPULATE_FAILED);
        return 0;
    }
    return 1;
}

int XDevQelVxd_Cleanup()
{
    if (g_poContextMgr == nullptr)
    {
        return 0;
    }
    delete g_poContextMgr;
    g_poContextMgr = nullptr;
    return 1;
}

int XDevQelVxd_GetNbDevice(MUINT32* puiNbOfDevice)
{
    if (g_poContextMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NBDEVICE_NO_MANAGER);
        return 0;
    }
    if (puiNbOfDevice == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NBDEVICE_NULL);
        return 0;
    }
    *puiNbOfDevice = g_poContextMgr->GetNbOfContext();
    return 1;
}

int XDevQelVxd_GetDevice(MUINT32 uiIndex, MUINT64* phPciHandle, MUINT64* phRegs, MUINT32* puiRegsSize,
                         MUINT64* phMem, MUINT32* puiMemSize)
{
    if (g_poContextMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_GETDEVICE_NO_MANAGER);
        return 0;
    }

    XContext* poContext = nullptr;
    unsigned long hPciHandle = 0;
    unsigned long hRegs = 0;
    MUINT32 uiRegsSize = 0;
    unsigned long hMem = 0;
    MUINT32 uiMemSize = 0;
    if (!g_poContextMgr->GetContext(uiIndex, poContext, hPciHandle, hRegs, uiRegsSize, hMem, uiMemSize))
    {
        QEL_ASSERT_REPORT_AT(REPORT_GETDEVICE_BAD_INDEX);
        return 0;
    }
    if (poContext == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_GETDEVICE_NO_CONTEXT);
        return 0;
    }

    if (phPciHandle != nullptr)
    {
        *phPciHandle = hPciHandle;
    }
    if (phRegs != nullptr)
    {
        *phRegs = hRegs;
    }
    if (puiRegsSize != nullptr)
    {
        *puiRegsSize = uiRegsSize;
    }
    if (phMem != nullptr)
    {
        *phMem = hMem;
    }
    if (puiMemSize != nullptr)
    {
        *puiMemSize = uiMemSize;
    }
    return 1;
}

int XDevQelVxd_InitializeDevice(MUINT32 uiIndex)
{
    if (g_poContextMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INITDEVICE_NO_MANAGER);
        return -1;
    }
    XContext* poContext = nullptr;
    if (PrepareBoard(uiIndex,
                     {REPORT_INITDEVICE_NO_CONTEXT, REPORT_INITDEVICE_NO_BUILDER, REPORT_INITDEVICE_POPULATE, true},
                     poContext) != EPrepareFailure::NONE)
    {
        return -1;
    }

    // A failed initialisation is carried by the result alone; the manager has said what failed.
    const LStatus iResult = g_poContextMgr->InitializeHardware(uiIndex);
    if (iResult == 0 || iResult == 1)
    {
        return iResult;
    }
    return -1;
}

int XDevQelVxd_GetDeviceInfo(MUINT32 uiIndex, XDevVxdInfoTag* poDevInfo)
{
    if (g_poContextMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INFO_NO_MANAGER);
        return 0;
    }
    if (poDevInfo == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INFO_NULL);
        return 0;
    }
    XContext* poContext = nullptr;
    if (PrepareBoard(uiIndex, {REPORT_INFO_NO_CONTEXT, REPORT_INFO_NO_BUILDER, REPORT_INFO_POPULATE}, poContext) !=
        EPrepareFailure::NONE)
    {
        return 0;
    }

    const XBoard* poBoard = poContext->m_poXBoard;
    if (poBoard == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INFO_NO_BOARD);
        return 0;
    }
    char szProductName[XBoard::msc_uiTextSize] = {};
    char szSerialNumber[XBoard::msc_uiTextSize] = {};
    char szFirmwareVersion[XBoard::msc_uiTextSize] = {};
    if (poBoard->GetProductName(szProductName) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INFO_PRODUCT_NAME);
        return 0;
    }
    if (poBoard->GetSerialNumber(szSerialNumber) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INFO_SERIAL_NUMBER);
        return 0;
    }
    // Read so that a board record without a version fails the call, but the caller's own
    // version text is kept.
    if (poBoard->GetFirmwareVersion(szFirmwareVersion) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_INFO_FIRMWARE_VERSION);
        return 0;
    }

    QelTools_strcpy_s(poDevInfo->szProductName, sizeof(poDevInfo->szProductName), szProductName);
    QelTools_strcpy_s(poDevInfo->szSerialNumber, sizeof(poDevInfo->szSerialNumber), szSerialNumber);
    poDevInfo->bIsSystemProcessorOnBoard = poBoard->IsSystemProcessorOnBoard();
    poDevInfo->bIsSystemProcessorOnPrimaryBus = poBoard->IsSystemProcessorOnPrimaryBus();
    poDevInfo->bIsExternalProcessorAvailable = poBoard->IsExternalProcessorAvailable();
    poDevInfo->uiMemSize = XDEVQELVXD_BOARD_MEMORY_SIZE;
    return 1;
}

int XDevQelVxd_ClearInitialized(MUINT32 uiIndex)
{
    if (g_poContextMgr == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_CLEAR_NO_MANAGER);
        return 0;
    }
    XContext* poContext = nullptr;
    if (PrepareBoard(uiIndex, {REPORT_CLEAR_NO_CONTEXT, REPORT_CLEAR_NO_BUILDER, REPORT_CLEAR_POPULATE}, poContext) !=
        EPrepareFailure::NONE)
    {
        return 0;
    }
    // A board that was not initialised has nothing to clear; that is no failure of the call.
    poContext->ClearInitializeCore();
    return 1;
}
