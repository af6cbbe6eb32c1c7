// The pins10 command line.
#include "Pins10Tool.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "OsServices.h"
#include "Pins10Dump.h"
#include "Pins10Eeprom.h"
#include "Pins10Json.h"
#include "Pins10Layout.h"
#include "XHb4DefaultPins.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

namespace
{
// A command failed: the message is the one line shown to the user.
struct SToolError
{
    std::string szMessage;
};

std::vector<MUINT8> ReadFile(const std::string& rszPath)
{
    std::ifstream oIn(rszPath, std::ios::binary);
    if (!oIn)
        throw SToolError{rszPath + ": cannot be opened"};
    std::vector<MUINT8> auiData((std::istreambuf_iterator<char>(oIn)), std::istreambuf_iterator<char>());
    if (oIn.bad())
        throw SToolError{rszPath + ": read error"};
    if (auiData.size() > 0xFFFFFFFFu)
        throw SToolError{rszPath + ": too large"};
    return auiData;
}

void WriteFile(const std::string& rszPath, const std::vector<MUINT8>& rauiData, std::ostream& roOut)
{
    std::ofstream oFile(rszPath, std::ios::binary | std::ios::trunc);
    oFile.write(reinterpret_cast<const char*>(rauiData.data()), (std::streamsize)rauiData.size());
    oFile.close();
    if (!oFile)
        throw SToolError{rszPath + ": cannot be written"};
    roOut << "wrote " << rauiData.size() << " bytes to " << rszPath << "\n";
}

// A parameter block read from a file; refused with the reason when the board would refuse it.
std::vector<MUINT8> ReadValidBlock(const std::string& rszPath)
{
    std::vector<MUINT8> auiBlock = ReadFile(rszPath);
    std::string szReason;
    if (!Pins10Diagnose(auiBlock.data(), (MUINT32)auiBlock.size(), szReason))
        throw SToolError{rszPath + ": not a valid parameter block: " + szReason};
    return auiBlock;
}

MUINT64 ParseNumber(const std::string& rszText, MUINT64 uiMax, const char* pszWhat)
{
    errno = 0;
    char* pszEnd = nullptr;
    const unsigned long long uiValue = strtoull(rszText.c_str(), &pszEnd, 0);
    if (rszText.empty() || rszText[0] == '-' || *pszEnd != '\0' || errno != 0 || uiValue > uiMax)
        throw SToolError{std::string(pszWhat) + " '" + rszText + "' is not a number up to " + std::to_string(uiMax)};
    return uiValue;
}

// ---- Commands

void Dump(const std::string& rszPath, bool bJson, std::ostream& roOut)
{
    const std::vector<MUINT8> auiBlock = ReadFile(rszPath);
    std::string szReason;
    if (bJson)
    {
        CPins10Json oDescription;
        if (!Pins10BinaryToDescription(auiBlock.data(), (MUINT32)auiBlock.size(), oDescription, szReason))
            throw SToolError{rszPath + ": " + szReason};
        roOut << Pins10JsonText(oDescription);
        return;
    }
    if (!Pins10DumpText(auiBlock.data(), (MUINT32)auiBlock.size(), roOut, szReason))
        throw SToolError{rszPath + ": not a valid parameter block: " + szReason};
}

void Validate(const std::string& rszPath, std::ostream& roOut)
{
    std::vector<MUINT8> auiBlock = ReadValidBlock(rszPath);
    // The board's own validation must agree (it may rewrite an older header: use the copy).
    if (!Pins10Validate(auiBlock.data(), (MUINT32)auiBlock.size()))
        throw SToolError{rszPath + ": refused by the board's validation"};
    roOut << rszPath << ": valid parameter block of " << auiBlock.size() << " bytes\n";
}

void Build(const std::string& rszDescription, const std::string& rszOutput, std::ostream& roOut)
{
    const std::vector<MUINT8> auiText = ReadFile(rszDescription);
    CPins10Json oDescription;
    std::vector<MUINT8> auiBlock;
    std::string szError;
    if (!Pins10ParseJson(std::string(auiText.begin(), auiText.end()), oDescription, szError) ||
        !Pins10DescriptionToBinary(oDescription, auiBlock, szError))
        throw SToolError{rszDescription + ": " + szError};
    WriteFile(rszOutput, auiBlock, roOut);
}

// Names the single block kind that both blocks carry, which adding refuses.
std::string SharedSingleBlock(const std::vector<MUINT8>& rauiA, const std::vector<MUINT8>& rauiB)
{
    MUINT32 uiEndA = 0, uiEndB = 0;
    Pins10WalkChain(rauiA.data(), (MUINT32)rauiA.size(), &uiEndA);
    Pins10WalkChain(rauiB.data(), (MUINT32)rauiB.size(), &uiEndB);
    for (MUINT32 uiB = 0; uiB < uiEndB; uiB += sizeof(tagPinsBlock) + Pins10BlockLength(&rauiB[uiB]))
    {
        const MUINT16 uiSignature = Pins10BlockSignature(&rauiB[uiB]);
        if ((uiSignature & PINS10_SIGNATURE_LIST_FLAG) != 0 ||
            (uiSignature & PINS10_SIGNATURE_KIND_MASK) == PINS10_SIGNATURE_HEADER)
            continue;
        for (MUINT32 uiA = 0; uiA < uiEndA; uiA += sizeof(tagPinsBlock) + Pins10BlockLength(&rauiA[uiA]))
        {
            if (Pins10BlockSignature(&rauiA[uiA]) == uiSignature)
            {
                const SPins10Kind* poKind = Pins10FindKindBySignature(uiSignature);
                char szSignature[8];
                snprintf(szSignature, sizeof(szSignature), "0x%04X", uiSignature);
                return std::string(poKind ? poKind->pszTitle : "block") + " " + szSignature;
            }
        }
    }
    return "";
}

void Combine(bool bAdd, const std::string& rszA, const std::string& rszB, const std::string& rszOutput,
             std::ostream& roOut)
{
    std::vector<MUINT8> auiA = ReadValidBlock(rszA), auiB = ReadValidBlock(rszB);
    if (bAdd)
    {
        const std::string szShared = SharedSingleBlock(auiA, auiB);
        if (!szShared.empty())
            throw SToolError{"cannot add: both blocks carry a " + szShared + "; only lists can be added together"};
    }
    MUINT8* puiOut = nullptr;
    MUINT32 uiOutSize = 0;
    const MBOOL32 bOk = (bAdd ? XPins10Helper::AddPinsData : XPins10Helper::MergePinsData)(
        auiA.data(), (MUINT32)auiA.size(), auiB.data(), (MUINT32)auiB.size(), &puiOut, &uiOutSize);
    if (!bOk || puiOut == nullptr)
        throw SToolError{std::string(bAdd ? "adding" : "merging") + " failed (a combined list would not fit a block)"};
    std::vector<MUINT8> auiOut(puiOut, puiOut + uiOutSize);
    delete[] puiOut;
    WriteFile(rszOutput, auiOut, roOut);
}

void Extract(const std::string& rszImage, const std::string& rszOutput, std::ostream& roOut)
{
    std::vector<MUINT8> auiBlock;
    std::string szReason;
    if (!Pins10ExtractFromEeprom(ReadFile(rszImage), auiBlock, szReason))
        throw SToolError{rszImage + ": " + szReason};
    WriteFile(rszOutput, auiBlock, roOut);
}

void Default(const std::string& rszSubsys, const std::string& rszPcbInfo, const std::string& rszVariant,
             const std::string& rszOutput, std::ostream& roOut)
{
    const MUINT32 uiSubsysId = (MUINT32)ParseNumber(rszSubsys, 0xFFFFFFFFu, "subsystem word");
    tagPinsHeaderPcbInfo oPcbInfo = {};
    const tagPinsHeaderPcbInfo* poPcbInfo = nullptr;
    if (!rszPcbInfo.empty())
    {
        oPcbInfo.uiValue = (MUINT32)ParseNumber(rszPcbInfo, 0xFFFFFFFFu, "PCB info");
        poPcbInfo = &oPcbInfo;
    }
    const MUINT32 uiVariant = rszVariant.empty() ? 0 : (MUINT32)ParseNumber(rszVariant, 0xFFFFFFFFu, "variant");
    const MUINT32 uiSize = XHb4DefaultPins::GetDefaultPinsSize(uiSubsysId, poPcbInfo, uiVariant);
    const MUINT8* puiPins = XHb4DefaultPins::GetPinsContent(uiSubsysId, poPcbInfo, uiVariant);
    WriteFile(rszOutput, std::vector<MUINT8>(puiPins, puiPins + uiSize), roOut);
}
// The command line: its operands and the subcommand objects that say which one was given.
struct SCommandLine
{
    std::string szFile, szFileB, szOutput, szPcbInfo, szVariant;
    bool bJson = false;
    CLI::App* poDump = nullptr;
    CLI::App* poValidate = nullptr;
    CLI::App* poBuild = nullptr;
    CLI::App* poMerge = nullptr;
    CLI::App* poAdd = nullptr;
    CLI::App* poExtract = nullptr;
    CLI::App* poDefault = nullptr;
};

void DefineCommands(CLI::App& roApp, SCommandLine& roLine)
{
    roApp.require_subcommand(1);
    roApp.set_version_flag("--version", std::string("pins10 ") + PINS10_VERSION, "Print the version and exit");
    roLine.poDump = roApp.add_subcommand("dump", "Show every block and list element with offsets and decoded values");
    roLine.poDump->add_option("FILE", roLine.szFile, "parameter block")->required();
    roLine.poDump->add_flag("--json", roLine.bJson, "write the JSON description that 'build' reads");
    roLine.poValidate = roApp.add_subcommand("validate", "Exit 0 when the board would accept the block, 1 otherwise");
    roLine.poValidate->add_option("FILE", roLine.szFile, "parameter block")->required();
    roLine.poBuild = roApp.add_subcommand("build", "Build a block from a JSON description");
    roLine.poBuild->add_option("DESCRIPTION", roLine.szFile, "JSON description")->required();
    roLine.poMerge = roApp.add_subcommand("merge", "A, then the block kinds of B that A lacks");
    roLine.poAdd = roApp.add_subcommand("add", "Like merge, but lists present in both are joined");
    for (CLI::App* poCommand : {roLine.poMerge, roLine.poAdd})
    {
        poCommand->add_option("A", roLine.szFile, "first block (its blocks win)")->required();
        poCommand->add_option("B", roLine.szFileB, "second block")->required();
    }
    roLine.poExtract = roApp.add_subcommand("extract", "Copy the block out of a raw EEPROM image");
    roLine.poExtract->add_option("IMAGE", roLine.szFile, "EEPROM image")->required();
    roLine.poDefault = roApp.add_subcommand("default", "Write the built-in block for a subsystem word");
    roLine.poDefault->add_option("SUBSYS", roLine.szFile, "PCI subsystem word, e.g. 0x0A011E5B")->required();
    roLine.poDefault->add_option("--pcb-info", roLine.szPcbInfo,
                                 "the EEPROM header's PCB info word (revision in bits 8-15)");
    roLine.poDefault->add_option("--variant", roLine.szVariant, "variant selector (1: input/output variant)");
    for (CLI::App* poCommand : {roLine.poBuild, roLine.poMerge, roLine.poAdd, roLine.poExtract, roLine.poDefault})
        poCommand->add_option("-o,--output", roLine.szOutput, "file to write")->required();
}

// Runs the subcommand that was given; a failure throws.
void RunCommand(const SCommandLine& roLine, std::ostream& roOut)
{
    if (roLine.poDump->parsed())
        Dump(roLine.szFile, roLine.bJson, roOut);
    else if (roLine.poValidate->parsed())
        Validate(roLine.szFile, roOut);
    else if (roLine.poBuild->parsed())
        Build(roLine.szFile, roLine.szOutput, roOut);
    else if (roLine.poMerge->parsed() || roLine.poAdd->parsed())
        Combine(roLine.poAdd->parsed(), roLine.szFile, roLine.szFileB, roLine.szOutput, roOut);
    else if (roLine.poExtract->parsed())
        Extract(roLine.szFile, roLine.szOutput, roOut);
    else if (roLine.poDefault->parsed())
        Default(roLine.szFile, roLine.szPcbInfo, roLine.szVariant, roLine.szOutput, roOut);
}
}  // namespace

int Pins10ToolRun(int iArgc, const char* const* ppszArgv, std::ostream& roOut, std::ostream& roErr)
{
    // The library's assertion reports would repeat, less clearly, what the tool says itself.
    OsServices::SetMsgLevel(0, 0, 0);

    CLI::App oApp{"Inspect, check, build and combine board parameter blocks (Pins10).", "pins10"};
    SCommandLine oLine;
    DefineCommands(oApp, oLine);
    try
    {
        oApp.parse(iArgc, ppszArgv);
    }
    catch (const CLI::CallForHelp&)
    {
        roOut << oApp.help();
        return 0;
    }
    catch (const CLI::CallForVersion& roVersion)
    {
        roOut << roVersion.what() << "\n";
        return 0;
    }
    catch (const CLI::ParseError& roError)
    {
        roErr << "pins10: " << roError.what() << " (see pins10 --help)\n";
        return 2;
    }

    try
    {
        RunCommand(oLine, roOut);
        return 0;
    }
    catch (const SToolError& roError)
    {
        roErr << "pins10: " << roError.szMessage << "\n";
        return 1;
    }
    catch (const std::exception& roError)
    {
        roErr << "pins10: " << roError.what() << "\n";
        return 1;
    }
}
