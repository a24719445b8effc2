#pragma once

#include "station/judge/Limits.h"
#include "station/judge/Measurements.h"
#include "station/output/Outputs.h"
#include "station/transcript/ByteSource.h"

#include <string>
#include <vector>

/// What there is to read.
struct Transcripts_T {
    /// In order: the names as given, and of a directory the transcripts in it and below it by name, without
    /// hidden ones and without those that are written. Files that cannot be examined are included, so that
    /// opening them says why.
    std::vector<std::string> files;
    std::vector<std::string> complaints; ///< about directories that could not be read to their end
    std::vector<std::string> skipped;    ///< other files in directories
};

/// @throw std::runtime_error for a file that is also written, which would destroy it
Transcripts_T FindTranscripts(const std::vector<std::string>& names,
                              const std::vector<FileIdentity_T>& written);

/// The same, but takes all files of a directory for transcripts, and looks into none.
Transcripts_T FindFiles(const std::vector<std::string>& names);

/// What judges runs besides their text; null: nothing does.
struct Judges_T {
    CMeasurer* pMeasurer = nullptr;
    CLimits* pLimits = nullptr; ///< of the text's measurements alone, if there is no measurer
};

/// Reads what the program printed, of any length, in the memory of one run. Standard error may be mixed in.
/// Hands each run, judged, to the consumer as soon as the next one begins, or when it has a verdict and no
/// line came for a tenth of a second. A transcript without any run gives one that is not judged, so that
/// nothing passes unnoticed. When the lines fail, the runs up to there were handed on, the last of them as if
/// the transcript ended there.
/// @param transcript  name for Run_T::transcript
/// @param judges      what judges the runs besides their text
void ReadTranscript(const Bytes_T& transcript, IByteSource& bytes, IRunWriter& consumer,
                    Judges_T judges = {});
