// The option walk and the hexadecimal handle parser of InitMemContext.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "InitMemContextArgs.h"

namespace
{

struct SHexCase
{
    const char* pszText;
    MUINT32     uiExpected;
};

class AtohTest : public ::testing::TestWithParam<SHexCase>
{
};

TEST_P(AtohTest, ConvertsLikeTheHandleFilterExpects)
{
    EXPECT_EQ(atoh(GetParam().pszText), GetParam().uiExpected) << '"' << GetParam().pszText << '"';
}

INSTANTIATE_TEST_SUITE_P(Texts, AtohTest,
                         ::testing::Values(SHexCase{"", 0}, SHexCase{"0", 0}, SHexCase{"0x0", 0},
                                           SHexCase{"0x1A", 26}, SHexCase{"1A", 26}, SHexCase{"x1xA", 26},
                                           SHexCase{"1a0", 0x1A0}, SHexCase{"XfF", 0xFF},
                                           SHexCase{"12g4", 0x12}, SHexCase{"-5", 0},
                                           SHexCase{"123456789", 0x23456789},   // the top digit falls off
                                           SHexCase{"FFFFFFFF", 0xFFFFFFFF}));

// Runs the walk on a command line given without the program name, capturing what it prints.
struct SWalk
{
    SInitMemOptions oOptions;
    std::string     sPrinted;
};

SWalk Walk(std::vector<const char*> vArgs)
{
    vArgs.insert(vArgs.begin(), "InitMemContext");
    SWalk oWalk;
    ::testing::internal::CaptureStdout();
    InitMemParseArguments(static_cast<int>(vArgs.size()), vArgs.data(), oWalk.oOptions);
    oWalk.sPrinted = ::testing::internal::GetCapturedStdout();
    return oWalk;
}

struct SWalkCase
{
    const char*              pszName;
    std::vector<const char*> vArgs;
    MUINT32                  uiHandle;
    MINT32                   iIndex;
    bool                     bList;
    bool                     bClear;
    bool                     bGoOn;
    int                      iUsageBlocks;
};

class ArgumentWalkTest : public ::testing::TestWithParam<SWalkCase>
{
};

TEST_P(ArgumentWalkTest, SetsOptionsAsTheWalkDefines)
{
    const SWalkCase& roCase = GetParam();
    const SWalk oWalk = Walk(roCase.vArgs);
    EXPECT_EQ(oWalk.oOptions.uiHandleFilter, roCase.uiHandle);
    EXPECT_EQ(oWalk.oOptions.iIndexFilter, roCase.iIndex);
    EXPECT_EQ(oWalk.oOptions.bListMode, roCase.bList);
    EXPECT_EQ(oWalk.oOptions.bClearFirst, roCase.bClear);
    EXPECT_EQ(oWalk.oOptions.bGoOn, roCase.bGoOn);

    const std::string sBlock = std::string("\n\n") + g_pszInitMemUsage + "\n\n\n";
    std::string sExpected;
    for (int i = 0; i < roCase.iUsageBlocks; ++i)
    {
        sExpected += sBlock;
    }
    EXPECT_EQ(oWalk.sPrinted, sExpected);
}

constexpr MINT32 NONE = INITMEM_NO_INDEX_FILTER;

INSTANTIATE_TEST_SUITE_P(
    CommandLines, ArgumentWalkTest,
    ::testing::Values(
        SWalkCase{"NoArguments", {}, 0, NONE, false, false, true, 0},
        SWalkCase{"HelpThenClear", {"-h", "-c"}, 0, NONE, false, true, false, 1},
        SWalkCase{"HelpTwice", {"-h", "-h"}, 0, NONE, false, false, false, 2},
        SWalkCase{"EveryHelpSpelling", {"?", "-?", "--?", "--help"}, 0, NONE, false, false, false, 4},
        SWalkCase{"HelpIsCaseSensitive", {"-H", "--HELP"}, 0, NONE, false, false, true, 0},
        SWalkCase{"ListAndClear", {"-l", "-c"}, 0, NONE, true, true, true, 0},
        SWalkCase{"LongForms", {"--list", "--clearinit", "--Index", "2", "--Dev", "0x300"}, 0x300, 2, true, true,
                  true, 0},
        SWalkCase{"IndexLastHasNoValue", {"-c", "-i"}, 0, NONE, false, true, true, 0},
        SWalkCase{"IndexBeforeOptionTakesNoValue", {"-i", "-c"}, 0, NONE, false, true, true, 0},
        SWalkCase{"NegativeIndexIsNotTaken", {"-i", "-1"}, 0, NONE, false, false, true, 0},
        SWalkCase{"IndexValueIsNotAnOption", {"-i", "-l"}, 0, NONE, true, false, true, 0},
        SWalkCase{"IndexDecimal", {"-i", "12"}, 0, 12, false, false, true, 0},
        SWalkCase{"LaterIndexWins", {"-i", "1", "-i", "3"}, 0, 3, false, false, true, 0},
        SWalkCase{"DevZeroIsNoFilter", {"-dev", "0x0"}, 0, NONE, false, false, true, 0},
        SWalkCase{"DevHex", {"-dev", "1a0"}, 0x1A0, NONE, false, false, true, 0},
        SWalkCase{"DevLastHasNoValue", {"-dev"}, 0, NONE, false, false, true, 0},
        SWalkCase{"DevBeforeOptionTakesNoValue", {"-dev", "-l"}, 0, NONE, true, false, true, 0},
        SWalkCase{"IndexAndDev", {"-i", "0", "-dev", "1a0"}, 0x1A0, 0, false, false, true, 0},
        SWalkCase{"ValueOfIndexIsNotExaminedAsOption", {"-i", "5", "-c"}, 0, 5, false, true, true, 0},
        SWalkCase{"UnknownArgumentsIgnored", {"--index", "7", "-L", "foo"}, 0, NONE, false, false, true, 0}),
    [](const ::testing::TestParamInfo<SWalkCase>& roInfo) { return std::string(roInfo.param.pszName); });

TEST(UsageTextTest, KeepsTheDocumentedLinesAndSpelling)
{
    const std::string sUsage = g_pszInitMemUsage;
    EXPECT_EQ(sUsage.rfind("Initializes the clocks and memory.\nOptional arguments:\n", 0), 0u);
    EXPECT_NE(sUsage.find("  -c,      --clearinit     : Will use global reset to clear the last intilization\n"),
              std::string::npos);
    EXPECT_NE(sUsage.back(), '\n');   // puts adds the last line end
}

} // namespace
