#include "BenchRigs.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "QelVxdSimRig.h"

namespace
{
bool DefaultBoard(SQelSimRigDesc& roRig, std::string& rsError)
{
    if (!CQelSimRigLoader::Default(roRig, rsError))
    {
        return false;
    }
    if (roRig.aoBoards.size() != 1)
    {
        rsError = "the default rig does not hold one board";
        return false;
    }
    return true;
}
}  // namespace

bool QelBench_WriteBoardImage(const std::string& rsPath, std::string& rsError)
{
    SQelSimRigDesc oRig;
    if (!DefaultBoard(oRig, rsError))
    {
        return false;
    }
    const std::vector<MUINT8> aucImage = oRig.aoBoards.front().oFlash.UsedImage();
    std::ofstream oImage(rsPath, std::ios::binary);
    oImage.write(reinterpret_cast<const char*>(aucImage.data()), (std::streamsize)aucImage.size());
    if (!oImage.good())
    {
        rsError = rsPath + ": cannot be written";
        return false;
    }
    return true;
}

std::string QelBench_RigText(unsigned uiBoards, bool bRealTime, const std::string& rsImage)
{
    SQelSimRigDesc oRig;
    std::string sError;
    if (!DefaultBoard(oRig, sError))
    {
        return "";
    }
    const SQelSimBoardDesc& roBoard = oRig.aoBoards.front();
    char acSubsystem[16];
    snprintf(acSubsystem, sizeof(acSubsystem), "0x%08X", roBoard.uiSubsystem);
    std::ostringstream oOut;
    oOut << "{\n  \"time\": \"" << (bRealTime ? "real" : "virtual") << "\",\n  \"bridges\": [\n";
    for (unsigned uiBoard = 0; uiBoard < uiBoards; ++uiBoard)
    {
        // Root ports 00:01.0 upwards, board n on bus n + 1.
        oOut << "    {\"bus\": 0, \"device\": " << uiBoard + 1 << ", \"function\": 0, \"secondary\": " << uiBoard + 1
             << ", \"subordinate\": " << uiBoard + 1 << "}" << (uiBoard + 1 < uiBoards ? ",\n" : "\n");
    }
    oOut << "  ],\n  \"boards\": [\n";
    for (unsigned uiBoard = 0; uiBoard < uiBoards; ++uiBoard)
    {
        oOut << "    {\"bus\": " << uiBoard + 1 << ", \"device\": 0, \"function\": 0, \"subsystem\": \"" << acSubsystem
             << "\", \"chip_revision\": " << roBoard.uiChipRevision
             << ", \"memory_size_code\": " << roBoard.uiMemorySizeCode << ", \"phys\": " << roBoard.uiPhyMask
             << ", \"eeprom\": {\"chip\": \"" << roBoard.poFlashChip->pszName << "\", \"image\": \"" << rsImage
             << "\"}}" << (uiBoard + 1 < uiBoards ? ",\n" : "\n");
    }
    oOut << "  ]\n}\n";
    return oOut.str();
}
