// The Linux backend on this machine: the real PCI bus through libpci, mappings made from a
// sparse regular file standing in for the physical-memory device, the monotonic timer, and the
// choice of backend.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <unistd.h>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdPrivateLinux.h"

namespace
{
// Handle -> vendor id of every function `lspci -n -D` lists; empty when it cannot tell.
std::map<PCIHANDLE, MUINT16> ListFunctionsWithLspci(std::string& rszWhyNot)
{
    std::map<PCIHANDLE, MUINT16> oFunctions;
    FILE* poPipe = popen("lspci -n -D 2>/dev/null", "r");
    char szLine[512];
    while ((poPipe != nullptr) && (fgets(szLine, sizeof(szLine), poPipe) != nullptr))
    {
        unsigned uiDomain, uiBus, uiDevice, uiFunction, uiVendor;   // "0000:00:1f.3 0403: 8086:a348"
        if (sscanf(szLine, "%x:%x:%x.%x %*x: %x:", &uiDomain, &uiBus, &uiDevice, &uiFunction, &uiVendor) == 5)
        {
            if (uiDomain != 0)
            {
                rszWhyNot = "a PCI domain other than 0 is present; handles carry no domain";
            }
            oFunctions[QelVxdMakePciHandle(uiBus, uiDevice, uiFunction)] = (MUINT16)uiVendor;
        }
    }
    const bool bLspciRan = (poPipe != nullptr) && (pclose(poPipe) == 0);
    if (!bLspciRan)
    {
        rszWhyNot = "lspci is not installed or failed";
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

class QelVxdLinux : public ::testing::Test
{
protected:
    void SetUp() override { QelVxdSetBackendForTest(&g_oQelVxdLinuxBackend); }
    void TearDown() override
    {
        ReleaseQELLibrary();
        QelVxdSetBackendForTest(nullptr);
    }
};

TEST_F(QelVxdLinux, ScanVisitsExactlyTheFunctionsLspciLists)
{
    std::string szWhyNot;
    const std::map<PCIHANDLE, MUINT16> oLspci = ListFunctionsWithLspci(szWhyNot);
    if (!szWhyNot.empty())
    {
        GTEST_SKIP() << szWhyNot;
    }
    for (int iRound = 0; iRound < 2; iRound++)   // the second after a release: a fresh view of the bus
    {
        std::map<PCIHANDLE, MUINT16> oScanned;
        EXPECT_EQ(0, pciScan(CollectVendor, &oScanned));
        EXPECT_EQ(oLspci, oScanned);
        ReleaseQELLibrary();
    }
}

TEST_F(QelVxdLinux, TimerCountsMicrosecondsAndWaitsAtLeastAsked)
{
    SQelLargeInteger oFrequency = {0, 1};
    EXPECT_EQ(1, tmFrequency(&oFrequency));
    EXPECT_EQ(1000000u, oFrequency.uiLowPart);
    EXPECT_EQ(0u, oFrequency.uiHighPart);

    MUINT64 auiTimes[4] = {};
    tmCounter(&auiTimes[0]);
    EXPECT_EQ(1, tmDelay(0));
    tmCounter(&auiTimes[1]);
    EXPECT_EQ(1, tmDelay(1500));
    tmCounter(&auiTimes[2]);
    EXPECT_EQ(1, tmSleep(2000));
    ASSERT_EQ(1, tmCounter(&auiTimes[3]));
    EXPECT_LT(auiTimes[1] - auiTimes[0], 1000000u) << "tmDelay(0) must return at once";
    EXPECT_GE(auiTimes[2] - auiTimes[1], 1500u);
    EXPECT_GE(auiTimes[3] - auiTimes[2], 2000u);
}

// ---- Mappings, made from a sparse regular file in place of the memory device.
class QelVxdLinuxMap : public QelVxdLinux
{
protected:
    void SetUp() override
    {
        QelVxdLinux::SetUp();
        char szPath[] = "/tmp/qelvxd-physmem-XXXXXX";
        m_iFile = mkstemp(szPath);
        ASSERT_GE(m_iFile, 0) << strerror(errno);
        unlink(szPath);
        // Past 4 GiB, so the high half of an address is reachable.
        ASSERT_EQ(0, ftruncate(m_iFile, 0x100003000LL)) << strerror(errno);
        ASSERT_EQ(1, QelVxdLinuxSetMemDevicePath(("/proc/self/fd/" + std::to_string(m_iFile)).c_str()));
    }
    void TearDown() override
    {
        QelVxdLinuxSetMemDevicePath(nullptr);
        close(m_iFile);
        QelVxdLinux::TearDown();
    }

    void PutFileDword(off_t iOffset, MUINT32 uiValue) { ASSERT_EQ(4, pwrite(m_iFile, &uiValue, 4, iOffset)); }

    int m_iFile = -1;
};

// The mapping starts at the page of the address and reaches the page of its last byte.
TEST_F(QelVxdLinuxMap, MapsWholePagesAroundTheAddress)
{
    PutFileDword(0x12345000, 0xA0A0A0A0);
    PutFileDword(0x12345678, 0x12345678);
    const MEMHANDLE hAddress = memMap64(0x12345678, 0x1000, 0);   // 0x678 + 0x1000 bytes: two pages
    ASSERT_NE(0u, hAddress);
    EXPECT_EQ(0x678u, hAddress & QELVXD_PAGE_OFFSET_MASK);
    const MEMHANDLE hFirstPage = hAddress - 0x678;

    MUINT32 uiValue = 0;
    memReadDword(hAddress, 0, &uiValue);
    EXPECT_EQ(0x12345678u, uiValue);
    memReadDword(hFirstPage, 0, &uiValue);
    EXPECT_EQ(0xA0A0A0A0u, uiValue);
    memWriteDword(hAddress, 0xFFC, 0xCAFEF00D);   // the last dword asked for, in the second page
    EXPECT_EQ(4, pread(m_iFile, &uiValue, 4, 0x12346674));
    EXPECT_EQ(0xCAFEF00Du, uiValue);
    EXPECT_EQ(1, memUnmap(hAddress));

    // The high half of a 64-bit address is part of the file offset.
    PutFileDword(0x100001010LL, 0x600DF00D);
    const MEMHANDLE hHigh = memMap64(0x100001010ULL, 0x1FF0, 1);   // exactly two pages
    ASSERT_NE(0u, hHigh);
    memReadDword(hHigh, 0, &uiValue);
    EXPECT_EQ(0x600DF00Du, uiValue);
    EXPECT_EQ(1, memUnmap(hHigh));
}

TEST_F(QelVxdLinuxMap, OnlyLiveMappingsUnmapAndFailuresKeepNothing)
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

    EXPECT_EQ(0u, memMap64(0x4000, 0, 0)) << "nothing to map";
    ASSERT_EQ(1, QelVxdLinuxSetMemDevicePath("/nonexistent-dir/mem"));
    EXPECT_EQ(0u, memMap(0x4000, 0x1000));
    EXPECT_EQ(0, QelVxdLinuxSetMemDevicePath(std::string(8192, 'x').c_str()));
}

// ---- Backend choice.
TEST(QelVxdBackendSelection, UnsetOrEmptySimulatorVariableSelectsLinuxAndReleaseSelectsNothing)
{
    const char* pszSaved = getenv("QELVXD_SIM");
    const std::string szSaved = pszSaved ? pszSaved : "";

    // Releasing before any use must not start a backend: here it would be a simulator on a rig
    // that does not exist, which ends the process.
    QelVxdSetBackendForTest(nullptr);
    setenv("QELVXD_SIM", "/nonexistent/rig.json", 1);
    EXPECT_EQ(1, InitQELLibrary());
    EXPECT_EQ(1, ReleaseQELLibrary());

    unsetenv("QELVXD_SIM");
    EXPECT_EQ(&g_oQelVxdLinuxBackend, QelVxdBackend());
    QelVxdSetBackendForTest(nullptr);
    setenv("QELVXD_SIM", "", 1);
    MUINT64 uiNow = 0;
    EXPECT_EQ(1, tmCounter(&uiNow)) << "the first call through the table selects and forwards";
    EXPECT_EQ(&g_oQelVxdLinuxBackend, g_poQelVxdBackend);

    pszSaved ? setenv("QELVXD_SIM", szSaved.c_str(), 1) : unsetenv("QELVXD_SIM");
    QelVxdSetBackendForTest(nullptr);
}
}
