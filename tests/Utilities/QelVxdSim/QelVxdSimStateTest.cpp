// Board state that survives between runs, and flash images written back at exit.
#include <filesystem>
#include <unistd.h>

#include "QelVxdSimTestSupport.h"

namespace
{
const char* const s_pszRig = R"({"state":"rig.state.json",
  "boards":[{"bus":3,"device":0,"function":0,"marker":"0x20000000"}]})";

class CStateTest : public CSimTest
{
protected:
    // Writes the initialisation status register through a mapping, as the tool does.
    void WriteStatus(MUINT32 uiValue)
    {
        const MEMHANDLE hRegs = MapRegisters(*QelVxdSim_Board(3, 0, 0));
        QelVxdSim_Backend()->pfnWrite32(hRegs + 0x26FC, uiValue);
        QelVxdSim_Backend()->pfnUnmap(hRegs);
    }
    MUINT32 Status() { return QelVxdSim_Board(3, 0, 0)->PeekReg(0x26FC); }
};

TEST_F(CStateTest, InitialisationStatusSurvivesANewSimulatorUntilTheFileIsDeleted)
{
    Load(s_pszRig);
    EXPECT_EQ(Status(), 0x20000000u) << "marker from the rig at power-on";
    WriteStatus(0xE0000000);
    QelVxdSim_Unload();
    Load(s_pszRig);
    EXPECT_EQ(Status(), 0xE0000000u);
    QelVxdSim_Unload();
    ASSERT_EQ(unlink(Path("rig.state.json").c_str()), 0);
    Load(s_pszRig);
    EXPECT_EQ(Status(), 0x20000000u) << "deleting the state file is a power cycle";
}

TEST_F(CStateTest, FileIsReplacedAtomicallyAndOnlyOnChange)
{
    Load(s_pszRig);
    WriteStatus(0x20000000);
    QelVxdSim_Unload();
    EXPECT_FALSE(std::filesystem::exists(Path("rig.state.json"))) << "an unchanged value writes nothing, not even at exit";
    Load(s_pszRig);
    WriteStatus(0x80000000);
    // A second name for the old file keeps the old content: the state was written to a new file
    // and renamed over the old one, never rewritten in place.
    ASSERT_EQ(link(Path("rig.state.json").c_str(), Path("old.json").c_str()), 0);
    const std::string sOld = ReadText(Path("old.json"));
    WriteStatus(0xC0000000);
    EXPECT_EQ(ReadText(Path("old.json")), sOld);
    EXPECT_NE(ReadText(Path("rig.state.json")).find("0xc0000000"), std::string::npos);
    for (const auto& roEntry : std::filesystem::directory_iterator(m_sDir))
    {
        EXPECT_EQ(roEntry.path().filename().string().find(".tmp."), std::string::npos) << roEntry.path();
    }
}

TEST_F(CStateTest, ChangedFlashImageIsRewrittenAtFlush)
{
    WriteBytes("flash.bin", {1, 2, 3});
    Load(R"({"boards":[{"bus":3,"device":0,"function":0,"eeprom":{"chip":"M25P10","image":"flash.bin"}}]})");
    const MUINT8 aucNew[] = {0x2E, 0x41, 0x99, 0x99};  // the last two fall past the chip
    QelVxdSim_Board(3, 0, 0)->WriteFlash(0x1FFFE, aucNew, 4);
    std::string sError;
    EXPECT_TRUE(QelVxdSim_Flush(sError)) << sError;
    const std::string sImage = ReadText(Path("flash.bin"));
    ASSERT_EQ(sImage.size(), 128u * 1024) << "written back as the whole chip";
    EXPECT_EQ(sImage.substr(0, 4), std::string("\x01\x02\x03\xFF", 4));
    EXPECT_EQ(sImage.substr(0x1FFFE), "\x2E\x41");
}
}  // namespace
