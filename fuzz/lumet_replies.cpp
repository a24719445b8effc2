// What the FPGA of the Lumet family answers, through every operation that reads.

#include "Utilities/FPGAIFLumetSPI.h"
#include "fuzz/FuzzDevice.h"

#include <cstring>
#include <vector>

namespace
{
using Link_T = CFPGAIFLumetSPI;
using Operation_T = void (*)(Link_T&, CFuzzInput&);

constexpr CorFPGA24BitADCValue_T c_LargestReading = 0xFFFFFF;
/// Entries of a filter that takes more than one packet.
constexpr std::size_t c_LargestFilter = 1500;

/// An operation that reads an ADC.
template <TSQEventCode_T (Link_T::*Get)(CorFPGA24BitADCValue_T*)>
void ReadAdc(Link_T& link, CFuzzInput&)
{
    CorFPGA24BitADCValue_T value = 0;
    (link.*Get)(&value);
    Require(value <= c_LargestReading, "an ADC reading has 24 bits");
}

void ReadPing(Link_T& link, CFuzzInput& input)
{
    const FPGAChannel_T channel = input.Byte();
    const std::size_t count = input.Word() % (c_MaxSamplesFromLumetFPGA + 1);
    std::vector<std::uint8_t> storage(count * sizeof(float));
    Buffer_Bytes_T buffer(storage.data(), count);
    if (link.GetPing(channel, &buffer, InterruptMode_T{}) != c_Success) {
        return;
    }
    for (std::size_t at = 0; at < count; ++at) {
        float sample = 0;
        std::memcpy(&sample, storage.data() + at * sizeof sample, sizeof sample);
        Require(sample >= 0 && sample <= 255, "a sample is a byte's value");
    }
}

constexpr Operation_T c_Operations[] = {
    [](Link_T& link, CFuzzInput&) {
        SWVersion_T version{0xFF, 0xFF};
        const bool isRead = link.GetVersion(&version) == c_Success;
        Require(version.minor == (isRead ? 0 : 0xFF), "a version is read whole or left alone");
    },
    [](Link_T& link, CFuzzInput&) {
        bLumetStatusByte status;
        link.GetStatusRegister(&status);
    },
    [](Link_T& link, CFuzzInput& input) {
        bCorFifoStatusByte status;
        link.GetFifoStatusRegister(&status, input.Byte());
    },
    ReadAdc<&Link_T::GetADCReference>,
    ReadAdc<&Link_T::GetSenseResistor>,
    ReadAdc<&Link_T::GetWaterTemp>,
    ReadPing,
    [](Link_T& link, CFuzzInput& input) { link.ValidateDataCollection(input.Byte()); },
    [](Link_T& link, CFuzzInput& input) { link.SetCommandRegister({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.PingNow({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.SetDebugRegister({input.Byte()}, input.Word()); },
    [](Link_T& link, CFuzzInput& input) {
        bLumetStatusByte contents;
        link.GetDebugRegister(&contents, input.Word());
    },
    [](Link_T& link, CFuzzInput& input) {
        const FPGAChannel_T channel = input.Byte();
        link.SetCorrelationFilter(CorrelationFilterCoefficients_T(input.Word() % c_LargestFilter), channel);
    },
    [](Link_T& link, CFuzzInput&) { link.UpdateFPGA(); },
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    static CFuzzTransport<Link_T> transport;
    transport.Run(pData, size, c_Operations);
    transport.Get().TransmitDataToFPGA();
    return 0;
}
