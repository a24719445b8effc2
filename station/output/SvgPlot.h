#pragma once

#include "station/output/Picture.h"

#include <vector>

/// The most columns that a plot draws: with as many samples or fewer every sample is a point; of more, each
/// column shows its lowest and its highest.
inline constexpr std::size_t c_PlotColumns = 1024;

/// The most pings that a comparison draws each; the page's style has a colour for each.
inline constexpr std::size_t c_ComparedPings = 6;

/// An element <svg> that shows a ping: amplitude over the sample, and over the range where that is known,
/// with what was found in the echo. Its looks are in the page's style.
QString PingSvg(const Ping_T& ping);

/// An element <svg> with several pings of the same set-up, one upon the other.
/// @param pings  1 to c_ComparedPings, with as many samples each
/// @param all    lowest and highest of these and of those that are not drawn each
QString ComparisonSvg(const std::vector<Ping_T>& pings, const Envelope_T& all);
