// The board windows through mappings: register file, DRAM, what mapping does with
// addresses outside a window or on a board whose mappings fail, and the open register and open
// page. Runs of dword accesses to one register, or to one memory page, skip the bus decode: the
// platform's dword functions reach a page the simulator published without a call into it.
// Whatever changes between two accesses, through the simulator or behind its back, the second one
// must be answered exactly as a decoded access would be.
#include <functional>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSimPciRegs.h"
#include "QelVxdSimTestSupport.h"

namespace
{
const MUINT32 PATTERN = 0xA5A5A5A5u;   // what memory never written reads
const MUINT32 PAGE_AT = 0x7000;        // an offset in the memory window at the start of a page

class CWindowTest : public CSimTest
{
public:
    CQelSimDram& Dram() { return m_poBoard->Dram(); }
    // Memory Space Enable switched through configuration space: both windows answer only while
    // it is set.
    void SetMemoryDecode(bool bOn)
    {
        const MUINT32 uiCommand = Cfg32(BOARD_03, QelSimPci::RegCOMMAND_STATUS);
        const MUINT32 uiEnable  = QelSimPci::COMMAND_MEMORY_ENABLE;
        SetCfg32(BOARD_03, QelSimPci::RegCOMMAND_STATUS, bOn ? uiCommand | uiEnable : uiCommand & ~uiEnable);
    }
    // The same switched in the board's configuration space without a bus access.
    void PokeMemoryDecode(bool bOn)
    {
        const MUINT32 uiCommand = m_poBoard->PeekConfig(QelSimPci::RegCOMMAND_STATUS);
        const MUINT32 uiEnable  = QelSimPci::COMMAND_MEMORY_ENABLE;
        m_poBoard->PokeConfig(QelSimPci::RegCOMMAND_STATUS, bOn ? uiCommand | uiEnable : uiCommand & ~uiEnable);
    }

protected:
    void SetUp() override
    {
        CSimTest::SetUp();
        QelVxdSetBackendForTest(&Load(R"({"boards":[
          {"bus":3, "device":0, "function":0, "chip_revision":1, "memory_size_code":3},
          {"bus":4, "device":0, "function":0, "faults":{"map_fails":true}} ]})"));
        m_poBoard = QelVxdSim_Board(3, 0, 0);
        ASSERT_NE(m_poBoard, nullptr);
        // These tests look at the memory store, not at its bring-up: the memory counts as trained.
        Dram().SetContentsValid(true);
        m_hRegs = MapRegisters(*m_poBoard);
        m_hMem  = MapMemory(*m_poBoard);
        ASSERT_NE(m_hRegs, 0u);
        ASSERT_NE(m_hMem, 0u);
    }
    void TearDown() override
    {
        QelVxdSetBackendForTest(nullptr);
        CSimTest::TearDown();
    }

    const SQelVxdBackend& Sim() const { return *QelVxdSim_Backend(); }
    // Memory dwords through the platform, as the tool reaches them.
    MUINT32 Read(MUINT32 uiOffset)
    {
        MUINT32 uiValue = 0;
        EXPECT_EQ(memReadDword(m_hMem, uiOffset, &uiValue), 1);
        return uiValue;
    }
    void Write(MUINT32 uiOffset, MUINT32 uiValue) { EXPECT_EQ(memWriteDword(m_hMem, uiOffset, uiValue), 1); }
    // Whether the platform would answer a dword at this offset from the published page.
    bool Published(MUINT32 uiOffset) const { return Sim().poDirectPage->Holds(m_hMem + uiOffset); }

    CQelSimBoard* m_poBoard = nullptr;
    MEMHANDLE m_hRegs       = 0;
    MEMHANDLE m_hMem        = 0;
};

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

// The open register: a change behind the simulator's back shows at once, and every access is
// still counted against the board.
TEST_F(CWindowTest, TheOpenRegisterIsAnsweredAsDecoded)
{
    const MEMHANDLE hReg = m_hRegs + 0x5D00;
    const SQelSimBoardStats oBefore = m_poBoard->Stats();
    Sim().pfnWrite32(hReg, 0x11111111);
    ASSERT_EQ(Sim().pfnRead32(hReg), 0x11111111u);
    m_poBoard->PokeReg(0x5D00, 0x33333333);
    EXPECT_EQ(Sim().pfnRead32(hReg), 0x33333333u);
    Sim().pfnWrite32(hReg, 0x22222222);
    PokeMemoryDecode(false);
    EXPECT_EQ(Sim().pfnRead32(hReg), 0xFFFFFFFFu);
    Sim().pfnWrite32(hReg, 0x44444444);
    PokeMemoryDecode(true);
    EXPECT_EQ(Sim().pfnRead32(hReg), 0x22222222u) << "the write while not decoded was dropped";
    EXPECT_EQ(m_poBoard->Stats().uiRegReads - oBefore.uiRegReads, 4u);
    EXPECT_EQ(m_poBoard->Stats().uiRegWrites - oBefore.uiRegWrites, 3u);
}

// Spare pages prepared during waits must be indistinguishable from pages allocated on the first
// write: the rest of the page reads the unwritten pattern, and a reset loses what was written.
TEST_F(CWindowTest, SparePagesServeFirstWritesLikeFreshPages)
{
    size_t uiPrepared = 0;
    while (Dram().PrepareSparePage())
    {
        ++uiPrepared;
    }
    ASSERT_EQ(uiPrepared, CQelSimDram::msc_uiSparePages);

    Sim().pfnWrite32(m_hMem + 0x1000, 0x00000400);
    Sim().pfnWrite8(m_hMem + 0x7FFFF, 0x5A);
    EXPECT_EQ(Dram().SparePages(), CQelSimDram::msc_uiSparePages - 2);
    EXPECT_EQ(Dram().AllocatedPages(), 2u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x1000), 0x00000400u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x1FFC), PATTERN);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x7FFFC), 0x5AA5A5A5u);
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x7F000), PATTERN);

    Dram().Forget();
    EXPECT_EQ(Sim().pfnRead32(m_hMem + 0x1000), PATTERN);
    EXPECT_TRUE(Dram().PrepareSparePage()) << "two spares were used";
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

// ---- The open page.

using FnBoardChange = std::function<void(CWindowTest&)>;

struct SChangeCase
{
    const char* pszName;
    FnBoardChange fnChange;
    FnBoardChange fnUndo;
    MUINT32 uiFirstWhileChanged;  // of the dword written before the change; 0: garbage expected
    MUINT32 uiReadWhileChanged;   // of the dword written after the change; 0: garbage expected
    MUINT32 uiReadAfterUndo;      // the same dword once the change is undone
};
void PrintTo(const SChangeCase& roCase, std::ostream* poStream)
{
    *poStream << roCase.pszName;
}

class COpenPageChangeTest : public CWindowTest, public testing::WithParamInterface<SChangeCase>
{
};

TEST_P(COpenPageChangeTest, AnAccessAfterAChangeIsAnsweredAsDecoded)
{
    const SChangeCase& roCase = GetParam();
    Write(PAGE_AT, 0x11111111);
    ASSERT_EQ(Read(PAGE_AT), 0x11111111u);
    ASSERT_TRUE(Published(PAGE_AT + 4)) << "the page is open before the change";
    roCase.fnChange(*this);
    const auto fnExpect = [](MUINT32 uiRead, MUINT32 uiExpected, MUINT32 uiWritten) {
        if (uiExpected != 0)
        {
            EXPECT_EQ(uiRead, uiExpected);
        }
        else
        {
            EXPECT_NE(uiRead, uiWritten) << "untrained memory answers garbage";
            EXPECT_NE(uiRead, PATTERN);
        }
    };
    fnExpect(Read(PAGE_AT), roCase.uiFirstWhileChanged, 0x11111111);
    Write(PAGE_AT + 4, 0x22222222);
    fnExpect(Read(PAGE_AT + 4), roCase.uiReadWhileChanged, 0x22222222);
    roCase.fnUndo(*this);
    EXPECT_EQ(Read(PAGE_AT + 4), roCase.uiReadAfterUndo);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, COpenPageChangeTest,
    testing::Values(
        SChangeCase{"ContentsLost", [](CWindowTest& ro) { ro.Dram().SetContentsValid(false); },
                    [](CWindowTest& ro) { ro.Dram().SetContentsValid(true); }, 0, 0, PATTERN},
        SChangeCase{"DataLineStuck", [](CWindowTest& ro) { ro.Dram().SetStuckBits(0x00000400); },
                    [](CWindowTest& ro) { ro.Dram().SetStuckBits(0); }, 0x11111511u, 0x22222622u, 0x22222222u},
        SChangeCase{"ContentsForgotten", [](CWindowTest& ro) { ro.Dram().Forget(); }, [](CWindowTest&) {}, PATTERN,
                    0x22222222u, 0x22222222u},
        SChangeCase{"MemoryDecodeOff", [](CWindowTest& ro) { ro.SetMemoryDecode(false); },
                    [](CWindowTest& ro) { ro.SetMemoryDecode(true); }, 0xFFFFFFFFu, 0xFFFFFFFFu, PATTERN},
        SChangeCase{"MemoryDecodeOffBehindTheBus", [](CWindowTest& ro) { ro.PokeMemoryDecode(false); },
                    [](CWindowTest& ro) { ro.PokeMemoryDecode(true); }, 0xFFFFFFFFu, 0xFFFFFFFFu, PATTERN}),
    [](const testing::TestParamInfo<SChangeCase>& roInfo) { return std::string(roInfo.param.pszName); });

// A dword that starts in the open page's last three bytes runs into the next page: it must be
// split there like a decoded access, never copied past the end of the open page's storage.
TEST_F(CWindowTest, TheOpenPageLeavesADwordAcrossItsEndToTheDecode)
{
    const MUINT32 uiPageEnd = PAGE_AT + 0x1000;
    Write(uiPageEnd, 0x44332211);
    for (MUINT32 uiBack = 1; uiBack <= 3; ++uiBack)
    {
        SCOPED_TRACE(uiBack);
        Write(uiPageEnd - 8, 0xAAAAAAAA);   // opens the page below the boundary
        Write(uiPageEnd - 4, 0xBBBBBBBB);
        ASSERT_TRUE(Published(uiPageEnd - 4));
        const MUINT32 uiShift  = 8 * uiBack;
        const MUINT32 uiExpect = (0xBBBBBBBBu >> (32 - uiShift)) | (0x44332211u << uiShift);
        EXPECT_EQ(Read(uiPageEnd - uiBack), uiExpect);

        Write(uiPageEnd - 8, 0xAAAAAAAA);
        Write(uiPageEnd - uiBack, 0xDDCCBBAA);
        EXPECT_EQ(Read(uiPageEnd), (0xDDCCBBAAu >> uiShift) | (0x44332211u & ~0u << (32 - uiShift)))
            << "the bytes past the boundary land in the next page";
        Write(uiPageEnd, 0x44332211);
    }
}

// The published page points into the simulator's memory: once the simulator is gone, an access
// at the same address must reach the backend (which answers like an empty bus), not freed bytes.
TEST_F(CWindowTest, TheOpenPageIsWithdrawnWithTheSimulator)
{
    Write(PAGE_AT, 0x11111111);
    ASSERT_TRUE(Published(PAGE_AT));
    QelVxdSim_Unload();
    EXPECT_FALSE(Published(PAGE_AT));
    EXPECT_EQ(Read(PAGE_AT), 0xFFFFFFFFu);
}

// Any other operation of the simulator closes the page, so that what the simulator does there
// (a wait that prepares spare pages, a configuration access, a new mapping) never meets a page
// left open.
TEST_F(CWindowTest, TheOpenPageIsClosedByEveryOtherOperation)
{
    const std::function<void()> afnOperations[] = {
        [] { tmDelay(1); },
        [] {
            MUINT32 uiId = 0;
            csReadDword(BOARD_03, 0, &uiId);
        },
        [this] { memUnmap(memMap64(m_poBoard->MemoryBase(), 4, 1)); },
    };
    for (size_t uiCase = 0; uiCase < std::size(afnOperations); ++uiCase)
    {
        SCOPED_TRACE(uiCase);
        Write(PAGE_AT, 0x11111111);
        ASSERT_TRUE(Published(PAGE_AT));
        afnOperations[uiCase]();
        EXPECT_FALSE(Published(PAGE_AT));
    }
}
}  // namespace
