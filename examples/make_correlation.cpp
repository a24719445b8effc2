// Writes the correlation filters of the built-in Lumet pings. For each filter, the FPGA's filter design gives
// the first coefficients and the highest one; for one filter it also gives some others, in order but without
// their places. These are used as they are, and this program calculates the others.
//
// The formula is a Kaiser window, the bell
//     c(k) = 32767 * I0(shape * sqrt(1 - (k / halfWidth)^2)) / I0(shape),    k = -84 ... 84,
// where I0 is the modified Bessel function of order 0. The values are rounded, and limited to the design's
// highest coefficient. The formula is fitted to the design's coefficients: one shape fits both filters, and
// each given coefficient is within 0.47 of the curve ("distances" lists them), so rounding the curve gives
// them too. The places are those where the curve has the given values.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <span>
#include <string_view>

namespace
{
constexpr int c_Reach = 84; // coefficients on each side of the middle one
constexpr int c_Highest = 32598;
constexpr double c_FullScale = 32767.0;
constexpr double c_Shape = 5.1021;
constexpr int c_NumbersInALine = 12;

struct Coefficient_T {
    int place; // from the beginning of the filter
    int value;
};

constexpr Coefficient_T c_Design200[] = {
    {0, 1137},   {1, 1315},   {2, 1504},   {3, 1705},   {4, 1917},   {5, 2141},   {6, 2377},
    {39, 16287}, {48, 21197}, {49, 21731}, {58, 26232}, {59, 26685}, {68, 30154}, {69, 30461},
    {78, 32389}, {79, 32504}, {80, 32598}, {89, 32504}, {98, 30751}, {99, 30461}, {108, 27126},
};
constexpr Coefficient_T c_Design350[] = {
    {0, 1147}, {1, 1326}, {2, 1515}, {3, 1716}, {4, 1929},
    {5, 2154}, {6, 2390}, {7, 2639}, {8, 2900}, {9, 3173},
};

struct Filter_T {
    std::string_view name;
    double halfWidth;
    std::span<const Coefficient_T> design;
};

constexpr Filter_T c_Filters[] = {{"200long", 84.229, c_Design200}, {"350long", 84.288, c_Design350}};

// Power series; for the arguments here, 40 terms are more exact than a double.
double BesselI0(double x)
{
    double term = 1.0;
    double sum = term;
    for (int power = 1; power <= 40; ++power) {
        term *= (x / 2 / power) * (x / 2 / power);
        sum += term;
    }
    return sum;
}

double Curve(const Filter_T& filter, int place)
{
    const double distance = (place - c_Reach) / filter.halfWidth;
    return std::min<double>(c_Highest, c_FullScale *
                                           BesselI0(c_Shape * std::sqrt(1.0 - distance * distance)) /
                                           BesselI0(c_Shape));
}

int Coefficient(const Filter_T& filter, int place)
{
    const auto given = std::ranges::find(filter.design, place, &Coefficient_T::place);
    return given != filter.design.end() ? given->value : static_cast<int>(std::lround(Curve(filter, place)));
}

void WriteFilter(const Filter_T& filter)
{
    for (int place = 0; place <= 2 * c_Reach; ++place) {
        const bool ends = place == 2 * c_Reach || place % c_NumbersInALine == c_NumbersInALine - 1;
        std::printf("%d,%s", Coefficient(filter, place), ends ? "\n" : " ");
    }
}

void WriteDistances()
{
    std::puts("filter   place  design      curve  distance");
    for (const Filter_T& filter : c_Filters) {
        for (const Coefficient_T& given : filter.design) {
            const double curve = Curve(filter, given.place);
            std::printf("%s  %5d  %6d  %9.3f  %8.3f\n", filter.name.data(), given.place, given.value, curve,
                        given.value - curve);
        }
    }
}
} // namespace

int main(int argc, char* argv[])
{
    const std::string_view what = argc == 2 ? argv[1] : "";
    const auto* const filter = std::ranges::find(c_Filters, what, &Filter_T::name);
    if (filter != std::end(c_Filters)) {
        WriteFilter(*filter);
    } else if (what == "distances") {
        WriteDistances();
    } else {
        std::fputs("Writes a correlation filter, or how far its formula is from the filter design.\n"
                   "Usage: sonarbench-make-correlation 200long|350long|distances\n",
                   stderr);
        return 2;
    }
    return 0;
}
