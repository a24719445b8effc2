#include "Utilities/FPGAIF.h"
#include "tests/support/ScriptedDevice.h"

#include <array>
#include <functional>
#include <gmock/gmock.h>

namespace
{
using testing::Each;
using testing::ElementsAre;

/// The environment of a unit: its FPGA devices, its identity and the part number of one model.
struct ModelFactory : ScriptedFactory {
    explicit ModelFactory(const std::string& model, const char* identity = "N41005-B") // six characters count
    {
        environment = {{"PRODUCT_ID", identity},
                       {"PRODUCT_ID_" + model, "N41005"},
                       {"FPGA_CHANNEL_0_COMMS", "first"},
                       {"FPGA_CHANNEL_1_COMMS", "second"}};
    }
};

TEST(Facade, RecognizesModelsByTheirPartNumber)
{
    // The models that no command distinguishes.
    const std::tuple<const char*, unsigned, unsigned> cases[] = {{"LUMETV3", 1, 4},   {"LUMETV4", 1, 3},
                                                                 {"LUMETV5", 1, 0},   {"LUMETV7", 1, 6},
                                                                 {"TESSFINV1", 1, 7}, {"Pk4", 2, 0}};
    for (const auto& [model, type, variant] : cases) {
        ModelFactory factory(model);
        const CFPGAIF unit(&factory, 1);
        EXPECT_EQ(unit.GetInterfaceType(), type) << model;
        EXPECT_EQ(unit.GetLumetVariant(), variant) << model;
    }
    ModelFactory shorter("QL4K", "N4100");
    ScriptedFactory unset;
    EXPECT_EQ(CFPGAIF(&shorter, 0).GetInterfaceType(), 0U);
    EXPECT_EQ(CFPGAIF(&unset, 0).GetInterfaceType(), 0U);
}

TEST(Facade, OpensTheDeviceOfTheElementAndReportsIt)
{
    const Lines waits{"open 2 0", "write 9", "ioctl 80047203"}, opens{"open 2 0"};
    const std::tuple<const char*, XdcrElementIndex_T, const char*, Lines, std::string, std::string> cases[] =
        {{"QL5K", 0, "first", waits, "ql_sounder 4K / 5K - Creating SPI Interface", "Cor SPI"},
         {"QL6M", 0, "second", opens, "ql_sounder 6M - Creating SPI Interface", "Cor SPI"},
         {"QL6M", 255, "first", waits, "ql_sounder 6M - Creating SPI Interface", "Cor SPI"},
         {"Nr3", 0, "first", opens, "a Lumet variant - Creating 1 SPI Interface", "Lumet SPI"},
         {"QL1A", 0, "first", opens, "ql_sounder 1A , 2A or VRRW - Creating 2 UART Interfaces", "UART"}};
    for (const auto& [model, element, opened, operations, link, kind] : cases) {
        ModelFactory factory(model);
        // Locked by another process: used, but not configured.
        factory.devices["first"].openError = factory.devices["second"].openError = -140;
        CFPGAIF unit(&factory, element);
        EXPECT_EQ(unit.GetErrorCode(), -140);
        unit.SetCommandRegister(bFpgaCommandByte{0x04}); // no wait for an interrupt on the second FPGA
        EXPECT_EQ(factory.devices[opened].operations, operations);
        EXPECT_EQ(factory.events, (Lines{"6 0 CFPGAIF::CFPGAIF: Running on " + link + " for FPGA",
                                         "6 -140 CFPGAIF::CFPGAIF: fetching error code from " + kind}));
    }
}

TEST(Facade, OperationsThatNoCommandUsesReachTheirRegisters)
{
    ModelFactory ql4k("QL4K"), nr2("Nr2");
    ScriptedDevice &cor = ql4k.devices["first"], &lumet = nr2.devices["first"];
    CFPGAIF corUnit(&ql4k, 0), lumetUnit(&nr2, 0);
    cor.replies = {{0x23, 0x23}, {0x58, 0x58}, {0x1A, 0x1A}, {5, 6, 11}};
    lumet.replies = {{1, 0, 0, 1}, {0, 2, 0, 2}, {0, 0, 0x83, 0x83}};
    unsigned char transducer = 0;
    FPGASpeedReading_T speed{0xFFFFFFFF};
    unsigned adc[3] = {};
    WireBytes read(2), written{0x11, 0x22};
    Buffer_Bytes_T in(read.data(), read.size()), out(written.data(), written.size());
    const TSQEventCode_T results[]{corUnit.GetTransducerData(&transducer),
                                   corUnit.GetSpeedReading(&speed),
                                   corUnit.SetTransducerData(0x67),
                                   corUnit.SetSyncRegister({0x96}),
                                   corUnit.TestFPGAAccess(&in, 0x3000, true, true),
                                   corUnit.TestFPGAAccess(&out, 0x38, false, false),
                                   lumetUnit.SetWifiLEDRegister({0x1234}),
                                   lumetUnit.GetADCReference(&adc[0]),
                                   lumetUnit.GetWaterTemp(&adc[1]),
                                   lumetUnit.GetSenseResistor(&adc[2])};
    EXPECT_THAT(results, Each(0));
    EXPECT_EQ(transducer, 0x23);
    EXPECT_EQ(speed.ticks, 0x5AU) << "the bits of both bytes together, not their sum";
    EXPECT_THAT(read, ElementsAre(5, 6));
    EXPECT_EQ(cor.operations.back(), "write 10") << "a write has no reply";
    EXPECT_THAT(adc, ElementsAre(1, 0x200, 0x830000));
    EXPECT_THAT(cor.writes,
                ElementsAre(Packet(66, {0}, 1), Packet(64, {0}, 1), Packet(65, {0}, 1), Packet(67, {0x67}),
                            Packet(96, {0x96}), Packet(0x3000, {0, 0}, 3), Packet(0x38, {0x11, 0x22})));
    EXPECT_THAT(lumet.writes, ElementsAre(Packet(113, {0x34, 0x12}, 2), Packet(128, {0, 0, 0}, 3),
                                          Packet(132, {0, 0, 0}, 3), Packet(136, {0, 0, 0}, 3)));
}

TEST(Facade, AnOperationThatTheUnitLacksHasItsOwnResult)
{
    const FpgaChnlFltByte_T filter{0xDE};
    LSADCReadings_T readings{};
    static constexpr const char* models[] = {"QL5K", "QL6M", "LUMETV5", "VarrowX", "Pk4", "SKD"};
    struct Case_T {
        const char* name;
        std::function<TSQEventCode_T(CFPGAIF&)> call;
        std::array<TSQEventCode_T, std::size(models)> results;
    };
    const Case_T cases[] = {
        {"WifiLED", [](auto& f) { return f.SetWifiLEDRegister({1}); }, {0, 0, 0, 0, 0, -177}},
        {"Flush", [](auto& f) { return f.Flush(1); }, {-174, -174, -174, -173, 0, -177}},
        {"ADCReadings",
         [&](auto& f) { return f.GetADCReadings(&readings); },
         {-174, -174, -174, -174, -171, -177}},
        {"WaterTemp", [](auto& f) { return f.GetWaterTemp(nullptr); }, {-177, -177, -177, -177, -177, -177}},
        {"ChannelFilter",
         [&](auto& f) { return f.SetChannelFilterRegister(&filter); },
         {0, 0, 0, 0, 0, -177}},
        {"UpdateFPGA after ChannelFilter",
         [](auto& f) { return f.UpdateFPGA(); },
         {0, -109, -109, 0, 0, -177}},
        {"FilterSelection",
         [](auto& f) { return f.SetFilterSelectionRegister(PingConfigRxBand_LF); },
         {0, 0, 0, 0, 0, -177}},
        {"UpdateFPGA after FilterSelection",
         [](auto& f) { return f.UpdateFPGA(); },
         {-109, 0, -109, 0, 0, -177}}};
    for (std::size_t i = 0; i < std::size(models); ++i) {
        ModelFactory factory(models[i]);
        CFPGAIF unit(&factory, 1);
        for (const Case_T& next : cases) {
            EXPECT_EQ(next.call(unit), next.results[i]) << models[i] << ", " << next.name;
        }
    }
}
} // namespace
