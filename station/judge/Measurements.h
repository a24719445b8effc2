#pragma once

#include "station/judge/Echo.h"
#include "station/judge/Spectrum.h"

#include <limits>
#include <list>
#include <optional>
#include <span>
#include <string_view>

/// Of a value that has no bound.
inline constexpr double c_Any = std::numeric_limits<double>::infinity();

/// How the samples of a receiver with 8 bits depend on the amplitude of the echo. No text of the unit says
/// it, so it is an assumption. Samples of 16 bits are linear.
enum class ReceiverLaw { SquareRoot, Linear };

/// "square-root", "linear".
const char* NameOf(ReceiverLaw law);
/// Nothing for another name.
std::optional<ReceiverLaw> ReceiverLawOf(std::string_view name);

/// What measurements need and no transcript contains.
struct MeasureSettings_T {
    ReceiverLaw law = ReceiverLaw::SquareRoot; ///< of receivers with 8 bits
    double sampleClock = 0;                    ///< samples that the unit takes in a second; 0: not known
    double soundSpeed = 1500;                  ///< of the water, metres a second
};

/// The strongest line in the spectrum of an echo's quiet part, which is only found if something asks for it.
class CQuietLine
{
public:
    /// For the next echo.
    void Forget() { m_Found.reset(); }
    const std::optional<SpectralLine_T>& Of(const CEchoParts& echo);

private:
    CSpectrum m_Spectrum;
    std::optional<std::optional<SpectralLine_T>> m_Found;
};

/// What a measurement is made from.
struct Measured_T {
    const Run_T& run;
    const CEchoParts& echo;
    CQuietLine& line;                     ///< of the echo
    std::span<const std::int32_t> before; ///< samples of the ping before of the same set-up; may be none
    MeasureSettings_T settings;
};

/// A measurement that a run can have. docs/measurements.md defines each.
struct MeasurementRow_T {
    const char* name;
    const char* unit;    ///< empty: a plain number
    double least;        ///< of the values that are possible
    double most;         ///< of the values that are possible
    const char* meaning; ///< for people, in one line
    std::optional<double> (*measure)(const Measured_T& measured) = nullptr; ///< null: the text shows it
    bool usesLaw = false; ///< its values depend on the law of receivers with 8 bits
};

/// All measurements, in the order of the outputs: first those of any run, then those of a ping.
std::span<const MeasurementRow_T> MeasurementRows();

/// Null for a name that is not known.
const MeasurementRow_T* MeasurementOf(std::string_view name);

/// Measures runs one after another. It compares a ping with the ping before of the same set-up, which is the
/// transcript, the command line, the form and number of the samples, and what was heard. It keeps the last
/// ping of a limited number of set-ups.
class CMeasurer
{
public:
    explicit CMeasurer(MeasureSettings_T settings);

    /// From now on makes only the measurements of these names, which saves the time of the others.
    void MeasureOnly(std::span<const std::string_view> names);

    /// Forgets the pings before, so that the next one is the first of its set-up.
    void Forget() { m_Pings.clear(); }

    /// Adds the measurements to a run that was judged, and counts the repetitions of a ping. What is not
    /// certain is left out.
    void Measure(Run_T& run);

private:
    /// What pings have in common that can be compared sample by sample.
    struct Setup_T {
        Bytes_T transcript;
        Bytes_T commandLine;
        Bytes_T band;
        std::size_t printed; ///< samples
        std::uint64_t taken;
        bool isThreeDigit;
        double centreHertz;
        int element;
        int channel;

        bool IsOf(const Run_T& run) const;
    };
    struct Ping_T {
        Setup_T setup;
        std::uint64_t repetition; ///< pings of the set-up before it
        std::vector<std::int32_t> values;
    };

    Ping_T* PingBefore(const Run_T& run);
    void Remember(const Run_T& run, Ping_T* pBefore);

    MeasureSettings_T m_Settings;
    std::vector<const MeasurementRow_T*> m_Rows; ///< those that are made
    CEchoParts m_Echo;
    CQuietLine m_Line;
    std::list<Ping_T> m_Pings; ///< the last ones, of different set-ups; the newest first
};
