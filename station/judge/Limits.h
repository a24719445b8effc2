#pragma once

#include "station/judge/Echo.h"
#include "station/transcript/Commands.h"
#include "station/transcript/Run.h"

#include <QByteArray>

#include <limits>
#include <span>
#include <unordered_map>

/// In place of a measurement's name: the share of an echo's columns whose mean is outside a band.
inline constexpr char c_OutsideBand[] = "outsideBand";

/// A limit: the runs that it is for, and what a measurement of them must be. The first four are globs: a star
/// matches any text, a question mark any byte.
struct Limit_T {
    Bytes_T product = "*";
    Bytes_T command = "*";
    Bytes_T channel = "*";   ///< of ChannelOf()
    Bytes_T setting = "*";   ///< of SettingOf()
    bool isRepeated = false; ///< only for runs with a repetition
    Bytes_T measurement;     ///< a name of Run_T::measurements, or c_OutsideBand
    double least = -std::numeric_limits<double>::infinity();
    double most = std::numeric_limits<double>::infinity();
    double margin = 0; ///< a good value so near to a limit is marginal
    Bytes_T note;      ///< for the operator, if the value is bad or marginal
    /// The end of LimitText() for values of a unit, once CLimits has taken the limit.
    Bytes_T ending;
    const char* endingUnit = nullptr;
    /// For c_OutsideBand: lowest and highest mean of each column, and the number of samples of the echo.
    Envelope_T band;
};

bool MatchesGlob(std::string_view glob, std::string_view text);

/// The channel of the command line; of a command without that argument the channel that the run prints;
/// otherwise empty.
Bytes_T ChannelOf(const Run_T& run);

/// The command's arguments, joined by blanks; the first c_LongestKeptLine bytes.
Bytes_T SettingOf(const Run_T& run);

/// Whether runs of a command can have a measurement.
bool CanMeasure(const CommandText_T& command, std::string_view measurement);

/// Whether a limit can be for runs of a product and a command, on a channel and with a setting that it names.
bool IsFor(const Limit_T& limit, std::string_view product, const CommandText_T& command);

/// The mean of the samples in each column.
/// @param columns  at least 1, and at most the number of samples
std::vector<double> ColumnMeans(std::span<const std::int32_t> values, std::size_t columns);

/// Whether one mean is outside its column of the band; the share of such columns.
/// @param means  one for each column of the band
double ShareOutside(const Envelope_T& band, std::span<const double> means);

/// Appends a number for people and programs, with up to eight digits.
void AppendNumber(Bytes_T& text, double value);

/// For people: "good", "marginal", "bad", "absent".
const char* NameOf(Fit fit);

/// "noiseFloor is 120 counts (limit: at most 90 counts)", and the operator's note after a bad or a marginal
/// value.
Bytes_T LimitText(const LimitResult_T& result);
/// Whether that contains the note, which is any text. The rest is printable ASCII.
bool HasNote(const LimitResult_T& result);
/// Appends LimitText().
void AppendLimitText(Bytes_T& text, const LimitResult_T& result);

/// "from 20 to 90 counts", "at least 20 counts", "at most 90 counts"
Bytes_T RangeText(const Limit_T& limit, std::string_view unit);

/// Judges runs by limits. Limits are chosen once for each set-up, so a run costs little even with many.
class CLimits
{
public:
    /// @param product  of all runs; empty: what a run file says
    CLimits(std::vector<Limit_T> limits, Bytes_T product);

    /// Whether a limit is for the product.
    bool IsForProduct() const;
    /// The names of the measurements that the limits are for.
    std::vector<std::string_view> Measurements() const;

    /// Adds the results to a judged run. A passed or performed run becomes failed if a measurement is bad,
    /// otherwise not judged if one is absent. It also becomes not judged if there are limits for its command,
    /// but none for its product, channel and setting.
    void Apply(Run_T& run);

private:
    /// What applies to runs of one set-up.
    struct Setup_T {
        std::vector<const Limit_T*> limits;
        const char* objection = nullptr; ///< why runs cannot be judged; null: they can
    };

    const Bytes_T& ProductOf(const Run_T& run) const;
    const Setup_T& SetupOf(const Run_T& run);
    Setup_T Choose(const Run_T& run, const Bytes_T& setting) const;

    std::vector<Limit_T> m_Limits;
    Bytes_T m_Product;
    std::unordered_map<Bytes_T, Setup_T> m_Setups; ///< by product, command, channel, setting, repetition
    Bytes_T m_Key;                                 ///< of the last run
};

// The format of limits files, station/limits.schema.json. What is wrong in a file is thrown as
// std::runtime_error with its line and column; so is a limit that no run can meet or miss.

/// @return at least one limit
std::vector<Limit_T> ReadLimits(const std::string& file);

/// @param file  for messages
std::vector<Limit_T> ParseLimits(const std::string& file, const QByteArray& json);

/// The text of a limits file, with a line for each limit.
/// @param note  for people, about the file
QByteArray LimitsText(std::span<const Limit_T> limits, const Bytes_T& note);
