#pragma once

#include "Utilities/ByteBuffer.h"
#include "Utilities/EventCodes.h"
#include "Utilities/FPGATypes.h"

#include <initializer_list>
#include <optional>
#include <vector>

class CFPGAIFCorSpi;
class CFPGAIFLSSPI;
class CFPGAIFLSUart;
class CFPGAIFLumetSPI;
class IOSSFactory;

/// FPGA link of a unit. The families are ranges: 3 to 6 have a UART, 7 to 9 the Cor packet link.
enum FpgaInterfaceType_T : std::uint32_t {
    eFpgaIfNone = 0,
    eFpgaIfLumetSpi = 1,
    eFpgaIfLSSpi = 2,
    eFpgaIfVarrowUart = 3,
    eFpgaIfVarrowXUart = 4,
    eFpgaIfQL1AUart = 5,
    eFpgaIfQL2AUart = 6,
    eFpgaIfQL4KSpi = 7,
    eFpgaIfQL5KSpi = 8,
    eFpgaIfQL6MSpi = 9
};

/// The one object through which the program talks to the sonar's FPGA. It reads from the environment which
/// unit this is, opens the unit's link and passes each operation to it. UART products have one link for each
/// channel; an operation without a channel uses that of channel 0. An operation returns -177 when the unit
/// has no FPGA interface, 0 when its FPGA lacks the operation, and otherwise the transport's result;
/// exceptions are stated at the operation. The transports outlive the facade: they live until the process
/// ends.
class CFPGAIF
{
public:
    /// If the device does not open, GetErrorCode() says so.
    /// @param pFactory  not owned, not null; must live as long as the facade is used
    /// @param element   transducer element; selects the FPGA on the QL6M
    CFPGAIF(IOSSFactory* pFactory, XdcrElementIndex_T element);
    CFPGAIF(const CFPGAIF&) = delete;
    CFPGAIF& operator=(const CFPGAIF&) = delete;
    virtual ~CFPGAIF() = default;

    FpgaInterfaceType_T GetInterfaceType() const { return m_InterfaceType; }
    /// Which Lumet variant this is, 1 to 8; 0 on the LumetV5 and on all other products.
    unsigned int GetLumetVariant() const { return m_LumetVariant; }

    /// Drops received data of a channel; 0 on units with a Lowscan SPI link, -174 on units without a UART.
    TSQEventCode_T Flush(unsigned char channel);
    /// The transport's last error code.
    TSQEventCode_T GetErrorCode() const;
    TSQEventCode_T GetVersion(SWVersion_T* version);
    /// -174 on units without a Lowscan SPI link.
    TSQEventCode_T GetADCReadings(LSADCReadings_T* readings);

    /// Fire a ping: on Lowscan units; on Lumet units; on Cor units. The last two only if the command's bit 0
    /// is set.
    TSQEventCode_T PingNow();
    TSQEventCode_T PingNow(bLumetCommandByte command);
    TSQEventCode_T PingNow(bFpgaCommandByte command);
    /// Waits for the ping's data on units with a Lowscan SPI link.
    void WaitForData();
    /// Read the samples of a ping: on Lowscan units, samples and values as floats; on Lumet units, as floats
    /// (the storage must hold four times the buffer's size); on Cor units, as bytes (the result is their
    /// number).
    TSQEventCode_T GetPing(unsigned char channel, Buffer_Bytes_T* data, Buffer_Bytes_T* values);
    TSQEventCode_T GetPing(unsigned char channel, Buffer_Bytes_T* data, int interruptMode);
    TSQEventCode_T GetPing(Buffer_Bytes_T* data);
    TSQEventCode_T setUpForPing(LSFpgaCompleteConfigure_T configuration);

    TSQEventCode_T GetTransducerData(unsigned char* data);
    TSQEventCode_T SetTransducerData(unsigned char data);
    TSQEventCode_T GetStatusRegister(bFpgaStatusByte* status);
    TSQEventCode_T GetStatusRegister(bLumetStatusByte* status);
    TSQEventCode_T SetCommandRegister(bFpgaCommandByte command);
    TSQEventCode_T SetCommandRegister(bLumetCommandByte command);
    /// QL4K and QL5K.
    TSQEventCode_T SetChannelFilterRegister(const FpgaChnlFltByte_T* filter);
    /// QL6M, in place of the channel filter.
    /// @param band  a PingConfigRxBand_T, not the automatic one
    TSQEventCode_T SetFilterSelectionRegister(unsigned char band);
    TSQEventCode_T SetADCFrequencyRegister(eFpgaAdcFrequency_T frequency);
    /// @param count  32-bit samples, a multiple of 16 below 1,048,576
    TSQEventCode_T SetNumberOfSamplesToReceive(unsigned int count, unsigned char channel);
    TSQEventCode_T SetSteppedAnalogueGain(unsigned char value, unsigned char channel);
    TSQEventCode_T SetBoostLevel(unsigned char level);

    TSQEventCode_T SetChirpTable(const std::vector<ChirpTableEntry_T>& table);
    /// At most Sizeof_TVGTable entries.
    TSQEventCode_T SetTVGTable(const std::vector<TVGTableEntry_T>& table);
    /// At most Sizeof_CorrelationFilter entries.
    TSQEventCode_T SetCorrelationFilter(const std::vector<CorrelationFilterCoefficientSet_T>& table,
                                        unsigned char channel);

    TSQEventCode_T SetBasebandFilterSubSample(unsigned char divisor);
    TSQEventCode_T SetBaseBandFilterSelection(unsigned char selection);
    /// @param frequency  units of 100 Hz on Cor units, of which the low 16 bits count; a tuning word on Lumet
    /// units
    TSQEventCode_T SetBaseBandFilterCentreFreq(const unsigned int& frequency, unsigned char channel);
    TSQEventCode_T SetBaseBandFilterScalingReg(unsigned char scaling);
    TSQEventCode_T SetCorralationDownShift(unsigned char value, unsigned char channel);
    TSQEventCode_T SetCorralationScaling(unsigned char value, unsigned char channel);

    /// Sends what the setters queued. -109 when nothing went out.
    TSQEventCode_T UpdateFPGA();
    TSQEventCode_T GetSpeedReading(FPGASpeedReading_T* reading);
    TSQEventCode_T HasPingDataTransferCompleted();
    TSQEventCode_T TestFPGAAccess(Buffer_Bytes_T* buffer, unsigned short address, bool read, bool block);

    /// A flag for callers that share the link; false on units without a Cor link.
    bool IsSpiBusy() const;
    TSQEventCode_T SetFree();
    TSQEventCode_T SetBusy();

    TSQEventCode_T SetSyncRegister(bFpgaPSUSyncRegister sync);
    TSQEventCode_T SetSubSampleRate(unsigned int rate, unsigned char channel);
    TSQEventCode_T SetSubSampleRate(unsigned char rate);
    TSQEventCode_T SetSubSampleMode(FpgaSubSampleMode_T mode);
    TSQEventCode_T SetSubSampleThreshold(unsigned short threshold);
    TSQEventCode_T SetStartFreq(unsigned int value, unsigned char channel);
    TSQEventCode_T SetChirpIncrement(unsigned int value, unsigned char channel);
    TSQEventCode_T SetBurstLength(unsigned int value, unsigned char channel);
    TSQEventCode_T SetFifoCntrlRegister(bCorFifoCntrlByte control, unsigned char channel);
    TSQEventCode_T SetWifiLEDRegister(FpgaWifiLEDRegister_T leds);
    TSQEventCode_T SetOutputDataToLog();

    /// ADC values of Lumet variant 8; -177 on every other unit.
    TSQEventCode_T GetADCReference(unsigned int* value);
    TSQEventCode_T GetSenseResistor(unsigned int* value);
    TSQEventCode_T GetWaterTemp(unsigned int* value);

private:
    void CreateTransport(XdcrElementIndex_T element);
    /// The channel's transport; null on units without UARTs.
    CFPGAIFLSUart* Uart(LSChannel_T channel) const { return channel == 0 ? m_pLSIF_Uart0 : m_pLSIF_Uart1; }
    /// The transport of the Lumet variant that has ADCs; null on every other unit.
    CFPGAIFLumetSPI* LumetWithAdcs() const;
    /// The answer of the unit's transport. When no transport has answered: -177 if the unit has no FPGA
    /// interface, else `otherwise`.
    TSQEventCode_T Forward(std::initializer_list<std::optional<TSQEventCode_T>> answers,
                           TSQEventCode_T otherwise = c_Success) const;

    IOSSFactory* m_pFactory;
    FpgaInterfaceType_T m_InterfaceType = eFpgaIfNone;
    CFPGAIFLSSPI* m_pLSIF_SPI = nullptr;
    CFPGAIFLSUart* m_pLSIF_Uart0 = nullptr;
    CFPGAIFLSUart* m_pLSIF_Uart1 = nullptr;
    CFPGAIFCorSpi* m_pCorIF_SPI = nullptr;
    CFPGAIFLumetSPI* m_pLumetIF_SPI = nullptr;
    unsigned int m_LumetVariant = 0;
};
