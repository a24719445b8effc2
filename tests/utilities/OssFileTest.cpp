#include "Utilities/EventCodes.h"
#include "Utilities/OSSLinuxFile.h"
#include "tests/support/TemporaryDirectory.h"

#include <bit>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
TEST(OssFile, OnlyAWriterLocksAndALockedNodeCanStillBeDriven)
{
    const TemporaryDirectory directory;
    const std::string path = directory.Write("node", "abc");
    // Runs in a forked child, which does not inherit record locks.
    const auto useElsewhere = [&path](int expectedCode) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        UINT8 storage[3] = {};
        Buffer_Bytes_T buffer(storage, sizeof(storage));
        int unread = 0;
        COSSLinuxFile file(path.c_str(), O_RDWR, 0);
        const bool asExpected = file.GetErrorCode() == expectedCode && file.Poll(POLLIN, 0) == 1 &&
                                file.Ioctl(FIONREAD, &unread) && unread == 3 && file.Read(&buffer) &&
                                file.Lseek(0, SEEK_SET) && file.Write(&buffer);
        std::fflush(stdout);
        _exit(asExpected ? 0 : 1);
    };
    const COSSLinuxFile neighbour(path.c_str(), O_RDWR, 0);
    EXPECT_EXIT(useElsewhere(0), testing::ExitedWithCode(0), "^$");
    const COSSLinuxFile writer(path.c_str(), O_WRONLY, 0);
    EXPECT_EXIT(useElsewhere(c_FileLocked), testing::ExitedWithCode(0),
                "^[0-9]+ COSSLinuxFile::CheckForLock\\(\\) " + path + " locked by " +
                    std::to_string(getpid()) + " for 1\n$");
}

TEST(OssFile, WhatCannotBeLockedOrCutIsTold)
{
    COSSLinuxFile reader("/dev/null", O_RDONLY, 0);
    testing::internal::CaptureStdout();
    COSSLinuxFile unlockable("/dev/null", O_PATH, 0);
    EXPECT_EQ(unlockable.GetErrorCode(), c_FileLocked);
    reader.ApplyLock(O_WRONLY);
    EXPECT_EQ(reader.GetErrorCode(), EBADF);
    EXPECT_EQ(reader.Ftruncate(0), EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error in COSSLinuxFile::CheckForLock(F_WRLCK): 9\n"
                                                      "Error in COSSLinuxFile::CheckForLock(F_RDLCK): 9\n"
                                                      "Error in COSSLinuxFile::ApplyLock(1): 9\n"
                                                      "Error in COSSLinuxFile::Ftruncate(): 22\n");
}

TEST(OssFile, RawTransfersReportWhatMoved)
{
    const TemporaryDirectory directory;
    UINT8 storage[8] = {'p', 'i', 'n', 'g'};
    Buffer_Bytes_T buffer(storage, sizeof(storage));
    COSSLinuxFile closed(directory.Path("none").c_str(), O_RDWR, 0);
    EXPECT_FALSE(closed.Ioctl(FIONREAD, nullptr) || closed.Read(&buffer) || closed.WriteStream("x"));
    EXPECT_EQ(closed.GetErrorCode(), ENOENT) << "using a closed file keeps the reason";

    COSSLinuxFile file(directory.Path("new").c_str(), O_RDWR | O_CREAT, 0640);
    EXPECT_TRUE(file.Read(&buffer) && buffer.size() == 0) << "an empty file is no failure";
    buffer.size(4);
    EXPECT_TRUE(file.Write(&buffer) && file.Lseek(1, SEEK_SET));
    buffer.size(buffer.capacity());
    EXPECT_TRUE(file.Read(&buffer) && buffer.size() == 3 && storage[2] == 'g');
    EXPECT_FALSE(file.Ioctl(TIOCEXCL, nullptr));
    EXPECT_EQ(file.GetErrorCode(), -1) << "the driver's answer, not errno";
}

template <typename Destination_T>
Destination_T Next(COSSLinuxFile& file)
{
    Destination_T value = 1;
    EXPECT_TRUE(file.ReadStream(&value));
    return value;
}

TEST(OssFile, NumbersArriveInEveryDestination)
{
    const TemporaryDirectory directory;
    COSSLinuxFile unreadable(directory.Path().c_str(), O_RDONLY, 0);
    COSSLinuxFile file(directory.Write("text", "300 4000000000 3000000000 40000 0 0.5\n-1 2 word").c_str(),
                       O_RDONLY, 0);
    EXPECT_EQ(Next<UINT8>(file), 300 - 256);
    EXPECT_EQ(Next<UINT32>(file), 4000000000U);
    EXPECT_EQ(Next<unsigned long>(file), static_cast<unsigned long>(-1294967296)) << "passes through int";
    EXPECT_EQ(Next<short>(file), 40000 - 65536);
    EXPECT_FALSE(Next<bool>(file));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(Next<double>(file)), 0x3F000000U) << "the float's bytes lead";
    int wholes[2] = {};
    EXPECT_TRUE(file.ReadStream(wholes, 2) && wholes[0] == -1 && wholes[1] == 2);
    EXPECT_EQ(Next<int>(file), 0) << "no number counts as 0";
    EXPECT_TRUE(file.Fseek(0, SEEK_END) && Next<int>(file) == 1) << "an end changes nothing";
    EXPECT_FALSE(unreadable.ReadStream(wholes, 2));
    EXPECT_EQ(unreadable.GetErrorCode(), EISDIR);
}

TEST(OssFile, MultiPollNamesTheFirstReadyMember)
{
    COSSLinuxFile file("/dev/null", O_RDONLY, 0);
    const int ready = file.GetFileDescriptor();
    PollMembers_T members = {{ready, 0}, {ready, 0}, {ready, POLLIN}};
    EXPECT_EQ(file.MultiPoll(&members, 1000), 3);
    members.pop_back();
    EXPECT_EQ(file.MultiPoll(&members, 0), 0);
}
} // namespace
