// Usage: make_seeds DIRECTORY TRACES. Writes what each fuzz target starts from into DIRECTORY/<target>/, and
// into DIRECTORY/<target>.dict the words that the fuzzer may put together. TRACES is the directory of the
// golden traces.

#include "framework/Products.h"
#include "fuzz/FuzzDevice.h"
#include "fuzz/TableText.h"
#include "simulator/TraceFile.h"
#include "sonar/TableFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace
{
/// As an answer to everything: done, and its number wherever a byte is asked for.
constexpr char c_Willing = static_cast<char>(Answer_T::Summed);

constexpr std::size_t c_Operations = 16; ///< at least as many as any target's table has
constexpr std::size_t c_Commands = 11;   ///< of whole_command
constexpr std::size_t c_Unpackings = 4;  ///< of ping_packets

constexpr std::string_view c_CommandLines[] = {"batteryvoltage",
                                               "lcdtemperature",
                                               "watertemperature",
                                               "speed 2",
                                               "speed",
                                               "sensepin",
                                               "loadfpgabinary",
                                               "ping 200000 210000 27 45 0 medium",
                                               "ping 50000 50000 4294967295 1 2 LOW",
                                               "ping 1 2 3 4 1 max",
                                               "lowscanping 200long",
                                               "lumetping 350long",
                                               "xkping table.txt 0 1",
                                               "xkping table.txt 260 -5",
                                               "6mping 0",
                                               ""};

void WriteFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

std::string Numbered(const char* name, std::size_t number) { return name + std::to_string(number); }

char Byte(std::size_t value) { return static_cast<char>(value); }

/// A trace, and what whole_command's input says before the answers begin.
struct TracedRun_T {
    const char* name;
    char command; ///< place of the command in whole_command's table
    std::size_t
        choices; ///< bytes that choose the arguments, the damage and the table, all the first there is
};
constexpr TracedRun_T c_TracedRuns[] = {{"xkping_ql4k.golden", 0, 10},
                                        {"ping_varrow.golden", 1, 15},
                                        {"lumetping_200long.golden", 2, 2},
                                        {"lumetping_350long.golden", 2, 2}};

/// A dictionary's line for a word of any bytes.
std::string DictionaryLine(std::string_view word)
{
    std::string line = "\"";
    for (const char character : word) {
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x",
                      static_cast<unsigned int>(static_cast<unsigned char>(character)));
        line += code;
    }
    return line + "\"\n";
}

void WriteTableFiles(const std::filesystem::path& directory)
{
    using namespace TableKeys;
    TableNumbers_T longer;
    longer.chirpEntries = longer.tvgEntries = longer.correlationEntries = 4;
    WriteFile(directory / "table_file" / "shortest", TableText());
    WriteFile(directory / "table_file" / "longer", TableText(longer));

    std::string words;
    for (const ScalarKey_T& key : {c_ChannelFilter, c_NumberOfSamples, c_SubSampleRate, c_SubSampleThreshold,
                                   c_BoostLevel, c_FilterSubSampleDivisor, c_FilterSelection, c_FilterScaling,
                                   c_FilterCentreFrequency, c_CorrelationDownShift, c_CorrelationScaling}) {
        words += DictionaryLine(key.start) + DictionaryLine(key.end);
    }
    for (const TableKey_T& key : {c_Chirp, c_Tvg, c_Correlation}) {
        words += DictionaryLine(key.header) + DictionaryLine(key.end);
    }
    WriteFile(directory / "table_file.dict", words);
}

void WriteReplies(const std::filesystem::path& directory)
{
    for (const char* target :
         {"cor_replies", "lumet_replies", "lowscan_uart_replies", "lowscan_spi_replies"}) {
        for (std::size_t operation = 0; operation < c_Operations; ++operation) {
            WriteFile(directory / target / Numbered("operation", operation),
                      Byte(operation) + std::string(16, c_Willing));
        }
    }
    std::string packet;
    for (std::size_t at = 0; at < sizeof(unsigned short) * 1024; ++at) {
        packet += Byte(at);
    }
    for (std::size_t link = 0; link < c_Unpackings; ++link) {
        WriteFile(directory / "ping_packets" / Numbered("link", link),
                  std::string{Byte(link), 0, 4, Byte(129)} + packet);
        WriteFile(directory / "ping_packets" / Numbered("rest", link),
                  std::string{Byte(link), 100, 0, Byte(135)} + packet.substr(0, 200));
    }
}

/// Bytes of a device as the input of CFuzzDevice gives them.
std::string Pieces(const Bytes_T& bytes)
{
    constexpr std::size_t c_LongestPiece = 255;
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += c_LongestPiece) {
        const std::size_t size = std::min(c_LongestPiece, bytes.size() - at);
        text += {static_cast<char>(Answer_T::Piece), Byte(size)};
        text.append(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(at + size));
    }
    return text;
}

/// What the device of a trace answered, as the fuzzed one would.
void WriteTracedRuns(const std::filesystem::path& directory, const std::filesystem::path& traces)
{
    for (const TracedRun_T& run : c_TracedRuns) {
        const TraceFile_T trace = ReadTraceFile(traces / run.name);
        const auto product = std::ranges::find(Products(), trace.unit, &Product_T::name);
        std::string input{Byte(static_cast<std::size_t>(product - Products().begin())), run.command};
        input.append(run.choices, '\0');
        for (const TraceOperation_T& operation : trace.operations) {
            const DeviceOutcome_T& outcome = operation.outcome;
            input += outcome.fill.empty() ? std::string(1, c_Willing) : Pieces(outcome.fill);
            // The wait for the reply has an answer, too.
            input += outcome.reply.empty() ? "" : std::string(1, c_Willing) + Pieces(outcome.reply);
        }
        WriteFile(directory / "whole_command" / run.name, input);
    }
}

void WriteRuns(const std::filesystem::path& directory)
{
    for (std::size_t product = 0; product < Products().size(); ++product) {
        for (std::size_t command = 0; command < c_Commands; ++command) {
            // The first of each choice, no damage, and a device that is willing.
            WriteFile(directory / "whole_command" /
                          (Numbered("product", product) + Numbered("command", command)),
                      std::string{Byte(product), Byte(command)} + std::string(14, '\0') +
                          std::string(64, c_Willing));
        }
    }
    std::string words;
    for (std::size_t line = 0; line < std::size(c_CommandLines); ++line) {
        std::string text(c_CommandLines[line]);
        std::replace(text.begin(), text.end(), ' ', '\0');
        for (const std::size_t product : {11U, 17U, 19U, 22U}) {
            WriteFile(directory / "arguments" / (Numbered("product", product) + Numbered("line", line)),
                      Byte(product) + text);
        }
        words += text.empty() ? "" : DictionaryLine(text) + DictionaryLine(text.c_str());
    }
    WriteFile(directory / "arguments.dict", words);
}
} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::cerr << "Usage: make_seeds DIRECTORY TRACES\n";
        return 2;
    }
    try {
        WriteTableFiles(argv[1]);
        WriteReplies(argv[1]);
        WriteRuns(argv[1]);
        WriteTracedRuns(argv[1], argv[2]);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return 0;
}
