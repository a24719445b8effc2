#include "simulator/models/CorFpgaModel.h"
#include "simulator/models/LowscanFpgaModel.h"
#include "simulator/models/LumetFpgaModel.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/CorWire.h"
#include "tests/support/TemporaryDirectory.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <gmock/gmock.h>
#include <set>

using namespace testing;

namespace
{
/// What the program writes to configure a ping and to fire it: packets or frames, without reads.
std::vector<Bytes_T> Written(const std::string& product, const Words_T& arguments, bool isPacket)
{
    constexpr std::size_t c_Frame = 8, c_Packet = 8, c_Byte = 256, c_Flags = 4, c_Length = 5;
    std::vector<Bytes_T> written;
    for (const std::string& line : CVirtualUnit(product).Run(arguments).Trace("write")) {
        const QByteArray bytes = QByteArray::fromHex(QByteArray::fromStdString(BytesOf(line)));
        const Bytes_T all(bytes.begin(), bytes.end());
        const bool isPingRead = isPacket && all[0] == 0;
        for (std::size_t at = 0; at < all.size() && !isPingRead;) {
            const std::size_t size =
                isPacket ? c_Packet + 1 + all[at + c_Length] + c_Byte * all[at + c_Length + 1] : c_Frame;
            if (!isPacket || (all[at + c_Flags] & 1) == 0) {
                written.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                                     all.begin() + static_cast<std::ptrdiff_t>(at + size));
            }
            at += size;
        }
    }
    return written;
}

/// What a device makes of the writes: their names in a trace, and the samples of the ping.
struct Heard_T {
    Words_T names;
    Bytes_T samples;
};

Heard_T HearPackets(CPacketFpgaModel&& model, std::size_t fifo, std::size_t count,
                    const std::vector<Bytes_T>& writes)
{
    model.Ioctl(0x80047202, {});
    Heard_T heard;
    for (const Bytes_T& write : writes) {
        const std::string meaning = model.Write(write).meaning;
        heard.names.push_back(meaning.substr(0, meaning.find_first_of("=[")));
    }
    heard.samples = model.Write(Packet(fifo, Bytes_T(count, 0), 1)).reply;
    return heard;
}

Heard_T HearFrames(const std::vector<Bytes_T>& writes)
{
    CLowscanFpgaModel model({.product = "Varrow", .firmwareVersion = 1});
    Heard_T heard;
    for (const Bytes_T& frame : writes) {
        const auto value =
            static_cast<std::uint32_t>(frame[3] << 24 | frame[4] << 16 | frame[5] << 8 | frame[6]);
        DeviceOutcome_T outcome;
        if (frame[2] == 1) {
            outcome.meaning = "Command";
            if (value == 1) {
                DeviceOutcome_T ping;
                model.Ping(ping);
            }
        } else {
            model.SetRegister(frame[2], value, outcome);
        }
        heard.names.push_back(outcome.meaning.substr(0, outcome.meaning.find('=')));
    }
    heard.samples = model.TakePacket(0);
    return heard;
}

Heard_T HearQl(const std::vector<Bytes_T>& writes)
{
    return HearPackets(CCorFpgaModel({.product = "QL4K", .firmwareVersion = 1}), 80, 8192, writes);
}

Heard_T HearLargeQl(const std::vector<Bytes_T>& writes)
{
    return HearPackets(CCorFpgaModel({.product = "QL6M", .firmwareVersion = 1}, c_CorFastClockHz), 80, 8192,
                       writes);
}

Heard_T HearLumet(const std::vector<Bytes_T>& writes)
{
    return HearPackets(CLumetFpgaModel({.product = "LumetV2", .firmwareVersion = 1}), 0x8050, 1024, writes);
}

/// The samples of a block, which have three digits each or commas between them.
std::vector<int> Printed(const std::string& output)
{
    const std::string begin = "<SonarFPGAData>";
    const std::size_t first = output.find(begin) + begin.size();
    const std::string block = output.substr(first, output.find('<', first) - first);
    const bool hasCommas = block.find(',') != block.npos;
    std::vector<int> samples;
    for (std::size_t at = 0; at < block.size();) {
        const std::size_t digits = hasCommas ? std::min(block.find(',', at), block.size()) - at : 3;
        samples.push_back(std::stoi(block.substr(at, digits)));
        at += digits + (hasCommas ? 1 : 0);
    }
    return samples;
}

bool IsZero(const Bytes_T& write, std::size_t payload)
{
    return std::all_of(write.begin() + static_cast<std::ptrdiff_t>(payload), write.end() - 1,
                       [](std::uint8_t byte) { return byte == 0; });
}
} // namespace

// A table or a register that never arrives must be seen, or a test of the link proves nothing.
TEST(EchoRun, EachSettingThatNeverArrivesShowsInTheSamples)
{
    struct Row_T {
        const char* product;
        Words_T arguments;
        bool isPacket;
        Heard_T (*hear)(const std::vector<Bytes_T>& writes);
        std::set<std::string> unseen; ///< settings that do not show
    };
    const Row_T rows[] = {
        {"QL4K",
         {"xkping", "examples/full.txt", "0", "1"},
         true,
         HearQl,
         {"OutputDataToLog", "SubSampleMode", "SubSampleThreshold"}},
        {"QL6M",
         {"xkping", "examples/full.txt", "0", "1"},
         true,
         HearLargeQl,
         {"OutputDataToLog", "SubSampleMode", "SubSampleThreshold"}},
        {"LumetV2", {"lumetping", "350long"}, true, HearLumet, {}},
        // Its other channel is quiet.
        {"Varrow",
         {"ping", "210000", "200000", "27", "45", "0", "medium"},
         false,
         HearFrames,
         {"Ch1.ColourGain", "Ch1.PulseA", "Ch1.PulseB", "Ch1.SamplingA", "Ch1.SamplingB"}},
    };
    for (const Row_T& row : rows) {
        const auto writes = Written(row.product, row.arguments, row.isPacket);
        const Heard_T whole = row.hear(writes);
        EXPECT_EQ(row.hear(writes).samples, whole.samples) << row.product;
        std::set<std::string> unseen;
        for (std::size_t left = 0; left < writes.size(); ++left) {
            auto others = writes;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(left));
            // A command changes nothing before the ping, and zeros are there after a reset.
            if (whole.names[left] != "Command" && !IsZero(writes[left], row.isPacket ? 7 : 3) &&
                row.hear(others).samples == whole.samples) {
                unseen.insert(whole.names[left]);
            }
        }
        EXPECT_EQ(unseen, row.unseen) << row.product;
    }
}

TEST(EchoRun, ATransmitterAtTheWrongFrequencyIsHeardLess)
{
    const std::pair<const char*, Words_T> rows[] = {
        {"QL4K", {"xkping", "examples/short.txt", "0", "1"}},
        {"QL6M", {"xkping", "examples/full.txt", "0", "1"}},
        {"Varrow", {"ping", "200000", "200000", "27", "45", "0", "low"}},
        {"LumetV2", {"lumetping", "200long"}},
        {"LumetV1", {"lowscanping", "350long"}}};
    for (const auto& [product, arguments] : rows) {
        const TemporaryDirectory directory;
        const auto level = [&, &ping = arguments, &name = product](const std::string& severity) {
            const std::string scene =
                directory.Write("scene", "{\"unit\": {\"defects\": {\"wrongFrequency\": " + severity + "}}}");
            CVirtualUnit(name).Option("--scene", scene).Option("--truth", directory.Path("truth")).Run(ping);
            return QJsonDocument::fromJson(
                       QByteArray::fromStdString(directory.Read("truth")))[u"bottom"][u"level"]
                .toDouble();
        };
        const double good = level("0");
        EXPECT_LT(level("0.1"), good - 2) << product;
        EXPECT_LT(level("-0.3"), good - 12) << product;
    }
}

TEST(EchoRun, TheTruthOfAPingIsWhereItsSamplesAre)
{
    const std::pair<const char*, Words_T> rows[] = {
        {"QL4K", {"xkping", "examples/short.txt", "0", "1"}},
        {"QL5K", {"xkping", "examples/full.txt", "0", "1"}},
        {"QL6M", {"xkping", "examples/short.txt", "1", "1"}},
        {"VarrowX", {"ping", "200000", "210000", "27", "45", "0", "low"}},
        {"LumetV2", {"lumetping", "200long"}},
        {"LumetV1", {"lowscanping", "350long"}}};
    for (const auto& [product, arguments] : rows) {
        const TemporaryDirectory directory;
        const std::string scene = directory.Write(
            "scene",
            R"({"bottom": {"depth": 9, "strength": -20}, "noise": 20, "fish": [], "unit": {"seed": 1}})");
        const auto run = CVirtualUnit(product)
                             .Option("--scene", scene)
                             .Option("--truth", directory.Path("truth"))
                             .Run(arguments);
        const std::vector<int> samples = Printed(run.output);
        const auto truth =
            QJsonDocument::fromJson(QByteArray::fromStdString(directory.Read("truth"))).object();
        const auto of = [&truth](const char* part, const char* name) {
            return truth[QLatin1String(part)][QLatin1String(name)].toDouble();
        };
        ASSERT_EQ(samples.size(), truth[u"samples"].toInt()) << product;
        const auto front = static_cast<std::size_t>(std::ceil(of("bottom", "front")));
        ASSERT_LT(front + 40, samples.size()) << product;
        const double level = of("bottom", "value");
        EXPECT_GT(level, 2 * of("noise", "value")) << product;
        EXPECT_NEAR(samples[front], level, level / 10) << product;
        EXPECT_LT(samples[front - 5], level / 2) << product;
        EXPECT_EQ(of("bottom", "range"), 9) << product;
        const auto quiet = static_cast<std::size_t>(std::ceil(of("ringDown", "end")));
        const double tenth = truth[u"bits"].toInt() == 8 ? 25.5 : 6553.5;
        EXPECT_GT(samples[quiet - 2], tenth) << product;
        EXPECT_LT(samples[quiet + 2], tenth) << product;
    }
}
