#include "XCascadedPll.h"

#include "Hb4RegClock.h"

namespace
{
// The tolerance is given in units of 0.01 %.
constexpr MUINT32 msc_uiToleranceScale = 10000;
// Error of "nothing found yet": larger than any error a usable candidate can have.
constexpr MUINT32 msc_uiNoErrorYet = 0x7FFFFFFF;

bool InRange(MUINT32 uiValue, const SLimitValues& roLimit)
{
    return uiValue >= roLimit.uiMin && uiValue <= roLimit.uiMax;
}

// uiFreq strictly inside (target - band, target + band), in the same 32-bit unsigned arithmetic
// as the rest of the search. A band wider than the target (a tolerance above 100 %) wraps the
// lower bound to near 2^32, so nothing lies in it and the search reports a miss instead of
// accepting any frequency at all; a target + band past 2^32 wraps the upper bound alike.
bool InBand(MUINT32 uiFreq, MUINT32 uiTarget, MUINT32 uiBand)
{
    return uiFreq > uiTarget - uiBand && uiFreq < uiTarget + uiBand;
}
}  // namespace

const SPllData XCascadedPll::m_oDefaultPllAlgoData = {
    {Hb4Clock::FS_M0_MIN, Hb4Clock::FS_M0_MAX},
    {Hb4Clock::FS_M1_MIN, Hb4Clock::FS_M1_MAX},
    {Hb4Clock::FS_P0_MIN, Hb4Clock::FS_P0_MAX},
    {Hb4Clock::FS_P1_MIN, Hb4Clock::FS_P1_MAX},
    {1200000, 2400000},   // VCO0, kHz
    {23000, 48000},       // intermediate frequency
    {1200000, 2400000},   // VCO1
};

XCascadedPll::XCascadedPll(const SPllData& roPllData) : m_oPllAlgoData(roPllData)
{
    if (!ValidateAlgoData(m_oPllAlgoData))
    {
        m_bInitialized = 0;
    }
}

MBOOL32 XCascadedPll::ValidateLimitRange(const SLimitValues& roLimit) const
{
    return roLimit.uiMin < roLimit.uiMax ? 1 : 0;
}

MBOOL32 XCascadedPll::ValidateAlgoData(const SPllData& roPllData) const
{
    const MUINT32 auiDividerLimits[] = {
        roPllData.oM0Limit.uiMin, roPllData.oM1Limit.uiMin, roPllData.oP0Limit.uiMin, roPllData.oP1Limit.uiMin,
        roPllData.oM0Limit.uiMax, roPllData.oM1Limit.uiMax, roPllData.oP0Limit.uiMax, roPllData.oP1Limit.uiMax,
    };
    for (MUINT32 uiLimit : auiDividerLimits)
    {
        if (uiLimit != 0)
        {
            return 1;
        }
    }
    return (ValidateLimitRange(roPllData.oRef1kHzLimit) || ValidateLimitRange(roPllData.oVco0kHzLimit) ||
            ValidateLimitRange(roPllData.oVco1kHzLimit))
               ? 1
               : 0;
}

MUINT32 XCascadedPll::ComputeFreq(MUINT32 uiRefFreq, MUINT32 uiM0, MUINT32 uiM1, MUINT32 uiP0, MUINT32 uiP1) const
{
    const MUINT32 uiDivisor = 2 * uiP0 * uiP1;
    return uiDivisor != 0 ? uiRefFreq * uiM0 * uiM1 / uiDivisor : 0;
}

// The search walks M1 from its maximum down, P1 from its minimum up and M0 from its maximum down;
// that order is the tie-break between candidates with the same error. A (M1, P1) pair is usable
// when the ideal VCO1 = 2 x P1 x target and the intermediate frequency VCO1 / M1 are in range;
// for each M0 whose VCO0 is in range, P0 is the rounded ratio that brings VCO0 closest to that
// intermediate frequency. Every candidate with VCO0 in range counts in uiNbIter.
//
// Bounds and overflow: the work is at most (M1 range) x (P1 range) x (M0 range) candidates,
// 64 x 64 x 128 with the chip's dividers. With those dividers and the chip's frequencies every
// product stays below 2^32: 2 x P1 x target needs target < 33.5 GHz, VCO0 x M1 <= 2.4 GHz x 64,
// target x tolerance needs target x 110 < 2^32. Beyond such inputs a product wraps modulo 2^32
// and the candidate is judged on the wrapped value, as the 32-bit arithmetic gives it; a divisor
// that wrapped to zero skips the candidate instead of faulting.
LStatus XCascadedPll::ComputeParam(MUINT32 uiTargetFreq, MUINT32 uiRefFreq, MUINT32 uiTolerance, int bBestMatch,
                                   SParamResult& roResult) const
{
    roResult = SParamResult{};
    if (!ValidateAlgoData(m_oPllAlgoData) || uiRefFreq == 0 || uiTargetFreq == 0)
    {
        return -1;
    }
    const SPllData& roLimits = m_oPllAlgoData;
    SSearch oSearch = {uiTargetFreq, uiRefFreq, uiTargetFreq * uiTolerance / msc_uiToleranceScale, bBestMatch != 0,
                       msc_uiNoErrorYet, 0, false, false};

    if (roLimits.oM1Limit.uiMax < roLimits.oM1Limit.uiMin || roLimits.oP1Limit.uiMax < roLimits.oP1Limit.uiMin ||
        roLimits.oM0Limit.uiMax < roLimits.oM0Limit.uiMin)
    {
        return 1;   // an empty range: nothing to search
    }
    // Each loop is a do/while with its step in the condition, so that a range ending at 0 or at
    // 0xFFFFFFFF visits every value once and stops.
    MUINT32 uiM1 = roLimits.oM1Limit.uiMax;
    do
    {
        MUINT32 uiP1 = roLimits.oP1Limit.uiMin;
        do
        {
            const MUINT32 uiVco1 = 2 * uiP1 * uiTargetFreq;
            if (uiM1 == 0 || !InRange(uiVco1, roLimits.oVco1kHzLimit) ||
                !InRange(uiVco1 / uiM1, roLimits.oRef1kHzLimit))
            {
                continue;
            }
            SearchM0(uiM1, uiP1, oSearch, roResult);
        } while (!oSearch.bDone && uiP1++ != roLimits.oP1Limit.uiMax);
    } while (!oSearch.bDone && uiM1-- != roLimits.oM1Limit.uiMin);

    if (!oSearch.bFound)
    {
        return 1;
    }
    roResult.uiOutputFreq = roResult.uiM0 * roResult.uiM1 * uiRefFreq / (2 * roResult.uiP1 * roResult.uiP0);
    return InBand(oSearch.uiBestFreq, uiTargetFreq, oSearch.uiBand) ? 0 : 1;
}

// The innermost loop of the search: every M0, highest first, for one M1 and P1. P0 follows from
// them, rounded to the nearest integer.
void XCascadedPll::SearchM0(MUINT32 uiM1, MUINT32 uiP1, SSearch& roSearch, SParamResult& roResult) const
{
    const SPllData& roLimits = m_oPllAlgoData;
    MUINT32 uiM0 = roLimits.oM0Limit.uiMax;
    do
    {
        const MUINT32 uiVco0 = roSearch.uiRefFreq * uiM0;
        if (!InRange(uiVco0, roLimits.oVco0kHzLimit))
        {
            continue;
        }
        roResult.uiNbIter++;
        const MUINT32 uiRatioDivisor = roSearch.uiTargetFreq * uiP1;
        if (uiRatioDivisor == 0)
        {
            continue;
        }
        const MUINT32 uiRatio = uiVco0 * uiM1 / uiRatioDivisor;
        const MUINT32 uiP0 = (uiRatio >> 1) + (uiRatio & 1);
        const MUINT32 uiFreqDivisor = 2 * uiP1 * uiP0;
        if (!InRange(uiP0, roLimits.oP0Limit) || uiFreqDivisor == 0)
        {
            continue;
        }
        const MUINT32 uiFreq = uiVco0 * uiM1 / uiFreqDivisor;
        if (Improves(uiFreq, roSearch))
        {
            roResult.uiM0 = uiM0;
            roResult.uiM1 = uiM1;
            roResult.uiP0 = uiP0;
            roResult.uiP1 = uiP1;
            roSearch.uiBestFreq = uiFreq;
            roSearch.bFound = true;
        }
    } while (!roSearch.bDone && uiM0-- != roLimits.oM0Limit.uiMin);
}

// Whether a candidate output is kept: closer than the best so far (an exact hit ends the search)
// when searching for the best match, else within the band (which ends the search).
bool XCascadedPll::Improves(MUINT32 uiFreq, SSearch& roSearch)
{
    if (!roSearch.bBestMatch)
    {
        roSearch.bDone = InBand(uiFreq, roSearch.uiTargetFreq, roSearch.uiBand);
        return roSearch.bDone;
    }
    const MUINT32 uiTarget = roSearch.uiTargetFreq;
    const MUINT32 uiError = uiFreq > uiTarget ? uiFreq - uiTarget : uiTarget - uiFreq;
    if (uiError >= roSearch.uiBestError)
    {
        return false;
    }
    roSearch.uiBestError = uiError;
    roSearch.bDone = uiError == 0;
    return true;
}
