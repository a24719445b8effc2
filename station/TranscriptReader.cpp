#include "station/TranscriptReader.h"

#include "station/RunBuilder.h"

bool ReadTranscript(const Bytes_T& transcript, QIODevice& device, IRunWriter& consumer)
{
    CLineSource lines(device);
    CRunBuilder builder(transcript, consumer);
    for (ReadLine_T line; lines.Next(line);) {
        builder.Take(line);
    }
    builder.End();
    return !lines.HasFailed();
}
