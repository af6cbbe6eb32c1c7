// The pins10 tool end to end: descriptions give back the exact bytes they were written from, the
// EEPROM image rules, and the one-line errors.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "Pins10Eeprom.h"
#include "Pins10TestChain.h"
#include "Pins10Tool.h"
#include "XHb4DefaultPins.h"

namespace
{
struct SRun
{
    int iStatus;
    std::string szOut;
    std::string szErr;
};

SRun RunTool(std::vector<std::string> aszArgs)
{
    aszArgs.insert(aszArgs.begin(), "pins10");
    std::vector<const char*> apszArgv;
    for (const std::string& rszArg : aszArgs)
        apszArgv.push_back(rszArg.c_str());
    std::ostringstream oOut, oErr;
    const int iStatus = Pins10ToolRun((int)apszArgv.size(), apszArgv.data(), oOut, oErr);
    return {iStatus, oOut.str(), oErr.str()};
}

// Files of this process only (tests run in parallel processes), in a directory removed at exit.
struct STempDir
{
    STempDir() { std::filesystem::create_directories(oPath); }
    ~STempDir() { std::filesystem::remove_all(oPath, oError); }
    std::filesystem::path oPath = std::filesystem::path(testing::TempDir()) / ("pins10_" + std::to_string(getpid()));
    std::error_code oError;   // a directory that cannot be removed is left behind
} g_oTempDir;

std::string TempPath(const std::string& rszName)
{
    return (g_oTempDir.oPath / rszName).string();
}

std::string WriteTemp(const std::string& rszName, const std::vector<MUINT8>& rauiData)
{
    const std::string szPath = TempPath(rszName);
    std::ofstream(szPath, std::ios::binary).write(reinterpret_cast<const char*>(rauiData.data()), (std::streamsize)rauiData.size());
    return szPath;
}

std::vector<MUINT8> ReadTemp(const std::string& rszPath)
{
    std::ifstream oIn(rszPath, std::ios::binary);
    return std::vector<MUINT8>((std::istreambuf_iterator<char>(oIn)), std::istreambuf_iterator<char>());
}

bool IsOneLineError(const SRun& roRun)
{
    return roRun.iStatus != 0 && roRun.szErr.rfind("pins10: ", 0) == 0 && roRun.szErr.find('\n') == roRun.szErr.size() - 1;
}

// dump --json, then build: the bytes must come back unchanged.
void ExpectRoundTrip(const std::vector<MUINT8>& rauiBlock)
{
    const std::string szBlock = WriteTemp("block.bin", rauiBlock);
    const SRun oDump = RunTool({"dump", szBlock, "--json"});
    ASSERT_EQ(0, oDump.iStatus) << oDump.szErr;
    const std::string szJson = TempPath("block.json");
    std::ofstream(szJson) << oDump.szOut;
    const std::string szRebuilt = TempPath("rebuilt.bin");
    const SRun oBuild = RunTool({"build", szJson, "-o", szRebuilt});
    ASSERT_EQ(0, oBuild.iStatus) << oBuild.szErr;
    EXPECT_EQ(rauiBlock, ReadTemp(szRebuilt)) << oDump.szOut;
}

// ---- Round trip

TEST(Pins10RoundTrip, BuiltInBlocksKeepEveryByte)
{
    const std::vector<std::vector<std::string>> aaszBuiltIns = {
        {"0x12341E5B"}, {"0x0A011E5B"}, {"0x0A011E5B", "--variant", "1"}, {"0x0A021E5B"},
        {"0x0A021E5B", "--pcb-info", "0x1D600000"}, {"169025115"}};
    for (std::vector<std::string> aszArgs : aaszBuiltIns)
    {
        SCOPED_TRACE(aszArgs.back());
        aszArgs.insert(aszArgs.begin(), "default");
        aszArgs.insert(aszArgs.end(), {"-o", TempPath("default.bin")});
        const SRun oDefault = RunTool(aszArgs);
        ASSERT_EQ(0, oDefault.iStatus) << oDefault.szErr;
        ExpectRoundTrip(ReadTemp(TempPath("default.bin")));
    }
}

TEST(Pins10RoundTrip, UnusualBlocksKeepEveryByte)
{
    // Older header, older memory record, narrow connectors, an unknown kind, a header with the
    // list flag, text with bytes after its terminator, a checksum, and bytes after the end block.
    MUINT8 auiOldHeader[PINS10_HEADER_MIN_SIZE] = {0x01, 0x0A, 0x6F, 0x2A};
    MUINT8 auiOldMemory[PINS10_MEMORY_V1_SIZE];
    for (MUINT32 i = 0; i < sizeof(auiOldMemory); ++i)
        auiOldMemory[i] = (MUINT8)(i * 7);
    Pins10WriteU32(auiOldMemory, PINS10_MEMORY_VERSION_V1);
    tagPins10MiscIo oPin = Pins10TestMiscIo(1, 1);
    memcpy(oPin.szName, "A\0\x01\xFF", 4);
    const MUINT8 auiUnknown[8] = {1, 2, 3, 4, 5, 6, 7, 8};

    std::vector<MUINT8> auiBlock = CPins10TestChain()
                                       .Block(PINS10_SIGNATURE_HEADER | 0x8000, auiOldHeader, sizeof(auiOldHeader))
                                       .Block(PINS10_SIGNATURE_MEMORY, auiOldMemory, sizeof(auiOldMemory))
                                       .List(PINS10_SIGNATURE_CONNECTOR, std::vector<tagPins10Connector>(2), 48)
                                       .List(PINS10_SIGNATURE_MISC_IO, std::vector<tagPins10MiscIo>{oPin})
                                       .Block(0x7777, auiUnknown, sizeof(auiUnknown))
                                       .End(0xA5)
                                       .Bytes();
    auiBlock.insert(auiBlock.end(), {0xFF, 0xFF, 0x00});
    ExpectRoundTrip(auiBlock);
}

// ---- Validate and dump

TEST(Pins10Validate, ReportsTheReasonOnOneLine)
{
    std::vector<MUINT8> auiBlock(DefaultPins::msc_oPins, DefaultPins::msc_oPins + DefaultPins::msc_uiPinsSize);
    const SRun oValid = RunTool({"validate", WriteTemp("valid.bin", auiBlock)});
    EXPECT_EQ(0, oValid.iStatus);
    EXPECT_NE(std::string::npos, oValid.szOut.find("valid parameter block of 584 bytes"));

    auiBlock[0x38 + 2] = 6;   // the processor block's length is no multiple of 4
    const SRun oInvalid = RunTool({"validate", WriteTemp("invalid.bin", auiBlock)});
    EXPECT_EQ(1, oInvalid.iStatus);
    EXPECT_TRUE(IsOneLineError(oInvalid)) << oInvalid.szErr;
    EXPECT_NE(std::string::npos, oInvalid.szErr.find("offset 0x0038: block data length is not a multiple of 4"));

    // The text dump shows what it can and ends with the reason.
    const SRun oDump = RunTool({"dump", WriteTemp("invalid.bin", auiBlock)});
    EXPECT_EQ(1, oDump.iStatus);
    EXPECT_NE(std::string::npos, oDump.szOut.find("PCB 7479, revision 1"));
    EXPECT_NE(std::string::npos, oDump.szOut.find("not valid"));
}

TEST(Pins10Dump, DecodesDatesSizesAndClockSources)
{
    const std::vector<MUINT8> auiBlock(DefaultPins::msc_oPins, DefaultPins::msc_oPins + DefaultPins::msc_uiPinsSize);
    const SRun oDump = RunTool({"dump", WriteTemp("generic.bin", auiBlock)});
    ASSERT_EQ(0, oDump.iStatus) << oDump.szErr;
    for (const char* pszExpected :
         {"0x0000  header 0x412E", "2015-05-08 (0x07DF0508)", "6 6 0 0 (2048 MiB)", "6 6 6 6 (4096 MiB)",
          "uiSYS_MBECLKCTL        0x00020002 (source FSSYS0)", "uiFS0FOut              533000 kHz",
          "0x0184  I/O pins 0xB52F, 3 items of 40 bytes", "  0x01DC  [2]", "\"Module fan\"", "\nvalid\n"})
        EXPECT_NE(std::string::npos, oDump.szOut.find(pszExpected)) << pszExpected;
}

// ---- EEPROM images

// The tool copies the block the pointer at 0x1FE7C names, under the rules the builder reads it by.
TEST(Pins10Extract, CopiesTheNamedBlockWithinTheBuilderLimits)
{
    const std::vector<MUINT8> auiBlock(DefaultPins::msc_oPins, DefaultPins::msc_oPins + DefaultPins::msc_uiPinsSize);
    const auto Image = [&](MUINT32 uiAddress)
    {
        std::vector<MUINT8> auiImage(0x20000, 0xFF);
        std::copy(auiBlock.begin(), auiBlock.end(), auiImage.begin() + uiAddress);
        Pins10WriteU16(&auiImage[PINS10_EEPROM_POINTER_ADDRESS], (MUINT16)uiAddress);
        return auiImage;
    };
    const std::string szOut = TempPath("extracted.bin");
    const SRun oRun = RunTool({"extract", WriteTemp("image.bin", Image(0x1000)), "-o", szOut});
    ASSERT_EQ(0, oRun.iStatus) << oRun.szErr;
    EXPECT_EQ(auiBlock, ReadTemp(szOut));

    // The last block header may end exactly at address 8024, not beyond.
    const MUINT32 uiAtLimit = PINS10_EEPROM_BLOCK_LIMIT - 4 - ((MUINT32)auiBlock.size() - 8);
    std::vector<MUINT8> auiErasedLength = Image(0x1000), auiBlankPointer = Image(0x1000);
    Pins10WriteU16(&auiErasedLength[0x1000 + 0x38 + 2], 0xFFFF);
    Pins10WriteU16(&auiBlankPointer[PINS10_EEPROM_POINTER_ADDRESS], 0xFFFF);
    const std::pair<std::vector<MUINT8>, const char*> aoCases[] = {
        {Image(uiAtLimit), nullptr},
        {Image(uiAtLimit + 4), "beyond address 8024"},
        {auiErasedLength, "length 0xFFFF"},
        {auiBlankPointer, "0xFFFF"},
        {std::vector<MUINT8>(PINS10_EEPROM_POINTER_ADDRESS, 0xFF), "ends before the block pointer"}};
    for (const auto& [rauiImage, pszReason] : aoCases)
    {
        std::vector<MUINT8> auiOut;
        std::string szReason;
        EXPECT_EQ(pszReason == nullptr, Pins10ExtractFromEeprom(rauiImage, auiOut, szReason) != 0) << szReason;
        EXPECT_EQ(pszReason == nullptr ? auiBlock : std::vector<MUINT8>(), auiOut);
        EXPECT_NE(std::string::npos, szReason.find(pszReason ? pszReason : "")) << szReason;
    }
}

// ---- Build, merge, add

TEST(Pins10Build, DescriptionErrorsNameTheirPlace)
{
    const struct
    {
        const char* pszJson;
        const char* pszExpected;
    } aoCases[] = {
        {"{\"blocks\": [{\"kind\": \"header\", \"szSerial\": \"x\"}]}", "block 0 (header): unknown field 'szSerial'"},
        {"{\"blocks\": [{\"kind\": \"header\", \"szProductSku\": \"12345678901234567\"}]}", "szProductSku"},
        {"{\"blocks\": [{\"kind\": \"cpu\", \"uiCpuVersion\": 70000}]}", "uiCpuVersion"},
        {"{\"blocks\": [{\"kind\": \"header\"}]}", "does not give a valid parameter block"},
        {"{\"blocks\": [{\"kind\": \"clocks\"}]}", "unknown kind"},
        {"{\"blocks\": [", "parse error"},
    };
    for (const auto& roCase : aoCases)
    {
        const std::string szJson = TempPath("description.json");
        std::ofstream(szJson) << roCase.pszJson;
        const SRun oRun = RunTool({"build", szJson, "-o", TempPath("out.bin")});
        EXPECT_TRUE(IsOneLineError(oRun)) << roCase.pszJson << ": " << oRun.szErr;
        EXPECT_NE(std::string::npos, oRun.szErr.find(roCase.pszExpected)) << oRun.szErr;
    }
}

// The combinations themselves are the library's; the tool reads, writes and reports.
TEST(Pins10Combine, MergeFromFilesAndOneLineRefusals)
{
    const std::vector<MUINT8> auiGeneric(DefaultPins::msc_oPins, DefaultPins::msc_oPins + DefaultPins::msc_uiPinsSize);
    const std::string szA = WriteTemp("a.bin", auiGeneric), szMerged = TempPath("merged.bin");
    ASSERT_EQ(0, RunTool({"merge", szA, szA, "-o", szMerged}).iStatus);
    EXPECT_EQ(auiGeneric, ReadTemp(szMerged));

    const SRun oRefused = RunTool({"add", szA, szA, "-o", szMerged});
    EXPECT_TRUE(IsOneLineError(oRefused));
    EXPECT_NE(std::string::npos, oRefused.szErr.find("processor 0x0E15")) << oRefused.szErr;
    EXPECT_TRUE(IsOneLineError(RunTool({"merge", szA, TempPath("missing.bin"), "-o", szMerged})));
    EXPECT_TRUE(IsOneLineError(RunTool({"default", "0x1G", "-o", szMerged})));
}
}  // namespace
