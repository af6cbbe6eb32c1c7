// The flash content keeps only pages that hold something other than erased bytes; whatever it
// stores, every address must read what was last written there, and erased everywhere else.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "QelVxdSimFlashContent.h"

namespace
{
constexpr MUINT32 PAGE = CQelSimFlashContent::msc_uiPageSize;

struct SFlashWrite
{
    MUINT32 uiAddress;
    std::vector<MUINT8> aucData;
    bool bChanges;
};

struct SFlashCase
{
    const char* pszName;
    MUINT32 uiChipSize;
    std::vector<SFlashWrite> aoWrites;
    size_t uiUsedImageSize;   // the used image ends at the last byte that is not erased
    size_t uiStoredPages;     // pages with a byte that is not erased, or that had one
};
void PrintTo(const SFlashCase& roCase, std::ostream* poStream)
{
    *poStream << roCase.pszName;
}

class CFlashContentTest : public testing::TestWithParam<SFlashCase>
{
};

// Every byte of the chip, checked against a flat model of the same writes.
TEST_P(CFlashContentTest, ReadsWhatWasWrittenAndErasedElsewhere)
{
    const SFlashCase& roCase = GetParam();
    CQelSimFlashContent oFlash(roCase.uiChipSize);
    std::vector<MUINT8> aucModel(roCase.uiChipSize, CQelSimFlashContent::ERASED);
    for (const SFlashWrite& roWrite : roCase.aoWrites)
    {
        SCOPED_TRACE(roWrite.uiAddress);
        EXPECT_EQ(oFlash.Write(roWrite.uiAddress, roWrite.aucData.data(), (MUINT32)roWrite.aucData.size()),
                  roWrite.bChanges);
        for (size_t uiAt = 0; uiAt < roWrite.aucData.size() && roWrite.uiAddress + uiAt < roCase.uiChipSize; ++uiAt)
        {
            aucModel[roWrite.uiAddress + uiAt] = roWrite.aucData[uiAt];
        }
    }
    EXPECT_EQ(oFlash.Image(), aucModel);
    MUINT32 uiWrong = 0;
    for (MUINT32 uiAt = 0; uiAt < roCase.uiChipSize; ++uiAt)
    {
        uiWrong += oFlash[uiAt] != aucModel[uiAt] ? 1 : 0;
    }
    EXPECT_EQ(uiWrong, 0u);
    EXPECT_EQ(oFlash[roCase.uiChipSize], CQelSimFlashContent::ERASED) << "nothing is kept past the chip";
    EXPECT_EQ(oFlash.StoredPages(), roCase.uiStoredPages);
    const std::vector<MUINT8> aucUsed = oFlash.UsedImage();
    EXPECT_EQ(aucUsed.size(), roCase.uiUsedImageSize);
    EXPECT_TRUE(std::equal(aucUsed.begin(), aucUsed.end(), aucModel.begin()));

    CQelSimFlashContent oReloaded(roCase.uiChipSize);
    oReloaded.Write(0, aucUsed.data(), (MUINT32)aucUsed.size());
    EXPECT_TRUE(oReloaded == oFlash) << "the used image loads back to the same content";
    // Equality is about what reads, not what is stored: it tells a run that changed the flash.
    EXPECT_EQ(oFlash == CQelSimFlashContent(roCase.uiChipSize), aucUsed.empty());
}

const std::vector<MUINT8> ERASED_PAGE(PAGE, CQelSimFlashContent::ERASED);

INSTANTIATE_TEST_SUITE_P(
    Writes, CFlashContentTest,
    testing::Values(
        SFlashCase{"Blank", 0x20000, {}, 0, 0},
        SFlashCase{"ErasedBytesStoreNothing", 0x20000, {{0x3000, ERASED_PAGE, false}}, 0, 0},
        SFlashCase{"AcrossAPageBoundary", 0x20000, {{PAGE - 2, {1, 2, 3, 4}, true}}, PAGE + 2, 2},
        SFlashCase{"SameBytesChangeNothing", 0x20000, {{5, {7, 8}, true}, {5, {7, 8}, false}}, 7, 1},
        SFlashCase{"ErasingAStoredByte", 0x20000, {{5, {7, 8}, true}, {6, {0xFF}, true}}, 6, 1},
        SFlashCase{"AStoredPageThatReadsErased", 0x20000, {{0x5000, {0}, true}, {0x5000, {0xFF}, true}}, 0, 1},
        SFlashCase{"ClippedAtTheEndOfAChipOfHalfAPage", PAGE + PAGE / 2, {{PAGE + PAGE / 2 - 1, {1, 2, 3}, true}},
                   PAGE + PAGE / 2, 1},
        SFlashCase{"PastTheChip", 0x20000, {{0x20000, {1}, false}}, 0, 0}),
    [](const testing::TestParamInfo<SFlashCase>& roInfo) { return std::string(roInfo.param.pszName); });
}  // namespace
