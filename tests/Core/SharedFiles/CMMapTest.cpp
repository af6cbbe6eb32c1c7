#include <map>

#include "ContainerTestSupport.h"

namespace
{
typedef CMMap<MINT32, MINT32, MINT32, MINT32> CIntMap;

// Every (key, value) of the map in iteration order, failing on a key seen twice.
std::map<MINT32, MINT32> Walk(const CIntMap& roMap)
{
    std::map<MINT32, MINT32> oSeen;
    MPOSITION uiPosition = roMap.GetStartPosition();
    while (uiPosition != 0)
    {
        MINT32 iKey = 0, iValue = 0;
        roMap.GetNextAssoc(uiPosition, iKey, iValue);
        EXPECT_TRUE(oSeen.emplace(iKey, iValue).second) << "key " << iKey << " visited twice";
    }
    return oSeen;
}
}  // namespace

using CMMapTest = CContainerTest;

TEST_F(CMMapTest, ManyCollidingKeysInsertLookupRemoveAndIterate)
{
    CIntMap oMap;
    MINT32 iValue = -1;
    // A map that was never written has no bucket array yet.
    EXPECT_TRUE(Walk(oMap).empty());
    EXPECT_FALSE(oMap.Lookup(3, iValue));
    EXPECT_FALSE(oMap.RemoveKey(3));

    std::map<MINT32, MINT32> oExpected;
    // 17 buckets: every key lands in one of the first three, in long chains.
    for (MINT32 i = 0; i < 500; i++)
    {
        MINT32 iKey = i * 17 + i % 3;
        oMap[iKey] = i;
        oExpected[iKey] = i;
    }
    ASSERT_EQ(oMap.GetCount(), 500);
    EXPECT_EQ(Walk(oMap), oExpected);

    std::erase_if(oExpected, [&](const auto& roEntry) {
        if (roEntry.first % 2 != 0)
            return false;
        EXPECT_TRUE(oMap.RemoveKey(roEntry.first));
        EXPECT_FALSE(oMap.RemoveKey(roEntry.first));
        return true;
    });
    EXPECT_EQ(oMap.GetCount(), static_cast<MINT32>(oExpected.size()));
    EXPECT_EQ(Walk(oMap), oExpected);
    for (MINT32 iKey = 0; iKey < 500 * 17 + 3; iKey++)
    {
        EXPECT_EQ(oMap.Lookup(iKey, iValue) != 0, oExpected.count(iKey) == 1) << "key " << iKey;
    }
}

TEST_F(CMMapTest, InsertionWithoutMemoryIsReportedAndHarmless)
{
    CIntMap oMap;
    for (MINT32 iKey = 1; iKey <= 10; iKey++)   // fills the first node block
        oMap[iKey] = iKey;
    m_oAllocator.m_bRefuse = true;
    std::string oOutput = Printed([&] { oMap[11] = 110; });   // no node to be had
    m_oAllocator.m_bRefuse = false;
    EXPECT_TRUE(Reports(oOutput, "QelMFCTypes.h("));
    EXPECT_EQ(oMap.GetCount(), 10);
    MINT32 iValue = 0;
    EXPECT_FALSE(oMap.Lookup(11, iValue));
}
