// Shared by the simulator tests: a scratch directory per test, rig loading that fails the test
// with the loader's message, and access through the backend table as the platform layer makes it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QelVxdBackend.h"
#include "QelVxdSim.h"

class CSimTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    std::string Path(const std::string& rsName) const { return m_sDir + "/" + rsName; }
    void WriteFile(const std::string& rsName, const std::string& rsText) const;
    void WriteBytes(const std::string& rsName, const std::vector<MUINT8>& raucBytes) const;
    std::string ReadText(const std::string& rsPath) const;

    // Loads rig text with the scratch directory as base; fails the test on a rig error.
    const SQelVxdBackend& Load(const std::string& rsJson);

    // Config dword through the backend; 0xFFFFFFFF when the function is absent.
    MUINT32 Cfg32(PCIHANDLE hDevice, MUINT32 uiOffset);
    void SetCfg32(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT32 uiValue);
    // Maps a board window through the backend (whole window).
    MEMHANDLE MapRegisters(const CQelSimBoard& roBoard);
    MEMHANDLE MapMemory(const CQelSimBoard& roBoard);

    std::string m_sDir;
};

inline constexpr PCIHANDLE BOARD_03  = 0x0300;  // 03:00.0
inline constexpr PCIHANDLE BRIDGE_1C = 0x00E0;  // 00:1c.0
