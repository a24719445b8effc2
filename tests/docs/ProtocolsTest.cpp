#include "simulator/models/CorFpgaModel.h"
#include "simulator/models/LowscanSpiModel.h"
#include "simulator/models/LowscanUartModel.h"
#include "simulator/models/LumetFpgaModel.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/LowscanLine.h"
#include "tests/tables/Places.h"

#include <gmock/gmock.h>

#include <algorithm>
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

/// A register as the program writes or reads it.
struct ProgramRegister_T {
    std::string text; ///< "SpeedA at 64"
    std::uint32_t address;
    std::uint32_t width;
    bool block;
};

/// The rows of a register map of the program; a register of a channel is two.
std::vector<ProgramRegister_T> ProgramRegisters(const std::string& file)
{
    std::vector<ProgramRegister_T> registers;
    for (const Row_T& row : Matches(Source(file), R"((ChannelRegister|RegisterRow)_T c_(\w+)\{([^;]*);)")) {
        const auto field = [&row](const char* name, std::uint32_t otherwise) {
            const auto found = Matches(row[2], std::string("\\.") + name + " = (\\w+)");
            return found.empty() ? otherwise : Number(found.front()[0]);
        };
        const bool isBlock = row[2].find(".block = true") != std::string::npos;
        for (const std::uint32_t base :
             row[0] == "RegisterRow" ? std::vector{0U} : std::vector{0x4000U, 0x8000U}) {
            const std::uint32_t address = base + field("address", 0);
            registers.push_back(
                {row[1] + " at " + std::to_string(address), address, field("width", 1), isBlock});
        }
    }
    return registers;
}

/// Whether registers of RegisterText() have all bytes of a register.
bool HasBytes(const std::set<std::string>& registers, const ProgramRegister_T& row)
{
    for (std::uint32_t byte = row.address; byte < row.address + row.width; ++byte) {
        const bool isThere = std::ranges::any_of(registers, [&](const std::string& text) {
            const auto words = Split(text, ' ');
            const std::uint32_t address = Number(words[1]), width = std::max(Number(words[2]), 1U);
            return text.ends_with(" block") == row.block && byte >= address && byte < address + width;
        });
        if (!isThere) {
            return false;
        }
    }
    return true;
}

/// A working FPGA.
std::shared_ptr<CLowscanFpgaModel> LowscanFpga()
{
    return std::make_shared<CLowscanFpgaModel>(FpgaSetup_T{.product = "QL1A", .firmwareVersion = 1});
}
} // namespace

TEST(Tables, EachRegisterOfAPacketLinkIsKnownEverywhere)
{
    struct Family_T {
        const char* heading;
        const char* programMap;
        const char* modelMap;
        const CPacketRegisterMap& map;
        std::set<std::string> documented = {};
    };
    Family_T families[] = {{"### Registers of the QL family", "Utilities/FPGAIFCorSPI.cpp",
                            "simulator/models/CorFpgaModel.cpp", CorRegisters()},
                           {"### Registers of the Lumet family", "Utilities/FPGAIFLumetSPI.cpp",
                            "simulator/models/LumetFpgaModel.cpp", LumetRegisters()}};
    for (Family_T& family : families) {
        AddDocumented(family.documented, "### Registers of both families");
        AddDocumented(family.documented, family.heading);
    }
    for (const Row_T& base : Matches(Page(), "of channel ([01]) from (0x[0-9a-f]{4})")) {
        AddDocumented(families[1].documented, "Each channel has these", "Ch" + base[0] + ".",
                      Number(base[1]));
    }
    for (const Family_T& family : families) {
        const auto modelled = Simulated(family.map);
        ExpectKnownEverywhere("register (name, address, width, access)", family.modelMap,
                              {modelled.begin(), modelled.end()},
                              {{"docs/protocols.md", "a row", family.documented}});
        const auto own = ProgramRegisters(family.programMap);
        const auto shared = ProgramRegisters("Utilities/FPGAPacketLink.h");
        std::vector<std::string> rows;
        std::set<std::string> inModel;
        for (const auto& registers : {own, shared}) {
            for (const ProgramRegister_T& row : registers) {
                rows.push_back(row.text);
                if (HasBytes(modelled, row)) {
                    inModel.insert(row.text);
                }
            }
        }
        ExpectKnownEverywhere("register", family.programMap, rows,
                              {{family.modelMap, "a row, from the FPGA's documents", inModel}});
    }
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
    uart.SetLine(RawLine());
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
