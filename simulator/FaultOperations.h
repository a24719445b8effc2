#pragma once

#include <array>
#include <cstddef>
#include <string_view>

/// Counted operations that a fault can befall. The first ones are counted where a device carries them out,
/// those from Open on where the program calls the system: on device nodes, then on the unit's files.
enum class FaultOperation_T {
    Write,
    Ioctl,
    Reply,
    Fill,
    Fifo,
    Interrupt,
    Open,
    Read,
    Poll,
    TcSetAttr,
    Close,
    Device, ///< any call on a device node, writes and requests included
    FileOpen,
    FileRead,
    FileWrite,
    FileClose
};

/// The operations by name, in their order.
inline constexpr std::array<std::string_view, 16> c_FaultOperationNames = {
    "write", "ioctl",     "reply", "fill",   "fifo",      "interrupt", "open",       "read",
    "poll",  "tcsetattr", "close", "device", "file-open", "file-read", "file-write", "file-close"};
static_assert(static_cast<std::size_t>(FaultOperation_T::FileClose) + 1 == c_FaultOperationNames.size());

constexpr std::string_view NameOf(FaultOperation_T operation)
{
    return c_FaultOperationNames[static_cast<std::size_t>(operation)];
}

/// What can go wrong with a call of the program.
enum class CallKind_T { Errno, Short, Zero, Bit, Lying, Never, Gone };

/// The kinds by name, in their order; the one in capitals stands for the name of an error.
inline constexpr std::array<std::string_view, 7> c_CallKindNames = {"ERRNO", "short", "zero", "bit",
                                                                    "lying", "never", "gone"};
static_assert(static_cast<std::size_t>(CallKind_T::Gone) + 1 == c_CallKindNames.size());

constexpr std::string_view NameOf(CallKind_T kind) { return c_CallKindNames[static_cast<std::size_t>(kind)]; }

// The plan of calls is a file of lines "OPERATION NUMBER KIND VALUE SPECIFICATION", where number 0 is each
// call and value the errno. The log that comes back has a line "OPERATION NUMBER" for each call that was
// counted, and behind it a line "OPERATION NUMBER SPECIFICATION" for each fault that befell it. These
// variables name them.
inline constexpr char c_CallPlanVariable[] = "SONARBENCH_SIM_CALL_PLAN";
inline constexpr char c_CallLogVariable[] = "SONARBENCH_SIM_CALL_LOG";

/// The bit that is wrong where one bit is wrong: a digit becomes another digit.
inline constexpr unsigned char c_WrongBit = 0x01;
