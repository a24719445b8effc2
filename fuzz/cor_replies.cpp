// Replies of the xK modules' sounder FPGA, for every operation that reads or waits.

#include "Utilities/FPGAIFCorSPI.h"
#include "fuzz/Replies.h"

namespace
{
using Link_T = CFPGAIFCorSpi;

/// Larger than the size from which a packet is split.
constexpr std::size_t c_LargestBuffer = 6000;
constexpr std::size_t c_LargestTable = c_LargestBuffer / sizeof(ChirpTableEntry_T);

constexpr Replies::Operation_T<Link_T> c_Operations[] = {
    Replies::Version<Link_T>,
    Replies::Read<&Link_T::GetStatusRegister>,
    Replies::Read<&Link_T::GetTransducerData>,
    Replies::Read<&Link_T::GetSpeedReading>,
    Replies::Read<&Link_T::GetDebugRegister>,
    [](Link_T& link, CFuzzInput& input) {
        Replies::OnBuffer(input, c_LargestBuffer, [&](Buffer_Bytes_T& buffer) {
            const auto received = static_cast<std::size_t>(link.GetPing(&buffer));
            Require(received == 0 || received == buffer.size(), "a ping delivers all its bytes or none");
        });
    },
    [](Link_T& link, CFuzzInput& input) {
        Replies::OnBuffer(input, c_LargestBuffer,
                          [&](Buffer_Bytes_T& buffer) { link.GetPingSection(&buffer); });
    },
    [](Link_T& link, CFuzzInput&) { link.ValidateDataCollection(); },
    [](Link_T& link, CFuzzInput& input) {
        Replies::OnBuffer(input, c_LargestBuffer, [&](Buffer_Bytes_T& buffer) { link.ReceiveData(&buffer); });
    },
    [](Link_T& link, CFuzzInput& input) { link.SetCommandRegister({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.PingNow({input.Byte()}); },
    [](Link_T& link, CFuzzInput& input) { link.SetDebugRegister(input.Byte(), input.Word()); },
    [](Link_T& link, CFuzzInput& input) {
        const CorFPGAAddress_T address = input.Word();
        const unsigned int flags = input.Byte();
        Replies::OnBuffer(input, c_LargestBuffer, [&](Buffer_Bytes_T& buffer) {
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
    return Replies::Run<Link_T>({pData, size}, c_Operations, true);
}
