// Mapped-memory copies of the generic layer against the recording fake backend: which accesses
// of which width reach the device, in which order, and that the bytes land where they belong.
#include <gtest/gtest.h>

#include <numeric>
#include <string>

#include "FakeQelVxdBackend.h"
#include "QelVxdApi.h"

namespace
{
struct SWidthCase
{
    MUINT32 uiMisalignment;   // device address modulo 4
    MUINT32 uiCount;
    std::vector<MUINT32> daWidths;
};

// Each copy goes through an unaligned base and an unaligned buffer, so only base + offset may
// decide the widths: exactly the case's widths are used, back to back, and only the copied bytes
// change, in the device or in the buffer.
TEST(QelVxdMemCopy, UsesTheWidestAlignedAccessesBothWays)
{
    const SWidthCase aoCases[] = {
        {2, 7, {2, 4, 1}}, {1, 4, {1, 2, 1}}, {3, 6, {1, 4, 1}}, {0, 10, {4, 4, 2}}, {3, 2, {1, 1}}, {0, 0, {}},
    };
    for (const SWidthCase& ro : aoCases)
    {
        for (int iWrite : {0, 1})
        {
            SCOPED_TRACE(std::to_string(ro.uiCount) + " bytes at 4n+" + std::to_string(ro.uiMisalignment) +
                         (iWrite ? " written" : " read"));
            CFakeQelVxdBackend oFake;
            alignas(8) MUINT8 auiDevice[32];
            MUINT8 auiBuffer[16];
            std::iota(auiDevice, auiDevice + 32, 0x10);
            std::iota(auiBuffer, auiBuffer + 16, 0xA0);
            MUINT8 auiDeviceAfter[32];
            MUINT8 auiBufferAfter[16];
            memcpy(auiDeviceAfter, auiDevice, 32);
            memcpy(auiBufferAfter, auiBuffer, 16);
            if (iWrite)
            {
                memcpy(auiDeviceAfter + 8 + ro.uiMisalignment, auiBuffer + 1, ro.uiCount);
            }
            else
            {
                memcpy(auiBufferAfter + 1, auiDevice + 8 + ro.uiMisalignment, ro.uiCount);
            }

            MEMHANDLE hAddress = (MEMHANDLE)auiDevice + 8 + ro.uiMisalignment;
            EXPECT_EQ(1, memReadWrite(hAddress - 7, 7, auiBuffer + 1, ro.uiCount, iWrite));
            std::vector<SFakeAccess> daExpected;
            for (MUINT32 uiWidth : ro.daWidths)
            {
                daExpected.push_back({iWrite ? 'W' : 'R', 0, hAddress, uiWidth});
                hAddress += uiWidth;
            }
            EXPECT_EQ(daExpected, oFake.m_daLog);
            EXPECT_EQ(0, memcmp(auiDeviceAfter, auiDevice, 32));
            EXPECT_EQ(0, memcmp(auiBufferAfter, auiBuffer, 16));
        }
    }
}

// The single-value accessors take a shortcut when aligned; an unaligned value must be split like
// the copy, never handed to the backend as one misaligned access.
TEST(QelVxdMemScalar, UnalignedDwordIsSplitAndReassembled)
{
    CFakeQelVxdBackend oFake;
    alignas(8) MUINT8 auiDevice[16] = {};
    const MEMHANDLE hBase = (MEMHANDLE)auiDevice;
    MUINT32 uiDword = 0;
    EXPECT_EQ(1, memWriteDword(hBase, 5, 0x11223344));
    EXPECT_EQ(1, memReadDword(hBase, 5, &uiDword));
    EXPECT_EQ(0x11223344u, uiDword);
    const std::vector<SFakeAccess> daExpected = {{'W', 0, hBase + 5, 1}, {'W', 0, hBase + 6, 2}, {'W', 0, hBase + 8, 1},
                                                 {'R', 0, hBase + 5, 1}, {'R', 0, hBase + 6, 2}, {'R', 0, hBase + 8, 1}};
    EXPECT_EQ(daExpected, oFake.m_daLog);
}
}
