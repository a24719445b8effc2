#include "Utilities/FPGAIF.h"

#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLSUart.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "Utilities/IOSSFactory.h"
#include "Utilities/ProcessLifetime.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <type_traits>
#include <utility>

namespace
{
struct Model_T {
    const char* variable; ///< environment variable with the model's part number
    FpgaInterfaceType_T type;
    unsigned int lumetVariant = 0;
};

/// The first row that matches the unit's identity counts. That V4 comes before V3, and that V5 has no
/// variant, is part of the contract.
constexpr Model_T c_Models[] = {
    {"PRODUCT_ID_LUMETV1", eFpgaIfLumetSpi, 1}, {"PRODUCT_ID_LUMETV2", eFpgaIfLumetSpi, 2},
    {"PRODUCT_ID_LUMETV4", eFpgaIfLumetSpi, 3}, {"PRODUCT_ID_LUMETV3", eFpgaIfLumetSpi, 4},
    {"PRODUCT_ID_LUMETV5", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV6", eFpgaIfLumetSpi, 5},
    {"PRODUCT_ID_LUMETV7", eFpgaIfLumetSpi, 6}, {"PRODUCT_ID_TESSFINV1", eFpgaIfLumetSpi, 7},
    {"PRODUCT_ID_Nr1", eFpgaIfLumetSpi, 8},     {"PRODUCT_ID_Nr2", eFpgaIfLumetSpi, 8},
    {"PRODUCT_ID_Nr3", eFpgaIfLumetSpi, 8},     {"PRODUCT_ID_Varrow", eFpgaIfVarrowUart},
    {"PRODUCT_ID_VarrowX", eFpgaIfVarrowXUart}, {"PRODUCT_ID_Pk1", eFpgaIfLSSpi},
    {"PRODUCT_ID_Pk2", eFpgaIfLSSpi},           {"PRODUCT_ID_Pk3", eFpgaIfLSSpi},
    {"PRODUCT_ID_Pk4", eFpgaIfLSSpi},           {"PRODUCT_ID_QL1A", eFpgaIfQL1AUart},
    {"PRODUCT_ID_QL2A", eFpgaIfQL2AUart},       {"PRODUCT_ID_QL4K", eFpgaIfQL4KSpi},
    {"PRODUCT_ID_QL5K", eFpgaIfQL5KSpi},        {"PRODUCT_ID_QL6M", eFpgaIfQL6MSpi},
};

/// The Lumet variant with ADCs that can be read back.
constexpr unsigned int c_VariantWithAdcs = 8;

/// Length of a part number; what follows it in the unit's identity does not count.
constexpr std::size_t c_PartNumberLength = 6;

/// The model whose part number is the unit's identity; null if there is none. An unset variable matches
/// nothing.
const Model_T* FindModel(IOSSFactory& factory)
{
    const char* const identity = factory.GetEnv("PRODUCT_ID");
    const auto matches = [&](const Model_T& model) {
        const char* const partNumber = factory.GetEnv(model.variable);
        return partNumber != nullptr && std::strncmp(identity, partNumber, c_PartNumberLength) == 0;
    };
    const auto* const pModel =
        identity != nullptr ? std::ranges::find_if(c_Models, matches) : std::end(c_Models);
    return pModel != std::end(c_Models) ? pModel : nullptr;
}

std::string DevicePath(IOSSFactory& factory, LSChannel_T channel)
{
    const char* path = factory.GetEnv(channel == 0 ? "FPGA_CHANNEL_0_COMMS" : "FPGA_CHANNEL_1_COMMS");
    return path != nullptr ? path : "";
}

CFPGAIFLSUart* CreateUart(IOSSFactory& factory, LSChannel_T channel)
{
    const std::string path = DevicePath(factory, channel);
    return KeepUntilExit(std::make_unique<CFPGAIFLSUart>(
        path.empty() ? CFPGAIFLSUart::DefaultDevice(channel) : path, &factory));
}

/// What the transport answers, or nothing when the unit does not have that transport.
template <class Transport, class Operation, class... Arguments>
std::optional<TSQEventCode_T> Ask(Transport* pTransport, Operation operation, Arguments&&... arguments)
{
    if (pTransport == nullptr) {
        return std::nullopt;
    }
    if constexpr (std::is_void_v<decltype((pTransport->*operation)(arguments...))>) {
        (pTransport->*operation)();
        return c_Success;
    } else {
        return (pTransport->*operation)(std::forward<Arguments>(arguments)...);
    }
}
} // namespace

CFPGAIF::CFPGAIF(IOSSFactory* pFactory, XdcrElementIndex_T element) : m_pFactory(pFactory)
{
    assert(pFactory && "No Factory Passed to CFPGAIF");
    if (const Model_T* const pModel = FindModel(*pFactory); pModel != nullptr) {
        m_InterfaceType = pModel->type;
        m_LumetVariant = pModel->lumetVariant;
    }
    CreateTransport(element);
}

void CFPGAIF::CreateTransport(XdcrElementIndex_T element)
{
    const auto inform = [this](TSQEventCode_T code, const char* text) {
        m_pFactory->SendEvent(c_EventInformation, code, "CFPGAIF::CFPGAIF", text);
    };
    // On the QL6M element 0 has the device of channel 1, without the transducer interrupt.
    const bool second = m_InterfaceType == eFpgaIfQL6MSpi && element == 0;
    switch (m_InterfaceType) {
    case eFpgaIfNone:
        break;
    case eFpgaIfLumetSpi:
        inform(c_Success, "Running on a Lumet variant - Creating 1 SPI Interface for FPGA");
        m_pLumetIF_SPI =
            KeepUntilExit(std::make_unique<CFPGAIFLumetSPI>(DevicePath(*m_pFactory, 0), m_pFactory));
        inform(m_pLumetIF_SPI->GetErrorCode(), "fetching error code from Lumet SPI");
        break;
    case eFpgaIfLSSpi:
        inform(c_Success, "Running on PELION - Creating A SPI Interface for FPGA");
        m_pLSIF_SPI = KeepUntilExit(std::make_unique<CFPGAIFLSSPI>(DevicePath(*m_pFactory, 0), m_pFactory));
        assert(m_pLSIF_SPI);
        break;
    case eFpgaIfVarrowUart:
    case eFpgaIfVarrowXUart:
    case eFpgaIfQL1AUart:
    case eFpgaIfQL2AUart:
        inform(c_Success, "Running on ql_sounder 1A , 2A or VRRW - Creating 2 UART Interfaces for FPGA");
        m_pLSIF_Uart0 = CreateUart(*m_pFactory, 0);
        inform(m_pLSIF_Uart0->GetErrorCode(), "fetching error code from UART");
        m_pLSIF_Uart1 = CreateUart(*m_pFactory, 1);
        break;
    case eFpgaIfQL4KSpi:
    case eFpgaIfQL5KSpi:
    case eFpgaIfQL6MSpi:
        inform(c_Success, m_InterfaceType == eFpgaIfQL6MSpi
                              ? "Running on ql_sounder 6M - Creating SPI Interface for FPGA"
                              : "Running on ql_sounder 4K / 5K - Creating SPI Interface for FPGA");
        m_pCorIF_SPI = KeepUntilExit(
            std::make_unique<CFPGAIFCorSpi>(!second, DevicePath(*m_pFactory, second ? 1 : 0), m_pFactory));
        inform(m_pCorIF_SPI->GetErrorCode(), "fetching error code from Cor SPI");
        break;
    }
}

CFPGAIFLumetSPI* CFPGAIF::LumetWithAdcs() const
{
    return m_LumetVariant == c_VariantWithAdcs ? m_pLumetIF_SPI : nullptr;
}

TSQEventCode_T CFPGAIF::Forward(std::initializer_list<std::optional<TSQEventCode_T>> answers,
                                TSQEventCode_T otherwise) const
{
    const auto given = std::ranges::find_if(answers, [](const auto& answer) { return answer.has_value(); });
    if (given != answers.end()) {
        return **given;
    }
    return m_InterfaceType == eFpgaIfNone ? c_NoFpgaInterface : otherwise;
}

TSQEventCode_T CFPGAIF::Flush(unsigned char channel)
{
    return Forward({Ask(Uart(channel), &CFPGAIFLSUart::Flush)},
                   m_InterfaceType == eFpgaIfLSSpi ? c_Success : c_NotSupportedByLink);
}

TSQEventCode_T CFPGAIF::GetErrorCode() const
{
    return Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::GetErrorCode),
                    Ask(m_pLSIF_Uart0, &CFPGAIFLSUart::GetErrorCode),
                    Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::GetErrorCode),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::GetErrorCode)});
}

TSQEventCode_T CFPGAIF::GetVersion(SWVersion_T* version)
{
    return Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::GetVersion, version),
                    Ask(m_pLSIF_Uart0, &CFPGAIFLSUart::GetVersion, version),
                    Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::GetVersion, version),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::GetVersion, version)});
}

TSQEventCode_T CFPGAIF::GetADCReadings(LSADCReadings_T* readings)
{
    return Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::GetADCReadings, readings)}, c_NotSupportedByLink);
}

TSQEventCode_T CFPGAIF::PingNow()
{
    return Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::PingNow), Ask(m_pLSIF_Uart0, &CFPGAIFLSUart::PingNow)});
}

TSQEventCode_T CFPGAIF::PingNow(bLumetCommandByte command)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::PingNow, command)});
}

TSQEventCode_T CFPGAIF::PingNow(bFpgaCommandByte command)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::PingNow, command)});
}

void CFPGAIF::WaitForData() { Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::WaitForData)}); }

TSQEventCode_T CFPGAIF::GetPing(unsigned char channel, Buffer_Bytes_T* data, Buffer_Bytes_T* values)
{
    return Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::GetPing, channel, data, values),
                    Ask(Uart(channel), &CFPGAIFLSUart::GetPing, channel, data, values)});
}

TSQEventCode_T CFPGAIF::GetPing(unsigned char channel, Buffer_Bytes_T* data, int interruptMode)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::GetPing, channel, data,
                        static_cast<InterruptMode_T>(interruptMode))});
}

TSQEventCode_T CFPGAIF::GetPing(Buffer_Bytes_T* data)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::GetPing, data)});
}

TSQEventCode_T CFPGAIF::setUpForPing(LSFpgaCompleteConfigure_T configuration)
{
    return Forward({Ask(m_pLSIF_SPI, &CFPGAIFLSSPI::setUpForPing, configuration),
                    Ask(m_pLSIF_Uart0, &CFPGAIFLSUart::setUpForPing, configuration)});
}

TSQEventCode_T CFPGAIF::GetTransducerData(unsigned char* data)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::GetTransducerData, data)});
}

TSQEventCode_T CFPGAIF::SetTransducerData(unsigned char data)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetTransducerData, data)});
}

TSQEventCode_T CFPGAIF::GetStatusRegister(bFpgaStatusByte* status)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::GetStatusRegister, status)});
}

TSQEventCode_T CFPGAIF::GetStatusRegister(bLumetStatusByte* status)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::GetStatusRegister, status)});
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bFpgaCommandByte command)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetCommandRegister, command)});
}

TSQEventCode_T CFPGAIF::SetCommandRegister(bLumetCommandByte command)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetCommandRegister, command)});
}

TSQEventCode_T CFPGAIF::SetChannelFilterRegister(const FpgaChnlFltByte_T* filter)
{
    CFPGAIFCorSpi* const pCor = m_InterfaceType == eFpgaIfQL6MSpi ? nullptr : m_pCorIF_SPI;
    return Forward({Ask(pCor, &CFPGAIFCorSpi::SetChannelFilterRegister, filter)});
}

TSQEventCode_T CFPGAIF::SetFilterSelectionRegister(unsigned char band)
{
    CFPGAIFCorSpi* const pCor = m_InterfaceType == eFpgaIfQL6MSpi ? m_pCorIF_SPI : nullptr;
    return Forward(
        {Ask(pCor, &CFPGAIFCorSpi::SetFilterSelectionRegister, static_cast<PingConfigRxBand_T>(band))});
}

TSQEventCode_T CFPGAIF::SetADCFrequencyRegister(eFpgaAdcFrequency_T frequency)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetADCFrequencyRegister, frequency)});
}

TSQEventCode_T CFPGAIF::SetNumberOfSamplesToReceive(unsigned int count, unsigned char channel)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetNumberOfSamplesToReceive, count),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetNumberOfSamplesToReceive, count, channel)});
}

TSQEventCode_T CFPGAIF::SetSteppedAnalogueGain(unsigned char value, unsigned char channel)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetSteppedAnalogueGain, value, channel)});
}

TSQEventCode_T CFPGAIF::SetBoostLevel(unsigned char level)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetBoostLevel, level),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetBoostLevel, level)});
}

TSQEventCode_T CFPGAIF::SetChirpTable(const std::vector<ChirpTableEntry_T>& table)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetChirpTable, table)});
}

TSQEventCode_T CFPGAIF::SetTVGTable(const std::vector<TVGTableEntry_T>& table)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetTVGTable, table)});
}

TSQEventCode_T CFPGAIF::SetCorrelationFilter(const std::vector<CorrelationFilterCoefficientSet_T>& table,
                                             unsigned char channel)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetCorrelationFilter, table),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetCorrelationFilter, table, channel)});
}

TSQEventCode_T CFPGAIF::SetBasebandFilterSubSample(unsigned char divisor)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetBaseBandFilterSubSampleReg, divisor)});
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterSelection(unsigned char selection)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetBaseBandFilterSelectionReg, selection)});
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterCentreFreq(const unsigned int& frequency, unsigned char channel)
{
    // The Cor register takes 16 bits.
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetBaseBandFilterCentreFreq,
                        static_cast<unsigned short>(frequency)),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetBaseBandFilterCentreFreq, frequency, channel)});
}

TSQEventCode_T CFPGAIF::SetBaseBandFilterScalingReg(unsigned char scaling)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetBaseBandFilterScalingReg, scaling)});
}

TSQEventCode_T CFPGAIF::SetCorralationDownShift(unsigned char value, unsigned char channel)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetCorralationDownShift, value),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetCorralationDownShift, value, channel)});
}

TSQEventCode_T CFPGAIF::SetCorralationScaling(unsigned char value, unsigned char channel)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetCorralationScaling, value),
                    Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetCorralationScaling, value, channel)});
}

TSQEventCode_T CFPGAIF::UpdateFPGA()
{
    return Forward(
        {Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::UpdateFPGA), Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::UpdateFPGA)});
}

TSQEventCode_T CFPGAIF::GetSpeedReading(FPGASpeedReading_T* reading)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::GetSpeedReading, reading)});
}

TSQEventCode_T CFPGAIF::HasPingDataTransferCompleted()
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::HasPingDataTransferCompleted)});
}

TSQEventCode_T CFPGAIF::TestFPGAAccess(Buffer_Bytes_T* buffer, unsigned short address, bool read, bool block)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::TestFPGAAccess, buffer, address, read, block)});
}

bool CFPGAIF::IsSpiBusy() const { return m_pCorIF_SPI != nullptr && m_pCorIF_SPI->IsSpiBusy(); }

TSQEventCode_T CFPGAIF::SetFree() { return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetFree)}); }

TSQEventCode_T CFPGAIF::SetBusy() { return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetBusy)}); }

TSQEventCode_T CFPGAIF::SetSyncRegister(bFpgaPSUSyncRegister sync)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetSyncRegister, sync)});
}

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned int rate, unsigned char channel)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetSubSampleRate, rate, channel)});
}

TSQEventCode_T CFPGAIF::SetSubSampleRate(unsigned char rate)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetSubSampleRate, rate)});
}

TSQEventCode_T CFPGAIF::SetSubSampleMode(FpgaSubSampleMode_T mode)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetSubSampleMode, mode)});
}

TSQEventCode_T CFPGAIF::SetSubSampleThreshold(unsigned short threshold)
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetSubSampleThreshold, threshold)});
}

TSQEventCode_T CFPGAIF::SetStartFreq(unsigned int value, unsigned char channel)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetStartFreq, value, channel)});
}

TSQEventCode_T CFPGAIF::SetChirpIncrement(unsigned int value, unsigned char channel)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetChirpIncrement, value, channel)});
}

TSQEventCode_T CFPGAIF::SetBurstLength(unsigned int value, unsigned char channel)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetBurstLength, value, channel)});
}

TSQEventCode_T CFPGAIF::SetFifoCntrlRegister(bCorFifoCntrlByte control, unsigned char channel)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetFifoCntrlRegister, control, channel)});
}

TSQEventCode_T CFPGAIF::SetWifiLEDRegister(FpgaWifiLEDRegister_T leds)
{
    return Forward({Ask(m_pLumetIF_SPI, &CFPGAIFLumetSPI::SetWifiLEDRegister, leds)});
}

TSQEventCode_T CFPGAIF::SetOutputDataToLog()
{
    return Forward({Ask(m_pCorIF_SPI, &CFPGAIFCorSpi::SetOutputDataToLog)});
}

TSQEventCode_T CFPGAIF::GetADCReference(unsigned int* value)
{
    return Forward({Ask(LumetWithAdcs(), &CFPGAIFLumetSPI::GetADCReference, value)}, c_NoFpgaInterface);
}

TSQEventCode_T CFPGAIF::GetSenseResistor(unsigned int* value)
{
    return Forward({Ask(LumetWithAdcs(), &CFPGAIFLumetSPI::GetSenseResistor, value)}, c_NoFpgaInterface);
}

TSQEventCode_T CFPGAIF::GetWaterTemp(unsigned int* value)
{
    return Forward({Ask(LumetWithAdcs(), &CFPGAIFLumetSPI::GetWaterTemp, value)}, c_NoFpgaInterface);
}
