#pragma once

#include "station/output/Picture.h"

#include <vector>

/// The most columns that a plot draws. Up to this many samples, every sample is a point; with more, each
/// column shows its lowest and its highest sample.
inline constexpr std::size_t c_PlotColumns = 1024;

/// The most pings that a comparison draws separately; the page's style has a colour for each.
inline constexpr std::size_t c_ComparedPings = 6;

/// The vertical axis: decibels of full scale also show the noise.
enum class Scale { Decibels, Linear };

/// An element <svg> that shows a ping: amplitude over the sample, and over the range where that is known,
/// with the marks of the echo. The page's style defines its looks.
QString PingSvg(const Ping_T& ping, Scale scale);

/// An element <svg> with several pings of the same set-up, drawn over each other.
/// @param pings  1 to c_ComparedPings, with as many samples each
/// @param all    lowest and highest of these and of the pings that are not drawn separately
QString ComparisonSvg(const std::vector<Ping_T>& pings, const Envelope_T& all, Scale scale);
