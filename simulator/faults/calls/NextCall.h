#pragma once

#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>

// What the libraries share that are loaded in front of the C library.

/// Marks the declaration of a function that replaces the C library's function of this name. Our function has
/// another name in the source, because headers redefine the C library's: 64-bit sizes, checked variants.
#define SONARBENCH_REPLACES(name) __asm__(name) __attribute__((visibility("default")))

/// The C library's function that was replaced.
template <class Function_T>
class CNextCall
{
public:
    constexpr explicit CNextCall(const char* name) : m_Name(name) {}

    template <class... Arguments_T>
    auto operator()(Arguments_T... arguments)
    {
        Function_T* pFunction = m_pFunction;
        if (pFunction == nullptr) {
            pFunction = reinterpret_cast<Function_T*>(::dlsym(RTLD_NEXT, m_Name));
            if (pFunction == nullptr) {
                std::abort();
            }
            m_pFunction = pFunction;
        }
        return pFunction(arguments...);
    }

private:
    const char* m_Name;
    std::atomic<Function_T*> m_pFunction{nullptr};
};

/// Whether an open has a mode as its last argument.
inline bool HasMode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }
