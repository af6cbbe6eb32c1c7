// The board windows through mappings: register file and its behaviours, DRAM, decoding, and
// what mapping does with addresses outside a window or on a board whose mappings fail.
#include <functional>
#include <set>

#include "QelVxdSimPciRegs.h"
#include "QelVxdSimTestSupport.h"

namespace
{
const char* const s_pszRig = R"({"boards":[
  {"bus":3, "device":0, "function":0, "chip_revision":1, "memory_size_code":3},
  {"bus":4, "device":0, "function":0, "faults":{"map_fails":true}},
  {"bus":5, "device":0, "function":0, "device_id":"0x0540"} ]})";

class CWindowTest : public CSimTest
{
protected:
    void SetUp() override
    {
        CSimTest::SetUp();
        Load(s_pszRig);
        m_poBoard = QelVxdSim_Board(3, 0, 0);
        ASSERT_NE(m_poBoard, nullptr);
        // These tests look at the memory store, not at its bring-up: the memory counts as trained.
        m_poBoard->Dram().SetContentsValid(true);
        m_hRegs = MapRegisters(*m_poBoard);
        m_hMem  = MapMemory(*m_poBoard);
        ASSERT_NE(m_hRegs, 0u);
        ASSERT_NE(m_hMem, 0u);
    }

    const SQelVxdBackend& Sim() const { return *QelVxdSim_Backend(); }

    CQelSimBoard* m_poBoard = nullptr;
    MEMHANDLE m_hRegs       = 0;
    MEMHANDLE m_hMem        = 0;
};

TEST_F(CWindowTest, StrapRegistersKeepTheirStrapBits)
{
    EXPECT_EQ((Sim().pfnRead32(m_hRegs + 0x314) >> 27) & 3, 3u) << "memory size code";
    EXPECT_EQ((Sim().pfnRead32(m_hRegs + 0x328) >> 4) & 0xF, 1u) << "chip revision";
    Sim().pfnWrite32(m_hRegs + 0x314, 0x00000055);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x314), 0x18000055u) << "other bits are plain storage";
    Sim().pfnWrite8(m_hRegs + 0x328, 0x0F);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x328), 0x0000001Fu);
}

TEST_F(CWindowTest, PlainRegistersKeepWhatIsWrittenAtEveryWidth)
{
    Sim().pfnWrite32(m_hRegs + 0x5D00, 0x11223344);
    Sim().pfnWrite8(m_hRegs + 0x5D01, 0xAA);
    Sim().pfnWrite16(m_hRegs + 0x5D02, 0xBBCC);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x5D00), 0xBBCCAA44u);
    EXPECT_EQ(Sim().pfnRead16(m_hRegs + 0x5D02), 0xBBCCu);
    EXPECT_EQ(Sim().pfnRead8(m_hRegs + 0x5D03), 0xBBu);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0xFFFC), 0u) << "last register of the 64 KiB window";
}

TEST_F(CWindowTest, AMisalignedDwordIsSplitAtEveryAccess)
{
    // Bytes 2-5 of two neighbouring registers. The first access may open the register it was
    // made at; the next ones to the same address must still reach both registers.
    Sim().pfnWrite32(m_hRegs + 0x5D00, 0x11111111);
    Sim().pfnWrite32(m_hRegs + 0x5D04, 0x22222222);
    Sim().pfnWrite32(m_hRegs + 0x5D02, 0xAABBCCDD);
    Sim().pfnWrite32(m_hRegs + 0x5D02, 0x33445566);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x5D02), 0x33445566u);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x5D02), 0x33445566u);
    EXPECT_EQ(m_poBoard->PeekReg(0x5D00), 0x55661111u);
    EXPECT_EQ(m_poBoard->PeekReg(0x5D04), 0x22223344u);
}

// A behaviour that counts and shows what it is told.
class CRecordingBehaviour : public CQelSimRegBehaviour
{
public:
    MUINT32 OnRead(CQelSimBoard&, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiByteMask) override
    {
        m_asEvents.push_back("R " + std::to_string(uiOffset) + " " + std::to_string(uiByteMask));
        return uiStored ^ 0xFFFFFFFF;
    }
    MUINT32 OnWrite(CQelSimBoard&, MUINT32 uiOffset, MUINT32 uiStored, MUINT32 uiWritten, MUINT32 uiByteMask) override
    {
        m_asEvents.push_back("W " + std::to_string(uiOffset) + " " + std::to_string(uiStored) + " " +
                             std::to_string(uiWritten) + " " + std::to_string(uiByteMask));
        return uiWritten + 1;
    }
    std::vector<std::string> m_asEvents;
};

TEST_F(CWindowTest, BehavioursSeeEveryAccessToTheirRegistersAsDwordAccesses)
{
    // 0x7F00-0x7F07: registers no model of the chip uses.
    CRecordingBehaviour* poBehaviour = m_poBoard->AddBehaviour<CRecordingBehaviour>(0x7F00, 8);
    ASSERT_NE(poBehaviour, nullptr);
    Sim().pfnWrite32(m_hRegs + 0x7F00, 10);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x7F00), ~11u);
    Sim().pfnWrite8(m_hRegs + 0x7F05, 0x01);
    EXPECT_EQ(Sim().pfnRead8(m_hRegs + 0x7F06), 0xFFu);
    Sim().pfnWrite32(m_hRegs + 0x7F08, 7);
    const std::vector<std::string> asExpected = {"W 32512 0 10 4294967295", "R 32512 4294967295", "W 32516 0 256 65280",
                                                 "R 32516 16711680"};
    EXPECT_EQ(poBehaviour->m_asEvents, asExpected);
    EXPECT_EQ(m_poBoard->PeekReg(0x7F04), 257u);
    EXPECT_EQ(m_poBoard->PeekReg(0x7F08), 7u) << "outside the attached range";
    EXPECT_EQ(m_poBoard->AddBehaviour<CRecordingBehaviour>(0xFFFC, 8), nullptr) << "range leaves the window";
}

TEST_F(CWindowTest, DramIsSparseAndReadsAPatternWhereNeverWritten)
{
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x0FFFFFFC), 0xA5A5A5A5u);
    Sim().pfnWrite32(m_hMem + 0x40000, 0x00010000);
    Sim().pfnWrite16(m_hMem + 0x40006, 0xBEEF);
    Sim().pfnWrite8(m_hMem + 0x40004, 0x12);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x40000), 0x00010000u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x40004), 0xBEEFA512u);
    EXPECT_EQ(m_poBoard->Dram().AllocatedPages(), 1u);
}

// Spare pages prepared during waits must be indistinguishable from pages allocated on the first
// write: the rest of the page reads the unwritten pattern, and a reset loses what was written.
TEST_F(CWindowTest, SparePagesServeFirstWritesLikeFreshPages)
{
    CQelSimDram& roDram = m_poBoard->Dram();
    size_t uiPrepared   = 0;
    while (roDram.PrepareSparePage())
    {
        ++uiPrepared;
    }
    ASSERT_EQ(uiPrepared, CQelSimDram::msc_uiSparePages);
    EXPECT_FALSE(roDram.PrepareSparePage());

    Sim().pfnWrite32(m_hMem + 0x1000, 0x00000400);
    Sim().pfnWrite8(m_hMem + 0x7FFFF, 0x5A);
    EXPECT_EQ(roDram.SparePages(), CQelSimDram::msc_uiSparePages - 2);
    EXPECT_EQ(roDram.AllocatedPages(), 2u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x1000), 0x00000400u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x1FFC), 0xA5A5A5A5u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x7FFFC), 0x5AA5A5A5u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x7F000), 0xA5A5A5A5u);

    roDram.Forget();
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x1000), 0xA5A5A5A5u);
    EXPECT_TRUE(roDram.PrepareSparePage()) << "two spares were used";
}

TEST_F(CWindowTest, UntrainedMemoryLosesWritesAndReadsGarbage)
{
    Sim().pfnWrite32(m_hMem + 0x100, 0x12345678);
    m_poBoard->Dram().SetContentsValid(false);
    Sim().pfnWrite32(m_hMem + 0x104, 0x00000104);
    std::set<MUINT32> oSeen;
    for (MUINT32 uiOffset = 0; uiOffset < 0x40; uiOffset += 4)
    {
        oSeen.insert(Sim().pfnRead32(m_hMem + 0x100 + uiOffset));
    }
    EXPECT_EQ(oSeen.count(0x12345678u) + oSeen.count(0x00000104u) + oSeen.count(0xA5A5A5A5u), 0u);
    EXPECT_GT(oSeen.size(), 8u) << "garbage differs from word to word";
    m_poBoard->Dram().SetContentsValid(true);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x100), 0x12345678u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x104), 0xA5A5A5A5u);
}

// Runs of dword accesses to one register skip the bus decode (the open register). The board
// still answers each of them: a change made behind the simulator's back shows at once.
struct SOpenRegisterCase
{
    const char* pszName;
    std::function<void(CQelSimBoard&)> fnChange;
    MUINT32 uiReadAfterChange;   // the register was 0x11111111 before the change
    MUINT32 uiReadAfterWrite;    // once 0x22222222 is written after the change
};
void PrintTo(const SOpenRegisterCase& roCase, std::ostream* poStream)
{
    *poStream << roCase.pszName;
}

class COpenRegisterTest : public CWindowTest, public testing::WithParamInterface<SOpenRegisterCase>
{
};

const MUINT32 PLAIN_REGISTER = 0x5D00;

TEST_P(COpenRegisterTest, AnAccessAfterAChangeIsAnsweredAsDecoded)
{
    const SOpenRegisterCase& roCase = GetParam();
    Sim().pfnWrite32(m_hRegs + PLAIN_REGISTER, 0x11111111);
    ASSERT_EQ(Sim().pfnRead32(m_hRegs + PLAIN_REGISTER), 0x11111111u);
    roCase.fnChange(*m_poBoard);
    const SQelSimBoardStats oBefore = m_poBoard->Stats();
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + PLAIN_REGISTER), roCase.uiReadAfterChange);
    Sim().pfnWrite32(m_hRegs + PLAIN_REGISTER, 0x22222222);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + PLAIN_REGISTER), roCase.uiReadAfterWrite);
    EXPECT_EQ(m_poBoard->Stats().uiRegReads - oBefore.uiRegReads, 2u);
    EXPECT_EQ(m_poBoard->Stats().uiRegWrites - oBefore.uiRegWrites, 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, COpenRegisterTest,
    testing::Values(
        SOpenRegisterCase{"Nothing", [](CQelSimBoard&) {}, 0x11111111u, 0x22222222u},
        SOpenRegisterCase{"RegisterSetBehindTheBack",
                          [](CQelSimBoard& ro) { ro.PokeReg(PLAIN_REGISTER, 0x33333333); }, 0x33333333u,
                          0x22222222u},
        SOpenRegisterCase{"DecodeOffBehindTheBack",
                          [](CQelSimBoard& ro) {
                              const MUINT32 uiCommand = ro.ConfigRead(QelSimPci::REG_COMMAND, 4);
                              ro.ConfigWrite(QelSimPci::REG_COMMAND, 4, uiCommand & ~QelSimPci::COMMAND_MEMORY_ENABLE);
                          },
                          0xFFFFFFFFu, 0xFFFFFFFFu}),
    [](const testing::TestParamInfo<SOpenRegisterCase>& roInfo) { return std::string(roInfo.param.pszName); });

TEST_F(CWindowTest, WindowsAnswerOnlyWhileDecoded)
{
    SetMemoryDecode(BOARD_03, false);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x328), 0xFFFFFFFFu);
    EXPECT_EQ(Sim().pfnRead16(m_hMem), 0xFFFFu);
    Sim().pfnWrite32(m_hRegs + 0x5D00, 1);
    SetMemoryDecode(BOARD_03, true);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x5D00), 0u) << "write while not decoded was dropped";

    // The register window's BAR follows the 64-bit memory BAR, which takes BARs 0 and 1.
    const MUINT32 uiRegBar = QelSimPci::REG_BAR0 + 8;
    const MUINT32 uiBar2   = Cfg32(BOARD_03, uiRegBar);
    SetCfg32(BOARD_03, uiRegBar, 0xFFFFFFFF);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x328), 0xFFFFFFFFu) << "register BAR moved away";
    EXPECT_EQ(Sim().pfnRead32(m_hMem), 0xA5A5A5A5u) << "memory BAR unchanged";
    SetCfg32(BOARD_03, uiRegBar, uiBar2);
    EXPECT_EQ(Sim().pfnRead32(m_hRegs + 0x328), 0x10u);
}

TEST_F(CWindowTest, MappingFollowsTheWindows)
{
    const MUINT64 uiRegs  = m_poBoard->RegisterBase();
    const MEMHANDLE hPart = Sim().pfnMap((MUINT32)uiRegs + 0x328, 0, 4, 0);
    ASSERT_NE(hPart, 0u);
    EXPECT_EQ(hPart % 4096, 0x328u) << "page offset kept, as /dev/mem mappings do";
    EXPECT_EQ(Sim().pfnRead32(hPart), 0x10u);
    EXPECT_EQ(Sim().pfnUnmap(hPart), 1);
    EXPECT_EQ(Sim().pfnUnmap(hPart), 0);

    EXPECT_EQ(Sim().pfnMap((MUINT32)uiRegs, 0, m_poBoard->RegisterSize() + 1, 0), 0u) << "runs past the window";
    EXPECT_EQ(Sim().pfnMap(0x1000, 0, 4096, 0), 0u) << "no window there";
    EXPECT_EQ(Sim().pfnMap((MUINT32)uiRegs, 0, 0, 0), 0u);

    const CQelSimBoard* poFirstGen = QelVxdSim_Board(5, 0, 0);
    EXPECT_EQ(poFirstGen->RegisterSize(), 0x2000u);
    EXPECT_EQ(Sim().pfnMap((MUINT32)poFirstGen->RegisterBase() + 0x2000, 0, 4, 0), 0u) << "8 KiB register window";
}

TEST_F(CWindowTest, MapFailsFaultRefusesBothWindows)
{
    const CQelSimBoard* poBoard = QelVxdSim_Board(4, 0, 0);
    EXPECT_EQ(MapRegisters(*poBoard), 0u);
    EXPECT_EQ(MapMemory(*poBoard), 0u);
    EXPECT_EQ(Cfg32(0x0400, 0x00), 0x05501E5Bu) << "configuration space still answers";
}

using CWindowDeathTest = CWindowTest;

TEST_F(CWindowDeathTest, AccessOutsideEveryMappingKillsTheProcess)
{
    EXPECT_DEATH(Sim().pfnRead32(m_hRegs + 0x10000), "32-bit read at address 0x[0-9a-f]+, which no mapping holds");
    EXPECT_DEATH(Sim().pfnWrite8(0x314, 0), "8-bit write at address 0x314, which no mapping holds");
}
}  // namespace
