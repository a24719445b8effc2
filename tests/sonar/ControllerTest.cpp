#include "sonar/SonarTestController.h"
#include "sonar/StopSignals.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

namespace
{
TEST(Controller, OffAUnitWhatFailsIsTold)
{
    testing::internal::CaptureStdout();
    CSonarTestController controller; // on a machine that is no unit
    TestResult_T result = TEST_PASSED;
    controller.HandleReturn(0, result);
    EXPECT_EQ(result, TEST_PASSED);
    controller.HandleReturn(-109, result);
    EXPECT_EQ(result, TEST_FAILED);
    std::string output;
    EXPECT_EQ(controller.EnableSonar(&output), OPERATION_PERFORMED);
    EXPECT_EQ(output, "Non-Varrow platform. Sonar may not be enabled.\n");
    EXPECT_EQ(controller.GetSize(QStringLiteral("size 3"), QStringLiteral("size ")), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ERROR: Unknown Product type.\n"
              "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n"
              "Call to Lowscan function from CSonarTestController Failed, return value: -109\n"
              "ERROR: Size Delimiter not found.\nSize Delimiter: \"size \"\n");
}

TEST(WaterTemperature, FollowsFromTheReadingsOfALowscanFpgaOnSpi)
{
    // What the FPGA replies: reference, water temperature and a third reading.
    const std::pair<std::string, std::string> cases[] = {
        {std::string("\1\2\3\1\2\3\xff\xff\xff", 9), "27.7727\n"},
        {std::string("\0\x03\xe8\0\0\x64\0\0\0", 9), "inf\n"},
        {std::string("\0\0\0\0\0\x64\0\0\0", 9), "ADCRef is zero. Cannot calculate WaterTemperature\n"}};
    for (const auto& [readings, shown] : cases) {
        // The replies lie ready at the other end of a terminal, and the requests stay there.
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

TEST(StopSignals, TheFirstIsAnsweredAfterTheWaitAndTheSecondEndsTheProgram)
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
        _exit(0); // before the mask of old is back
    };
    EXPECT_EXIT(twice(), testing::KilledBySignal(SIGTERM), "");
}
} // namespace
