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
void PrintTo(const SHexCase& ro, std::ostream* po) { *po << (*ro.pszText != 0 ? ro.pszText : "empty"); }

using AtohTest = ::testing::TestWithParam<SHexCase>;

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
void PrintTo(const SWalkCase& ro, std::ostream* po) { *po << ro.pszName; }

using ArgumentWalkTest = ::testing::TestWithParam<SWalkCase>;

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

// Quirks of the walk that the end-to-end scenarios do not show on their own.
INSTANTIATE_TEST_SUITE_P(
    CommandLines, ArgumentWalkTest,
    ::testing::Values(
        SWalkCase{"EveryHelpSpelling", {"?", "-?", "--?", "--help", "-H"}, 0, NONE, false, false, false, 4},
        SWalkCase{"LongForms", {"--list", "--clearinit", "--Index", "2", "--Dev", "0x300"}, 0x300, 2, true, true,
                  true, 0},
        SWalkCase{"ValueThatIsAnOptionIsExamined", {"-i", "-l", "-dev", "-c"}, 0, NONE, true, true, true, 0},
        SWalkCase{"NegativeIndexIsNotTaken", {"-i", "-1"}, 0, NONE, false, false, true, 0},
        SWalkCase{"LaterValuesWin", {"-i", "1", "-dev", "5", "-i", "3", "-dev", "0"}, 0, 3, false, false, true, 0},
        SWalkCase{"ValueIsNotExaminedAsOption", {"-i", "5", "-dev", "?"}, 0, 5, false, false, true, 0}),
    [](const ::testing::TestParamInfo<SWalkCase>& roInfo) { return std::string(roInfo.param.pszName); });

} // namespace
