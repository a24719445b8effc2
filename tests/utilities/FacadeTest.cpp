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
        {"LUMETV3", 1, 4},   {"LUMETV4", 1, 3}, {"LUMETV5", 1, 0}, {"LUMETV7", 1, 6},
        {"TESSFINV1", 1, 7}, {"Nr2", 1, 8},     {"Varrow", 3, 0},  {"VarrowX", 4, 0},
        {"Pk4", 2, 0},       {"QL2A", 6, 0},    {"QL5K", 8, 0}};
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

TEST(Facade, OpensTheDeviceOfTheElementAndSaysSo)
{
    const Lines waits{"open 2 0", "write 9", "ioctl 80047203"}, opens{"open 2 0"};
    const std::vector<
        std::tuple<const char*, XdcrElementIndex_T, const char*, Lines, std::string, std::string>>
        cases{{"QL5K", 0, "first", waits, "ql_sounder 4K / 5K - Creating SPI Interface", "Cor SPI"},
              {"QL6M", 0, "second", opens, "ql_sounder 6M - Creating SPI Interface", "Cor SPI"},
              {"QL6M", 255, "first", waits, "ql_sounder 6M - Creating SPI Interface", "Cor SPI"},
              {"Nr3", 0, "first", opens, "a Lumet variant - Creating 1 SPI Interface", "Lumet SPI"},
              {"QL1A", 0, "first", opens, "ql_sounder 1A , 2A or VRRW - Creating 2 UART Interfaces", "UART"}};
    for (const auto& [model, element, opened, operations, link, kind] : cases) {
        ModelFactory factory(model);
        // Locked elsewhere: used, but not configured.
        factory.devices["first"].openError = factory.devices["second"].openError = -140;
        CFPGAIF unit(&factory, element);
        EXPECT_EQ(unit.GetErrorCode(), -140);
        unit.SetCommandRegister(bFpgaCommandByte{0x04}); // the second FPGA has no interrupt to wait for
        EXPECT_EQ(factory.devices[opened].operations, operations);
        EXPECT_EQ(factory.events, (Lines{"6 0 CFPGAIF::CFPGAIF: Running on " + link + " for FPGA",
                                         "6 -140 CFPGAIF::CFPGAIF: fetching error code from " + kind}));
    }
}

TEST(Facade, LowscanUnitsPingOnTheLinkOfTheChannel)
{
    WireBytes storage(16);
    Buffer_Bytes_T samples(storage.data(), 4), values(storage.data() + 4, 8);
    LSADCReadings_T readings{};
    SWVersion_T version{};
    const std::vector<std::tuple<Call, TSQEventCode_T, TSQEventCode_T>> cases{
        // on the VarrowX, whose devices are no terminals and silent, on the Pk4
        {[](auto& f) { return f.Flush(255); }, -173, 0},
        {[](auto& f) { return f.setUpForPing({}); }, 0, 0},
        {[](auto& f) { return f.PingNow(); }, 0, 0},
        {[](auto& f) { return f.WaitForData(), 0; }, 0, 0},
        {[&](auto& f) { return f.GetPing(255, &samples, &values); }, -171, -171},
        {[&](auto& f) { return f.GetADCReadings(&readings); }, -174, -171},
        {[&](auto& f) { return f.GetVersion(&version); }, -171, -171}};
    ModelFactory varrowX("VarrowX"), pk4("Pk4");
    varrowX.environment["FPGA_CHANNEL_0_COMMS"] = ""; // its lines have names of their own
    varrowX.environment.erase("FPGA_CHANNEL_1_COMMS");
    CFPGAIF uart(&varrowX, 0), spi(&pk4, 0);
    EXPECT_EQ(pk4.events,
              Lines{"6 0 CFPGAIF::CFPGAIF: Running on PELION - Creating A SPI Interface for FPGA"});
    for (const auto& [call, onVarrowX, onPk4] : cases) {
        EXPECT_EQ(call(uart), onVarrowX);
        EXPECT_EQ(call(spi), onPk4);
    }
    Lines frames(18, "write 8"); // the set-up's 14, ping, version
    frames.front() = "open 2 0";
    frames.back() = "poll 1 1000";
    EXPECT_THAT(pk4.devices["first"].operations,
                ElementsAre("open 2 0", "ioctl 80047202", "write 85", "write 1", "ioctl 80047203", "write 5",
                            "poll 1 1000", "write 10", "poll 1 1000", "write 5", "poll 1 1000"));
    EXPECT_EQ(varrowX.devices["/dev/ttyO1"].operations, frames);
    EXPECT_EQ(varrowX.devices["/dev/ttyO3"].operations, (Lines{"open 2 0", "poll 1 1000"}));
}

TEST(Facade, CorOperationsThatNoCommandUsesReachTheirRegisters)
{
    ModelFactory factory("QL4K");
    CFPGAIF unit(&factory, 0);
    EXPECT_EQ(unit.SetTransducerData(0x67), 0);
    EXPECT_EQ(unit.SetSyncRegister({0x96}), 0);
    unit.SetBaseBandFilterCentreFreq(0x10000 + 500, 9); // the low 16 bits: 500 * 100 * 2^32 / 69,248,000
    EXPECT_EQ(unit.UpdateFPGA(), 0);
    EXPECT_THAT(factory.devices["first"].writes,
                ElementsAre(Packet(67, {0x67}), Packet(96, {0x96}),
                            Packet(32, {0xDC}) + Packet(33, {0x51}) + Packet(34, {0x2F}) + Packet(35, {0})));
}

TEST(Facade, LumetOperationsReachTheRegistersOfTheirChannel)
{
    unsigned adc[3] = {};
    SWVersion_T version{};
    bLumetStatusByte status;
    const std::vector<std::tuple<Call, std::size_t, WireBytes>> cases{
        {[](auto& f) { return f.SetNumberOfSamplesToReceive(0x12340, 1); }, 0x8010, {0x34, 0x12}},
        {[](auto& f) { return f.SetFifoCntrlRegister({2}, 1); }, 0x8051, {2}},
        {[](auto& f) { return f.PingNow(bLumetCommandByte{4}); }, 0, {}}}; // no start, so not even queued
    ModelFactory factory("Nr2");
    ScriptedDevice& device = factory.devices["first"];
    CFPGAIF unit(&factory, 0);
    WireBytes queued;
    for (const auto& [set, address, bytes] : cases) {
        EXPECT_EQ(set(unit), 0);
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            queued = queued + Packet(address + at, {bytes[at]});
        }
    }
    device.replies = {{0x21, 0x21}, {0x22, 0x22}, {1, 0, 0, 1}, {0, 2, 0, 2}, {0, 0, 0x83, 0x83}};
    const TSQEventCode_T results[]{unit.PingNow(bLumetCommandByte{3}), unit.SetWifiLEDRegister({0x1234}),
                                   unit.GetVersion(&version),          unit.GetStatusRegister(&status),
                                   unit.GetADCReference(&adc[0]),      unit.GetWaterTemp(&adc[1]),
                                   unit.GetSenseResistor(&adc[2])};
    EXPECT_THAT(results, testing::Each(0));
    EXPECT_THAT(adc, ElementsAre(1, 0x200, 0x830000));
    EXPECT_EQ(version.major * 256 + status.value, 0x2122);
    EXPECT_THAT(device.writes, ElementsAre(queued + Packet(0, {3}), Packet(113, {0x34, 0x12}, 2),
                                           Packet(2, {0}, 1), Packet(1, {0}, 1), Packet(128, {0, 0, 0}, 3),
                                           Packet(132, {0, 0, 0}, 3), Packet(136, {0, 0, 0}, 3)));
}

TEST(Facade, SaysWhatTheUnitCannotDo)
{
    const FpgaChnlFltByte_T filter{0xDE};
    const std::vector<std::tuple<Call, TSQEventCode_T, TSQEventCode_T, TSQEventCode_T>> cases{
        // on the QL5K, on the QL6M, on the LumetV5
        {[](auto& f) { return f.SetWifiLEDRegister({1}); }, 0, 0, -109},
        {[](auto& f) { return f.Flush(1); }, -174, -174, -174},
        {[](auto& f) { return f.GetADCReadings(nullptr); }, -174, -174, -174},
        {[](auto& f) { return f.GetWaterTemp(nullptr); }, -177, -177, -177},
        {[](auto& f) { return f.SetBusy(); }, 0, 0, 0},
        {[&](auto& f) { return f.SetChannelFilterRegister(&filter); }, 0, 0, 0},
        {[](auto& f) { return f.UpdateFPGA(); }, 0, -109, -109},
        {[](auto& f) { return f.SetFilterSelectionRegister(PingConfigRxBand_LF); }, 0, 0, 0},
        {[](auto& f) { return f.UpdateFPGA(); }, -109, 0, -109}};
    ModelFactory first("QL5K"), second("QL6M"), third("LUMETV5"), other("SKD");
    third.devices["first"].failingWrites = {1};
    CFPGAIF ql5k(&first, 1), ql6m(&second, 1), lumetV5(&third, 1), none(&other, 1);
    for (const auto& [call, onQL5K, onQL6M, onLumetV5] : cases) {
        EXPECT_EQ(call(ql5k), onQL5K);
        EXPECT_EQ(call(ql6m), onQL6M);
        EXPECT_EQ(call(lumetV5), onLumetV5);
        EXPECT_EQ(call(none), -177);
    }
    EXPECT_TRUE(ql5k.IsSpiBusy() && !lumetV5.IsSpiBusy() && !none.IsSpiBusy());
    EXPECT_THAT(second.devices["first"].writes, ElementsAre(Packet(18, {2})));
}
} // namespace
