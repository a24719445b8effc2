#include "Utilities/Lowscan.h"
#include "simulator/CorFpgaModel.h"
#include "simulator/CorRegisterMap.h"
#include "simulator/LowscanSpiModel.h"
#include "simulator/LowscanUartModel.h"
#include "simulator/LumetRegisterMap.h"
#include "simulator/WireBytes.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

#include <set>

using namespace testing;

namespace
{
constexpr char c_Both[] = "### Registers of both families";
constexpr char c_Cor[] = "### Registers of the QL family";
constexpr char c_Lumet[] = "### Registers of the Lumet family";
constexpr char c_LumetChannel[] = "Each channel has these";
constexpr unsigned long c_Configure = 0x80047202;

enum Column { Name, Address, Width, Access, Goes, InTrace };

const std::string& Page()
{
    static const std::string page = Source("docs/protocols.md");
    return page;
}

std::uint32_t Number(const std::string& text)
{
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 0));
}

bool IsRead(const Row_T& row) { return row[Access] == "read" || row[Access] == "stream"; }

/// The page's registers below some headings, in the words of the program's maps: name, address, width of what
/// is no table, how it goes.
std::set<std::string> AsTheProgram(const std::vector<std::string>& headings)
{
    std::set<std::string> registers;
    for (const std::string& heading : headings) {
        for (const Row_T& row : TableBelow(Page(), heading)) {
            const bool isPlain = row[Access] == "read" || row[Access] == "write";
            // The maps say nothing of reads, and how they go is what is said of nothing.
            const std::string goes =
                IsRead(row) ? "queued" + (row[Goes].empty() ? "" : ", " + row[Goes]) : row[Goes];
            if (row[Name] != "-") {
                registers.insert(row[Name] + " " + row[Address] + " " + (isPlain ? row[Width] : "1") + " " +
                                 goes);
            }
        }
    }
    return registers;
}

/// The rows of a register map of the program, read as text, because constants cannot be listed.
std::set<std::string> ProgramsMap(const std::string& header)
{
    const std::string source = Source("Utilities/" + header);
    std::set<std::string> registers;
    const auto rows = Matches(source, R"(inline constexpr (?:Register|Channel)\w+ c_(\w+)\{+([^;]*?)\}+;)");
    EXPECT_EQ(rows.size(), Matches(source, "inline constexpr").size()) << "a row that this test cannot read";
    for (const Row_T& row : rows) {
        std::map<std::string, std::string> fields = {{"width", "1"}};
        for (const Row_T& field : Matches(row[1], R"(\.(\w+) = ([\w:]+))")) {
            fields[field[0]] = field[1];
        }
        registers.insert(row[0] + " " + HexText(Number(fields["address"]), 4) + " " + fields["width"] +
                         (fields["delivery"] == "Delivery::Sent" ? " at once" : " queued") +
                         (fields["packets"] == "Packets::OnePerByte" ? ", byte by byte" : "") +
                         (fields["block"] == "true" ? ", block" : ""));
    }
    return registers;
}

std::string RowText(const PacketRegister_T& row)
{
    return row.name + " " + HexText(row.address, 4) + " " + std::to_string(row.width) + " " +
           std::to_string(static_cast<int>(row.access)) + " " + std::to_string(row.entryWidth) +
           (row.NeedsBlockFlag() ? " block" : "");
}

/// The page's registers below a heading, in the words of the simulator's maps.
void AddAsTheSimulator(std::set<std::string>& registers, const std::string& heading,
                       const std::string& prefix = "", std::uint32_t base = 0)
{
    using enum RegisterAccess_T;
    const std::map<std::string, RegisterAccess_T> accesses = {
        {"read", Read}, {"write", Write}, {"stream", Stream}, {"scratch", Debug}};
    for (const Row_T& row : TableBelow(Page(), heading)) {
        const bool isTable = row[Access].starts_with("table of ");
        const auto names = Split(row[InTrace], ' ');
        const std::uint32_t width =
            row[Width] == "any" ? 0 : Number(row[Width]) / static_cast<unsigned>(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            registers.insert(
                RowText({.name = prefix + names[i],
                         .address = static_cast<std::uint16_t>(base + Number(row[Address]) + i),
                         .width = static_cast<std::uint16_t>(width),
                         .access = isTable ? Table : accesses.at(row[Access]),
                         .entryWidth = static_cast<std::uint16_t>(isTable ? row[Access].back() - '0' : 0),
                         .hasBlockFlag = row[Goes].ends_with("block")}));
        }
    }
}

std::set<std::string> SimulatorsMap(const CPacketRegisterMap& map)
{
    std::set<std::string> registers;
    for (const PacketRegister_T& row : map.Rows()) {
        registers.insert(RowText(row));
    }
    return registers;
}

/// The examples of one kind: their bytes, and what they mean.
std::vector<std::pair<Bytes_T, std::string>> Examples(const std::string& kind)
{
    std::vector<std::pair<Bytes_T, std::string>> examples;
    for (const std::string& line : Split(Between(Page(), "```" + kind + "\n", "```"), '\n')) {
        const auto parts = Split(line, '#');
        Bytes_T bytes;
        for (const Row_T& byte : Matches(parts.at(0), "([0-9a-f]{2})")) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(byte[0], nullptr, 16)));
        }
        examples.emplace_back(bytes, parts.at(1));
    }
    return examples;
}

/// An FPGA that works.
std::shared_ptr<CLowscanFpgaModel> LowscanFpga()
{
    return std::make_shared<CLowscanFpgaModel>(FpgaSetup_T{.product = "QL1A", .firmwareVersion = 1});
}
} // namespace

TEST(ProtocolsPage, HasTheRegistersOfTheProgram)
{
    EXPECT_EQ(AsTheProgram({c_Both}), ProgramsMap("RegisterMap.h"));
    EXPECT_EQ(AsTheProgram({c_Cor}), ProgramsMap("CorRegisterMap.h"));
    EXPECT_EQ(AsTheProgram({c_Lumet, c_LumetChannel}), ProgramsMap("LumetRegisterMap.h"));
}

TEST(ProtocolsPage, HasTheRegistersOfTheSimulator)
{
    std::set<std::string> registers;
    AddAsTheSimulator(registers, c_Both);
    AddAsTheSimulator(registers, c_Cor);
    EXPECT_EQ(registers, SimulatorsMap(CorRegisters()));

    registers.clear();
    AddAsTheSimulator(registers, c_Both);
    AddAsTheSimulator(registers, c_Lumet);
    const auto bases = Matches(Page(), "of channel ([01]) from (0x[0-9a-f]{4})");
    EXPECT_EQ(bases.size(), 2U);
    for (const Row_T& base : bases) {
        AddAsTheSimulator(registers, c_LumetChannel, "Ch" + base[0] + ".", Number(base[1]));
    }
    EXPECT_EQ(registers, SimulatorsMap(LumetRegisters()));
}

TEST(ProtocolsPage, HasTheLowscanRegistersInTheOrderOfASetUp)
{
    std::vector<std::uint32_t> order[3];
    std::map<std::uint32_t, std::pair<std::string, std::uint32_t>> registers;
    for (const Row_T& row : TableBelow(Page(), "from PulseA to ColourGain")) {
        const bool isShared = row[2].empty();
        for (std::size_t channel = 0; channel < (isShared ? 1 : 2); ++channel) {
            const std::uint32_t address = Number(row[1 + channel]);
            order[isShared ? 2 : channel].push_back(address);
            registers[address] = {(isShared ? "" : "Ch" + std::to_string(channel) + ".") + row[0],
                                  Number(row[3])};
        }
    }

    std::vector<std::uint32_t> sent;
    LSFpgaCompleteConfigure_T config{};
    config.channel1.channel = 1;
    for (const LSRegisterValue_T& next : ConfigurationRegisters(config)) {
        sent.push_back(next.address);
    }
    std::vector<std::uint32_t> documented;
    for (const auto& part : order) {
        documented.insert(documented.end(), part.begin(), part.end());
    }
    EXPECT_EQ(documented, sent);

    const auto fpga = LowscanFpga();
    std::map<std::uint32_t, std::pair<std::string, std::uint32_t>> understood;
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
    EXPECT_EQ(registers, understood);
}

TEST(ProtocolsPage, HasTheRequestsOfTheDriverAndOfTheLowscanFpga)
{
    CLowscanSpiModel spi(LowscanFpga());
    std::map<std::uint32_t, std::size_t> driver;
    CCorFpgaModel cor({.product = "QL4K"}, 69'248'000);
    for (std::uint32_t request = 0x80047200; request < 0x80047300; ++request) {
        if (cor.Ioctl(request, {}).error != ENOTTY) {
            driver[request] = cor.IoctlArgumentSize(request);
        }
    }
    std::map<std::uint32_t, std::size_t> documented;
    for (const Row_T& row : TableBelow(Page(), "## The SPI driver")) {
        documented[Number(row[0])] = Number(row[1]);
    }
    EXPECT_EQ(documented, driver);

    // Each request of each first byte, as short as it can be, and the size of what it answers.
    constexpr std::size_t longest = 90;
    constexpr std::size_t shortestPacket = 3;
    std::map<std::uint32_t, std::pair<std::size_t, std::size_t>> understood;
    spi.Ioctl(c_Configure, {});
    for (std::size_t size = longest; size > 0; --size) {
        for (std::uint32_t first = 0; first < 256; ++first) {
            Bytes_T request(size, 0);
            request.front() = static_cast<std::uint8_t>(first);
            if (size == 5) {
                request[3] = request[4] = 0xFF; // the padding of the version's
            }
            const DeviceOutcome_T outcome = spi.Write(request);
            if (outcome.refusals.empty() ||
                outcome.refusals.front().find("unknown request") == std::string::npos) {
                understood[first] = {size, outcome.reply.size()};
            }
        }
    }
    std::map<std::uint32_t, std::pair<std::size_t, std::size_t>> requests;
    for (const Row_T& row : TableBelow(Page(), "### Requests on SPI")) {
        const bool isPacket = row[2] == "packet";
        EXPECT_EQ(isPacket, row[1] == "packet + 1");
        requests[Number(row[0])] = isPacket
                                       ? std::pair{shortestPacket + 1, shortestPacket}
                                       : std::pair<std::size_t, std::size_t>{Number(row[1]), Number(row[2])};
    }
    EXPECT_EQ(requests, understood);
}

TEST(ProtocolsPage, ItsExamplesMeanWhatStandsBehindThem)
{
    CCorFpgaModel cor({.product = "QL4K", .firmwareVersion = 1}, 69'248'000);
    cor.Ioctl(c_Configure, {});
    CLowscanUartModel uart(LowscanFpga(), 0);
    termios line{};
    line.c_cflag = CS8;
    line.c_iflag = IXOFF;
    ::cfsetispeed(&line, B3000000);
    ::cfsetospeed(&line, B3000000);
    uart.SetLine(line);
    const std::pair<std::string, IDeviceModel&> kinds[] = {{"packet", cor}, {"frame", uart}};
    for (const auto& [kind, model] : kinds) {
        for (const auto& [bytes, meaning] : Examples(kind)) {
            const DeviceOutcome_T outcome = model.Write(bytes);
            EXPECT_THAT(outcome.refusals, IsEmpty());
            EXPECT_EQ(outcome.meaning, meaning);
        }
    }
}
