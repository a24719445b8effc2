#include "station/Axis.h"

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

std::vector<double> Ticks(double from, double to, int most)
{
    if (!(to > from)) {
        return {from};
    }
    const double step = RoundStep((to - from) / (most - 1));
    std::vector<double> ticks;
    // A last tick that rounding puts just behind the end stays.
    const auto last = static_cast<long long>(std::floor(to / step + 1e-9));
    for (auto number = static_cast<long long>(std::ceil(from / step)); number <= last; ++number) {
        ticks.push_back(static_cast<double>(number) * step);
    }
    return ticks;
}
