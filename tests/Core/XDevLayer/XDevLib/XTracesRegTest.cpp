// The traced register access: every access reaches the board unchanged and leaves one record.
#include <gtest/gtest.h>

#include <functional>

#include "XDevLibTestDoubles.h"
#include "XTracesReg.h"

namespace
{
struct STraceCase
{
    const char* pszName;
    std::function<int(XRegAccess&)> fnAccess;
    int iExpectedStatus;
    MUINT16 uiTag;
    ArgFmt aeFmt[3];
    MUINT64 auiArg[3];
};

class TracesRegTest : public ::testing::TestWithParam<STraceCase>
{
protected:
    TracesRegTest() : m_oTraced(m_oTraces, m_oHw.m_oReg)
    {
        m_oHw.m_oReg.Write(0x100, MUINT32{0xCAFEF00D});
    }

    CFakeHwAccess m_oHw;
    CRecordingTracesMgr m_oTraces;
    XTracesReg m_oTraced;
};
}  // namespace

TEST_P(TracesRegTest, AccessIsPassedOnAndRecordedWithItsResult)
{
    const STraceCase& roCase = GetParam();
    EXPECT_EQ(roCase.fnAccess(m_oTraced), roCase.iExpectedStatus);

    ASSERT_EQ(m_oTraces.m_aoRecords.size(), 1u);
    const XTrace& roTrace = m_oTraces.m_aoRecords[0].oTrace;
    EXPECT_EQ(m_oTraces.m_aoRecords[0].iStatus, roCase.iExpectedStatus);
    EXPECT_EQ(roTrace.GetTag(), roCase.uiTag);
    for (MUINT32 i = 0; i < 3; i++)
    {
        EXPECT_EQ(roTrace.GetArgFmt(i), roCase.aeFmt[i]) << "argument " << i;
        EXPECT_EQ(roTrace.GetArg(i), roCase.auiArg[i]) << "argument " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Accesses, TracesRegTest,
    ::testing::Values(
        STraceCase{"ReadDword", [](XRegAccess& ro) { MUINT32 ui = 0; return ro.Read(0x100, ui); }, 0, 0x1001,
                   {ArgFmt::Hex16, ArgFmt::Hex32, ArgFmt::None}, {0x100, 0xCAFEF00D, 0}},
        STraceCase{"WriteDword", [](XRegAccess& ro) { return ro.Write(0x200, MUINT32{0x12345678}); }, 0, 0x1004,
                   {ArgFmt::Hex16, ArgFmt::Hex32, ArgFmt::None}, {0x200, 0x12345678, 0}},
        STraceCase{"WriteNullBlock", [](XRegAccess& ro) { return ro.Write(0x20, nullptr, 4); }, -10, 0x1006,
                   {ArgFmt::Hex16, ArgFmt::Hex8, ArgFmt::Hex8}, {0x20, 4, 0}},
        // A failed access is recorded with its failure and returned as it is.
        STraceCase{"ReadPastTheWindow", [](XRegAccess& ro) { MUINT32 ui = 0; return ro.Read(0xFFFE, ui); }, -1, 0x1001,
                   {ArgFmt::Hex16, ArgFmt::Hex32, ArgFmt::None}, {0xFFFE, 0, 0}}),
    [](const auto& roInfo) { return std::string(roInfo.param.pszName); });

TEST(TracesRegRevisionTest, ReportsTheChipRevisionOfTheBoard)
{
    CFakeHwAccess oHw;
    oHw.m_oReg.m_uiChipRevision = 1;
    CRecordingTracesMgr oTraces;
    XTracesReg oTraced(oTraces, oHw.m_oReg);
    EXPECT_EQ(oTraced.m_uiChipRevision, 1u);
}
