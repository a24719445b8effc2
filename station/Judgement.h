#pragma once

#include "station/Run.h"

/// What was seen of a run, as bits: a verdict counts only beside everything that its command prints.
namespace Evidence
{
inline constexpr unsigned int c_StopAsked = 1U << 0;    ///< the script that stops the sounder
inline constexpr unsigned int c_StopAnswered = 1U << 1; ///< what came of it
inline constexpr unsigned int c_GainAccepted = 1U << 2;
inline constexpr unsigned int c_GainPerhaps = 1U << 3; ///< glued to the end of what the script printed
inline constexpr unsigned int c_ImageCopied = 1U << 4;
inline constexpr unsigned int c_EarlyNotice = 1U
                                              << 5; ///< the notice about the FPGA interface, above the report
inline constexpr unsigned int c_ParametersTitle = 1U << 6;
inline constexpr unsigned int c_Parameters = 1U << 7;
inline constexpr unsigned int c_Samples = 1U << 8;
inline constexpr unsigned int c_Element = 1U << 9;
inline constexpr unsigned int c_SampleCount = 1U << 10;
inline constexpr unsigned int c_Loading = 1U << 11;
inline constexpr unsigned int c_Notice = 1U << 12; ///< the same in it
inline constexpr unsigned int c_Version = 1U << 13;
inline constexpr unsigned int c_Attempt = 1U << 14; ///< the ping that a built-in setting fires
inline constexpr unsigned int c_Ticks = 1U << 15;
inline constexpr unsigned int c_Reading = 1U << 16;
inline constexpr unsigned int c_UnitData = 1U << 17; ///< the border of the unit's data
inline constexpr unsigned int c_Usage = 1U << 18;
} // namespace Evidence

enum class Verdict { None, Passed, Failed, Performed, NotValid };

/// What the outcome of a run depends on, beside the run itself.
struct Facts_T {
    bool hasReport = false;    ///< the line of hyphens, the command line and "Test Output: "
    bool showsUsage = false;   ///< in the place of a verdict
    bool hasUnitData = false;  ///< the whole block of a failed run
    bool isSpoiled = false;    ///< a line of the run is not known
    bool hasFirmware = true;   ///< no version was printed that stands for none
    unsigned int evidence = 0; ///< of Evidence
    Verdict verdict = Verdict::None;
    Bytes_T fault; ///< first message that something of the unit failed, one of the report before others;
                   ///< empty: none
    bool isFaultReported = false; ///< it is one of the report
    Bytes_T untested;             ///< first message that the test could not be made; empty: none
    Bytes_T complaint;            ///< first other message that calls itself an error; empty: none
    std::uint64_t ticks = 0;
    std::uint64_t bufferBytes = 0; ///< as printed behind the number of samples
    Bytes_T reading;               ///< first line of what a sensor's file holds
    std::uint64_t readingLines = 0;
    std::uint64_t readingBlanks = 0;
};

/// Whether a command shows a file of the unit, whose text may be anything.
bool ShowsReading(std::string_view command);

/// Whether what was seen above a report can be of this command; if not, another run left it.
bool CanStandAbove(std::string_view command, unsigned int evidence);

/// Completes a run that came to its end: measurements of readings, outcome and reason.
void Judge(Run_T& run, const Facts_T& facts);
