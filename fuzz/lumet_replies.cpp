// Replies of the Lumet family's FPGA, for every operation that reads.

#include "Utilities/FPGAIFLumetSPI.h"
#include "fuzz/Replies.h"

namespace
{
using Link_T = CFPGAIFLumetSPI;

/// Number of filter entries that needs more than one packet.
constexpr std::size_t c_LargestFilter = 1500;

void ReadPing(Link_T& link, CFuzzInput& input)
{
    const FPGAChannel_T channel = input.Byte();
    const std::size_t count = input.Word() % (c_MaxSamplesFromLumetFPGA + 1);
    std::vector<std::uint8_t> storage(count * sizeof(float));
    Buffer_Bytes_T buffer(storage.data(), count);
    if (link.GetPing(channel, &buffer, InterruptMode_T{}) == c_Success) {
        Replies::RequireWholeNumbers(storage, 255, "a sample is a byte's value");
    }
}

constexpr Replies::Operation_T<Link_T> c_Operations[] = {
    Replies::Version<Link_T>,
    Replies::Read<&Link_T::GetStatusRegister>,
    Replies::Read<&Link_T::GetFifoStatusRegister>,
    Replies::Read<&Link_T::GetADCReference>,
    Replies::Read<&Link_T::GetSenseResistor>,
    Replies::Read<&Link_T::GetWaterTemp>,
    ReadPing,
    [](Link_T& link, CFuzzInput& input) { link.ValidateDataCollection(input.Byte()); },
    [](Link_T& link, CFuzzInput& input) { link.SetCommandRegister({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.PingNow({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.SetDebugRegister({input.Byte()}, input.Word()); },
    Replies::Read<&Link_T::GetDebugRegister>,
    [](Link_T& link, CFuzzInput& input) {
        const FPGAChannel_T channel = input.Byte();
        link.SetCorrelationFilter(CorrelationFilterCoefficients_T(input.Word() % c_LargestFilter), channel);
    },
    [](Link_T& link, CFuzzInput&) { link.UpdateFPGA(); },
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    return Replies::Run<Link_T>({pData, size}, c_Operations);
}
