#pragma once

#include "Utilities/ByteBuffer.h"
#include "Utilities/EventCodes.h"
#include "Utilities/FPGATypes.h"

#include <concepts>
#include <optional>
#include <string>
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

/// The one object through which everybody talks to the sonar's FPGA. It reads in the environment which unit
/// this is, opens the unit's link (on UART products one for each channel, of which the first answers unless
/// the operation names a channel), and passes each operation to it. An operation returns -177 when the unit
/// has no FPGA interface, 0 when its FPGA lacks the operation, and otherwise what the transport answers;
/// exceptions are stated at the operation. The transports outlive the facade: they stay until the process
/// ends.
class CFPGAIF
{
public:
    /// A device that does not open shows in GetErrorCode().
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
    /// -174 on every unit but those with a Lowscan SPI link.
    TSQEventCode_T GetADCReadings(LSADCReadings_T* readings);

    /// Fire a ping: on Lowscan units; on Lumet units; on Cor units. The last two only if the command says so.
    TSQEventCode_T PingNow();
    TSQEventCode_T PingNow(bLumetCommandByte command);
    TSQEventCode_T PingNow(bFpgaCommandByte command);
    /// Waits for the ping's data on units with a Lowscan SPI link.
    void WaitForData();
    /// Read the samples of a ping: on Lowscan units, as floats, with the values that go with them; on Lumet
    /// units, where the storage must hold a float for each byte that the buffer says of itself; on Cor units,
    /// where the number of bytes received is returned.
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

    /// A flag for those who share the link; false on units without a Cor link.
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
    /// What a family's transport answered; empty when the unit is of another family.
    using Answer_T = std::optional<TSQEventCode_T>;

    template <class Transport, class Operation, class... Arguments>
    static Answer_T Ask(Transport* pTransport, Operation operation, Arguments&&... arguments);
    template <class Operation, class... Arguments>
    Answer_T Cor(Operation operation, Arguments&&... arguments) const;
    template <class Operation, class... Arguments>
    Answer_T Lumet(Operation operation, Arguments&&... arguments) const;
    template <class Operation, class... Arguments>
    Answer_T LSSpi(Operation operation, Arguments&&... arguments) const;
    template <class Operation, class... Arguments>
    Answer_T Uart(LSChannel_T channel, Operation operation, Arguments&&... arguments) const;

    /// The answer of an ADC that only one Lumet variant has.
    template <class Operation>
    TSQEventCode_T ReadAdc(Operation operation, unsigned int* value) const;

    /// The answer of the family that the unit belongs to, or what an FPGA without the operation answers.
    template <std::same_as<std::optional<TSQEventCode_T>>... Answers>
    TSQEventCode_T ForwardOr(TSQEventCode_T otherwise, Answers... answers) const;
    template <std::same_as<std::optional<TSQEventCode_T>>... Answers>
    TSQEventCode_T Forward(Answers... answers) const;

    void CreateTransport(XdcrElementIndex_T element);
    void CreateLumet(XdcrElementIndex_T element);
    void CreateLSSpi(XdcrElementIndex_T element);
    void CreateUarts(XdcrElementIndex_T element);
    void CreateCor(XdcrElementIndex_T element);
    std::string DevicePath(LSChannel_T channel) const;
    CFPGAIFLSUart* CreateUart(LSChannel_T channel) const;
    void Inform(TSQEventCode_T code, const char* text);

    IOSSFactory* m_pFactory;
    FpgaInterfaceType_T m_InterfaceType = eFpgaIfNone;
    CFPGAIFLSSPI* m_pLSIF_SPI = nullptr;
    CFPGAIFLSUart* m_pLSIF_Uart0 = nullptr;
    CFPGAIFLSUart* m_pLSIF_Uart1 = nullptr;
    CFPGAIFCorSpi* m_pCorIF_SPI = nullptr;
    CFPGAIFLumetSPI* m_pLumetIF_SPI = nullptr;
    unsigned int m_LumetVariant = 0;
};
