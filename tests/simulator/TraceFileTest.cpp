#include "tests/support/Texts.h"
#include "tests/support/Traces.h"

#include <gmock/gmock.h>

#include <cerrno>

TEST(TraceFile, WhatIsWrittenIsReadAsItWas)
{
    std::ostringstream text;
    CTraceWriter trace(text, "QL1A");
    using Kind = DeviceOperation_T::Kind;
    const Bytes_T bytes = {0, 0x7F, 0xFF};
    const std::chrono::seconds second(1);
    const std::pair<Kind, DeviceOutcome_T> operations[] = {
        {Kind::Image, {.meaning = "firmware # 1", .linkTime = second}},
        {Kind::Ioctl, {.error = ETIMEDOUT, .refusals = {"first # no comment", "second"}}},
        {Kind::Ioctl, {.faulted = true, .refusals = {"follows from a fault"}}},
        {Kind::Write, {.fill = {1, 2, 3}, .reply = {4}, .replyMeaning = "both", .linkTime = 11 * second}},
        {Kind::Write, {.reply = {5}, .replyDelay = std::chrono::milliseconds(1500), .pace = Pace::Bytewise}},
        {Kind::Unasked, {.reply = bytes, .replyMeaning = "ping", .pace = Pace::Slow}},
        {Kind::Ioctl, {.fill = {9}, .taken = 7}},
        {Kind::Write, {.reply = bytes, .morePieces = {{1}, {2, std::chrono::milliseconds(20)}}}},
        {Kind::Unasked, {.faulted = true, .replyMeaning = "fault reply:3=silent"}}};
    for (const auto& [kind, outcome] : operations) {
        const bool isUnasked = kind == Kind::Unasked;
        trace.Write({"ttyO1", kind, kind == Kind::Ioctl ? 0x80047203 : 0UL, isUnasked ? ByteView_T() : bytes,
                     outcome});
    }

    const TraceFile_T read = ReadTraceText(text.str());
    EXPECT_EQ(read.operations.size(), std::size(operations));
    EXPECT_EQ(TraceText(read), text.str());
}

TEST(TraceFile, AHandWrittenTraceCanLeaveValuesOpenAndUseSeveralLines)
{
    const TraceFile_T trace = ReadTraceText("sonarbench trace 2\n"
                                            "# A comment\n\n"
                                            "unit QL4K\n"
                                            "- LSfpga0 write - # meaning\n"
                                            "    43 53 | 00*3 ?? # a comment\n"
                                            "# another\n\n"
                                            "\t??*2 0A0b\n"
                                            "1.000000001 LSfpga0 ioctl 2 80047205+ 0102\n"
                                            "- LSfpga0 reply - 07*2 ~36f0 +20ms\n"
                                            "2.000000000 ttyO1 unasked -");
    ASSERT_EQ(trace.operations.size(), 3U);
    const auto& [write, request, unasked] =
        std::tie(trace.operations[0], trace.operations[1], trace.operations[2]);
    EXPECT_EQ(write.bytes.values, (Bytes_T{0x43, 0x53, 0, 0, 0, 0, 0, 0, 0x0A, 0x0B}));
    EXPECT_EQ(write.bytes.isOpen, (std::vector<bool>{0, 0, 0, 0, 0, 1, 1, 1, 0, 0}));
    EXPECT_EQ(write.outcome.meaning, "meaning");
    EXPECT_EQ(std::tuple(write.line, write.LineOf(5), write.LineOf(6), write.LineOf(99)),
              std::tuple(5U, 6U, 9U, 9U));
    EXPECT_EQ(request.request, 0x80047205U);
    EXPECT_EQ(request.outcome.reply, (Bytes_T{7, 7}));
    EXPECT_EQ(request.outcome.replyDelay.count(), 20);
    EXPECT_EQ(request.outcome.linkTime.count(), 999'999'999);
    EXPECT_EQ(unasked.device, "ttyO1");
}

TEST(TraceFile, ARecordingHasFilesRemarksAndRealTimes)
{
    const TraceFile_T trace = ReadTraceText("sonarbench trace 2\n"
                                            "unit QL4K\n"
                                            "recording complete  \n"
                                            "about driver LSfpga0 spi-fpga 1.2\n"
                                            "file found /a directory\n"
                                            "file read 2 310a /VERSION\n"
                                            "file failed !EACCES /tmp/x\n"
                                            "- ttyO1 write 1 01 @1.000000000-1.000000500\n"
                                            "fault read:2=EIO\n"
                                            "- ttyO1 reply 1 02 @1.500000000-1.500000001\n"
                                            "- ttyO1 more 1 03 +5ms @1.600000000-1.700000000\n");
    EXPECT_EQ(trace.recording, Recording::Complete);
    EXPECT_EQ(trace.remarks.at(0).text, "driver LSfpga0 spi-fpga 1.2");
    ASSERT_EQ(trace.files.size(), 3U);
    EXPECT_EQ(trace.files[0].path, "/a directory");
    EXPECT_EQ(trace.files[1].contents, (Bytes_T{'1', '\n'}));
    EXPECT_EQ(std::tuple(trace.files[2].access, trace.files[2].error),
              std::tuple(FileAccess::Failed, EACCES));
    EXPECT_EQ(trace.callFaults.at(0).specification, "read:2=EIO");
    const TraceOperation_T& write = trace.operations.at(0);
    EXPECT_EQ(write.realTimes->end.count(), 1'000'000'500);
    EXPECT_EQ(write.outcome.reply, (Bytes_T{2, 3}));
    EXPECT_EQ(write.outcome.morePieces.at(0).offset, 1U);
    EXPECT_EQ(write.replyTimes.at(1).times.end.count(), 1'700'000'000);
}

TEST(TraceFile, AWrongTraceIsRefusedWithThePlaceOfItsMistake)
{
    const std::pair<std::string, std::string> heads[] = {
        {"", "1: the trace ends before it names its unit"},
        {"sonarbench trace 1\n", "1: a trace begins with the line \"sonarbench trace 2\""},
        {"sonarbench trace 2\n# unit\n", "3: the trace ends before it names its unit"}};
    for (const auto& [text, refusal] : heads) {
        EXPECT_EQ(ErrorOf([&text = text] { ReadTraceText(text); }), "file:" + refusal) << text;
    }
    const std::string write = "- A write - 01\n", reply = "- A reply - 01\n";
    const std::pair<std::string, std::string> bodies[] = {
        {" 01\n", "3: this line begins with a blank, but there is no entry above it"},
        {write + "- A refused why\n 01\n",
         "5: this line begins with a blank, but a refusal above it cannot continue"},
        {"1.5 A write - 01\n", "3: the time \"1.5\" is not of the form 0.000000000 or -"},
        {"1.000000000 A write - 01\n0.999999999 A write - 01\n",
         "4: the time is earlier than that of the operation above"},
        {"- A read - 01\n", "3: unknown direction \"read\""},
        {"- A write x 01\n", "3: the count \"x\" is neither a number nor -"},
        {"- A write 3 01\n 02\n" + write, "3: the count is 3, but there are 2 bytes"},
        {"- A write - 012\n", "3: \"012\" is neither bytes nor one byte and its repeats, as 00*16"},
        {"- A write -\n 0g\n", "4: \"0g\" is not a byte"},
        {"- A write - 00*999999999\n", "3: the repeats add more than 16 MiB"},
        {"- A write - ??*9000000\n- A write - 00*9000000\n", "4: the repeats add more than 16 MiB"},
        {"- A write - 01 !\x1b" + std::string(99, 'E') + "\n",
         "3: unknown error \"?" + std::string(59, 'E') + "...\""},
        {"- \x1b write - 01\n", "3: \"?\" is not a name of 1 to 32 printable characters"},
        {"- A ioctl - 8004\n", "3: an ioctl's bytes begin with its request, as 80047202+"},
        {"- A write - 01 !EWHAT\n", "3: unknown error \"EWHAT\""},
        {"- A unasked - 01 !EIO\n", "3: only an image, ioctl or write can fail"},
        {"- A write - 01 bytewise\n", "3: only a reply, more or unasked can come late, bytewise or slow"},
        {"- A write - 01 =2\n",
         "3: only a write reports a count, of at most its bytes, and an ioctl a value"},
        {write + "- A reply - 01 @2.000000000-1.000000000\n",
         "4: the times \"2.000000000-1.000000000\" are not of the form @0.000000000-0.000000000"},
        {write + "- A more - 01\n", "4: more needs bytes, and a reply or unasked with bytes above it"},
        {"file open /VERSION\n", "3: unknown use of a file \"open\""},
        {"file read 2 31 /VERSION\n", "3: a file's contents are not the 2 bytes that it says"},
        {"file failed !ENOENT VERSION\n", "3: the path \"VERSION\" of a file is not absolute"},
        {"fault read:1=EWHAT\n",
         "3: fault \"read:1=EWHAT\": the kind must be an error's name (such as EIO), short or zero"},
        {"fault write:1=EIO\n", "3: fault \"write:1=EIO\": a trace names only those in the program's calls"},
        {write + "- B reply - 01\n", "4: reply needs an operation on B above it"},
        {write + reply + reply, "5: a second reply to one operation"},
        {write + "- A reply - 0102 ~1a2b\n",
         "4: the checksum is ~1a2b, but the bytes have ~358d, so they were changed"},
        {"- A write - 01 ~1a2b\n", "3: only a fill, reply, more or unasked has a checksum"},
        {write + "- A reply - ??\n", "4: a byte that a device sends cannot be ??"},
        {write + "- A fill - 0102\n", "4: a fill must follow a write or an ioctl of at least as many bytes"}};
    for (const auto& [text, refusal] : bodies) {
        const std::string whole = "sonarbench trace 2\nunit QL4K\n" + text;
        EXPECT_EQ(ErrorOf([&whole] { ReadTraceText(whole); }), "file:" + refusal) << text;
    }
}
