#pragma once

#include "Utilities/FPGATypes.h"
#include "Utilities/RegisterMap.h"

/// A register or table that each receive channel of a Lumet FPGA has of its own. The row's address is the
/// offset in the channel's block.
struct ChannelRegister_T {
    RegisterRow_T row;

    /// The row of one channel's register.
    constexpr RegisterRow_T Of(FPGAChannel_T channel) const
    {
        RegisterRow_T own = row;
        own.address = static_cast<CorFPGAAddress_T>(row.address + (channel == 1 ? 0x8000 : 0x4000));
        return own;
    }
};

/// Registers and tables of the Lumet FPGA, beside those of every packet link.
namespace LumetRegisters
{
inline constexpr RegisterRow_T c_WifiLed{
    .address = 113, .width = 2, .block = true, .delivery = Delivery::Sent};
inline constexpr RegisterRow_T c_AdcReference{.address = 128, .width = 3, .block = true};
inline constexpr RegisterRow_T c_AdcWaterTemp{.address = 132, .width = 3, .block = true};
inline constexpr RegisterRow_T c_AdcSenseResistor{.address = 136, .width = 3, .block = true};

inline constexpr ChannelRegister_T c_SampleCount{
    {.address = 0x10, .width = 2, .packets = Packets::OnePerByte}};
inline constexpr ChannelRegister_T c_SteppedGain{{.address = 0x12}};
inline constexpr ChannelRegister_T c_BaseBandCentre{
    {.address = 0x20, .width = 4, .packets = Packets::OnePerByte}};
inline constexpr ChannelRegister_T c_CorrelationScaling{{.address = 0x40}};
inline constexpr ChannelRegister_T c_CorrelationDownShift{{.address = 0x41}};
inline constexpr ChannelRegister_T c_SubSampleRate{{.address = 0x42}};
inline constexpr ChannelRegister_T c_PingFifo{{.address = 0x50}};
inline constexpr ChannelRegister_T c_FifoControl{{.address = 0x51}};
inline constexpr ChannelRegister_T c_FifoStatus{{.address = 0x52}};
inline constexpr ChannelRegister_T c_StartFreq{
    {.address = 0x200, .width = 4, .packets = Packets::OnePerByte}};
inline constexpr ChannelRegister_T c_ChirpIncrement{
    {.address = 0x204, .width = 4, .packets = Packets::OnePerByte}};
inline constexpr ChannelRegister_T c_BurstLength{
    {.address = 0x208, .width = 2, .packets = Packets::OnePerByte}};
inline constexpr ChannelRegister_T c_CorrelationTable{{.address = 0x2000, .block = true}};
} // namespace LumetRegisters
