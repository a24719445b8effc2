#pragma once

#include "sonar/PingMetaData.h"

#include <optional>
#include <string_view>

/// The built-in ping of a name, "200long" (sonar channel) or "350long" (lowscan channel), with its
/// correlation filter; empty for any other name.
std::optional<CPingMetaData> LumetSetting(std::string_view name);
