#pragma once

#include "Utilities/RegisterMap.h"

/// Registers and tables of the QL4K, QL5K and QL6M sounder FPGA, beside those of every packet link.
namespace CorRegisters
{
inline constexpr RegisterRow_T c_AdcFrequency{.address = 4};
inline constexpr RegisterRow_T c_SampleCount{.address = 16, .width = 2, .packets = Packets::OnePerByte};
inline constexpr RegisterRow_T c_ChannelFilter{.address = 18};
inline constexpr RegisterRow_T c_FilterSelection{.address = 18}; ///< the same register, by band, on the QL6M
inline constexpr RegisterRow_T c_OutputDataToLog{.address = 24, .delivery = Delivery::Sent};
inline constexpr RegisterRow_T c_BaseBandCentre{.address = 32, .width = 4, .packets = Packets::OnePerByte};
inline constexpr RegisterRow_T c_BaseBandSelection{.address = 36};
inline constexpr RegisterRow_T c_BaseBandScaling{.address = 37};
inline constexpr RegisterRow_T c_BaseBandSubSample{.address = 38};
inline constexpr RegisterRow_T c_CorrelationLength{.address = 48};
inline constexpr RegisterRow_T c_CorrelationScaling{.address = 50};
inline constexpr RegisterRow_T c_CorrelationDownShift{.address = 51};
inline constexpr RegisterRow_T c_SubSampleRate{.address = 52};
inline constexpr RegisterRow_T c_SubSampleMode{.address = 53};
inline constexpr RegisterRow_T c_SubSampleThreshold{.address = 56, .width = 2};
inline constexpr RegisterRow_T c_SpeedA{.address = 64};
inline constexpr RegisterRow_T c_SpeedB{.address = 65};
inline constexpr RegisterRow_T c_TransducerRead{.address = 66};
inline constexpr RegisterRow_T c_TransducerWrite{.address = 67, .delivery = Delivery::Sent};
inline constexpr RegisterRow_T c_PingFifo{.address = 80};
inline constexpr RegisterRow_T c_FifoControl{.address = 81, .delivery = Delivery::Sent};
inline constexpr RegisterRow_T c_FifoStatus{.address = 82};
inline constexpr RegisterRow_T c_TvgLength{.address = 256, .width = 2, .packets = Packets::OnePerByte};
inline constexpr RegisterRow_T c_ChirpLength{.address = 512, .width = 2, .packets = Packets::OnePerByte};
inline constexpr RegisterRow_T c_TvgTable{.address = 0x3000, .block = true};
inline constexpr RegisterRow_T c_ChirpTable{.address = 0x4000, .block = true};
inline constexpr RegisterRow_T c_CorrelationTable{.address = 0x8000, .block = true};
} // namespace CorRegisters
