// CPU cost of the tool's own work, without the waits the hardware forces: the synthesizer
// divider search, parameter-block validation and merge, and one whole bring-up of a simulated
// board in virtual time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchRigs.h"
#include "QelVxdPrivate.h"
#include "QelVxdSim.h"
#include "XCascadedPll.h"
#include "XDevQelVxd.h"
#include "XPinS10.h"
#include "XPins10Helper.h"

extern const unsigned char g_aucBenchGeneric[];
extern const unsigned int g_aucBenchGeneric_size;
extern const unsigned char g_aucBenchLargest[];
extern const unsigned int g_aucBenchLargest_size;

namespace
{
// ---- Synthesizer dividers.

// The generic block's clock record, validated.
tagPins10Clock GenericClock()
{
    std::vector<MUINT8> aucBlock(g_aucBenchGeneric, g_aucBenchGeneric + g_aucBenchGeneric_size);
    tagPins10Clock oClock{};
    if (!Pins10Validate(aucBlock.data(), (MUINT32)aucBlock.size()) ||
        !XPins10Helper::GetPinsClock(aucBlock.data(), &oClock))
    {
        fprintf(stderr, "the generic parameter block has no usable clock record\n");
        abort();
    }
    return oClock;
}

// The limits the core initialisation gives the solver: the chip's divider fields, the block's
// PLL ranges.
SPllData GenericLimits(const tagPins10Clock& roClock)
{
    SPllData oLimits       = XCascadedPll::m_oDefaultPllAlgoData;
    oLimits.oVco0kHzLimit  = {roClock.uiVco1Min, roClock.uiVco1Max};
    oLimits.oRef1kHzLimit  = {roClock.uiFreqRef2Min, roClock.uiFreqRef2Max};
    oLimits.oVco1kHzLimit  = {roClock.uiVco2Min, roClock.uiVco2Max};
    return oLimits;
}

const tagPins10Clock s_oClock = GenericClock();
const SPllData s_oLimits      = GenericLimits(s_oClock);
// The tolerance band of the core initialisation, in 1/10000 of the target.
constexpr MUINT32 TOLERANCE = 110;
// A target that no divider set hits exactly (a prime number of kHz between the generic targets):
// the search never stops early and walks the whole space.
constexpr MUINT32 NEVER_EXACT_KHZ = 533033;

bool InRange(MUINT64 uiValue, const SLimitValues& roLimit)
{
    return uiValue >= roLimit.uiMin && uiValue <= roLimit.uiMax;
}

// The plain reference: every divider set whose three internal frequencies are in range, the
// output closest to the target kept (the synthesizer formula, as XCascadedPll::ComputeFreq).
MUINT32 ReferenceSearch(const SPllData& roLimits, MUINT32 uiTarget, MUINT32 uiRef)
{
    MUINT64 uiBestError = ~0ull;
    MUINT32 uiBest      = 0;
    for (MUINT32 uiM0 = roLimits.oM0Limit.uiMin; uiM0 <= roLimits.oM0Limit.uiMax; ++uiM0)
    {
        const MUINT64 uiVco0 = (MUINT64)uiRef * uiM0;
        for (MUINT32 uiP0 = roLimits.oP0Limit.uiMin; uiP0 <= roLimits.oP0Limit.uiMax; ++uiP0)
        {
            for (MUINT32 uiM1 = roLimits.oM1Limit.uiMin; uiM1 <= roLimits.oM1Limit.uiMax; ++uiM1)
            {
                for (MUINT32 uiP1 = roLimits.oP1Limit.uiMin; uiP1 <= roLimits.oP1Limit.uiMax; ++uiP1)
                {
                    if (!InRange(uiVco0, roLimits.oVco0kHzLimit) || !InRange(uiVco0 / uiP0, roLimits.oRef1kHzLimit) ||
                        !InRange(uiVco0 * uiM1 / uiP0, roLimits.oVco1kHzLimit))
                    {
                        continue;
                    }
                    const MUINT64 uiOut   = uiVco0 * uiM1 / (2ull * uiP0 * uiP1);
                    const MUINT64 uiError = uiOut > uiTarget ? uiOut - uiTarget : uiTarget - uiOut;
                    if (uiError < uiBestError)
                    {
                        uiBestError = uiError;
                        uiBest      = (MUINT32)uiOut;
                    }
                }
            }
        }
    }
    return uiBest;
}

// Arguments: the generic block's three system synthesizer targets, then the never-exact one.
void Targets(benchmark::internal::Benchmark* poBench)
{
    for (MUINT32 uiTarget : {s_oClock.uiFS0FOut, s_oClock.uiFS1FOut, s_oClock.uiFS2FOut, NEVER_EXACT_KHZ})
    {
        poBench->Arg(uiTarget);
    }
}

void BM_ComputeParam(benchmark::State& roState)
{
    const XCascadedPll oPll(s_oLimits);
    const MUINT32 uiTarget = (MUINT32)roState.range(0);
    SParamResult oResult{};
    for (auto _ : roState)
    {
        benchmark::DoNotOptimize(oPll.ComputeParam(uiTarget, s_oClock.uiFreqRef, TOLERANCE, 1, oResult));
    }
    roState.counters["candidates"] = oResult.uiNbIter;
    roState.counters["out_khz"]    = oResult.uiOutputFreq;
}
BENCHMARK(BM_ComputeParam)->Apply(Targets);

void BM_ReferenceSearch(benchmark::State& roState)
{
    const MUINT32 uiTarget = (MUINT32)roState.range(0);
    MUINT32 uiOut          = 0;
    for (auto _ : roState)
    {
        uiOut = ReferenceSearch(s_oLimits, uiTarget, s_oClock.uiFreqRef);
        benchmark::DoNotOptimize(uiOut);
    }
    roState.counters["out_khz"] = uiOut;
}
BENCHMARK(BM_ReferenceSearch)->Apply(Targets);

// ---- Parameter blocks: the largest built-in block. Validation may rewrite an old header in
// place, so each round validates a fresh copy (the copy is part of the figure: a memcpy of about
// a kilobyte).

void BM_ValidateLargestBlock(benchmark::State& roState)
{
    std::vector<MUINT8> aucBlock(g_aucBenchLargest_size);
    for (auto _ : roState)
    {
        memcpy(aucBlock.data(), g_aucBenchLargest, aucBlock.size());
        benchmark::DoNotOptimize(Pins10Validate(aucBlock.data(), (MUINT32)aucBlock.size()));
    }
    roState.counters["bytes"] = (double)aucBlock.size();
}
BENCHMARK(BM_ValidateLargestBlock);

void BM_MergeLargestBlock(benchmark::State& roState)
{
    std::vector<MUINT8> aucA(g_aucBenchLargest, g_aucBenchLargest + g_aucBenchLargest_size);
    std::vector<MUINT8> aucB(aucA);
    for (auto _ : roState)
    {
        MUINT8* puiOut    = nullptr;
        MUINT32 uiOutSize = 0;
        benchmark::DoNotOptimize(XPins10Helper::MergePinsData(aucA.data(), (MUINT32)aucA.size(), aucB.data(),
                                                              (MUINT32)aucB.size(), &puiOut, &uiOutSize));
        delete[] puiOut;
    }
}
BENCHMARK(BM_MergeLargestBlock);

// ---- One bring-up of a simulated board in virtual time: the CPU cost of the tool and of the
// simulator's access path, with every wait returning at once. Loading the rig and finding the
// board are outside the figure.

void BM_VirtualTimeInitialisation(benchmark::State& roState)
{
    char acDir[] = "/tmp/qel-microbench-XXXXXX";
    if (mkdtemp(acDir) == nullptr)
    {
        roState.SkipWithError("no scratch directory");
        return;
    }
    const std::string sDir = acDir;
    std::string sError;
    if (!QelBench_WriteBoardImage(sDir + "/board.bin", sError))
    {
        roState.SkipWithError(sError.c_str());
        return;
    }
    const std::string sRig = QelBench_RigText(1, false, "board.bin");
    SQelSimBoardStats oStats;
    for (auto _ : roState)
    {
        roState.PauseTiming();
        QelVxdSetBackendForTest(QelVxdSim_LoadRigText(sRig, sDir, sError));
        XDevQelVxd_Init();
        roState.ResumeTiming();
        const int iStatus = XDevQelVxd_InitializeDevice(0);
        roState.PauseTiming();
        if (iStatus != 0)
        {
            roState.SkipWithError("the board did not come up");
        }
        oStats = QelVxdSim_Current()->Bus().Boards().front()->Stats();
        XDevQelVxd_Cleanup();
        QelVxdSim_Unload();
        roState.ResumeTiming();
    }
    QelVxdSetBackendForTest(nullptr);
    remove((sDir + "/board.bin").c_str());
    remove(sDir.c_str());
    roState.counters["reg_reads"]  = (double)oStats.uiRegReads;
    roState.counters["reg_writes"] = (double)oStats.uiRegWrites;
    roState.counters["mem_reads"]  = (double)oStats.uiMemReads;
    roState.counters["mem_writes"] = (double)oStats.uiMemWrites;
}
BENCHMARK(BM_VirtualTimeInitialisation)->Unit(benchmark::kMillisecond);
}  // namespace

BENCHMARK_MAIN();
