#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::StartsWith;

namespace
{
UnitRun_T RunExample(const std::string& product, const std::vector<std::string>& arguments)
{
    return CVirtualUnit(product)
        .Option("--no-isolation")
        .Option("--write", arguments.front())
        .Option("--program", SONARBENCH_METADATA_PING)
        .Run(arguments);
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
