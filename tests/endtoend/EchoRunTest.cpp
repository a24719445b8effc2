#include "simulator/models/CorFpgaModel.h"
#include "simulator/models/LowscanUartModel.h"
#include "simulator/models/LumetFpgaModel.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/CorWire.h"
#include "tests/support/LowscanLine.h"
#include "tests/support/TemporaryDirectory.h"

#include <QJsonDocument>
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

/// What a device makes of the writes: their names in a trace, and all that it sends.
struct Heard_T {
    Words_T names;
    Bytes_T sent;
};

/// @param read  reads the samples; empty for a device that sends them by itself
Heard_T Hear(IDeviceModel& model, const std::vector<Bytes_T>& writes, const Bytes_T& read)
{
    model.Ioctl(0x80047202, {});
    Heard_T heard;
    for (const Bytes_T& write : writes) {
        const DeviceOutcome_T outcome = model.Write(write);
        heard.names.push_back(outcome.meaning.substr(0, outcome.meaning.find_first_of("=[")));
        heard.sent = heard.sent + outcome.reply;
    }
    heard.sent = heard.sent + model.Write(read).reply;
    return heard;
}

using Model_T = std::shared_ptr<IDeviceModel>;

Model_T Ql4k()
{
    return std::make_shared<CCorFpgaModel>(FpgaSetup_T{.product = "QL4K", .firmwareVersion = 1});
}

Model_T Ql6m()
{
    const FpgaSetup_T setup{.product = "QL6M", .firmwareVersion = 1};
    return std::make_shared<CCorFpgaModel>(setup, c_CorFastClockHz);
}

Model_T LumetV2()
{
    return std::make_shared<CLumetFpgaModel>(FpgaSetup_T{.product = "LumetV2", .firmwareVersion = 1});
}

Model_T Varrow()
{
    const FpgaSetup_T setup{.product = "Varrow", .firmwareVersion = 1};
    auto pLine = std::make_shared<CLowscanUartModel>(std::make_shared<CLowscanFpgaModel>(setup), 0);
    pLine->SetLine(RawLine());
    return pLine;
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
        Words_T arguments;
        std::set<std::string> unseen; ///< settings that do not show
        const char* product;
        Model_T (*make)();
        Bytes_T read = {};
    };
    const Words_T xkping = {"xkping", "examples/full.txt", "0", "1"};
    const std::set<std::string> log = {"OutputDataToLog", "SubSampleMode", "SubSampleThreshold"};
    const Bytes_T readFifo = Packet(80, Bytes_T(8192, 0), 1);
    const Row_T rows[] = {
        {xkping, log, "QL4K", Ql4k, readFifo},
        {xkping, log, "QL6M", Ql6m, readFifo},
        {{"lumetping", "350long"}, {}, "LumetV2", LumetV2, Packet(0x8050, Bytes_T(1024, 0), 1)},
        // Its other channel is quiet.
        {{"ping", "210000", "200000", "27", "45", "0", "medium"},
         {"Ch1.ColourGain", "Ch1.PulseA", "Ch1.PulseB", "Ch1.SamplingA", "Ch1.SamplingB"},
         "Varrow",
         Varrow},
    };
    for (const Row_T& row : rows) {
        const bool isPacket = !row.read.empty();
        const auto writes = Written(row.product, row.arguments, isPacket);
        const Heard_T whole = Hear(*row.make(), writes, row.read);
        EXPECT_EQ(Hear(*row.make(), writes, row.read).sent, whole.sent) << row.product;
        std::set<std::string> unseen;
        for (std::size_t left = 0; left < writes.size(); ++left) {
            auto others = writes;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(left));
            // A command changes nothing before the ping, and zeros are there after a reset.
            if (whole.names[left] != "Command" && !IsZero(writes[left], isPacket ? 7 : 3) &&
                Hear(*row.make(), others, row.read).sent == whole.sent) {
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
