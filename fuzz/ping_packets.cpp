// The packets that answer pings, whole as they come: through the unpacking code of each link, and out as the
// sample block that the stations read.

#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "fuzz/LowscanOperations.h"
#include "sonar/SampleBlock.h"

namespace
{
/// A device that is asked for nothing but a ping and gives it whole.
class CPingDevice : public COSSLinuxFile
{
public:
    explicit CPingDevice(CFuzzInput& packet) : COSSLinuxFile("", 0, 0), m_Packet(packet) {}

    bool Read(Buffer_Bytes_T* Buffer) override { return Fill(*Buffer); }
    bool Write(const Buffer_Bytes_T* Buffer) override { return !m_ReadsPing || Fill(*Buffer); }
    bool Ioctl(unsigned long, int* argument) override
    {
        m_ReadsPing = argument != nullptr;
        return true;
    }
    int Poll(short, int) override { return m_Packet.IsEmpty() ? 0 : 1; }
    int GetErrorCode() const override { return 0; }

private:
    bool Fill(const Buffer_Bytes_T& buffer)
    {
        const auto bytes = m_Packet.Take(buffer.size());
        std::copy(bytes.begin(), bytes.end(), buffer.data());
        buffer.size(bytes.size());
        return true;
    }

    CFuzzInput& m_Packet;
    bool m_ReadsPing = false;
};

/// An operating system all of whose devices give the current input's packet.
struct PingFactory_T : COSSLinuxFactory {
    CFuzzInput packet;

    IOSSFile* CreateFile(const char*, int, int) override
    {
        return std::make_unique<CPingDevice>(packet).release(); // the caller's, by contract
    }
};

using Unpack_T = void (*)(PingFactory_T&, std::size_t samples, int step);

void UnpackLowscan(PingFactory_T& factory, std::size_t samples, int)
{
    static CFPGAIFLSSPI link("/dev/fuzz", &factory);
    LowscanOperations::ReadPing(link, 0, samples % (c_MaxSamplesFromLowscanFPGA + 1));
}

void UnpackLumet(PingFactory_T& factory, std::size_t samples, int)
{
    static CFPGAIFLumetSPI link("/dev/fuzz", &factory);
    std::vector<float> echo(samples % (c_MaxSamplesFromLumetFPGA + 1));
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(echo.data()), echo.size());
    const bool isRead = link.GetPing(0, &buffer, InterruptMode_T{}) == c_Success;
    const bool isPrinted = OutputAsString(echo.data(), static_cast<int>(echo.size())) == 0;
    Require(isRead && isPrinted, "each sample of a byte prints with three digits");
}

void UnpackCor(PingFactory_T& factory, std::size_t samples, int step)
{
    static CFPGAIFCorSpi link(true, "/dev/fuzz", &factory);
    std::vector<unsigned short> echo(samples);
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(echo.data()), echo.size() * sizeof(unsigned short));
    link.GetPing(&buffer);
    OutputAsStringShort(echo.data(), static_cast<int>(echo.size()), step);
}

/// A sample block whose numbers are any floats.
void PrintFloats(PingFactory_T& factory, std::size_t samples, int)
{
    std::vector<float> values(samples);
    const auto bytes = factory.packet.Take(values.size() * sizeof(float));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(values.data()));
    OutputAsString(values.data(), static_cast<int>(values.size()));
}

constexpr Unpack_T c_Unpackings[] = {UnpackLowscan, UnpackLumet, UnpackCor, PrintFloats};
constexpr std::size_t c_MostSamples = 1089;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    static PingFactory_T factory;
    factory.packet = CFuzzInput(pData, size);
    const Unpack_T unpack = factory.packet.OneOf(c_Unpackings);
    const std::size_t samples = factory.packet.Word() % c_MostSamples;
    const int step = factory.packet.Byte() - 128;
    unpack(factory, samples, step);
    return 0;
}
