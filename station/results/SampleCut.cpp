#include "station/results/SampleCut.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace
{
constexpr std::string_view c_Begin = "<SonarFPGAData>";
constexpr std::string_view c_End = "<EndSonarFPGAData>";
constexpr unsigned int c_Most = 65535;

struct Form_T {
    const char* name;
    std::size_t digits;    ///< of each sample; 0: as many as it needs
    bool hasComma = false; ///< after each sample but the last
    bool endsWithComma = false;
};
constexpr Form_T c_Forms[] = {{.name = "comma", .digits = 0, .hasComma = true},
                              {.name = "comma-at-end", .digits = 0, .hasComma = true, .endsWithComma = true},
                              {.name = "three-digits", .digits = 3}};

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// Empty: a sample is not written as AppendSamples() would write it.
Bytes_T Packed(std::string_view block, const Form_T& form)
{
    Bytes_T packed(block.size() + 2, '\0'); // a sample has at least one byte and a comma, or three
    std::size_t size = 0;
    for (std::size_t at = 0; at < block.size();) {
        const std::size_t begin = at;
        const std::size_t most = form.digits != 0 ? form.digits : std::size_t{5};
        unsigned int value = 0;
        for (; at < block.size() && at - begin < most && IsDigit(block[at]); ++at) {
            value = value * 10 + static_cast<unsigned int>(block[at] - '0');
        }
        const std::size_t digits = at - begin;
        const bool isPlain =
            form.digits != 0 ? digits == form.digits : digits != 0 && (digits == 1 || block[begin] != '0');
        const bool isSeparated = !form.hasComma || at == block.size() || block[at] == ',';
        if (!isPlain || !isSeparated || value > c_Most) {
            return {};
        }
        at += form.hasComma ? 1 : 0;
        constexpr unsigned int bits = 8;
        packed[size++] = static_cast<char>(value & 0xFFU);
        packed[size++] = static_cast<char>(value >> bits);
    }
    packed.resize(size);
    return packed;
}

const Form_T& FormOf(std::string_view block)
{
    const bool hasComma = block.find(',') != std::string_view::npos;
    return c_Forms[!hasComma ? 2 : block.ends_with(',') ? 1 : 0];
}
} // namespace

Bytes_T CutSamples(std::string_view file, std::vector<SampleCut_T>& cuts)
{
    Bytes_T text;
    std::uint64_t line = 1;
    for (;;) {
        const std::size_t mark = file.find(c_Begin);
        const std::size_t begin = mark == std::string_view::npos ? file.size() : mark + c_Begin.size();
        const std::string_view before = file.substr(0, begin);
        text += before;
        file.remove_prefix(begin);
        if (file.empty()) {
            return text;
        }
        line += static_cast<std::uint64_t>(std::ranges::count(before, '\n'));
        const std::string_view block = file.substr(0, file.find(c_End));
        const Form_T& form = FormOf(block);
        if (Bytes_T packed = Packed(block, form); !packed.empty()) {
            cuts.push_back({text.size(), line, form.name, std::move(packed)});
            file.remove_prefix(block.size());
        }
    }
}

void AppendSamples(Bytes_T& text, std::string_view name, std::string_view samples)
{
    const auto* const form = std::ranges::find(c_Forms, name, &Form_T::name);
    if (form == std::end(c_Forms)) {
        throw std::runtime_error("the database has samples in a form that is not known");
    }
    constexpr unsigned int bits = 8;
    std::array<char, 5> digits{};
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
        const unsigned int value =
            static_cast<unsigned char>(samples[i]) |
            (static_cast<unsigned int>(static_cast<unsigned char>(samples[i + 1])) << bits);
        const auto* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        const auto count = static_cast<std::size_t>(end - digits.data());
        text.append(form->digits - std::min(form->digits, count), '0');
        text.append(digits.data(), count);
        if (form->hasComma && (i + 2 < samples.size() || form->endsWithComma)) {
            text += ',';
        }
    }
}
