// The simulator's open page, reached as the tool reaches it: through the platform's dword
// functions, which make runs of dword accesses to one memory page in the page the simulator
// published, without a call into the simulator. Whatever changes between two accesses, through
// the simulator or behind its back, the second one must be answered exactly as a decoded access
// would be, and every access must still be counted against the board.
#include <functional>

#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSimPciRegs.h"
#include "QelVxdSimTestSupport.h"

namespace
{
const MUINT32 PATTERN = 0xA5A5A5A5u;   // what memory never written reads
const MUINT32 PAGE_AT = 0x7000;        // an offset in the memory window at the start of a page

class COpenPageTest : public CSimTest
{
public:
    CQelSimDram& Dram() { return m_poBoard->Dram(); }
    void SetMemoryDecode(bool bOn) { CSimTest::SetMemoryDecode(BOARD_03, bOn); }
    // Memory Space Enable switched in the board's configuration space without a bus access.
    void PokeMemoryDecode(bool bOn)
    {
        const MUINT32 uiCommand = m_poBoard->PeekConfig(QelSimPci::REG_COMMAND);
        const MUINT32 uiEnable  = QelSimPci::COMMAND_MEMORY_ENABLE;
        m_poBoard->PokeConfig(QelSimPci::REG_COMMAND, bOn ? uiCommand | uiEnable : uiCommand & ~uiEnable);
    }

protected:
    void SetUp() override
    {
        CSimTest::SetUp();
        QelVxdSetBackendForTest(&Load(R"({"boards":[
          {"bus":3, "device":0, "function":0, "chip_revision":1, "memory_size_code":3}]})"));
        m_poBoard = QelVxdSim_Board(3, 0, 0);
        ASSERT_NE(m_poBoard, nullptr);
        // These tests look at the memory store, not at its bring-up: the memory counts as trained.
        Dram().SetContentsValid(true);
        m_hMem = MapMemory(*m_poBoard);
        ASSERT_NE(m_hMem, 0u);
    }
    void TearDown() override
    {
        QelVxdSetBackendForTest(nullptr);
        CSimTest::TearDown();
    }

    MUINT32 Read(MUINT32 uiOffset)
    {
        MUINT32 uiValue = 0;
        EXPECT_EQ(memReadDword(m_hMem, uiOffset, &uiValue), 1);
        return uiValue;
    }
    void Write(MUINT32 uiOffset, MUINT32 uiValue) { EXPECT_EQ(memWriteDword(m_hMem, uiOffset, uiValue), 1); }
    // Whether the platform would answer a dword at this offset from the published page.
    bool Published(MUINT32 uiOffset) const
    {
        return QelVxdSim_Backend()->poDirectPage->Holds(m_hMem + uiOffset);
    }

    CQelSimBoard* m_poBoard = nullptr;
    MEMHANDLE m_hMem        = 0;
};

using FnBoardChange = std::function<void(COpenPageTest&)>;

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

class COpenPageChangeTest : public COpenPageTest, public testing::WithParamInterface<SChangeCase>
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

const FnBoardChange fnNothing = [](COpenPageTest&) {};
INSTANTIATE_TEST_SUITE_P(
    Changes, COpenPageChangeTest,
    testing::Values(
        SChangeCase{"Nothing", fnNothing, fnNothing, 0x11111111u, 0x22222222u, 0x22222222u},
        SChangeCase{"ContentsLost", [](COpenPageTest& ro) { ro.Dram().SetContentsValid(false); },
                    [](COpenPageTest& ro) { ro.Dram().SetContentsValid(true); }, 0, 0, PATTERN},
        SChangeCase{"DataLineStuck", [](COpenPageTest& ro) { ro.Dram().SetStuckBits(0x00000400); },
                    [](COpenPageTest& ro) { ro.Dram().SetStuckBits(0); }, 0x11111511u, 0x22222622u, 0x22222222u},
        SChangeCase{"ContentsForgotten", [](COpenPageTest& ro) { ro.Dram().Forget(); }, fnNothing, PATTERN,
                    0x22222222u, 0x22222222u},
        SChangeCase{"MemoryDecodeOff", [](COpenPageTest& ro) { ro.SetMemoryDecode(false); },
                    [](COpenPageTest& ro) { ro.SetMemoryDecode(true); }, 0xFFFFFFFFu, 0xFFFFFFFFu, PATTERN},
        SChangeCase{"MemoryDecodeOffBehindTheBus", [](COpenPageTest& ro) { ro.PokeMemoryDecode(false); },
                    [](COpenPageTest& ro) { ro.PokeMemoryDecode(true); }, 0xFFFFFFFFu, 0xFFFFFFFFu, PATTERN}),
    [](const testing::TestParamInfo<SChangeCase>& roInfo) { return std::string(roInfo.param.pszName); });

TEST_F(COpenPageTest, CountsEveryAccessAndEndsAtThePageBoundary)
{
    const SQelSimBoardStats oBefore = m_poBoard->Stats();
    for (MUINT32 uiOffset = 0; uiOffset < 0x2000; uiOffset += 4)
    {
        Write(PAGE_AT + uiOffset, uiOffset);
    }
    Write(PAGE_AT + 0x2000, 0xFFFFFFFF);
    MUINT32 uiWrong = 0;
    for (MUINT32 uiOffset = 0; uiOffset < 0x2000; uiOffset += 4)
    {
        uiWrong += Read(PAGE_AT + uiOffset) != uiOffset ? 1 : 0;
    }
    EXPECT_EQ(uiWrong, 0u);
    EXPECT_EQ(Read(PAGE_AT + 0x2004), PATTERN) << "a page never written";
    EXPECT_EQ(m_poBoard->Stats().uiMemWrites - oBefore.uiMemWrites, 0x801u);
    EXPECT_EQ(m_poBoard->Stats().uiMemReads - oBefore.uiMemReads, 0x801u);
    EXPECT_EQ(Dram().AllocatedPages(), 3u);
}

// A dword that starts in the open page's last three bytes runs into the next page: it must be
// split there like a decoded access, never copied past the end of the open page's storage.
TEST_F(COpenPageTest, LeavesADwordAcrossItsEndToTheDecode)
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
TEST_F(COpenPageTest, IsWithdrawnWithTheSimulator)
{
    Write(PAGE_AT, 0x11111111);
    ASSERT_TRUE(Published(PAGE_AT));
    QelVxdSim_Unload();
    EXPECT_FALSE(Published(PAGE_AT));
    EXPECT_EQ(Read(PAGE_AT), 0xFFFFFFFFu);
}

// Any other operation of the simulator closes the page, so that what the simulator does there
// (a wait counted against a board, a configuration access) never meets a page left open.
TEST_F(COpenPageTest, IsClosedByEveryOtherOperation)
{
    const std::function<void()> afnOperations[] = {
        [] { tmDelay(1); },
        [] {
            MUINT64 uiNow = 0;
            tmCounter(&uiNow);
        },
        [] { tmSleep(1); },
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
