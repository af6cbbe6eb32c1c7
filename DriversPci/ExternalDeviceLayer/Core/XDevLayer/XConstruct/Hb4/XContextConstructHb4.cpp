#include "XContextConstructHb4.h"

#include <new>

#include "QelAssert.h"
#include "QelPciCfgRegs.h"
#include "XContext.h"
#include "XDevEeprom.h"
#include "XHwAccess.h"
#include "XPinS10.h"
#include "XPins10Helper.h"
#include "XServicesCore.h"
#include "XTracesReg.h"

namespace
{
// Numbers of this file's assertion reports. Operators and support read them in the
// messages, so they stay fixed whatever the layout of the file; a new report takes a
// number of its own.
enum EReport : int
{
    REPORT_PINS_POINTER_UNREADABLE    = 52,
    REPORT_PINS_SIGNATURE_UNREADABLE  = 60,
    REPORT_PINS_BLOCK_UNREADABLE      = 91,
    REPORT_PINS_BLOCK_BAD_LENGTH      = 98,
    REPORT_PINS_EMPTY                 = 111,
    REPORT_PINS_NO_MEMORY             = 117,
    REPORT_PINS_UNREADABLE_OR_INVALID = 123,
    REPORT_NO_CPU_RECORD              = 142,
    REPORT_NO_HW_ACCESS               = 161,
    REPORT_NO_HEADER_RECORD           = 174,
    REPORT_NO_SERVICES_CORE           = 190,
};
}  // namespace

using namespace XHb4BoardData;

namespace
{

MUINT16 LittleEndian16(const MUINT8* puiBytes)
{
    return static_cast<MUINT16>(puiBytes[0] | (puiBytes[1] << 8));
}

// Whether the board decodes I/O cycles: I/O space enable is set, or can be set. The command
// register is left as it was found.
MBOOL32 ProbeIoSpace(XCfgAccess& roCfg)
{
    MUINT32 uiCommand = 0;
    roCfg.Read(PciCfg::RegCOMMAND_STATUS, uiCommand);
    if (uiCommand & PciCfg::COMMAND_IO_SPACE)
    {
        return 1;
    }
    roCfg.Write(PciCfg::RegCOMMAND_STATUS, uiCommand | PciCfg::COMMAND_IO_SPACE);
    MUINT32 uiReadBack = 0;
    roCfg.Read(PciCfg::RegCOMMAND_STATUS, uiReadBack);
    if (uiReadBack & PciCfg::COMMAND_IO_SPACE)
    {
        roCfg.Write(PciCfg::RegCOMMAND_STATUS, uiReadBack & ~PciCfg::COMMAND_IO_SPACE);
        return 1;
    }
    return 0;
}

// A board whose PCB straps the presence of the external processor into a chip register, with its
// processor off the primary bus: the processor is not on the primary bus, and the external one is
// there when its strap says so. 0 (reported) without the services to read the register.
MBOOL32 ReadProcessorStraps(XContext& roContext, int& riOnPrimaryBus, int& riExternal)
{
    if (roContext.m_poServicesCore == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_SERVICES_CORE);
        return 0;
    }
    MUINT32 uiStraps = 0;
    roContext.m_poServicesCore->m_roTracesReg.Read(REG_PROCESSOR_STRAPS, uiStraps);
    riExternal = static_cast<int>((uiStraps >> PROCESSOR_STRAPS_EXTERNAL_BIT) & 1u);
    riOnPrimaryBus = 0;
    return 1;
}

} // namespace

MBOOL32 XContextConstructHb4::FindPinsOffset(XDevEeprom& roEeprom, MUINT32& ruiOffset)
{
    MUINT8 auiPointer[EEPROM_PINS_POINTER_SIZE] = {};
    if (roEeprom.Read(EEPROM_PINS_POINTER_ADDR, auiPointer, sizeof(auiPointer)) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PINS_POINTER_UNREADABLE);
        return 0;
    }
    const MUINT32 uiAddress = LittleEndian16(auiPointer);

    MUINT8 auiSignature[sizeof(MUINT16)] = {};
    if (roEeprom.Read(uiAddress, auiSignature, sizeof(auiSignature)) < 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PINS_SIGNATURE_UNREADABLE);
        return 0;
    }
    // A blank EEPROM reads 0xFFFF here: no block, and no reason to complain.
    if (LittleEndian16(auiSignature) != PINS10_SIGNATURE_HEADER)
    {
        return 0;
    }
    ruiOffset = uiAddress;
    return 1;
}

MBOOL32 XContextConstructHb4::ReadEepromPins(XDevEeprom& roEeprom, MUINT8*& rpuiPins, MUINT32& ruiSize)
{
    rpuiPins = nullptr;
    ruiSize = 0;

    MUINT32 uiStart = 0;
    if (!FindPinsOffset(roEeprom, uiStart))
    {
        return 0;
    }

    // Walk the block headers up to the end block to learn the chain's size. Every header must end
    // below the limit, which also bounds the walk.
    MUINT32 uiAddress = uiStart;
    for (;;)
    {
        tagPinsBlock oBlock = {};
        if (roEeprom.Read(uiAddress, reinterpret_cast<MUINT8*>(&oBlock), sizeof(oBlock)) < 0)
        {
            QEL_ASSERT_REPORT_AT(REPORT_PINS_BLOCK_UNREADABLE);
            return 0;
        }
        uiAddress += sizeof(oBlock);
        if (oBlock.uiDataLenght == EEPROM_PINS_LENGTH_ZERO || oBlock.uiDataLenght == EEPROM_PINS_LENGTH_ERASED ||
            uiAddress > EEPROM_PINS_LIMIT_ADDR)
        {
            QEL_ASSERT_REPORT_AT(REPORT_PINS_BLOCK_BAD_LENGTH);
            return 0;
        }
        uiAddress += oBlock.uiDataLenght;
        if (oBlock.uiSignature == PINS10_SIGNATURE_END)
        {
            break;
        }
    }

    const MUINT32 uiSize = uiAddress - uiStart;
    if (uiSize == 0)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PINS_EMPTY);
        return 0;
    }
    MUINT8* puiPins = new (std::nothrow) MUINT8[uiSize];
    if (puiPins == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_PINS_NO_MEMORY);
        return 0;
    }
    // The whole chain in one transaction: every bit costs several register accesses.
    if (roEeprom.Read(uiStart, puiPins, uiSize) < 0 || !Pins10Validate(puiPins, uiSize))
    {
        QEL_ASSERT_REPORT_AT(REPORT_PINS_UNREADABLE_OR_INVALID);
        delete[] puiPins;
        return 0;
    }
    rpuiPins = puiPins;
    ruiSize = uiSize;
    return 1;
}

MBOOL32 XContextConstructHb4::ExtractBoardData(const MUINT8* puiPins, XContext& roContext, int& riOnBoard,
                                               int& riOnPrimaryBus, int& riExternal)
{
    riOnBoard = 0;
    riOnPrimaryBus = 0;
    riExternal = 0;

    tagPins10Cpu oCpu = {};
    if (!XPins10Helper::GetCpuInfo(puiPins, &oCpu))
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_CPU_RECORD);
        return 0;
    }
    const int iOnBoard = (oCpu.uiCpuOptions & PINS10_CPU_ON_BOARD) ? 1 : 0;
    const int iOnPrimaryBus = (oCpu.uiCpuOptions & PINS10_CPU_ON_PRIMARY_BUS) ? 1 : 0;
    const int iExternal = (oCpu.uiCpuOptions & PINS10_CPU_EXTERNAL_AVAILABLE) ? 1 : 0;
    riOnBoard = iOnBoard;
    riOnPrimaryBus = iOnPrimaryBus;
    riExternal = iExternal;
    if (!(iOnBoard && iExternal))
    {
        return 1;
    }

    // A processor that may sit on the board or outside it: the board decodes I/O cycles only
    // when its processor is on the primary bus. A probe that disagrees with the record means
    // neither processor is there.
    if (roContext.m_poHwAccess == nullptr)
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_HW_ACCESS);
        return 0;
    }
    const int iProbe = ProbeIoSpace(roContext.m_poHwAccess->m_roCfg) ? 1 : 0;
    if (iProbe != iOnPrimaryBus)
    {
        riOnBoard = 0;
        riExternal = 0;
    }

    tagPins10Header oHeader = {};
    if (!XPins10Helper::GetPinsHeader(puiPins, &oHeader))
    {
        QEL_ASSERT_REPORT_AT(REPORT_NO_HEADER_RECORD);
        return 0;
    }

    if (iProbe != iOnPrimaryBus || !iExternal || oHeader.uiPcbInfo.uPcbNum != PCB_NUMBER_STRAPPED_PROCESSOR)
    {
        riOnPrimaryBus = iProbe;
        return 1;
    }
    if (iProbe)
    {
        riOnPrimaryBus = 1;
        riExternal = 1;
        return 1;
    }
    return ReadProcessorStraps(roContext, riOnPrimaryBus, riExternal);
}
