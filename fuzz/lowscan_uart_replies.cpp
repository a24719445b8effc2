// What the Lowscan FPGA sends on a serial line, through every operation that reads.

#include "Utilities/FPGAIFLSUart.h"
#include "fuzz/LowscanOperations.h"

namespace
{
using Link_T = CFPGAIFLSUart;
using Operation_T = void (*)(Link_T&, CFuzzInput&);

constexpr Operation_T c_Operations[] = {
    LowscanOperations::Version<Link_T>,
    LowscanOperations::Ping<Link_T>,
    LowscanOperations::Receive<Link_T>,
    LowscanOperations::SetUp<Link_T>,
    LowscanOperations::Fire<Link_T>,
    [](Link_T& link, CFuzzInput&) { link.Flush(); },
    [](Link_T& link, CFuzzInput& input) { link.Echo(input.Text()); },
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    LowscanOperations::Run<Link_T>(pData, size, c_Operations);
    return 0;
}
