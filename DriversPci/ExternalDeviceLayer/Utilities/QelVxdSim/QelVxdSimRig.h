// Rig description: what a rig file (or the built-in default rig) puts on the simulated bus. The
// loader checks everything before anything is built: unknown keys, wrong types, values out of
// range, duplicate PCI locations, flash images that are missing or too large, unknown chips and
// unknown faults are errors with a message that names the offending entry.
#pragma once

#include <string>
#include <vector>

#include "QelBaseTypes.h"
#include "QelVxdSimClock.h"
#include "QelVxdSimFaults.h"
#include "QelVxdSimFlashChips.h"
#include "QelVxdSimFlashContent.h"

// Any other PCI function (never a supported board).
struct SQelSimDeviceDesc
{
    PCIHANDLE hLocation = 0;
    MUINT32 uiVendorId  = 0;
    MUINT32 uiDeviceId  = 0;
    MUINT32 uiSubsystem = 0;
};

// PCI-to-PCI bridge (root port or switch port) with a PCI Express link.
struct SQelSimBridgeDesc
{
    PCIHANDLE hLocation      = 0;
    MUINT32 uiVendorId       = 0x8086;
    MUINT32 uiDeviceId       = 0xA110;
    MUINT32 uiSecondaryBus   = 0;
    MUINT32 uiSubordinateBus = 0;
    MUINT32 uiLinkSpeed      = 2;
    MUINT32 uiLinkWidth      = 4;
};

struct SQelSimBoardDesc
{
    PCIHANDLE hLocation                 = 0;
    MUINT32 uiVendorId                  = 0x1E5B;
    MUINT32 uiDeviceId                  = 0x0550;
    MUINT32 uiSubsystem                 = 0x12341E5B;
    MUINT32 uiChipRevision              = 1;
    MUINT32 uiMemorySizeCode            = 3;
    bool bBar64                         = true;
    MUINT32 uiPhyMask                   = 0xF;
    MUINT32 uiOscillatorKhz             = 27000;
    MUINT32 uiLinkWidth                 = 4;
    MUINT32 uiLinkSpeed                 = 2;
    MUINT32 uiMarker                    = 0;
    const SQelSimFlashChip* poFlashChip = nullptr;
    CQelSimFlashContent oFlash;
    std::string sFlashImagePath;   // rewritten at exit when the content changed; empty: not kept
    SQelSimBoardFaults oFaults;
};

struct SQelSimRigDesc
{
    std::string sName;  // rig file path as given, or the rig's name
    EQelSimTime eTime = EQelSimTime::Virtual;
    std::string sStatePath;  // empty: no persisted state
    std::vector<SQelSimDeviceDesc> aoDevices;
    std::vector<SQelSimBridgeDesc> aoBridges;
    std::vector<SQelSimBoardDesc> aoBoards;
};

class CQelSimRigLoader
{
public:
    // Rig file: relative paths inside it are taken from the file's directory.
    static bool FromFile(const std::string& rsPath, SQelSimRigDesc& roRig, std::string& rsError);
    // Rig text: relative paths are taken from rsBaseDirectory.
    static bool FromText(const std::string& rsText, const std::string& rsBaseDirectory, SQelSimRigDesc& roRig,
                         std::string& rsError);
    // The default rig (QELVXD_SIM=default): one second-generation board at 03:00.0 behind a root
    // port at 00:1c.0, its flash holding the built-in parameter block, its state in
    // ${XDG_RUNTIME_DIR:-/tmp}/qelvxd-sim-default.state.json.
    static bool Default(SQelSimRigDesc& roRig, std::string& rsError);
    // The state file that a rig ("default" or a rig file) names, read without loading its boards;
    // empty when it names none or cannot be read. The rig file's document is kept, and the next
    // FromFile of the same path builds the rig from it rather than from the file as it is then.
    static std::string StatePathOf(const std::string& rsRig);
};

// Where the default rig keeps the parameter block in its flash, and the flash word that points
// at it (little-endian 16 bits).
inline constexpr MUINT32 QELSIM_DEFAULT_PINS_ADDRESS = 0x100;
inline constexpr MUINT32 EEPROM_PINS_POINTER_ADDR    = 0x1FE7C;

// The built-in parameter block of the default rig's board (QelVxdSimDefaultPins.cpp).
extern const unsigned char g_aucQelVxdSimDefaultPins[];
extern const unsigned int g_uiQelVxdSimDefaultPinsSize;
