// Access trace of a simulated rig (QELVXD_SIM_TRACE=<path>). One line per access to a function
// present in the rig and one per wait, appended to the file:
//
//   <t_us> <BB:DD.F> <space> <op> <offset> <width> <value>    e.g. 1520 03:00.0 reg W 0x5d00 32 0x0000003e
//   <t_us> - delay <us>
//   <t_us> - sleep <us>
//   <t_us> <BB:DD.F> note <text>
//
// t_us is decimal microseconds since the rig was loaded; the location is lower-case hex; space is
// cfg, reg or mem; offset is the byte offset in that space, hex; value is hex, zero-padded to
// width / 4 digits. Without a trace file the simulator holds no trace object, and the access
// path pays one pointer test.
#pragma once

#include <cstdio>
#include <string>

#include "QelBaseTypes.h"

enum class EQelSimSpace
{
    Config,
    Register,
    Memory,
};

class CQelSimTrace
{
public:
    CQelSimTrace() = default;
    ~CQelSimTrace();
    CQelSimTrace(const CQelSimTrace&)            = delete;
    CQelSimTrace& operator=(const CQelSimTrace&) = delete;

    // Opens the file for appending; false with the reason in rsError.
    bool Open(const std::string& rsPath, std::string& rsError);

    void Access(MUINT64 uiTimeUs, PCIHANDLE hLocation, EQelSimSpace eSpace, bool bWrite, MUINT32 uiOffset,
                MUINT32 uiWidthBits, MUINT32 uiValue);
    void Delay(MUINT64 uiTimeUs, MUINT32 uiMicroSeconds);
    void Sleep(MUINT64 uiTimeUs, MUINT32 uiMicroSeconds);
    void Note(MUINT64 uiTimeUs, PCIHANDLE hLocation, const char* pszText);
    void Flush();

private:
    FILE* m_pFile = nullptr;
};

// "BB:DD.F" of a PCI handle, lower-case hex.
std::string QelVxdSim_FormatLocation(PCIHANDLE hLocation);
