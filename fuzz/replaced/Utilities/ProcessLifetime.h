// KeepUntilExit of the fuzz targets, whose process outlives many runs of the program: what a run keeps until
// its end is released there, so that neither memory nor descriptors run out.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// What the current run keeps, the newest last.
inline std::vector<std::function<void()>>& KeptByRun()
{
    static std::vector<std::function<void()>> releases;
    return releases;
}

/// Keeps an object until ReleaseKeptByRun(). Returns it, for use without ownership.
template <class Object>
Object* KeepUntilExit(std::unique_ptr<Object> pObject)
{
    std::shared_ptr<Object> pKept(std::move(pObject));
    KeptByRun().emplace_back([pKept]() mutable { pKept.reset(); });
    return pKept.get();
}

inline void ReleaseKeptByRun()
{
    while (!KeptByRun().empty()) {
        KeptByRun().pop_back();
    }
}
