#pragma once

/// Opens /dev/null for each of standard input, output and error that the caller closed; to be called first.
/// Otherwise the next file takes the stream's number and gets what is printed: the FPGA, say, the report.
/// Where nothing can be opened, nothing changes.
void OpenStandardStreams();
