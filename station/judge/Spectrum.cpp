#include "station/judge/Spectrum.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <memory>
#include <numbers>
#include <numeric>

namespace
{
constexpr std::size_t c_Bins = CSpectrum::c_PieceSamples / 2 + 1;
constexpr std::size_t c_LowestBin = 3; // below, the window spreads the mean
constexpr double c_SumOfWindow = CSpectrum::c_PieceSamples / 2.0;
constexpr double c_PowerAroundLine = 1.5; // of three bins, in units of the middle one

// A line this many times above the mean power: by chance less than once in ten thousand echoes.
constexpr double c_AboveMean = 6;
constexpr double c_AboveMeanOfOne = 8; // divided by the number of pieces

struct Free_T {
    void operator()(kiss_fftr_cfg plan) const { kiss_fftr_free(plan); }
};
} // namespace

struct CSpectrum::Transform_T {
    std::unique_ptr<kiss_fftr_state, Free_T> plan{kiss_fftr_alloc(c_PieceSamples, 0, nullptr, nullptr)};
    std::array<float, c_PieceSamples> piece = {};
    std::array<kiss_fft_cpx, c_Bins> spectrum = {};
};

CSpectrum::CSpectrum()
    : m_Transform(std::make_unique<Transform_T>()), m_Window(c_PieceSamples), m_Power(c_Bins)
{
    for (std::size_t i = 0; i < c_PieceSamples; ++i) {
        const double turn = 2 * std::numbers::pi * static_cast<double>(i) / c_PieceSamples;
        m_Window[i] = static_cast<float>(0.5 - 0.5 * std::cos(turn));
    }
}

CSpectrum::~CSpectrum() = default;

void CSpectrum::Begin()
{
    std::ranges::fill(m_Power, 0.0F);
    m_Pieces = 0;
}

void CSpectrum::Add(std::span<const std::int32_t> piece)
{
    assert(piece.size() == c_PieceSamples);
    const float mean = static_cast<float>(std::accumulate(piece.begin(), piece.end(), 0)) / c_PieceSamples;
    for (std::size_t i = 0; i < c_PieceSamples; ++i) {
        m_Transform->piece[i] = (static_cast<float>(piece[i]) - mean) * m_Window[i];
    }
    kiss_fftr(m_Transform->plan.get(), m_Transform->piece.data(), m_Transform->spectrum.data());
    for (std::size_t bin = 0; bin < c_Bins; ++bin) {
        const auto& [real, imaginary] = m_Transform->spectrum[bin];
        m_Power[bin] += real * real + imaginary * imaginary;
    }
    ++m_Pieces;
}

std::optional<SpectralLine_T> CSpectrum::StrongestLine() const
{
    if (m_Pieces == 0) {
        return std::nullopt;
    }
    const auto first = m_Power.begin() + c_LowestBin;
    const auto strongest = std::max_element(first, m_Power.end() - 1);
    const double below = *(strongest - 1);
    const double at = *strongest;
    const double above = *(strongest + 1);
    const double pieces = static_cast<double>(m_Pieces);
    const double power = (below + at + above) / c_PowerAroundLine / pieces;
    const double mean =
        std::accumulate(first, m_Power.end(), 0.0) / static_cast<double>(m_Power.end() - first);
    SpectralLine_T line{.amplitude = std::sqrt(power) / (c_SumOfWindow / 2), .period = {}};
    if (at > (c_AboveMean + c_AboveMeanOfOne / pieces) * mean) {
        const double place = static_cast<double>(strongest - m_Power.begin());
        line.period = c_PieceSamples / (place + (above - below) / (below + at + above));
    }
    return line;
}
