// The simulator behind the real platform functions: the bus scan finds exactly the rig's
// functions and traces nothing for the empty slots it probes; capability walk, BAR sizing,
// mappings and the timer work through the generic layer.
#include <set>
#include <sstream>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSimTestSupport.h"

namespace
{
class CPlatformTest : public CSimTest
{
protected:
    void SetUp() override
    {
        CSimTest::SetUp();
        setenv("QELVXD_SIM_TRACE", Path("trace.txt").c_str(), 1);
        QelVxdSetBackendForTest(&Load(R"({
          "devices":[{"bus":0,"device":2,"function":0,"vendor_id":"0x8086","device_id":"0x1234"},
                     {"bus":0,"device":2,"function":3,"vendor_id":"0x8086","device_id":"0x1235"}],
          "bridges":[{"bus":0,"device":28,"function":0,"secondary":3,"subordinate":3}],
          "boards":[{"bus":3,"device":0,"function":0,"bar64":false,"memory_size_code":1}]})"));
    }
    void TearDown() override
    {
        QelVxdSetBackendForTest(nullptr);
        CSimTest::TearDown();
    }
};

TEST_F(CPlatformTest, ScanFindsTheRigAndTracesNoEmptySlot)
{
    std::vector<PCIHANDLE> ahFound;
    ASSERT_EQ(pciScan(
                  [](PCIHANDLE hPci, void* pvFound) {
                      static_cast<std::vector<PCIHANDLE>*>(pvFound)->push_back(hPci);
                      return 0;
                  },
                  &ahFound),
              0);
    const std::vector<PCIHANDLE> ahExpected = {0x0010, 0x0013, 0x00E0, 0x0300};
    EXPECT_EQ(ahFound, ahExpected);

    QelVxdSim_Unload();
    const std::set<std::string> oPresent = {"00:02.0", "00:02.3", "00:1c.0", "03:00.0"};
    std::istringstream oTrace(ReadText(Path("trace.txt")));
    size_t uiLines = 0;
    for (std::string sLine; std::getline(oTrace, sLine); ++uiLines)
    {
        std::istringstream oFields(sLine);
        std::string sTime, sLocation, sSpace;
        oFields >> sTime >> sLocation >> sSpace;
        EXPECT_EQ(oPresent.count(sLocation), 1u) << sLine;
        EXPECT_EQ(sSpace, "cfg") << sLine;
    }
    EXPECT_GE(uiLines, 8u) << "vendor id and header type of each present function";
}

TEST_F(CPlatformTest, BoardThroughThePlatformFunctions)
{
    MUINT32 uiOffset = 0;
    EXPECT_EQ(pciFindCapability(BOARD_03, &uiOffset, 0x10), 1);
    EXPECT_EQ(uiOffset, 0x60u);
    EXPECT_EQ(pciFindPMCapability(BOARD_03, &uiOffset), 1);
    EXPECT_EQ(uiOffset, 0x50u);

    MUINT32 uiBase = 0, uiMask = 0;
    EXPECT_EQ(pciGetTermbase(BOARD_03, 0x10, &uiBase, &uiMask), 1);
    EXPECT_EQ(uiMask, 0xFC000000u) << "64 MiB";
    EXPECT_EQ(uiBase, (MUINT32)QelVxdSim_Board(3, 0, 0)->MemoryBase());
    MUINT32 uiRegisterBar = 0;
    csReadDword(BOARD_03, 0x14, &uiRegisterBar);

    const MEMHANDLE hRegs = memMap64(uiRegisterBar & ~0xFFu, 0x10000, 0);
    ASSERT_NE(hRegs, 0u);
    MUINT32 uiRevision = 0;
    memReadDword(hRegs, 0x328, &uiRevision);
    EXPECT_EQ(uiRevision, 0x10u);
    MUINT8 aucBytes[7] = {1, 2, 3, 4, 5, 6, 7};
    memWrite(hRegs, 0x5D02, aucBytes, 7);
    EXPECT_EQ(QelVxdSim_Board(3, 0, 0)->PeekReg(0x5D04), 0x06050403u);
    EXPECT_EQ(memUnmap(hRegs), 1);

    MUINT64 uiBefore = 0, uiAfter = 0;
    tmCounter(&uiBefore);
    tmDelay(1000000);
    tmCounter(&uiAfter);
    EXPECT_EQ(uiAfter - uiBefore, 1000000u);
}
}  // namespace
