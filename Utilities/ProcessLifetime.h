#pragma once

#include <memory>
#include <utility>
#include <vector>

/// Keeps an object until the process ends. Returns it, for use without ownership.
template <class Object>
Object* KeepUntilExit(std::unique_ptr<Object> pObject)
{
    static std::vector<std::unique_ptr<Object>> kept;
    return kept.emplace_back(std::move(pObject)).get();
}
