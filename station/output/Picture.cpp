#include "station/output/Picture.h"

#include "station/judge/Limits.h"
#include "station/judge/Measurements.h"
#include "station/output/Text.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

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

/// Decimals that distinguish values a step apart.
int DecimalsOf(double step)
{
    // The logarithm of a power of ten may be rounded down.
    return static_cast<int>(std::max(-std::floor(std::log10(step) + 1e-9), 0.0));
}

const Envelope_T* BandOf(const Run_T& run)
{
    const auto result = std::ranges::find_if(run.limits, [](const LimitResult_T& candidate) {
        return !candidate.limit->band.high.empty() && candidate.fit != Fit::Absent;
    });
    return result == run.limits.end() ? nullptr : &result->limit->band;
}
} // namespace

Ping_T MakePing(const Run_T& run, const View_T& view, std::size_t mostColumns)
{
    const Samples_T& samples = run.samples;
    const auto step = static_cast<double>(samples.Step());
    const auto place = [&](std::string_view name) {
        const auto taken = run.Measured(name);
        return taken ? std::optional(static_cast<std::size_t>(std::ceil(*taken / step))) : std::nullopt;
    };
    return {.title = TitleOf(run),
            .envelope = MakeEnvelope(samples.values, mostColumns),
            .ringDownEnd = place("ringDownLength"),
            .bottom = place("bottomPosition"),
            .fullScale = samples.FullScale(),
            .step = samples.Step(),
            .metres = view.sampleClock > 0 ? step / view.sampleClock * view.soundSpeed / 2 : 0,
            .soundSpeed = view.soundSpeed,
            .decibels = run.receiverLaw == std::string_view(NameOf(ReceiverLaw::SquareRoot)) ? 40.0 : 20.0,
            .band = BandOf(run)};
}

double DecibelsOf(const Ping_T& ping, std::int32_t value)
{
    const double counts = std::max<double>(value, 0.5);
    return ping.decibels * std::log10(counts / ping.fullScale);
}

double LowestDecibels(const Ping_T& ping) { return DecibelsOf(ping, 0); }

QString RangeText(const Ping_T& ping, std::size_t sample)
{
    return QString::number(static_cast<double>(sample) * ping.metres, 'f',
                           std::max(DecimalsOf(ping.metres), 1));
}

QString PlaceText(const Ping_T& ping, std::size_t sample)
{
    QString text = u"sample %1"_s.arg(sample * ping.step);
    if (ping.metres > 0) {
        text += u" (%1 m)"_s.arg(RangeText(ping, sample));
    }
    return text;
}

Ticks_T Ticks(double from, double to, int most)
{
    if (!(to > from)) {
        return {{from}};
    }
    const double step = RoundStep((to - from) / (most - 1));
    Ticks_T ticks{{}, DecimalsOf(step)};
    // A last tick that rounding puts just after the end stays.
    const auto last = static_cast<long long>(std::floor(to / step + 1e-9));
    for (auto number = static_cast<long long>(std::ceil(from / step)); number <= last; ++number) {
        ticks.values.push_back(static_cast<double>(number) * step);
    }
    return ticks;
}
