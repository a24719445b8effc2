#include "simulator/models/CorFpgaModel.h"
#include "simulator/models/LowscanSpiModel.h"
#include "simulator/models/LowscanUartModel.h"
#include "simulator/models/LumetFpgaModel.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

#include <set>

using namespace testing;

// The page is compared with the simulator, which refuses anything else that the program sends.
namespace
{
constexpr unsigned long c_Configure = 0x80047202;

const std::string& Page()
{
    static const std::string page = Source("docs/protocols.md");
    return page;
}

std::uint32_t Number(const std::string& text)
{
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 0));
}

/// A register as both sides describe it: name, address, width, access, width of a table's entries.
std::string RegisterText(const std::string& name, std::size_t address, std::size_t width,
                         const std::string& access, bool block)
{
    return name + " " + std::to_string(address) + " " + std::to_string(width) + " " + access +
           (block ? " block" : "");
}

/// The page's registers below a heading.
void AddDocumented(std::set<std::string>& registers, const std::string& heading,
                   const std::string& prefix = "", std::uint32_t base = 0)
{
    enum Column { Name, Address, Width, Access, Goes, InTrace };
    for (const Row_T& row : TableBelow(Page(), heading)) {
        const auto names = Split(row[InTrace], ' ');
        const std::size_t width = row[Width] == "any" ? 0 : Number(row[Width]) / names.size();
        for (std::size_t i = 0; i < names.size(); ++i) {
            registers.insert(RegisterText(prefix + names[i], base + Number(row[Address]) + i, width,
                                          row[Access], row[Goes].ends_with("block")));
        }
    }
}

std::set<std::string> Simulated(const CPacketRegisterMap& map)
{
    using enum RegisterAccess_T;
    const std::map<RegisterAccess_T, std::string> accesses = {
        {Read, "read"}, {Write, "write"}, {Stream, "stream"}, {Debug, "scratch"}, {Table, "table of "}};
    std::set<std::string> registers;
    for (const PacketRegister_T& row : map.Rows()) {
        const std::string entry = row.access == Table ? std::to_string(row.entryWidth) : "";
        registers.insert(RegisterText(row.name, row.address, row.width, accesses.at(row.access) + entry,
                                      row.NeedsBlockFlag()));
    }
    return registers;
}

/// A working FPGA.
std::shared_ptr<CLowscanFpgaModel> LowscanFpga()
{
    return std::make_shared<CLowscanFpgaModel>(FpgaSetup_T{.product = "QL1A", .firmwareVersion = 1});
}
} // namespace

TEST(ProtocolsPage, HasTheRegistersOfThePacketLinks)
{
    std::set<std::string> cor, lumet;
    for (std::set<std::string>* pRegisters : {&cor, &lumet}) {
        AddDocumented(*pRegisters, "### Registers of both families");
    }
    AddDocumented(cor, "### Registers of the QL family");
    AddDocumented(lumet, "### Registers of the Lumet family");
    for (const Row_T& base : Matches(Page(), "of channel ([01]) from (0x[0-9a-f]{4})")) {
        AddDocumented(lumet, "Each channel has these", "Ch" + base[0] + ".", Number(base[1]));
    }
    EXPECT_EQ(cor, Simulated(CorRegisters()));
    EXPECT_EQ(lumet, Simulated(LumetRegisters()));
}

TEST(ProtocolsPage, HasTheRegistersOfTheLowscanFpga)
{
    using Registers_T = std::map<std::uint32_t, std::pair<std::string, std::uint32_t>>;
    Registers_T documented, understood;
    for (const Row_T& row : TableBelow(Page(), "from PulseA to ColourGain")) {
        documented[Number(row[1])] = {(row[2].empty() ? "" : "Ch0.") + row[0], Number(row[3])};
        if (!row[2].empty()) {
            documented[Number(row[2])] = {"Ch1." + row[0], Number(row[3])};
        }
    }
    const auto fpga = LowscanFpga();
    for (std::uint16_t address = 0; address < 256; ++address) {
        for (std::uint32_t bit = 1; bit != 0; bit <<= 1) {
            DeviceOutcome_T outcome;
            fpga->SetRegister(address, bit, outcome);
            if (outcome.refusals.empty()) {
                understood[address].first = outcome.meaning.substr(0, outcome.meaning.find('='));
                understood[address].second |= bit;
            }
        }
    }
    EXPECT_EQ(documented, understood);
}

TEST(ProtocolsPage, HasTheRequestsOfTheDriverAndOfTheLowscanFpga)
{
    CCorFpgaModel cor({.product = "QL4K"}, 69'248'000);
    for (const Row_T& row : TableBelow(Page(), "## The SPI driver")) {
        EXPECT_NE(cor.Ioctl(Number(row[0]), {}).error, ENOTTY) << row[0];
        EXPECT_EQ(cor.IoctlArgumentSize(Number(row[0])), Number(row[1])) << row[0];
    }
    CLowscanSpiModel spi(LowscanFpga());
    spi.Ioctl(c_Configure, {});
    for (const Row_T& row : TableBelow(Page(), "### Requests on SPI")) {
        const bool isPacket = row[1] == "packet + 1" && row[2] == "packet";
        constexpr std::size_t packet = 1059;
        Bytes_T request(isPacket ? packet + 1 : Number(row[1]));
        request.front() = static_cast<std::uint8_t>(Number(row[0]));
        if (row[3].find("version") != std::string::npos) {
            request[3] = request[4] = 0xFF;
        }
        const DeviceOutcome_T outcome = spi.Write(request);
        // The registers in the request do not exist, so they may be refused, but not the request.
        EXPECT_THAT(outcome.refusals, Each(Not(HasSubstr("request")))) << row[0];
        EXPECT_EQ(outcome.reply.size(), isPacket ? packet : Number(row[2])) << row[0];
    }
}

TEST(ProtocolsPage, ItsExamplesHaveTheStatedMeaning)
{
    CCorFpgaModel cor({.product = "QL4K", .firmwareVersion = 1}, 69'248'000);
    cor.Ioctl(c_Configure, {});
    CLowscanUartModel uart(LowscanFpga(), 0);
    termios line{};
    line.c_cflag = CS8;
    line.c_iflag = IXOFF;
    ::cfsetspeed(&line, B3000000);
    uart.SetLine(line);
    const std::pair<std::string, IDeviceModel&> kinds[] = {{"packet", cor}, {"frame", uart}};
    for (const auto& [kind, model] : kinds) {
        for (const Row_T& example : Matches(Between(Page(), "```" + kind + "\n", "```"), "(.*?) *# (.*)")) {
            Bytes_T bytes;
            for (const Row_T& byte : Matches(example[0], "([0-9a-f]{2})")) {
                bytes.push_back(static_cast<std::uint8_t>(std::stoul(byte[0], nullptr, 16)));
            }
            const DeviceOutcome_T outcome = model.Write(bytes);
            EXPECT_THAT(outcome.refusals, IsEmpty());
            EXPECT_EQ(outcome.meaning, example[1]);
        }
    }
}
