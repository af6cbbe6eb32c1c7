// Rig files: every kind of mistake is refused with one line that names the rig file and the
// entry at fault; the default rig has the board it promises.
#include <cstdlib>

#include "QelVxdSimTestSupport.h"

namespace
{
struct SRigErrorCase
{
    const char* pszName;
    const char* pszRig;
    const char* pszExpected;  // the message after "qelvxd-sim: <rig path>: "
};
void PrintTo(const SRigErrorCase& ro, std::ostream* po) { *po << ro.pszName; }

const SRigErrorCase s_aoRigErrors[] = {
    {"UnknownKey", R"({"boards":[{"bus":3,"device":0,"function":0,"bsu":1}]})", R"(boards[0]: unknown key "bsu")"},
    {"NumberAsWord", R"({"boards":[{"bus":"three","device":0,"function":0}]})",
     R"(boards[0].bus: expected an integer or a "0x..." string, got "three")"},
    {"OutOfRange", R"({"boards":[{"bus":3,"device":0,"function":0,"chip_revision":2}]})",
     R"(boards[0].chip_revision: 2 is out of range 0..1)"},
    {"MissingLocation", R"({"boards":[{"device":0,"function":0}]})", R"(boards[0]: missing key "bus")"},
    {"DuplicateLocation",
     R"({"devices":[{"bus":3,"device":0,"function":0,"vendor_id":"0x8086","device_id":1}],
         "boards":[{"bus":3,"device":0,"function":0}]})",
     R"(boards[0]: PCI location 03:00.0 is already taken by devices[0])"},
    {"NoFunctionZero", R"({"boards":[{"bus":3,"device":0,"function":1}]})",
     R"(boards[0]: 03:00.1 has no function 0 at 03:00.0, so no bus scan would find it)"},
    {"BridgeBusNumbers", R"({"bridges":[{"bus":2,"device":0,"function":0,"secondary":2,"subordinate":2}]})",
     R"(bridges[0]: bus numbers must satisfy bus < secondary <= subordinate (bus 2, secondary 2, subordinate 2))"},
    {"ImageLongerThanChip",
     R"({"boards":[{"bus":3,"device":0,"function":0,"eeprom":{"chip":"AT25F1024","image":"big.bin"}}]})",
     R"(holds 131073 bytes, more than the AT25F1024 stores (131072))"},
    // A path naming a device that never ends is refused once its read passes the bound.
    {"ImageThatNeverEnds",
     R"({"boards":[{"bus":3,"device":0,"function":0,"eeprom":{"chip":"AT25F1024","image":"/dev/zero"}}]})",
     R"(boards[0].eeprom.image: "/dev/zero" holds more than the AT25F1024 stores (131072))"},
    {"StateThatNeverEnds", R"({"state":"/dev/zero"})", R"("/dev/zero" holds more than a state file may hold (16777216))"},
    {"UnknownChip", R"({"boards":[{"bus":3,"device":0,"function":0,"eeprom":{"chip":"W25Q32","blank":true}}]})",
     R"(boards[0].eeprom.chip: unknown chip "W25Q32" (known: AT25F1024, )"},
    {"UnknownFault", R"({"boards":[{"bus":3,"device":0,"function":0,"faults":{"smoke":true}}]})",
     R"(boards[0].faults: unknown fault "smoke")"},
    {"FaultValueType", R"({"boards":[{"bus":3,"device":0,"function":0,"faults":{"map_fails":1}}]})",
     R"(boards[0].faults.map_fails: expected true or false, got 1)"},
    {"DuplicateJsonKey", R"({"time":"virtual","time":"real"})", R"(bad JSON: key "time" appears twice in one object)"},
    {"DamagedStateFile", R"({"state":"damaged.state.json","boards":[{"bus":3,"device":0,"function":0}]})",
     R"(is damaged (delete it to power-cycle the rig): bad register entry "0x26fc" of 03:00.0)"},
};

class CRigErrorTest : public CSimTest, public ::testing::WithParamInterface<SRigErrorCase>
{
};

TEST_P(CRigErrorTest, RefusedWithOneLineNamingTheRigFile)
{
    WriteBytes("big.bin", std::vector<MUINT8>(128 * 1024 + 1, 0));
    WriteFile("damaged.state.json", R"({"boards":{"03:00.0":{"0x26fc":12}}})");
    WriteFile("rig.json", GetParam().pszRig);
    std::string sError;
    EXPECT_EQ(QelVxdSim_LoadRigFile(Path("rig.json"), sError), nullptr);
    const std::string sPrefix = "qelvxd-sim: " + Path("rig.json") + ": ";
    EXPECT_EQ(sError.rfind(sPrefix, 0), 0u) << sError;
    EXPECT_NE(sError.find(GetParam().pszExpected), std::string::npos) << sError;
    EXPECT_EQ(sError.find('\n'), std::string::npos) << sError;
    EXPECT_EQ(QelVxdSim_Current(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Rig, CRigErrorTest, ::testing::ValuesIn(s_aoRigErrors),
                         [](const ::testing::TestParamInfo<SRigErrorCase>& roInfo) { return roInfo.param.pszName; });

using CRigLoadTest = CSimTest;

TEST_F(CRigLoadTest, RigFileThatNeverEndsIsRefused)
{
    std::string sError;
    EXPECT_EQ(QelVxdSim_LoadRigFile("/dev/zero", sError), nullptr);
    EXPECT_EQ(sError, R"(qelvxd-sim: /dev/zero: "/dev/zero" holds more than a rig file may hold (16777216))");
}

TEST_F(CRigLoadTest, FailedLoadKeepsThePreviousRig)
{
    Load(R"({"boards":[{"bus":3,"device":0,"function":0}]})");
    CQelSim* poBefore = QelVxdSim_Current();
    std::string sError;
    EXPECT_EQ(QelVxdSim_LoadRigText("{", m_sDir, sError), nullptr);
    EXPECT_EQ(sError.rfind("qelvxd-sim: inline rig: bad JSON", 0), 0u) << sError;
    EXPECT_EQ(QelVxdSim_Current(), poBefore);
}

TEST_F(CRigLoadTest, AShortImageIsErasedToTheEndOfTheChip)
{
    WriteBytes("pins.bin", {0x2E, 0x41, 0x01});
    Load(R"({"boards":[{"bus":3,"device":0,"function":0,"memory_size_code":"1","eeprom":{"chip":"M25P10","image":"pins.bin"}}]})");
    const CQelSimBoard* poBoard = QelVxdSim_Board(3, 0, 0);
    ASSERT_EQ(poBoard->Flash().size(), 128u * 1024);
    EXPECT_EQ(poBoard->Flash()[2], 0x01);
    EXPECT_EQ(poBoard->Flash()[3], 0xFF);
    EXPECT_EQ(poBoard->Flash()[128u * 1024 - 1], 0xFF);
    EXPECT_EQ(poBoard->MemorySize(), 0x4000000u) << "a number given as a string";
}

// The boards are locked by the state file the rig names before the simulator loads the rig; the
// load must build the rig that was read for the lock, even if the file is replaced in between.
TEST_F(CRigLoadTest, TheRigReadForTheLockIsTheRigLoaded)
{
    WriteFile("rig.json", R"({"state":"first.state.json","boards":[{"bus":3,"device":0,"function":0}]})");
    ASSERT_EQ(CQelSimRigLoader::StatePathOf(Path("rig.json")), Path("first.state.json"));
    WriteFile("rig.json", R"({"state":"second.state.json","boards":[{"bus":4,"device":0,"function":0}]})");
    SQelSimRigDesc oRig;
    std::string sError;
    ASSERT_TRUE(CQelSimRigLoader::FromFile(Path("rig.json"), oRig, sError)) << sError;
    EXPECT_EQ(oRig.sStatePath, Path("first.state.json"));
    ASSERT_EQ(oRig.aoBoards.size(), 1u);
    EXPECT_EQ(oRig.aoBoards[0].hLocation, 3u << 8);
}

// Whole runs on the default rig are compared with their expected output; what they cannot show
// is where its state (and so the boards' lock) lives and which parameter block its flash holds.
TEST_F(CRigLoadTest, DefaultRigKeepsItsStateInTheRuntimeDirectoryAndHoldsTheBuiltInBlock)
{
    setenv("XDG_RUNTIME_DIR", m_sDir.c_str(), 1);
    std::string sError;
    ASSERT_NE(QelVxdSim_LoadDefaultRig(sError), nullptr) << sError;
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(QelVxdSim_Current()->StatePath(), Path("qelvxd-sim-default.state.json"));
    const CQelSimFlashContent& roFlash = QelVxdSim_Board(3, 0, 0)->Flash();
    const MUINT32 uiPointer = roFlash[EEPROM_PINS_POINTER_ADDR] | (roFlash[EEPROM_PINS_POINTER_ADDR + 1] << 8);
    ASSERT_EQ(uiPointer, QELSIM_DEFAULT_PINS_ADDRESS);
    EXPECT_EQ(roFlash.Bytes(uiPointer, g_uiQelVxdSimDefaultPinsSize),
              std::vector<MUINT8>(g_aucQelVxdSimDefaultPins, g_aucQelVxdSimDefaultPins + g_uiQelVxdSimDefaultPinsSize));
}
}  // namespace
