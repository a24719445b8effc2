// KeepUntilExit of the fuzz targets, whose process outlives many runs of the program: what a run keeps until
// its end is released there, so that neither memory nor descriptors run out.
#pragma once

#include <memory>
#include <utility>
#include <vector>

/// What the current run keeps, the newest last.
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
