// assert() of the fuzz targets. If bad input may fail the assertion, an exception ends the run and frees what
// the run holds. Any other failed assertion ends the process, like the standard library's.
#pragma once

#include "fuzz/AllowedAssertions.h"

extern "C" [[noreturn]] void __assert_fail(const char* condition, const char* file, unsigned int line,
                                           const char* function) noexcept;

[[noreturn]] inline void FuzzAssertionBroken(const char* condition, const char* file, unsigned int line,
                                             const char* function)
{
    for (const AllowedAssertion_T& allowed : c_AllowedAssertions) {
        if (allowed.condition == condition) {
            throw allowed;
        }
    }
    __assert_fail(condition, file, line, function);
}

#define assert(condition)                                                                                    \
    (static_cast<bool>(condition) ? void()                                                                   \
                                  : FuzzAssertionBroken(#condition, __FILE__, __LINE__,                      \
                                                        static_cast<const char*>(__PRETTY_FUNCTION__)))
