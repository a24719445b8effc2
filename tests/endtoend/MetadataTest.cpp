#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::StartsWith;

namespace
{
UnitRun_T RunExample(const std::string& product, const std::vector<std::string>& arguments)
{
    return CVirtualUnit(product).Option("--program", SONARBENCH_METADATA_PING).Run(arguments);
}

/// The bytes with which lumetping configures a channel (the golden traces check them), followed by the FIFO's
/// control, and the samples that it prints.
std::pair<std::string, std::string> Lumetping(const std::string& setting, const std::string& fifoControl)
{
    const auto run = CVirtualUnit("LumetV2").Run({"lumetping", setting});
    const std::size_t begin = run.output.find("\n<Sonar"), end = run.output.find("Data>\n", begin) + 6;
    return {run.Calls().at(2).substr(6) + fifoControl, run.output.substr(begin, end - begin)};
}
} // namespace

TEST(Metadata, LumetRecordsBecomeTheRegistersOfTheirActiveChannelsAndAPing)
{
    const auto [first, firstSamples] = Lumetping("200long", "435351400000000000");
    const auto [second, secondSamples] = Lumetping("350long", "435351800000000000");
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {"0", first, "03", firstSamples},
        {"1", second, "05", secondSamples},
        {"01", first + second, "07", firstSamples}};
    const TemporaryDirectory directory;
    const std::string status = "write 435301000100000000";
    for (const auto& [channels, configuration, fire, samples] : cases) {
        const auto run = RunExample("LumetV2", {directory.Path(), channels});
        const auto calls = run.Calls();
        ASSERT_GT(calls.size(), 6U) << run.output << run.errors;
        EXPECT_EQ(std::vector(&calls[3], &calls[6]), // those before read the version
                  (std::vector{status, "write " + configuration, "write 43530000000000" + fire + fire}));
        const std::string load = "cat /corvane/Application/FPGAFirmware/Lumet_FPGA* > /dev/LSfpga0\n";
        EXPECT_THAT(run.output, StartsWith(load + samples));
        EXPECT_EQ(run.output.size(), load.size() + channels.size() * samples.size());
    }

    const auto idle = RunExample("LumetV2", {directory.Path(), "none"});
    EXPECT_EQ(idle.Calls().back(), status);
    EXPECT_EQ(idle.errors, "metadata_ping: configuring the FPGA failed with -109\n");
}

TEST(Metadata, LowscanRecordsBecomeARegisterSetInWhichIdleChannelsListenLikeTheirNeighbours)
{
    using Words_T = std::vector<unsigned>;
    const Words_T first{0x01880AC5, 45 << 16, 0x05050001, 0x03030101, 16, 256},
        second{0x45D, 7 << 16, 0x06060001, 0x04040202, 32, 512},
        // Without a period; a sweep that takes no time has the highest rate.
        quietFirst{0xFFFF0AC5, 0, 0x05050001, 0x03030101, 16, 256},
        quietSecond{0x45D, 0, 0x06060001, 0x04040202, 32, 512};
    const std::tuple<std::string, Words_T, Words_T, Words_T> cases[] = {
        {"none", quietSecond, quietFirst, {0x35, 0xA1}},
        {"0", first, quietFirst, {0x05, 0xA1}},
        {"1", quietSecond, second, {0x31, 0xB2}},
        {"01", first, second, {0x35, 0xB2}}};
    for (const auto& [channels, channel0, channel1, shared] : cases) {
        std::string expected = "write 04";
        const auto append = [&expected](const Words_T& addresses, const Words_T& words) {
            for (std::size_t i = 0; i < words.size(); ++i) {
                char record[13];
                std::snprintf(record, sizeof record, "%04x%08x", addresses[i], words[i]);
                expected += record;
            }
        };
        append({17, 18, 33, 37, 34, 35}, channel0);
        append({25, 26, 41, 45, 42, 43}, channel1);
        append({66, 65}, shared);
        const auto run = CVirtualUnit("none").RunScript("NONPERSISTED_DATABASE_ROOT=/tmp/ PRODUCT_ID=N "
                                                        "PRODUCT_ID_Pk1=N FPGA_CHANNEL_0_COMMS=/dev/LSfpga0 "
                                                        "exec " SONARBENCH_CONFIGURE_LOWSCAN " \"$@\"",
                                                        {channels});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.Calls().back(), expected) << channels;
    }
}
