#pragma once

#include <cstdint>

/// Result of FPGA, operating-system and metadata operations: 0 is success, positive values are errno
/// numbers, negative values are the program's own, below.
using TSQEventCode_T = std::int32_t;

inline constexpr TSQEventCode_T c_Success = 0;
inline constexpr TSQEventCode_T c_ShellNotStarted = -101;       ///< system() failed
inline constexpr TSQEventCode_T c_NothingTransferred = -109;    ///< a transmit or read moved no bytes
inline constexpr TSQEventCode_T c_FileLocked = -140;            ///< another process holds the file's lock
inline constexpr TSQEventCode_T c_MetadataNotWritten = -142;    ///< a ping metadata file is not complete
inline constexpr TSQEventCode_T c_NoTransducerInterrupt = -144; ///< the transducer-ID interrupt never came
inline constexpr TSQEventCode_T c_ReceiveShortfall = -171;      ///< fewer bytes came than were wanted
inline constexpr TSQEventCode_T c_ThreadCallFailed = -172;      ///< a thread call failed
inline constexpr TSQEventCode_T c_FlushFailed = -173;           ///< received data could not be dropped
inline constexpr TSQEventCode_T c_NotSupportedByLink = -174;    ///< the unit's transport lacks the operation
inline constexpr TSQEventCode_T c_NoFpgaInterface = -177;       ///< this unit has no FPGA interface

/// Levels of IOSSFactory::SendEvent.
inline constexpr int c_EventInformation = 6;
inline constexpr int c_EventError = 3;
