#include "simulator/LumetRegisterMap.h"

#include <array>

namespace
{

using enum RegisterAccess_T;
using namespace LumetAddress;

std::vector<PacketRegister_T> Rows()
{
    // The channels share these. The debug registers are the FPGA's scratch area.
    std::vector<PacketRegister_T> rows = {
        {"Command", PacketAddress::c_Command, 1, Write},
        {"Status", PacketAddress::c_Status, 1, Read},
        {"Version", PacketAddress::c_Version, 1, Read},
        {"BoostLevel", 8, 1, Write},
        {"Sync", 96, 1, Write},
        {.name = "WifiLed", .address = 113, .width = 2, .access = Write, .hasBlockFlag = true},
        {.name = "AdcReference", .address = c_AdcReference, .width = 3, .access = Read, .hasBlockFlag = true},
        {.name = "WaterTemperature",
         .address = c_WaterTemperature,
         .width = 3,
         .access = Read,
         .hasBlockFlag = true},
        {.name = "SenseResistor",
         .address = c_SenseResistor,
         .width = 3,
         .access = Read,
         .hasBlockFlag = true},
        {"Debug", c_Debug, 16, Debug},
    };
    // Each channel has these, at their places in its block. The table is so long that the first channel's
    // reaches over the second one's registers, which are written without the block flag.
    const std::array<PacketRegister_T, 24> channelRows = {{
        {"SampleCountLow", c_SampleCount, 1, Write},
        {"SampleCountHigh", c_SampleCount + 1, 1, Write},
        {"AnalogueGain", 0x12, 1, Write},
        {"CentreFrequency0", 0x20, 1, Write},
        {"CentreFrequency1", 0x21, 1, Write},
        {"CentreFrequency2", 0x22, 1, Write},
        {"CentreFrequency3", 0x23, 1, Write},
        {"CorrelationScaling", 0x40, 1, Write},
        {"CorrelationDownShift", 0x41, 1, Write},
        {"SubSampleRate", c_SubSampleRate, 1, Write},
        {"FifoData", c_FifoData, 0, Stream},
        {"FifoControl", c_FifoData + PacketAddress::c_FifoControl, 1, Write},
        {"FifoStatus", c_FifoData + PacketAddress::c_FifoStatus, 1, Read},
        {"StartFrequency0", c_StartFrequency, 1, Write},
        {"StartFrequency1", c_StartFrequency + 1, 1, Write},
        {"StartFrequency2", c_StartFrequency + 2, 1, Write},
        {"StartFrequency3", c_StartFrequency + 3, 1, Write},
        {"ChirpIncrement0", 0x204, 1, Write},
        {"ChirpIncrement1", 0x205, 1, Write},
        {"ChirpIncrement2", 0x206, 1, Write},
        {"ChirpIncrement3", 0x207, 1, Write},
        {"BurstLengthLow", c_BurstLength, 1, Write},
        {"BurstLengthHigh", c_BurstLength + 1, 1, Write},
        {"CorrelationTable", c_CorrelationTable, 16384, Table, 4},
    }};
    for (std::size_t channel = 0; channel < c_Channels; ++channel) {
        for (PacketRegister_T row : channelRows) {
            row.name.insert(0, "Ch" + std::to_string(channel) + ".");
            row.address = Of(channel, row.address);
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

} // namespace

const CPacketRegisterMap& LumetRegisters()
{
    static const CPacketRegisterMap c_Map(Rows());
    return c_Map;
}
