#pragma once

#include "station/Run.h"

/// Takes runs one by one, in the order of the transcripts. An output format is one.
class IRunWriter
{
public:
    IRunWriter() = default;
    IRunWriter(const IRunWriter&) = delete;
    IRunWriter& operator=(const IRunWriter&) = delete;
    virtual ~IRunWriter() = default;

    /// Once, before all runs.
    virtual void Begin() {}
    /// The run is the caller's and gone afterwards; a writer that keeps runs is not for large batches.
    virtual void Write(const Run_T& run) = 0;
    /// Once, after all runs.
    virtual void End(const Summary_T&) {}
};
