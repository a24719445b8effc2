#include "simulator/Trace.h"
#include "simulator/CorFpgaModel.h"

#include <gtest/gtest.h>

#include <sstream>

TEST(TraceTest, AnOperationIsALineThatSaysWhatItsBytesMean)
{
    using Kind = DeviceOperation_T::Kind;
    std::ostringstream text;
    CTraceWriter trace(text, "QL4K");
    const std::string node = "LSfpga0";
    CCorFpgaModel model{{.product = "QL4K", .scene = {.noise = 0}, .firmwareVersion = 7}};
    const auto request = [&](unsigned long number, const Bytes_T& argument) {
        trace.Write({node, Kind::Ioctl, number, argument, model.Ioctl(number, argument)});
    };
    const auto write = [&](const Bytes_T& bytes) {
        trace.Write({node, Kind::Write, 0, bytes, model.Write(bytes)});
    };

    request(0x80047202, {});
    write({0x43, 0x53, 0, 0, 0, 0, 0, 3, 3, 0x43, 0x53, 0x10, 0x40, 2, 4, 0, 1, 2, 3, 4, 5, 15});
    write({0x43, 0x53, 2, 0, 1, 0, 0, 0, 0});
    write({0x43, 0x53, 1, 0, 0, 0, 0, 9, 9});
    request(0x80047203, {});
    request(0x80047205, {0x43, 0x53, 0, 0, 80, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    write({0, 0});
    request(0x123, {});
    const Bytes_T echoed = {'1', '\n'};
    trace.Write({"LSfpga1", Kind::Image, 0, echoed, model.TakeImage(echoed)});
    trace.Write({node, Kind::Write, 0, {}, {.linkTime = std::chrono::seconds(12)}});
    request(0x80047206, {});
    trace.Write({"ttyO3", Kind::Unasked, 0, {}, {.reply = {1, 2}, .replyMeaning = "ping"}});
    trace.Write({"ttyO3", Kind::Unasked, 0, {}, {.replyMeaning = "fault reply:1=silent"}});

    EXPECT_EQ(text.str(),
              "sonarbench trace 2\n"
              "unit QL4K\n"
              "0.000000000 LSfpga0 ioctl 0 80047202+- # configure SPI\n"
              "0.000000000 LSfpga0 write 22 4353000000000003034353104002040001020304050f"
              " # Command=0x03 (ping of 0 samples); ChirpTable[4..5]\n"
              "0.000007333 LSfpga0 write 9 435302000100000000 # read Version\n"
              "0.000007333 LSfpga0 reply 2 0707 ~36f0 # Version=0x07\n"
              "0.000010333 LSfpga0 write 9 435301000000000909\n"
              "0.000010333 LSfpga0 refused offset 0: write to Status (0x0001), which is read only\n"
              "0.000013333 LSfpga0 ioctl 0 80047203+- !ETIMEDOUT # wait for interrupt\n"
              "0.000013333 LSfpga0 ioctl 20 80047205+4353000050000000000000000100000001000000"
              " # start ping read\n"
              "0.000013333 LSfpga0 write 2 0000 # ping read\n"
              "0.000013333 LSfpga0 fill 2 0000 ~0f47 # FifoData (2 bytes), 2 more than there are\n"
              "0.000013999 LSfpga0 ioctl 0 00000123+- !ENOTTY\n"
              "0.000013999 LSfpga0 refused unknown request 0x00000123\n"
              "0.000013999 LSfpga1 image 2 310a # not loaded: no firmware image\n"
              "0.000014665 LSfpga0 write 0 -\n"
              "12.000014665 LSfpga0 ioctl 0 80047206+- # end ping read\n"
              "12.000014665 ttyO3 unasked 2 0102 ~358d # ping\n"
              "12.000014665 ttyO3 unasked 0 - ~0000 # fault reply:1=silent\n");
}
