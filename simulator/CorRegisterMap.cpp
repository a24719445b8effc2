#include "simulator/CorRegisterMap.h"

#include "simulator/WireBytes.h"

#include <algorithm>
#include <array>

namespace
{

using enum CorAccess_T;

// A value of several bytes is several registers wherever the device takes it byte by byte.
constexpr std::array c_Registers{
    CorRegister_T{"Command", CorAddress::c_Command, 1, Write},
    CorRegister_T{"Status", CorAddress::c_Status, 1, Read},
    CorRegister_T{"Version", CorAddress::c_Version, 1, Read},
    CorRegister_T{"AdcFrequency", 4, 1, Write},
    CorRegister_T{"BoostLevel", 8, 1, Write},
    CorRegister_T{"SampleCountLow", CorAddress::c_SampleCount, 1, Write},
    CorRegister_T{"SampleCountHigh", CorAddress::c_SampleCount + 1, 1, Write},
    CorRegister_T{"ChannelFilter", 18, 1, Write},
    CorRegister_T{"OutputDataToLog", 24, 1, Write},
    CorRegister_T{"CentreFrequency0", CorAddress::c_CentreFrequency, 1, Write},
    CorRegister_T{"CentreFrequency1", CorAddress::c_CentreFrequency + 1, 1, Write},
    CorRegister_T{"CentreFrequency2", CorAddress::c_CentreFrequency + 2, 1, Write},
    CorRegister_T{"CentreFrequency3", CorAddress::c_CentreFrequency + 3, 1, Write},
    CorRegister_T{"BasebandSelection", 36, 1, Write},
    CorRegister_T{"BasebandScaling", 37, 1, Write},
    CorRegister_T{"BasebandSubSample", CorAddress::c_BasebandSubSample, 1, Write},
    CorRegister_T{"CorrelationLength", 48, 1, Write},
    CorRegister_T{"CorrelationScaling", 50, 1, Write},
    CorRegister_T{"CorrelationDownShift", 51, 1, Write},
    CorRegister_T{"SubSampleRate", CorAddress::c_SubSampleRate, 1, Write},
    CorRegister_T{"SubSampleMode", 53, 1, Write},
    CorRegister_T{"SubSampleThreshold", 56, 2, Write},
    CorRegister_T{"SpeedA", CorAddress::c_SpeedA, 1, Read},
    CorRegister_T{"SpeedB", CorAddress::c_SpeedB, 1, Read},
    CorRegister_T{"TransducerRead", CorAddress::c_TransducerRead, 1, Read},
    CorRegister_T{"TransducerWrite", 67, 1, Write},
    CorRegister_T{"FifoData", CorAddress::c_FifoData, 0, Stream},
    CorRegister_T{"FifoControl", CorAddress::c_FifoControl, 1, Write},
    CorRegister_T{"FifoStatus", CorAddress::c_FifoStatus, 1, Read},
    CorRegister_T{"Sync", 96, 1, Write},
    CorRegister_T{"TvgLengthLow", 256, 1, Write},
    CorRegister_T{"TvgLengthHigh", 257, 1, Write},
    CorRegister_T{"ChirpLengthLow", CorAddress::c_ChirpLength, 1, Write},
    CorRegister_T{"ChirpLengthHigh", CorAddress::c_ChirpLength + 1, 1, Write},
    CorRegister_T{"TvgTable", CorAddress::c_TvgTable, 2048, Block, 2},
    CorRegister_T{"ChirpTable", CorAddress::c_ChirpTable, 16384, Block, 4},
    CorRegister_T{"CorrelationTable", CorAddress::c_CorrelationTable, 16384, Block, 4},
};

static_assert(std::ranges::is_sorted(c_Registers, {}, &CorRegister_T::address));
static_assert(c_Registers.back().address + c_Registers.back().width == c_CorAddressSpace);

} // namespace

std::span<const CorRegister_T> CorRegisterRows() { return c_Registers; }

const CorRegister_T* FindCorRegister(std::uint16_t address)
{
    const auto next = std::ranges::upper_bound(c_Registers, address, {}, &CorRegister_T::address);
    if (next == c_Registers.begin()) {
        return nullptr;
    }
    const CorRegister_T& row = *std::prev(next);
    const bool inside = row.access == Block && address - row.address < row.width;
    return inside || row.address == address ? &row : nullptr;
}

std::string CorAccessRefusal(const CorPacket_T& packet)
{
    const std::string place = HexText(packet.address, 4);
    const CorRegister_T* row = FindCorRegister(packet.address);
    if (row == nullptr) {
        return std::string(packet.read ? "read of" : "write to") + " unknown register " + place;
    }

    const std::string name = std::string(row->name) + " (" + place + ")";
    const bool readable = row->access == Read || row->access == Stream;
    if (packet.read != readable) {
        return packet.read ? "read of " + name + ", which is write only"
                           : "write to " + name + ", which is read only";
    }
    if (packet.block != (row->access == Block)) {
        return packet.block ? "block flag set on " + name : "block flag missing on " + name;
    }
    const std::string count = std::to_string(packet.payload.size()) + " bytes for " + name;
    if (row->access == Block && packet.address - row->address + packet.payload.size() > row->width) {
        return count + ", beyond the end of the table";
    }
    if (row->access != Block && row->access != Stream && packet.payload.size() != row->width) {
        return count + ", which takes " + std::to_string(row->width);
    }
    return {};
}

std::string DescribeCorBytes(const CorRegister_T& row, std::uint16_t address, ByteView_T bytes)
{
    const std::string name(row.name);
    switch (row.access) {
    case Block: {
        const std::size_t first = static_cast<std::size_t>(address - row.address);
        const std::size_t last = first + bytes.size() - 1;
        return name + "[" + std::to_string(first / row.entryWidth) + ".." +
               std::to_string(last / row.entryWidth) + "]";
    }
    case Stream:
        return name + " (" + std::to_string(bytes.size()) + " bytes)";
    case Read:
    case Write:
        break;
    }
    return name + "=" + HexText(GetLittleEndian(bytes, 0, bytes.size()), 2 * bytes.size());
}
