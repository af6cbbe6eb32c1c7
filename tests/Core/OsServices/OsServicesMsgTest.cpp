#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "OsServices.h"

namespace
{

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

// Every test starts from the default message settings and leaves them so.
class MessagesTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        OsServices::SetMsgLevel(1, 1, 0);
        OsServices::SetMsgPrefixEnable(1);
        OsServices::SetMsgPrefix("hb4");
        OsServices::SetMsgReferenceId(0);
    }
    static std::string Capture(const std::function<void()>& rfnWrite)
    {
        CaptureStdout();
        rfnWrite();
        fflush(stdout);
        return GetCapturedStdout();
    }
};

TEST_F(MessagesTest, EachLevelHasItsPrefixAndItsSwitch)
{
    const std::tuple<MBOOL32, MBOOL32, MBOOL32, std::string> aoCases[] = {
        {1, 1, 0, "hb4(0.2.3.2)[0]: (Error) e=1\nhb4(0.2.3.2)[0]: (Info) u=2\n"},
        {0, 1, 1, "hb4(0.2.3.2)[0]: (Info) u=2\nhb4(0.2.3.2)[0]: (Debug) d=3\n"},
        {0, 0, 0, ""},
    };
    for (const auto& [bError, bUser, bInfo, roExpected] : aoCases)
    {
        OsServices::SetMsgLevel(bError, bUser, bInfo);
        EXPECT_EQ(Capture([] {
                      OsServices::WriteErrorMsg("e=%d\n", 1);
                      OsServices::WriteUserMsg("u=%d\n", 2);
                      OsServices::WriteMsg("d=%d\n", 3);
                  }),
                  roExpected);
    }
}

TEST_F(MessagesTest, PrefixTextAndReferenceAreKeptBounded)
{
    OsServices::SetMsgPrefix(std::string(100, 'p').c_str());
    OsServices::SetMsgReferenceId(0x123456789ULL);
    EXPECT_EQ(Capture([] { OsServices::WriteErrorMsg("x"); }), std::string(63, 'p') + "(0.2.3.2)[4886718345]: (Error) x");
}

}  // namespace
