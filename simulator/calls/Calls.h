#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/types.h>

/// Marks the declaration of a function that takes the place of the C library's function of this name. A name
/// of its own keeps it apart from what headers make of the real one: 64-bit sizes, checked variants.
#define SONARBENCH_REPLACES(name) __asm__(name) __attribute__((visibility("default")))

/// The function that a replacing function stands in front of.
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

extern "C" {
ssize_t CountedRead(int descriptor, void* buffer, std::size_t size) SONARBENCH_REPLACES("read");
ssize_t CountedWrite(int descriptor, const void* buffer, std::size_t size) SONARBENCH_REPLACES("write");
int CountedClose(int descriptor) SONARBENCH_REPLACES("close");
}
