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

TEST(QelToolsText, AtoiTakesTheLeadingDecimalNumber)
{
    for (const auto& [pszText, iExpected] : std::vector<std::pair<const char*, int>>{
             {"42", 42}, {"-17", -17}, {"  12abc", 12}, {"abc", 0}, {"0x10", 0}, {"2147483648", -2147483647 - 1}})
        EXPECT_EQ(QelTools_atoi(pszText), iExpected) << pszText;
}

// Not used by the tool: a division by zero gives 0 instead of a trap, and the full range is kept.
TEST(QelToolsArithmetic, DivisionsAndSquareRoot)
{
    EXPECT_EQ(QelTools_RoundedDivision(5, 2), 3u);
    EXPECT_EQ(QelTools_RoundedDownDivision(5, 3), 1u);
    EXPECT_EQ(QelTools_RoundedUpDivision(4, 3), 2u);
    EXPECT_EQ(QelTools_RoundedDivision(7, 0) | QelTools_RoundedDownDivision(7, 0) | QelTools_RoundedUpDivision(7, 0), 0u);
    EXPECT_EQ(QelTools_RoundedUpDivision(0xFFFFFFFF, 2), 0x80000000u);
    EXPECT_EQ(QelTools_RoundedDivision(0xFFFFFFFF, 2), 0x80000000u);
    EXPECT_EQ(QelTools_SquareRoot(15), 3u);
    EXPECT_EQ(QelTools_SquareRoot(0xFFFFFFFF), 0xFFFFu);
}

}  // namespace
