#pragma once

#include <cstdint>

/// What a path or a descriptor leads to.
enum class CallTarget_T : std::uint8_t {
    None,   ///< nothing whose calls are counted
    Device, ///< a device node of the unit
    File    ///< a file of the unit, or one that an argument of the program names
};

/// More than the program has open at a time; descriptors from this one on are not followed.
inline constexpr int c_FollowedDescriptors = 400;

/// The program's arguments, which must stay.
void RememberArguments(int count, char** arguments);

/// What a path leads to, seen from the working directory; None where no calls are counted.
CallTarget_T TargetOf(const char* path);

/// What a descriptor leads to, as set last; None where no calls are counted.
CallTarget_T TargetOf(int descriptor);
void SetTarget(int descriptor, CallTarget_T target);

/// Remembers that a descriptor was said to be readable, whether it is or not.
void SetDeceived(int descriptor);
/// Whether it was, and forgets it.
bool TakeDeceived(int descriptor);
