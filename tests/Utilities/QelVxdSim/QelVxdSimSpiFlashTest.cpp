// The simulated EEPROM bus (register 0x360) and the SPI flash models behind it, driven through
// the backend as a host driver drives them.
#include <memory>

#include "QelVxdSimEepromBus.h"
#include "QelVxdSimTestSupport.h"
#include "SpiBusDecoder.h"

namespace
{
using namespace QelSimEeprom;
using SFlash = CQelSimSpiFlash;

// A host that bit-bangs the bus with plain writes of a shadow value (mode 0, MSB first).
class CSpiHost
{
public:
    CSpiHost(const SQelVxdBackend& roSim, MEMHANDLE hRegisters) : m_roSim(roSim), m_hBypass(hRegisters + HST_EEPROMBYP) {}

    MUINT32 ReadBypass() { return m_roSim.pfnRead32(m_hBypass); }
    void Set(MUINT32 uiBit, bool bOn) { Put(bOn ? (m_uiLines | uiBit) : (m_uiLines & ~uiBit)); }
    bool Request()
    {
        Put(BYPASS_REQUEST | BYPASS_CS0_N);
        return (ReadBypass() & BYPASS_GRANT) != 0;
    }
    void Bits(MUINT8 ucByte, MUINT32 uiBits)
    {
        for (MUINT32 uiBit = 8; uiBit-- > 8 - uiBits;)
        {
            Set(BYPASS_CLOCK, false);
            Set(BYPASS_DATA_IN, (ucByte >> uiBit) & 1);
            Set(BYPASS_CLOCK, true);
        }
    }
    // One transaction: the bytes out, then uiIn bytes in, each bit read after its rising edge.
    std::vector<MUINT8> Transfer(const std::vector<MUINT8>& raucOut, size_t uiIn = 0)
    {
        Set(BYPASS_CS0_N, false);
        for (MUINT8 ucByte : raucOut)
        {
            Bits(ucByte, 8);
        }
        std::vector<MUINT8> aucIn(uiIn);
        for (size_t uiBit = 0; uiBit < 8 * uiIn; ++uiBit)
        {
            Set(BYPASS_CLOCK, false);
            Set(BYPASS_CLOCK, true);
            aucIn[uiBit / 8] = (MUINT8)((aucIn[uiBit / 8] << 1) | ((ReadBypass() & BYPASS_DATA_OUT) != 0));
        }
        Set(BYPASS_CS0_N, true);
        return aucIn;
    }
    MUINT8 Status() { return Transfer({0x05}, 1)[0]; }
    void Unprotect()
    {
        Transfer({0x06});
        Transfer({0x01, 0x00});
        while (Status() & SFlash::STATUS_BUSY)
        {
        }
    }

private:
    void Put(MUINT32 uiValue)
    {
        m_uiLines = uiValue;
        m_roSim.pfnWrite32(m_hBypass, uiValue);
    }

    const SQelVxdBackend& m_roSim;
    MEMHANDLE m_hBypass;
    MUINT32 m_uiLines = BYPASS_POWER_ON;
};

class CFlashTest : public CSimTest
{
protected:
    // One board at 03:00.0 with that chip holding a counting pattern, and those faults; the host
    // holds the bus.
    void Start(const std::string& rsChip, const std::string& rsFaults = "")
    {
        std::vector<MUINT8> aucImage(QelVxdSim_FindFlashChip(rsChip)->uiSize);
        for (size_t uiAt = 0; uiAt < aucImage.size(); ++uiAt)
        {
            aucImage[uiAt] = (MUINT8)(uiAt * 7 + (uiAt >> 8));
        }
        WriteBytes("flash.bin", aucImage);
        const SQelVxdBackend& roSim = Load(R"({"boards":[{"bus":3,"device":0,"function":0,"eeprom":{"chip":")" +
                                           rsChip + R"(","image":"flash.bin"}, "faults": {)" + rsFaults + "}}]}");
        m_poBoard = QelVxdSim_Board(3, 0, 0);
        ASSERT_NE(m_poBoard, nullptr);
        m_poHost = std::make_unique<CSpiHost>(roSim, MapRegisters(*m_poBoard));
        ASSERT_TRUE(m_poHost->Request());
    }
    const SQelSimFlashCounters& Counters() { return QelVxdSim_EepromBus(*m_poBoard)->Flash().Counters(); }
    MUINT8 At(MUINT32 uiAddress) { return m_poBoard->Flash()[uiAddress]; }

    CQelSimBoard* m_poBoard = nullptr;
    std::unique_ptr<CSpiHost> m_poHost;
};

TEST_F(CFlashTest, ReadIsContinuousAndWrapsAtTheEndOfTheChip)
{
    Start("IS25WD020");
    const MUINT32 uiEnd = 256 * 1024;
    const std::vector<MUINT8> aucExpected = {At(uiEnd - 2), At(uiEnd - 1), At(0), At(1)};
    EXPECT_EQ(m_poHost->Transfer({0x03, 0x03, 0xFF, 0xFE}, 4), aucExpected);
    EXPECT_EQ(m_poHost->Transfer({0xAB}, 2), (std::vector<MUINT8>{0xFF, 0xFF})) << "unknown instruction";
}

// Bit errors on the data output: about one bit in N inverted, the same ones on every run.
TEST_F(CFlashTest, BitErrorsAreRareAndReproducible)
{
    std::vector<MUINT8> aaucRuns[2];
    for (std::vector<MUINT8>& raucRun : aaucRuns)
    {
        Start("IS25WD020", R"("flash_bit_errors": 64)");
        raucRun = m_poHost->Transfer({0x03, 0, 0, 0}, 256);
    }
    EXPECT_EQ(aaucRuns[0], aaucRuns[1]);
    int iFlipped = 0;
    for (MUINT32 uiAt = 0; uiAt < 256; ++uiAt)
        iFlipped += __builtin_popcount(aaucRuns[0][uiAt] ^ At(uiAt));
    EXPECT_TRUE(iFlipped > 10 && iFlipped < 60) << iFlipped << " of 2048 bits, about 32 expected";
}

TEST_F(CFlashTest, ProgramClearsBitsOnlyWrapsInItsPageAndKeepsThePartBusy)
{
    Start("IS25WD020");
    m_poHost->Unprotect();
    const MUINT8 aucBefore[4] = {At(0x1FE), At(0x1FF), At(0x100), At(0x101)};
    const MUINT8 ucNextPage = At(0x200);

    m_poHost->Transfer({0x06});
    m_poHost->Transfer({0x02, 0x00, 0x01, 0xFE, 0x0F, 0xF0, 0x00, 0xFF});
    for (MUINT32 uiRead = 0; uiRead < SFlash::BUSY_READS_PROGRAM; ++uiRead)
    {
        EXPECT_EQ(m_poHost->Status(), SFlash::STATUS_BUSY | SFlash::STATUS_WRITE_ENABLED) << uiRead;
    }
    EXPECT_EQ(m_poHost->Status(), 0) << "ready, write-enable latch cleared";

    EXPECT_EQ(At(0x1FE), aucBefore[0] & 0x0F);
    EXPECT_EQ(At(0x1FF), aucBefore[1] & 0xF0);
    EXPECT_EQ(At(0x100), 0x00) << "wrapped to the start of the page";
    EXPECT_EQ(At(0x101), aucBefore[3]);
    EXPECT_EQ(At(0x200), ucNextPage) << "the next page is untouched";
    EXPECT_EQ(Counters().uiPrograms, 1u);
    EXPECT_EQ(Counters().Violations(), 0u);
    EXPECT_TRUE(m_poBoard->FlashChanged());
}

TEST_F(CFlashTest, ProtectionRefusesWritesAndTheHardwareLineGuardsTheStatus)
{
    Start("W25Q64FV");
    EXPECT_EQ(m_poHost->Status(), SFlash::POWER_ON_STATUS);
    const MUINT8 ucBefore = At(0x10);
    m_poHost->Transfer({0x06});
    m_poHost->Transfer({0x02, 0x00, 0x00, 0x10, 0x00});
    EXPECT_EQ(At(0x10), ucBefore) << "array protected";

    m_poBoard->PokeReg(HST_EEPROMWP, WRITE_PROTECT_LINE);
    m_poHost->Transfer({0x06});
    m_poHost->Transfer({0x01, 0x00});
    EXPECT_EQ(m_poHost->Status() & SFlash::STATUS_WRITABLE, SFlash::POWER_ON_STATUS) << "line held";
    EXPECT_EQ(Counters().uiRefused, 2u);

    EXPECT_EQ(Counters().Violations(), 0u);
}

TEST_F(CFlashTest, ViolationsAreCountedAndIgnored)
{
    Start("IS25WD020");
    m_poHost->Unprotect();
    m_poHost->Transfer({0x02, 0x00, 0x00, 0x00, 0x00});  // no write enable
    m_poHost->Transfer({0x06});
    m_poHost->Transfer({0x20, 0x00, 0x00, 0x00});
    m_poHost->Transfer({0x03, 0x00, 0x00, 0x00}, 1);     // while busy
    m_poHost->Set(BYPASS_CS0_N, false);                  // cut off after 5 bits
    m_poHost->Bits(0x06, 5);
    m_poHost->Set(BYPASS_CS0_N, true);
    EXPECT_EQ(Counters().uiWithoutWriteEnable, 1u);
    EXPECT_EQ(Counters().uiWhileBusy, 1u);
    EXPECT_EQ(Counters().uiChipSelectMidByte, 1u);
    EXPECT_EQ(At(0), 0xFF) << "program ignored, erase carried out";
}

// The decoder's pacing counts, which the whole-run flash traffic test expects to be zero: a host
// that writes twice without a read, or raises the clock twice without a read between, is caught.
TEST(SpiBusDecoderPacing, WritesWithoutAReadAndUnsampledEdgesAreCounted)
{
    const MUINT32 uiGranted = BYPASS_REQUEST | BYPASS_GRANT;
    CSpiBusDecoder oPaced;
    CSpiBusDecoder oShadow;
    for (CSpiBusDecoder* poBus : {&oPaced, &oShadow})
    {
        poBus->OnWrite(BYPASS_REQUEST | BYPASS_CS0_N);
        poBus->OnRead(uiGranted | BYPASS_CS0_N);
        poBus->OnWrite(BYPASS_REQUEST);   // select
        poBus->OnRead(uiGranted);
    }
    for (int iBit = 0; iBit < 2; ++iBit)   // clock low, then high, each after a read
    {
        oPaced.OnWrite(BYPASS_REQUEST);
        oPaced.OnRead(uiGranted);
        oPaced.OnWrite(BYPASS_REQUEST | BYPASS_CLOCK);
        oPaced.OnRead(uiGranted | BYPASS_CLOCK);
        oShadow.OnWrite(BYPASS_REQUEST);
        oShadow.OnWrite(BYPASS_REQUEST | BYPASS_CLOCK);
    }
    EXPECT_EQ(oPaced.UnpacedWrites(), 0u);
    EXPECT_EQ(oPaced.UnsampledEdges(), 0u);
    EXPECT_EQ(oShadow.UnpacedWrites(), 3u);
    EXPECT_EQ(oShadow.UnsampledEdges(), 1u) << "the second rising edge came before any read of the first";
}
}  // namespace
