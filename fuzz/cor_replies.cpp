// What the sounder FPGA of the xK modules answers, through every operation that reads or waits.

#include "Utilities/FPGAIFCorSPI.h"
#include "fuzz/FuzzDevice.h"

#include <vector>

namespace
{
using Link_T = CFPGAIFCorSpi;
using Operation_T = void (*)(Link_T&, CFuzzInput&);

/// Beyond the size from which a packet is split.
constexpr std::size_t c_LargestBuffer = 6000;
constexpr std::size_t c_LargestTable = c_LargestBuffer / sizeof(ChirpTableEntry_T);

/// Calls an operation on a buffer of the input's size, with no byte to spare.
template <class Operation>
void OnBuffer(CFuzzInput& input, Operation operation)
{
    std::vector<std::uint8_t> storage(input.Word() % c_LargestBuffer);
    Buffer_Bytes_T buffer(storage.data(), storage.size());
    operation(buffer);
}

constexpr Operation_T c_Operations[] = {
    [](Link_T& link, CFuzzInput&) {
        SWVersion_T version{0xFF, 0xFF};
        const bool isRead = link.GetVersion(&version) == c_Success;
        Require(version.minor == (isRead ? 0 : 0xFF), "a version is read whole or left alone");
    },
    [](Link_T& link, CFuzzInput&) {
        bFpgaStatusByte status;
        link.GetStatusRegister(&status);
    },
    [](Link_T& link, CFuzzInput&) {
        unsigned char data = 0;
        link.GetTransducerData(&data);
    },
    [](Link_T& link, CFuzzInput&) {
        FPGASpeedReading_T reading{};
        link.GetSpeedReading(&reading);
        Require(reading.ticks <= 0xFF, "both bytes of a speed count into the same eight bits");
    },
    [](Link_T& link, CFuzzInput& input) {
        unsigned char contents = 0;
        link.GetDebugRegister(&contents, input.Word());
    },
    [](Link_T& link, CFuzzInput& input) {
        OnBuffer(input, [&](Buffer_Bytes_T& buffer) {
            const auto received = static_cast<std::size_t>(link.GetPing(&buffer));
            Require(received == 0 || received == buffer.size(), "a ping gives its bytes or none");
        });
    },
    [](Link_T& link, CFuzzInput& input) {
        OnBuffer(input, [&](Buffer_Bytes_T& buffer) { link.GetPingSection(&buffer); });
    },
    [](Link_T& link, CFuzzInput&) { link.ValidateDataCollection(); },
    [](Link_T& link, CFuzzInput& input) {
        OnBuffer(input, [&](Buffer_Bytes_T& buffer) { link.ReceiveData(&buffer); });
    },
    [](Link_T& link, CFuzzInput& input) { link.SetCommandRegister({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.PingNow({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.SetDebugRegister(input.Byte(), input.Word()); },
    [](Link_T& link, CFuzzInput& input) {
        const CorFPGAAddress_T address = input.Word();
        const unsigned int flags = input.Byte();
        OnBuffer(input, [&](Buffer_Bytes_T& buffer) {
            link.TestFPGAAccess(&buffer, address, (flags & 1) != 0, (flags & 2) != 0);
        });
    },
    [](Link_T& link, CFuzzInput& input) { link.SetChirpTable(ChirpTable_T(input.Word() % c_LargestTable)); },
    [](Link_T& link, CFuzzInput&) { link.UpdateFPGA(); },
    [](Link_T& link, CFuzzInput&) { link.SetOutputDataToLog(); },
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    static CFuzzTransport<Link_T> transport(true);
    transport.Run(pData, size, c_Operations);
    transport.Get().TransmitDataToFPGA();
    return 0;
}
