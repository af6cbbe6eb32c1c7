#include "QelVxdSimTestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

void CSimTest::SetUp()
{
    char szTemplate[] = "/tmp/qelvxd-sim-test.XXXXXX";
    ASSERT_NE(mkdtemp(szTemplate), nullptr);
    m_sDir = szTemplate;
    unsetenv("QELVXD_SIM_TRACE");
}

void CSimTest::TearDown()
{
    QelVxdSim_Unload();
    unsetenv("QELVXD_SIM_TRACE");
    std::error_code oError;
    std::filesystem::remove_all(m_sDir, oError);
    EXPECT_FALSE(oError) << oError.message();
}

void CSimTest::WriteFile(const std::string& rsName, const std::string& rsText) const
{
    std::ofstream(Path(rsName), std::ios::binary) << rsText;
}

void CSimTest::WriteBytes(const std::string& rsName, const std::vector<MUINT8>& raucBytes) const
{
    std::ofstream(Path(rsName), std::ios::binary)
        .write(reinterpret_cast<const char*>(raucBytes.data()), raucBytes.size());
}

std::string CSimTest::ReadText(const std::string& rsPath) const
{
    std::ostringstream oText;
    oText << std::ifstream(rsPath, std::ios::binary).rdbuf();
    return oText.str();
}

const SQelVxdBackend& CSimTest::Load(const std::string& rsJson)
{
    std::string sError;
    const SQelVxdBackend* poBackend = QelVxdSim_LoadRigText(rsJson, m_sDir, sError);
    EXPECT_NE(poBackend, nullptr) << sError;
    return poBackend != nullptr ? *poBackend : *QelVxdSim_Backend();
}

MUINT32 CSimTest::Cfg32(PCIHANDLE hDevice, MUINT32 uiOffset)
{
    MUINT32 uiValue = 0;
    return QelVxdSim_Backend()->pfnConfigRead(hDevice, uiOffset, &uiValue, 4) ? uiValue : 0xFFFFFFFF;
}

void CSimTest::SetCfg32(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiValue)
{
    EXPECT_EQ(QelVxdSim_Backend()->pfnConfigWrite(hDevice, uiOffset, &uiValue, 4), 1);
}

MEMHANDLE CSimTest::MapRegisters(const CQelSimBoard& roBoard)
{
    const MUINT64 uiBase = roBoard.RegisterBase();
    return QelVxdSim_Backend()->pfnMap((MUINT32)uiBase, (MUINT32)(uiBase >> 32), roBoard.RegisterSize(), 0);
}

MEMHANDLE CSimTest::MapMemory(const CQelSimBoard& roBoard)
{
    const MUINT64 uiBase = roBoard.MemoryBase();
    return QelVxdSim_Backend()->pfnMap((MUINT32)uiBase, (MUINT32)(uiBase >> 32), roBoard.MemorySize(), 1);
}
