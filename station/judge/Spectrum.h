#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

/// The strongest line of a spectrum.
struct SpectralLine_T {
    double amplitude;             ///< of the sine wave
    std::optional<double> period; ///< samples, 2 to 43; empty: noise can have such a line by chance
};

/// Spectra of pieces of an echo, averaged as Welch did: pieces of 128 samples under a Hann window. Lines with
/// periods above 43 samples cannot be distinguished from the mean.
class CSpectrum
{
public:
    static constexpr std::size_t c_PieceSamples = 128;
    /// So many pieces are enough; more are not taken.
    static constexpr std::size_t c_MostPieces = 8;

    CSpectrum();
    ~CSpectrum();

    /// Forgets everything.
    void Begin();
    /// Adds a piece of c_PieceSamples samples.
    void Add(std::span<const std::int32_t> piece);
    /// Empty without pieces.
    std::optional<SpectralLine_T> StrongestLine() const;

private:
    struct Transform_T;
    std::unique_ptr<Transform_T> m_Transform;
    std::vector<float> m_Window;
    std::vector<float> m_Power; ///< by frequency, the sum over the pieces
    std::size_t m_Pieces = 0;
};
