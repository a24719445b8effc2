#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "sonar/PingMetaData.h"
#include "sonar/SonarTestController.h"
#include "sonar/StopSignals.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <pty.h>
#include <unistd.h>

void PrintTo(Link link, std::ostream* out)
{
    constexpr const char* names[] = {"None", "Uart", "LowscanSpi", "CorSpi", "LumetSpi"};
    *out << names[static_cast<std::size_t>(link)];
}

namespace
{
TEST(Controller, FailuresAreReportedOnAMachineThatIsNoUnit)
{
    testing::internal::CaptureStdout();
    CSonarTestController controller; // on a machine that is no unit
    TestResult_T result = TEST_PASSED;
    controller.HandleReturn(0, result);
    EXPECT_EQ(result, TEST_PASSED);
    controller.HandleReturn(-109, result);
    EXPECT_EQ(result, TEST_FAILED);
    EXPECT_EQ(controller.GetSize(QStringLiteral("size 3"), QStringLiteral("size ")), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ERROR: Unknown Product type.\n"
              "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n"
              "Call to Lowscan function from CSonarTestController Failed, return value: -109\n"
              "ERROR: Size Delimiter not found.\nSize Delimiter: \"size \"\n");
}

TEST(Controller, EveryTestTakesANullOutputTextAndPrints)
{
    const std::string notice = "GetSounderType()\n", noVersion = "ERROR: Failed to get version.\n";
    ChirpTable_T chirp;
    TVGTable_T tvg;
    CorrelationFilterCoefficients_T correlation;
    using Test_T = std::function<int(CSonarTestController&)>;
    const std::pair<Test_T, std::string> cases[] = {
        {[](auto& c) { return c.xKPing(nullptr, QStringLiteral("none"), 0, 1); },
         "ERROR: Product not supported.\n"
         "ERROR: Required path does not exist: /corvane/Application/FPGAFirmware\n"},
        {[](auto& c) { return c.Ping(nullptr, 1, 2, 3, 4, 0, QStringLiteral("low")); }, notice + noVersion},
        {[](auto& c) { return c.Ping(nullptr, CPingMetaData()); },
         notice + noVersion + "ERROR: Failed to populate FPGA data.\n"},
        {[](auto& c) { return c.LumetPing(nullptr, QStringLiteral("200")); },
         "ERROR: Unknown frequency request.\n"},
        {[&](auto& c) { return c.LoadTables(chirp, tvg, correlation, nullptr, QStringLiteral("/dev/null")); },
         "ERROR: Ensure file exists: /dev/null \n"},
        {[](auto& c) { return c.EnableSonar(nullptr) == OPERATION_PERFORMED ? TEST_FAILED : TEST_PASSED; },
         "Non-Varrow platform. Sonar may not be enabled.\n"}};
    for (const auto& [test, text] : cases) {
        int result = TEST_PASSED;
        const std::string printed = PrintedBy([&test = test, &result] {
            CSonarTestController controller; // on a machine that is no unit
            result = test(controller);
        });
        EXPECT_EQ(result, TEST_FAILED) << text;
        EXPECT_THAT(printed, testing::EndsWith(text));
    }
}

TEST(Controller, AValueComesFromTheTableFileAsItIsNow)
{
    const TemporaryDirectory directory;
    const std::string table = directory.Path("table");
    const auto time = std::filesystem::last_write_time(directory.Write("table", ""));
    std::optional<CSonarTestController> controller;
    PrintedBy([&] { controller.emplace(); }); // on a machine that is no unit
    const auto expect = [&](int value, const char* change) {
        int read = 0;
        PrintedBy([&] {
            read = controller->GetValue(QString::fromStdString(table), QStringLiteral("a("),
                                        QStringLiteral(");"));
        });
        EXPECT_EQ(read, value) << change;
    };
    const auto write = [&](const char* name, const char* text, int nanoseconds) {
        std::filesystem::last_write_time(directory.Write(name, text),
                                         time + std::chrono::nanoseconds(nanoseconds));
    };
    write("table", "a( 1);", 0);
    expect(1, "a new file");
    write("table", "a( 2);", 1);
    expect(2, "another modification time");
    write("table", "a( 17);", 1);
    expect(17, "another size");
    write("other", "a( 18);", 1);
    std::filesystem::rename(directory.Path("other"), table);
    expect(18, "another inode");
    std::filesystem::remove(table);
    expect(-1, "no file");
    directory.Write("table", "a( 19);");
    expect(19, "a file again");
}

/// The link of the product table that the facade's type means.
Link LinkOf(FpgaInterfaceType_T type)
{
    return type == eFpgaIfNone       ? Link::None
           : type == eFpgaIfLumetSpi ? Link::LumetSpi
           : type == eFpgaIfLSSpi    ? Link::LowscanSpi
           : type <= eFpgaIfQL2AUart ? Link::Uart
                                     : Link::CorSpi;
}

TEST(Products, TheFacadeChoosesTheLinkOfTheProductTable)
{
    setenv("FPGA_CHANNEL_0_COMMS", "/nowhere/fpga0", 1);
    setenv("FPGA_CHANNEL_1_COMMS", "/nowhere/fpga1", 1);
    const auto put = [](std::string_view variable) {
        const std::size_t equals = variable.find('=');
        setenv(std::string(variable.substr(0, equals)).c_str(),
               std::string(variable.substr(equals + 1)).c_str(), 1);
    };
    std::ranges::for_each(ModelVariables(), put);
    for (const Product_T& product : Products()) {
        unsetenv("PRODUCT_ID");
        if (product.productId != nullptr) {
            put(product.productId);
        }
        COSSLinuxFactory factory;
        const FpgaInterfaceType_T type = CFPGAIF(&factory, 0).GetInterfaceType();
        EXPECT_EQ(LinkOf(type), product.link) << product.name;
        EXPECT_EQ(type == eFpgaIfQL6MSpi, product.twoFpgas) << product.name;
    }
    unsetenv("PRODUCT_ID");
}

TEST(WaterTemperature, FollowsFromTheReadingsOfALowscanFpgaOnSpi)
{
    // The FPGA's replies: reference, water temperature and a third reading.
    const std::pair<std::string, std::string> cases[] = {
        {std::string("\1\2\3\1\2\3\xff\xff\xff", 9), "27.7727\n"},
        {std::string("\0\x03\xe8\0\0\x64\0\0\0", 9), "inf\n"},
        {std::string("\0\0\0\0\0\x64\0\0\0", 9), "ADCRef is zero. Cannot calculate WaterTemperature\n"}};
    for (const auto& [readings, shown] : cases) {
        // The replies are written to the other end of a terminal beforehand. Nobody reads the requests.
        termios raw = {};
        cfmakeraw(&raw);
        int fpga = -1;
        int node = -1;
        char name[64];
        ASSERT_EQ(openpty(&fpga, &node, name, &raw, nullptr), 0);
        const std::string replies = std::string("\0\0\7\1", 4) + readings;
        ASSERT_EQ(write(fpga, replies.data(), replies.size()), std::ssize(replies));
        CSonarTestController controller; // on a machine that is no unit
        setenv("PRODUCT_ID", "Nx", 1);
        setenv("FPGA_CHANNEL_0_COMMS", name, 1);
        std::string output;
        EXPECT_EQ(controller.WaterTemperature(output), OPERATION_PERFORMED);
        EXPECT_EQ(output, "Firmware Version: 7.1\n" + shown);
        unsetenv("PRODUCT_ID");
        close(node);
        close(fpga);
    }
}

TEST(StopSignals, TheFirstEndsTheTestAfterTheWaitAndTheSecondEndsTheProgram)
{
    using namespace std::chrono_literals;
    for (const int number : {SIGINT, SIGTERM}) {
        CStopSignals signals;
        EXPECT_TRUE(signals.Wait(1ms));
        raise(number);
        EXPECT_FALSE(signals.Wait(30ms));
        EXPECT_FALSE(signals.Wait(0s));
    }
    const auto twice = [] {
        CStopSignals signals;
        raise(SIGINT);
        raise(SIGTERM);
        signals.Wait(10s);
        _exit(0); // before the old signal mask is restored
    };
    EXPECT_EXIT(twice(), testing::KilledBySignal(SIGTERM), "");
}
} // namespace
