// A board's flash holds whatever was last written to it: a good parameter block, a half-written
// one, another product's data, or nothing. This target puts arbitrary flash content on a
// simulated board and runs the builder's whole population path over the platform layer: the
// flash is identified and read bit by bit through the chip's EEPROM bypass, the pointer is
// followed, the chain is walked, read and validated, merged with the model's built-in block (or
// replaced by it), fanless models lose their fan, and the board record is filled. Waits run in
// virtual time.
//
// Input:
//   byte 0     the board's model (its subsystem word), from the table below
//   bytes 1-2  the little-endian pointer to the parameter block, at its flash address
//   the rest   the flash content from address 0 (unwritten bytes read erased, 0xFF)
// Besides memory errors the target checks that the population path never changes the flash.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "QelVxdPrivate.h"
#include "QelVxdSim.h"
#include "XContext.h"
#include "XContextConstructHb4.h"
#include "XContextConstructHb4MemInit.h"
#include "XContextMgr.h"
#include "XHb4DefaultPins.h"

namespace
{

// Models with a built-in block of their own, and a word that gets the generic block.
constexpr MUINT32 SUBSYSTEMS[] = {E_SUB_SYS_ID_REF_QUAD_PHY, E_SUB_SYS_ID_REF_DUAL_PHY, E_SUB_SYS_ID_REF_FANLESS,
                                  E_SUB_SYS_ID_DEFAULT};

// A 128 KiB part: it holds the pointer, and a rig load stays cheap.
std::string Rig(MUINT32 uiSubsystem)
{
    char szSubsystem[16];
    std::snprintf(szSubsystem, sizeof(szSubsystem), "0x%08X", uiSubsystem);
    return std::string(R"({"bridges": [{"bus": 0, "device": 28, "function": 0, "secondary": 3, "subordinate": 3}],
                           "boards": [{"bus": 3, "device": 0, "function": 0, "subsystem": ")") +
           szSubsystem + R"(", "eeprom": {"chip": "M25P10", "blank": true}}]})";
}

void Populate()
{
    XContextMgr oMgr;
    oMgr.RegisterContextConstructor(new XContextConstructHb4MemInit(), XContextMgr::CreateDummyBufferMgr,
                                    XContextMgr::CreateDummyCounterMgr, XContextMgr::CreateDummyInterruptMgr);
    XContext* poContext = nullptr;
    FuzzRequire(oMgr.PopulateXContext() && oMgr.GetContext(0, poContext) && poContext != nullptr, "rig",
                "board not found");
    auto* poBuilder = static_cast<XContextConstructHb4MemInit*>(oMgr.GetContextConstruct(0));
    FuzzRequire(poBuilder != nullptr, "rig", "board has no builder");
    poBuilder->ReadEepromAndPopulateXContext(*poContext);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // A trace of every register access would cost more than the run itself.
    unsetenv("QELVXD_SIM_TRACE");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* puiData, std::size_t uiSize)
{
    CFuzzInput oInput(puiData, uiSize);
    const MUINT32 uiSubsystem = SUBSYSTEMS[oInput.U8() % (sizeof(SUBSYSTEMS) / sizeof(SUBSYSTEMS[0]))];
    const MUINT8 auiPointer[XHb4BoardData::EEPROM_PINS_POINTER_SIZE] = {oInput.U8(), oInput.U8()};
    const CFuzzInput oImage = oInput.Rest();

    std::string sError;
    const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(Rig(uiSubsystem), ".", sError);
    FuzzRequire(poBackend != nullptr, "rig", sError.c_str());
    CQelSimBoard* poBoard = QelVxdSim_Board(3, 0, 0);
    FuzzRequire(poBoard != nullptr, "rig", "no board at 03:00.0");
    poBoard->WriteFlash(0, oImage.Data(), static_cast<MUINT32>(oImage.Size()));
    poBoard->WriteFlash(XHb4BoardData::EEPROM_PINS_POINTER_ADDR, auiPointer, sizeof(auiPointer));
    const CQelSimFlashContent oFlashBefore = poBoard->Flash();

    QelVxdSetBackendForTest(poBackend);
    Populate();
    QelVxdSetBackendForTest(nullptr);

    FuzzRequire(poBoard->Flash() == oFlashBefore, "population", "changed the flash");
    QelVxdSim_Unload();
    return 0;
}
