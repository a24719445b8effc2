#pragma once

#include "simulator/models/DeviceModel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Operations that are counted, so that a fault can hit one of them. The first ones are counted when a device
/// carries them out. Those from Open on are system calls of the program, first on device nodes, then on the
/// unit's files.
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

/// The kinds of faults at a system call of the program.
enum class CallKind_T { Errno, Short, Zero, Bit, Lying, Never, Gone };

/// The kinds by name, in their order. A fault has the name of an error instead of the word in capitals.
inline constexpr std::array<std::string_view, 7> c_CallKindNames = {"ERRNO", "short", "zero", "bit",
                                                                    "lying", "never", "gone"};
static_assert(static_cast<std::size_t>(CallKind_T::Gone) + 1 == c_CallKindNames.size());

constexpr std::string_view NameOf(CallKind_T kind) { return c_CallKindNames[static_cast<std::size_t>(kind)]; }

// The plan of calls is a file of lines "OPERATION NUMBER KIND VALUE SPECIFICATION", where number 0 is each
// call and value the errno. The log that comes back has a line "OPERATION NUMBER" for each call that was
// counted, followed by a line "OPERATION NUMBER SPECIFICATION" for each fault that hit it. For the replay of
// a recording, the plan also has a line "file NUMBER ACCESS ERRNO PATH" for each use of a file, and the log a
// line "lacks 0 CALL of PATH" for each use that the plan does not have. These variables name the two files.
inline constexpr std::string_view c_PlannedFile = "file";
inline constexpr std::size_t c_MostRecordedFiles = 10'000;
inline constexpr std::string_view c_LogLack = "lacks";
inline constexpr char c_CallPlanVariable[] = "SONARBENCH_SIM_CALL_PLAN";
inline constexpr char c_CallLogVariable[] = "SONARBENCH_SIM_CALL_LOG";

/// The bit that faults of one bit change. It turns an ASCII digit into another digit.
inline constexpr unsigned char c_WrongBit = 0x01;

/// What a fault acts on: an outcome, of which some bytes come back to the program, or what goes to the
/// device.
struct FaultTarget_T {
    DeviceOutcome_T& outcome;
    Bytes_T* pBytes = nullptr;          ///< the reply or the fill of the outcome; null before there is one
    const Bytes_T* pPrevious = nullptr; ///< the device's reply or fill before that one
    std::size_t place = 0;              ///< of the FIFO status in the reply
    ByteView_T arriving = {};           ///< what of a write reaches the device
    bool arrives = true;                ///< whether the write or request reaches the device
};

/// A kind of fault.
struct FaultKind_T {
    FaultOperation_T operation;
    std::string_view kind; ///< in capitals where a fault has a value instead
    std::string_view explanation;
    /// Whether the device lacks what the program asked for, so that it may refuse what follows.
    bool explainsRefusals;
    /// The effect on a device's operation; null: the fault is played where the program calls the system.
    void (*play)(FaultTarget_T& target, int value) = nullptr;

    bool IsAtCall() const { return play == nullptr; }
};

/// A planned fault.
struct Fault_T {
    std::string specification; ///< as it was given
    const FaultKind_T* kind;   ///< a row of the table
    std::uint32_t number;      ///< 1-based count of the operation; 0: each of them
    int value;                 ///< errno or FIFO status, else 0
    bool wasTriggered = false; ///< its operation came
};

/// Reads a specification OPERATION:NUMBER=KIND, as FaultHelp() lists them. Throws std::invalid_argument, with
/// one line that names the text and what is allowed, for other texts.
Fault_T FaultOf(const std::string& specification);

/// The operations and kinds of faults, a line each, for a help text.
std::string FaultHelp();

/// The operations and kinds of faults as lines "OPERATION KIND", for a program.
std::string FaultList();
