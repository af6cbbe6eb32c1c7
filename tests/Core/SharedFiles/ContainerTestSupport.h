// Shared pieces of the container tests: an allocator that counts and checks every block, and a
// fixture that installs it around each test, so that every test also proves that all memory
// went back.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "QelMFCTypes.h"

class CCountingAllocator : public CMAllocator
{
public:
    void* Alloc(size_t uiSize) override
    {
        if (m_bRefuse)
            return nullptr;
        void* pvBlock = malloc(uiSize == 0 ? 1 : uiSize);
        // Fresh blocks hold garbage, so that a missing zero-fill shows.
        memset(pvBlock, 0xA5, uiSize);
        m_oLiveBlocks[pvBlock] = uiSize;
        return pvBlock;
    }

    void Free(void* pvMemory) override
    {
        auto oBlock = m_oLiveBlocks.find(pvMemory);
        EXPECT_NE(oBlock, m_oLiveBlocks.end()) << "released a block that was never handed out";
        if (oBlock == m_oLiveBlocks.end())
            return;
        m_oLiveBlocks.erase(oBlock);
        free(pvMemory);
    }

    std::map<void*, size_t> m_oLiveBlocks;
    bool   m_bRefuse = false;
};

class CContainerTest : public testing::Test
{
protected:
    void SetUp() override { CMAllocator::m_poGlobalAllocator = &m_oAllocator; }
    void TearDown() override
    {
        CMAllocator::m_poGlobalAllocator = nullptr;
        EXPECT_TRUE(m_oAllocator.m_oLiveBlocks.empty())
            << m_oAllocator.m_oLiveBlocks.size() << " container block(s) were never released";
    }

    // Runs the action and returns what it printed on standard output (assertion reports).
    template <class ACTION>
    static std::string Printed(ACTION oAction)
    {
        testing::internal::CaptureStdout();
        oAction();
        return testing::internal::GetCapturedStdout();
    }

    // Whether the output holds an assertion report of the given "file(line)", or of any line of
    // the file for "file(".
    static testing::AssertionResult Reports(const std::string& roOutput, const char* pszFileAndLine)
    {
        std::string oReport = pszFileAndLine;
        if (oReport.back() == ')')
            oReport += " Assertion failed";
        if (roOutput.find(oReport) != std::string::npos)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no \"" << oReport << "\" in \"" << roOutput << "\"";
    }

    CCountingAllocator m_oAllocator;
};
