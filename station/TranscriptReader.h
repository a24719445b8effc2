#pragma once

#include "station/RunWriter.h"

#include <QIODevice>

/// Reads what the program printed, of any length, in the memory of one run. Standard error may stand in
/// between. Hands each run to the consumer as soon as the next one begins. A transcript without any run gives
/// one that is not judged, so that nothing which was read passes for nothing.
/// @param transcript  name for Run_T::transcript
/// @param device      open for reading; text mode is not wanted
/// @return false when the device reports an error; the runs up to there were handed on, the last of them
/// as if the transcript ended there: judged only when all of it had come
bool ReadTranscript(const Bytes_T& transcript, QIODevice& device, IRunWriter& consumer);
