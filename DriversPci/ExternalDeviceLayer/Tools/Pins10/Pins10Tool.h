// The pins10 command line: inspect, check, build, combine and extract board parameter blocks.
// Results go to roOut, errors as one line to roErr; the return value is the exit status.
#pragma once

#include <ostream>

int Pins10ToolRun(int iArgc, const char* const* ppszArgv, std::ostream& roOut, std::ostream& roErr);
