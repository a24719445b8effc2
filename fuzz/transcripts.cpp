// Transcripts of arbitrary bytes for sonarbench-station, written in every format.

#include "station/Transcripts.h"
#include "fuzz/EveryFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(size));
    CTextSource bytes({text.data(), size});
    CEveryFormat formats;
    CMeasurer measurer({.sampleClock = 48000});
    ReadTranscript("t", bytes, formats, {.pMeasurer = &measurer});
    const bool hasOpenLine = !text.isEmpty() && !text.endsWith('\n');
    formats.Check();
    Require(formats.Summary().claimed + formats.Summary().unrecognised ==
                static_cast<std::uint64_t>(text.count('\n')) + (hasOpenLine ? 1 : 0),
            "each line is known to a rule, or counted");
    return 0;
}
