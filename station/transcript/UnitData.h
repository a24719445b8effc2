#pragma once

#include "station/transcript/Run.h"

#include <string_view>

/// Reads the block of a failed run that describes the unit. After a label come the contents of a file:
/// several lines, or a line without an end, which the next label continues.
class CUnitData
{
public:
    static bool IsBorder(std::string_view text);

    /// @param commandLineEnds  line ends in the command line, which the block repeats
    void Begin(std::size_t commandLineEnds);
    /// Takes a line of the block after the upper border. Returns false when it does not belong there.
    bool Take(std::string_view text, Unit_T& unit);
    /// The lower border was there.
    bool IsOver() const { return m_IsOver; }
    /// All labels were there.
    bool IsWhole() const;

private:
    bool GoOn(std::string_view text, Unit_T& unit);

    std::size_t m_Labels = 0; ///< found so far
    std::size_t m_CommandLineEnds = 0;
    bool m_IsOver = false;
};
