// Divider solver of a synthesizer made of two cascaded PLLs:
//   VCO0 = fRef x M0, intermediate = VCO0 / P0, VCO1 = intermediate x M1, fOut = VCO1 / (2 x P1).
// Given a target output and the limits of every divider and of the three internal frequencies,
// ComputeParam searches the divider space for the output closest to the target. Frequencies are
// in kHz; all arithmetic is 32-bit unsigned integer.
#pragma once

#include "QelBaseTypes.h"
#include "XObject.h"

// An inclusive range.
struct SLimitValues
{
    MUINT32 uiMin;
    MUINT32 uiMax;
};

struct SPllData
{
    SLimitValues oM0Limit;        // first PLL multiplier
    SLimitValues oM1Limit;        // second PLL multiplier
    SLimitValues oP0Limit;        // first PLL divider
    SLimitValues oP1Limit;        // output divider
    SLimitValues oVco0kHzLimit;
    SLimitValues oRef1kHzLimit;   // intermediate frequency
    SLimitValues oVco1kHzLimit;
};

struct SParamResult
{
    MUINT32 uiM0;
    MUINT32 uiM1;
    MUINT32 uiP0;
    MUINT32 uiP1;
    MUINT32 uiOutputFreq;   // kHz
    MUINT32 uiNbIter;       // candidates evaluated
};

class XCascadedPll : public XObject
{
public:
    // Copies the limits; the object is not initialised when ValidateAlgoData rejects them.
    explicit XCascadedPll(const SPllData& roPllData);

    // Fills roResult with the divider set whose output is closest to uiTargetFreq. With
    // bBestMatch the whole space is searched (an exact hit ends it early); without it the first
    // set within the tolerance band wins. The band is +/- uiTargetFreq x uiTolerance / 10000.
    // -1: limits rejected, or a target or reference of 0. 0: the result lies within the band.
    // 1: it does not (the closest set found is still returned; all zero when none was usable).
    LStatus ComputeParam(MUINT32 uiTargetFreq, MUINT32 uiRefFreq, MUINT32 uiTolerance, int bBestMatch,
                         SParamResult& roResult) const;
    // Output of a divider set: fRef x M0 x M1 / (2 x P0 x P1); 0 for a zero divider.
    MUINT32 ComputeFreq(MUINT32 uiRefFreq, MUINT32 uiM0, MUINT32 uiM1, MUINT32 uiP0, MUINT32 uiP1) const;
    // 1 when uiMin < uiMax.
    MBOOL32 ValidateLimitRange(const SLimitValues& roLimit) const;
    // Accepts any set with a non-zero divider limit; with all divider limits 0, a set with at
    // least one proper frequency range. Deliberately permissive: the search itself skips what the
    // limits make impossible.
    MBOOL32 ValidateAlgoData(const SPllData& roPllData) const;

    SPllData m_oPllAlgoData;
    // The chip's own divider fields and PLL ranges.
    static const SPllData m_oDefaultPllAlgoData;

private:
    // State of one divider search.
    struct SSearch
    {
        MUINT32 uiTargetFreq;
        MUINT32 uiRefFreq;
        MUINT32 uiBand;        // half width of the tolerance band
        bool bBestMatch;
        MUINT32 uiBestError;
        MUINT32 uiBestFreq;
        bool bFound;
        bool bDone;            // ends every loop of the search
    };
    void SearchM0(MUINT32 uiM1, MUINT32 uiP1, SSearch& roSearch, SParamResult& roResult) const;
    static bool Improves(MUINT32 uiFreq, SSearch& roSearch);
};
