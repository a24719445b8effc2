#include "Utilities/FPGAIF.h"

#include "Utilities/FPGAIFCorSPI.h"

#include <functional>
#include <initializer_list>
#include <type_traits>
#include <utility>

template <class Transport, class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::Ask(Transport* pTransport, Operation operation, Arguments&&... arguments)
{
    if (pTransport == nullptr) {
        return std::nullopt;
    }
    if constexpr (std::is_void_v<std::invoke_result_t<Operation, Transport*, Arguments...>>) {
        std::invoke(operation, pTransport, std::forward<Arguments>(arguments)...);
        return c_Success;
    } else {
        return std::invoke(operation, pTransport, std::forward<Arguments>(arguments)...);
    }
}

template <class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::Cor(Operation operation, Arguments&&... arguments) const
{
    return Ask(m_pCorIF_SPI, operation, std::forward<Arguments>(arguments)...);
}

template <std::same_as<std::optional<TSQEventCode_T>>... Answers>
TSQEventCode_T CFPGAIF::ForwardOr(TSQEventCode_T otherwise, Answers... answers) const
{
    if (!HasTransport()) {
        return c_NoFpgaInterface;
    }
    for (const Answer_T& answer : std::initializer_list<Answer_T>{answers...}) {
        if (answer) {
            return *answer;
        }
    }
    return otherwise;
}

template <std::same_as<std::optional<TSQEventCode_T>>... Answers>
TSQEventCode_T CFPGAIF::Forward(Answers... answers) const
{
    return ForwardOr(c_Success, answers...);
}

TSQEventCode_T CFPGAIF::Flush(unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::GetErrorCode() const { return Forward(Cor(&CFPGAIFCorSpi::GetErrorCode)); }

TSQEventCode_T CFPGAIF::GetVersion(SWVersion_T* version)
{
    return Forward(Cor(&CFPGAIFCorSpi::GetVersion, version));
}

TSQEventCode_T CFPGAIF::GetADCReadings(LSADCReadings_T*) { return ForwardOr(c_NotSupportedByLink); }

TSQEventCode_T CFPGAIF::PingNow() { return Forward(); }

TSQEventCode_T CFPGAIF::PingNow(bLumetCommandByte) { return Forward(); }

TSQEventCode_T CFPGAIF::PingNow(bFpgaCommandByte command)
{
    return Forward(Cor(&CFPGAIFCorSpi::PingNow, command));
}

void CFPGAIF::WaitForData() {}

TSQEventCode_T CFPGAIF::GetPing(unsigned char, Buffer_Bytes_T*, Buffer_Bytes_T*) { return Forward(); }

TSQEventCode_T CFPGAIF::GetPing(unsigned char, Buffer_Bytes_T*, int) { return Forward(); }

TSQEventCode_T CFPGAIF::GetPing(Buffer_Bytes_T* data) { return Forward(Cor(&CFPGAIFCorSpi::GetPing, data)); }

TSQEventCode_T CFPGAIF::setUpForPing(LSFpgaCompleteConfigure_T) { return Forward(); }

TSQEventCode_T CFPGAIF::GetTransducerData(unsigned char* data)
{
    return Forward(Cor(&CFPGAIFCorSpi::GetTransducerData, data));
}

TSQEventCode_T CFPGAIF::SetTransducerData(unsigned char data)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetTransducerData, data));
}

TSQEventCode_T CFPGAIF::GetStatusRegister(bFpgaStatusByte* status)
{
    return Forward(Cor(&CFPGAIFCorSpi::GetStatusRegister, status));
}

TSQEventCode_T CFPGAIF::GetStatusRegister(bLumetStatusByte*) { return Forward(); }

TSQEventCode_T CFPGAIF::SetCommandRegister(bFpgaCommandByte command)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCommandRegister, command));
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bLumetCommandByte) { return Forward(); }

TSQEventCode_T CFPGAIF::SetChannelFilterRegister(const FpgaChnlFltByte_T* filter)
{
    // The QL6M selects its filter by band.
    return m_InterfaceType == eFpgaIfQL6MSpi ? Forward()
                                             : Forward(Cor(&CFPGAIFCorSpi::SetChannelFilterRegister, filter));
}

TSQEventCode_T CFPGAIF::SetFilterSelectionRegister(unsigned char band)
{
    return m_InterfaceType != eFpgaIfQL6MSpi ? Forward()
                                             : Forward(Cor(&CFPGAIFCorSpi::SetFilterSelectionRegister,
                                                           static_cast<PingConfigRxBand_T>(band)));
}

TSQEventCode_T CFPGAIF::SetADCFrequencyRegister(eFpgaAdcFrequency_T frequency)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetADCFrequencyRegister, frequency));
}

TSQEventCode_T CFPGAIF::SetNumberOfSamplesToReceive(unsigned int count, unsigned char)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetNumberOfSamplesToReceive, count));
}

TSQEventCode_T CFPGAIF::SetSteppedAnalogueGain(unsigned char, unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::SetBoostLevel(unsigned char level)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBoostLevel, level));
}

TSQEventCode_T CFPGAIF::SetChirpTable(const std::vector<ChirpTableEntry_T>& table)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetChirpTable, table));
}

TSQEventCode_T CFPGAIF::SetTVGTable(const std::vector<TVGTableEntry_T>& table)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetTVGTable, table));
}

TSQEventCode_T CFPGAIF::SetCorrelationFilter(const std::vector<CorrelationFilterCoefficientSet_T>& table,
                                             unsigned char)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCorrelationFilter, table));
}

TSQEventCode_T CFPGAIF::SetBasebandFilterSubSample(unsigned char divisor)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterSubSampleReg, divisor));
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterSelection(unsigned char selection)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterSelectionReg, selection));
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterCentreFreq(const unsigned int& frequency, unsigned char)
{
    // The Cor register takes 16 bits.
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterCentreFreq, static_cast<unsigned short>(frequency)));
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterScalingReg(unsigned char scaling)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterScalingReg, scaling));
}

TSQEventCode_T CFPGAIF::SetCorralationDownShift(unsigned char value, unsigned char)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCorralationDownShift, value));
}

TSQEventCode_T CFPGAIF::SetCorralationScaling(unsigned char value, unsigned char)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCorralationScaling, value));
}

TSQEventCode_T CFPGAIF::UpdateFPGA() { return Forward(Cor(&CFPGAIFCorSpi::UpdateFPGA)); }

TSQEventCode_T CFPGAIF::GetSpeedReading(FPGASpeedReading_T* reading)
{
    return Forward(Cor(&CFPGAIFCorSpi::GetSpeedReading, reading));
}

TSQEventCode_T CFPGAIF::HasPingDataTransferCompleted()
{
    return Forward(Cor(&CFPGAIFCorSpi::HasPingDataTransferCompleted));
}

TSQEventCode_T CFPGAIF::TestFPGAAccess(Buffer_Bytes_T* buffer, unsigned short address, bool read, bool block)
{
    return Forward(Cor(&CFPGAIFCorSpi::TestFPGAAccess, buffer, address, read, block));
}

bool CFPGAIF::IsSpiBusy() const { return m_pCorIF_SPI != nullptr && m_pCorIF_SPI->IsSpiBusy(); }

TSQEventCode_T CFPGAIF::SetFree() { return Forward(Cor(&CFPGAIFCorSpi::SetFree)); }

TSQEventCode_T CFPGAIF::SetBusy() { return Forward(Cor(&CFPGAIFCorSpi::SetBusy)); }

TSQEventCode_T CFPGAIF::SetSyncRegister(bFpgaPSUSyncRegister sync)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetSyncRegister, sync));
}

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned int, unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned char rate)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetSubSampleRate, rate));
}

TSQEventCode_T CFPGAIF::SetSubSampleMode(FpgaSubSampleMode_T mode)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetSubSampleMode, mode));
}

TSQEventCode_T CFPGAIF::SetSubSampleThreshold(unsigned short threshold)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetSubSampleThreshold, threshold));
}

TSQEventCode_T CFPGAIF::SetStartFreq(unsigned int, unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::SetChirpIncrement(unsigned int, unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::SetBurstLength(unsigned int, unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::SetFifoCntrlRegister(bCorFifoCntrlByte, unsigned char) { return Forward(); }

TSQEventCode_T CFPGAIF::SetWifiLEDRegister(FpgaWifiLEDRegister_T) { return Forward(); }

TSQEventCode_T CFPGAIF::SetOutputDataToLog() { return Forward(Cor(&CFPGAIFCorSpi::SetOutputDataToLog)); }

TSQEventCode_T CFPGAIF::GetADCReference(unsigned int*) { return ForwardOr(c_NoFpgaInterface); }

TSQEventCode_T CFPGAIF::GetSenseResistor(unsigned int*) { return ForwardOr(c_NoFpgaInterface); }

TSQEventCode_T CFPGAIF::GetWaterTemp(unsigned int*) { return ForwardOr(c_NoFpgaInterface); }
