#include "Utilities/FPGAIF.h"

#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFForwarding.h"
#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLSUart.h"
#include "Utilities/FPGAIFLumetSPI.h"

namespace
{
/// The Lumet variant with ADCs that can be read back.
constexpr unsigned int c_VariantWithAdcs = 8;
} // namespace

TSQEventCode_T CFPGAIF::Flush(unsigned char channel)
{
    return m_InterfaceType == eFpgaIfLSSpi
               ? Forward()
               : ForwardOr(c_NotSupportedByLink, Uart(channel, &CFPGAIFLSUart::Flush));
}

TSQEventCode_T CFPGAIF::GetErrorCode() const
{
    return Forward(LSSpi(&CFPGAIFLSSPI::GetErrorCode), Uart(0, &CFPGAIFLSUart::GetErrorCode),
                   Cor(&CFPGAIFCorSpi::GetErrorCode), Lumet(&CFPGAIFLumetSPI::GetErrorCode));
}

TSQEventCode_T CFPGAIF::GetVersion(SWVersion_T* version)
{
    return Forward(LSSpi(&CFPGAIFLSSPI::GetVersion, version), Uart(0, &CFPGAIFLSUart::GetVersion, version),
                   Cor(&CFPGAIFCorSpi::GetVersion, version), Lumet(&CFPGAIFLumetSPI::GetVersion, version));
}

TSQEventCode_T CFPGAIF::GetADCReadings(LSADCReadings_T* readings)
{
    return ForwardOr(c_NotSupportedByLink, LSSpi(&CFPGAIFLSSPI::GetADCReadings, readings));
}

TSQEventCode_T CFPGAIF::PingNow()
{
    return Forward(LSSpi(&CFPGAIFLSSPI::PingNow), Uart(0, &CFPGAIFLSUart::PingNow));
}

TSQEventCode_T CFPGAIF::PingNow(bLumetCommandByte command)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::PingNow, command));
}

TSQEventCode_T CFPGAIF::PingNow(bFpgaCommandByte command)
{
    return Forward(Cor(&CFPGAIFCorSpi::PingNow, command));
}

void CFPGAIF::WaitForData() { Forward(LSSpi(&CFPGAIFLSSPI::WaitForData)); }

TSQEventCode_T CFPGAIF::GetPing(unsigned char channel, Buffer_Bytes_T* data, Buffer_Bytes_T* values)
{
    return Forward(LSSpi(&CFPGAIFLSSPI::GetPing, channel, data, values),
                   Uart(channel, &CFPGAIFLSUart::GetPing, channel, data, values));
}

TSQEventCode_T CFPGAIF::GetPing(unsigned char channel, Buffer_Bytes_T* data, int interruptMode)
{
    return Forward(
        Lumet(&CFPGAIFLumetSPI::GetPing, channel, data, static_cast<InterruptMode_T>(interruptMode)));
}

TSQEventCode_T CFPGAIF::GetPing(Buffer_Bytes_T* data) { return Forward(Cor(&CFPGAIFCorSpi::GetPing, data)); }

TSQEventCode_T CFPGAIF::setUpForPing(LSFpgaCompleteConfigure_T configuration)
{
    return Forward(LSSpi(&CFPGAIFLSSPI::setUpForPing, configuration),
                   Uart(0, &CFPGAIFLSUart::setUpForPing, configuration));
}

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

TSQEventCode_T CFPGAIF::GetStatusRegister(bLumetStatusByte* status)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::GetStatusRegister, status));
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bFpgaCommandByte command)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCommandRegister, command));
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bLumetCommandByte command)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetCommandRegister, command));
}

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

TSQEventCode_T CFPGAIF::SetNumberOfSamplesToReceive(unsigned int count, unsigned char channel)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetNumberOfSamplesToReceive, count),
                   Lumet(&CFPGAIFLumetSPI::SetNumberOfSamplesToReceive, count, channel));
}

TSQEventCode_T CFPGAIF::SetSteppedAnalogueGain(unsigned char value, unsigned char channel)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetSteppedAnalogueGain, value, channel));
}

TSQEventCode_T CFPGAIF::SetBoostLevel(unsigned char level)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBoostLevel, level), Lumet(&CFPGAIFLumetSPI::SetBoostLevel, level));
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
                                             unsigned char channel)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCorrelationFilter, table),
                   Lumet(&CFPGAIFLumetSPI::SetCorrelationFilter, table, channel));
}

TSQEventCode_T CFPGAIF::SetBasebandFilterSubSample(unsigned char divisor)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterSubSampleReg, divisor));
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterSelection(unsigned char selection)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterSelectionReg, selection));
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterCentreFreq(const unsigned int& frequency, unsigned char channel)
{
    // The Cor register takes 16 bits.
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterCentreFreq, static_cast<unsigned short>(frequency)),
                   Lumet(&CFPGAIFLumetSPI::SetBaseBandFilterCentreFreq, frequency, channel));
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterScalingReg(unsigned char scaling)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetBaseBandFilterScalingReg, scaling));
}

TSQEventCode_T CFPGAIF::SetCorralationDownShift(unsigned char value, unsigned char channel)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCorralationDownShift, value),
                   Lumet(&CFPGAIFLumetSPI::SetCorralationDownShift, value, channel));
}

TSQEventCode_T CFPGAIF::SetCorralationScaling(unsigned char value, unsigned char channel)
{
    return Forward(Cor(&CFPGAIFCorSpi::SetCorralationScaling, value),
                   Lumet(&CFPGAIFLumetSPI::SetCorralationScaling, value, channel));
}

TSQEventCode_T CFPGAIF::UpdateFPGA()
{
    return Forward(Cor(&CFPGAIFCorSpi::UpdateFPGA), Lumet(&CFPGAIFLumetSPI::UpdateFPGA));
}

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

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned int rate, unsigned char channel)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetSubSampleRate, rate, channel));
}

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

TSQEventCode_T CFPGAIF::SetStartFreq(unsigned int value, unsigned char channel)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetStartFreq, value, channel));
}

TSQEventCode_T CFPGAIF::SetChirpIncrement(unsigned int value, unsigned char channel)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetChirpIncrement, value, channel));
}

TSQEventCode_T CFPGAIF::SetBurstLength(unsigned int value, unsigned char channel)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetBurstLength, value, channel));
}

TSQEventCode_T CFPGAIF::SetFifoCntrlRegister(bCorFifoCntrlByte control, unsigned char channel)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetFifoCntrlRegister, control, channel));
}

TSQEventCode_T CFPGAIF::SetWifiLEDRegister(FpgaWifiLEDRegister_T leds)
{
    return Forward(Lumet(&CFPGAIFLumetSPI::SetWifiLEDRegister, leds));
}

TSQEventCode_T CFPGAIF::SetOutputDataToLog() { return Forward(Cor(&CFPGAIFCorSpi::SetOutputDataToLog)); }

template <class Operation>
TSQEventCode_T CFPGAIF::ReadAdc(Operation operation, unsigned int* value) const
{
    return m_LumetVariant == c_VariantWithAdcs ? Forward(Lumet(operation, value)) : c_NoFpgaInterface;
}

TSQEventCode_T CFPGAIF::GetADCReference(unsigned int* value)
{
    return ReadAdc(&CFPGAIFLumetSPI::GetADCReference, value);
}

TSQEventCode_T CFPGAIF::GetSenseResistor(unsigned int* value)
{
    return ReadAdc(&CFPGAIFLumetSPI::GetSenseResistor, value);
}

TSQEventCode_T CFPGAIF::GetWaterTemp(unsigned int* value)
{
    return ReadAdc(&CFPGAIFLumetSPI::GetWaterTemp, value);
}
