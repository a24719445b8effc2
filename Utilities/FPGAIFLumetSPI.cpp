#include "Utilities/FPGAIFLumetSPI.h"

#include <array>
#include <cassert>
#include <cstring>

using namespace PacketRegisters;

namespace
{
/// A register or table that each receive channel has. The row's address is the offset in the channel's block.
struct ChannelRegister_T {
    RegisterRow_T row;

    constexpr RegisterRow_T Of(FPGAChannel_T channel) const
    {
        RegisterRow_T own = row;
        own.address = static_cast<CorFPGAAddress_T>(row.address + (channel == 1 ? 0x8000 : 0x4000));
        return own;
    }
};

// The registers and tables that this FPGA has in addition to PacketRegisters.
constexpr RegisterRow_T c_WifiLed{.address = 113, .width = 2, .block = true, .delivery = Delivery::Sent};
/// The first of the three bytes of an ADC's value.
constexpr CorFPGAAddress_T c_AdcReference = 128;
constexpr CorFPGAAddress_T c_AdcWaterTemp = 132;
constexpr CorFPGAAddress_T c_AdcSenseResistor = 136;

constexpr ChannelRegister_T c_SampleCount{{.address = 0x10, .width = 2, .packets = Packets::OnePerByte}};
constexpr ChannelRegister_T c_SteppedGain{{.address = 0x12}};
constexpr ChannelRegister_T c_BaseBandCentre{{.address = 0x20, .width = 4, .packets = Packets::OnePerByte}};
constexpr ChannelRegister_T c_CorrelationScaling{{.address = 0x40}};
constexpr ChannelRegister_T c_CorrelationDownShift{{.address = 0x41}};
constexpr ChannelRegister_T c_SubSampleRate{{.address = 0x42}};
constexpr ChannelRegister_T c_PingFifo{{.address = 0x50}};
constexpr ChannelRegister_T c_FifoControl{{.address = 0x51}};
constexpr ChannelRegister_T c_FifoStatus{{.address = 0x52}};
constexpr ChannelRegister_T c_StartFreq{{.address = 0x200, .width = 4, .packets = Packets::OnePerByte}};
constexpr ChannelRegister_T c_ChirpIncrement{{.address = 0x204, .width = 4, .packets = Packets::OnePerByte}};
constexpr ChannelRegister_T c_BurstLength{{.address = 0x208, .width = 2, .packets = Packets::OnePerByte}};
constexpr ChannelRegister_T c_CorrelationTable{{.address = 0x2000, .block = true}};

/// A correlation filter is padded to a multiple of this number of entries.
constexpr std::size_t c_CorrelationPiece = 512;
} // namespace

CFPGAIFLumetSPI::CFPGAIFLumetSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : CFPGAPacketLink("CFPGAIFLumetSPI", SerialDevicePath, pFactory)
{
    assert(pFactory && "No Factory passed into CFPGAIFLumetSPI");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLumetSPI");
    OpenDevice();
    assert(m_SerialPort);
    ConfigureSpi();
}

TSQEventCode_T CFPGAIFLumetSPI::SetCommandRegister(bLumetCommandByte Command)
{
    const TSQEventCode_T queued = WriteRegister(c_Command, Command.value);
    return (Command.value & c_CommandStartPing) != 0 ? TransmitNow(queued) : queued;
}

TSQEventCode_T CFPGAIFLumetSPI::PingNow(bLumetCommandByte Command)
{
    return (Command.value & c_CommandStartPing) != 0 ? SetCommandRegister(Command) : c_Success;
}

TSQEventCode_T CFPGAIFLumetSPI::GetPing(FPGAChannel_T Channel, Buffer_Bytes_T* Buffer, InterruptMode_T Mode)
{
    const std::size_t totalBytesWanted = Buffer->size();
    assert(totalBytesWanted <= c_MaxSamplesFromLumetFPGA);
    std::array<std::uint8_t, c_MaxSamplesFromLumetFPGA> samples{};
    Buffer_Bytes_T received(samples.data(), totalBytesWanted);
    const TSQEventCode_T result = ReadPingFifo(c_PingFifo.Of(Channel), static_cast<int>(Mode), &received);
    ValidateDataCollection(Channel);
    if (result != c_Success) {
        return result;
    }
    for (std::size_t at = 0; at < totalBytesWanted; ++at) {
        const float sample = samples[at];
        std::memcpy(Buffer->data() + at * sizeof sample, &sample, sizeof sample);
    }
    return c_Success;
}

TSQEventCode_T CFPGAIFLumetSPI::ValidateDataCollection(FPGAChannel_T Channel)
{
    bLumetStatusByte status;
    GetStatusRegister(&status);
    bCorFifoStatusByte fifoStatus;
    GetFifoStatusRegister(&fifoStatus, Channel);
    return c_Success;
}

TSQEventCode_T CFPGAIFLumetSPI::GetVersion(SWVersion_T* SwVersion)
{
    assert(SwVersion && "no location to store SwVersion word");
    return ReadVersion(SwVersion);
}

TSQEventCode_T CFPGAIFLumetSPI::GetStatusRegister(bLumetStatusByte* Status)
{
    assert(Status && "no location to store status word");
    return ReadRegister(c_Status, &Status->value);
}

TSQEventCode_T CFPGAIFLumetSPI::GetFifoStatusRegister(bCorFifoStatusByte* Status, FPGAChannel_T Channel)
{
    assert(Status && "no location to store status word");
    return ReadRegister(c_FifoStatus.Of(Channel), &Status->value);
}

TSQEventCode_T CFPGAIFLumetSPI::GetADCReference(CorFPGA24BitADCValue_T* AdcValue)
{
    return GetADCValue(c_AdcReference, AdcValue);
}

TSQEventCode_T CFPGAIFLumetSPI::GetSenseResistor(CorFPGA24BitADCValue_T* AdcValue)
{
    return GetADCValue(c_AdcSenseResistor, AdcValue);
}

TSQEventCode_T CFPGAIFLumetSPI::GetWaterTemp(CorFPGA24BitADCValue_T* AdcValue)
{
    return GetADCValue(c_AdcWaterTemp, AdcValue);
}

TSQEventCode_T CFPGAIFLumetSPI::GetADCValue(CorFPGAAddress_T Address, CorFPGA24BitADCValue_T* AdcValue)
{
    assert(AdcValue && "no location to store ADC Value");
    std::array<std::uint8_t, 3> bytes{};
    const TSQEventCode_T result =
        ReadRegister({.address = Address, .width = bytes.size(), .block = true}, bytes.data());
    if (result == c_Success) {
        *AdcValue = GetLittleEndian(bytes.data(), bytes.size());
    }
    return result;
}

TSQEventCode_T CFPGAIFLumetSPI::SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples,
                                                            FPGAChannel_T Channel)
{
    assert(((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16");
    assert(((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large");
    return WriteSampleCount(c_SampleCount.Of(Channel), NumberOf32bitSamples);
}

TSQEventCode_T CFPGAIFLumetSPI::SetSteppedAnalogueGain(unsigned char Step, FPGAChannel_T Channel)
{
    return WriteRegister(c_SteppedGain.Of(Channel), Step);
}

TSQEventCode_T CFPGAIFLumetSPI::SetBaseBandFilterCentreFreq(unsigned int TuningWord, FPGAChannel_T Channel)
{
    return WriteRegister(c_BaseBandCentre.Of(Channel), TuningWord);
}

TSQEventCode_T CFPGAIFLumetSPI::SetCorralationScaling(unsigned char Scaling, FPGAChannel_T Channel)
{
    return WriteRegister(c_CorrelationScaling.Of(Channel), Scaling);
}

TSQEventCode_T CFPGAIFLumetSPI::SetCorralationDownShift(unsigned char DownShift, FPGAChannel_T Channel)
{
    return WriteRegister(c_CorrelationDownShift.Of(Channel), DownShift);
}

TSQEventCode_T CFPGAIFLumetSPI::SetSubSampleRate(unsigned int Rate, FPGAChannel_T Channel)
{
    return WriteRegister(c_SubSampleRate.Of(Channel), Rate);
}

TSQEventCode_T CFPGAIFLumetSPI::SetFifoCntrlRegister(bCorFifoCntrlByte Control, FPGAChannel_T Channel)
{
    return WriteRegister(c_FifoControl.Of(Channel), Control.value);
}

TSQEventCode_T CFPGAIFLumetSPI::SetStartFreq(unsigned int TuningWord, FPGAChannel_T Channel)
{
    return WriteRegister(c_StartFreq.Of(Channel), TuningWord);
}

TSQEventCode_T CFPGAIFLumetSPI::SetChirpIncrement(unsigned int Increment, FPGAChannel_T Channel)
{
    return WriteRegister(c_ChirpIncrement.Of(Channel), Increment);
}

TSQEventCode_T CFPGAIFLumetSPI::SetBurstLength(unsigned int Cycles, FPGAChannel_T Channel)
{
    return WriteRegister(c_BurstLength.Of(Channel), Cycles);
}

TSQEventCode_T CFPGAIFLumetSPI::SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter,
                                                     FPGAChannel_T Channel)
{
    assert((CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long");
    const std::size_t pieces = (CorrelationFilter.size() + c_CorrelationPiece - 1) / c_CorrelationPiece;
    return WriteTable(c_CorrelationTable.Of(Channel), CorrelationFilter, pieces * c_CorrelationPiece);
}

TSQEventCode_T CFPGAIFLumetSPI::SetWifiLEDRegister(FpgaWifiLEDRegister_T Leds)
{
    return WriteRegister(c_WifiLed, Leds.value);
}

TSQEventCode_T CFPGAIFLumetSPI::SetDebugRegister(bLumetStatusByte Value, CorFPGAAddress_T Address)
{
    const TSQEventCode_T queued = WriteRegister({.address = Address}, Value.value);
    // Unlike CFPGAIFCorSpi::SetDebugRegister(), this waits for a reply to the write.
    Buffer_Bytes_T answer(&Value.value, sizeof Value.value);
    return ReceiveNow(queued, &answer);
}

TSQEventCode_T CFPGAIFLumetSPI::GetDebugRegister(bLumetStatusByte* Status, CorFPGAAddress_T Address)
{
    assert(Status && "no location to store status word");
    return ReadRegister({.address = Address}, &Status->value);
}
