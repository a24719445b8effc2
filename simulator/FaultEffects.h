#pragma once

#include "simulator/DeviceModel.h"

/// What a fault befalls: an outcome, of which some bytes come back to the program, or what goes to the
/// device.
struct Befallen_T {
    DeviceOutcome_T& outcome;
    Bytes_T* pBytes = nullptr;          ///< the reply or the fill of the outcome; null before there is one
    const Bytes_T* pPrevious = nullptr; ///< the device's reply or fill before that one
    std::size_t place = 0;              ///< of the FIFO status in the reply
    ByteView_T arriving = {};           ///< what of a write reaches the device
    bool arrives = true;                ///< whether the write or request reaches the device at all
};

/// What faults do to what a device does; each takes the value of the fault's kind, 0 where the kind is a
/// word. Those on bytes take any number of them: several faults can meet on one reply and leave nothing to
/// damage.
namespace FaultEffects
{
// On what goes to the device.
void Fail(Befallen_T& befallen, int error);
void CutWrite(Befallen_T& befallen, int);
void MoveNothing(Befallen_T& befallen, int);
void PretendSuccess(Befallen_T& befallen, int);

// On what comes back.
void Drop(Befallen_T& befallen, int);
void CutLastByte(Befallen_T& befallen, int);
void CutSecondHalf(Befallen_T& befallen, int);
void CorruptChecksum(Befallen_T& befallen, int);
void DropByte(Befallen_T& befallen, int);
void CorruptBytes(Befallen_T& befallen, int);
void FlipBit(Befallen_T& befallen, int);
void ZeroBytes(Befallen_T& befallen, int);
void RepeatPrevious(Befallen_T& befallen, int);
void DelayReply(Befallen_T& befallen, int);
void SendBytewise(Befallen_T& befallen, int);
void AnswerStatus(Befallen_T& befallen, int status);
void TimeOut(Befallen_T& befallen, int);
} // namespace FaultEffects
