#pragma once

#include <array>
#include <climits>
#include <cstdint>
#include <string_view>

/// What a path or a descriptor leads to.
enum class CallTarget_T : std::uint8_t {
    None,   ///< nothing whose calls are counted
    Device, ///< a device node of the unit
    File    ///< a file of the unit, or one that an argument of the program names
};

/// Descriptors from this one on are not followed; the program never has that many.
inline constexpr int c_FollowedDescriptors = 400;

/// Whether the calls of this process are counted or recorded. They are not in other programs, nor in a child
/// before it becomes another program.
bool IsCounting();

/// Keeps a reference to the program's arguments.
void RememberArguments(int count, char** arguments);

/// A path made absolute, without "." and ".." in it; empty when it is too long.
class CPlainPath
{
public:
    explicit CPlainPath(std::string_view path);

    std::string_view Text() const { return {m_Text.data(), m_IsTooLong ? 0 : m_Size}; }

private:
    void Append(std::string_view name);

    std::array<char, PATH_MAX>
        m_Text; ///< the first m_Size bytes count; clearing all would take longer than the rest
    std::size_t m_Size = 0;
    bool m_IsTooLong = false;
};

/// What a path leads to, relative to the working directory; None where no calls are counted.
CallTarget_T TargetOf(const char* path);
/// The same where calls are counted.
CallTarget_T TargetOf(const CPlainPath& plain);

/// What a descriptor leads to, as set last; None where no calls are counted.
CallTarget_T TargetOf(int descriptor);
void SetTarget(int descriptor, CallTarget_T target);

/// Remembers that a fault reported the descriptor as readable.
void SetDeceived(int descriptor);
/// Whether that happened; forgets it.
bool TakeDeceived(int descriptor);
