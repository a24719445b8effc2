#pragma once

#include "station/Run.h"

#include <string_view>

/// Reads the block of a failed run that tells about the unit. What stands behind a label is the content of a
/// file: it may have several lines, or no end of its own, so that the next label follows on the same line.
class CUnitData
{
public:
    static bool IsBorder(std::string_view text);

    void Begin() { *this = CUnitData(); }
    /// Takes a line of the block behind the upper border. Returns true at the lower border.
    bool Take(std::string_view text, Unit_T& unit);
    /// All labels were there.
    bool IsWhole() const;

private:
    void GoOn(std::string_view text, Unit_T& unit) const;

    std::size_t m_Labels = 0; ///< that were found
};
