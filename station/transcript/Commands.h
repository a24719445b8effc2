#pragma once

#include "station/transcript/Run.h"

#include <span>
#include <string_view>

/// What was seen of a run, as bits: a verdict counts only with everything that its command prints.
namespace Evidence
{
inline constexpr unsigned int c_StopAsked = 1U << 0;    ///< the script that stops the sounder
inline constexpr unsigned int c_StopAnswered = 1U << 1; ///< its result
inline constexpr unsigned int c_GainAccepted = 1U << 2;
inline constexpr unsigned int c_GainPerhaps = 1U << 3; ///< at the end of the script's last line
inline constexpr unsigned int c_ImageCopied = 1U << 4;
inline constexpr unsigned int c_EarlyNotice = 1U << 5; ///< about the FPGA interface, above the report
inline constexpr unsigned int c_ParametersTitle = 1U << 6;
inline constexpr unsigned int c_Parameters = 1U << 7;
inline constexpr unsigned int c_Samples = 1U << 8;
inline constexpr unsigned int c_Element = 1U << 9;
inline constexpr unsigned int c_SampleCount = 1U << 10;
inline constexpr unsigned int c_Loading = 1U << 11;
inline constexpr unsigned int c_Notice = 1U << 12; ///< the same, in the report
inline constexpr unsigned int c_Version = 1U << 13;
inline constexpr unsigned int c_Attempt = 1U << 14; ///< the ping that a built-in setting fires
inline constexpr unsigned int c_Ticks = 1U << 15;
inline constexpr unsigned int c_Reading = 1U << 16;
inline constexpr unsigned int c_UnitData = 1U << 17; ///< the border of the unit's data
inline constexpr unsigned int c_Usage = 1U << 18;
} // namespace Evidence

/// What a command prints when it is carried out.
struct CommandText_T {
    std::string_view command;
    Verdict verdict = Verdict::Passed;
    std::size_t arguments = 0; ///< at least
    unsigned int required = 0;
    unsigned int allowed = 0;          ///< besides the required
    std::size_t samples = 0;           ///< that are printed; 0: nothing, or the number that the run states
    const char* measurement = nullptr; ///< name of what the command shows; null: it is no reading
    std::size_t channelArgument = 0;   ///< which of its arguments is the channel, from 1; 0: none
    /// What else must hold. Returns why it does not; null: it does.
    const char* (*objection)(const Run_T& run) = nullptr;
};

std::span<const CommandText_T> CommandTexts();
std::vector<std::string> CommandNames();

/// Null for a command that is not known.
const CommandText_T* TextOf(std::string_view command);

/// Whether nothing was seen that the command does not print.
bool IsAllowed(const CommandText_T& row, unsigned int evidence);

/// Whether this command can have printed the lines above its report; if not, they are another run's.
bool CanComeBefore(std::string_view command, unsigned int evidence);
