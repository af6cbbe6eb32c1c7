#include <functional>
#include <tuple>
#include <vector>

#include "ContainerTestSupport.h"

namespace
{
// Element that counts how it is created, copied and destroyed.
struct SProbe
{
    static inline int ms_iConstructed = 0;
    static inline int ms_iCopied = 0;
    static inline int ms_iDestroyed = 0;

    SProbe() : uiValue(7) { ms_iConstructed++; }
    SProbe(const SProbe& roOther) : uiValue(roOther.uiValue) { ms_iCopied++; }
    SProbe& operator=(const SProbe& roOther) = default;
    ~SProbe() { ms_iDestroyed++; }
    static int Alive() { return ms_iConstructed + ms_iCopied - ms_iDestroyed; }

    MUINT32 uiValue;
};

typedef CMArray<MINT32, MINT32> CIntArray;

std::vector<MINT32> Contents(const CIntArray& roArray)
{
    return std::vector<MINT32>(roArray.GetData(), roArray.GetData() + roArray.GetSize());
}

CIntArray Sequence(MINT32 iCount)
{
    CIntArray oArray;
    for (MINT32 i = 0; i < iCount; i++)
        oArray.Add(i);
    return oArray;
}
}  // namespace

// ---- Growth rule ---------------------------------------------------------------------------------

using CMArrayGrowthTest = CContainerTest;

TEST_F(CMArrayGrowthTest, CapacityAndStepFollowTheGrowthRule)
{
    // {name, SetSize(newSize, growBy) calls in order, capacity, step}
    const std::tuple<const char*, std::vector<std::pair<MINT32, MINT32>>, MINT32, MINT32> aoCases[] = {
        {"FirstGrowthFixesStepAtFour", {{1, -1}, {2, -1}}, 5, 4},
        {"EightyGrowsByTen", {{80, -1}, {81, -1}}, 90, 10},
        // size 90 would give 11 if recomputed; the first step is kept
        {"StepIsKeptAfterwards", {{80, -1}, {81, -1}, {91, -1}}, 100, 10},
        {"LargeArrayGrowsBy1024", {{10000, -1}, {10001, -1}}, 11024, 1024},
        {"JumpPastStepTakesRequestedSize", {{1, -1}, {100, -1}}, 100, 4},
        {"ExplicitStep", {{1, 7}, {2, -1}}, 8, 7},
        {"ShrinkKeepsStorage", {{10, -1}, {3, -1}}, 10, 0},
        {"ZeroReleasesStorage", {{10, -1}, {0, -1}}, 0, 0}};
    for (const auto& [pszName, roCalls, iCapacity, iGrowBy] : aoCases)
    {
        CIntArray oArray;
        for (const auto& roCall : roCalls)
        {
            // Fill what exists so that a lost element shows after the next growth.
            for (MINT32 i = 0; i < oArray.GetSize(); i++)
                oArray[i] = i * 3;
            oArray.SetSize(roCall.first, roCall.second);
        }
        const MINT32 iFinalSize = roCalls.back().first;
        const MINT32 iPreviousSize = roCalls.size() > 1 ? roCalls[roCalls.size() - 2].first : 0;
        EXPECT_EQ(oArray.GetSize(), iFinalSize) << pszName;
        EXPECT_EQ(oArray.m_iMaxSize, iCapacity) << pszName;
        EXPECT_EQ(oArray.m_iGrowBy, iGrowBy) << pszName;
        for (MINT32 i = 0; i < iFinalSize; i++)
            ASSERT_EQ(oArray[i], i < iPreviousSize ? i * 3 : 0) << pszName << ", element " << i;
    }
}

// ---- Element life cycle --------------------------------------------------------------------------

// Every test ends with every element it made destroyed again, whatever path freed it.
class CMArrayElementTest : public CContainerTest
{
protected:
    void SetUp() override
    {
        CContainerTest::SetUp();
        SProbe::ms_iConstructed = SProbe::ms_iCopied = SProbe::ms_iDestroyed = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(SProbe::Alive(), 0);
        CContainerTest::TearDown();
    }
};

TEST_F(CMArrayElementTest, GrowthAndFreeExtraRelocateByBytes)
{
    CMArray<SProbe> oArray;
    oArray.SetSize(4);
    for (MINT32 i = 0; i < 4; i++)
        oArray[i].uiValue = 100 + i;

    oArray.SetSize(50);
    oArray.SetSize(5);
    oArray.FreeExtra();

    EXPECT_EQ(SProbe::ms_iCopied, 0) << "relocation must not copy-construct";
    EXPECT_EQ(SProbe::ms_iConstructed, 50);
    EXPECT_EQ(SProbe::ms_iDestroyed, 45);
    EXPECT_EQ(oArray.m_iMaxSize, 5);
    for (MINT32 i = 0; i < 4; i++)
        EXPECT_EQ(oArray[i].uiValue, 100u + i);

    // Opening and closing a gap keeps every element alive exactly once.
    oArray.InsertAt(1, oArray[3], 2);
    oArray.RemoveAt(0, 2);
    EXPECT_EQ(SProbe::Alive(), 5);
    EXPECT_EQ(oArray[0].uiValue, 103u);
    EXPECT_EQ(oArray[1].uiValue, 101u);
}

// ---- Editing ---------------------------------------------------------------------------------------

using CMArrayEditTest = CContainerTest;

TEST_F(CMArrayEditTest, RemoveAndFindKeepOrder)
{
    CIntArray oArray = Sequence(5);
    oArray.Add(1);
    EXPECT_EQ(oArray.Find(1, 2), 5);
    oArray.RemoveAt(1, 3);
    EXPECT_EQ(Contents(oArray), (std::vector<MINT32>{0, 4, 1}));
    EXPECT_EQ(oArray.Find(1), 2);
    EXPECT_FALSE(oArray.Contains(3));
}

TEST_F(CMArrayEditTest, AddingOwnElementSurvivesReallocation)
{
    CMArray<CMString, const CMString&> oArray;
    oArray.Add(CMString("first"));
    for (int i = 0; i < 20; i++)
        oArray.Add(oArray[0]);   // the argument lives in the storage being replaced
    for (int i = 0; i < oArray.GetSize(); i++)
        EXPECT_EQ(oArray[i], "first");
    CMArray<CMString, const CMString&> oCopy(oArray);
    EXPECT_EQ(oCopy.GetSize(), 21);
}

// ---- Broken preconditions ------------------------------------------------------------------------

struct SMisuseCase
{
    const char* pszName;
    std::function<void(CIntArray&)> fnMisuse;
    const char* pszReport;   // "file(line" of the expected assertion report
    bool bRefuseMemory;
};

void PrintTo(const SMisuseCase& roCase, std::ostream* poStream) { *poStream << roCase.pszName; }

class CMArrayMisuseTest : public CContainerTest, public testing::WithParamInterface<SMisuseCase>
{
};

TEST_P(CMArrayMisuseTest, ReportsAndLeavesElementsIntact)
{
    CIntArray oArray = Sequence(3);
    oArray.FreeExtra();   // full: any growth needs new storage
    m_oAllocator.m_bRefuse = GetParam().bRefuseMemory;
    std::string oOutput = Printed([&] { GetParam().fnMisuse(oArray); });
    m_oAllocator.m_bRefuse = false;
    EXPECT_TRUE(Reports(oOutput, GetParam().pszReport));
    EXPECT_EQ(Contents(oArray), (std::vector<MINT32>{0, 1, 2}));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CMArrayMisuseTest,
    testing::Values(SMisuseCase{"WritePastEnd", [](CIntArray& a) { a[3] = 77; }, "QelMFCTypes.h(4267)", false},
                    SMisuseCase{"WriteNegative", [](CIntArray& a) { a.ElementAt(-1) = 77; }, "QelMFCTypes.h(4267)", false},
                    SMisuseCase{"ReadPastEndSeesDefault", [](CIntArray& a) { EXPECT_EQ(a.GetAt(3), 0); },
                                "QelMFCTypes.h(4267)", false},
                    SMisuseCase{"NegativeSize", [](CIntArray& a) { a.SetSize(-4); }, "QelMFCTypes.h(4679)", false},
                    SMisuseCase{"RemoveBeyondEnd", [](CIntArray& a) { a.RemoveAt(2, 2); }, "QelMFCTypes.h(", false},
                    SMisuseCase{"AddWithoutMemory", [](CIntArray& a) { a.Add(5); }, "QelMFCTypes.h(", true}),
    [](const testing::TestParamInfo<SMisuseCase>& roInfo) { return roInfo.param.pszName; });
