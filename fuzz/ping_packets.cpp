// Complete ping return packets: through the unpacking code of each link, and out as the sample block that the
// stations read.

#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "fuzz/LowscanPing.h"
#include "sonar/SampleBlock.h"

namespace
{
FuzzFactory_T& Factory()
{
    static FuzzFactory_T factory;
    return factory;
}

using Unpack_T = void (*)(CFuzzInput&, std::size_t samples, int step);

void UnpackLowscan(CFuzzInput&, std::size_t samples, int)
{
    static CFPGAIFLSSPI link("/dev/fuzz", &Factory());
    ReadLowscanPing(link, 0, samples % (c_MaxSamplesFromLowscanFPGA + 1));
}

void UnpackLumet(CFuzzInput&, std::size_t samples, int)
{
    static CFPGAIFLumetSPI link("/dev/fuzz", &Factory());
    std::vector<float> echo(samples % (c_MaxSamplesFromLumetFPGA + 1));
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(echo.data()), echo.size());
    const bool isRead = link.GetPing(0, &buffer, InterruptMode_T{}) == c_Success;
    const bool isPrinted = OutputAsString(echo.data(), static_cast<int>(echo.size())) == 0;
    Require(isRead && isPrinted, "a sample of one byte is printed with three digits");
}

void UnpackCor(CFuzzInput&, std::size_t samples, int step)
{
    static CFPGAIFCorSpi link(true, "/dev/fuzz", &Factory());
    std::vector<unsigned short> echo(samples);
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(echo.data()), echo.size() * sizeof(unsigned short));
    link.GetPing(&buffer);
    OutputAsStringShort(echo.data(), static_cast<int>(echo.size()), step);
}

/// A sample block of arbitrary floats.
void PrintFloats(CFuzzInput& packet, std::size_t samples, int)
{
    std::vector<float> values(samples);
    const auto bytes = packet.Take(values.size() * sizeof(float));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(values.data()));
    OutputAsString(values.data(), static_cast<int>(values.size()));
}

constexpr Unpack_T c_Unpackings[] = {UnpackLowscan, UnpackLumet, UnpackCor, PrintFloats};
constexpr std::size_t c_MostSamples = 1089;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    CFuzzInput packet(pData, size);
    Factory().device.Use(&packet, Answer_T::Whole, false);
    const Unpack_T unpack = packet.OneOf(c_Unpackings);
    const std::size_t samples = packet.Word() % c_MostSamples;
    const int step = packet.Byte() - 128;
    unpack(packet, samples, step);
    Factory().device.Use(nullptr);
    return 0;
}
