#include "simulator/trace/Replay.h"
#include "simulator/models/CorFpgaModel.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

namespace
{
/// Two nodes of a unit that is replayed.
struct Unit_T {
    explicit Unit_T(const std::string& operations)
        : replay([&] {
              std::istringstream text("sonarbench trace 2\nunit QL6M\n" + operations);
              return ReadTrace(text, "file");
          }())
    {
    }

    CCorFpgaModel model{{.product = "QL6M"}};
    CReplay replay;
    CReplayDevice first{replay, "LSfpga0", model};
    CReplayDevice second{replay, "LSfpga1", model};
};

const std::string c_Trace = "- LSfpga0 image - 310a\n"
                            "- LSfpga1 write - 01\n"
                            "  02 ??\n"
                            "- LSfpga1 reply - 0304\n"
                            "- LSfpga1 unasked - 05\n"
                            "- LSfpga0 ioctl - 80047203+ !ETIMEDOUT\n";
const Bytes_T c_Image = {'1', '\n'};
} // namespace

TEST(Replay, AnswersInTheOrderOfTheTraceOverAllDevices)
{
    Unit_T unit(c_Trace);
    unit.first.TakeImage(c_Image);
    EXPECT_FALSE(unit.second.TakeUnasked().has_value());
    EXPECT_EQ(unit.second.Write(Bytes_T{1, 2, 99}).reply, (Bytes_T{3, 4}));
    EXPECT_FALSE(unit.first.TakeUnasked().has_value());
    EXPECT_EQ(unit.second.TakeUnasked().value().reply, (Bytes_T{5}));
    EXPECT_EQ(unit.first.Ioctl(0x80047203, {}).error, ETIMEDOUT);
    EXPECT_EQ(unit.replay.Finish(), "");
}

TEST(Replay, TheFirstDifferenceIsReportedAndEverythingAfterItFails)
{
    using Act_T = void (*)(Unit_T & unit);
    const std::pair<Act_T, std::string> cases[] = {
        {[](Unit_T& unit) { unit.second.TakeImage(c_Image); },
         "3: operation 1: expected image of 2 bytes on LSfpga0, got image of 2 bytes on LSfpga1"},
        {[](Unit_T& unit) {
             unit.first.TakeImage(c_Image);
             unit.second.Write(Bytes_T{1, 3, 0});
             unit.second.Write(Bytes_T{1, 2, 0});
         },
         "5: operation 2: write of 3 bytes on LSfpga1, byte 1: expected 0x02, got 0x03"},
        {[](Unit_T& unit) {
             unit.first.TakeImage(c_Image);
             unit.second.Write(Bytes_T{1, 2, 3, 4});
         },
         "5: operation 2: write of 3 bytes on LSfpga1, byte 3: expected the end, got 0x04"},
        {[](Unit_T& unit) {
             unit.first.TakeImage(c_Image);
             unit.second.Write(Bytes_T{1, 2, 3});
             unit.second.TakeUnasked();
             unit.first.Ioctl(0x80047206, {});
         },
         "8: operation 4: expected ioctl 0x80047203 with 0 bytes on LSfpga0, got ioctl 0x80047206 with 0 "
         "bytes "
         "on LSfpga0"},
        {[](Unit_T& unit) {
             unit.first.TakeImage(c_Image);
             unit.second.Write(Bytes_T{1, 2, 3});
         },
         "7: operation 3: expected unasked of 1 byte on LSfpga1, got the end; operations left over: 2"},
    };
    for (const auto& [act, text] : cases) {
        Unit_T unit(c_Trace);
        act(unit);
        EXPECT_EQ(unit.replay.Finish(), "file:" + text);
        EXPECT_EQ(unit.first.Ioctl(0x80047203, {}).error, EIO);
    }
    Unit_T unit("");
    EXPECT_EQ(unit.first.Write(Bytes_T{1}).error, EIO);
    EXPECT_EQ(unit.second.Write(Bytes_T{1}).error, EIO);
    EXPECT_EQ(unit.replay.Finish(), "file:2: operation 1: expected the end, got write of 1 byte on LSfpga0");
}
