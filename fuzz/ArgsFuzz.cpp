// The tool's command line comes from whoever starts it: a boot unit, a person, a script. This
// target walks arbitrary argument vectors and parses every argument as a hexadecimal handle.
//
// Input: the arguments after the program name, separated by NUL bytes (an empty argument is
// kept). Each argument is a heap string of exactly its length plus the terminator, so a read past
// the terminator is an ASan finding.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "InitMemContextArgs.h"

namespace
{
// More arguments than that find nothing new: the walk looks at one or two at a time.
constexpr std::size_t MAX_ARGUMENTS = 64;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* puiData, std::size_t uiSize)
{
    std::vector<std::string> asArguments{"InitMemContext"};
    std::string sCurrent;
    for (std::size_t i = 0; i < uiSize && asArguments.size() < MAX_ARGUMENTS; ++i)
    {
        if (puiData[i] == 0)
        {
            asArguments.push_back(sCurrent);
            sCurrent.clear();
        }
        else
        {
            sCurrent.push_back(static_cast<char>(puiData[i]));
        }
    }
    if (asArguments.size() < MAX_ARGUMENTS)
    {
        asArguments.push_back(sCurrent);
    }

    // Heap copies: a short std::string keeps its characters inside the object, where a read past
    // the terminator would go unseen.
    std::vector<std::unique_ptr<char[]>> apszCopies;
    std::vector<const char*> apszArgv;
    for (const std::string& rsArgument : asArguments)
    {
        apszCopies.push_back(std::make_unique<char[]>(rsArgument.size() + 1));
        std::memcpy(apszCopies.back().get(), rsArgument.c_str(), rsArgument.size() + 1);
        apszArgv.push_back(apszCopies.back().get());
    }
    // argv[argc] is null, as main receives it.
    apszArgv.push_back(nullptr);

    SInitMemOptions oOptions;
    InitMemParseArguments(static_cast<int>(asArguments.size()), apszArgv.data(), oOptions);
    for (const std::unique_ptr<char[]>& rpszArgument : apszCopies)
    {
        atoh(rpszArgument.get());
    }
    return 0;
}
