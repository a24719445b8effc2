#pragma once

#include "simulator/DeviceHost.h"

#include <chrono>
#include <ostream>
#include <string_view>

/// Writes what happens on a unit's devices as text, the same on every machine. The first line is
///   sonarbench trace 1
/// and then each operation has a line of fields with one blank between them:
///   TIME DEVICE DIRECTION COUNT BYTES [!ERRNO] # MEANING
/// TIME       seconds that the links of the unit carried bytes before this operation, nine decimals
/// DEVICE     name of the node below /dev
/// DIRECTION  image (from child processes), ioctl or write; below a write, fill for what came into the
///            program's buffer in its place, and for any of them reply for what became readable; a reply
///            that nothing stands above was sent because of an operation on another device
/// COUNT      number of bytes
/// BYTES      the bytes in hexadecimal, "-" when there are none; of an ioctl "REQUEST+" stands before the
///            argument, the request in eight digits
/// ERRNO      name of the error that the program got
/// MEANING    registers with values, tables with entries, requests by name, faults that were played
/// What the real device would not have understood follows as lines
///   TIME DEVICE refused TEXT
class CTraceWriter
{
public:
    /// Writes the first line. The stream must outlive the writer.
    explicit CTraceWriter(std::ostream& stream);

    /// Writes an operation.
    void Write(const DeviceOperation_T& operation);

private:
    void Line(std::string_view device, std::string_view direction, ByteView_T bytes, std::string_view before,
              int error, std::string_view meaning);
    std::ostream& Begin(std::string_view device, std::string_view direction);

    std::ostream& m_Stream;
    std::chrono::nanoseconds m_Time{};
};
