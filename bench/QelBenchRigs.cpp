// Writes the rigs of the whole-run measurements into a directory: rig-N.json for N = 1, 4 and 16
// boards in real time, and board.bin, the flash image they share.
#include <cstdio>
#include <fstream>
#include <string>

#include "BenchRigs.h"

int main(int iArgc, char** ppszArgv)
{
    if (iArgc != 2)
    {
        fprintf(stderr, "usage: %s DIRECTORY\n", ppszArgv[0]);
        return 2;
    }
    const std::string sDir = ppszArgv[1];
    std::string sError;
    if (!QelBench_WriteBoardImage(sDir + "/board.bin", sError))
    {
        fprintf(stderr, "%s\n", sError.c_str());
        return 1;
    }
    for (unsigned uiBoards : {1u, 4u, 16u})
    {
        const std::string sPath = sDir + "/rig-" + std::to_string(uiBoards) + ".json";
        std::ofstream oRig(sPath);
        oRig << QelBench_RigText(uiBoards, true, "board.bin");
        if (!oRig.good())
        {
            fprintf(stderr, "%s: cannot be written\n", sPath.c_str());
            return 1;
        }
    }
    return 0;
}
