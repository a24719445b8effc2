#pragma once

#include "station/transcript/Run.h"

#include <QIODevice>

#include <memory>
#include <span>

/// Settings of the pictures and of the terminal, which no transcript contains.
struct View_T {
    double sampleClock = 0;   ///< samples that the unit takes in a second; 0: not known, no range is shown
    double soundSpeed = 1500; ///< of the water, metres a second
    int width = 80;           ///< columns of the terminal
    bool isAscii = false;     ///< the terminal gets only ASCII
    bool isLinear = false;    ///< the terminal's amplitudes; otherwise in decibels
    bool isTerminal = false;  ///< the output is one
    bool isColoured = false;  ///< the output takes colours
};

/// Columns of a plot; a narrower or wider terminal is treated as one of these.
inline constexpr int c_NarrowestPlot = 30;
inline constexpr int c_WidestPlot = 1000;

/// Base class of the output formats. Takes runs one by one, in the order of the transcripts.
class IRunWriter
{
public:
    virtual ~IRunWriter() = default;

    /// Once, before all runs.
    virtual void Begin() {}
    /// The run is the caller's and gone afterwards; a writer that keeps runs is not for large batches.
    virtual void Write(const Run_T& run) = 0;
    /// Lines that belong to no run; they are only counted.
    virtual void CountLines(const Run_T&) {}
    /// Writes what is still buffered, if the format can be appended to.
    virtual void Flush() {}
    /// Once, after all runs.
    virtual void End(const Summary_T&) {}
};

/// An output format of the command line.
struct Format_T {
    const char* option;      ///< name of the option, whose value is the file
    const char* description; ///< for the help
    std::unique_ptr<IRunWriter> (*make)(QIODevice& output, const View_T& view);
    bool takesFile = true;  ///< false: goes to standard output, and the option has no value
    bool isMeasured = true; ///< shows measurements, which cost time
};

/// All formats; each can be written in one reading.
std::span<const Format_T> Formats();

// What the rows make, each in a file of its name. The device must outlive the writer.
std::unique_ptr<IRunWriter> MakeSummaryWriter(QIODevice& output, const View_T& view);
std::unique_ptr<IRunWriter> MakePlotWriter(QIODevice& output, const View_T& view);
std::unique_ptr<IRunWriter> MakeHtmlWriter(QIODevice& output, const View_T& view);
std::unique_ptr<IRunWriter> MakeJsonWriter(QIODevice& output, const View_T& view);
std::unique_ptr<IRunWriter> MakeJunitWriter(QIODevice& output, const View_T& view);
std::unique_ptr<IRunWriter> MakeCsvWriter(QIODevice& output, const View_T& view);
std::unique_ptr<IRunWriter> MakeSamplesWriter(QIODevice& output, const View_T& view);      // in CsvWriter.cpp
std::unique_ptr<IRunWriter> MakeMeasurementsWriter(QIODevice& output, const View_T& view); // in CsvWriter.cpp
