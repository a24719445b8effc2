#include "Utilities/FPGAIF.h"
#include "tests/support/ScriptedDevice.h"

#include <functional>
#include <gmock/gmock.h>

namespace
{
using testing::ElementsAre;
using Call = std::function<TSQEventCode_T(CFPGAIF&)>;

/// The FPGA devices and part number of one model.
struct ModelFactory : ScriptedFactory {
    explicit ModelFactory(const std::string& model, const char* identity = "N41005-B") // six characters count
    {
        environment = {{"PRODUCT_ID", identity},
                       {"PRODUCT_ID_" + model, "N41005"},
                       {"FPGA_CHANNEL_0_COMMS", "first"},
                       {"FPGA_CHANNEL_1_COMMS", "second"}};
    }
};

TEST(Facade, KnowsModelsByTheirPartNumber)
{
    const std::vector<std::tuple<const char*, unsigned, unsigned>> cases{
        {"LUMETV1", 1, 1},   {"LUMETV2", 1, 2}, {"LUMETV3", 1, 4}, {"LUMETV4", 1, 3}, {"LUMETV5", 1, 0},
        {"LUMETV6", 1, 5},   {"LUMETV7", 1, 6}, {"Nr1", 1, 8},     {"Nr2", 1, 8},     {"Nr3", 1, 8},
        {"TESSFINV1", 1, 7}, {"Varrow", 3, 0},  {"VarrowX", 4, 0}, {"Pk1", 2, 0},     {"Pk4", 2, 0},
        {"QL1A", 5, 0},      {"QL2A", 6, 0},    {"QL4K", 7, 0},    {"QL5K", 8, 0},    {"QL6M", 9, 0}};
    for (const auto& [model, type, variant] : cases) {
        ModelFactory factory(model);
        const CFPGAIF unit(&factory, 1);
        EXPECT_EQ(unit.GetInterfaceType(), type) << model;
        EXPECT_EQ(unit.GetLumetVariant(), variant) << model;
    }
    ModelFactory shorter("QL4K", "N4100");
    ScriptedFactory unset;
    EXPECT_EQ(CFPGAIF(&shorter, 0).GetInterfaceType() | CFPGAIF(&unset, 0).GetInterfaceType(), 0U);
}

TEST(Facade, OpensTheDeviceOfTheElement)
{
    const Lines waits{"open 2 0", "write 9", "ioctl 80047203"}, queues{"open 2 0"};
    const std::vector<std::tuple<const char*, XdcrElementIndex_T, const char*, Lines>> cases{
        {"QL5K", 0, "first", waits}, {"QL6M", 0, "second", queues}, {"QL6M", 255, "first", waits}};
    for (const auto& [model, element, opened, operations] : cases) {
        ModelFactory factory(model);
        factory.devices[opened].openError = -140; // locked elsewhere: used, but not configured
        CFPGAIF unit(&factory, element);
        EXPECT_EQ(unit.GetErrorCode(), -140);
        unit.SetCommandRegister(bFpgaCommandByte{0x04}); // the second FPGA has no interrupt to wait for
        EXPECT_EQ(factory.devices[opened].operations, operations);
        const std::string kind = model == std::string("QL6M") ? "6M" : "4K / 5K";
        EXPECT_EQ(factory.events, (Lines{"6 0 CFPGAIF::CFPGAIF: Running on ql_sounder " + kind +
                                             " - Creating SPI Interface for FPGA",
                                         "6 -140 CFPGAIF::CFPGAIF: fetching error code from Cor SPI"}));
    }
}

TEST(Facade, SettersReachTheirRegistersQueuedOrSent)
{
    const FpgaChnlFltByte_T filter{0xDE};
    const unsigned centre = 0x10000 + 500; // only the low 16 bits fit
    const ChirpTable_T chirp{{0x1234, 0x5678}};
    const TVGTable_T tvg{{1, 2}, {3, 4}};
    const std::vector<std::pair<Call, WireBytes>> cases{
        {[](auto& f) { return f.SetCommandRegister(bFpgaCommandByte{2}); }, Packet(0, {2})},
        {[](auto& f) { return f.SetADCFrequencyRegister(eFpgaAdcFrequency_T::QL6M); }, Packet(4, {3})},
        {[](auto& f) { return f.SetBoostLevel(0x5A); }, Packet(8, {0x5A})},
        {[](auto& f) { return f.SetNumberOfSamplesToReceive(4096, 9); }, Packet(16, {0}) + Packet(17, {1})},
        {[&](auto& f) { return f.SetChannelFilterRegister(&filter); }, Packet(18, {0xDE})},
        {[&](auto& f) { return f.SetBaseBandFilterCentreFreq(centre, 9); }, // 500 * 100 * 2^32 / 86,560,000
         Packet(32, {0x17}) + Packet(33, {0xDB}) + Packet(34, {0x25}) + Packet(35, {0})},
        {[](auto& f) { return f.SetBaseBandFilterSelection(0x36); }, Packet(36, {0x36})},
        {[](auto& f) { return f.SetBaseBandFilterScalingReg(0x37); }, Packet(37, {0x37})},
        {[](auto& f) { return f.SetBasebandFilterSubSample(0x38); }, Packet(38, {0x38})},
        {[](auto& f) { return f.SetCorralationScaling(0x50, 9); }, Packet(50, {0x50})},
        {[](auto& f) { return f.SetCorralationDownShift(0x51, 9); }, Packet(51, {0x51})},
        {[](auto& f) { return f.SetSubSampleRate(std::uint8_t{0x52}); }, Packet(52, {0x52})},
        {[](auto& f) { return f.SetSubSampleMode(FpgaSubSampleMode_T{2}); }, Packet(53, {2})},
        {[](auto& f) { return f.SetSubSampleThreshold(0x1234); }, Packet(56, {0x34, 0x12})},
        {[&](auto& f) { return f.SetTVGTable(tvg); },
         Packet(256, {2}) + Packet(257, {0}) + Packet(0x3000, {1, 2, 3, 4}, 2)},
        {[&](auto& f) { return f.SetChirpTable(chirp); },
         Packet(512, {1}) + Packet(513, {0}) + Packet(0x4000, {0x34, 0x12, 0x78, 0x56}, 2)}};
    ModelFactory factory("QL4K");
    factory.environment["QL3B_FPGA_SIZE"] = "1"; // the faster clock
    CFPGAIF unit(&factory, 0);
    WireBytes queued;
    for (const auto& [set, wire] : cases) {
        EXPECT_EQ(set(unit), 0);
        queued = queued + wire;
    }
    EXPECT_EQ(unit.PingNow(bFpgaCommandByte{1}), 0);
    EXPECT_EQ(unit.SetOutputDataToLog(), 0);
    EXPECT_EQ(unit.SetTransducerData(0x67), 0);
    EXPECT_EQ(unit.SetSyncRegister({0x96}), 0);
    EXPECT_THAT(factory.devices["first"].writes, ElementsAre(queued + Packet(0, {1}), Packet(24, {1}),
                                                             Packet(67, {0x67}), Packet(96, {0x96})));
}

TEST(Facade, SaysWhatTheUnitCannotDo)
{
    const FpgaChnlFltByte_T filter{0xDE};
    const std::vector<std::tuple<Call, TSQEventCode_T, TSQEventCode_T>> cases{
        // on the QL5K, on the QL6M
        {[](auto& f) { return f.SetSubSampleRate(1U, 0); }, 0, 0},
        {[](auto& f) { return f.GetADCReadings(nullptr); }, -174, -174},
        {[](auto& f) { return f.GetWaterTemp(nullptr); }, -177, -177},
        {[](auto& f) { return f.SetBusy(); }, 0, 0},
        {[&](auto& f) { return f.SetChannelFilterRegister(&filter); }, 0, 0},
        {[](auto& f) { return f.UpdateFPGA(); }, 0, -109},
        {[](auto& f) { return f.SetFilterSelectionRegister(PingConfigRxBand_LF); }, 0, 0},
        {[](auto& f) { return f.UpdateFPGA(); }, -109, 0}};
    ModelFactory first("QL5K"), second("QL6M"), other("SKD");
    CFPGAIF ql5k(&first, 1), ql6m(&second, 1), none(&other, 1);
    for (const auto& [call, onQL5K, onQL6M] : cases) {
        EXPECT_EQ(call(ql5k), onQL5K);
        EXPECT_EQ(call(ql6m), onQL6M);
        EXPECT_EQ(call(none), -177);
    }
    EXPECT_TRUE(ql5k.IsSpiBusy() && !none.IsSpiBusy());
    EXPECT_THAT(second.devices["first"].writes, ElementsAre(Packet(18, {2})));
}
} // namespace
