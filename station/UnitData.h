#pragma once

#include "station/Run.h"

#include <string_view>

/// Reads the block of a failed run that tells about the unit. What stands behind a label is the content of a
/// file: it may have several lines, or no end of its own, so that the next label follows on the same line.
class CUnitData
{
public:
    static bool IsBorder(std::string_view text);

    /// @param commandLineEnds  line ends in the command line, which the block repeats
    void Begin(std::size_t commandLineEnds);
    /// Takes a line of the block behind the upper border. Returns false when it does not belong there.
    bool Take(std::string_view text, Unit_T& unit);
    /// The lower border was there.
    bool IsOver() const { return m_IsOver; }
    /// All labels were there.
    bool IsWhole() const;

private:
    bool GoOn(std::string_view text, Unit_T& unit);

    std::size_t m_Labels = 0; ///< that were found
    std::size_t m_CommandLineEnds = 0;
    bool m_IsOver = false;
};
