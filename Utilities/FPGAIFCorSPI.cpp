#include "Utilities/FPGAIFCorSPI.h"

#include "Utilities/IOSSFactory.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>

using namespace PacketRegisters;

namespace
{
// The registers and tables that this FPGA has in addition to PacketRegisters.
constexpr RegisterRow_T c_AdcFrequency{.address = 4};
constexpr RegisterRow_T c_SampleCount{.address = 16, .width = 2, .packets = Packets::OnePerByte};
constexpr RegisterRow_T c_ChannelFilter{.address = 18};
constexpr RegisterRow_T c_FilterSelection{.address = 18}; ///< the same register, by band, on the QL6M
constexpr RegisterRow_T c_OutputDataToLog{.address = 24, .delivery = Delivery::Sent};
constexpr RegisterRow_T c_BaseBandCentre{.address = 32, .width = 4, .packets = Packets::OnePerByte};
constexpr RegisterRow_T c_BaseBandSelection{.address = 36};
constexpr RegisterRow_T c_BaseBandScaling{.address = 37};
constexpr RegisterRow_T c_BaseBandSubSample{.address = 38};
constexpr RegisterRow_T c_CorrelationLength{.address = 48};
constexpr RegisterRow_T c_CorrelationScaling{.address = 50};
constexpr RegisterRow_T c_CorrelationDownShift{.address = 51};
constexpr RegisterRow_T c_SubSampleRate{.address = 52};
constexpr RegisterRow_T c_SubSampleMode{.address = 53};
constexpr RegisterRow_T c_SubSampleThreshold{.address = 56, .width = 2};
constexpr RegisterRow_T c_SpeedA{.address = 64};
constexpr RegisterRow_T c_SpeedB{.address = 65};
constexpr RegisterRow_T c_TransducerRead{.address = 66};
constexpr RegisterRow_T c_TransducerWrite{.address = 67, .delivery = Delivery::Sent};
constexpr RegisterRow_T c_PingFifo{.address = 80};
constexpr RegisterRow_T c_FifoControl{.address = 81, .delivery = Delivery::Sent};
constexpr RegisterRow_T c_FifoStatus{.address = 82};
constexpr RegisterRow_T c_TvgLength{.address = 256, .width = 2, .packets = Packets::OnePerByte};
constexpr RegisterRow_T c_ChirpLength{.address = 512, .width = 2, .packets = Packets::OnePerByte};
constexpr RegisterRow_T c_TvgTable{.address = 0x3000, .block = true};
constexpr RegisterRow_T c_ChirpTable{.address = 0x4000, .block = true};
constexpr RegisterRow_T c_CorrelationTable{.address = 0x8000, .block = true};

constexpr std::uint32_t c_ClockHz = 69'248'000;
constexpr std::uint32_t c_LargeFpgaClockHz = 86'560'000;
/// Length code of the FPGA's whole correlation table: units of 2,048 bytes, minus one.
constexpr std::uint8_t c_WholeCorrelationLength =
    Sizeof_CorrelationFilter * sizeof(CorrelationFilterCoefficientSet_T) / 2048 - 1;
constexpr std::uint8_t c_FifoNormal = 4;
constexpr std::uint8_t c_FifoClear = 2;

std::uint32_t ClockHz(IOSSFactory& factory)
{
    const char* size = factory.GetEnv("QL3B_FPGA_SIZE");
    return size != nullptr && std::strtol(size, nullptr, 10) == 1 ? c_LargeFpgaClockHz : c_ClockHz;
}
} // namespace

CFPGAIFCorSpi::CFPGAIFCorSpi(bool UseTransducerInterrupt, const std::string& SerialDevicePath,
                             IOSSFactory* pFactory)
    : CFPGAPacketLink("CFPGAIFCorSpi", SerialDevicePath, pFactory), m_FpgaClockHz(c_ClockHz),
      m_bUseTransducerInterrupt(UseTransducerInterrupt)
{
    assert(pFactory && "No Factory passed into CFPGAIFCorSpi");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFCorSpi");
    OpenDevice();
    assert(m_SerialPort);
    ConfigureSpi();
    m_FpgaClockHz = ClockHz(*pFactory);
}

TSQEventCode_T CFPGAIFCorSpi::SetCommandRegister(bFpgaCommandByte Command)
{
    const TSQEventCode_T queued = WriteRegister(c_Command, Command.value);
    const bool interrupts =
        m_bUseTransducerInterrupt && (Command.value & c_CommandTransducerIdentification) != 0;
    if ((Command.value & c_CommandStartPing) == 0 && !interrupts) {
        return queued;
    }
    const TSQEventCode_T result = TransmitNow(queued);
    // Part of the contract: a missing interrupt is in the error code only, not in the result.
    if (interrupts && WaitOnInterrupt() == 0) {
        m_ErrorCode = c_NoTransducerInterrupt;
        ReportError(m_ErrorCode, "SetCommandRegister", "FPGA Transducer ID Interrupt never occurred");
    }
    return result;
}

TSQEventCode_T CFPGAIFCorSpi::PingNow(bFpgaCommandByte Command)
{
    return (Command.value & c_CommandStartPing) != 0 ? SetCommandRegister(Command) : c_Success;
}

TSQEventCode_T CFPGAIFCorSpi::GetPing(Buffer_Bytes_T* Buffer)
{
    const TSQEventCode_T result = ReadPingFifo(c_PingFifo, 0, Buffer);
    ValidateDataCollection();
    return result == c_Success ? static_cast<TSQEventCode_T>(Buffer->size()) : 0;
}

TSQEventCode_T CFPGAIFCorSpi::GetPingSection(Buffer_Bytes_T* Buffer)
{
    if (CreateCommandPacket(Buffer, c_PingFifo.address, true, c_PingFifo.block, true) != c_Success) {
        return 0;
    }
    return static_cast<TSQEventCode_T>(ReceivePingDataFromFPGA(Buffer));
}

unsigned int CFPGAIFCorSpi::ReceivePingDataFromFPGA(Buffer_Bytes_T* Buffer)
{
    const std::size_t sent = SendCurrentTransfer();
    if (sent != 0) {
        std::printf("Will need to copy %zu bytes into Buffer of size %zu bytes\n", sent, Buffer->size());
    }
    return static_cast<unsigned int>(sent);
}

TSQEventCode_T CFPGAIFCorSpi::ValidateDataCollection()
{
    bCorFifoStatusByte status;
    GetDebugRegister(&status.value, c_FifoStatus.address);
    if (status.value != c_FifoNormal) {
        ReportError(c_Success, "ValidateDataCollection",
                    "FIFO ERROR:: clearing fifo because fifoStatus 0x" + HexText(status.value));
        SetDebugRegister(c_FifoClear, c_FifoControl.address);
    }
    return c_Success;
}

TSQEventCode_T CFPGAIFCorSpi::GetVersion(SWVersion_T* SwVersion)
{
    assert(SwVersion && "no location to store SwVersion word");
    return ReadVersion(SwVersion);
}

TSQEventCode_T CFPGAIFCorSpi::GetStatusRegister(bFpgaStatusByte* Status)
{
    assert(Status && "no location to store status word");
    return ReadRegister(c_Status, &Status->value);
}

TSQEventCode_T CFPGAIFCorSpi::GetTransducerData(unsigned char* Data)
{
    assert(Data && "no location to store transducer data");
    return ReadRegister(c_TransducerRead, Data);
}

TSQEventCode_T CFPGAIFCorSpi::GetSpeedReading(FPGASpeedReading_T* SpeedReading)
{
    assert(SpeedReading && "no location to store Speed reading");
    std::uint8_t ticks = 0;
    if (ReadRegister(c_SpeedA, &ticks) != c_Success) {
        return c_NothingTransferred;
    }
    SpeedReading->ticks = ticks;
    ticks = 0;
    // Part of the contract: both bytes are combined bit by bit, without a shift. If the second request fails,
    // the first byte remains.
    ReadRegister(c_SpeedB, &ticks);
    SpeedReading->ticks |= ticks;
    return c_Success;
}

TSQEventCode_T CFPGAIFCorSpi::SetADCFrequencyRegister(eFpgaAdcFrequency_T Frequency)
{
    return WriteRegister(c_AdcFrequency, static_cast<std::uint8_t>(Frequency));
}

TSQEventCode_T CFPGAIFCorSpi::SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples)
{
    assert(((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16");
    assert(((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large");
    return WriteSampleCount(c_SampleCount, NumberOf32bitSamples);
}

TSQEventCode_T CFPGAIFCorSpi::SetChannelFilterRegister(const FpgaChnlFltByte_T* Filter)
{
    assert(Filter && "no channel filter");
    return WriteRegister(c_ChannelFilter, Filter->value);
}

TSQEventCode_T CFPGAIFCorSpi::SetFilterSelectionRegister(PingConfigRxBand_T Band)
{
    if (Band < PingConfigRxBand_LF || Band > PingConfigRxBand_HF) {
        assert(false && "Auto is not a valid selection for the filter");
    }
    return WriteRegister(c_FilterSelection, static_cast<std::uint32_t>(PingConfigRxBand_HF - Band));
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterCentreFreq(unsigned short HundredsOfHz)
{
    // Tuning word: the frequency as a fraction of the clock, in units of 2^-32.
    const std::uint64_t tuning = ((HundredsOfHz * std::uint64_t{100}) << 32) / m_FpgaClockHz;
    return WriteRegister(c_BaseBandCentre, static_cast<std::uint32_t>(tuning));
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterSelectionReg(unsigned char Selection)
{
    return WriteRegister(c_BaseBandSelection, Selection);
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterScalingReg(unsigned char Scaling)
{
    return WriteRegister(c_BaseBandScaling, Scaling);
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterSubSampleReg(unsigned char SubSample)
{
    return WriteRegister(c_BaseBandSubSample, SubSample);
}

TSQEventCode_T CFPGAIFCorSpi::SetCorralationScaling(unsigned char Scaling)
{
    return WriteRegister(c_CorrelationScaling, Scaling);
}

TSQEventCode_T CFPGAIFCorSpi::SetCorralationDownShift(unsigned char DownShift)
{
    return WriteRegister(c_CorrelationDownShift, DownShift);
}

TSQEventCode_T CFPGAIFCorSpi::SetSubSampleRate(unsigned char Rate)
{
    return WriteRegister(c_SubSampleRate, Rate);
}

TSQEventCode_T CFPGAIFCorSpi::SetSubSampleMode(FpgaSubSampleMode_T Mode)
{
    return WriteRegister(c_SubSampleMode, static_cast<std::uint8_t>(Mode));
}

TSQEventCode_T CFPGAIFCorSpi::SetSubSampleThreshold(unsigned short Threshold)
{
    return WriteRegister(c_SubSampleThreshold, Threshold);
}

TSQEventCode_T CFPGAIFCorSpi::SetTVGTable(const TVGTable_T& TvgTable)
{
    assert((TvgTable.size() <= Sizeof_TVGTable) && "TVG table too long");
    SetTVGLength(static_cast<unsigned short>(TvgTable.size()));
    return WriteTable(c_TvgTable, TvgTable, TvgTable.size());
}

TSQEventCode_T CFPGAIFCorSpi::SetTVGLength(unsigned short Entries)
{
    return WriteRegister(c_TvgLength, Entries);
}

TSQEventCode_T CFPGAIFCorSpi::SetChirpTable(const ChirpTable_T& ChirpTable)
{
    SetChirpLength(static_cast<unsigned short>(ChirpTable.size()));
    return WriteTable(c_ChirpTable, ChirpTable, ChirpTable.size());
}

TSQEventCode_T CFPGAIFCorSpi::SetChirpLength(unsigned short Entries)
{
    return WriteRegister(c_ChirpLength, Entries);
}

TSQEventCode_T CFPGAIFCorSpi::SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter)
{
    assert((CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long");
    // Part of the contract: the whole table is always written and its length code sent, however short the
    // caller's filter.
    const TSQEventCode_T result = SetCorrelationFilterLength(c_WholeCorrelationLength);
    return result == c_Success ? WriteTable(c_CorrelationTable, CorrelationFilter, Sizeof_CorrelationFilter)
                               : result;
}

TSQEventCode_T CFPGAIFCorSpi::SetCorrelationFilterLength(unsigned char LengthCode)
{
    return WriteRegister(c_CorrelationLength, LengthCode);
}

TSQEventCode_T CFPGAIFCorSpi::SetTransducerData(unsigned char Data)
{
    return WriteRegister(c_TransducerWrite, Data);
}

TSQEventCode_T CFPGAIFCorSpi::SetOutputDataToLog()
{
    const TSQEventCode_T result = WriteRegister(c_OutputDataToLog, 1);
    if (result == c_NothingTransferred) {
        std::printf("SetOutputDataToLog\n");
    }
    return result;
}

TSQEventCode_T CFPGAIFCorSpi::SetDebugRegister(unsigned char RegisterContents, CorFPGAAddress_T Address)
{
    return WriteRegister({.address = Address, .delivery = Delivery::Sent}, RegisterContents);
}

TSQEventCode_T CFPGAIFCorSpi::GetDebugRegister(unsigned char* RegisterContents, CorFPGAAddress_T Address)
{
    assert(RegisterContents && "no location to store status word");
    return ReadRegister({.address = Address}, RegisterContents);
}
