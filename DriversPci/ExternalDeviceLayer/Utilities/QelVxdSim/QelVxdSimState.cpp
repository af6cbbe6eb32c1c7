#include "QelVxdSimState.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "QelVxdSimBoard.h"
#include "QelVxdSimFiles.h"
#include "QelVxdSimTrace.h"

using json = nlohmann::json;

namespace
{
std::string Hex(MUINT32 uiValue, int iDigits)
{
    char szText[16];
    snprintf(szText, sizeof(szText), "0x%0*x", iDigits, uiValue);
    return szText;
}

bool ParseHex(const std::string& rsText, MUINT32& ruiValue)
{
    unsigned int uiValue = 0;
    int iUsed            = 0;
    if (rsText.size() < 3 || rsText.size() > 10 || rsText.compare(0, 2, "0x") != 0 ||
        sscanf(rsText.c_str() + 2, "%x%n", &uiValue, &iUsed) != 1 || (size_t)iUsed != rsText.size() - 2)
    {
        return false;
    }
    ruiValue = uiValue;
    return true;
}

bool ParseLocation(const std::string& rsText, PCIHANDLE& rhLocation)
{
    unsigned int uiBus = 0, uiDevice = 0, uiFunction = 0;
    int iUsed = 0;
    if (sscanf(rsText.c_str(), "%2x:%2x.%1x%n", &uiBus, &uiDevice, &uiFunction, &iUsed) != 3 ||
        (size_t)iUsed != rsText.size() || uiDevice > 31 || uiFunction > 7)
    {
        return false;
    }
    rhLocation = (PCIHANDLE)((uiBus << 8) | (uiDevice << 3) | uiFunction);
    return true;
}
}  // namespace

bool CQelSimStateStore::Load(TQelSimBoardState& roState, std::string& rsError) const
{
    roState.clear();
    struct stat oInfo;
    if (stat(m_sPath.c_str(), &oInfo) != 0 && errno == ENOENT)
    {
        return true;
    }
    std::vector<MUINT8> aucText;
    if (!QelVxdSim_ReadFile(m_sPath, QELVXD_SIM_MAX_TEXT_FILE, "a state file may hold", aucText, rsError))
    {
        return false;
    }
    const std::string sBroken = "state file \"" + m_sPath + "\" is damaged (delete it to power-cycle the rig): ";
    json oDocument;
    try
    {
        oDocument = json::parse(aucText.begin(), aucText.end());
    }
    catch (const json::exception&)
    {
        rsError = sBroken + "not JSON";
        return false;
    }
    if (!oDocument.is_object() || oDocument.size() != 1 || !oDocument.contains("boards") ||
        !oDocument["boards"].is_object())
    {
        rsError = sBroken + "expected {\"boards\": {...}}";
        return false;
    }
    for (auto itBoard = oDocument["boards"].begin(); itBoard != oDocument["boards"].end(); ++itBoard)
    {
        PCIHANDLE hLocation = 0;
        if (!ParseLocation(itBoard.key(), hLocation) || !itBoard.value().is_object())
        {
            rsError = sBroken + "bad board entry \"" + itBoard.key() + "\"";
            return false;
        }
        for (auto itReg = itBoard.value().begin(); itReg != itBoard.value().end(); ++itReg)
        {
            MUINT32 uiOffset = 0, uiValue = 0;
            if (!ParseHex(itReg.key(), uiOffset) || !itReg.value().is_string() ||
                !ParseHex(itReg.value().get<std::string>(), uiValue))
            {
                rsError = sBroken + "bad register entry \"" + itReg.key() + "\" of " + itBoard.key();
                return false;
            }
            roState[hLocation][uiOffset] = uiValue;
        }
    }
    return true;
}

bool CQelSimStateStore::Save(const std::vector<CQelSimBoard*>& rapoBoards, std::string& rsError) const
{
    json oBoards = json::object();
    for (const CQelSimBoard* poBoard : rapoBoards)
    {
        json oRegisters = json::object();
        for (MUINT32 uiOffset : CQelSimBoard::PersistentRegisters())
        {
            if (poBoard->Registers().IsPersistent(uiOffset))
            {
                oRegisters[Hex(uiOffset, 0)] = Hex(poBoard->PeekReg(uiOffset), 8);
            }
        }
        oBoards[QelVxdSim_FormatLocation(poBoard->Location())] = oRegisters;
    }
    const std::string sText = json{{"boards", oBoards}}.dump(2) + "\n";
    return QelVxdSim_WriteFileAtomic(m_sPath, sText.data(), sText.size(), rsError);
}
