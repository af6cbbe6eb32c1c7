// pins10: a tool for the people who prepare and debug boards' parameter blocks.
#include <iostream>

#include "Pins10Tool.h"

int main(int iArgc, char** ppszArgv) { return Pins10ToolRun(iArgc, ppszArgv, std::cout, std::cerr); }
