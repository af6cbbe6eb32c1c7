#include "QelTools.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <vector>

namespace
{

TEST(QelToolsCopy, StrcpySTruncatesAndTerminatesWithinTheDestination)
{
    char aszBuffer[64 + 8];
    std::fill(std::begin(aszBuffer), std::end(aszBuffer), '#');
    const std::string oSource(100, 'x');
    QelTools_strcpy_s(aszBuffer, 64, oSource.c_str());
    EXPECT_EQ(std::string(aszBuffer), std::string(63, 'x'));
    EXPECT_EQ(std::string(aszBuffer + 64, 8), std::string(8, '#'));   // nothing written past 64

    QelTools_strcpy_s(aszBuffer, 0, "abc");                             // size 0 writes nothing
    EXPECT_EQ(aszBuffer[0], 'x');
    QelTools_strcpy_s(aszBuffer, 4, nullptr);
    EXPECT_STREQ(aszBuffer, "");
}

TEST(QelToolsCopy, VsprintfSIsBounded)
{
    char aszBuffer[8] = {};
    auto fnPrint = [&](const char* pszFormat, ...) {
        va_list oArgs;
        va_start(oArgs, pszFormat);
        QelTools_vsprintf_s(aszBuffer, 6, pszFormat, oArgs);
        va_end(oArgs);
    };
    fnPrint("%d-%s", 1234, "xyz");
    EXPECT_STREQ(aszBuffer, "1234-");
}

struct SStricmpCase
{
    const char* pszA;
    const char* pszB;
    int iExpected;
};

TEST(QelToolsCompare, StricmpFoldsOnlyAsciiCapitals)
{
    const SStricmpCase aoCases[] = {
        {"PCIe", "pcie", 0},
        {"abc", "abd", 'c' - 'd'},
        {"a", "", 'a'},
        {"[", "{", '[' - '{'},                  // neighbours of 'Z' and 'z' are not folded
        {"\xC4", "\xE4", -60 - (-28)},          // bytes above 0x7F compare as signed, unfolded
        {"Z", "a", 'z' - 'a'},
    };
    for (const SStricmpCase& roCase : aoCases)
        EXPECT_EQ(QelTools_stricmp(roCase.pszA, roCase.pszB), roCase.iExpected) << roCase.pszA << " / " << roCase.pszB;
}

TEST(QelToolsCase, UpperAndLowerStopAtSizeOrTerminator)
{
    char aszText[] = "abCDef\0gh";
    EXPECT_EQ(QelTools_strupr_s(aszText, 3), aszText);
    EXPECT_EQ(std::string(aszText, 9), std::string("ABCDef\0gh", 9));
    QelTools_strupr_s(aszText, sizeof(aszText));
    EXPECT_EQ(std::string(aszText, 9), std::string("ABCDEF\0gh", 9));   // stops at the terminator
    QelTools_strlwr_s(aszText, 2);
    EXPECT_STREQ(aszText, "abCDEF");
    QelTools_strlwr_s(aszText, 0);
    EXPECT_STREQ(aszText, "abCDEF");
    EXPECT_EQ(QelTools_strupr_s(nullptr, 5), nullptr);
    EXPECT_EQ(QelTools_strlwr_s(nullptr, 5), nullptr);
}

TEST(QelToolsCase, StrrevReversesInPlace)
{
    const std::vector<std::pair<std::string, std::string>> aoCases = {{"", ""}, {"a", "a"}, {"ab", "ba"}, {"abc", "cba"}, {"abcd", "dcba"}};
    for (const auto& [roInput, roExpected] : aoCases)
    {
        std::string oText = roInput;
        EXPECT_STREQ(QelTools_strrev(oText.data()), roExpected.c_str());
    }
}

TEST(QelToolsParse, AtoiAndIsDigit)
{
    const std::vector<std::pair<const char*, int>> aoCases = {
        {"42", 42}, {"-17", -17}, {"  12abc", 12}, {"abc", 0}, {"0x10", 0}, {"2147483648", -2147483647 - 1}};
    for (const auto& [pszText, iExpected] : aoCases)
        EXPECT_EQ(QelTools_atoi(pszText), iExpected) << pszText;

    EXPECT_TRUE(QelTools_isDigit('7'));
    EXPECT_FALSE(QelTools_isDigit('a'));
    EXPECT_FALSE(QelTools_isDigit((char)0xB2));   // a negative char is no digit (and no crash)
}

TEST(QelToolsParse, StrtokSSplitsWithItsOwnContext)
{
    char aszText[] = "a,b;;c";
    char* pszContext = nullptr;
    std::vector<std::string> oTokens;
    for (char* pszToken = QelTools_strtok_s(aszText, ",;", &pszContext); pszToken; pszToken = QelTools_strtok_s(nullptr, ",;", &pszContext))
        oTokens.push_back(pszToken);
    EXPECT_EQ(oTokens, (std::vector<std::string>{"a", "b", "c"}));
}

struct SDivisionCase
{
    MUINT32 uiA;
    MUINT32 uiB;
    MUINT32 uiRounded;
    MUINT32 uiDown;
    MUINT32 uiUp;
};

TEST(QelToolsArithmetic, Divisions)
{
    const SDivisionCase aoCases[] = {
        {5, 2, 3, 2, 3},   {4, 3, 1, 1, 2},  {5, 3, 2, 1, 2},  {7, 0, 0, 0, 0},  {6, 4, 2, 1, 2},
        {5, 4, 1, 1, 2},   {1, 3, 0, 0, 1},  {2, 3, 1, 0, 1},  {0, 5, 0, 0, 0},  {8, 4, 2, 2, 2},
        {0xFFFFFFFF, 2, 0x80000000, 0x7FFFFFFF, 0x80000000},
    };
    for (const SDivisionCase& roCase : aoCases)
    {
        SCOPED_TRACE(std::to_string(roCase.uiA) + " / " + std::to_string(roCase.uiB));
        EXPECT_EQ(QelTools_RoundedDivision(roCase.uiA, roCase.uiB), roCase.uiRounded);
        EXPECT_EQ(QelTools_RoundedDownDivision(roCase.uiA, roCase.uiB), roCase.uiDown);
        EXPECT_EQ(QelTools_RoundedUpDivision(roCase.uiA, roCase.uiB), roCase.uiUp);
    }
}

TEST(QelToolsArithmetic, SquareRootRoundsDown)
{
    const std::vector<std::pair<MUINT32, MUINT32>> aoCases = {
        {0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 2}, {15, 3}, {16, 4}, {17, 4}, {1000000, 1000}, {0xFFFE0001, 0xFFFF}, {0xFFFFFFFF, 0xFFFF}};
    for (const auto& [uiValue, uiExpected] : aoCases)
        EXPECT_EQ(QelTools_SquareRoot(uiValue), uiExpected) << uiValue;
}

}  // namespace
