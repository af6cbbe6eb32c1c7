#include "QelTools.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

TEST(QelToolsText, StrcpySTruncatesAndTerminatesWithinTheDestination)
{
    char aszBuffer[64 + 8];
    std::fill(std::begin(aszBuffer), std::end(aszBuffer), '#');
    QelTools_strcpy_s(aszBuffer, 64, std::string(100, 'x').c_str());
    EXPECT_EQ(std::string(aszBuffer), std::string(63, 'x'));
    EXPECT_EQ(std::string(aszBuffer + 64, 8), std::string(8, '#'));
    QelTools_strcpy_s(aszBuffer, 0, "abc");
    EXPECT_EQ(aszBuffer[0], 'x');
}

// The helpers the tool does not use: case folding only of ASCII letters, and never past the size
// or the terminator.
TEST(QelToolsText, CaseHelpersFoldOnlyAsciiLettersWithinTheSize)
{
    EXPECT_EQ(QelTools_stricmp("PCIe", "pcie"), 0);
    EXPECT_EQ(QelTools_stricmp("[", "{"), '[' - '{');   // neighbours of 'Z' and 'z' are not folded
    char aszText[] = "abCDef\0gh";
    QelTools_strupr_s(aszText, 3);
    QelTools_strupr_s(aszText, sizeof(aszText));
    EXPECT_EQ(std::string(aszText, 9), std::string("ABCDEF\0gh", 9));
    QelTools_strlwr_s(aszText, 2);
    EXPECT_STREQ(aszText, "abCDEF");
}

TEST(QelToolsText, AtoiTakesTheLeadingDecimalNumber)
{
    for (const auto& [pszText, iExpected] : std::vector<std::pair<const char*, int>>{
             {"42", 42}, {"-17", -17}, {"  12abc", 12}, {"abc", 0}, {"0x10", 0}, {"2147483648", -2147483647 - 1}})
        EXPECT_EQ(QelTools_atoi(pszText), iExpected) << pszText;
}

// Not used by the tool: a division by zero gives 0 instead of a trap, and the full range is kept.
TEST(QelToolsArithmetic, DivisionsAndSquareRoot)
{
    struct SCase
    {
        MUINT32 uiA, uiB, uiRounded, uiDown, uiUp;
    };
    const SCase aoCases[] = {{5, 2, 3, 2, 3}, {5, 3, 2, 1, 2}, {7, 0, 0, 0, 0}, {0xFFFFFFFF, 2, 0x80000000, 0x7FFFFFFF, 0x80000000}};
    for (const SCase& roCase : aoCases)
    {
        SCOPED_TRACE(std::to_string(roCase.uiA) + " / " + std::to_string(roCase.uiB));
        EXPECT_EQ(QelTools_RoundedDivision(roCase.uiA, roCase.uiB), roCase.uiRounded);
        EXPECT_EQ(QelTools_RoundedDownDivision(roCase.uiA, roCase.uiB), roCase.uiDown);
        EXPECT_EQ(QelTools_RoundedUpDivision(roCase.uiA, roCase.uiB), roCase.uiUp);
    }
    EXPECT_EQ(QelTools_SquareRoot(15), 3u);
    EXPECT_EQ(QelTools_SquareRoot(0xFFFFFFFF), 0xFFFFu);
}

}  // namespace
