#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "sonar/SampleBlock.h"
#include "sonar/SonarTestController.h"
#include "sonar/TableFile.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace
{
// For operations that other links do channel by channel. The modules' link has one channel and drops it.
constexpr unsigned char c_AnyChannel = 255;

/// The transducer element that fires, and the band in which it is heard.
struct PingPath_T {
    unsigned char element;
    PingConfigRxBand_T band;
    const char* bandName;
};

constexpr PingPath_T c_PingPaths[] = {{1, PingConfigRxBand_HF, "PingConfigRxBand_HF"},
                                      {1, PingConfigRxBand_MF, "PingConfigRxBand_MF"},
                                      {0, PingConfigRxBand_LF, "PingConfigRxBand_LF"},
                                      {1, PingConfigRxBand_LF, "PingConfigRxBand_LF"}};

/// Channel filter register for a path. Active low: bit 0 selects element 1, bit 1 element 0, bits 3, 4 and 5
/// the bands LF, MF and HF; bit 2 stays set.
constexpr FpgaChnlFltByte_T ChannelFilter(const PingPath_T& path)
{
    const unsigned int element = path.element == 0 ? 0x02 : 0x01;
    const unsigned int band = 0x04U << path.band;
    return {static_cast<std::uint8_t>(0xFF & ~(element | band))};
}

/// The path that a file's channel filter byte stands for, null for any other byte.
const PingPath_T* PathOf(int filterByte)
{
    const auto* const path = std::find_if(
        std::begin(c_PingPaths), std::end(c_PingPaths),
        [filterByte](const PingPath_T& candidate) { return ChannelFilter(candidate).value == filterByte; });
    return path == std::end(c_PingPaths) ? nullptr : path;
}

/// Command register for an element.
bFpgaCommandByte CommandFor(unsigned char element, std::uint8_t bits = 0)
{
    return {static_cast<std::uint8_t>(element * 2 + bits)};
}

/// Reads a number of the table file.
using ValueReader_T = std::function<int(const ScalarKey_T&)>;

/// What a ping needs beside the scalar values of the table file.
struct PingSetup_T {
    const PingPath_T* path = nullptr;
    eFpgaAdcFrequency_T adcFrequency = eFpgaAdcFrequency_T::None;
    FpgaAdcSamples_T samples = 0;
    unsigned int centreFrequency = 0; ///< hundreds of hertz
    ChirpTable_T chirp = {};
    TVGTable_T tvg = {};
    CorrelationFilterCoefficients_T correlation = {};
};

/// Queues the whole configuration, as far as the first operation that fails. A number missing in the file
/// goes out as -1 in the register's width.
bool Populate(CFPGAIF& fpga, const ValueReader_T& value, const PingSetup_T& setup)
{
    const auto byteOf = [&value](const ScalarKey_T& key) { return static_cast<unsigned char>(value(key)); };
    const FpgaChnlFltByte_T filter = ChannelFilter(*setup.path);

    using namespace TableKeys;
    const std::function<TSQEventCode_T()> steps[] = {
        [&] { return fpga.SetCommandRegister(CommandFor(setup.path->element)); },
        [&] { return fpga.SetChannelFilterRegister(&filter); },
        [&] { return fpga.SetADCFrequencyRegister(setup.adcFrequency); },
        [&] { return fpga.SetNumberOfSamplesToReceive(setup.samples, c_AnyChannel); },
        [&] { return fpga.SetSubSampleRate(byteOf(c_SubSampleRate)); },
        [&] { return fpga.SetSubSampleMode(FpgaSubSampleMode_T{2}); },
        [&] { return fpga.SetSubSampleThreshold(static_cast<unsigned short>(value(c_SubSampleThreshold))); },
        [&] { return fpga.SetBoostLevel(byteOf(c_BoostLevel)); },
        [&] { return fpga.SetChirpTable(setup.chirp); },
        [&] { return fpga.SetTVGTable(setup.tvg); },
        [&] { return fpga.SetBasebandFilterSubSample(byteOf(c_FilterSubSampleDivisor)); },
        [&] { return fpga.SetBaseBandFilterSelection(byteOf(c_FilterSelection)); },
        [&] { return fpga.SetBaseBandFilterScalingReg(byteOf(c_FilterScaling)); },
        [&] { return fpga.SetBaseBandFilterCentreFreq(setup.centreFrequency, c_AnyChannel); },
        // The filter's coefficients belong to channel 0, unlike the settings around them.
        [&] { return fpga.SetCorrelationFilter(setup.correlation, 0); },
        [&] { return fpga.SetCorralationDownShift(byteOf(c_CorrelationDownShift), c_AnyChannel); },
        [&] { return fpga.SetCorralationScaling(byteOf(c_CorrelationScaling), c_AnyChannel); },
    };
    return std::all_of(std::begin(steps), std::end(steps),
                       [](const auto& step) { return step() == c_Success; });
}
} // namespace

int CSonarTestController::xKPing(std::string* out, const QString& fileName, unsigned char channel,
                                 int incrementBy)
{
    if (LoadFPGABinary(*out, false) == TEST_FAILED) {
        return TEST_FAILED;
    }
    const Product_T& product = GetProduct();
    if (product.adcFrequency == 0) {
        return Fail("ERROR: Use only for xK derivitives.\n", out);
    }
    PingSetup_T setup{.adcFrequency = eFpgaAdcFrequency_T{product.adcFrequency}};
    if (LoadTables(setup.chirp, setup.tvg, setup.correlation, out, fileName) != OPERATION_PERFORMED) {
        return TEST_FAILED;
    }
    const ValueReader_T value = [&](const ScalarKey_T& key) {
        return GetValue(fileName, QString::fromLatin1(key.start), QString::fromLatin1(key.end));
    };

    COSSLinuxFactory factory;
    Message(m_InterfaceNotice, out, false, true);
    CFPGAIF fpga(&factory, ElementOf(product, channel));
    const auto code = [&fpga] { return std::to_string(fpga.GetErrorCode()); };
    for (const unsigned char element : {std::uint8_t{0}, std::uint8_t{1}}) {
        fpga.SetCommandRegister(CommandFor(element));
        fpga.SetOutputDataToLog();
    }

    const int filterByte = value(TableKeys::c_ChannelFilter);
    setup.centreFrequency = static_cast<unsigned int>(value(TableKeys::c_FilterCentreFrequency));
    setup.path = PathOf(filterByte);
    if (setup.path == nullptr) {
        return Fail("ERROR: No valid channel filter byte: " + std::to_string(filterByte) + ".\n", out);
    }
    if (product.twoFpgas) {
        fpga.SetFilterSelectionRegister(setup.path->band);
    }
    setup.samples = static_cast<FpgaAdcSamples_T>(value(TableKeys::c_NumberOfSamples));
    if (!Populate(fpga, value, setup)) {
        return Fail("ERROR: Failed to populate FPGA data with error code: " + code() + ".\n", out);
    }
    if (fpga.UpdateFPGA() != c_Success) {
        return Fail(
            "ERROR: UpdateFPGA failed with error code: " + code() + ". (Is the Sounder app running?)\n", out);
    }
    if (fpga.PingNow(CommandFor(setup.path->element, c_CommandStartPing)) != c_Success) {
        return Fail("ERROR: Ping failed with error code: " + code() + ".\n", out);
    }

    std::vector<unsigned short> echo(setup.samples); // the FIFO gives samples in the processor's byte order
    const std::size_t bytes = echo.size() * sizeof(unsigned short);
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(echo.data()), bytes);
    if (const TSQEventCode_T received = fpga.GetPing(&buffer); std::cmp_not_equal(received, bytes)) {
        // The stations take the missing block for the fault; the verdict stays that of a ping that was fired.
        Fail("ERROR: Get ping failed with error code: " + code() + ".\n", out);
        return TEST_PASSED;
    }

    const int printed = OutputAsStringShort(echo.data(), static_cast<int>(echo.size()), incrementBy);
    if (product.twoFpgas) {
        Message("Channel: " + std::to_string(channel) + " ", nullptr, true, false);
    }
    Message("Element: " + std::to_string(setup.path->element) + " Centre Freq: " +
                std::to_string(setup.centreFrequency) + " & RxBand: " + setup.path->bandName + "\n",
            nullptr, true, false);
    Message("\nSamples: " + std::to_string(echo.size()) + " Buffer Bytes: " + std::to_string(bytes) + "\n",
            nullptr, true, false);
    if (printed == TEST_FAILED) {
        Fail("ERROR: OutputAsStringShort failed.\n", out);
    }
    return printed;
}
