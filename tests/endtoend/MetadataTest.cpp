#include "tests/endtoend/GoldenTrace.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::StartsWith;

namespace
{
UnitRun_T RunExample(const std::string& product, const std::vector<std::string>& arguments)
{
    return CVirtualUnit(product).Option("--program", SONARBENCH_METADATA_PING).Run(arguments);
}

/// What lumetping sends to configure a channel, which the golden traces hold byte for byte, then the FIFO's
/// control; and the samples that it prints.
std::pair<std::string, std::string> Lumetping(const std::string& setting, const std::string& fifoControl)
{
    const auto run = CVirtualUnit("LumetV2").Run({"lumetping", setting});
    const std::size_t begin = run.output.find("\n<Sonar"), end = run.output.find("Data>\n", begin) + 6;
    return {CallsOf(run.trace).at(2).substr(6) + fifoControl, run.output.substr(begin, end - begin)};
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
        const auto calls = CallsOf(run.trace);
        ASSERT_GT(calls.size(), 6U) << run.output << run.errors;
        EXPECT_EQ(std::vector(&calls[3], &calls[6]), // those before read the version
                  (std::vector{status, "write " + configuration, "write 43530000000000" + fire + fire}));
        const std::string load = "cat /corvane/Application/FPGAFirmware/Lumet_FPGA* > /dev/LSfpga0\n";
        EXPECT_THAT(run.output, StartsWith(load + samples));
        EXPECT_EQ(run.output.size(), load.size() + channels.size() * samples.size());
    }
    EXPECT_THAT(directory.Read("PingMetaData0.txt"), StartsWith("1\n0\n1024\n50\n12098499\n3\n2000\n2000\n"));
    EXPECT_THAT(directory.Read("PingMetaData1.txt"), StartsWith("1\n1\n1024\n50\n21262214\n3\n3500\n3500\n"));

    const auto idle = RunExample("LumetV2", {directory.Path(), "none"});
    EXPECT_EQ(CallsOf(idle.trace).back(), status);
    EXPECT_EQ(idle.errors, "metadata_ping: configuring the FPGA failed with -109\n");
    EXPECT_EQ(RunExample("LumetV2", {"/none"}).errors,
              "metadata_ping: /none/PingMetaData0.txt failed with 2\n");
    EXPECT_EQ(RunExample("QL4K", {}).errors, "metadata_ping: looking for a Lumet FPGA failed with -177\n");
}

TEST(Metadata, LowscanRecordsBecomeARegisterSetInWhichIdleChannelsListenLikeTheirNeighbours)
{
    using Words_T = std::vector<unsigned>;
    const auto join = [](Words_T words, const Words_T& more, const Words_T& last) {
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(), last.begin(), last.end());
        return words;
    };
    const Words_T first{0x01880AC5, 45 << 16, 0x05050001, 0x03030101, 16, 256},
        second{0x45D, 7 << 16, 0x06060001, 0x04040202, 32, 512};
    Words_T quietFirst = first, quietSecond = second;
    quietFirst[0] = 0xFFFF0AC5; // a sweep in no time is the steepest
    quietFirst[1] = quietSecond[1] = 0;
    const std::pair<std::string, Words_T> cases[] = {{"none", join(quietSecond, quietFirst, {0x35, 0xA1})},
                                                     {"0", join(first, quietFirst, {0x05, 0xA1})},
                                                     {"1", join(quietSecond, second, {0x31, 0xB2})},
                                                     {"01", join(first, second, {0x35, 0xB2})}};
    for (const auto& [channels, words] : cases) {
        std::string expected = "write 04";
        for (const unsigned address : Words_T{17, 18, 33, 37, 34, 35, 25, 26, 41, 45, 42, 43, 66, 65}) {
            char record[13];
            std::snprintf(record, sizeof record, "%04x%08x", address, words[(expected.size() - 8) / 12]);
            expected += record;
        }
        const auto run = CVirtualUnit("none").RunScript("NONPERSISTED_DATABASE_ROOT=/tmp/ PRODUCT_ID=N "
                                                        "PRODUCT_ID_Pk1=N FPGA_CHANNEL_0_COMMS=/dev/LSfpga0 "
                                                        "exec " SONARBENCH_CONFIGURE_LOWSCAN " \"$@\"",
                                                        {channels});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(CallsOf(run.trace).back(), expected) << channels;
    }
}
