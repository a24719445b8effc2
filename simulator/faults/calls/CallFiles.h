#pragma once

#include <cstdint>

/// What a path or a descriptor leads to.
enum class CallTarget_T : std::uint8_t {
    None,   ///< nothing whose calls are counted
    Device, ///< a device node of the unit
    File    ///< a file of the unit, or one that an argument of the program names
};

/// Descriptors from this one on are not followed; the program never has that many.
inline constexpr int c_FollowedDescriptors = 400;

/// Keeps a reference to the program's arguments.
void RememberArguments(int count, char** arguments);

/// What a path leads to, relative to the working directory; None where no calls are counted.
CallTarget_T TargetOf(const char* path);

/// What a descriptor leads to, as set last; None where no calls are counted.
CallTarget_T TargetOf(int descriptor);
void SetTarget(int descriptor, CallTarget_T target);

/// Remembers that a fault reported the descriptor as readable.
void SetDeceived(int descriptor);
/// Whether that happened; forgets it.
bool TakeDeceived(int descriptor);
