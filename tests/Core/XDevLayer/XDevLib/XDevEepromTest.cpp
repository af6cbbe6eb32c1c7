// The board EEPROM driver on simulated boards, through the real platform layer and the traced
// register access. What it sends to the flash is decoded back from the traced accesses of the
// bus register; the simulator's flash model says what the part did with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Hb4RegEeprom.h"
#include "OsServices.h"
#include "QelVxdApi.h"
#include "QelVxdPrivate.h"
#include "QelVxdSim.h"
#include "QelVxdSimEepromBus.h"
#include "SpiBusDecoder.h"
#include "XDevEeprom_Hb4.h"
#include "XHwAccess_Vxd.h"
#include "XTracesMgrStub.h"
#include "XTracesReg.h"

namespace
{
using namespace Hb4RegEeprom;

const PCIHANDLE hBoard = QelVxdMakePciHandle(3, 0, 0);
const PCIHANDLE hBridge = QelVxdMakePciHandle(0, 0x1C, 0);

// Decodes the bus traffic from the traced register accesses as they happen.
class CBusTracesMgr : public XTracesMgrStub
{
public:
    LStatus Add(const XTrace& roTrace, LStatus iStatus) override
    {
        if (iStatus >= 0 && roTrace.GetArg(0) == HST_EEPROMBYP)
        {
            if (roTrace.GetTag() == XTracesReg::msc_uiTagReadDword)
                m_oDecoder.OnRead((MUINT32)roTrace.GetArg(1));
            else if (roTrace.GetTag() == XTracesReg::msc_uiTagWriteDword)
                m_oDecoder.OnWrite((MUINT32)roTrace.GetArg(1));
        }
        return 1;
    }
    CSpiBusDecoder m_oDecoder;
};

// Passes accesses on, except the one for which m_fnFailHere says so, which fails with m_iCode.
class CFailingRegAccess : public XRegAccess
{
public:
    explicit CFailingRegAccess(XRegAccess& roInner) : m_roInner(roInner) {}
    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override { return Fail() ? m_iCode : m_roInner.Read(uiOffset, ruiValue); }
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override { return Fail() ? m_iCode : m_roInner.Read(uiOffset, ruiValue); }
    int Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount) override
    {
        return Fail() ? m_iCode : m_roInner.Read(uiOffset, puiBuffer, uiCount);
    }
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override { return Fail() ? m_iCode : m_roInner.Write(uiOffset, uiValue); }
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override { return Fail() ? m_iCode : m_roInner.Write(uiOffset, uiValue); }
    int Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount) override
    {
        return Fail() ? m_iCode : m_roInner.Write(uiOffset, puiBuffer, uiCount);
    }

    XRegAccess& m_roInner;
    MUINT64 m_uiAccesses = 0;
    std::function<bool()> m_fnFailHere;
    int m_iCode = -7;

private:
    bool Fail()
    {
        ++m_uiAccesses;
        return m_fnFailHere && m_fnFailHere();
    }
};

// The driver with the busy-poll limits within a test's reach: at the hardware's two million
// status reads, a hung part would keep a simulated test busy for minutes.
class CTestEeprom : public XDevEepromHb4
{
public:
    using XDevEepromHb4::XDevEepromHb4;
    using XDevEepromHb4::SetStateMachine;
    void ShortenBusyPolls(MUINT32 uiPolls)
    {
        m_uiBusyPolls = uiPolls;
        m_uiStatusWritePolls = uiPolls;
    }
};

class CEepromTest : public ::testing::Test
{
protected:
    // A board at 03:00.0 behind a root port, with that flash holding a pattern.
    void Start(const std::string& rsChip, const std::string& rsFaults = "")
    {
        std::string sError;
        const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(
            R"({"bridges":[{"bus":0,"device":28,"function":0,"secondary":3,"subordinate":3}],
                "boards":[{"bus":3,"device":0,"function":0,"eeprom":{"chip":")" +
                rsChip + R"(","blank":true},"faults":{)" + rsFaults + "}}]}",
            "/tmp", sError);
        ASSERT_NE(poBackend, nullptr) << sError;
        QelVxdSetBackendForTest(poBackend);
        m_poBoard = QelVxdSim_Board(3, 0, 0);
        m_aucImage.resize(m_poBoard->Flash().size());
        for (size_t uiAt = 0; uiAt < m_aucImage.size(); ++uiAt)
            m_aucImage[uiAt] = (MUINT8)(uiAt * 13 + (uiAt >> 9));
        m_poBoard->WriteFlash(0, m_aucImage.data(), (MUINT32)m_aucImage.size());

        Release();
        m_oTraces.m_oDecoder = CSpiBusDecoder();
        m_poOs = std::make_unique<OsServices>();
        m_poHw = std::make_unique<XHwAccessVxd>(hBoard, hBridge);
        m_poFailing = std::make_unique<CFailingRegAccess>(m_poHw->m_roReg);
        m_poTraced = std::make_unique<XTracesReg>(m_oTraces, *m_poFailing);
        m_poEeprom = std::make_unique<CTestEeprom>(*m_poOs, *m_poHw, *m_poTraced);
    }
    // Start, detect the part, and forget the detection traffic; false when the part is not found.
    bool StartDetected(const std::string& rsChip, const std::string& rsFaults = "")
    {
        Start(rsChip, rsFaults);
        if (HasFatalFailure() || !m_poEeprom->DetectEeprom())
            return false;
        m_oTraces.m_oDecoder = CSpiBusDecoder();
        return true;
    }
    // The driver and its access chain, innermost last.
    void Release()
    {
        m_poEeprom.reset();
        m_poTraced.reset();
        m_poFailing.reset();
        m_poHw.reset();
    }
    void TearDown() override
    {
        Release();
        m_poOs.reset();
        QelVxdSetBackendForTest(nullptr);
        QelVxdSim_Unload();
    }

    const SQelSimFlashCounters& Counters() { return QelVxdSim_EepromBus(*m_poBoard)->Flash().Counters(); }
    const std::vector<SSpiTransaction>& Transactions() { return m_oTraces.m_oDecoder.Transactions(); }
    std::vector<MUINT8> FlashBytes(MUINT32 uiAt, MUINT32 uiCount)
    {
        return m_poBoard->Flash().Bytes(uiAt, uiCount);
    }
    // The board is left as the chip's engine needs it: bus given back, flash deselected, its
    // write protection on (status register and hardware line).
    void ExpectBusReleased(MUINT32 uiWpBits)
    {
        EXPECT_EQ(m_poBoard->PeekReg(HST_EEPROMBYP) & uE2pbyp, 0u) << "bus given back";
        EXPECT_NE(m_poBoard->PeekReg(HST_EEPROMBYP) & uE2pbypcsn0, 0u) << "flash deselected";
        EXPECT_EQ(m_poBoard->PeekReg(HST_EEPROMWP) & uiWpBits, uiWpBits) << "hardware line held";
    }
    void ExpectBoardLeftProtected()
    {
        ExpectBusReleased(uE2wp | uE2wpchg);
        EXPECT_EQ(QelVxdSim_EepromBus(*m_poBoard)->Flash().Status() & 0x9C, m_poEeprom->m_ui8ChipWriteProtect);
    }

    CQelSimBoard* m_poBoard = nullptr;
    std::vector<MUINT8> m_aucImage;
    CBusTracesMgr m_oTraces;
    std::unique_ptr<OsServices> m_poOs;
    std::unique_ptr<XHwAccessVxd> m_poHw;
    std::unique_ptr<CFailingRegAccess> m_poFailing;
    std::unique_ptr<XTracesReg> m_poTraced;
    std::unique_ptr<CTestEeprom> m_poEeprom;
};

TEST_F(CEepromTest, DetectionIdentifiesEveryPartOfTheTable)
{
    struct SCase
    {
        const char* pszChip;
        MBOOL32 bDetected;
        MUINT32 uiMemSize, uiAddressSize;
        MUINT8 ui8WriteInst, ui8WriteEnable, ui8Protect;
        XDevEeprom::ECommonInst eStatus2;
        const char* pszName;
    };
    using E = XDevEeprom;
    const SCase aoCases[] = {
        {"AT25F1024", TRUE, 0x20000, 0, 0x02, 0x06, 0x8C, E::INST_NONE, "AT25F1024"},
        {"SST25VF010", TRUE, 0x20000, 3, 0xAF, 0x50, 0x8C, E::INST_NONE, "SST25VF010"},
        {"M25P10", TRUE, 0x20000, 3, 0x02, 0x06, 0x8C, E::INST_NONE, "M25P10"},
        {"PM25LV010", TRUE, 0x20000, 3, 0x02, 0x06, 0x8C, E::INST_NONE, "PM25LV010"},
        {"W25Q64FV", TRUE, 0x800000, 3, 0x02, 0x06, 0x9C, E::INST_READ_STATUS_2, "W25Q64FV"},
        {"W25Q128FV", TRUE, 0x1000000, 3, 0x02, 0x06, 0x9C, E::INST_NONE, "W25Q128FV"},
        {"IS25WD020", TRUE, 0x40000, 3, 0x02, 0x06, 0x9C, E::INST_NONE, "IS25WD020"},
        {"IS25WD040", TRUE, 0x80000, 3, 0x02, 0x06, 0x9C, E::INST_NONE, "IS25WD040"},
        {"S25FL127S", TRUE, 0x1000000, 3, 0x02, 0x06, 0x9C, E::INST_READ_STATUS_2A, "S25FL127S"},
        {"N25Q128A", TRUE, 0x1000000, 3, 0x02, 0x06, 0x9C, E::INST_NONE, "N25Q128A"},
        {"unknown", FALSE, 0, 0, 0x02, 0x06, 0x9C, E::INST_NONE, "Unknown"},
        {"id-1610", TRUE, 0x20000, 3, 0x02, 0x06, 0x8C, E::INST_NONE, "M25P10"},
        {"id-1f-ef16", TRUE, 0x20000, 0, 0x02, 0x06, 0x8C, E::INST_NONE, "AT25F1024"},
    };
    for (const SCase& roCase : aoCases)
    {
        SCOPED_TRACE(roCase.pszChip);
        Start(roCase.pszChip);
        EXPECT_EQ(m_poEeprom->DetectEeprom(), roCase.bDetected);
        MUINT32 uiSize = 1;
        EXPECT_EQ(m_poEeprom->GetMemorySize(uiSize), 0);
        EXPECT_EQ(uiSize, roCase.uiMemSize);
        EXPECT_EQ(m_poEeprom->m_uiChipDensity, roCase.uiMemSize * 8);
        EXPECT_EQ(m_poEeprom->m_uiAddressSize, roCase.uiAddressSize);
        EXPECT_EQ(m_poEeprom->m_ui8WriteInst, roCase.ui8WriteInst);
        EXPECT_EQ(m_poEeprom->m_ui8WriteEnable, roCase.ui8WriteEnable);
        EXPECT_EQ(m_poEeprom->m_ui8ChipWriteProtect, roCase.ui8Protect);
        EXPECT_EQ(m_poEeprom->m_eReadStatusReg2, roCase.eStatus2);
        EXPECT_EQ(m_poEeprom->m_bReadStatusReg2Exist, roCase.eStatus2 != E::INST_NONE);
        EXPECT_EQ(m_poEeprom->m_uiWritePageSize, 256u);
        char szName[32];
        m_poEeprom->GetVendorDeviceName(E::INFO_TYPE_DEVICE, szName, sizeof(szName));
        EXPECT_STREQ(szName, roCase.pszName);
        EXPECT_EQ(Counters().Violations(), 0u);
        EXPECT_EQ(m_poBoard->PeekReg(HST_EEPROMBYP) & uE2pbyp, 0u) << "bus given back";
        if (!roCase.bDetected)
        {
            EXPECT_EQ(m_poEeprom->Write(0, m_aucImage.data(), 4, FALSE), -1);
            EXPECT_EQ(QelVxdSim_EepromBus(*m_poBoard)->Flash().Status(), CQelSimSpiFlash::POWER_ON_STATUS)
                << "an unknown part keeps its protection";
        }
    }
}

TEST_F(CEepromTest, AWholeRegionIsReadInOneTransaction)
{
    ASSERT_TRUE(StartDetected("W25Q64FV"));
    std::vector<MUINT8> aucRead(5 * 1024);
    ASSERT_EQ(m_poEeprom->Read(0x1FE7C - 5 * 1024 + 2, aucRead.data(), (MUINT32)aucRead.size()), 0);
    EXPECT_EQ(aucRead, FlashBytes(0x1FE7C - 5 * 1024 + 2, 5 * 1024));
    ASSERT_EQ(Transactions().size(), 1u);
    EXPECT_EQ(Transactions()[0].Instruction(), 0x03);
    EXPECT_EQ(Transactions()[0].Address24(), 0x1FE7Cu - 5 * 1024 + 2);
    EXPECT_EQ(Transactions()[0].aucIn.size(), 4 + aucRead.size());
    EXPECT_EQ(m_oTraces.m_oDecoder.BusRequests(), 1u);
    EXPECT_EQ(m_oTraces.m_oDecoder.IdleWrites(), 0u) << "a register write only where a line changes";
}

TEST_F(CEepromTest, AWriteProgramsPageSizedChunksEachFollowedByAStatusWait)
{
    ASSERT_TRUE(StartDetected("IS25WD020"));
    std::vector<MUINT8> aucData(300);
    for (size_t uiAt = 0; uiAt < aucData.size(); ++uiAt)   // only clears bits: programmable without an erase
        aucData[uiAt] = (MUINT8)(m_aucImage[0x100 + uiAt] & ~(1u << (uiAt % 8)));
    ASSERT_EQ(m_poEeprom->Write(0x100, aucData.data(), 300, FALSE), 0);

    EXPECT_EQ(FlashBytes(0x100, 300), aucData);
    EXPECT_EQ(m_oTraces.m_oDecoder.Summary(), "06 01 05* 06 02 05* 06 02 05* 04 06 01 05*");
    std::vector<std::pair<MUINT32, size_t>> aoPrograms;
    for (size_t uiIndex = 0; uiIndex < Transactions().size(); ++uiIndex)
    {
        const SSpiTransaction& roTransaction = Transactions()[uiIndex];
        if (roTransaction.Instruction() == 0x02)
        {
            aoPrograms.push_back({roTransaction.Address24(), roTransaction.aucOut.size() - 4});
            EXPECT_EQ(Transactions()[uiIndex - 1].Instruction(), 0x06) << "write enable first";
        }
    }
    EXPECT_EQ(aoPrograms, (std::vector<std::pair<MUINT32, size_t>>{{0x100, 256}, {0x200, 44}}));
    EXPECT_EQ(Counters().uiPrograms, 2u);
    EXPECT_EQ(Counters().Violations(), 0u) << "every program waited for the part";
    EXPECT_EQ(m_oTraces.m_oDecoder.IdleWrites(), 0u);
    ExpectBoardLeftProtected();
}

TEST_F(CEepromTest, TheSectorRewriteKeepsTheRestOfEverySectorItTouches)
{
    ASSERT_TRUE(StartDetected("IS25WD020"));
    const std::vector<MUINT8> aucData(40, 0x5A);
    ASSERT_EQ(m_poEeprom->Write(0x1FF0, aucData.data(), 40, TRUE), 0);

    std::vector<MUINT8> aucExpected(m_aucImage.begin() + 0x1000, m_aucImage.begin() + 0x3000);
    std::copy(aucData.begin(), aucData.end(), aucExpected.begin() + 0xFF0);
    EXPECT_EQ(FlashBytes(0x1000, 0x2000), aucExpected);
    EXPECT_EQ(FlashBytes(0x3000, 16), std::vector<MUINT8>(m_aucImage.begin() + 0x3000, m_aucImage.begin() + 0x3010));
    EXPECT_EQ(Counters().uiErases, 2u);
    EXPECT_EQ(Counters().uiPrograms, 32u);
    EXPECT_EQ(Counters().Violations(), 0u);
    ExpectBoardLeftProtected();
}

TEST_F(CEepromTest, AHungPartFailsTheWriteAndEveryPathRestoresTheProtection)
{
    struct SCase
    {
        const char* pszWhat;
        LStatus (*pfnRun)(XDevEepromHb4& roEeprom);
    };
    static const MUINT8 s_aucData[300] = {};
    const SCase aoCases[] = {
        {"program", [](XDevEepromHb4& ro) { return ro.Write(0x100, s_aucData, 300, FALSE); }},
        {"sector rewrite", [](XDevEepromHb4& ro) { return ro.Write(0x100, s_aucData, 300, TRUE); }},
        {"erase", [](XDevEepromHb4& ro) { return ro.Erase(XDevEeprom::INST_SUBSECTOR_ERASE, 0x1000, 0x2000); }},
    };
    for (const SCase& roCase : aoCases)
    {
        SCOPED_TRACE(roCase.pszWhat);
        ASSERT_TRUE(StartDetected("IS25WD020", R"("flash_stuck_busy":true)"));
        m_poEeprom->ShortenBusyPolls(2000);
        EXPECT_EQ(roCase.pfnRun(*m_poEeprom), -1);
        ExpectBusReleased(uE2wp);
        const std::string sSummary = m_oTraces.m_oDecoder.Summary();
        EXPECT_EQ(sSummary.substr(sSummary.size() - 9), "06 01 05*") << sSummary << ": the protect sequence ends it";
        EXPECT_EQ(sSummary.find(" 04 "), std::string::npos) << "no normal end";
    }
}

TEST_F(CEepromTest, AGrantThatNeverComesFailsInSimulatedTimeAndWithdrawsTheRequest)
{
    Start("W25Q64FV", R"("grant_never":true)");
    const auto oStart = std::chrono::steady_clock::now();
    EXPECT_EQ(m_poEeprom->SetStateMachine(TRUE), -1);
    EXPECT_EQ(m_poBoard->PeekReg(HST_EEPROMBYP) & uE2pbyp, 0u);
    EXPECT_GE(QelVxdSim_NowUs(), (MUINT64)XDevEepromHb4::msc_uiGrantPolls);
    EXPECT_LT(std::chrono::steady_clock::now() - oStart, std::chrono::seconds(30));

    MUINT8 aucBuffer[4];
    EXPECT_EQ(m_poEeprom->Read(0x1FE7C, aucBuffer, 4), -1);
    EXPECT_EQ(m_poBoard->PeekReg(HST_EEPROMBYP) & uE2pbyp, 0u);

    EXPECT_FALSE(m_poEeprom->DetectEeprom());
    MUINT32 uiSize = 1;
    m_poEeprom->GetMemorySize(uiSize);
    EXPECT_EQ(uiSize, 0u);
    EXPECT_EQ(m_poEeprom->SetProtection(TRUE), -1);
    EXPECT_NE(m_poBoard->PeekReg(HST_EEPROMWP) & uE2wp, 0u) << "the line is set even so";
}

TEST_F(CEepromTest, AFailedRegisterAccessFailsTheTransactionWithItsCode)
{
    ASSERT_TRUE(StartDetected("IS25WD020"));
    MUINT8 aucBuffer[16];
    const MUINT64 uiReadStart = m_poFailing->m_uiAccesses;
    m_poFailing->m_fnFailHere = [&] { return m_poFailing->m_uiAccesses == uiReadStart + 40; };
    EXPECT_EQ(m_poEeprom->Read(0, aucBuffer, sizeof(aucBuffer)), -7) << "within the instruction byte";
    EXPECT_EQ(m_poBoard->PeekReg(HST_EEPROMBYP) & uE2pbyp, 0u) << "bus given back";
    EXPECT_EQ(Counters().uiChipSelectMidByte, 1u) << "the cut-off instruction is ended, and ignored";

    // Within the instruction byte of the second page program: that page stays as it was, the
    // part is left protected all the same.
    m_oTraces.m_oDecoder = CSpiBusDecoder();
    MUINT64 uiArmedAt = 0;
    m_poFailing->m_fnFailHere = [&]
    {
        const std::vector<SSpiTransaction>& raoDone = Transactions();
        const auto uiPrograms = std::count_if(raoDone.begin(), raoDone.end(),
                                              [](const SSpiTransaction& ro) { return ro.Instruction() == 0x02; });
        if (uiArmedAt == 0 && uiPrograms == 1 && raoDone.back().Instruction() == 0x06)
        {
            uiArmedAt = m_poFailing->m_uiAccesses;
        }
        return uiArmedAt != 0 && m_poFailing->m_uiAccesses == uiArmedAt + 20;
    };
    const std::vector<MUINT8> aucData(300, 0x00);
    EXPECT_EQ(m_poEeprom->Write(0x100, aucData.data(), 300, FALSE), -7);
    m_poFailing->m_fnFailHere = nullptr;
    EXPECT_EQ(FlashBytes(0x100, 256), std::vector<MUINT8>(256, 0x00));
    EXPECT_EQ(FlashBytes(0x200, 44), std::vector<MUINT8>(m_aucImage.begin() + 0x200, m_aucImage.begin() + 0x22C));
    EXPECT_EQ(Counters().uiChipSelectMidByte, 2u);
    ExpectBoardLeftProtected();

    // No register window at all.
    Start("IS25WD020", R"("map_fails":true)");
    EXPECT_FALSE(m_poEeprom->DetectEeprom());
    EXPECT_EQ(m_poEeprom->Read(0, aucBuffer, sizeof(aucBuffer)), -1);
    EXPECT_EQ(m_poEeprom->Write(0, aucBuffer, sizeof(aucBuffer), TRUE), -1);
}

TEST_F(CEepromTest, EraseClearsTheBlocksOfItsInstructionOnly)
{
    ASSERT_TRUE(StartDetected("IS25WD020"));
    EXPECT_EQ(m_poEeprom->Erase(XDevEeprom::INST_BLOCK_ERASE, 0x10000, 0x10000), 0);
    EXPECT_EQ(FlashBytes(0x10000, 0x10000), std::vector<MUINT8>(0x10000, 0xFF));
    EXPECT_EQ(FlashBytes(0xFFFF, 1)[0], m_aucImage[0xFFFF]);
    EXPECT_EQ(FlashBytes(0x20000, 1)[0], m_aucImage[0x20000]);
    ExpectBoardLeftProtected();

    m_oTraces.m_oDecoder = CSpiBusDecoder();
    EXPECT_EQ(m_poEeprom->Erase(XDevEeprom::INST_READ, 0, 0x1000), -1) << "not an erase";
    EXPECT_EQ(m_poEeprom->Erase(XDevEeprom::INST_32K_BLOCK_ERASE, 0x1000, 0x8000), -1) << "misaligned";
    EXPECT_EQ(m_poEeprom->Erase(XDevEeprom::INST_SUBSECTOR_ERASE, 0x3F000, 0x2000), -1) << "past the end";
    EXPECT_EQ(m_oTraces.m_oDecoder.BusRequests(), 0u);
}
}  // namespace
