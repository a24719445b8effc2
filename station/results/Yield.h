#pragma once

#include "station/results/Results.h"
#include "station/results/Statistics.h"

#include <span>

/// What units are grouped by.
struct GroupKind_T {
    const char* name;
    QString (*column)(const CDatabase& database); ///< in SQL, of the tables runs and stations
};
std::span<const GroupKind_T> GroupKinds();

/// Of units whose first judged attempt was made here. All texts are printable.
struct Yield_T {
    Bytes_T name; ///< of the group; empty: not known, or all
    Share_T firstPass;
    Share_T final;
    std::uint64_t attempts = 0; ///< that could be judged
    std::uint64_t retests = 0;  ///< runs that repeated a test of a unit
};

/// How often judged attempts failed for a reason.
struct Reason_T {
    Bytes_T command;
    Bytes_T reason;
    std::uint64_t count = 0;
};

/// Compares the values of a station with those of all others.
struct StationSpread_T {
    Bytes_T name;
    Spread_T spread;
    std::optional<double> difference; ///< of the means; nothing if there is no other station
    std::optional<double> drift;      ///< in standard errors
};

/// A value that violates a rule.
struct Signal_T {
    Violation_T violation;
    std::int64_t attempt = 0; ///< in this database
    double value = 0;
    Bytes_T unit;
    Bytes_T station;
    Bytes_T start;
};

/// A measurement of a test: one value for each judged attempt, in the order of time.
struct Series_T {
    Bytes_T product;
    Bytes_T command;
    Bytes_T setting;
    Bytes_T name;
    Bytes_T unit; ///< of the values
    std::vector<double> values;
    Spread_T spread;
    Bounds_T bounds; ///< by which the newest attempt was judged that has any
    bool haveBoundsChanged = false;
    std::optional<double> cp;
    std::optional<double> cpk;
    std::optional<ControlChart_T> chart; ///< nothing for a single value
    std::vector<Signal_T> signals;
    std::vector<StationSpread_T> stations; ///< by name
};

/// A figure that a rule objects to.
struct Alarm_T {
    Bytes_T rule;
    double bound = 0;
    double value = 0;
    Bytes_T subject; ///< what it is a figure of
};

struct YieldFigures_T {
    const GroupKind_T* by = nullptr; ///< null: nothing
    Yield_T total;
    std::vector<Yield_T> groups;   ///< by name
    std::uint64_t notJudged = 0;   ///< attempts
    std::vector<Reason_T> reasons; ///< the commonest first
    std::vector<Series_T> series;
    std::vector<Alarm_T> alarms;
};

/// @param filter  chooses units by the run of their first judged attempt, and runs for all other figures
/// @param by      null: no groups
YieldFigures_T ReadYield(CDatabase& database, const RunFilter_T& filter, const GroupKind_T* by);

/// "QL4K xkping short.txt 0 1 noiseFloor": product, test and measurement.
Bytes_T TitleOf(const Series_T& series);

std::size_t CountSignals(const Series_T& series, const ControlRule_T& rule);

/// "94.1 % (91.2 to 96.1)", or "no units".
QString ShareText(const Share_T& share);
/// With two decimals.
QString RatioText(double ratio);
/// "from 20 to 90 counts"
QString BoundsText(const Series_T& series);
/// "station A"
QString GroupText(const YieldFigures_T& figures, const Yield_T& group);

// What the subcommand writes.
std::string YieldText(const YieldFigures_T& figures);
std::string YieldJson(const YieldFigures_T& figures);
std::string YieldPage(const YieldFigures_T& figures);
