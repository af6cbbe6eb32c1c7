// The option walk and the hexadecimal handle parser of InitMemContext, on the inputs the
// end-to-end scenarios do not give them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "InitMemContextArgs.h"

namespace
{

TEST(Atoh, ConvertsLikeTheHandleFilterExpects)
{
    const struct
    {
        const char* pszText;
        MUINT32 uiExpected;
    } aoCases[] = {{"", 0}, {"x1xA", 26}, {"XfF", 0xFF}, {"12g4", 0x12}, {"-5", 0},
                   {"123456789", 0x23456789},   // the top digit falls off
                   {"FFFFFFFF", 0xFFFFFFFF}};
    for (const auto& roCase : aoCases)
        EXPECT_EQ(atoh(roCase.pszText), roCase.uiExpected) << '"' << roCase.pszText << '"';
}

struct SWalkCase
{
    const char*              pszName;
    std::vector<const char*> vArgs;   // without the program name
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
    std::vector<const char*> vArgs = roCase.vArgs;
    vArgs.insert(vArgs.begin(), "InitMemContext");
    SInitMemOptions oOptions;
    ::testing::internal::CaptureStdout();
    InitMemParseArguments(static_cast<int>(vArgs.size()), vArgs.data(), oOptions);
    const std::string sPrinted = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(oOptions.uiHandleFilter, roCase.uiHandle);
    EXPECT_EQ(oOptions.iIndexFilter, roCase.iIndex);
    EXPECT_EQ(oOptions.bListMode, roCase.bList);
    EXPECT_EQ(oOptions.bClearFirst, roCase.bClear);
    EXPECT_EQ(oOptions.bGoOn, roCase.bGoOn);

    std::string sExpected;
    for (int i = 0; i < roCase.iUsageBlocks; ++i)
    {
        sExpected += std::string("\n\n") + g_pszInitMemUsage + "\n\n\n";
    }
    EXPECT_EQ(sPrinted, sExpected);
}

constexpr MINT32 NONE = INITMEM_NO_INDEX_FILTER;

INSTANTIATE_TEST_SUITE_P(
    CommandLines, ArgumentWalkTest,
    ::testing::Values(
        SWalkCase{"EveryHelpSpelling", {"?", "-?", "--?", "--help", "-H"}, 0, NONE, false, false, false, 4},
        SWalkCase{"LongForms", {"--list", "--clearinit", "--Index", "2", "--Dev", "0x300"}, 0x300, 2, true, true,
                  true, 0},
        SWalkCase{"ValueThatIsAnOptionIsExamined", {"-i", "-l", "-dev", "-c"}, 0, NONE, true, true, true, 0},
        SWalkCase{"LaterValuesWin", {"-i", "1", "-dev", "5", "-i", "3", "-dev", "0"}, 0, 3, false, false, true, 0},
        SWalkCase{"ValueIsNotExaminedAsOption", {"-i", "5", "-dev", "?"}, 0, 5, false, false, true, 0}),
    [](const ::testing::TestParamInfo<SWalkCase>& roInfo) { return std::string(roInfo.param.pszName); });

} // namespace
