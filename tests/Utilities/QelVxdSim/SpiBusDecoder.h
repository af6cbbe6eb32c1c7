// Test support: the SPI traffic of a board's EEPROM bus, decoded back from the host's accesses to
// the bypass register 0x360 (bit 0 bus request, bit 1 grant, bit 4 clock, bit 8 data to the
// flash, bit 12 chip select, bit 16 data from the flash).
//
// Feed it every write and read of the register in order, live (OnWrite, OnRead) or from a
// simulator trace file (FromSimTrace). The lines count only while the host holds the bus: from a
// read that shows the grant after a request until the request is withdrawn. Each chip-select
// cycle becomes one transaction: the bytes clocked out on the rising edges, and the bits the host
// read back after each rising edge. A test proves with it what a driver sent to the flash, e.g.
// that a run never programs it.
#pragma once

#include <string>
#include <vector>

#include "QelBaseTypes.h"

struct SSpiTransaction
{
    std::vector<MUINT8> aucOut;   // host to flash
    std::vector<MUINT8> aucIn;    // flash to host, as sampled after each rising edge

    MUINT8 Instruction() const { return aucOut.empty() ? 0 : aucOut[0]; }
    // The 3 address bytes after the instruction, or ~0 when there are fewer.
    MUINT32 Address24() const;
};

class CSpiBusDecoder
{
public:
    void OnWrite(MUINT32 uiValue);
    void OnRead(MUINT32 uiValue);

    const std::vector<SSpiTransaction>& Transactions() const { return m_aoTransactions; }
    // Times the host set the request bit.
    MUINT32 BusRequests() const { return m_uiBusRequests; }
    // Writes that changed none of the host's lines: each costs a bus cycle for nothing.
    MUINT32 IdleWrites() const { return m_uiIdleWrites; }
    // Writes that followed another write with no read of the register between them. The read
    // before each line change paces the clock; without it two posted writes can reach the chip
    // a few nanoseconds apart.
    MUINT32 UnpacedWrites() const { return m_uiUnpacedWrites; }
    // Rising clock edges with the flash selected that no read followed before the next edge.
    MUINT32 UnsampledEdges() const { return m_uiUnsampledEdges; }
    // The instruction bytes, runs of the same instruction folded into "<xx>*", e.g.
    // "06 02 05* 04". Handy to compare a whole sequence at once.
    std::string Summary() const;

    // Decodes the register 0x360 accesses of one board (location "BB:DD.F") in a simulator trace.
    static CSpiBusDecoder FromSimTrace(const std::string& rsTraceText, const std::string& rsLocation);

private:
    void Drive(bool bGranted, MUINT32 uiLines);

    MUINT32 m_uiLastWrite = 0;
    bool m_bGranted = false;
    bool m_bClock = false;
    bool m_bSelected = false;
    bool m_bSamplePending = false;
    MUINT32 m_uiOutBits = 0;
    MUINT8 m_ucOut = 0;
    MUINT32 m_uiInBits = 0;
    MUINT8 m_ucIn = 0;
    MUINT32 m_uiBusRequests = 0;
    MUINT32 m_uiIdleWrites = 0;
    MUINT32 m_uiUnpacedWrites = 0;
    MUINT32 m_uiUnsampledEdges = 0;
    bool m_bWrotePreviously = false;
    SSpiTransaction m_oCurrent;
    std::vector<SSpiTransaction> m_aoTransactions;
};
