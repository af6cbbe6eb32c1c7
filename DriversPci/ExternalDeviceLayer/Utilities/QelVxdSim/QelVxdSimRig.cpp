#include "QelVxdSimRig.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "QelVxdBackend.h"
#include "QelVxdSimFiles.h"
#include "QelVxdSimTrace.h"

using json = nlohmann::json;

namespace
{
constexpr MUINT64 MAX_U8  = 0xFF;
constexpr MUINT64 MAX_U16 = 0xFFFF;
constexpr MUINT64 MAX_U32 = 0xFFFFFFFF;
// Vendor ids 0x0000 and 0xFFFF mean "no function here" to a bus scan.
constexpr MUINT64 MIN_VENDOR_ID = 0x0001;
constexpr MUINT64 MAX_VENDOR_ID = 0xFFFE;

// Link speeds 1 (2.5 Gb/s) to 5 (32 Gb/s); widths up to x32.
constexpr MUINT64 MAX_LINK_SPEED = 5;
constexpr MUINT64 MAX_LINK_WIDTH = 32;

std::string Quoted(const std::string& rs)
{
    return "\"" + rs + "\"";
}

// Reads the members of one JSON object of the rig, with the object's path ("boards[1]") in every
// message. Each accessor returns false after recording the first error.
class CRigObject
{
public:
    CRigObject(const json& roObject, std::string sPath, std::string& rsError)
        : m_roObject(roObject), m_sPath(std::move(sPath)), m_rsError(rsError)
    {
    }

    const std::string& Path() const { return m_sPath; }

    bool Fail(const std::string& rsWhat)
    {
        m_rsError = m_sPath + ": " + rsWhat;
        return false;
    }
    bool FailAt(const char* pszKey, const std::string& rsWhat)
    {
        m_rsError = m_sPath + "." + pszKey + ": " + rsWhat;
        return false;
    }

    bool IsObject() { return m_roObject.is_object() || Fail("expected an object, got " + Describe(m_roObject)); }

    bool OnlyKeys(std::initializer_list<const char*> aszAllowed)
    {
        for (auto it = m_roObject.begin(); it != m_roObject.end(); ++it)
        {
            bool bKnown = false;
            for (const char* pszAllowed : aszAllowed)
            {
                bKnown = bKnown || it.key() == pszAllowed;
            }
            if (!bKnown)
            {
                return Fail("unknown key " + Quoted(it.key()));
            }
        }
        return true;
    }

    bool Has(const char* pszKey) const { return m_roObject.contains(pszKey); }

    // Integer member: a JSON integer, or a string holding a decimal or "0x" hexadecimal number.
    bool Number(const char* pszKey, MUINT64 uiMin, MUINT64 uiMax, MUINT32& ruiValue, bool bRequired = false)
    {
        if (!Has(pszKey))
        {
            return !bRequired || Fail("missing key " + Quoted(pszKey));
        }
        MUINT64 uiValue = 0;
        if (!ParseNumber(m_roObject.at(pszKey), uiValue))
        {
            return FailAt(pszKey, "expected an integer or a \"0x...\" string, got " + Describe(m_roObject.at(pszKey)));
        }
        if (uiValue < uiMin || uiValue > uiMax)
        {
            return FailAt(pszKey, std::to_string(uiValue) + " is out of range " + std::to_string(uiMin) + ".." +
                                      std::to_string(uiMax));
        }
        ruiValue = (MUINT32)uiValue;
        return true;
    }

    bool Bool(const char* pszKey, bool& rbValue)
    {
        if (!Has(pszKey))
        {
            return true;
        }
        const json& roValue = m_roObject.at(pszKey);
        if (!roValue.is_boolean())
        {
            return FailAt(pszKey, "expected true or false, got " + Describe(roValue));
        }
        rbValue = roValue.get<bool>();
        return true;
    }

    bool String(const char* pszKey, std::string& rsValue)
    {
        if (!Has(pszKey))
        {
            return true;
        }
        const json& roValue = m_roObject.at(pszKey);
        if (!roValue.is_string() || roValue.get<std::string>().empty())
        {
            return FailAt(pszKey, "expected a non-empty string, got " + Describe(roValue));
        }
        rsValue = roValue.get<std::string>();
        return true;
    }

    // PCI location from "bus", "device", "function" (all required).
    bool Location(PCIHANDLE& rhLocation)
    {
        MUINT32 uiBus = 0, uiDevice = 0, uiFunction = 0;
        if (!Number("bus", 0, MAX_U8, uiBus, true) || !Number("device", 0, 31, uiDevice, true) ||
            !Number("function", 0, 7, uiFunction, true))
        {
            return false;
        }
        rhLocation = (PCIHANDLE)((uiBus << 8) | (uiDevice << 3) | uiFunction);
        return true;
    }

    static bool ParseNumber(const json& roValue, MUINT64& ruiValue)
    {
        if (roValue.is_number_unsigned())
        {
            ruiValue = roValue.get<MUINT64>();
            return true;
        }
        if (!roValue.is_string())
        {
            return false;
        }
        const std::string sText   = roValue.get<std::string>();
        const bool bHex           = sText.size() > 2 && sText[0] == '0' && (sText[1] == 'x' || sText[1] == 'X');
        const std::string sDigits = bHex ? sText.substr(2) : sText;
        if (sDigits.empty() || sDigits.size() > 16 ||
            sDigits.find_first_not_of(bHex ? "0123456789abcdefABCDEF" : "0123456789") != std::string::npos)
        {
            return false;
        }
        errno    = 0;
        ruiValue = strtoull(sDigits.c_str(), nullptr, bHex ? 16 : 10);
        return errno == 0;
    }

    static std::string Describe(const json& roValue)
    {
        std::string sText = roValue.dump();
        if (sText.size() > 40)
        {
            sText = sText.substr(0, 37) + "...";
        }
        return sText;
    }

    const json& m_roObject;

private:
    std::string m_sPath;
    std::string& m_rsError;
};

// Parses JSON text, rejecting an object that names the same key twice (the parser would keep the
// last one silently).
bool ParseJson(const std::string& rsText, json& roDocument, std::string& rsError)
{
    std::vector<std::set<std::string>> aoKeysByDepth;
    std::string sDuplicate;
    const json::parser_callback_t pfnCallback = [&](int, json::parse_event_t eEvent, json& roParsed) {
        if (eEvent == json::parse_event_t::object_start)
        {
            aoKeysByDepth.emplace_back();
        }
        else if (eEvent == json::parse_event_t::object_end && !aoKeysByDepth.empty())
        {
            aoKeysByDepth.pop_back();
        }
        else if (eEvent == json::parse_event_t::key && !aoKeysByDepth.empty() && roParsed.is_string() &&
                 !aoKeysByDepth.back().insert(roParsed.get<std::string>()).second && sDuplicate.empty())
        {
            sDuplicate = roParsed.get<std::string>();
        }
        return true;
    };
    try
    {
        roDocument = json::parse(rsText, pfnCallback);
    }
    catch (const json::exception& roError)
    {
        // "[json.exception.parse_error.101] parse error at line 2, column 3: ..." -> from "parse error".
        std::string sWhat    = roError.what();
        const size_t uiStart = sWhat.find("] ");
        rsError              = "bad JSON: " + (uiStart == std::string::npos ? sWhat : sWhat.substr(uiStart + 2));
        return false;
    }
    if (!sDuplicate.empty())
    {
        rsError = "bad JSON: key " + Quoted(sDuplicate) + " appears twice in one object";
        return false;
    }
    return true;
}

bool ParseEeprom(CRigObject& roBoardObject, const std::string& rsBaseDirectory, SQelSimBoardDesc& roBoard,
                 std::string& rsError)
{
    std::string sChip = "W25Q64FV";
    std::string sImage;
    bool bBlank = false;
    if (roBoardObject.Has("eeprom"))
    {
        CRigObject oEeprom(roBoardObject.m_roObject.at("eeprom"), roBoardObject.Path() + ".eeprom", rsError);
        if (!oEeprom.IsObject() || !oEeprom.OnlyKeys({"chip", "image", "blank"}) || !oEeprom.String("chip", sChip) ||
            !oEeprom.String("image", sImage) || !oEeprom.Bool("blank", bBlank))
        {
            return false;
        }
        if (!sImage.empty() && bBlank)
        {
            return oEeprom.Fail("\"image\" and \"blank\": true exclude each other");
        }
        if (sImage.empty() && !bBlank)
        {
            return oEeprom.Fail("give an \"image\" file or \"blank\": true");
        }
        roBoard.poFlashChip = QelVxdSim_FindFlashChip(sChip);
        if (roBoard.poFlashChip == nullptr)
        {
            return oEeprom.FailAt("chip",
                                  "unknown chip " + Quoted(sChip) + " (known: " + QelVxdSim_FlashChipNames() + ")");
        }
        roBoard.oFlash = CQelSimFlashContent(roBoard.poFlashChip->uiSize);
        if (!sImage.empty())
        {
            roBoard.sFlashImagePath = QelVxdSim_ResolvePath(rsBaseDirectory, sImage);
            CQelSimFlashContent& roFlash = roBoard.oFlash;
            std::string sWhy;
            if (!QelVxdSim_ReadFileInPieces(
                    roBoard.sFlashImagePath, roFlash.size(), "the " + sChip + " stores",
                    [&](size_t uiAt, const MUINT8* pucPiece, size_t uiSize) {
                        roFlash.Write((MUINT32)uiAt, pucPiece, (MUINT32)uiSize);
                    },
                    sWhy))
            {
                return oEeprom.FailAt("image", sWhy);
            }
        }
        return true;
    }
    roBoard.poFlashChip = QelVxdSim_FindFlashChip(sChip);
    roBoard.oFlash      = CQelSimFlashContent(roBoard.poFlashChip->uiSize);
    return true;
}

// A fault whose value is a count or -1 ("always"), or a list of indices or names (each at most
// once), turned into the value that the fault's row applies.
bool ParseFaultValue(CRigObject& roFaults, const SQelSimFaultSpec& roRow, MUINT32& ruiValue)
{
    const json& roValue = roFaults.m_roObject.at(roRow.pszName);
    if (roRow.eType == EQelSimFaultType::CountOrAlways)
    {
        if (roValue.is_number_integer() && roValue.get<MINT64>() == -1)
        {
            ruiValue = QELSIM_FAULT_ALWAYS;
            return true;
        }
        return roFaults.Number(roRow.pszName, roRow.uiMin, roRow.uiMax, ruiValue);
    }
    const bool bNames = roRow.eType == EQelSimFaultType::NameList;
    if (!roValue.is_array())
    {
        return roFaults.FailAt(roRow.pszName, std::string("expected a list of ") + (bNames ? "names" : "indices") +
                                                   ", got " + CRigObject::Describe(roValue));
    }
    ruiValue = 0;
    for (size_t uiItem = 0; uiItem < roValue.size(); ++uiItem)
    {
        const json& roItem = roValue[uiItem];
        const std::string sAt = std::string(roRow.pszName) + "[" + std::to_string(uiItem) + "]";
        MUINT64 uiBit = 0;
        if (bNames)
        {
            std::string sKnown;
            uiBit = roRow.uiNameCount;
            for (MUINT32 uiName = 0; uiName < roRow.uiNameCount; ++uiName)
            {
                uiBit = roItem.is_string() && roItem.get<std::string>() == roRow.ppszNames[uiName] ? uiName : uiBit;
                sKnown += uiName == 0 ? "" : ", ";
                sKnown += roRow.ppszNames[uiName];
            }
            if (uiBit == roRow.uiNameCount)
            {
                return roFaults.FailAt(sAt.c_str(), "unknown name " + CRigObject::Describe(roItem) + " (known: " + sKnown + ")");
            }
        }
        else if (!CRigObject::ParseNumber(roItem, uiBit) || uiBit < roRow.uiMin || uiBit > roRow.uiMax)
        {
            return roFaults.FailAt(sAt.c_str(), "expected an index " + std::to_string(roRow.uiMin) + ".." +
                                                    std::to_string(roRow.uiMax) + ", got " + CRigObject::Describe(roItem));
        }
        if ((ruiValue & (1u << uiBit)) != 0)
        {
            return roFaults.FailAt(sAt.c_str(), CRigObject::Describe(roItem) + " is listed twice");
        }
        ruiValue |= 1u << uiBit;
    }
    return true;
}

bool ParseFaults(CRigObject& roBoardObject, SQelSimBoardDesc& roBoard, std::string& rsError)
{
    if (!roBoardObject.Has("faults"))
    {
        return true;
    }
    CRigObject oFaults(roBoardObject.m_roObject.at("faults"), roBoardObject.Path() + ".faults", rsError);
    if (!oFaults.IsObject())
    {
        return false;
    }
    for (auto it = oFaults.m_roObject.begin(); it != oFaults.m_roObject.end(); ++it)
    {
        const SQelSimFaultSpec* poSpec = QelVxdSim_FindFault(it.key());
        if (poSpec == nullptr)
        {
            return oFaults.Fail("unknown fault " + Quoted(it.key()));
        }
        MUINT32 uiValue = 0;
        if (poSpec->eType == EQelSimFaultType::Bool)
        {
            bool bValue = false;
            if (!oFaults.Bool(poSpec->pszName, bValue))
            {
                return false;
            }
            uiValue = bValue ? 1 : 0;
        }
        else if (poSpec->eType != EQelSimFaultType::Integer)
        {
            if (!ParseFaultValue(oFaults, *poSpec, uiValue))
            {
                return false;
            }
        }
        else if (!oFaults.Number(poSpec->pszName, poSpec->uiMin, poSpec->uiMax, uiValue))
        {
            return false;
        }
        poSpec->pfnApply(roBoard.oFaults, uiValue);
    }
    return true;
}

bool ParseBoard(CRigObject& roObject, const std::string& rsBaseDirectory, SQelSimBoardDesc& roBoard,
                std::string& rsError)
{
    return roObject.IsObject() &&
           roObject.OnlyKeys({"bus", "device", "function", "vendor_id", "device_id", "subsystem", "chip_revision",
                              "memory_size_code", "bar64", "phys", "oscillator_khz", "link_width", "link_speed",
                              "marker", "eeprom", "faults"}) &&
           roObject.Location(roBoard.hLocation) &&
           roObject.Number("vendor_id", MIN_VENDOR_ID, MAX_VENDOR_ID, roBoard.uiVendorId) &&
           roObject.Number("device_id", 0, MAX_U16, roBoard.uiDeviceId) &&
           roObject.Number("subsystem", 0, MAX_U32, roBoard.uiSubsystem) &&
           roObject.Number("chip_revision", 0, 1, roBoard.uiChipRevision) &&
           roObject.Number("memory_size_code", 0, 3, roBoard.uiMemorySizeCode) &&
           roObject.Bool("bar64", roBoard.bBar64) && roObject.Number("phys", 0, 0xF, roBoard.uiPhyMask) &&
           roObject.Number("oscillator_khz", 1, MAX_U32, roBoard.uiOscillatorKhz) &&
           roObject.Number("link_width", 1, MAX_LINK_WIDTH, roBoard.uiLinkWidth) &&
           roObject.Number("link_speed", 1, MAX_LINK_SPEED, roBoard.uiLinkSpeed) &&
           roObject.Number("marker", 0, MAX_U32, roBoard.uiMarker) &&
           ParseEeprom(roObject, rsBaseDirectory, roBoard, rsError) && ParseFaults(roObject, roBoard, rsError);
}

bool ParseBridge(CRigObject& roObject, SQelSimBridgeDesc& roBridge)
{
    if (!roObject.IsObject() ||
        !roObject.OnlyKeys({"bus", "device", "function", "vendor_id", "device_id", "secondary", "subordinate",
                            "link_speed", "link_width"}) ||
        !roObject.Location(roBridge.hLocation) ||
        !roObject.Number("vendor_id", MIN_VENDOR_ID, MAX_VENDOR_ID, roBridge.uiVendorId) ||
        !roObject.Number("device_id", 0, MAX_U16, roBridge.uiDeviceId) ||
        !roObject.Number("secondary", 1, MAX_U8, roBridge.uiSecondaryBus, true) ||
        !roObject.Number("subordinate", 1, MAX_U8, roBridge.uiSubordinateBus, true) ||
        !roObject.Number("link_speed", 1, MAX_LINK_SPEED, roBridge.uiLinkSpeed) ||
        !roObject.Number("link_width", 1, MAX_LINK_WIDTH, roBridge.uiLinkWidth))
    {
        return false;
    }
    const MUINT32 uiBus = (MUINT32)(roBridge.hLocation >> 8);
    if (roBridge.uiSecondaryBus <= uiBus || roBridge.uiSubordinateBus < roBridge.uiSecondaryBus)
    {
        return roObject.Fail("bus numbers must satisfy bus < secondary <= subordinate (bus " + std::to_string(uiBus) +
                             ", secondary " + std::to_string(roBridge.uiSecondaryBus) + ", subordinate " +
                             std::to_string(roBridge.uiSubordinateBus) + ")");
    }
    return true;
}

bool ParseDevice(CRigObject& roObject, SQelSimDeviceDesc& roDevice)
{
    return roObject.IsObject() &&
           roObject.OnlyKeys({"bus", "device", "function", "vendor_id", "device_id", "subsystem"}) &&
           roObject.Location(roDevice.hLocation) &&
           roObject.Number("vendor_id", MIN_VENDOR_ID, MAX_VENDOR_ID, roDevice.uiVendorId, true) &&
           roObject.Number("device_id", 0, MAX_U16, roDevice.uiDeviceId, true) &&
           roObject.Number("subsystem", 0, MAX_U32, roDevice.uiSubsystem);
}

// Runs the parser of one list ("devices", "bridges", "boards") over its entries.
template <class TDesc, class TParse>
bool ParseList(CRigObject& roRig, const char* pszKey, std::vector<TDesc>& raoOut, TParse pfnParse, std::string& rsError)
{
    if (!roRig.Has(pszKey))
    {
        return true;
    }
    const json& roList = roRig.m_roObject.at(pszKey);
    if (!roList.is_array())
    {
        return roRig.FailAt(pszKey, "expected a list, got " + CRigObject::Describe(roList));
    }
    for (size_t uiIndex = 0; uiIndex < roList.size(); ++uiIndex)
    {
        CRigObject oEntry(roList[uiIndex], std::string(pszKey) + "[" + std::to_string(uiIndex) + "]", rsError);
        TDesc oDesc;
        if (!pfnParse(oEntry, oDesc))
        {
            return false;
        }
        raoOut.push_back(std::move(oDesc));
    }
    return true;
}

// Every location is used once, and every device that has functions above 0 has a function 0
// (the bus scan never looks past an absent function 0).
bool CheckLocations(const SQelSimRigDesc& roRig, std::string& rsError)
{
    std::map<PCIHANDLE, std::string> oUsedBy;
    std::vector<std::pair<PCIHANDLE, std::string>> aoAll;
    for (size_t ui = 0; ui < roRig.aoDevices.size(); ++ui)
    {
        aoAll.emplace_back(roRig.aoDevices[ui].hLocation, "devices[" + std::to_string(ui) + "]");
    }
    for (size_t ui = 0; ui < roRig.aoBridges.size(); ++ui)
    {
        aoAll.emplace_back(roRig.aoBridges[ui].hLocation, "bridges[" + std::to_string(ui) + "]");
    }
    for (size_t ui = 0; ui < roRig.aoBoards.size(); ++ui)
    {
        aoAll.emplace_back(roRig.aoBoards[ui].hLocation, "boards[" + std::to_string(ui) + "]");
    }
    for (const auto& roEntry : aoAll)
    {
        auto itUsed = oUsedBy.find(roEntry.first);
        if (itUsed != oUsedBy.end())
        {
            rsError = roEntry.second + ": PCI location " + QelVxdSim_FormatLocation(roEntry.first) +
                      " is already taken by " + itUsed->second;
            return false;
        }
        oUsedBy[roEntry.first] = roEntry.second;
    }
    for (const auto& roEntry : aoAll)
    {
        if ((roEntry.first & 7) != 0 && oUsedBy.count(roEntry.first & ~(PCIHANDLE)7) == 0)
        {
            rsError = roEntry.second + ": " + QelVxdSim_FormatLocation(roEntry.first) + " has no function 0 at " +
                      QelVxdSim_FormatLocation(roEntry.first & ~(PCIHANDLE)7) + ", so no bus scan would find it";
            return false;
        }
    }
    return true;
}

std::string DefaultStatePath()
{
    const char* pszRuntime = getenv("XDG_RUNTIME_DIR");
    return std::string(pszRuntime != nullptr && *pszRuntime != 0 ? pszRuntime : "/tmp") +
           "/qelvxd-sim-default.state.json";
}

// A rig file read for the state file it names, kept for the load that follows. The boards are
// locked by that state file before the simulator loads the rig, and the simulator then builds
// the rig from these very bytes: had the file been replaced in between, it would otherwise load a
// rig whose state the lock does not cover. The file is read and parsed once, too.
struct SHeldRig
{
    std::string sPath;   // empty: nothing held
    json oDocument;
};

SHeldRig& HeldRig()
{
    static SHeldRig s_oRig;
    return s_oRig;
}

bool ReadRigFile(const std::string& rsPath, json& roDocument, std::string& rsError)
{
    std::vector<MUINT8> aucText;
    return QelVxdSim_ReadFile(rsPath, QELVXD_SIM_MAX_TEXT_FILE, "a rig file may hold", aucText, rsError) &&
           ParseJson(std::string(aucText.begin(), aucText.end()), roDocument, rsError);
}

bool RigFromDocument(const json& roDocument, const std::string& rsBaseDirectory, SQelSimRigDesc& roRig,
                     std::string& rsError)
{
    CRigObject oRig(roDocument, "rig", rsError);
    std::string sTime = "virtual";
    std::string sState;
    if (!oRig.IsObject() || !oRig.OnlyKeys({"time", "state", "devices", "bridges", "boards"}) ||
        !oRig.String("time", sTime) || !oRig.String("state", sState))
    {
        return false;
    }
    if (sTime != "virtual" && sTime != "real")
    {
        return oRig.FailAt("time", "expected \"virtual\" or \"real\", got " + Quoted(sTime));
    }
    roRig.eTime      = sTime == "real" ? EQelSimTime::Real : EQelSimTime::Virtual;
    roRig.sStatePath = sState.empty() ? "" : QelVxdSim_ResolvePath(rsBaseDirectory, sState);
    return ParseList(oRig, "devices", roRig.aoDevices, ParseDevice, rsError) &&
           ParseList(oRig, "bridges", roRig.aoBridges, ParseBridge, rsError) &&
           ParseList(
               oRig, "boards", roRig.aoBoards,
               [&](CRigObject& roObject, SQelSimBoardDesc& roBoard) {
                   return ParseBoard(roObject, rsBaseDirectory, roBoard, rsError);
               },
               rsError) &&
           CheckLocations(roRig, rsError);
}
}  // namespace

bool CQelSimRigLoader::FromText(const std::string& rsText, const std::string& rsBaseDirectory, SQelSimRigDesc& roRig,
                                std::string& rsError)
{
    json oDocument;
    return ParseJson(rsText, oDocument, rsError) && RigFromDocument(oDocument, rsBaseDirectory, roRig, rsError);
}

bool CQelSimRigLoader::FromFile(const std::string& rsPath, SQelSimRigDesc& roRig, std::string& rsError)
{
    roRig.sName = rsPath;
    json oDocument;
    SHeldRig& roHeld = HeldRig();
    if (!roHeld.sPath.empty() && roHeld.sPath == rsPath)
    {
        oDocument = std::move(roHeld.oDocument);
        roHeld    = SHeldRig();
    }
    else if (!ReadRigFile(rsPath, oDocument, rsError))
    {
        return false;
    }
    return RigFromDocument(oDocument, QelVxdSim_DirectoryOf(rsPath), roRig, rsError);
}

bool CQelSimRigLoader::Default(SQelSimRigDesc& roRig, std::string& rsError)
{
    roRig                  = SQelSimRigDesc();
    roRig.sName            = "default";
    roRig.sStatePath       = DefaultStatePath();

    SQelSimBridgeDesc oRootPort;
    oRootPort.hLocation        = (0 << 8) | (0x1c << 3) | 0;
    oRootPort.uiSecondaryBus   = 3;
    oRootPort.uiSubordinateBus = 3;
    roRig.aoBridges.push_back(oRootPort);

    SQelSimBoardDesc oBoard;
    oBoard.hLocation        = 3 << 8;
    oBoard.uiSubsystem      = 0x0A011E5B;
    oBoard.uiChipRevision   = 1;
    oBoard.uiMemorySizeCode = 3;
    oBoard.uiPhyMask        = 0xF;
    oBoard.poFlashChip      = QelVxdSim_FindFlashChip("W25Q64FV");
    oBoard.oFlash           = CQelSimFlashContent(oBoard.poFlashChip->uiSize);
    if (g_uiQelVxdSimDefaultPinsSize > 0)
    {
        if (QELSIM_DEFAULT_PINS_ADDRESS + g_uiQelVxdSimDefaultPinsSize > EEPROM_PINS_POINTER_ADDR)
        {
            rsError = "the built-in parameter block (" + std::to_string(g_uiQelVxdSimDefaultPinsSize) +
                      " bytes) does not fit below the flash pointer word";
            return false;
        }
        const MUINT8 aucPointer[] = {(MUINT8)(QELSIM_DEFAULT_PINS_ADDRESS & 0xFF),
                                     (MUINT8)(QELSIM_DEFAULT_PINS_ADDRESS >> 8)};
        oBoard.oFlash.Write(QELSIM_DEFAULT_PINS_ADDRESS, g_aucQelVxdSimDefaultPins, g_uiQelVxdSimDefaultPinsSize);
        oBoard.oFlash.Write(EEPROM_PINS_POINTER_ADDR, aucPointer, sizeof(aucPointer));
    }
    roRig.aoBoards.push_back(std::move(oBoard));
    return true;
}

std::string CQelSimRigLoader::StatePathOf(const std::string& rsRig)
{
    if (rsRig == "default")
    {
        return DefaultStatePath();
    }
    std::string sError;
    SHeldRig& roHeld = HeldRig();
    roHeld           = SHeldRig();
    if (!ReadRigFile(rsRig, roHeld.oDocument, sError) || !roHeld.oDocument.is_object())
    {
        return "";
    }
    roHeld.sPath = rsRig;
    const auto itState = roHeld.oDocument.find("state");
    if (itState == roHeld.oDocument.end() || !itState->is_string() || itState->get<std::string>().empty())
    {
        return "";
    }
    return QelVxdSim_ResolvePath(QelVxdSim_DirectoryOf(rsRig), itState->get<std::string>());
}

const char* QelVxdSimLockPath(const char* pszRig)
{
    // Only the state path is needed, so the boards (and their flash images) are not loaded here; a
    // rig that does not load takes no lock and is reported when the simulator loads it.
    static std::string s_sLockPath;
    const std::string sStatePath = CQelSimRigLoader::StatePathOf(pszRig);
    s_sLockPath                  = sStatePath.empty() ? "" : sStatePath + ".lock";
    return s_sLockPath.c_str();
}
