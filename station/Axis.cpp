#include "station/Axis.h"

#include <algorithm>
#include <cmath>

namespace
{
double RoundStep(double atLeast)
{
    const double power = std::pow(10, std::floor(std::log10(atLeast)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= atLeast) {
            return factor * power;
        }
    }
    return 10 * power;
}
} // namespace

int DecimalsOf(double step)
{
    // A power of ten may come out a little below itself.
    return static_cast<int>(std::max(-std::floor(std::log10(step) + 1e-9), 0.0));
}

Ticks_T Ticks(double from, double to, int most)
{
    if (!(to > from)) {
        return {{from}};
    }
    const double step = RoundStep((to - from) / (most - 1));
    Ticks_T ticks{{}, DecimalsOf(step)};
    // A last tick that rounding puts just behind the end stays.
    const auto last = static_cast<long long>(std::floor(to / step + 1e-9));
    for (auto number = static_cast<long long>(std::ceil(from / step)); number <= last; ++number) {
        ticks.values.push_back(static_cast<double>(number) * step);
    }
    return ticks;
}
