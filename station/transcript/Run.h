#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The judgement of a run.
enum class Outcome {
    Passed,    ///< "Test Passed.", with everything that such a run prints
    Performed, ///< "Operation Performed.", with the value that was asked for
    Failed,    ///< "Tests Failed.", and the unit is why
    NotJudged  ///< nothing can be said about the unit; Run_T::reason says why
};
inline constexpr std::size_t c_Outcomes = 4;

/// For people: "passed", "performed", "failed", "not judged".
const char* NameOf(Outcome outcome);

/// In place of a file's name: standard input or standard output.
inline constexpr char c_StandardStream[] = "-";

/// Text of a transcript: any bytes, not necessarily UTF-8 or printable. PrintableText()
/// makes it so.
using Bytes_T = std::string;

/// A line of a transcript.
struct Line_T {
    std::uint64_t number = 0; ///< from 1
    Bytes_T text;             ///< without its end; at most c_LongestKeptLine bytes of it
};

/// Where a line is printed.
enum class Place {
    Before, ///< while the test runs, before the report
    Report, ///< between "Test Output: " and the verdict
    Aside   ///< on standard error, which can be mixed in anywhere
};

struct Message_T {
    Line_T line;
    Place place = Place::Before;
    bool isError = false; ///< it reports an error
};

/// A value with its name.
struct Quantity_T {
    const char* name = "";
    double value = 0;
    const char* unit = ""; ///< empty: a plain number
};

struct Limit_T; // station/judge/Limits.h

/// How a measurement fits a limit.
enum class Fit {
    Good,
    Marginal, ///< good, but near the limit
    Bad,
    Absent ///< the run does not have the measurement, so nothing can be said
};

/// A measurement of a run and a limit for it.
struct LimitResult_T {
    const Limit_T* limit = nullptr; ///< of the CLimits that judged the run, which outlives it
    Fit fit = Fit::Absent;
    double value = 0;      ///< 0 if absent
    const char* unit = ""; ///< empty: a plain number
};

/// The echo between the markers.
struct Samples_T {
    bool isPrinted = false;           ///< there was a block, which may be empty
    bool isThreeDigit = false;        ///< three digits each, as opposed to numbers with commas
    bool hasLastComma = false;        ///< a comma follows the last number
    std::vector<std::int32_t> values; ///< up to FullScale()
    std::uint64_t taken = 0; ///< samples that the unit took; a multiple of values.size(); 0: not known
    int element = -1;        ///< transducer element that fired; -1: not printed
    int channel = -1;        ///< -1: not printed
    Bytes_T band;            ///< name of the band in which it was heard; empty: not printed
    double centreHertz = 0;  ///< centre frequency of the band; 0: not printed

    /// Samples of the unit from one printed sample to the next; 0 without samples.
    std::uint64_t Step() const
    {
        return values.empty() ? 0 : std::max<std::uint64_t>(taken / values.size(), 1);
    }
    /// The largest value that a receiver gives.
    std::int32_t FullScale() const { return isThreeDigit ? 255 : 65535; }
};

/// What the unit says about itself; a text that was not printed is empty. Only failed runs print all of it.
struct Unit_T {
    Bytes_T product; ///< contents of the identity file
    Bytes_T applicationVersion;
    Bytes_T platformVersion;
    Bytes_T serialNumber;
    Bytes_T firmwareImage;   ///< pattern of the image that was loaded, without its directory
    Bytes_T firmwareVersion; ///< as the FPGA reports it, MAJOR.MINOR
};

enum class Verdict { None, Passed, Failed, Performed, NotValid };

/// What was seen while a run was read, for its judgement.
struct Facts_T {
    bool isRest = false;       ///< not a run: lines that came after a run was handed on
    bool hasReport = false;    ///< the line of hyphens, the command line and "Test Output: "
    bool showsUsage = false;   ///< instead of a verdict
    bool hasUnitData = false;  ///< the whole block of a failed run
    bool isSpoiled = false;    ///< a line in the run was not recognised
    bool hasFirmware = true;   ///< no version was printed that means "no firmware"
    unsigned int evidence = 0; ///< bits of Evidence, in station/transcript/Commands.h
    Verdict verdict = Verdict::None;
    /// First message that something of the unit failed, in the report if there is one there; or empty.
    Bytes_T fault;
    bool isFaultReported = false; ///< it is one of the report
    Bytes_T untested;             ///< first message that the test was not carried out, or empty
    Bytes_T denial;               ///< first line after the verdict that contradicts it, or empty
    Bytes_T complaint;            ///< first other error message, or empty
    std::uint64_t ticks = 0;
    std::uint64_t bufferBytes = 0; ///< as printed after the number of samples
    Bytes_T reading;               ///< first line of what a sensor's file holds
    std::uint64_t readingLines = 0;
    std::uint64_t readingBlanks = 0;
};

/// What a run file says about the run besides its output; the texts as the file has them, of HeaderValue().
struct Record_T {
    bool isThere = false;    ///< the transcript is a run file
    Bytes_T unit;            ///< serial number, as the station knows it
    bool isVerified = false; ///< the unit's own serial number was read before the test, and is the same
    Bytes_T station;
    Bytes_T operatorName; ///< empty: not given
    Bytes_T product;      ///< as limits name it; empty: not given
    Bytes_T host;         ///< the station's computer
    Bytes_T command;      ///< that was started, for a shell
    Bytes_T start;        ///< 2026-11-22T10:41:28.123+00:00
    double seconds = 0;
    int status = -1;            ///< of the command, as a shell shows it; -1: it was not started
    Bytes_T stopped;            ///< why the station did not let the command begin or end; empty: it did
    std::vector<Line_T> errors; ///< the first c_MostKeptLines lines of standard error
    Bytes_T objection;          ///< why nothing can be said about the unit; empty: nothing against it
    std::uint64_t lines = 0;    ///< of the header
    std::uint64_t headerBytes = 0;
    std::uint64_t output = 0; ///< bytes of standard output
};

/// One start of the program, from what it printed. Its size is bounded whatever the transcript holds: of
/// messages, readings and unrecognised lines the first are kept, and all are counted.
struct Run_T {
    Bytes_T transcript;          ///< name of the file, or c_StandardStream
    std::uint64_t firstLine = 0; ///< lines of the transcript that belong to the run
    std::uint64_t lastLine = 0;

    Bytes_T commandLine; ///< as printed, without its last blank
    Bytes_T program;     ///< its first word
    Bytes_T command;     ///< its second word
    /// The other words; the rest after the 10,000th word is one. A blank inside an argument looks like one
    /// between two arguments.
    std::vector<Bytes_T> arguments;
    std::uint64_t repetition = 0; ///< runs before it in the transcript with the same command line

    Unit_T unit;
    std::vector<Message_T> messages;
    std::uint64_t messageCount = 0;
    std::vector<Quantity_T> parameters;   ///< settings of the test, as printed
    std::vector<Quantity_T> measurements; ///< by the rows of station/judge/Measurements.h
    /// What the decibels of samples with three digits assume; empty: no such samples were measured.
    const char* receiverLaw = "";
    std::vector<LimitResult_T> limits; ///< one for each limit that is for this run
    Samples_T samples;

    Bytes_T verdict; ///< the last line, without its end, or empty
    Outcome outcome = Outcome::NotJudged;
    Bytes_T reason; ///< why it failed or is not judged; empty when it passed or performed

    std::vector<Line_T> unrecognised; ///< lines that no rule knows, in the run or after it
    std::uint64_t unrecognisedCount = 0;
    std::uint64_t claimedCount = 0; ///< lines that a rule knows

    Facts_T facts;
    Record_T record;

    /// Count a message or a line, and keep it while there is room.
    void Keep(Message_T message);
    void KeepUnrecognised(Line_T line);
    /// The first measurement of a name.
    std::optional<double> Measured(std::string_view name) const;
    /// Takes the command line apart into program, command and arguments, without its last blank.
    /// @return whether there was one: the program prints it after each word
    bool SplitCommandLine();
};

/// The second word of a command line.
std::string_view CommandOf(std::string_view commandLine);

/// The FPGA counts samples in 16 bits, by 16.
inline constexpr std::uint64_t c_MostSamples = 1'048'560;

/// Bounds of a run's lists and texts.
inline constexpr std::size_t c_MostKeptLines = 1000;
inline constexpr std::size_t c_LongestKeptLine = 2000;
inline constexpr std::size_t c_MostMeasurements = 100'000;
inline constexpr std::size_t c_MostReadings =
    c_MostMeasurements - 100; ///< the others are measured afterwards

/// What all runs come to.
struct Summary_T {
    std::uint64_t runs = 0;
    std::array<std::uint64_t, c_Outcomes> outcomes = {}; ///< by Outcome
    std::uint64_t claimed = 0;                           ///< lines that a rule knows
    std::uint64_t unrecognised = 0;                      ///< lines that no rule knows
    Bytes_T unit;                                        ///< of the first run file
    bool isOneUnit = true;                               ///< all run files are of it
    Bytes_T reason;                                      ///< first one of a run that is not good

    void Add(const Run_T& run);
    void AddLines(const Run_T& run);
};
