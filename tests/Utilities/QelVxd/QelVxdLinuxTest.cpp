// The Linux backend on this machine: the real PCI bus through libpci, mappings made from a
// regular file standing in for the physical-memory device, and the monotonic timer.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "QelVxdApi.h"
#include "QelVxdBackend.h"
#include "QelVxdPrivate.h"
#include "QelVxdPrivateLinux.h"

namespace
{
// ---- Real PCI bus.

// Handle -> vendor id of every function that `lspci -n` lists; empty when it cannot run.
std::map<PCIHANDLE, MUINT16> ListFunctionsWithLspci(std::string& rszWhyNot)
{
    std::map<PCIHANDLE, MUINT16> oFunctions;
    FILE* poPipe = popen("lspci -n 2>/dev/null", "r");
    if (poPipe == nullptr)
    {
        rszWhyNot = "cannot start lspci";
        return oFunctions;
    }
    char szLine[512];
    while (fgets(szLine, sizeof(szLine), poPipe) != nullptr)
    {
        unsigned uiDomain = 0, uiBus = 0, uiDevice = 0, uiFunction = 0, uiVendor = 0;
        char szClass[16];
        // "bb:dd.f cccc: vvvv:dddd", with a "dddd:" domain in front when there are several.
        if ((sscanf(szLine, "%x:%x:%x.%x %15s %x:", &uiDomain, &uiBus, &uiDevice, &uiFunction, szClass, &uiVendor) != 6) &&
            ((uiDomain = 0), sscanf(szLine, "%x:%x.%x %15s %x:", &uiBus, &uiDevice, &uiFunction, szClass, &uiVendor) != 5))
        {
            continue;
        }
        if (uiDomain != 0)
        {
            rszWhyNot = "PCI domains other than 0 are present; handles do not carry a domain";
            oFunctions.clear();
            break;
        }
        oFunctions[QelVxdMakePciHandle(uiBus, uiDevice, uiFunction)] = (MUINT16)uiVendor;
    }
    const int iStatus = pclose(poPipe);
    if (!rszWhyNot.empty())
    {
        return oFunctions;
    }
    if ((iStatus == -1) || !WIFEXITED(iStatus) || (WEXITSTATUS(iStatus) != 0))
    {
        rszWhyNot = "lspci is not installed or failed";
        oFunctions.clear();
    }
    else if (oFunctions.empty())
    {
        rszWhyNot = "no PCI bus is visible on this machine";
    }
    return oFunctions;
}

int CollectVendor(PCIHANDLE hPci, void* pvContext)
{
    MUINT16 uiVendor = 0;
    csReadWord(hPci, 0, &uiVendor);
    (*static_cast<std::map<PCIHANDLE, MUINT16>*>(pvContext))[hPci] = uiVendor;
    return 0;
}

class QelVxdLinuxPci : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend);
        m_oLspci = ListFunctionsWithLspci(m_szWhyNot);
    }
    void TearDown() override
    {
        ReleaseQELLibrary();
        QelVxdSetBackendForTest(nullptr);
    }

    std::map<PCIHANDLE, MUINT16> m_oLspci;
    std::string m_szWhyNot;
};

TEST_F(QelVxdLinuxPci, ScanVisitsExactlyTheFunctionsLspciLists)
{
    if (m_oLspci.empty())
    {
        GTEST_SKIP() << m_szWhyNot;
    }
    std::map<PCIHANDLE, MUINT16> oScanned;
    EXPECT_EQ(0, pciScan(CollectVendor, &oScanned));
    EXPECT_EQ(m_oLspci, oScanned);

    // After a release the next access builds a fresh view of the bus.
    ReleaseQELLibrary();
    std::map<PCIHANDLE, MUINT16> oRescanned;
    EXPECT_EQ(0, pciScan(CollectVendor, &oRescanned));
    EXPECT_EQ(m_oLspci, oRescanned);
}

TEST_F(QelVxdLinuxPci, FunctionThatDoesNotExistReadsAllOnesAndDropsWrites)
{
    // Needs no bus: with none visible every handle is absent.
    PCIHANDLE hAbsent = QelVxdMakePciHandle(0xFF, 0x1F, 7);
    while (m_oLspci.count(hAbsent) != 0)
    {
        hAbsent--;
    }

    MUINT8 auiBuffer[64];
    memset(auiBuffer, 0, sizeof(auiBuffer));
    EXPECT_EQ(1, csRead(hAbsent, 0, auiBuffer, sizeof(auiBuffer)));
    for (MUINT8 ui : auiBuffer)
    {
        ASSERT_EQ(0xFF, ui);
    }
    EXPECT_EQ(1, csWriteDword(hAbsent, 0x04, 0));
    MUINT32 uiDword = 0;
    EXPECT_EQ(1, csReadDword(hAbsent, 0x04, &uiDword));
    EXPECT_EQ(0xFFFFFFFFu, uiDword);
}

// ---- Mappings, made from a sparse regular file in place of the memory device.
constexpr MUINT64 FILE_SIZE = 0x100003000ULL;   // past 4 GiB, to reach the high address half

class QelVxdLinuxMap : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend);
        char szPath[] = "/tmp/qelvxd-physmem-XXXXXX";
        m_iFile = mkstemp(szPath);
        ASSERT_GE(m_iFile, 0) << strerror(errno);
        m_szPath = szPath;
        ASSERT_EQ(0, ftruncate(m_iFile, (off_t)FILE_SIZE)) << strerror(errno);
        ASSERT_EQ(1, QelVxdLinuxSetMemDevicePath(m_szPath.c_str()));
    }
    void TearDown() override
    {
        QelVxdLinuxSetMemDevicePath(nullptr);
        QelVxdSetBackendForTest(nullptr);
        if (m_iFile >= 0)
        {
            close(m_iFile);
            unlink(m_szPath.c_str());
        }
    }

    void PutFileDword(MUINT64 uiOffset, MUINT32 uiValue)
    {
        ASSERT_EQ(4, pwrite(m_iFile, &uiValue, 4, (off_t)uiOffset));
    }
    MUINT32 GetFileDword(MUINT64 uiOffset)
    {
        MUINT32 uiValue = 0;
        EXPECT_EQ(4, pread(m_iFile, &uiValue, 4, (off_t)uiOffset));
        return uiValue;
    }
    static bool IsPageMapped(MEMHANDLE hPage)
    {
        return msync(reinterpret_cast<void*>(hPage), QELVXD_PAGE_SIZE, MS_ASYNC) == 0;
    }
    static void DropPage(MEMHANDLE hPage)
    {
        munmap(reinterpret_cast<void*>(hPage), QELVXD_PAGE_SIZE);
    }

    int m_iFile = -1;
    std::string m_szPath;
};

TEST_F(QelVxdLinuxMap, AddressKeepsItsPageOffsetAndWindowIsShared)
{
    PutFileDword(0x12345000, 0xA0A0A0A0);
    PutFileDword(0x12345678, 0x12345678);

    const MEMHANDLE hAddress = memMap64(0x12345678, 0x10, 0);
    ASSERT_NE(0u, hAddress);
    EXPECT_EQ(0x678u, hAddress & QELVXD_PAGE_OFFSET_MASK);

    MUINT32 uiValue = 0;
    memReadDword(hAddress, 0, &uiValue);
    EXPECT_EQ(0x12345678u, uiValue);
    memReadDword(hAddress - 0x678, 0, &uiValue);
    EXPECT_EQ(0xA0A0A0A0u, uiValue) << "the mapping must start at the page of the address";

    memWriteDword(hAddress, 4, 0xCAFEF00D);
    EXPECT_EQ(0xCAFEF00Du, GetFileDword(0x1234567C)) << "writes must reach the device";

    EXPECT_EQ(1, memUnmap(hAddress));
    // A window shorter than a page is not unmapped: the unmap length rounds down to 0.
    EXPECT_TRUE(IsPageMapped(hAddress - 0x678));
    DropPage(hAddress - 0x678);
}

TEST_F(QelVxdLinuxMap, LengthRoundsUpOnMapAndDownOnUnmap)
{
    // 0x678 + 0x1000 bytes span two pages.
    const MEMHANDLE hAddress = memMap64(0x12345678, 0x1000, 0);
    ASSERT_NE(0u, hAddress);
    const MEMHANDLE hFirstPage = hAddress - 0x678;
    EXPECT_TRUE(IsPageMapped(hFirstPage));
    EXPECT_TRUE(IsPageMapped(hFirstPage + QELVXD_PAGE_SIZE));

    EXPECT_EQ(1, memUnmap(hAddress));
    EXPECT_FALSE(IsPageMapped(hFirstPage));
    EXPECT_TRUE(IsPageMapped(hFirstPage + QELVXD_PAGE_SIZE)) << "the partial last page stays mapped";
    DropPage(hFirstPage + QELVXD_PAGE_SIZE);
}

TEST_F(QelVxdLinuxMap, HighAddressHalfSelectsTheFileOffset)
{
    PutFileDword(0x100001010ULL, 0x600DF00D);
    const MEMHANDLE hAddress = memMap64(0x100001010ULL, 0x2000, 1);
    ASSERT_NE(0u, hAddress);
    MUINT32 uiValue = 0;
    memReadDword(hAddress, 0, &uiValue);
    EXPECT_EQ(0x600DF00Du, uiValue);
    EXPECT_EQ(1, memUnmap(hAddress));
    DropPage(hAddress - 0x10 + 2 * QELVXD_PAGE_SIZE);
}

TEST_F(QelVxdLinuxMap, OnlyLiveMappingsCanBeUnmapped)
{
    const MEMHANDLE hFirst = memMap(0x2000, 0x3000);
    const MEMHANDLE hSecond = memMap(0x8000, 0x1000);
    ASSERT_NE(0u, hFirst);
    ASSERT_NE(0u, hSecond);

    EXPECT_EQ(0, memUnmap(hFirst + 4)) << "only the returned address names a mapping";
    EXPECT_EQ(0, memUnmap(0));
    EXPECT_EQ(1, memUnmap(hFirst));
    EXPECT_EQ(0, memUnmap(hFirst)) << "a mapping is removed once";
    EXPECT_EQ(1, memUnmap(hSecond));
}

TEST_F(QelVxdLinuxMap, FailuresReturnZeroAndKeepNothing)
{
    // No length at a page boundary: nothing to map.
    EXPECT_EQ(0u, memMap64(0x4000, 0, 0));

    ASSERT_EQ(1, QelVxdLinuxSetMemDevicePath("/nonexistent-dir/mem"));
    EXPECT_EQ(0u, memMap(0x4000, 0x1000));

    const std::string szTooLong(8192, 'x');
    EXPECT_EQ(0, QelVxdLinuxSetMemDevicePath(szTooLong.c_str()));
}

// ---- Timer.
TEST(QelVxdLinuxTimer, CounterIsMonotonicMicroseconds)
{
    QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend);
    SQelLargeInteger oFrequency = {0, 1};
    EXPECT_EQ(1, tmFrequency(&oFrequency));
    EXPECT_EQ(1000000u, oFrequency.uiLowPart);
    EXPECT_EQ(0u, oFrequency.uiHighPart);

    MUINT64 uiPrevious = 0;
    ASSERT_EQ(1, tmCounter(&uiPrevious));
    for (int i = 0; i < 1000; i++)
    {
        MUINT64 uiNow = 0;
        ASSERT_EQ(1, tmCounter(&uiNow));
        ASSERT_GE(uiNow, uiPrevious);
        uiPrevious = uiNow;
    }
    QelVxdSetBackendForTest(nullptr);
}

TEST(QelVxdLinuxTimer, DelayAndSleepLastAtLeastTheirTime)
{
    QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend);
    MUINT64 uiStart = 0, uiAfterZero = 0, uiAfterDelay = 0, uiAfterSleep = 0;
    tmCounter(&uiStart);
    EXPECT_EQ(1, tmDelay(0));
    tmCounter(&uiAfterZero);
    EXPECT_EQ(1, tmDelay(1500));
    tmCounter(&uiAfterDelay);
    EXPECT_EQ(1, tmSleep(2000));
    tmCounter(&uiAfterSleep);

    EXPECT_LT(uiAfterZero - uiStart, 1000000u) << "tmDelay(0) must return at once";
    EXPECT_GE(uiAfterDelay - uiAfterZero, 1500u);
    EXPECT_GE(uiAfterSleep - uiAfterDelay, 2000u);
    QelVxdSetBackendForTest(nullptr);
}

// ---- Backend selection.
class QelVxdBackendSelection : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const char* psz = getenv("QELVXD_SIM");
        m_bHadValue = (psz != nullptr);
        m_szSaved = m_bHadValue ? psz : "";
        QelVxdSetBackendForTest(nullptr);
    }
    void TearDown() override
    {
        if (m_bHadValue)
        {
            setenv("QELVXD_SIM", m_szSaved.c_str(), 1);
        }
        else
        {
            unsetenv("QELVXD_SIM");
        }
        QelVxdSetBackendForTest(nullptr);
    }

    bool m_bHadValue = false;
    std::string m_szSaved;
};

TEST_F(QelVxdBackendSelection, UnsetOrEmptySelectsLinux)
{
    unsetenv("QELVXD_SIM");
    EXPECT_EQ(&g_oQelVxdLinuxBackend, QelVxdBackend());

    QelVxdSetBackendForTest(nullptr);
    setenv("QELVXD_SIM", "", 1);
    MUINT64 uiNow = 0;
    EXPECT_EQ(1, tmCounter(&uiNow)) << "the first call through the table selects and forwards";
    EXPECT_EQ(&g_oQelVxdLinuxBackend, g_poQelVxdBackend);
}

TEST_F(QelVxdBackendSelection, ReleaseBeforeAnyUseStartsNoBackend)
{
    // Selecting here would start the simulator on a rig that does not exist.
    setenv("QELVXD_SIM", "/nonexistent/rig.json", 1);
    EXPECT_EQ(1, InitQELLibrary());
    EXPECT_EQ(1, ReleaseQELLibrary());
}
}
