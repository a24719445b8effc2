#include "simulator/Emulator.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <elf.h>
#include <fstream>
#include <sstream>

namespace
{
constexpr char c_Variable[] = "SONARBENCH_EMULATOR";

/// What a program's file says of the processor that runs it: format, width, byte order and machine.
std::string Kind(const std::filesystem::path& program)
{
    // The machine stands at the same place in files of both widths.
    std::array<char, offsetof(Elf32_Ehdr, e_version)> head{};
    std::ifstream(program, std::ios::binary).read(head.data(), head.size());
    return std::string(head.data(), EI_VERSION)
        .append(head.begin() + offsetof(Elf32_Ehdr, e_machine), head.end());
}
} // namespace

bool IsEmulated() { return std::getenv(c_Variable) != nullptr; }

std::vector<std::string> EmulatorOf(const std::filesystem::path& program)
{
    std::vector<std::string> words;
    const char* const pEmulator = std::getenv(c_Variable);
    if (pEmulator != nullptr && Kind(program) == Kind("/proc/self/exe")) {
        std::istringstream text(pEmulator);
        for (std::string word; text >> word;) {
            words.push_back(word);
        }
    }
    return words;
}
