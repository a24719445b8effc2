#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "sonar/SampleBlock.h"
#include "sonar/SonarTestController.h"
#include "sonar/TableFile.h"

#include <algorithm>
#include <utility>

namespace
{
// The modules' link has one channel and ignores this number.
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

/// The path of a channel filter byte; null when no path has this byte.
const PingPath_T* PathOf(int filterByte)
{
    const auto* const path = std::ranges::find(
        c_PingPaths, filterByte, [](const PingPath_T& candidate) { return ChannelFilter(candidate).value; });
    return path == std::end(c_PingPaths) ? nullptr : path;
}

/// Command register for an element.
bFpgaCommandByte CommandFor(unsigned char element, std::uint8_t bits = 0)
{
    return {static_cast<std::uint8_t>(element * 2 + bits)};
}

/// What a ping needs besides the numbers that are read when they are sent.
struct PingSetup_T {
    const PingPath_T* path = nullptr;
    eFpgaAdcFrequency_T adcFrequency = eFpgaAdcFrequency_T::None;
    FpgaAdcSamples_T samples = 0;
    unsigned int centreFrequency = 0; ///< hundreds of hertz
    ChirpTable_T chirp = {};
    TVGTable_T tvg = {};
    CorrelationFilterCoefficients_T correlation = {};
};

/// Queues the whole configuration, up to the first operation that fails. A number missing in the file goes
/// out as -1 in the register's width.
/// @param value  reads a number of the table file by its ScalarKey_T
template <class ReadValue>
bool Populate(CFPGAIF& fpga, ReadValue value, const PingSetup_T& setup)
{
    const auto byteOf = [&value](const ScalarKey_T& key) { return static_cast<unsigned char>(value(key)); };
    const FpgaChnlFltByte_T filter = ChannelFilter(*setup.path);

    using namespace TableKeys;
    return fpga.SetCommandRegister(CommandFor(setup.path->element)) == c_Success &&
           fpga.SetChannelFilterRegister(&filter) == c_Success &&
           fpga.SetADCFrequencyRegister(setup.adcFrequency) == c_Success &&
           fpga.SetNumberOfSamplesToReceive(setup.samples, c_AnyChannel) == c_Success &&
           fpga.SetSubSampleRate(byteOf(c_SubSampleRate)) == c_Success &&
           fpga.SetSubSampleMode(FpgaSubSampleMode_T{2}) == c_Success &&
           fpga.SetSubSampleThreshold(static_cast<unsigned short>(value(c_SubSampleThreshold))) ==
               c_Success &&
           fpga.SetBoostLevel(byteOf(c_BoostLevel)) == c_Success &&
           fpga.SetChirpTable(setup.chirp) == c_Success && fpga.SetTVGTable(setup.tvg) == c_Success &&
           fpga.SetBasebandFilterSubSample(byteOf(c_FilterSubSampleDivisor)) == c_Success &&
           fpga.SetBaseBandFilterSelection(byteOf(c_FilterSelection)) == c_Success &&
           fpga.SetBaseBandFilterScalingReg(byteOf(c_FilterScaling)) == c_Success &&
           fpga.SetBaseBandFilterCentreFreq(setup.centreFrequency, c_AnyChannel) == c_Success &&
           // Channel 0, unlike the settings around it, on purpose.
           fpga.SetCorrelationFilter(setup.correlation, 0) == c_Success &&
           fpga.SetCorralationDownShift(byteOf(c_CorrelationDownShift), c_AnyChannel) == c_Success &&
           fpga.SetCorralationScaling(byteOf(c_CorrelationScaling), c_AnyChannel) == c_Success;
}
} // namespace

int CSonarTestController::xKPing(std::string* out, const QString& fileName, unsigned char channel,
                                 int incrementBy)
{
    if (LoadFPGABinary(out, false) == TEST_FAILED) {
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
    const auto value = [&](const ScalarKey_T& key) { return TableFile(fileName).GetValue(key); };

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
        Message("ERROR: Get ping failed with error code: " + code() + ".\n", out, false, true);
        return TEST_PASSED; // not TEST_FAILED, on purpose
    }

    OutputAsStringShort(echo.data(), static_cast<int>(echo.size()), incrementBy);
    if (product.twoFpgas) {
        Message("Channel: " + std::to_string(channel) + " ", nullptr, true, false);
    }
    Message("Element: " + std::to_string(setup.path->element) + " Centre Freq: " +
                std::to_string(setup.centreFrequency) + " & RxBand: " + setup.path->bandName + "\n",
            nullptr, true, false);
    Message("\nSamples: " + std::to_string(echo.size()) + " Buffer Bytes: " + std::to_string(bytes) + "\n",
            nullptr, true, false);
    return TEST_PASSED;
}
