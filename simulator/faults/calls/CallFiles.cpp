#include "simulator/faults/calls/CallFiles.h"

#include "simulator/unit/UnitPlaces.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace
{
struct Descriptor_T {
    std::atomic<CallTarget_T> target{CallTarget_T::None};
    std::atomic<bool> isDeceived{false};
};
constinit std::array<Descriptor_T, c_FollowedDescriptors> s_Descriptors{};

int s_ArgumentCount = 0;
char** s_Arguments = nullptr;

bool IsArgument(std::string_view path)
{
    for (int i = 1; i < s_ArgumentCount; ++i) {
        if (CPlainPath(s_Arguments[i]).Text() == path) {
            return !path.empty();
        }
    }
    return false;
}

Descriptor_T* Find(int descriptor)
{
    return descriptor >= 0 && descriptor < c_FollowedDescriptors && IsCounting()
               ? &s_Descriptors[static_cast<std::size_t>(descriptor)]
               : nullptr;
}
} // namespace

CPlainPath::CPlainPath(std::string_view path)
{
    const int errorBefore = errno;
    if (!path.starts_with('/') && ::getcwd(m_Text.data(), m_Text.size()) != nullptr) {
        m_Size = std::strlen(m_Text.data());
    }
    errno = errorBefore;
    while (!path.empty() && !m_IsTooLong) {
        const std::size_t size = std::min(path.find('/'), path.size());
        Append({path.data(), size});
        path.remove_prefix(std::min(size + 1, path.size()));
    }
}

void CPlainPath::Append(std::string_view name)
{
    if (name == "..") {
        m_Size = std::min(Text().rfind('/'), m_Size);
    } else if (m_Size + name.size() + 1 > m_Text.size()) {
        m_IsTooLong = true;
    } else if (!name.empty() && name != ".") {
        m_Text[m_Size] = '/';
        std::ranges::copy(name, m_Text.begin() + static_cast<std::ptrdiff_t>(m_Size) + 1);
        m_Size += name.size() + 1;
    }
}

void RememberArguments(int count, char** arguments)
{
    s_ArgumentCount = count;
    s_Arguments = arguments;
}

CallTarget_T TargetOf(const char* path)
{
    return path == nullptr || !IsCounting() ? CallTarget_T::None : TargetOf(CPlainPath(path));
}

CallTarget_T TargetOf(const CPlainPath& plain)
{
    if (IsUnitNode(plain.Text())) {
        return CallTarget_T::Device;
    }
    return IsUnitFile(plain.Text()) || IsArgument(plain.Text()) ? CallTarget_T::File : CallTarget_T::None;
}

CallTarget_T TargetOf(int descriptor)
{
    const Descriptor_T* const pFound = Find(descriptor);
    return pFound != nullptr ? pFound->target.load() : CallTarget_T::None;
}

void SetTarget(int descriptor, CallTarget_T target)
{
    if (Descriptor_T* const pFound = Find(descriptor)) {
        pFound->target = target;
        pFound->isDeceived = false;
    }
}

void SetDeceived(int descriptor)
{
    if (Descriptor_T* const pFound = Find(descriptor)) {
        pFound->isDeceived = true;
    }
}

bool TakeDeceived(int descriptor)
{
    Descriptor_T* const pFound = Find(descriptor);
    return pFound != nullptr && pFound->isDeceived.exchange(false);
}
