// KeepUntilExit of the fuzz targets, whose process makes many runs of the program. At the end of each run,
// everything that it kept is released, so that neither memory nor descriptors run out.
#pragma once

#include <memory>
#include <utility>
#include <vector>

/// The objects that the current run keeps, the newest last.
inline std::vector<std::shared_ptr<void>>& KeptByRun()
{
    static std::vector<std::shared_ptr<void>> objects;
    return objects;
}

/// Keeps an object until ReleaseKeptByRun(). Returns it, for use without ownership.
template <class Object>
Object* KeepUntilExit(std::unique_ptr<Object> pObject)
{
    Object* const pKept = pObject.get();
    KeptByRun().emplace_back(std::move(pObject));
    return pKept;
}

inline void ReleaseKeptByRun()
{
    while (!KeptByRun().empty()) {
        KeptByRun().pop_back();
    }
}
