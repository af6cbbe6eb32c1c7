// The divider solver on limit sets small enough to work out by hand. On the chip's own limits the
// simulated synthesizers check its answers: they lock only within their ranges.
#include <gtest/gtest.h>

#include <tuple>

#include "XCascadedPll.h"

namespace
{
// M0 2-4 (VCO0 200-400 with a reference of 100), M1 1-2, P0 1-8, P1 1-2; intermediate 150-300,
// VCO1 100-400.
const SPllData s_oSmall = {{1, 4}, {1, 2}, {1, 8}, {1, 2}, {200, 400}, {150, 300}, {100, 400}};

// The chip's dividers and PLL ranges (kHz).
const SPllData s_oChip = {{1, 128}, {1, 64}, {1, 64}, {1, 64}, {1200000, 2400000}, {23000, 48000}, {1200000, 2400000}};

struct SSearchCase
{
    const char* pszWhat;
    SPllData oLimits;
    MUINT32 uiTarget;
    MUINT32 uiRef;
    MUINT32 uiTolerance;
    int bBestMatch;
    LStatus iResult;
    SParamResult oExpected;
};
void PrintTo(const SSearchCase& ro, std::ostream* po) { *po << ro.pszWhat; }

auto Fields(const SParamResult& ro)
{
    return std::make_tuple(ro.uiM0, ro.uiM1, ro.uiP0, ro.uiP1, ro.uiOutputFreq, ro.uiNbIter);
}

// Worked by hand, in search order (M1 down, P1 up, M0 down; P0 = round(VCO0 x M1 / (2 P1 target))):
// - target 90: usable pairs (M1 2, P1 2) and (M1 1, P1 1) (intermediate 180); (2, 1) gives 90
//   and (1, 2) gives 360, both outside 150-300. Each pair tries M0 4, 3, 2: f = 100, 75, 100 with
//   P0 2, 2, 1. The first f = 100 (error 10) wins every tie: M0 4 over M0 2, pair (2, 2) over
//   (1, 1). Six candidates; the band of 0.01 x 90 is empty, so the result is outside it.
// - target 100: the first candidate (M1 2, P1 2, M0 4, P0 2) hits exactly and ends the search.
// - with 20 % tolerance the first candidate within 72-108 is taken at once.
const SSearchCase s_aoSearchCases[] = {
    {"tie keeps the first in search order", s_oSmall, 90, 100, 1, 1, 1, {4, 2, 2, 2, 100, 6}},
    {"exact hit ends the search", s_oSmall, 100, 100, 110, 1, 0, {4, 2, 2, 2, 100, 1}},
    {"tolerance mode takes the first in band", s_oSmall, 90, 100, 2000, 0, 0, {4, 2, 2, 2, 100, 1}},
    {"tolerance mode without a candidate in band", s_oSmall, 90, 100, 100, 0, 1, {0, 0, 0, 0, 0, 6}},
    // A tolerance of 200 % makes the band 200 wide: 100 - 200 wraps to near 2^32, so the band
    // holds nothing, not even an exact hit.
    {"an exact hit is outside a wrapped band", s_oSmall, 100, 100, 20000, 1, 1, {4, 2, 2, 2, 100, 1}},
    {"below every VCO1: nothing usable", s_oChip, 5000, 27000, 110, 1, 1, {0, 0, 0, 0, 0, 0}},
};

using CSearchTest = ::testing::TestWithParam<SSearchCase>;

TEST_P(CSearchTest, FindsTheWorkedResult)
{
    const SSearchCase& roCase = GetParam();
    XCascadedPll oPll(roCase.oLimits);
    SParamResult oResult{};
    EXPECT_EQ(oPll.ComputeParam(roCase.uiTarget, roCase.uiRef, roCase.uiTolerance, roCase.bBestMatch, oResult),
              roCase.iResult);
    EXPECT_EQ(Fields(oResult), Fields(roCase.oExpected)) << "M0, M1, P0, P1, output, iterations";
}

INSTANTIATE_TEST_SUITE_P(XCascadedPll, CSearchTest, ::testing::ValuesIn(s_aoSearchCases),
                         [](const auto& roInfo) { return "Case" + std::to_string(roInfo.index); });

TEST(XCascadedPll, RefusesAZeroTargetReferenceOrDivider)
{
    XCascadedPll oPll(s_oChip);
    SParamResult oResult = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(oPll.ComputeParam(0, 27000, 110, 1, oResult), -1);
    EXPECT_EQ(oResult.uiM0 + oResult.uiNbIter + oResult.uiOutputFreq, 0u);
    EXPECT_EQ(oPll.ComputeParam(400000, 0, 110, 1, oResult), -1);
    EXPECT_EQ(oPll.ComputeFreq(27000, 64, 50, 0, 2), 0u) << "zero divider";
}

}  // namespace
