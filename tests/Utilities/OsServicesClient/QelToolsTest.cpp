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

TEST(QelToolsText, StricmpFoldsOnlyAsciiCapitals)
{
    const std::tuple<const char*, const char*, int> aoCases[] = {
        {"PCIe", "pcie", 0}, {"abc", "abd", 'c' - 'd'}, {"a", "", 'a'}, {"Z", "a", 'z' - 'a'},
        {"[", "{", '[' - '{'},        // neighbours of 'Z' and 'z' are not folded
        {"\xC4", "\xE4", -60 + 28}};  // bytes above 0x7F compare as signed, unfolded
    for (const auto& [pszA, pszB, iExpected] : aoCases)
        EXPECT_EQ(QelTools_stricmp(pszA, pszB), iExpected) << pszA << " / " << pszB;
}

TEST(QelToolsText, UpperAndLowerStopAtSizeOrTerminator)
{
    char aszText[] = "abCDef\0gh";
    EXPECT_EQ(QelTools_strupr_s(aszText, 3), aszText);
    EXPECT_EQ(std::string(aszText, 9), std::string("ABCDef\0gh", 9));
    QelTools_strupr_s(aszText, sizeof(aszText));
    EXPECT_EQ(std::string(aszText, 9), std::string("ABCDEF\0gh", 9));
    QelTools_strlwr_s(aszText, 2);
    QelTools_strlwr_s(aszText, 0);
    EXPECT_STREQ(aszText, "abCDEF");
    EXPECT_EQ(QelTools_strlwr_s(nullptr, 5), nullptr);
}

TEST(QelToolsText, StrrevAtoiIsDigit)
{
    for (const auto& [roInput, pszExpected] : std::vector<std::pair<std::string, const char*>>{{"", ""}, {"a", "a"}, {"abc", "cba"}, {"abcd", "dcba"}})
    {
        std::string oText = roInput;
        EXPECT_STREQ(QelTools_strrev(oText.data()), pszExpected);
    }
    for (const auto& [pszText, iExpected] : std::vector<std::pair<const char*, int>>{
             {"42", 42}, {"-17", -17}, {"  12abc", 12}, {"abc", 0}, {"0x10", 0}, {"2147483648", -2147483647 - 1}})
        EXPECT_EQ(QelTools_atoi(pszText), iExpected) << pszText;
    EXPECT_TRUE(QelTools_isDigit('7'));
    EXPECT_FALSE(QelTools_isDigit((char)0xB2));   // a negative char is no digit (and no crash)
}

TEST(QelToolsArithmetic, Divisions)
{
    struct SCase
    {
        MUINT32 uiA, uiB, uiRounded, uiDown, uiUp;
    };
    const SCase aoCases[] = {{5, 2, 3, 2, 3}, {4, 3, 1, 1, 2}, {5, 3, 2, 1, 2}, {7, 0, 0, 0, 0}, {6, 4, 2, 1, 2}, {5, 4, 1, 1, 2},
                             {1, 3, 0, 0, 1}, {2, 3, 1, 0, 1}, {0, 5, 0, 0, 0}, {0xFFFFFFFF, 2, 0x80000000, 0x7FFFFFFF, 0x80000000}};
    for (const SCase& roCase : aoCases)
    {
        SCOPED_TRACE(std::to_string(roCase.uiA) + " / " + std::to_string(roCase.uiB));
        EXPECT_EQ(QelTools_RoundedDivision(roCase.uiA, roCase.uiB), roCase.uiRounded);
        EXPECT_EQ(QelTools_RoundedDownDivision(roCase.uiA, roCase.uiB), roCase.uiDown);
        EXPECT_EQ(QelTools_RoundedUpDivision(roCase.uiA, roCase.uiB), roCase.uiUp);
    }
}

TEST(QelToolsArithmetic, SquareRootRoundsDown)
{
    const std::pair<MUINT32, MUINT32> aoCases[] = {{0, 0}, {1, 0}, {2, 1}, {4, 2}, {15, 3}, {16, 4}, {17, 4}, {0xFFFE0001, 0xFFFF}, {0xFFFFFFFF, 0xFFFF}};
    for (const auto& [uiValue, uiExpected] : aoCases)
        EXPECT_EQ(QelTools_SquareRoot(uiValue), uiExpected) << uiValue;
}

}  // namespace
