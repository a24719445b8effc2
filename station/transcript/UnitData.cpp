#include "station/transcript/UnitData.h"

#include <algorithm>
#include <iterator>

namespace
{
constexpr std::string_view c_Border = "//////////////////////////////////";
constexpr std::string_view c_NotRead = "ERROR: Failed to open file:";

struct Label_T {
    std::string_view text;
    Bytes_T Unit_T::*field; ///< contents of a file, of any number of lines; null: read elsewhere
};

// In their order; the misspelt one is part of the contract.
constexpr Label_T c_Labels[] = {{"Unit Data for bug reports: ", nullptr},
                                {"Command:\t\t\t", nullptr},
                                {"Platfrom: \t\t\t", &Unit_T::product},
                                {"Test App Build ID:\t\t", nullptr},
                                {"Test App Version:\t\t", nullptr},
                                {"MFD Application Version: \t", &Unit_T::applicationVersion},
                                {"Platform Version: \t\t", &Unit_T::platformVersion},
                                {"Serial Number: \t\t\t", &Unit_T::serialNumber}};
constexpr std::size_t c_AtCommand = 2; ///< labels that were found then
} // namespace

bool CUnitData::IsBorder(std::string_view text) { return text == c_Border; }

bool CUnitData::IsWhole() const { return m_Labels == std::size(c_Labels); }

void CUnitData::Begin(std::size_t commandLineEnds)
{
    *this = CUnitData();
    m_CommandLineEnds = commandLineEnds;
}

/// Takes text without a label on its line; false when there should be none.
bool CUnitData::GoOn(std::string_view text, Unit_T& unit)
{
    if (m_Labels == c_AtCommand && m_CommandLineEnds > 0) {
        --m_CommandLineEnds;
        return true;
    }
    Bytes_T Unit_T::*const field = m_Labels == 0 ? nullptr : c_Labels[m_Labels - 1].field;
    if (field == nullptr || text.empty()) {
        return text.empty();
    }
    Bytes_T& value = unit.*field;
    const std::size_t room = c_LongestKeptLine - std::min(value.size(), c_LongestKeptLine);
    value.append(value.empty() ? "" : "\n").append(text.substr(0, room));
    return true;
}

bool CUnitData::Take(std::string_view text, Unit_T& unit)
{
    m_IsOver = text.ends_with(c_Border);
    text.remove_suffix(m_IsOver ? c_Border.size() : 0);
    bool isLabelled = false;
    while (m_Labels < std::size(c_Labels)) {
        const auto& [label, field] = c_Labels[m_Labels];
        const std::size_t place = text.find(label);
        if (place == std::string_view::npos || (place > 0 && !GoOn(text.substr(0, place), unit))) {
            break;
        }
        isLabelled = true;
        ++m_Labels;
        text.remove_prefix(place + label.size());
        if (field == nullptr) {
            text = {}; // the rest of the line is read elsewhere
        }
    }
    const bool isTaken = GoOn(text, unit) || isLabelled;
    if (m_IsOver) {
        for (const Label_T& label : c_Labels) {
            // This message replaces the contents of a file that could not be read.
            if (label.field != nullptr && (unit.*label.field).starts_with(c_NotRead)) {
                (unit.*label.field).clear();
            }
        }
    }
    return isTaken;
}
